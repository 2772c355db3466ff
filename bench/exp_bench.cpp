// The exponential kernels in elements per nanosecond (n = 1e3 and 1e5, in
// cache), side by side with a loop over the C library's scalar function and
// with SLEEF's 1-ulp SSE2 and AVX2 variants (the AVX2 ones only where the
// processor has AVX2). After the runs a table gives our rate as a ratio to
// each peer.
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
#include <immintrin.h>
#include <sleef.h>
// The header declares the AVX2 variants only for a translation unit built
// for AVX; this one stays SSE2, so they are declared here, and the loops
// that call them are built for AVX2 alone and run after a processor check.
extern "C" {
__m256 Sleef_expf8_u10avx2(__m256);
__m256 Sleef_exp2f8_u10avx2(__m256);
__m256 Sleef_exp10f8_u10avx2(__m256);
__m256 Sleef_expm1f8_u10avx2(__m256);
__m256d Sleef_expd4_u10avx2(__m256d);
__m256d Sleef_exp2d4_u10avx2(__m256d);
__m256d Sleef_exp10d4_u10avx2(__m256d);
__m256d Sleef_expm1d4_u10avx2(__m256d);
}
#endif

namespace {

using KernelF = void (*)(int, const float*, float*);
using KernelD = void (*)(int, const double*, double*);

template <class T>
using Kernel = void (*)(int, const T*, T*);

// ---- peers as array loops -----------------------------------------------------------

template <class T, T (*F)(T)>
void LibmLoop(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = F(a[i]);
}
float LibExpF(float x) {
  return std::exp(x);
}
float LibExp2F(float x) {
  return std::exp2(x);
}
float LibExp10F(float x) {
  return std::pow(10.0f, x);
}
float LibExpm1F(float x) {
  return std::expm1(x);
}
double LibExpD(double x) {
  return std::exp(x);
}
double LibExp2D(double x) {
  return std::exp2(x);
}
double LibExp10D(double x) {
  return std::pow(10.0, x);
}
double LibExpm1D(double x) {
  return std::expm1(x);
}

#ifdef NEX_BENCH_SLEEF
void SleefSse2F(int n, const float* a, float* r, const __m128 (*F)(__m128)) {
  int i = 0;
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, F(_mm_loadu_ps(a + i)));
  for (; i < n; ++i) {
    alignas(16) float t[4] = {a[i], 0, 0, 0};
    _mm_store_ps(t, F(_mm_load_ps(t)));
    r[i] = t[0];
  }
}
void SleefSse2D(int n, const double* a, double* r, const __m128d (*F)(__m128d)) {
  int i = 0;
  for (; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, F(_mm_loadu_pd(a + i)));
  for (; i < n; ++i) {
    alignas(16) double t[2] = {a[i], 0};
    _mm_store_pd(t, F(_mm_load_pd(t)));
    r[i] = t[0];
  }
}
__attribute__((target("avx2"))) void SleefAvx2F(int n, const float* a, float* r,
                                                __m256 (*F)(__m256)) {
  int i = 0;
  for (; i + 8 <= n; i += 8) _mm256_storeu_ps(r + i, F(_mm256_loadu_ps(a + i)));
  for (; i < n; ++i) {
    alignas(32) float t[8] = {a[i]};
    _mm256_store_ps(t, F(_mm256_load_ps(t)));
    r[i] = t[0];
  }
}
__attribute__((target("avx2"))) void SleefAvx2D(int n, const double* a, double* r,
                                                __m256d (*F)(__m256d)) {
  int i = 0;
  for (; i + 4 <= n; i += 4) _mm256_storeu_pd(r + i, F(_mm256_loadu_pd(a + i)));
  for (; i < n; ++i) {
    alignas(32) double t[4] = {a[i]};
    _mm256_store_pd(t, F(_mm256_load_pd(t)));
    r[i] = t[0];
  }
}
#endif

// ---- the runs -----------------------------------------------------------------------

