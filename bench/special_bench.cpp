// The inverse error functions against scalar loops over GSL's normal
// quantile (the C library has no inverse error function, and SLEEF has
// none either), in elements per nanosecond (counter elem_per_ns) for
// n = 1e3 and 1e5. Arguments are uniform over the open domain, so about a
// third of them fall in the tails.
#include <benchmark/benchmark.h>
#include <gsl/gsl_cdf.h>

#include <cmath>
#include <random>
#include <vector>

#include "nex_vtm.h"

namespace {

template <class T>
std::vector<T> Args(size_t n, double lo, double hi) {
  std::mt19937_64 gen(7);
  std::uniform_real_distribution<double> u(lo, hi);
  std::vector<T> v(n);
  for (T& x : v) {
    do x = static_cast<T>(u(gen));
    while (x <= T(lo) || x >= T(hi));
  }
  return v;
}

template <class T, class F>
void Run(benchmark::State& state, F fn, double lo, double hi) {
  const size_t n = static_cast<size_t>(state.range(0));
  const std::vector<T> a = Args<T>(n, lo, hi);
  std::vector<T> r(n);
  for (auto _ : state) {
    fn(static_cast<int>(n), a.data(), r.data());
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.counters["elem_per_ns"] =
      benchmark::Counter(double(n) * double(state.iterations()) / 1e9, benchmark::Counter::kIsRate);
}

// The peers: erfinv(x) = Pinv((1 + x) / 2) / sqrt(2), erfcinv(q) =
// -Pinv(q / 2) / sqrt(2), cdfnorminv = Pinv, element by element.
template <class T>
void GslErfInv(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = T(gsl_cdf_ugaussian_Pinv((1.0 + a[i]) / 2) / M_SQRT2);
}
template <class T>
void GslErfcInv(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = T(-gsl_cdf_ugaussian_Pinv(a[i] / 2.0) / M_SQRT2);
}
template <class T>
void GslCdfNormInv(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = T(gsl_cdf_ugaussian_Pinv(a[i]));
}

#define NEX_INVERSE_BENCH(t, T, name, lo, hi)      \
  void BM_##t##name(benchmark::State& s) {         \
    Run<T>(s, _vtm##t##name, lo, hi);              \
  }                                                \
  void BM_##t##name##_gsl(benchmark::State& s) {   \
    Run<T>(s, Gsl##name<T>, lo, hi);               \
  }                                                \
  BENCHMARK(BM_##t##name)->Arg(1000)->Arg(100000); \
  BENCHMARK(BM_##t##name##_gsl)->Arg(1000)->Arg(100000);

NEX_INVERSE_BENCH(d, double, ErfInv, -1.0, 1.0)
NEX_INVERSE_BENCH(d, double, ErfcInv, 0.0, 2.0)
NEX_INVERSE_BENCH(d, double, CdfNormInv, 0.0, 1.0)
NEX_INVERSE_BENCH(s, float, ErfInv, -1.0, 1.0)
NEX_INVERSE_BENCH(s, float, ErfcInv, 0.0, 2.0)
NEX_INVERSE_BENCH(s, float, CdfNormInv, 0.0, 1.0)

// The packed paths alone: ErfInv with every argument in [-0.375, 0.375].
void BM_dErfInv_mid(benchmark::State& s) {
  Run<double>(s, _vtmdErfInv, -0.375, 0.375);
}
void BM_dErfInv_mid_gsl(benchmark::State& s) {
  Run<double>(s, GslErfInv<double>, -0.375, 0.375);
}
void BM_sErfInv_mid(benchmark::State& s) {
  Run<float>(s, _vtmsErfInv, -0.375, 0.375);
}
void BM_sErfInv_mid_gsl(benchmark::State& s) {
  Run<float>(s, GslErfInv<float>, -0.375, 0.375);
}
BENCHMARK(BM_dErfInv_mid)->Arg(1000)->Arg(100000);
BENCHMARK(BM_dErfInv_mid_gsl)->Arg(1000)->Arg(100000);
BENCHMARK(BM_sErfInv_mid)->Arg(1000)->Arg(100000);
BENCHMARK(BM_sErfInv_mid_gsl)->Arg(1000)->Arg(100000);

}  // namespace

BENCHMARK_MAIN();
