// Basic estimates: mean + variance and the full covariance of n x p doubles,
// against a straightforward two-pass loop, GSL's gsl_stats_* (loaded at run
// time when present) and, for the covariance, the BLAS rank-k update alone.
// Throughput counts the bytes of input. Arguments: p, n, threads.
//
// Run with OPENBLAS_NUM_THREADS=1 so that the BLAS figures are one-thread
// figures as well.
#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <cstdint>
#include <random>
#include <vector>

#include "nex_core_blas.h"
#include "nex_stats.h"

namespace {

// Inputs are made once per shape and kept.
struct Input {
  int64_t p, n;
  std::vector<double> rows;  // x[i*n + j]
  std::vector<double> cols;  // x[j*p + i]
};

const Input& input(int64_t p, int64_t n) {
  static std::vector<Input*> cache;
  for (Input* in : cache)
    if (in->p == p && in->n == n) return *in;
  auto* in = new Input{p, n, {}, {}};
  std::mt19937_64 g(42);
  in->rows.resize(p * n);
  in->cols.resize(p * n);
  for (int64_t j = 0; j < n; ++j)
    for (int64_t i = 0; i < p; ++i) {
      const double v = i + static_cast<double>(g() >> 11) * 0x1p-53;
      in->rows[i * n + j] = v;
      in->cols[j * p + i] = v;
    }
  cache.push_back(in);
  return *in;
}

int g_threads = 1;
int max_threads() {
  return g_threads;
}
void region(int threads, void* ctx, SSRegionBody body) {
  __vrsSSThreaderParallel()->parallel_region(threads, ctx, body);
}
const SSThreader kThreader = {nullptr, nullptr, region, nullptr, max_threads};

void set_counters(benchmark::State& st, int64_t p, int64_t n) {
  st.SetBytesProcessed(st.iterations() * p * n * int64_t{sizeof(double)});
}

// ---- Library -------------------------------------------------------------

void BM_nex_mean_var(benchmark::State& st) {
  const int64_t p = st.range(0), n = st.range(1);
  g_threads = static_cast<int>(st.range(2));
  const Input& in = input(p, n);
  std::vector<double> mean(p), raw2(p), c2(p);
  int32_t pi = int32_t(p), ni = int32_t(n), storage = VRS_SS_STORAGE_ROWS;
  SSTask* t = nullptr;
  __vrsdSSNewTask(&t, &pi, &ni, &storage, in.rows.data(), nullptr, nullptr, 0);
  __vrsdSSEditMoments(t, mean.data(), raw2.data(), nullptr, nullptr, c2.data(), nullptr, nullptr);
  for (auto _ : st) {
    const uint64_t mask = VRS_SS_EST_MEAN | VRS_SS_EST_CENTRAL2;
    if (vrsdSSBasic(t, uint32_t(mask), 0, uint32_t(VRS_SS_METHOD_ONE_PASS), 0, &kThreader) != 0)
      st.SkipWithError("status");
    benchmark::DoNotOptimize(c2.data());
  }
  __vrsSSDeleteTask(&t);
  set_counters(st, p, n);
}

void BM_nex_cov(benchmark::State& st) {
  const int64_t p = st.range(0), n = st.range(1);
  g_threads = static_cast<int>(st.range(2));
  const Input& in = input(p, n);
  std::vector<double> mean(p), cov(p * p);
  int32_t pi = int32_t(p), ni = int32_t(n), storage = VRS_SS_STORAGE_COLS,
          full = VRS_SS_MATRIX_FULL;
  SSTask* t = nullptr;
  __vrsdSSNewTask(&t, &pi, &ni, &storage, in.cols.data(), nullptr, nullptr, 0);
  __vrsdSSEditCovCor(t, mean.data(), cov.data(), &full, nullptr, nullptr);
  for (auto _ : st) {
    const uint64_t mask = VRS_SS_EST_MEAN | VRS_SS_EST_COV;
    if (vrsdSSBasic(t, uint32_t(mask), 0, uint32_t(VRS_SS_METHOD_RAW), 0, &kThreader) != 0)
      st.SkipWithError("status");
    benchmark::DoNotOptimize(cov.data());
  }
  __vrsSSDeleteTask(&t);
  set_counters(st, p, n);
}

// ---- Straightforward two-pass loops --------------------------------------

void BM_twopass_mean_var(benchmark::State& st) {
  const int64_t p = st.range(0), n = st.range(1);
  const Input& in = input(p, n);
  std::vector<double> mean(p), var(p);
  for (auto _ : st) {
    for (int64_t i = 0; i < p; ++i) {
      const double* x = in.rows.data() + i * n;
      double s = 0;
      for (int64_t j = 0; j < n; ++j) s += x[j];
      const double m = s / n;
      double q = 0;
      for (int64_t j = 0; j < n; ++j) q += (x[j] - m) * (x[j] - m);
      mean[i] = m;
      var[i] = q / (n - 1);
    }
    benchmark::DoNotOptimize(var.data());
  }
  set_counters(st, p, n);
}

void BM_twopass_cov(benchmark::State& st) {
  const int64_t p = st.range(0), n = st.range(1);
  const Input& in = input(p, n);
  std::vector<double> mean(p), cov(p * p), dev(p);
  for (auto _ : st) {
    std::fill(mean.begin(), mean.end(), 0.0);
    std::fill(cov.begin(), cov.end(), 0.0);
    for (int64_t j = 0; j < n; ++j)
      for (int64_t i = 0; i < p; ++i) mean[i] += in.cols[j * p + i];
    for (auto& m : mean) m /= n;
    for (int64_t j = 0; j < n; ++j) {
      for (int64_t i = 0; i < p; ++i) dev[i] = in.cols[j * p + i] - mean[i];
      for (int64_t r = 0; r < p; ++r)
        for (int64_t c = 0; c <= r; ++c) cov[r * p + c] += dev[r] * dev[c];
    }
    for (auto& c : cov) c /= (n - 1);
    benchmark::DoNotOptimize(cov.data());
  }
  set_counters(st, p, n);
}

// ---- GSL -----------------------------------------------------------------

struct Gsl {
  void* lib = dlopen("libgsl.so.27", RTLD_NOW);
  using Stat = double (*)(const double*, size_t, size_t);
  using StatM = double (*)(const double*, size_t, size_t, double);
  using Pair = double (*)(const double*, size_t, const double*, size_t, size_t);
  Stat mean = lib ? reinterpret_cast<Stat>(dlsym(lib, "gsl_stats_mean")) : nullptr;
  StatM variance_m = lib ? reinterpret_cast<StatM>(dlsym(lib, "gsl_stats_variance_m")) : nullptr;
  Pair covariance = lib ? reinterpret_cast<Pair>(dlsym(lib, "gsl_stats_covariance")) : nullptr;
};
const Gsl& gsl() {
  static const Gsl g;
  return g;
}

void BM_gsl_mean_var(benchmark::State& st) {
  const int64_t p = st.range(0), n = st.range(1);
  if (!gsl().mean || !gsl().variance_m) return st.SkipWithError("GSL not found");
  const Input& in = input(p, n);
  std::vector<double> mean(p), var(p);
  for (auto _ : st) {
    for (int64_t i = 0; i < p; ++i) {
      mean[i] = gsl().mean(in.rows.data() + i * n, 1, n);
      var[i] = gsl().variance_m(in.rows.data() + i * n, 1, n, mean[i]);
    }
    benchmark::DoNotOptimize(var.data());
  }
  set_counters(st, p, n);
}

// Pairwise, as GSL offers it (rows layout: each variable contiguous).
void BM_gsl_cov(benchmark::State& st) {
  const int64_t p = st.range(0), n = st.range(1);
  if (!gsl().covariance) return st.SkipWithError("GSL not found");
  const Input& in = input(p, n);
  std::vector<double> cov(p * p);
  for (auto _ : st) {
    for (int64_t r = 0; r < p; ++r)
      for (int64_t c = 0; c <= r; ++c)
        cov[r * p + c] = gsl().covariance(in.rows.data() + r * n, 1, in.rows.data() + c * n, 1, n);
    benchmark::DoNotOptimize(cov.data());
  }
  set_counters(st, p, n);
}

// ---- The BLAS rank-k update alone (X X^T of the same data) ---------------

void BM_blas_dsyrk(benchmark::State& st) {
  const int64_t p = st.range(0), n = st.range(1);
  const Input& in = input(p, n);
  std::vector<double> c(p * p);
  for (auto _ : st) {
    nex_serv_dsyrk('U', 'N', int(p), int(n), 1.0, in.cols.data(), int(p), 0.0, c.data(), int(p));
    benchmark::DoNotOptimize(c.data());
  }
  set_counters(st, p, n);
}

// Shapes: p in {4, 32, 256}, n in {1e5, 1e6, 1e7}, kept to at most 4e7
// elements (320 MB) of input.
void shapes(benchmark::internal::Benchmark* b, bool threads, int64_t max_p) {
  for (int64_t p : {4, 32, 256})
    for (int64_t n : {100000, 1000000, 10000000}) {
      if (p * n > 40000000 || p > max_p) continue;
      if (threads)
        for (int t : {1, 2}) b->Args({p, n, t});
      else
        b->Args({p, n});
    }
  b->ArgNames(threads ? std::vector<std::string>{"p", "n", "threads"}
                      : std::vector<std::string>{"p", "n"});
  b->Unit(benchmark::kMillisecond)->UseRealTime();
}

BENCHMARK(BM_nex_mean_var)->Apply([](auto* b) { shapes(b, true, 256); });
BENCHMARK(BM_twopass_mean_var)->Apply([](auto* b) { shapes(b, false, 256); });
BENCHMARK(BM_gsl_mean_var)->Apply([](auto* b) { shapes(b, false, 256); });
BENCHMARK(BM_nex_cov)->Apply([](auto* b) { shapes(b, true, 256); });
BENCHMARK(BM_blas_dsyrk)->Apply([](auto* b) { shapes(b, false, 256); });
BENCHMARK(BM_twopass_cov)->Apply([](auto* b) { shapes(b, false, 32); });
BENCHMARK(BM_gsl_cov)->Apply([](auto* b) { shapes(b, false, 32); });

}  // namespace

BENCHMARK_MAIN();
