// Throughput of the basic generators' bulk paths, side by side with the
// standard library's minstd_rand and mt19937 loops and GSL's generators of the
// same families (loaded at run time when present). Items are numbers
// (16-byte elements for WH); compare the items_per_second columns.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdint>
#include <random>
#include <vector>

#include "nex_rng.h"
#include "streams/stream.hpp"

namespace {

void nex_bench(benchmark::State& state, int32_t brng, bool real) {
  const int32_t n = static_cast<int32_t>(state.range(0));
  VrsStream* s = nullptr;
  const uint32_t seed[6] = {12345, 2, 3, 4, 5, 6};
  if (__vrsNewStreamEx(&s, brng, 6, seed) != 0) {
    state.SkipWithError("stream");
    return;
  }
  const VrsBrngProperties& row = nex::streams::row_of(s);
  std::vector<uint32_t> wbuf(static_cast<size_t>(n) * (row.word_size / 4));
  std::vector<double> dbuf(static_cast<size_t>(n));
  for (auto _ : state) {
    if (real)
      row.generate_d(s, n, dbuf.data(), 0.0, 1.0);
    else
      row.generate_i(s, n, wbuf.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
  __vrsDeleteStream(&s);
}

template <class Engine>
void std_bench(benchmark::State& state, bool real) {
  const size_t n = static_cast<size_t>(state.range(0));
  Engine e(12345);
  std::vector<uint32_t> w(n);
  std::vector<double> d(n);
  for (auto _ : state) {
    if (real)
      for (size_t i = 0; i < n; ++i) d[i] = (e() - Engine::min()) * (1.0 / (Engine::max() + 1.0));
    else
      for (size_t i = 0; i < n; ++i) w[i] = static_cast<uint32_t>(e());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(n));
}

void std_minstd(benchmark::State& state, bool real) {
  std_bench<std::minstd_rand>(state, real);
}
void std_mt19937(benchmark::State& state, bool real) {
  std_bench<std::mt19937>(state, real);
}

// GSL through dlopen, so that the benchmark builds without its link files.
struct Gsl {
  void* lib = nullptr;
  void* (*alloc)(const void*) = nullptr;
  void (*set)(void*, unsigned long) = nullptr;
  unsigned long (*get)(void*) = nullptr;
  double (*uniform)(void*) = nullptr;
  void (*free)(void*) = nullptr;
  Gsl() {
    lib = dlopen("libgsl.so.27", RTLD_NOW | RTLD_LOCAL);
    if (lib == nullptr) lib = dlopen("libgsl.so", RTLD_NOW | RTLD_LOCAL);
    if (lib == nullptr) return;
    alloc = reinterpret_cast<void* (*)(const void*)>(dlsym(lib, "gsl_rng_alloc"));
    set = reinterpret_cast<void (*)(void*, unsigned long)>(dlsym(lib, "gsl_rng_set"));
    get = reinterpret_cast<unsigned long (*)(void*)>(dlsym(lib, "gsl_rng_get"));
    uniform = reinterpret_cast<double (*)(void*)>(dlsym(lib, "gsl_rng_uniform"));
    free = reinterpret_cast<void (*)(void*)>(dlsym(lib, "gsl_rng_free"));
  }
  void* make(const char* type) const {
    if (lib == nullptr || alloc == nullptr) return nullptr;
    auto t = reinterpret_cast<const void**>(dlsym(lib, type));
    if (t == nullptr) return nullptr;
    void* r = alloc(*t);
    if (r != nullptr) set(r, 12345);
    return r;
  }
};

const Gsl& gsl() {
  static const Gsl g;
  return g;
}

void gsl_bench(benchmark::State& state, const char* type, bool real) {
  void* r = gsl().make(type);
  if (r == nullptr) {
    state.SkipWithError("GSL not available");
    return;
  }
  const size_t n = static_cast<size_t>(state.range(0));
  std::vector<uint32_t> w(n);
  std::vector<double> d(n);
  for (auto _ : state) {
    if (real)
      for (size_t i = 0; i < n; ++i) d[i] = gsl().uniform(r);
    else
      for (size_t i = 0; i < n; ++i) w[i] = static_cast<uint32_t>(gsl().get(r));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(n));
  gsl().free(r);
}

#define NEX_RNG_BENCH(name, ...) BENCHMARK_CAPTURE(name, __VA_ARGS__)->Arg(1000)->Arg(1000000)

NEX_RNG_BENCH(nex_bench, MCG31M1_i, VRS_BRNG_MCG31M1, false);
NEX_RNG_BENCH(nex_bench, MCG31M1_d, VRS_BRNG_MCG31M1, true);
NEX_RNG_BENCH(nex_bench, MCG59_i, VRS_BRNG_MCG59, false);
NEX_RNG_BENCH(nex_bench, MCG59_d, VRS_BRNG_MCG59, true);
NEX_RNG_BENCH(nex_bench, MRG32K3A_i, VRS_BRNG_MRG32K3A, false);
NEX_RNG_BENCH(nex_bench, MRG32K3A_d, VRS_BRNG_MRG32K3A, true);
NEX_RNG_BENCH(nex_bench, R250_i, VRS_BRNG_R250, false);
NEX_RNG_BENCH(nex_bench, R250_d, VRS_BRNG_R250, true);
NEX_RNG_BENCH(nex_bench, WH_i, VRS_BRNG_WH, false);
NEX_RNG_BENCH(nex_bench, WH_d, VRS_BRNG_WH, true);
NEX_RNG_BENCH(std_minstd, minstd_i, false);
NEX_RNG_BENCH(std_minstd, minstd_d, true);
NEX_RNG_BENCH(std_mt19937, mt19937_i, false);
NEX_RNG_BENCH(std_mt19937, mt19937_d, true);
NEX_RNG_BENCH(gsl_bench, minstd_i, "gsl_rng_minstd", false);
NEX_RNG_BENCH(gsl_bench, minstd_d, "gsl_rng_minstd", true);
NEX_RNG_BENCH(gsl_bench, mrg_i, "gsl_rng_mrg", false);
NEX_RNG_BENCH(gsl_bench, mrg_d, "gsl_rng_mrg", true);
NEX_RNG_BENCH(gsl_bench, r250_i, "gsl_rng_r250", false);
NEX_RNG_BENCH(gsl_bench, r250_d, "gsl_rng_r250", true);

}  // namespace

BENCHMARK_MAIN();
