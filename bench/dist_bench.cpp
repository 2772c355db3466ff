// Throughput of the uniform family, in numbers per nanosecond (the per_ns
// column), for n = 1e3 and 1e5, side by side with std::uniform_real_distribution
// and std::uniform_int_distribution over std::mt19937 and with GSL's uniform
// draws; and of the Gaussian entries (when built, NEX_WITH_GAUSSIAN) for each
// method and precision beside std::normal_distribution over std::mt19937 and
// GSL's ziggurat. At the end the ratio of each of our entries to each peer of the same
// kind is printed, from the figures of this one run.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <map>
#include <random>
#include <string>
#include <vector>

#if __has_include(<gsl/gsl_rng.h>)
#include <gsl/gsl_randist.h>
#include <gsl/gsl_rng.h>
#define NEX_BENCH_HAVE_GSL 1
#endif

#include "nex_rng_dist.h"

namespace {

void PerNs(benchmark::State& state, int64_t n) {
  state.counters["per_ns"] =
      benchmark::Counter(double(n) * double(state.iterations()) / 1e9, benchmark::Counter::kIsRate);
}

enum class Kind { kDouble, kAccurate, kFloat, kInteger, kBits32 };

void Ours(benchmark::State& state, Kind kind, int32_t brng) {
  const int32_t n = static_cast<int32_t>(state.range(0));
  VrsStream* s = nullptr;
  const uint32_t seed = 12345;
  if (__vrsNewStreamEx(&s, brng, 1, &seed) != 0) {
    state.SkipWithError("stream");
    return;
  }
  std::vector<double> d(n);
  std::vector<float> f(n);
  std::vector<int32_t> i(n);
  std::vector<uint32_t> w(n);
  for (auto _ : state) {
    switch (kind) {
      case Kind::kDouble:
        _vrsdRngUniform(0, s, n, d.data(), -1.0, 2.0);
        break;
      case Kind::kAccurate:
        _vrsdRngUniform(VRS_METHOD_ACCURATE, s, n, d.data(), -1.0, 2.0);
        break;
      case Kind::kFloat:
        _vrssRngUniform(0, s, n, f.data(), -1.0f, 2.0f);
        break;
      case Kind::kInteger:
        _vrsiRngUniform(0, s, n, i.data(), -100, 100);
        break;
      case Kind::kBits32:
        _vrsiRngUniformBits32(0, s, n, w.data());
        break;
    }
    benchmark::ClobberMemory();
  }
  PerNs(state, n);
  __vrsDeleteStream(&s);
}

void StdMt(benchmark::State& state, Kind kind) {
  const size_t n = static_cast<size_t>(state.range(0));
  std::mt19937 e(12345);
  std::uniform_real_distribution<double> ud(-1.0, 2.0);
  std::uniform_real_distribution<float> uf(-1.0f, 2.0f);
  std::uniform_int_distribution<int32_t> ui(-100, 99);
  std::vector<double> d(n);
  std::vector<float> f(n);
  std::vector<int32_t> i(n);
  std::vector<uint32_t> w(n);
  for (auto _ : state) {
    for (size_t k = 0; k < n; ++k) {
      switch (kind) {
        case Kind::kFloat:
          f[k] = uf(e);
          break;
        case Kind::kInteger:
          i[k] = ui(e);
          break;
        case Kind::kBits32:
          w[k] = static_cast<uint32_t>(e());
          break;
        default:
          d[k] = ud(e);
          break;
      }
    }
    benchmark::ClobberMemory();
  }
  PerNs(state, static_cast<int64_t>(n));
}

#ifdef NEX_BENCH_HAVE_GSL
void Gsl(benchmark::State& state, Kind kind, const gsl_rng_type* type) {
  const size_t n = static_cast<size_t>(state.range(0));
  gsl_rng* g = gsl_rng_alloc(type);
  gsl_rng_set(g, 12345);
  std::vector<double> d(n);
  std::vector<int32_t> i(n);
  for (auto _ : state) {
    for (size_t k = 0; k < n; ++k) {
      if (kind == Kind::kInteger)
        i[k] = static_cast<int32_t>(gsl_rng_uniform_int(g, 200)) - 100;
      else
        d[k] = -1.0 + 3.0 * gsl_rng_uniform(g);
    }
    benchmark::ClobberMemory();
  }
  PerNs(state, static_cast<int64_t>(n));
  gsl_rng_free(g);
}
#endif

// ---- Gaussian ----------------------------------------------------------------

template <class T>
void StdNormal(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  std::mt19937 e(12345);
  std::normal_distribution<T> nd(T(0), T(1));
  std::vector<T> x(n);
  for (auto _ : state) {
    for (size_t k = 0; k < n; ++k) x[k] = nd(e);
    benchmark::ClobberMemory();
  }
  PerNs(state, static_cast<int64_t>(n));
}

#ifdef NEX_BENCH_HAVE_GSL
void GslZiggurat(benchmark::State& state) {
  const size_t n = static_cast<size_t>(state.range(0));
  gsl_rng* g = gsl_rng_alloc(gsl_rng_mt19937);
  gsl_rng_set(g, 12345);
  std::vector<double> x(n);
  for (auto _ : state) {
    for (size_t k = 0; k < n; ++k) x[k] = gsl_ran_gaussian_ziggurat(g, 1.0);
    benchmark::ClobberMemory();
  }
  PerNs(state, static_cast<int64_t>(n));
  gsl_rng_free(g);
}
#endif

#ifdef NEX_WITH_GAUSSIAN
template <class T>
void GaussianOf(benchmark::State& state, int32_t method, int32_t brng) {
  const int32_t n = static_cast<int32_t>(state.range(0));
  VrsStream* s = nullptr;
  const uint32_t seed = 12345;
  if (__vrsNewStreamEx(&s, brng, 1, &seed) != 0) {
    state.SkipWithError("stream");
    return;
  }
  std::vector<T> x(n);
  for (auto _ : state) {
    if constexpr (sizeof(T) == 8)
      _vrsdRngGaussian(method, s, n, x.data(), 0.0, 1.0);
    else
      _vrssRngGaussian(method, s, n, x.data(), 0.0f, 1.0f);
    benchmark::ClobberMemory();
  }
  PerNs(state, n);
  __vrsDeleteStream(&s);
}
void OursGaussian(benchmark::State& state, bool single, int32_t method, int32_t brng) {
  if (single)
    GaussianOf<float>(state, method, brng);
  else
    GaussianOf<double>(state, method, brng);
}
#endif

#define NEX_SIZES ->Arg(1000)->Arg(100000)
BENCHMARK_CAPTURE(Ours, double_mrg32k3a, Kind::kDouble, VRS_BRNG_MRG32K3A) NEX_SIZES;
BENCHMARK_CAPTURE(Ours, double_mcg59, Kind::kDouble, VRS_BRNG_MCG59) NEX_SIZES;
BENCHMARK_CAPTURE(Ours, double_accurate_mcg59, Kind::kAccurate, VRS_BRNG_MCG59) NEX_SIZES;
BENCHMARK_CAPTURE(Ours, float_mcg59, Kind::kFloat, VRS_BRNG_MCG59) NEX_SIZES;
BENCHMARK_CAPTURE(Ours, integer_mcg59, Kind::kInteger, VRS_BRNG_MCG59) NEX_SIZES;
BENCHMARK_CAPTURE(Ours, integer_mrg32k3a, Kind::kInteger, VRS_BRNG_MRG32K3A) NEX_SIZES;
BENCHMARK_CAPTURE(Ours, bits32_mcg59, Kind::kBits32, VRS_BRNG_MCG59) NEX_SIZES;
BENCHMARK_CAPTURE(StdMt, double, Kind::kDouble) NEX_SIZES;
BENCHMARK_CAPTURE(StdMt, float, Kind::kFloat) NEX_SIZES;
BENCHMARK_CAPTURE(StdMt, integer, Kind::kInteger) NEX_SIZES;
BENCHMARK_CAPTURE(StdMt, bits32, Kind::kBits32) NEX_SIZES;
#ifdef NEX_BENCH_HAVE_GSL
BENCHMARK_CAPTURE(Gsl, double_mrg, Kind::kDouble, gsl_rng_mrg) NEX_SIZES;
BENCHMARK_CAPTURE(Gsl, double_mt19937, Kind::kDouble, gsl_rng_mt19937) NEX_SIZES;
BENCHMARK_CAPTURE(Gsl, integer_mt19937, Kind::kInteger, gsl_rng_mt19937) NEX_SIZES;
#endif
BENCHMARK_TEMPLATE(StdNormal, double) NEX_SIZES;
BENCHMARK_TEMPLATE(StdNormal, float) NEX_SIZES;
#ifdef NEX_BENCH_HAVE_GSL
BENCHMARK(GslZiggurat) NEX_SIZES;
#endif
#ifdef NEX_WITH_GAUSSIAN
#define NEX_GAUSS(T, name, method, brng) \
  BENCHMARK_CAPTURE(OursGaussian, name, sizeof(T) == 4, method, brng) NEX_SIZES;
NEX_GAUSS(double, d_boxmuller_mcg59, 0, VRS_BRNG_MCG59)
NEX_GAUSS(double, d_boxmuller2_mcg59, 1, VRS_BRNG_MCG59)
NEX_GAUSS(double, d_icdf_mcg59, 2, VRS_BRNG_MCG59)
NEX_GAUSS(double, d_icdf_mrg32k3a, 2, VRS_BRNG_MRG32K3A)
NEX_GAUSS(float, s_boxmuller_mcg59, 0, VRS_BRNG_MCG59)
NEX_GAUSS(float, s_boxmuller2_mcg59, 1, VRS_BRNG_MCG59)
NEX_GAUSS(float, s_icdf_mcg59, 2, VRS_BRNG_MCG59)
#undef NEX_GAUSS
#endif

// Collects per_ns by run name and prints the ratios after the table.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& r : runs) {
      auto it = r.counters.find("per_ns");
      if (it != r.counters.end()) per_ns_[r.benchmark_name()] = it->second.value;
    }
  }
  void PrintRatios() const {
    std::printf("\nRatios (ours / peer, numbers per ns; above 1 is faster):\n");
    const std::pair<const char*, const char*> pairs[] = {
        {"double_mrg32k3a", "StdMt/double"},       {"double_mrg32k3a", "Gsl/double_mrg"},
        {"double_mcg59", "StdMt/double"},          {"double_mcg59", "Gsl/double_mt19937"},
        {"double_accurate_mcg59", "StdMt/double"}, {"float_mcg59", "StdMt/float"},
        {"integer_mcg59", "StdMt/integer"},        {"integer_mcg59", "Gsl/integer_mt19937"},
        {"integer_mrg32k3a", "StdMt/integer"},     {"bits32_mcg59", "StdMt/bits32"}};
    const char* gaussians[] = {"d_boxmuller_mcg59", "d_boxmuller2_mcg59", "d_icdf_mcg59",
                               "d_icdf_mrg32k3a",   "s_boxmuller_mcg59",  "s_boxmuller2_mcg59",
                               "s_icdf_mcg59"};
    auto print = [&](const char* size, const char* ours, const std::string& ours_key,
                     const char* peer) {
      auto ia = per_ns_.find(ours_key + "/" + size);
      auto ib = per_ns_.find(std::string(peer) + "/" + size);
      if (ia == per_ns_.end() || ib == per_ns_.end() || ib->second == 0) return;
      std::printf("  n=%-6s %-24s %6.3f/ns  vs %-22s %6.3f/ns  ratio %5.2f\n", size, ours,
                  ia->second, peer, ib->second, ia->second / ib->second);
    };
    for (const char* size : {"1000", "100000"}) {
      for (auto [ours, peer] : pairs) print(size, ours, std::string("Ours/") + ours, peer);
      for (const char* ours : gaussians) {
        const bool dbl = ours[0] == 'd';
        const std::string key = std::string("OursGaussian/") + ours;
        for (const char* peer : {dbl ? "StdNormal<double>" : "StdNormal<float>", "GslZiggurat"})
          print(size, ours, key, peer);
      }
    }
  }

 private:
  std::map<std::string, double> per_ns_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  benchmark::Shutdown();
  return 0;
}
