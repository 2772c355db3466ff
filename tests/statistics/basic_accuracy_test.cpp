// Basic estimates against a long-double two-pass reference, over the three
// observation methods, both layouts, with and without weights, one and two
// threads, one block and several blocks; and against GSL.
#include <gtest/gtest.h>
#include <dlfcn.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <tuple>

#include "statistics/harness.hpp"

namespace {

using namespace stats_test;

// Forwards to the library's parallel threader with a fixed thread limit and
// records how many threads the kernel asked for.
struct CountingThreader {
  static inline int limit = 2;
  static inline int last_threads = 0;
  static int max_threads() { return limit; }
  static void region(int threads, void* ctx, SSRegionBody body) {
    last_threads = threads;
    __vrsSSThreaderParallel()->parallel_region(threads, ctx, body);
  }
  static const SSThreader* get() {
    static const SSThreader t = {nullptr, nullptr, region, nullptr, max_threads};
    return &t;
  }
};

using Params =
    std::tuple<uint64_t, bool, bool, int, int>;  // method, cols, weighted, threads, blocks

std::string grid_name(const ::testing::TestParamInfo<Params>& info) {
  const uint64_t meth = std::get<0>(info.param);
  const std::string m = meth == VRS_SS_METHOD_RAW        ? "Raw"
                        : meth == VRS_SS_METHOD_ONE_PASS ? "OnePass"
                                                         : "UserMean";
  return m + (std::get<1>(info.param) ? "Cols" : "Rows") +
         (std::get<2>(info.param) ? "Weighted" : "Unit") + "T" +
         std::to_string(std::get<3>(info.param)) + "B" + std::to_string(std::get<4>(info.param));
}

class BasicAccuracy : public ::testing::TestWithParam<Params> {};

TEST_P(BasicAccuracy, MatchesTwoPassReference) {
  const auto [method, cols, weighted, threads, blocks] = GetParam();
  const Data d = make_data(4, 4096, weighted, 1234 + method);
  const Reference r = reference(d);
  Outputs<double> o(d.p);
  if (method == VRS_SS_METHOD_USER_MEAN)
    for (int64_t i = 0; i < d.p; ++i) o.mean[i] = double(r.mean[i]);
  CountingThreader::limit = threads;
  CountingThreader::last_threads = 1;
  ASSERT_EQ(run_blocks(d, o, method, cols, blocks, CountingThreader::get()), 0);
  EXPECT_EQ(CountingThreader::last_threads, threads);
  Checker<double> c{r, 64 * std::numeric_limits<double>::epsilon() * std::sqrt(double(d.n))};
  c.all(o);
}

INSTANTIATE_TEST_SUITE_P(Grid, BasicAccuracy,
                         ::testing::Combine(::testing::Values(VRS_SS_METHOD_RAW,
                                                              VRS_SS_METHOD_ONE_PASS,
                                                              VRS_SS_METHOD_USER_MEAN),
                                            ::testing::Bool(), ::testing::Bool(),
                                            ::testing::Values(1, 2), ::testing::Values(1, 3)),
                         grid_name);

// Shapes that reach the other matrix paths: many row blocks per thread
// (p = 64), and threads without private matrices (p larger than the rows
// of a thread), with and without weights.
class BasicShapes : public ::testing::TestWithParam<std::tuple<int, int, bool, uint64_t>> {};

TEST_P(BasicShapes, MatchesTwoPassReference) {
  const auto [p, n, weighted, method] = GetParam();
  const Data d = make_data(p, n, weighted, 99 + p);
  const Reference r = reference(d);
  for (bool cols : {false, true}) {
    Outputs<double> o(d.p);
    CountingThreader::limit = 2;
    ASSERT_EQ(run_blocks(d, o, method, cols, 3, CountingThreader::get(),
                         VRS_SS_EST_MEAN | VRS_SS_EST_COV | VRS_SS_EST_CP | VRS_SS_EST_COR |
                             VRS_SS_EST_CENTRAL2),
              0);
    Checker<double> c{r, 64 * std::numeric_limits<double>::epsilon() * std::sqrt(double(n))};
    for (int64_t i = 0; i < p; ++i) {
      c.near(o.mean[i], r.mean[i], c.scale(i), "mean");
      c.near(o.c2[i], r.central2(i), c.scale(i) * c.scale(i), "central2");
      for (int64_t k = 0; k < p; ++k) {
        c.near(o.cov[i * p + k], r.cov(i, k), c.scale(i) * c.scale(k), "cov");
        c.near(o.cp[i * p + k], r.cp[i * p + k], c.scale(i) * c.scale(k) * r.W, "cp");
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Paths, BasicShapes,
                         ::testing::Values(std::make_tuple(64, 3000, false, VRS_SS_METHOD_RAW),
                                           std::make_tuple(64, 3000, true, VRS_SS_METHOD_RAW),
                                           std::make_tuple(40, 96, false, VRS_SS_METHOD_RAW),
                                           std::make_tuple(40, 96, true, VRS_SS_METHOD_RAW),
                                           std::make_tuple(40, 96, false, VRS_SS_METHOD_ONE_PASS),
                                           std::make_tuple(64, 3000, true,
                                                           VRS_SS_METHOD_ONE_PASS)));

// Single precision: the same algorithm on float throughout.
TEST(BasicSingle, MatchesReferenceToFloatAccuracy) {
  Data d = make_data(4, 4096, true, 77);
  for (auto& v : d.obs) v = float(v);
  for (auto& v : d.w) v = float(v);
  const Reference r = reference(d);
  for (uint64_t method : {VRS_SS_METHOD_RAW, VRS_SS_METHOD_ONE_PASS}) {
    for (int threads : {1, 2}) {
      Outputs<float> o(d.p);
      CountingThreader::limit = threads;
      ASSERT_EQ(run_blocks(d, o, method, true, 3, CountingThreader::get()), 0);
      Checker<float> c{r, 64 * std::numeric_limits<float>::epsilon() * std::sqrt(double(d.n))};
      c.all(o);
    }
  }
}

// An outside oracle for the unweighted and weighted second moments: GSL,
// loaded at run time (only its runtime library is present for every target).
struct Gsl {
  void* lib = dlopen("libgsl.so.27", RTLD_NOW);
  template <class F>
  F fn(const char* name) const {
    return lib ? reinterpret_cast<F>(dlsym(lib, name)) : nullptr;
  }
  using Stat = double (*)(const double*, size_t, size_t);
  using WStat = double (*)(const double*, size_t, const double*, size_t, size_t);
  using Pair = double (*)(const double*, size_t, const double*, size_t, size_t);
  Stat mean = fn<Stat>("gsl_stats_mean"), variance = fn<Stat>("gsl_stats_variance");
  WStat wmean = fn<WStat>("gsl_stats_wmean"), wvariance = fn<WStat>("gsl_stats_wvariance");
  Pair covariance = fn<Pair>("gsl_stats_covariance"),
       correlation = fn<Pair>("gsl_stats_correlation");
  bool ok() const { return mean && variance && wmean && wvariance && covariance && correlation; }
};

TEST(BasicOracle, AgreesWithGsl) {
  const Gsl gsl;
  if (!gsl.ok()) GTEST_SKIP() << "GSL runtime library not found";
  const Data d = make_data(3, 1000, true, 5);
  std::vector<double> col[3];
  for (int i = 0; i < 3; ++i)
    for (int64_t j = 0; j < d.n; ++j) col[i].push_back(d.at(i, j));
  for (bool weighted : {false, true}) {
    Data e = d;
    if (!weighted) e.w.clear();
    Outputs<double> o(3);
    ASSERT_EQ(run_blocks(e, o, VRS_SS_METHOD_ONE_PASS, false, 1, nullptr), 0);
    for (int i = 0; i < 3; ++i) {
      const double m = weighted ? gsl.wmean(d.w.data(), 1, col[i].data(), 1, d.n)
                                : gsl.mean(col[i].data(), 1, d.n);
      const double v = weighted ? gsl.wvariance(d.w.data(), 1, col[i].data(), 1, d.n)
                                : gsl.variance(col[i].data(), 1, d.n);
      EXPECT_NEAR(o.mean[i], m, 1e-13 * (std::fabs(m) + 1));
      EXPECT_NEAR(o.c2[i], v, 1e-12 * v);
      EXPECT_NEAR(o.cov[i * 3 + i], v, 1e-12 * v);
      if (!weighted)
        for (int k = 0; k < 3; ++k) {
          if (k == i) continue;
          const double cv = gsl.covariance(col[i].data(), 1, col[k].data(), 1, d.n);
          const double cr = gsl.correlation(col[i].data(), 1, col[k].data(), 1, d.n);
          EXPECT_NEAR(o.cov[i * 3 + k], cv, 1e-12);
          EXPECT_NEAR(o.cor[i * 3 + k], cr, 1e-12);
        }
    }
  }
}

// Feeding blocks in turn gives the estimates of the union; the split point
// does not matter beyond rounding, and one observation per block works.
TEST(BasicBlocks, TinyBlocksEqualOneBlock) {
  const Data d = make_data(3, 40, true, 8);
  const Reference r = reference(d);
  for (uint64_t method : {VRS_SS_METHOD_RAW, VRS_SS_METHOD_ONE_PASS}) {
    Outputs<double> o(3);
    SSTask* t = nullptr;
    int32_t p = 3;
    ASSERT_EQ(__vrsdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
    o.attach(t);
    for (int64_t j = 0; j < d.n; ++j) {
      Block<double> b(d, j, 1, true);
      t->n = &b.n;
      t->x_storage = &b.storage;
      t->x = b.x.data();
      t->weights = b.w.data();
      ASSERT_EQ(vrsdSSBasic(t, uint32_t(kAllBasic), uint32_t(kAllBasic >> 32), uint32_t(method), 0,
                            nullptr),
                0);
    }
    __vrsSSDeleteTask(&t);
    Checker<double> c{r, 1e-12};
    c.all(o);
  }
}

}  // namespace
