// Sin, Cos, Tan and SinCos against a loop over the C library's functions and
// SLEEF's 1-ulp vector functions (SSE2 always, AVX2 when the processor has
// it), in elements per nanosecond (counter elem_per_ns, printed with a "/s"
// unit) for n = 1e3 and 1e5. Arguments: "mod" uniform in [-100, 100], "huge"
// log-uniform in magnitude from 2^20 to the largest finite value.
#include <benchmark/benchmark.h>
#include <immintrin.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "nex_vtm.h"

#if defined(__x86_64__) && __has_include(<sleef.h>)
#include <sleef.h>
#define NEX_HAVE_SLEEF 1
// The AVX2 forms are declared by the header only for AVX builds; the bench
// stays SSE2 and calls them from functions compiled for AVX2.
extern "C" __m256d Sleef_sind4_u10avx2(__m256d);
extern "C" __m256d Sleef_cosd4_u10avx2(__m256d);
extern "C" __m256d Sleef_tand4_u10avx2(__m256d);
extern "C" __m256 Sleef_sinf8_u10avx2(__m256);
extern "C" __m256 Sleef_cosf8_u10avx2(__m256);
extern "C" __m256 Sleef_tanf8_u10avx2(__m256);
#endif

namespace {

enum Range { kModerate, kHuge };

template <class T>
std::vector<T> Arguments(size_t n, Range range) {
  std::mt19937_64 g(17);
  std::vector<T> v(n);
  const double top = std::log2(static_cast<double>(std::numeric_limits<T>::max()));
  std::uniform_real_distribution<double> mod(-100, 100), ex(20, top), u(0, 1);
  for (auto& x : v) {
    if (range == kModerate) {
      x = static_cast<T>(mod(g));
    } else {
      x = static_cast<T>(std::exp2(ex(g)) * (u(g) < 0.5 ? -1 : 1));
      if (!std::isfinite(x)) x = std::numeric_limits<T>::max();
    }
  }
  return v;
}

template <class T, class F>
void Run(benchmark::State& state, F fn, Range range) {
  const size_t n = static_cast<size_t>(state.range(0));
  const std::vector<T> a = Arguments<T>(n, range);
  std::vector<T> r(n), r2(n);
  for (auto _ : state) {
    fn(static_cast<int>(n), a.data(), r.data(), r2.data());
    benchmark::DoNotOptimize(r.data());
    benchmark::DoNotOptimize(r2.data());
    benchmark::ClobberMemory();
  }
  state.counters["elem_per_ns"] =
      benchmark::Counter(double(n) * double(state.iterations()) / 1e9, benchmark::Counter::kIsRate);
}

// ---- This library ----
#define NEX_ONE(t, T, Name)                         \
  void Nex_##t##Name(int n, const T* a, T* r, T*) { \
    _vtm##t##Name(n, a, r);                         \
  }
NEX_ONE(s, float, Sin)
NEX_ONE(s, float, Cos)
NEX_ONE(s, float, Tan)
NEX_ONE(d, double, Sin)
NEX_ONE(d, double, Cos)
NEX_ONE(d, double, Tan)
void Nex_sSinCos(int n, const float* a, float* r, float* r2) {
  _vtmsSinCos(n, a, r, r2);
}
void Nex_dSinCos(int n, const double* a, double* r, double* r2) {
  _vtmdSinCos(n, a, r, r2);
}

// ---- The C library, one element at a time ----
#define LIBC_ONE(t, T, Name, f)                      \
  void Libc_##t##Name(int n, const T* a, T* r, T*) { \
    for (int i = 0; i < n; ++i) r[i] = f(a[i]);      \
  }
LIBC_ONE(s, float, Sin, sinf)
LIBC_ONE(s, float, Cos, cosf)
LIBC_ONE(s, float, Tan, tanf)
LIBC_ONE(d, double, Sin, sin)
LIBC_ONE(d, double, Cos, cos)
LIBC_ONE(d, double, Tan, tan)
void Libc_sSinCos(int n, const float* a, float* r, float* r2) {
  for (int i = 0; i < n; ++i) sincosf(a[i], &r[i], &r2[i]);
}
void Libc_dSinCos(int n, const double* a, double* r, double* r2) {
  for (int i = 0; i < n; ++i) sincos(a[i], &r[i], &r2[i]);
}

#ifdef NEX_HAVE_SLEEF
// ---- SLEEF, SSE2 (tails by the C library) ----
#define SLEEF_D2(Name, f, libc)                                              \
  void Sleef2_d##Name(int n, const double* a, double* r, double*) {          \
    int i = 0;                                                               \
    for (; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, f(_mm_loadu_pd(a + i))); \
    for (; i < n; ++i) r[i] = libc(a[i]);                                    \
  }
#define SLEEF_F4(Name, f, libc)                                              \
  void Sleef2_s##Name(int n, const float* a, float* r, float*) {             \
    int i = 0;                                                               \
    for (; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, f(_mm_loadu_ps(a + i))); \
    for (; i < n; ++i) r[i] = libc(a[i]);                                    \
  }
