// Plain kernels against a compiler-vectorised loop, in elements per
// nanosecond (the counter elem_per_ns; Google Benchmark prints it with a "/s" unit), for n = 1e3, 1e5 (in cache) and 1e7.
#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "nex_vtm.h"

namespace {

template <class T>
struct Data {
  explicit Data(size_t n) : a(n), b(n), r(n) {
    for (size_t i = 0; i < n; ++i) {
      a[i] = static_cast<T>(std::sin(double(i)) * 1000.0);
      b[i] = static_cast<T>(std::cos(double(i)) * 10.0 + 11.0);
    }
  }
  std::vector<T> a, b, r;
};

void Rate(benchmark::State& state, size_t n) {
  state.counters["elem_per_ns"] =
      benchmark::Counter(double(n) * double(state.iterations()) / 1e9, benchmark::Counter::kIsRate);
}

template <class T, class F>
void Kernel2(benchmark::State& state, F fn) {
  const size_t n = static_cast<size_t>(state.range(0));
  Data<T> d(n);
  for (auto _ : state) {
    fn(static_cast<int>(n), d.a.data(), d.b.data(), d.r.data());
    benchmark::DoNotOptimize(d.r.data());
    benchmark::ClobberMemory();
  }
  Rate(state, n);
}
template <class T, class F>
void Kernel1(benchmark::State& state, F fn) {
  const size_t n = static_cast<size_t>(state.range(0));
  Data<T> d(n);
  for (auto _ : state) {
    fn(static_cast<int>(n), d.a.data(), d.r.data());
    benchmark::DoNotOptimize(d.r.data());
    benchmark::ClobberMemory();
  }
  Rate(state, n);
}

// The peers: plain loops the compiler vectorises at -O2/-O3.
template <class T>
__attribute__((optimize("O3"))) void LoopAdd(int n, const T* a, const T* b, T* r) {
  for (int i = 0; i < n; ++i) r[i] = a[i] + b[i];
}
template <class T>
__attribute__((optimize("O3"))) void LoopMul(int n, const T* a, const T* b, T* r) {
  for (int i = 0; i < n; ++i) r[i] = a[i] * b[i];
}
template <class T>
__attribute__((optimize("O3"))) void LoopAbs(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = std::fabs(a[i]);
}
template <class T>
__attribute__((optimize("O3"))) void LoopRound(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = std::round(a[i]);
}

#define NEX_BENCH_PAIR(T, name, kind, ours)                                                  \
  void BM_##name##_nex_##T(benchmark::State& s) { kind<T>(s, ours); }                        \
  void BM_##name##_loop_##T(benchmark::State& s) { kind<T>(s, Loop##name<T>); }              \
  BENCHMARK(BM_##name##_nex_##T)->Arg(1000)->Arg(100000)->Arg(10000000);                     \
  BENCHMARK(BM_##name##_loop_##T)->Arg(1000)->Arg(100000)->Arg(10000000);

NEX_BENCH_PAIR(float, Add, Kernel2, _vtmsAdd)
NEX_BENCH_PAIR(double, Add, Kernel2, _vtmdAdd)
NEX_BENCH_PAIR(float, Mul, Kernel2, _vtmsMul)
NEX_BENCH_PAIR(double, Mul, Kernel2, _vtmdMul)
NEX_BENCH_PAIR(float, Abs, Kernel1, _vtmsAbs)
NEX_BENCH_PAIR(double, Abs, Kernel1, _vtmdAbs)
NEX_BENCH_PAIR(float, Round, Kernel1, _vtmsRound)
NEX_BENCH_PAIR(double, Round, Kernel1, _vtmdRound)

}  // namespace

BENCHMARK_MAIN();
