// The reporting kernels against plain loops, in elements per nanosecond
// (counter elem_per_ns, printed with a "/s" unit), for n = 1e3 and 1e5.
// Inputs have no zero divisors, so no element reports: this measures the
// fast paths. Fmod inputs have exponents close together (the packed path)
// and, in the "wide" runs, spread over the whole range (scalar division).
#include <benchmark/benchmark.h>

#include <cmath>
#include <random>
#include <vector>

#include "nex_vtm.h"

namespace {

template <class T>
struct Data {
  Data(size_t n, bool wide) : a(n), b(n), r(n) {
    std::mt19937 g(7);
    std::uniform_real_distribution<double> u(0.5, 1.0);
    std::uniform_int_distribution<int> near(0, 12), far(-60, 60);
    for (size_t i = 0; i < n; ++i) {
      a[i] = static_cast<T>(std::ldexp(u(g), wide ? far(g) : near(g)));
      b[i] = static_cast<T>(std::ldexp(u(g), wide ? far(g) : 0));
    }
  }
  std::vector<T> a, b, r;
};

template <class T, class F>
void Run(benchmark::State& state, F fn, bool wide) {
  const size_t n = static_cast<size_t>(state.range(0));
  Data<T> d(n, wide);
  for (auto _ : state) {
    fn(static_cast<int>(n), d.a.data(), d.b.data(), d.r.data());
    benchmark::DoNotOptimize(d.r.data());
    benchmark::ClobberMemory();
  }
  state.counters["elem_per_ns"] =
      benchmark::Counter(double(n) * double(state.iterations()) / 1e9, benchmark::Counter::kIsRate);
}

template <class T>
__attribute__((optimize("O3"))) void LoopDiv(int n, const T* a, const T* b, T* r) {
  for (int i = 0; i < n; ++i) r[i] = a[i] / b[i];
}
template <class T>
void LoopFmod(int n, const T* a, const T* b, T* r) {
  for (int i = 0; i < n; ++i) r[i] = std::fmod(a[i], b[i]);
}

#define NEX_BENCH(name, T, fn, wide)    \
  void BM_##name(benchmark::State& s) { \
    Run<T>(s, fn<T>, wide);             \
  }                                     \
  BENCHMARK(BM_##name)->Arg(1000)->Arg(100000);
#define NEX_BENCH_KERNEL(name, T, fn, wide) \
  void BM_##name(benchmark::State& s) {     \
    Run<T>(s, fn, wide);                    \
  }                                         \
  BENCHMARK(BM_##name)->Arg(1000)->Arg(100000);

NEX_BENCH_KERNEL(sDiv_nex, float, _vtmsDiv, false)
NEX_BENCH(sDiv_loop, float, LoopDiv, false)
NEX_BENCH_KERNEL(dDiv_nex, double, _vtmdDiv, false)
NEX_BENCH(dDiv_loop, double, LoopDiv, false)
NEX_BENCH_KERNEL(sFmod_nex, float, _vtmsFmod, false)
NEX_BENCH(sFmod_loop, float, LoopFmod, false)
NEX_BENCH_KERNEL(dFmod_nex, double, _vtmdFmod, false)
NEX_BENCH(dFmod_loop, double, LoopFmod, false)
NEX_BENCH_KERNEL(sFmod_wide_nex, float, _vtmsFmod, true)
NEX_BENCH(sFmod_wide_loop, float, LoopFmod, true)
NEX_BENCH_KERNEL(dFmod_wide_nex, double, _vtmdFmod, true)
NEX_BENCH(dFmod_wide_loop, double, LoopFmod, true)

}  // namespace

BENCHMARK_MAIN();