SLEEF_D2(Sin, Sleef_sind2_u10sse2, sin)
SLEEF_D2(Cos, Sleef_cosd2_u10sse2, cos)
SLEEF_D2(Tan, Sleef_tand2_u10sse2, tan)
SLEEF_F4(Sin, Sleef_sinf4_u10sse2, sinf)
SLEEF_F4(Cos, Sleef_cosf4_u10sse2, cosf)
SLEEF_F4(Tan, Sleef_tanf4_u10sse2, tanf)
void Sleef2_dSinCos(int n, const double* a, double* r, double* r2) {
  int i = 0;
  for (; i + 2 <= n; i += 2) {
    const Sleef___m128d_2 sc = Sleef_sincosd2_u10sse2(_mm_loadu_pd(a + i));
    _mm_storeu_pd(r + i, sc.x);
    _mm_storeu_pd(r2 + i, sc.y);
  }
  for (; i < n; ++i) sincos(a[i], &r[i], &r2[i]);
}
void Sleef2_sSinCos(int n, const float* a, float* r, float* r2) {
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    const Sleef___m128_2 sc = Sleef_sincosf4_u10sse2(_mm_loadu_ps(a + i));
    _mm_storeu_ps(r + i, sc.x);
    _mm_storeu_ps(r2 + i, sc.y);
  }
  for (; i < n; ++i) sincosf(a[i], &r[i], &r2[i]);
}

// ---- SLEEF, AVX2 ----
#define SLEEF_D4(Name, f, libc)                                                          \
  __attribute__((target("avx2"))) void Sleef4_d##Name(int n, const double* a, double* r, \
                                                      double*) {                         \
    int i = 0;                                                                           \
    for (; i + 4 <= n; i += 4) _mm256_storeu_pd(r + i, f(_mm256_loadu_pd(a + i)));       \
    for (; i < n; ++i) r[i] = libc(a[i]);                                                \
  }
#define SLEEF_F8(Name, f, libc)                                                                  \
  __attribute__((target("avx2"))) void Sleef4_s##Name(int n, const float* a, float* r, float*) { \
    int i = 0;                                                                                   \
    for (; i + 8 <= n; i += 8) _mm256_storeu_ps(r + i, f(_mm256_loadu_ps(a + i)));               \
    for (; i < n; ++i) r[i] = libc(a[i]);                                                        \
  }
SLEEF_D4(Sin, Sleef_sind4_u10avx2, sin)
SLEEF_D4(Cos, Sleef_cosd4_u10avx2, cos)
SLEEF_D4(Tan, Sleef_tand4_u10avx2, tan)
SLEEF_F8(Sin, Sleef_sinf8_u10avx2, sinf)
SLEEF_F8(Cos, Sleef_cosf8_u10avx2, cosf)
SLEEF_F8(Tan, Sleef_tanf8_u10avx2, tanf)
#endif

bool HasAvx2() {
  return __builtin_cpu_supports("avx2");
}

template <class T>
using Fn = void (*)(int, const T*, T*, T*);

template <class T>
void Register(const char* name, Fn<T> nex, Fn<T> libc, Fn<T> sleef2, Fn<T> sleef4) {
  for (Range range : {kModerate, kHuge}) {
    const std::string tag = std::string(name) + (range == kModerate ? "/mod" : "/huge");
    auto add = [&](const std::string& who, Fn<T> f) {
      if (f == nullptr) return;
      benchmark::RegisterBenchmark((tag + "/" + who).c_str(),
                                   [f, range](benchmark::State& s) { Run<T>(s, f, range); })
          ->Arg(1000)
          ->Arg(100000);
    };
    add("nex", nex);
    add("libc", libc);
    add("sleef_sse2_u10", sleef2);
    if (HasAvx2()) add("sleef_avx2_u10", sleef4);
  }
}

}  // namespace

int main(int argc, char** argv) {
#ifdef NEX_HAVE_SLEEF
#define PEERS(t, Name) Libc_##t##Name, Sleef2_##t##Name, Sleef4_##t##Name
#define PEERS_SINCOS(t) Libc_##t##SinCos, Sleef2_##t##SinCos, nullptr
#else
#define PEERS(t, Name) Libc_##t##Name, nullptr, nullptr
#define PEERS_SINCOS(t) Libc_##t##SinCos, nullptr, nullptr
#endif
  Register<float>("sSin", Nex_sSin, PEERS(s, Sin));
  Register<float>("sCos", Nex_sCos, PEERS(s, Cos));
  Register<float>("sTan", Nex_sTan, PEERS(s, Tan));
  Register<float>("sSinCos", Nex_sSinCos, PEERS_SINCOS(s));
  Register<double>("dSin", Nex_dSin, PEERS(d, Sin));
  Register<double>("dCos", Nex_dCos, PEERS(d, Cos));
  Register<double>("dTan", Nex_dTan, PEERS(d, Tan));
  Register<double>("dSinCos", Nex_dSinCos, PEERS_SINCOS(d));
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
