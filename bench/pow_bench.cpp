// The power kernels in elements per nanosecond (n = 1e3 and 1e5, in cache),
// side by side with a loop over the C library's pow and with SLEEF's 1-ulp
// SSE2 and AVX2 pow (AVX2 only where the processor has it). Powr and Powx
// are measured against the same peers, as pow on positive bases and as pow
// with one exponent. A table of ratios follows the runs.
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
// Declared here: this translation unit stays SSE2 (see exp_bench.cpp).
extern "C" {
__m256 Sleef_powf8_u10avx2(__m256, __m256);
__m256d Sleef_powd4_u10avx2(__m256d, __m256d);
}
#endif

namespace {

template <class T>
using Kernel = void (*)(int, const T*, const T*, T*);

template <class T>
void LibmLoop(int n, const T* a, const T* b, T* r) {
  for (int i = 0; i < n; ++i) r[i] = std::pow(a[i], b[i]);
}

// Powx with the exponent of the first element, as a two-array kernel.
void PowxS(int n, const float* a, const float* b, float* r) {
  _vtmsPowx(n, a, b[0], r);
}
void PowxD(int n, const double* a, const double* b, double* r) {
  _vtmdPowx(n, a, b[0], r);
}

#ifdef NEX_BENCH_SLEEF
void SleefSse2F(int n, const float* a, const float* b, float* r) {
  int i = 0;
  for (; i + 4 <= n; i += 4)
    _mm_storeu_ps(r + i, Sleef_powf4_u10sse2(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i)));
  for (; i < n; ++i)
    r[i] = _mm_cvtss_f32(Sleef_powf4_u10sse2(_mm_set1_ps(a[i]), _mm_set1_ps(b[i])));
}
void SleefSse2D(int n, const double* a, const double* b, double* r) {
  int i = 0;
  for (; i + 2 <= n; i += 2)
    _mm_storeu_pd(r + i, Sleef_powd2_u10sse2(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
  for (; i < n; ++i)
    r[i] = _mm_cvtsd_f64(Sleef_powd2_u10sse2(_mm_set1_pd(a[i]), _mm_set1_pd(b[i])));
}
__attribute__((target("avx2"))) void SleefAvx2F(int n, const float* a, const float* b, float* r) {
  int i = 0;
  for (; i + 8 <= n; i += 8)
    _mm256_storeu_ps(r + i, Sleef_powf8_u10avx2(_mm256_loadu_ps(a + i), _mm256_loadu_ps(b + i)));
  for (; i < n; ++i) r[i] = std::pow(a[i], b[i]);
}
__attribute__((target("avx2"))) void SleefAvx2D(int n, const double* a, const double* b,
                                                double* r) {
  int i = 0;
  for (; i + 4 <= n; i += 4)
    _mm256_storeu_pd(r + i, Sleef_powd4_u10avx2(_mm256_loadu_pd(a + i), _mm256_loadu_pd(b + i)));
  for (; i < n; ++i) r[i] = std::pow(a[i], b[i]);
}
#endif

// Bases in [1e-3, 1e3], exponents in [-12, 12] for single and [-20, 20] for
// double (or one fixed exponent), so that no result overflows and no
// element is reported.
template <class T>
void Run(benchmark::State& state, Kernel<T> k, bool one_exponent, bool avx2) {
#ifdef NEX_BENCH_SLEEF
  if (avx2 && !__builtin_cpu_supports("avx2")) {
    state.SkipWithError("no AVX2");
    return;
  }
#else
  (void)avx2;
#endif
  const size_t n = static_cast<size_t>(state.range(0));
  std::vector<T> a(n), b(n), r(n);
  std::mt19937 gen(7);
  std::uniform_real_distribution<double> lx(std::log(1e-3), std::log(1e3)),
      uy(sizeof(T) == 4 ? -12 : -20, sizeof(T) == 4 ? 12 : 20);
  for (size_t i = 0; i < n; ++i) {
    a[i] = static_cast<T>(std::exp(lx(gen)));
    b[i] = one_exponent ? T(2.5) : static_cast<T>(uy(gen));
  }
  for (auto _ : state) {
    k(static_cast<int>(n), a.data(), b.data(), r.data());
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.counters["elem_per_ns"] =
      benchmark::Counter(double(n) * double(state.iterations()) / 1e9, benchmark::Counter::kIsRate);
}

template <class T>
void Register(const std::string& fn, const std::string& peer, Kernel<T> k, bool one) {
  const bool avx2 = peer == "avx2";
  benchmark::RegisterBenchmark((fn + "/" + peer).c_str(),
                               [=](benchmark::State& s) { Run<T>(s, k, one, avx2); })
      ->Arg(1000)
      ->Arg(100000);
}

template <class T>
void RegisterPeers(const std::string& fn, Kernel<T> nex, bool one, Kernel<T> sse2, Kernel<T> avx2) {
  Register<T>(fn, "nex", nex, one);
  Register<T>(fn, "libm", LibmLoop<T>, one);
  if (sse2) Register<T>(fn, "sse2", sse2, one);
  if (avx2) Register<T>(fn, "avx2", avx2, one);
}

void RegisterAll() {
#ifdef NEX_BENCH_SLEEF
  const Kernel<float> s2 = SleefSse2F, s8 = SleefAvx2F;
  const Kernel<double> d2 = SleefSse2D, d4 = SleefAvx2D;
#else
  const Kernel<float> s2 = nullptr, s8 = nullptr;
  const Kernel<double> d2 = nullptr, d4 = nullptr;
#endif
  RegisterPeers<float>("sPow", _vtmsPow, false, s2, s8);
  RegisterPeers<float>("sPowr", _vtmsPowr, false, s2, s8);
  RegisterPeers<float>("sPowx", PowxS, true, s2, s8);
  RegisterPeers<double>("dPow", _vtmdPow, false, d2, d4);
  RegisterPeers<double>("dPowr", _vtmdPowr, false, d2, d4);
  RegisterPeers<double>("dPowx", PowxD, true, d2, d4);
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
  std::printf("%-8s %7s %8s %8s %8s %8s %9s %9s %9s\n", "function", "n", "nex", "libm", "sse2",
              "avx2", "x libm", "x sse2", "x avx2");
  for (const char* fn : {"sPow", "sPowr", "sPowx", "dPow", "dPowr", "dPowx"}) {
    for (const char* n : {"1000", "100000"}) {
      auto rate = [&](const char* peer) {
        const auto it = rates.find(std::string(fn) + "/" + peer + "/" + n);
        return it == rates.end() ? 0.0 : it->second;
      };
      const double nex = rate("nex"), libm = rate("libm"), sse2 = rate("sse2"), avx2 = rate("avx2");
      auto ratio = [&](double peer) { return peer > 0 ? nex / peer : 0.0; };
      std::printf("%-8s %7s %8.3f %8.3f %8.3f %8.3f %9.2f %9.2f %9.2f\n", fn, n, nex, libm, sse2,
                  avx2, ratio(libm), ratio(sse2), ratio(avx2));
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
