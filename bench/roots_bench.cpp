// The root kernels beside their peers, in elements per nanosecond, for
// n = 1e3 and 1e5 (both in cache): a loop over the C library's scalar
// function, SLEEF of the same accuracy class (0.5 ulp for Sqrt and Hypot,
// 1 ulp for Cbrt and pow) in its SSE2 and, when the processor has it, AVX2
// forms, and for single-precision Sqrt the packed root instruction itself.
// After the runs a table gives each peer's rate as a ratio to ours.
#include <benchmark/benchmark.h>
#include <emmintrin.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "nex_vtm.h"

#if __has_include(<sleef.h>) && defined(__x86_64__)
#include <sleef.h>
#define NEX_BENCH_SLEEF 1
#endif

namespace {

template <class T>
struct Data {
  explicit Data(size_t n) : a(n), b(n), r(n) {
    for (size_t i = 0; i < n; ++i) {
      a[i] = static_cast<T>(std::exp(std::sin(double(i)) * 20.0));
      b[i] = static_cast<T>(std::exp(std::cos(double(i)) * 20.0));
    }
  }
  std::vector<T> a, b, r;
};

void Rate(benchmark::State& state, size_t n) {
  state.counters["elem_per_ns"] =
      benchmark::Counter(double(n) * double(state.iterations()) / 1e9, benchmark::Counter::kIsRate);
}

template <class T, class F>
void Run1(benchmark::State& state, F fn) {
  const size_t n = static_cast<size_t>(state.range(0));
  Data<T> d(n);
  for (auto _ : state) {
    fn(static_cast<int>(n), d.a.data(), d.r.data());
    benchmark::DoNotOptimize(d.r.data());
    benchmark::ClobberMemory();
  }
  Rate(state, n);
}
template <class T, class F>
void Run2(benchmark::State& state, F fn) {
  const size_t n = static_cast<size_t>(state.range(0));
  Data<T> d(n);
  for (auto _ : state) {
    fn(static_cast<int>(n), d.a.data(), d.b.data(), d.r.data());
    benchmark::DoNotOptimize(d.r.data());
    benchmark::ClobberMemory();
  }
  Rate(state, n);
}

// Scalar C library loops (kept scalar: the point is the library call).
template <class T, T (*F)(T)>
void Loop1(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = F(a[i]);
}
template <class T, T (*F)(T, T)>
void Loop2(int n, const T* a, const T* b, T* r) {
  for (int i = 0; i < n; ++i) r[i] = F(a[i], b[i]);
}
float InvSqrtF(float x) {
  return 1.0f / std::sqrt(x);
}
double InvSqrtD(double x) {
  return 1.0 / std::sqrt(x);
}
float InvCbrtF(float x) {
  return 1.0f / std::cbrt(x);
}
double InvCbrtD(double x) {
  return 1.0 / std::cbrt(x);
}
float Pow2o3F(float x) {
  return std::pow(x, 2.0f / 3.0f);
}
double Pow2o3D(double x) {
  return std::pow(x, 2.0 / 3.0);
}
float Pow3o2F(float x) {
  return std::pow(x, 1.5f);
}
double Pow3o2D(double x) {
  return std::pow(x, 1.5);
}
float SqrtF(float x) {
  return std::sqrt(x);
}
double SqrtD(double x) {
  return std::sqrt(x);
}
float CbrtF(float x) {
  return std::cbrt(x);
}
double CbrtD(double x) {
  return std::cbrt(x);
}
float HypotF(float x, float y) {
  return std::hypot(x, y);
}
double HypotD(double x, double y) {
  return std::hypot(x, y);
}

void PackedRootPs(int n, const float* a, float* r) {
  int i = 0;
  for (; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, _mm_sqrt_ps(_mm_loadu_ps(a + i)));
  for (; i < n; ++i) r[i] = std::sqrt(a[i]);
}

#ifdef NEX_BENCH_SLEEF
// SSE2 forms: 4 floats or 2 doubles per call.
template <auto F>
void SleefS1(int n, const float* a, float* r) {
  for (int i = 0; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, F(_mm_loadu_ps(a + i)));
}
template <auto F>
void SleefD1(int n, const double* a, double* r) {
  for (int i = 0; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, F(_mm_loadu_pd(a + i)));
}
template <auto F>
void SleefS2(int n, const float* a, const float* b, float* r) {
  for (int i = 0; i + 4 <= n; i += 4)
    _mm_storeu_ps(r + i, F(_mm_loadu_ps(a + i), _mm_loadu_ps(b + i)));
}
template <auto F>
void SleefD2(int n, const double* a, const double* b, double* r) {
  for (int i = 0; i + 2 <= n; i += 2)
    _mm_storeu_pd(r + i, F(_mm_loadu_pd(a + i), _mm_loadu_pd(b + i)));
}
template <auto F, int kNum, int kDen>
void SleefSPow(int n, const float* a, float* r) {
  const __m128 y = _mm_set1_ps(float(kNum) / float(kDen));
  for (int i = 0; i + 4 <= n; i += 4) _mm_storeu_ps(r + i, F(_mm_loadu_ps(a + i), y));
}
template <auto F, int kNum, int kDen>
void SleefDPow(int n, const double* a, double* r) {
  const __m128d y = _mm_set1_pd(double(kNum) / double(kDen));
  for (int i = 0; i + 2 <= n; i += 2) _mm_storeu_pd(r + i, F(_mm_loadu_pd(a + i), y));
}
#endif

bool HasAvx2() {
  return __builtin_cpu_supports("avx2");
}

}  // namespace

