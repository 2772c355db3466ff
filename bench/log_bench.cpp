// The logarithms in elements per nanosecond (counter elem_per_ns), n = 1e3
// and 1e5 (in cache), beside a loop over the C library's scalar function and
// SLEEF's SSE2 and AVX2 variants of the same accuracy class (u10; for Logb,
// SLEEF's ilogb converted to floating point, double only). The AVX2 peers
// run only where the processor has AVX2. After the runs a table gives the
// ratios ours / peer for each function, precision and size.
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
// The AVX2 loop inlines the generic loop, whose out-of-line form would pass
// AVX registers: only that form draws the ABI note, and it is never called.
#pragma GCC diagnostic ignored "-Wpsabi"
#include <immintrin.h>
#include <sleef.h>
// The header declares its AVX2 functions only for translations compiled
// with AVX; the kernels' translation stays SSE2, so the few peers used are
// declared here, inside a region compiled for AVX2.
#pragma GCC push_options
#pragma GCC target("avx2")
extern "C" {
__m256d Sleef_logd4_u10avx2(__m256d);
__m256d Sleef_log10d4_u10avx2(__m256d);
__m256d Sleef_log2d4_u10avx2(__m256d);
__m256d Sleef_log1pd4_u10avx2(__m256d);
__m128i Sleef_ilogbd4_avx2(__m256d);
__m256 Sleef_logf8_u10avx2(__m256);
__m256 Sleef_log10f8_u10avx2(__m256);
__m256 Sleef_log2f8_u10avx2(__m256);
__m256 Sleef_log1pf8_u10avx2(__m256);
}
#pragma GCC pop_options
#else
#define NEX_BENCH_SLEEF 0
#endif

