// Sine, cosine and tangent in half-turns and degrees, in elements per
// nanosecond (counter elem_per_ns), for n = 1e3 and 1e5, beside a loop over
// the C library's sin(pi x) and tan(pi x) (the reference cost) and the peer
// vector library's sinpi/cospi (0.506-ulp class, SSE2, and AVX2 when the
// processor has it). Arguments: moderate (|x| < 1000) and huge (|x| from
// 2^23 to the largest finite).
#include <benchmark/benchmark.h>
#include <immintrin.h>

#include <cmath>
#include <random>
#include <vector>

#include "nex_vtm.h"

#if __has_include(<sleef.h>)
#include <sleef.h>
#define NEX_HAVE_SLEEF 1
extern "C" __m256d Sleef_sinpid4_u05avx2(__m256d);
extern "C" __m256d Sleef_cospid4_u05avx2(__m256d);
extern "C" __m256 Sleef_sinpif8_u05avx2(__m256);
extern "C" __m256 Sleef_cospif8_u05avx2(__m256);
#endif

namespace {

enum class Args { kModerate, kHuge };

template <class T>
std::vector<T> Make(size_t n, Args kind) {
  std::mt19937_64 gen(7);
  std::uniform_real_distribution<double> u(-1000.0, 1000.0);
  std::uniform_real_distribution<double> e(23.0, sizeof(T) == 4 ? 127.0 : 1023.0);
  std::vector<T> v(n);
  for (T& x : v) x = kind == Args::kModerate ? T(u(gen)) : T(std::exp2(e(gen)));
  return v;
}

template <class T, class F>
void Run(benchmark::State& state, F fn, Args kind) {
  const size_t n = static_cast<size_t>(state.range(0));
  const std::vector<T> a = Make<T>(n, kind);
  std::vector<T> r(n);
  for (auto _ : state) {
    fn(static_cast<int>(n), a.data(), r.data());
    benchmark::DoNotOptimize(r.data());
    benchmark::ClobberMemory();
  }
  state.counters["elem_per_ns"] =
      benchmark::Counter(double(n) * double(state.iterations()) / 1e9, benchmark::Counter::kIsRate);
}

void RunF(benchmark::State& state, void (*fn)(int, const float*, float*), Args kind) {
  Run<float>(state, fn, kind);
}
void RunD(benchmark::State& state, void (*fn)(int, const double*, double*), Args kind) {
  Run<double>(state, fn, kind);
}

void LibcSinpiF(int n, const float* a, float* r) {
  for (int i = 0; i < n; ++i) r[i] = std::sin(3.14159265358979323846f * a[i]);
}
void LibcSinpiD(int n, const double* a, double* r) {
  for (int i = 0; i < n; ++i) r[i] = std::sin(3.14159265358979323846 * a[i]);
}
void LibcTanpiD(int n, const double* a, double* r) {
  for (int i = 0; i < n; ++i) r[i] = std::tan(3.14159265358979323846 * a[i]);
}
void LibcSindD(int n, const double* a, double* r) {
  for (int i = 0; i < n; ++i) r[i] = std::sin(a[i] * (3.14159265358979323846 / 180.0));
}

#ifdef NEX_HAVE_SLEEF
// One loop per peer function (vector types do not pass as template
// arguments): blocks of the peer's width, the tail through a broadcast.
#define NEX_PEER(name, T, V, width, load, store, set1, first, f, target) \
  target void name(int n, const T* a, T* r) {                            \
    int i = 0;                                                           \
    for (; i + width <= n; i += width) store(r + i, f(load(a + i)));     \
    for (; i < n; ++i) r[i] = first(f(set1(a[i])));                      \
  }
#define NEX_NO_TARGET
#define NEX_AVX2 __attribute__((target("avx2")))
NEX_PEER(SleefSinpiF4, float, __m128, 4, _mm_loadu_ps, _mm_storeu_ps, _mm_set1_ps, _mm_cvtss_f32,
         Sleef_sinpif4_u05sse2, NEX_NO_TARGET)
NEX_PEER(SleefCospiF4, float, __m128, 4, _mm_loadu_ps, _mm_storeu_ps, _mm_set1_ps, _mm_cvtss_f32,
         Sleef_cospif4_u05sse2, NEX_NO_TARGET)
NEX_PEER(SleefSinpiD2, double, __m128d, 2, _mm_loadu_pd, _mm_storeu_pd, _mm_set1_pd, _mm_cvtsd_f64,
         Sleef_sinpid2_u05sse2, NEX_NO_TARGET)
NEX_PEER(SleefCospiD2, double, __m128d, 2, _mm_loadu_pd, _mm_storeu_pd, _mm_set1_pd, _mm_cvtsd_f64,
         Sleef_cospid2_u05sse2, NEX_NO_TARGET)
NEX_PEER(SleefSinpiF8, float, __m256, 8, _mm256_loadu_ps, _mm256_storeu_ps, _mm256_set1_ps,
         _mm256_cvtss_f32, Sleef_sinpif8_u05avx2, NEX_AVX2)
NEX_PEER(SleefSinpiD4, double, __m256d, 4, _mm256_loadu_pd, _mm256_storeu_pd, _mm256_set1_pd,
         _mm256_cvtsd_f64, Sleef_sinpid4_u05avx2, NEX_AVX2)
#endif

#define NEX_BENCH(name, T, fn, kind) \
  BENCHMARK_CAPTURE(Run##T, name, fn, Args::kind)->Arg(1000)->Arg(100000)

NEX_BENCH(vsSinpi_HA, F, _vtmsSinpi_HA, kModerate);
NEX_BENCH(vsSinpi_LA, F, _vtmsSinpi_21, kModerate);
NEX_BENCH(vsSinpi_EP, F, _vtmsSinpi_11, kModerate);
NEX_BENCH(vsCospi_HA, F, _vtmsCospi_HA, kModerate);
NEX_BENCH(vsTanpi_HA, F, _vtmsTanpi_HA, kModerate);
NEX_BENCH(vsSind_HA, F, _vtmsSind_HA, kModerate);
NEX_BENCH(vsSinpi_HA_huge, F, _vtmsSinpi_HA, kHuge);
NEX_BENCH(vsSind_HA_huge, F, _vtmsSind_HA, kHuge);
NEX_BENCH(libc_sinf_pi_x, F, LibcSinpiF, kModerate);

NEX_BENCH(vdSinpi_HA, D, _vtmdSinpi_HA, kModerate);
NEX_BENCH(vdSinpi_LA, D, _vtmdSinpi_50, kModerate);
NEX_BENCH(vdSinpi_EP, D, _vtmdSinpi_26, kModerate);
NEX_BENCH(vdCospi_HA, D, _vtmdCospi_HA, kModerate);
NEX_BENCH(vdTanpi_HA, D, _vtmdTanpi_HA, kModerate);
NEX_BENCH(vdTanpi_LA, D, _vtmdTanpi_50, kModerate);
NEX_BENCH(vdSind_HA, D, _vtmdSind_HA, kModerate);
NEX_BENCH(vdSinpi_HA_huge, D, _vtmdSinpi_HA, kHuge);
NEX_BENCH(vdSind_HA_huge, D, _vtmdSind_HA, kHuge);
NEX_BENCH(libc_sin_pi_x, D, LibcSinpiD, kModerate);
NEX_BENCH(libc_tan_pi_x, D, LibcTanpiD, kModerate);
NEX_BENCH(libc_sin_x_deg, D, LibcSindD, kModerate);

#ifdef NEX_HAVE_SLEEF
NEX_BENCH(sleef_sinpif4_u05sse2, F, SleefSinpiF4, kModerate);
NEX_BENCH(sleef_cospif4_u05sse2, F, SleefCospiF4, kModerate);
NEX_BENCH(sleef_sinpid2_u05sse2, D, SleefSinpiD2, kModerate);
NEX_BENCH(sleef_cospid2_u05sse2, D, SleefCospiD2, kModerate);

// AVX2 peers run only where the processor has AVX2.
void RegisterAvx2() {
  if (!__builtin_cpu_supports("avx2")) return;
  benchmark::RegisterBenchmark(
      "sleef_sinpif8_u05avx2",
      [](benchmark::State& s) { Run<float>(s, SleefSinpiF8, Args::kModerate); })
      ->Arg(1000)
      ->Arg(100000);
  benchmark::RegisterBenchmark(
      "sleef_sinpid4_u05avx2",
      [](benchmark::State& s) { Run<double>(s, SleefSinpiD4, Args::kModerate); })
      ->Arg(1000)
      ->Arg(100000);
}
const int kAvx2Registered = (RegisterAvx2(), 0);
#endif

}  // namespace

BENCHMARK_MAIN();