template <class T>
void Run(benchmark::State& state, Kernel<T> k, T lo, T hi, bool avx2) {
#ifdef NEX_BENCH_SLEEF
  if (avx2 && !__builtin_cpu_supports("avx2")) {
    state.SkipWithError("no AVX2");
    return;
  }
#else
  (void)avx2;
#endif
  const size_t n = static_cast<size_t>(state.range(0));
  std::vector<T> a(n), r(n);
  std::mt19937 gen(5);
  std::uniform_real_distribution<double> u(lo, hi);
  for (T& x : a) x = static_cast<T>(u(gen));
  for (auto _ : state) {
    k(static_cast<int>(n), a.data(), r.data());
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.counters["elem_per_ns"] =
      benchmark::Counter(double(n) * double(state.iterations()) / 1e9, benchmark::Counter::kIsRate);
}

// Benchmarks are named "<function>/<peer>" with the peers nex, libm, sse2, avx2.
template <class T>
void Register(const std::string& fn, const std::string& peer, Kernel<T> k, T lo, T hi) {
  const bool avx2 = peer == "avx2";
  benchmark::RegisterBenchmark((fn + "/" + peer).c_str(),
                               [=](benchmark::State& s) { Run<T>(s, k, lo, hi, avx2); })
      ->Arg(1000)
      ->Arg(100000);
}

void RegisterAll() {
  struct Row {
    const char* name;
    KernelF nex_s, libm_s;
    KernelD nex_d, libm_d;
    float lo_s, hi_s;
    double lo_d, hi_d;
  };
  const Row rows[] = {
      {"Exp", _vtmsExp, LibmLoop<float, LibExpF>, _vtmdExp, LibmLoop<double, LibExpD>, -80, 80,
       -700, 700},
      {"Exp2", _vtmsExp2, LibmLoop<float, LibExp2F>, _vtmdExp2, LibmLoop<double, LibExp2D>, -120,
       120, -1000, 1000},
      {"Exp10", _vtmsExp10, LibmLoop<float, LibExp10F>, _vtmdExp10, LibmLoop<double, LibExp10D>,
       -35, 35, -300, 300},
      {"Expm1", _vtmsExpm1, LibmLoop<float, LibExpm1F>, _vtmdExpm1, LibmLoop<double, LibExpm1D>,
       -10, 10, -10, 10},
  };
#ifdef NEX_BENCH_SLEEF
  // A loop over one SLEEF function as a kernel.
#define PEER(loop, f) [](int n, const auto* a, auto* r) { loop(n, a, r, f); }
  const KernelF sse2_s[] = {
      PEER(SleefSse2F, Sleef_expf4_u10sse2), PEER(SleefSse2F, Sleef_exp2f4_u10sse2),
      PEER(SleefSse2F, Sleef_exp10f4_u10sse2), PEER(SleefSse2F, Sleef_expm1f4_u10sse2)};
  const KernelD sse2_d[] = {
      PEER(SleefSse2D, Sleef_expd2_u10sse2), PEER(SleefSse2D, Sleef_exp2d2_u10sse2),
      PEER(SleefSse2D, Sleef_exp10d2_u10sse2), PEER(SleefSse2D, Sleef_expm1d2_u10sse2)};
  const KernelF avx2_s[] = {
      PEER(SleefAvx2F, Sleef_expf8_u10avx2), PEER(SleefAvx2F, Sleef_exp2f8_u10avx2),
      PEER(SleefAvx2F, Sleef_exp10f8_u10avx2), PEER(SleefAvx2F, Sleef_expm1f8_u10avx2)};
  const KernelD avx2_d[] = {
      PEER(SleefAvx2D, Sleef_expd4_u10avx2), PEER(SleefAvx2D, Sleef_exp2d4_u10avx2),
      PEER(SleefAvx2D, Sleef_exp10d4_u10avx2), PEER(SleefAvx2D, Sleef_expm1d4_u10avx2)};
#undef PEER
#endif
  for (int t = 0; t < 2; ++t) {
    for (int i = 0; i < 4; ++i) {
      const Row& r = rows[i];
      if (t == 0) {
        const std::string fn = std::string("s") + r.name;
        Register<float>(fn, "nex", r.nex_s, r.lo_s, r.hi_s);
        Register<float>(fn, "libm", r.libm_s, r.lo_s, r.hi_s);
#ifdef NEX_BENCH_SLEEF
        Register<float>(fn, "sse2", sse2_s[i], r.lo_s, r.hi_s);
        Register<float>(fn, "avx2", avx2_s[i], r.lo_s, r.hi_s);
#endif
      } else {
        const std::string fn = std::string("d") + r.name;
        Register<double>(fn, "nex", r.nex_d, r.lo_d, r.hi_d);
        Register<double>(fn, "libm", r.libm_d, r.lo_d, r.hi_d);
#ifdef NEX_BENCH_SLEEF
        Register<double>(fn, "sse2", sse2_d[i], r.lo_d, r.hi_d);
        Register<double>(fn, "avx2", avx2_d[i], r.lo_d, r.hi_d);
#endif
      }
    }
  }
}

// Prints as usual and keeps each rate for the table of ratios.
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
  std::printf("%-8s %7s %8s %8s %8s %8s %9s %9s %9s\n", "function", "n", "nex", "libm", "sse2",
              "avx2", "x libm", "x sse2", "x avx2");
  for (const char* t : {"s", "d"}) {
    for (const char* f : {"Exp", "Exp2", "Exp10", "Expm1"}) {
      for (const char* n : {"1000", "100000"}) {
        const std::string fn = std::string(t) + f;
        auto rate = [&](const char* peer) {
          const auto it = rates.find(fn + "/" + peer + "/" + n);
          return it == rates.end() ? 0.0 : it->second;
        };
        const double nex = rate("nex"), libm = rate("libm"), sse2 = rate("sse2"),
                     avx2 = rate("avx2");
        auto ratio = [&](double peer) { return peer > 0 ? nex / peer : 0.0; };
        std::printf("%-8s %7s %8.3f %8.3f %8.3f %8.3f %9.2f %9.2f %9.2f\n", fn.c_str(), n, nex,
                    libm, sse2, avx2, ratio(libm), ratio(sse2), ratio(avx2));
      }
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