#ifdef NEX_BENCH_SLEEF
// AVX2 forms, compiled for AVX2 in these functions only; they run only when
// the processor has it.
#pragma GCC push_options
#pragma GCC target("avx2")
#include <immintrin.h>
extern "C" {
__m256 Sleef_sqrtf8_u05avx2(__m256);
__m256d Sleef_sqrtd4_u05avx2(__m256d);
__m256 Sleef_cbrtf8_u10avx2(__m256);
__m256d Sleef_cbrtd4_u10avx2(__m256d);
__m256 Sleef_hypotf8_u05avx2(__m256, __m256);
__m256d Sleef_hypotd4_u05avx2(__m256d, __m256d);
__m256 Sleef_powf8_u10avx2(__m256, __m256);
__m256d Sleef_powd4_u10avx2(__m256d, __m256d);
}
namespace {
#define NEX_AVX_S1(name, F)                                                                 \
  void name(int n, const float* a, float* r) {                                              \
    for (int i = 0; i + 8 <= n; i += 8) _mm256_storeu_ps(r + i, F(_mm256_loadu_ps(a + i))); \
  }
#define NEX_AVX_D1(name, F)                                                                 \
  void name(int n, const double* a, double* r) {                                            \
    for (int i = 0; i + 4 <= n; i += 4) _mm256_storeu_pd(r + i, F(_mm256_loadu_pd(a + i))); \
  }
NEX_AVX_S1(AvxSqrtS, Sleef_sqrtf8_u05avx2)
NEX_AVX_D1(AvxSqrtD, Sleef_sqrtd4_u05avx2)
NEX_AVX_S1(AvxCbrtS, Sleef_cbrtf8_u10avx2)
NEX_AVX_D1(AvxCbrtD, Sleef_cbrtd4_u10avx2)
void AvxHypotS(int n, const float* a, const float* b, float* r) {
  for (int i = 0; i + 8 <= n; i += 8)
    _mm256_storeu_ps(r + i, Sleef_hypotf8_u05avx2(_mm256_loadu_ps(a + i), _mm256_loadu_ps(b + i)));
}
void AvxHypotD(int n, const double* a, const double* b, double* r) {
  for (int i = 0; i + 4 <= n; i += 4)
    _mm256_storeu_pd(r + i, Sleef_hypotd4_u05avx2(_mm256_loadu_pd(a + i), _mm256_loadu_pd(b + i)));
}
void AvxPow3o2S(int n, const float* a, float* r) {
  const __m256 y = _mm256_set1_ps(1.5f);
  for (int i = 0; i + 8 <= n; i += 8)
    _mm256_storeu_ps(r + i, Sleef_powf8_u10avx2(_mm256_loadu_ps(a + i), y));
}
void AvxPow3o2D(int n, const double* a, double* r) {
  const __m256d y = _mm256_set1_pd(1.5);
  for (int i = 0; i + 4 <= n; i += 4)
    _mm256_storeu_pd(r + i, Sleef_powd4_u10avx2(_mm256_loadu_pd(a + i), y));
}
}  // namespace
#pragma GCC pop_options
#endif