namespace {

template <class T>
std::vector<T> Arguments(size_t n, bool shifted) {
  std::mt19937_64 gen(7);
  std::uniform_real_distribution<double> e(-10, 10);
  std::vector<T> v(n);
  for (T& x : v) x = static_cast<T>(std::exp2(e(gen)) - (shifted ? 0.999 : 0.0));
  return v;
}

void Rate(benchmark::State& state, size_t n) {
  state.counters["elem_per_ns"] =
      benchmark::Counter(double(n) * double(state.iterations()) / 1e9, benchmark::Counter::kIsRate);
}

template <class T, class F>
void Run(benchmark::State& state, bool shifted, F fn) {
  const size_t n = static_cast<size_t>(state.range(0));
  const std::vector<T> a = Arguments<T>(n, shifted);
  std::vector<T> r(n + 8);
  for (auto _ : state) {
    fn(static_cast<int>(n), a.data(), r.data());
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  Rate(state, n);
}

// A loop over a scalar function.
template <class T, T (*F)(T)>
void Scalar(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = F(a[i]);
}

#if NEX_BENCH_SLEEF
// A loop over a vector function P::call of W lanes (P::V the register type;
// vector types lose their attributes as template arguments, so they travel
// inside P); the tail goes through a padded register. Always inlined, so
// that the AVX2 loop below gets a copy compiled for AVX2.
template <class T, int W, class P>
inline __attribute__((always_inline)) void Sse(int n, const T* a, T* r) {
  using V = typename P::V;
  int i = 0;
  for (; i + W <= n; i += W) {
    V x;
    __builtin_memcpy(&x, a + i, sizeof x);
    const V y = P::call(x);
    __builtin_memcpy(r + i, &y, sizeof y);
  }
  if (i < n) {
    T buf[W] = {};
    for (int k = 0; k < n - i; ++k) buf[k] = a[i + k];
    V x;
    __builtin_memcpy(&x, buf, sizeof x);
    const V y = P::call(x);
    __builtin_memcpy(buf, &y, sizeof y);
    for (int k = 0; k < n - i; ++k) r[i + k] = buf[k];
  }
}

#define NEX_PEER(name, Vec, expr)       \
  struct name {                         \
    using V = Vec;                      \
    static V call(V x) { return expr; } \
  };
NEX_PEER(LogF4, __m128, Sleef_logf4_u10sse2(x))
NEX_PEER(LogD2, __m128d, Sleef_logd2_u10sse2(x))
NEX_PEER(Log10F4, __m128, Sleef_log10f4_u10sse2(x))
NEX_PEER(Log10D2, __m128d, Sleef_log10d2_u10sse2(x))
NEX_PEER(Log2F4, __m128, Sleef_log2f4_u10sse2(x))
NEX_PEER(Log2D2, __m128d, Sleef_log2d2_u10sse2(x))
NEX_PEER(Log1pF4, __m128, Sleef_log1pf4_u10sse2(x))
NEX_PEER(Log1pD2, __m128d, Sleef_log1pd2_u10sse2(x))
NEX_PEER(IlogbD2, __m128d, _mm_cvtepi32_pd(Sleef_ilogbd2_sse2(x)))

#pragma GCC push_options
#pragma GCC target("avx2")
template <class T, int W, class P>
void Avx(int n, const T* a, T* r) {
  Sse<T, W, P>(n, a, r);
}
NEX_PEER(LogF8, __m256, Sleef_logf8_u10avx2(x))
NEX_PEER(LogD4, __m256d, Sleef_logd4_u10avx2(x))
NEX_PEER(Log10F8, __m256, Sleef_log10f8_u10avx2(x))
NEX_PEER(Log10D4, __m256d, Sleef_log10d4_u10avx2(x))
NEX_PEER(Log2F8, __m256, Sleef_log2f8_u10avx2(x))
NEX_PEER(Log2D4, __m256d, Sleef_log2d4_u10avx2(x))
NEX_PEER(Log1pF8, __m256, Sleef_log1pf8_u10avx2(x))
NEX_PEER(Log1pD4, __m256d, Sleef_log1pd4_u10avx2(x))
NEX_PEER(IlogbD4, __m256d, _mm256_cvtepi32_pd(Sleef_ilogbd4_avx2(x)))
#pragma GCC pop_options
#endif

bool HasAvx2() {
  return __builtin_cpu_supports("avx2");
}

struct Entry {
  std::string fn;  // e.g. "sLn"
  std::string peer;
  void (*run)(benchmark::State&);
};

template <class T>
using K = void (*)(int, const T*, T*);

template <class T, K<T> Fn, bool kShifted>
void Bench(benchmark::State& state) {
  Run<T>(state, kShifted, Fn);
}

#define NEX_ROW(t, T, Name, shifted, libc)                                            \
  {#t #Name, "nex", Bench<T, _vtm##t##Name, shifted>}, {                              \
#t #Name, "libc", Bench < T, Scalar < T, static_cast < T (*)(T)>(libc)>, shifted> \
  }

#if NEX_BENCH_SLEEF
#define NEX_SLEEF(t, T, Name, shifted, W, sse, avx)                   \
  {#t #Name, "sleef_sse2", Bench<T, Sse<T, W, sse>, shifted>}, {      \
#t #Name, "sleef_avx2", Bench < T, Avx < T, 2 * W, avx>, shifted> \
  }
#endif

const std::vector<Entry>& Entries() {
  static const std::vector<Entry> entries = {
    NEX_ROW(s, float, Ln, false, std::log),
    NEX_ROW(d, double, Ln, false, std::log),
    NEX_ROW(s, float, Log10, false, std::log10),
    NEX_ROW(d, double, Log10, false, std::log10),
    NEX_ROW(s, float, Log2, false, std::log2),
    NEX_ROW(d, double, Log2, false, std::log2),
    NEX_ROW(s, float, Log1p, true, std::log1p),
    NEX_ROW(d, double, Log1p, true, std::log1p),
    NEX_ROW(s, float, Logb, false, std::logb),
    NEX_ROW(d, double, Logb, false, std::logb),
#if NEX_BENCH_SLEEF
    NEX_SLEEF(s, float, Ln, false, 4, LogF4, LogF8),
    NEX_SLEEF(d, double, Ln, false, 2, LogD2, LogD4),
    NEX_SLEEF(s, float, Log10, false, 4, Log10F4, Log10F8),
    NEX_SLEEF(d, double, Log10, false, 2, Log10D2, Log10D4),
    NEX_SLEEF(s, float, Log2, false, 4, Log2F4, Log2F8),
    NEX_SLEEF(d, double, Log2, false, 2, Log2D2, Log2D4),
    NEX_SLEEF(s, float, Log1p, true, 4, Log1pF4, Log1pF8),
    NEX_SLEEF(d, double, Log1p, true, 2, Log1pD2, Log1pD4),
    NEX_SLEEF(d, double, Logb, false, 2, IlogbD2, IlogbD4),
#endif
  };
  return entries;
}

// Collects elem_per_ns per benchmark name for the ratio table.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs) {
      auto it = r.counters.find("elem_per_ns");
      if (it != r.counters.end()) rates[r.benchmark_name()] = it->second.value;
    }
  }
  std::map<std::string, double> rates;
};

}  // namespace

int main(int argc, char** argv) {
  const bool avx2 = HasAvx2();
  for (const Entry& e : Entries()) {
    if (e.peer == "sleef_avx2" && !avx2) continue;
    benchmark::RegisterBenchmark((e.fn + "/" + e.peer).c_str(), e.run)->Arg(1000)->Arg(100000);
  }
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\n%-8s %7s %12s %10s %12s %12s\n", "function", "n", "nex el/ns", "x libc",
              "x sleef_sse2", "x sleef_avx2");
  for (const char* fn :
       {"sLn", "dLn", "sLog10", "dLog10", "sLog2", "dLog2", "sLog1p", "dLog1p", "sLogb", "dLogb"}) {
    for (const char* n : {"1000", "100000"}) {
      auto rate = [&](const char* peer) {
        auto it = reporter.rates.find(std::string(fn) + "/" + peer + "/" + n);
        return it == reporter.rates.end() ? 0.0 : it->second;
      };
      const double ours = rate("nex");
      auto ratio = [&](const char* peer) {
        const double p = rate(peer);
        return p > 0 ? ours / p : 0.0;
      };
      if (ours == 0) continue;
      std::printf("%-8s %7s %12.3f %10.2f %12.2f %12.2f\n", fn, n, ours, ratio("libc"),
                  ratio("sleef_sse2"), ratio("sleef_avx2"));
    }
  }
  benchmark::Shutdown();
  return 0;
}
