// The error function kernels in elements per nanosecond (n = 1e3 and 1e5, in
// cache), side by side with a loop over the C library's scalar erf / erfc
// and SLEEF's SSE2 variants (erf 1 ulp, erfc 1.5 ulp). CdfNorm has no peer of
// its own; it is set against the C library's 0.5 erfc(-x / sqrt 2). After the
// runs a table gives our rate as a ratio to each peer.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "nex_vtm.h"

#if defined(__x86_64__) && __has_include(<sleef.h>)
#define NEX_BENCH_SLEEF 1
#include <emmintrin.h>
#include <sleef.h>
#endif

namespace {

template <class T>
using Kernel = void (*)(int, const T*, T*);

template <class T, T (*F)(T)>
void LibmLoop(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = F(a[i]);
}
template <class T>
T LibErf(T x) {
  return std::erf(x);
}
template <class T>
T LibErfc(T x) {
  return std::erfc(x);
}
template <class T>
T LibCdfNorm(T x) {
  return T(0.5) * std::erfc(x * T(-0.70710678118654752440));
}

#ifdef NEX_BENCH_SLEEF
template <class F>
void SleefF(int n, const float* a, float* r, F f) {
  int i = 0;
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, f(_mm_loadu_ps(a + i)));
  for (; i < n; ++i) r[i] = _mm_cvtss_f32(f(_mm_set1_ps(a[i])));
}
template <class F>
void SleefD(int n, const double* a, double* r, F f) {
  int i = 0;
  for (; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, f(_mm_loadu_pd(a + i)));
  for (; i < n; ++i) r[i] = _mm_cvtsd_f64(f(_mm_set1_pd(a[i])));
}
#endif

template <class T>
void Register(const std::string& fn, const char* peer, Kernel<T> k, T lo, T hi) {
  const std::string name = fn + "/" + peer;
  benchmark::RegisterBenchmark(name.c_str(),
                               [k, lo, hi](benchmark::State& st) {
                                 const int n = static_cast<int>(st.range(0));
                                 std::mt19937 gen(1234);
                                 std::uniform_real_distribution<double> u(lo, hi);
                                 std::vector<T> a(n), r(n);
                                 for (T& x : a) x = static_cast<T>(u(gen));
                                 for (auto _ : st) {
                                   k(n, a.data(), r.data());
                                   benchmark::DoNotOptimize(r.data());
                                   benchmark::ClobberMemory();
                                 }
                                 st.counters["elem_per_ns"] = benchmark::Counter(
                                     static_cast<double>(n) * st.iterations() * 1e-9,
                                     benchmark::Counter::kIsRate);
                               })
      ->Arg(1000)
      ->Arg(100000);
}

void RegisterAll() {
  Register<float>("sErf", "nex", _vtmsErf, -4, 4);
  Register<float>("sErf", "libm", LibmLoop<float, LibErf<float>>, -4, 4);
  Register<float>("sErfc", "nex", _vtmsErfc, -2, 9);
  Register<float>("sErfc", "libm", LibmLoop<float, LibErfc<float>>, -2, 9);
  Register<float>("sCdfNorm", "nex", _vtmsCdfNorm, -12, 5);
  Register<float>("sCdfNorm", "libm", LibmLoop<float, LibCdfNorm<float>>, -12, 5);
  Register<double>("dErf", "nex", _vtmdErf, -6, 6);
  Register<double>("dErf", "libm", LibmLoop<double, LibErf<double>>, -6, 6);
  Register<double>("dErfc", "nex", _vtmdErfc, -2, 26);
  Register<double>("dErfc", "libm", LibmLoop<double, LibErfc<double>>, -2, 26);
  Register<double>("dCdfNorm", "nex", _vtmdCdfNorm, -37, 8);
  Register<double>("dCdfNorm", "libm", LibmLoop<double, LibCdfNorm<double>>, -37, 8);
#ifdef NEX_BENCH_SLEEF
  Register<float>(
      "sErf", "sse2", [](int n, const float* a, float* r) { SleefF(n, a, r, Sleef_erff4_u10sse2); },
      -4, 4);
  Register<float>(
      "sErfc", "sse2",
      [](int n, const float* a, float* r) { SleefF(n, a, r, Sleef_erfcf4_u15sse2); }, -2, 9);
  Register<double>(
      "dErf", "sse2",
      [](int n, const double* a, double* r) { SleefD(n, a, r, Sleef_erfd2_u10sse2); }, -6, 6);
  Register<double>(
      "dErfc", "sse2",
      [](int n, const double* a, double* r) { SleefD(n, a, r, Sleef_erfcd2_u15sse2); }, -2, 26);
#endif
}

class Collector : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      const auto it = run.counters.find("elem_per_ns");
      if (it != run.counters.end()) rates[run.benchmark_name()] = it->second.value;
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> rates;
};

void PrintRatios(const std::map<std::string, double>& rates) {
  std::printf("\nelements per ns, and nex as a multiple of each peer\n");
  std::printf("%-9s %7s %8s %8s %8s %9s %9s\n", "function", "n", "nex", "libm", "sse2", "x libm",
              "x sse2");
  for (const char* fn : {"sErf", "sErfc", "sCdfNorm", "dErf", "dErfc", "dCdfNorm"}) {
    for (const char* n : {"1000", "100000"}) {
      auto rate = [&](const char* peer) {
        const auto it = rates.find(std::string(fn) + "/" + peer + "/" + n);
        return it == rates.end() ? 0.0 : it->second;
      };
      const double nex = rate("nex"), libm = rate("libm"), sse2 = rate("sse2");
      auto ratio = [&](double peer) { return peer > 0 ? nex / peer : 0.0; };
      std::printf("%-9s %7s %8.3f %8.3f %8.3f %9.2f %9.2f\n", fn, n, nex, libm, sse2, ratio(libm),
                  ratio(sse2));
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  RegisterAll();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  PrintRatios(collector.rates);
  benchmark::Shutdown();
  return 0;
}