namespace {

// ---- Registration ------------------------------------------------------------------

// Every benchmark is named "<function>/<implementation>" so that the ratio
// table can pair each peer with "<function>/nex".
template <class T>
void Add1(const std::string& fn, const std::string& impl, void (*k)(int, const T*, T*)) {
  benchmark::RegisterBenchmark((fn + "/" + impl).c_str(),
                               [k](benchmark::State& s) { Run1<T>(s, k); })
      ->Arg(1000)
      ->Arg(100000);
}
template <class T>
void Add2(const std::string& fn, const std::string& impl, void (*k)(int, const T*, const T*, T*)) {
  benchmark::RegisterBenchmark((fn + "/" + impl).c_str(),
                               [k](benchmark::State& s) { Run2<T>(s, k); })
      ->Arg(1000)
      ->Arg(100000);
}

void RegisterAll() {
  const bool avx2 = HasAvx2();
  (void)avx2;
  Add1<float>("sSqrt", "nex", _vtmsSqrt);
  Add1<float>("sSqrt", "libc", Loop1<float, SqrtF>);
  Add1<float>("sSqrt", "sqrtps", PackedRootPs);
  Add1<double>("dSqrt", "nex", _vtmdSqrt);
  Add1<double>("dSqrt", "libc", Loop1<double, SqrtD>);
  Add1<float>("sInvSqrt", "nex", _vtmsInvSqrt);
  Add1<float>("sInvSqrt", "libc", Loop1<float, InvSqrtF>);
  Add1<double>("dInvSqrt", "nex", _vtmdInvSqrt);
  Add1<double>("dInvSqrt", "libc", Loop1<double, InvSqrtD>);
  Add1<float>("sCbrt", "nex", _vtmsCbrt);
  Add1<float>("sCbrt", "libc", Loop1<float, CbrtF>);
  Add1<double>("dCbrt", "nex", _vtmdCbrt);
  Add1<double>("dCbrt", "libc", Loop1<double, CbrtD>);
  Add1<float>("sInvCbrt", "nex", _vtmsInvCbrt);
  Add1<float>("sInvCbrt", "libc", Loop1<float, InvCbrtF>);
  Add1<double>("dInvCbrt", "nex", _vtmdInvCbrt);
  Add1<double>("dInvCbrt", "libc", Loop1<double, InvCbrtD>);
  Add1<float>("sPow2o3", "nex", _vtmsPow2o3);
  Add1<float>("sPow2o3", "libc", Loop1<float, Pow2o3F>);
  Add1<double>("dPow2o3", "nex", _vtmdPow2o3);
  Add1<double>("dPow2o3", "libc", Loop1<double, Pow2o3D>);
  Add1<float>("sPow3o2", "nex", _vtmsPow3o2);
  Add1<float>("sPow3o2", "libc", Loop1<float, Pow3o2F>);
  Add1<double>("dPow3o2", "nex", _vtmdPow3o2);
  Add1<double>("dPow3o2", "libc", Loop1<double, Pow3o2D>);
  Add2<float>("sHypot", "nex", _vtmsHypot);
  Add2<float>("sHypot", "libc", Loop2<float, HypotF>);
  Add2<double>("dHypot", "nex", _vtmdHypot);
  Add2<double>("dHypot", "libc", Loop2<double, HypotD>);
#ifdef NEX_BENCH_SLEEF
  Add1<float>("sSqrt", "sleef_sse2", SleefS1<Sleef_sqrtf4_u05sse2>);
  Add1<double>("dSqrt", "sleef_sse2", SleefD1<Sleef_sqrtd2_u05sse2>);
  Add1<float>("sCbrt", "sleef_sse2", SleefS1<Sleef_cbrtf4_u10sse2>);
  Add1<double>("dCbrt", "sleef_sse2", SleefD1<Sleef_cbrtd2_u10sse2>);
  Add1<float>("sPow2o3", "sleef_sse2", SleefSPow<Sleef_powf4_u10sse2, 2, 3>);
  Add1<double>("dPow2o3", "sleef_sse2", SleefDPow<Sleef_powd2_u10sse2, 2, 3>);
  Add1<float>("sPow3o2", "sleef_sse2", SleefSPow<Sleef_powf4_u10sse2, 3, 2>);
  Add1<double>("dPow3o2", "sleef_sse2", SleefDPow<Sleef_powd2_u10sse2, 3, 2>);
  Add2<float>("sHypot", "sleef_sse2", SleefS2<Sleef_hypotf4_u05sse2>);
  Add2<double>("dHypot", "sleef_sse2", SleefD2<Sleef_hypotd2_u05sse2>);
  if (avx2) {
    Add1<float>("sSqrt", "sleef_avx2", AvxSqrtS);
    Add1<double>("dSqrt", "sleef_avx2", AvxSqrtD);
    Add1<float>("sCbrt", "sleef_avx2", AvxCbrtS);
    Add1<double>("dCbrt", "sleef_avx2", AvxCbrtD);
    Add1<float>("sPow3o2", "sleef_avx2", AvxPow3o2S);
    Add1<double>("dPow3o2", "sleef_avx2", AvxPow3o2D);
    Add2<float>("sHypot", "sleef_avx2", AvxHypotS);
    Add2<double>("dHypot", "sleef_avx2", AvxHypotD);
  }
#endif
}

// Console output as usual, and the rates kept for the ratio table.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs) {
      auto it = r.counters.find("elem_per_ns");
      if (it != r.counters.end()) rate_[r.benchmark_name()] = it->second.value;
    }
  }
  // name is "<fn>/<impl>/<n>"; prints peer rate / our rate.
  void PrintRatios() const {
    std::printf("\nRatio of our rate to each peer's (above 1: ours is faster)\n");
    std::printf("%-12s %-12s %8s %10s %10s %8s\n", "function", "peer", "n", "ours/ns", "peer/ns",
                "ratio");
    for (const auto& [name, peer_rate] : rate_) {
      const size_t a = name.find('/'), b = name.rfind('/');
      const std::string fn = name.substr(0, a), impl = name.substr(a + 1, b - a - 1),
                        n = name.substr(b + 1);
      if (impl == "nex") continue;
      auto ours = rate_.find(fn + "/nex/" + n);
      if (ours == rate_.end() || peer_rate <= 0) continue;
      std::printf("%-12s %-12s %8s %10.3f %10.3f %8.2f\n", fn.c_str(), impl.c_str(), n.c_str(),
                  ours->second, peer_rate, ours->second / peer_rate);
    }
  }

 private:
  std::map<std::string, double> rate_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RegisterAll();
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  benchmark::Shutdown();
  return 0;
}
