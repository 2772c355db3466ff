// Data fitting against GSL's splines on the same data: construction per
// breakpoint, evaluation per site (sorted and random sites) and integration
// of one limit pair. GSL is loaded at run time; its benchmarks are skipped
// when it is absent. After the run, a table gives nex / GSL time ratios.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "../tests/fitting/gsl_loader.hpp"
#include "nex_fit.h"

namespace {

using fittest::Gsl;

std::vector<double> partition(int64_t nx) {
  std::vector<double> x(nx);
  uint64_t s = 0x2545F4914F6CDD1Dull;
  double acc = 0;
  for (int64_t i = 0; i < nx; ++i) {
    s ^= s << 13;
    s ^= s >> 7;
    s ^= s << 17;
    x[i] = acc;
    acc += 0.5 + static_cast<double>(s >> 11) * 0x1.0p-53;
  }
  return x;
}

std::vector<double> values(const std::vector<double>& x) {
  std::vector<double> y(x.size());
  for (size_t i = 0; i < x.size(); ++i) y[i] = std::sin(x[i] * 0.3) + 0.01 * x[i];
  return y;
}

std::vector<double> sites(const std::vector<double>& x, int64_t n, bool sorted) {
  std::vector<double> s(n);
  uint64_t st = 0x9E3779B97F4A7C15ull;
  const double a = x.front(), b = x.back();
  for (auto& v : s) {
    st ^= st << 13;
    st ^= st >> 7;
    st ^= st << 17;
    v = a + (b - a) * static_cast<double>(st >> 11) * 0x1.0p-53;
  }
  if (sorted) std::sort(s.begin(), s.end());
  return s;
}

enum Kind { kNatural = 0, kAkima = 1, kSteffen = 2 };

const gsl_interp_type* gsl_type(int kind) {
  const Gsl& g = Gsl::get();
  return kind == kNatural ? g.cspline : (kind == kAkima ? g.akima : g.steffen);
}

// Our counterpart of each GSL kind: natural (free end), Akima, and Hyman's
// monotone cubic for Steffen's monotone method.
struct Nex {
  std::vector<double> x, y, coeff;
  DfTask* task = nullptr;
  int kind;
  Nex(int64_t nx, int k) : x(partition(nx)), y(values(x)), coeff(4 * (nx - 1)), kind(k) {
    nex_df_kernel_dNewTask1D(&task, nx, x.data(), FIT_NON_UNIFORM_PARTITION, 1, y.data(),
                             FIT_MATRIX_STORAGE_ROWS, 0);
    nex_df_kernel_dEditPPSpline1D(
        task, FIT_PP_CUBIC,
        k == kNatural ? FIT_PP_NATURAL : (k == kAkima ? FIT_PP_AKIMA : FIT_PP_HYMAN),
        FIT_BC_FREE_END, nullptr, 0, nullptr, coeff.data(), FIT_MATRIX_STORAGE_ROWS);
  }
  ~Nex() { nex_df_kernel_DeleteTask(&task); }
  int build() {
    switch (kind) {
      case kNatural:
        return nex_df_kernel_dDFNaturalCubicSpline1D(task, 0, nullptr);
      case kAkima:
        return nex_df_kernel_dDFAkimaCubicSpline1D(task, 0, nullptr);
      default:
        return nex_df_kernel_dDFHymanCubicSpline1D(task, 0, nullptr);
    }
  }
};

const char* kind_name(int k) {
  return k == kNatural ? "cspline" : (k == kAkima ? "akima" : "steffen");
}

void BM_NexConstruct(benchmark::State& state) {
  Nex n(state.range(0), static_cast<int>(state.range(1)));
  for (auto _ : state) benchmark::DoNotOptimize(n.build());
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetLabel(kind_name(static_cast<int>(state.range(1))));
}

void BM_GslConstruct(benchmark::State& state) {
  const Gsl& g = Gsl::get();
  if (!g.ok()) {
    state.SkipWithError("GSL not available");
    return;
  }
  const std::vector<double> x = partition(state.range(0)), y = values(x);
  gsl_spline* s = g.spline_alloc(gsl_type(static_cast<int>(state.range(1))), x.size());
  for (auto _ : state) benchmark::DoNotOptimize(g.spline_init(s, x.data(), y.data(), x.size()));
  g.spline_free(s);
  state.SetItemsProcessed(state.iterations() * state.range(0));
  state.SetLabel(kind_name(static_cast<int>(state.range(1))));
}

constexpr int64_t kSites = 1000000;

void BM_NexInterpolate(benchmark::State& state) {
  Nex n(state.range(0), kNatural);
  n.build();
  const bool sorted = state.range(1) != 0;
  const std::vector<double> s = sites(n.x, kSites, sorted);
  std::vector<double> r(kSites);
  for (auto _ : state) {
    nex_df_kernel_dDFInterpolate1D(n.task, kSites, s.data(), sorted ? FIT_SORTED_DATA : 0, nullptr,
                                   0, nullptr, r.data(), 0, nullptr, 0, nullptr, nullptr, nullptr,
                                   nullptr, nullptr, nullptr);
    benchmark::DoNotOptimize(r.data());
  }
  state.SetItemsProcessed(state.iterations() * kSites);
  state.SetLabel(sorted ? "sorted" : "random");
}

void BM_GslInterpolate(benchmark::State& state) {
  const Gsl& g = Gsl::get();
  if (!g.ok()) {
    state.SkipWithError("GSL not available");
    return;
  }
  const std::vector<double> x = partition(state.range(0)), y = values(x);
  const bool sorted = state.range(1) != 0;
  const std::vector<double> s = sites(x, kSites, sorted);
  std::vector<double> r(kSites);
  gsl_spline* sp = g.spline_alloc(g.cspline, x.size());
  g.spline_init(sp, x.data(), y.data(), x.size());
  gsl_interp_accel* acc = g.accel_alloc();
  for (auto _ : state) {
    for (int64_t j = 0; j < kSites; ++j) r[j] = g.spline_eval(sp, s[j], acc);
    benchmark::DoNotOptimize(r.data());
  }
  g.accel_free(acc);
  g.spline_free(sp);
  state.SetItemsProcessed(state.iterations() * kSites);
  state.SetLabel(sorted ? "sorted" : "random");
}

// One limit pair spanning range(1) cells in the middle of the partition.
// A single pair costs O(log nx + cells spanned), not O(log nx): the running
// sums of cell integrals that would give O(log nx) can't be kept between
// calls (the task only points at the caller's coefficients, which may change
// unseen) and building them reads every cell, so they are built only within
// a call whose pairs span more than two sweeps of the partition. The pair's
// whole cells are summed in closed form, two at a time.
void BM_NexIntegrate(benchmark::State& state) {
  Nex n(state.range(0), kNatural);
  n.build();
  const int64_t mid = state.range(0) / 2, span = state.range(1);
  const double a = 0.5 * (n.x[mid] + n.x[mid + 1]),
               b = 0.5 * (n.x[mid + span] + n.x[mid + span + 1]);
  double r;
  for (auto _ : state) {
    nex_df_kernel_dDFIntegrate1D(n.task, 1, &a, 0, &b, 0, nullptr, nullptr, &r, 0, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr);
    benchmark::DoNotOptimize(r);
  }
}

void BM_GslIntegrate(benchmark::State& state) {
  const Gsl& g = Gsl::get();
  if (!g.ok()) {
    state.SkipWithError("GSL not available");
    return;
  }
  const std::vector<double> x = partition(state.range(0)), y = values(x);
  gsl_spline* sp = g.spline_alloc(g.cspline, x.size());
  g.spline_init(sp, x.data(), y.data(), x.size());
  gsl_interp_accel* acc = g.accel_alloc();
  const int64_t mid = state.range(0) / 2, span = state.range(1);
  const double a = 0.5 * (x[mid] + x[mid + 1]), b = 0.5 * (x[mid + span] + x[mid + span + 1]);
  for (auto _ : state) benchmark::DoNotOptimize(g.spline_eval_integ(sp, a, b, acc));
  g.accel_free(acc);
  g.spline_free(sp);
}

void construct_args(benchmark::internal::Benchmark* b) {
  for (int k : {kNatural, kAkima, kSteffen})
    for (int64_t nx : {100, 10000, 1000000}) b->Args({nx, k});
}
void interp_args(benchmark::internal::Benchmark* b) {
  for (int64_t sorted : {1, 0})
    for (int64_t nx : {100, 10000, 1000000}) b->Args({nx, sorted});
}
void integ_args(benchmark::internal::Benchmark* b) {
  for (int64_t span : {1, 20, 1000}) b->Args({10000, span});
}

BENCHMARK(BM_NexConstruct)->Apply(construct_args)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_GslConstruct)->Apply(construct_args)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_NexInterpolate)->Apply(interp_args)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_GslInterpolate)->Apply(interp_args)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NexIntegrate)->Apply(integ_args);
BENCHMARK(BM_GslIntegrate)->Apply(integ_args);

// Console output plus, at the end, the ratio of each nex benchmark's CPU time to
// its GSL twin (same arguments; CPU time, as the machine is shared): below 1
// means nex is faster.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs)
      if (!r.error_occurred) times_[r.benchmark_name()] = r.GetAdjustedCPUTime();
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\n%-40s %12s\n", "nex / GSL", "time ratio");
    for (const auto& [name, t] : times_) {
      if (name.rfind("BM_Nex", 0) != 0) continue;
      const std::string twin = "BM_Gsl" + name.substr(6);
      const auto it = times_.find(twin);
      if (it != times_.end() && it->second > 0)
        std::printf("%-40s %12.3f\n", name.c_str() + 6, t / it->second);
    }
  }

 private:
  std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
