// Basic estimates: method decoding, requirements, the order of statuses,
// storages, indices, degenerate weights, from-sums, the user-mean state and
// allocation failures.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>

#include "nex_core.h"
#include "statistics/harness.hpp"

namespace {

using namespace stats_test;

int call(SSTask* t, uint64_t mask, uint64_t method, const SSThreader* thr = nullptr) {
  return basic<double>(t, mask, method, thr);
}

// A task over a small fixed data set, columns layout.
struct Fixture {
  Data d = make_data(3, 50, true, 31);
  Block<double> blk{d, 0, d.n, true};
  int32_t p = 3;
  SSTask* t = nullptr;
  Fixture() { __vrsdSSNewTask(&t, &p, &blk.n, &blk.storage, blk.x.data(), nullptr, nullptr, 0); }
  ~Fixture() { __vrsSSDeleteTask(&t); }
};

TEST(BasicMethod, DecodingAndRefusals) {
  Fixture f;
  Outputs<double> o(3);
  o.attach(f.t);
  for (uint64_t bad : {0x0ull, 0x3ull, 0x101ull, 0x103ull, 0x202ull, 0x201ull, 0x4ull, 0x40ull})
    EXPECT_EQ(call(f.t, VRS_SS_EST_MEAN, bad), VRS_SS_ERROR_BAD_METHOD) << bad;
  for (uint64_t good : {0x1ull, 0x2ull, 0x100ull, 0x200ull, 0x400ull, 0x600ull, 0x2000000001ull})
    EXPECT_EQ(call(f.t, VRS_SS_EST_MEAN, good), 0) << good;
  // From sums refuses every sum and the cross-product.
  for (uint64_t est :
       {VRS_SS_EST_SUM, VRS_SS_EST_RAW2_SUM, VRS_SS_EST_RAW3_SUM, VRS_SS_EST_RAW4_SUM,
        VRS_SS_EST_CENTRAL2_SUM, VRS_SS_EST_CENTRAL3_SUM, VRS_SS_EST_CENTRAL4_SUM, VRS_SS_EST_CP})
    for (uint64_t m : {VRS_SS_METHOD_FROM_SUMS, VRS_SS_METHOD_FROM_SUMS_ALT})
      EXPECT_EQ(call(f.t, est | VRS_SS_EST_MEAN, m), VRS_SS_ERROR_BAD_METHOD) << est;
  EXPECT_EQ(call(nullptr, VRS_SS_EST_MEAN, VRS_SS_METHOD_RAW), VRS_SS_ERROR_NULL_TASK);
  // Bits of other kernels alone ask for nothing here.
  EXPECT_EQ(call(f.t, VRS_SS_EST_MIN | VRS_SS_EST_QUANTILES, VRS_SS_METHOD_RAW), 0);
}

// Registering the fields one at a time in the published order walks through
// the missing-field statuses in that order.
TEST(BasicRequirements, MissingFieldsInOrder) {
  struct Step {
    int64_t id;
    int status;
  };
  const Step steps[] = {{VRS_SS_PARAM_MEAN, -4006},         {VRS_SS_PARAM_RAW2, -4007},
                        {VRS_SS_PARAM_RAW3, -4008},         {VRS_SS_PARAM_RAW4, -4009},
                        {VRS_SS_PARAM_CENTRAL2, -4010},     {VRS_SS_PARAM_CENTRAL3, -4011},
                        {VRS_SS_PARAM_CENTRAL4, -4012},     {VRS_SS_PARAM_COV, -4018},
                        {VRS_SS_PARAM_COR, -4019},          {VRS_SS_PARAM_KURTOSIS, -4013},
                        {VRS_SS_PARAM_SKEWNESS, -4014},     {VRS_SS_PARAM_VARIATION, -4017},
                        {VRS_SS_PARAM_SUM, -4074},          {VRS_SS_PARAM_RAW2_SUM, -4075},
                        {VRS_SS_PARAM_RAW3_SUM, -4076},     {VRS_SS_PARAM_RAW4_SUM, -4077},
                        {VRS_SS_PARAM_CENTRAL2_SUM, -4078}, {VRS_SS_PARAM_CENTRAL3_SUM, -4079},
                        {VRS_SS_PARAM_CENTRAL4_SUM, -4080}, {VRS_SS_PARAM_CP, -4081}};
  for (uint64_t method : {VRS_SS_METHOD_RAW, VRS_SS_METHOD_ONE_PASS}) {
    Fixture f;
    Outputs<double> o(3);
    double* arrays[] = {o.mean.data(), o.raw2.data(),  o.raw3.data(),  o.raw4.data(),
                        o.c2.data(),   o.c3.data(),    o.c4.data(),    o.cov.data(),
                        o.cor.data(),  o.kurt.data(),  o.skew.data(),  o.var.data(),
                        o.sum.data(),  o.raw2s.data(), o.raw3s.data(), o.raw4s.data(),
                        o.c2s.data(),  o.c3s.data(),   o.c4s.data(),   o.cp.data()};
    int k = 0;
    for (const Step& s : steps) {
      EXPECT_EQ(call(f.t, kAllBasic, method), s.status) << "before id " << s.id;
      ASSERT_EQ(__vrsdSSEditTask(f.t, s.id, arrays[k++]), 0);
    }
    // Matrix storages are needed once the matrices are.
    EXPECT_EQ(call(f.t, kAllBasic, method), VRS_SS_ERROR_NO_STORAGE);
    int32_t full = VRS_SS_MATRIX_FULL;
    for (int64_t id : {VRS_SS_PARAM_COV_STORAGE, VRS_SS_PARAM_COR_STORAGE})
      __vrsiSSEditTask(f.t, id, &full);
    EXPECT_EQ(call(f.t, kAllBasic, method), VRS_SS_ERROR_NO_STORAGE);
    __vrsiSSEditTask(f.t, VRS_SS_PARAM_CP_STORAGE, &full);
    EXPECT_EQ(call(f.t, kAllBasic, method), 0);
  }
}

// What one estimate pulls in is also written: central2 in one-pass mode
// needs and writes mean and raw2, and nothing else is touched.
TEST(BasicRequirements, UnionIsWrittenAndNothingElse) {
  Fixture f;
  const double sentinel = -12345.0;
  Outputs<double> o(3, sentinel);
  o.attach(f.t);
  ASSERT_EQ(call(f.t, VRS_SS_EST_CENTRAL2, VRS_SS_METHOD_ONE_PASS), 0);
  const Reference r = reference(Data{f.d.p, f.d.n, f.d.obs, {}});
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(o.mean[i], double(r.mean[i]), 1e-13);
    EXPECT_NEAR(o.raw2[i], double(r.raw2[i]), 1e-12);
    EXPECT_NEAR(o.c2[i], double(r.central2(i)), 1e-12);
    for (const auto* v : {&o.raw3, &o.raw4, &o.c3, &o.c4, &o.sum, &o.c2s, &o.kurt})
      EXPECT_EQ((*v)[i], sentinel);
  }
  EXPECT_EQ(o.cov[0], sentinel);
}

TEST(BasicInput, ChecksInOrder) {
  double x[6] = {1, 2, 3, 4, 5, 6}, mean[2];
  int32_t p = 2, n = 3, zero = 0, st = 0x40000, rows = VRS_SS_STORAGE_ROWS;
  SSTask* t = nullptr;
  ASSERT_EQ(__vrsdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  __vrsdSSEditTask(t, VRS_SS_PARAM_MEAN, mean);
  const uint64_t m = VRS_SS_METHOD_RAW;
  EXPECT_EQ(call(t, VRS_SS_EST_MEAN, m), VRS_SS_ERROR_BAD_N);
  t->n = &zero;
  EXPECT_EQ(call(t, VRS_SS_EST_MEAN, m), VRS_SS_ERROR_BAD_N);
  t->n = &n;
  EXPECT_EQ(call(t, VRS_SS_EST_MEAN, m), VRS_SS_ERROR_NO_X);
  t->x = x;
  EXPECT_EQ(call(t, VRS_SS_EST_MEAN, m), VRS_SS_ERROR_NO_STORAGE);
  t->x_storage = &st;
  EXPECT_EQ(call(t, VRS_SS_EST_MEAN, m), VRS_SS_ERROR_BAD_STORAGE);
  st = VRS_SS_STORAGE_ROWS | VRS_SS_STORAGE_COLS;  // rows wins
  ASSERT_EQ(call(t, VRS_SS_EST_MEAN, m), 0);
  EXPECT_DOUBLE_EQ(mean[0], 2.0);
  EXPECT_DOUBLE_EQ(mean[1], 5.0);
  t->x_storage = &rows;
  t->p = &zero;
  EXPECT_EQ(call(t, VRS_SS_EST_MEAN, m), VRS_SS_ERROR_BAD_P);
  t->p = &p;
  // From sums needs accum_weight, or n with no weights.
  double sum[2] = {6, 15};
  __vrsdSSEditTask(t, VRS_SS_PARAM_SUM, sum);
  t->weights = x;
  EXPECT_EQ(call(t, VRS_SS_EST_MEAN, VRS_SS_METHOD_FROM_SUMS), VRS_SS_ERROR_NO_ACCUM_WEIGHT);
  t->weights = nullptr;
  t->n = nullptr;
  EXPECT_EQ(call(t, VRS_SS_EST_MEAN, VRS_SS_METHOD_FROM_SUMS), VRS_SS_ERROR_NO_ACCUM_WEIGHT);
  t->n = &n;
  ASSERT_EQ(call(t, VRS_SS_EST_MEAN, VRS_SS_METHOD_FROM_SUMS), 0);
  EXPECT_DOUBLE_EQ(mean[1], 5.0);
  __vrsSSDeleteTask(&t);
}

// Two blocks with every matrix in the given storage.
int run_blocks_for_storage(const Data& d, Outputs<double>& o, uint64_t method, int32_t code) {
  o.cov_st = o.cor_st = o.cp_st = code;
  return run_blocks(d, o, method, true, 3, nullptr,
                    VRS_SS_EST_MEAN | VRS_SS_EST_COV | VRS_SS_EST_COR | VRS_SS_EST_CP);
}

// The same matrices in full, lower packed and upper packed storage, as the
// first block's output and as the state read back by a second block.
TEST(BasicStorage, PackedFormsAgreeWithFull) {
  const Data d = make_data(4, 300, true, 12);
  for (uint64_t method : {VRS_SS_METHOD_RAW, VRS_SS_METHOD_ONE_PASS}) {
    Outputs<double> full(4);
    ASSERT_EQ(run_blocks_for_storage(d, full, method, VRS_SS_MATRIX_FULL), 0);
    for (int32_t code : {VRS_SS_MATRIX_LOWER_PACKED, VRS_SS_MATRIX_UPPER_PACKED}) {
      Outputs<double> pk(4);
      ASSERT_EQ(run_blocks_for_storage(d, pk, method, code), 0);
      int e = 0;
      for (int r = 0; r < 4; ++r)
        for (int c = (code == VRS_SS_MATRIX_LOWER_PACKED ? 0 : r);
             c <= (code == VRS_SS_MATRIX_LOWER_PACKED ? r : 3); ++c, ++e) {
          EXPECT_NEAR(pk.cov[e], full.cov[r * 4 + c], 1e-12) << code << " " << r << c;
          EXPECT_NEAR(pk.cor[e], full.cor[r * 4 + c], 1e-12) << code << " " << r << c;
          EXPECT_NEAR(pk.cp[e], full.cp[r * 4 + c], 1e-9) << code << " " << r << c;
        }
      for (size_t k = 10; k < 16; ++k) EXPECT_EQ(pk.cov[k], 0.0);  // beyond p(p+1)/2
    }
  }
}

// The correlation keeps the variances on its diagonal, and a later block
// rebuilds its state from the correlation alone.
TEST(BasicStorage, CorrelationDiagonalHoldsVariances) {
  const Data d = make_data(3, 200, false, 4);
  const Reference r = reference(d);
  Outputs<double> o(3);
  SSTask* t = nullptr;
  int32_t p = 3, full = VRS_SS_MATRIX_FULL;
  ASSERT_EQ(__vrsdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  __vrsdSSEditCovCor(t, o.mean.data(), nullptr, nullptr, o.cor.data(), &full);
  __vrsdSSEditTask(t, VRS_SS_PARAM_ACCUM_WEIGHT, o.accum);
  for (int64_t first : {0, 120}) {
    Block<double> b(d, first, first == 0 ? 120 : 80, false);
    t->n = &b.n;
    t->x_storage = &b.storage;
    t->x = b.x.data();
    ASSERT_EQ(call(t, VRS_SS_EST_COR, VRS_SS_METHOD_RAW), 0);
  }
  __vrsSSDeleteTask(&t);
  for (int i = 0; i < 3; ++i)
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(o.cor[i * 3 + k], double(r.cor(i, k)), 1e-12) << i << k;
  EXPECT_NEAR(o.cor[4], double(r.central2(1)), 1e-12);
  EXPECT_NE(o.cor[4], 1.0);
}

// Excluded variables: their entries in every output stay as they were,
// including matrix rows and columns, in full and packed storage, and with
// 64-bit integers (index entries read from the low word).
TEST(BasicIndices, ExcludedEntriesUntouched) {
  const Data d = make_data(4, 100, false, 21);
  const Reference r = reference(d);
  const double s = 99.5;
  for (int wide : {0, 1}) {
    for (int32_t code : {VRS_SS_MATRIX_FULL, VRS_SS_MATRIX_LOWER_PACKED}) {
      Outputs<double> o(4, s);
      o.accum[0] = o.accum[1] = 0;
      Block<double> b(d, 0, d.n, true);
      int64_t p64 = 4, n64 = b.n, st64 = b.storage, code64 = code;
      int32_t p32 = 4;
      int32_t idx32[4] = {1, 0, 1, 0};
      int64_t idx64[4] = {1, int64_t{1} << 32, 7, 0};  // high words are not read
      SSTask* t = nullptr;
      ASSERT_EQ(
          __vrsdSSNewTask(&t, wide ? (void*)&p64 : (void*)&p32, wide ? (void*)&n64 : (void*)&b.n,
                          wide ? (void*)&st64 : (void*)&b.storage, b.x.data(), nullptr,
                          wide ? (void*)idx64 : (void*)idx32, wide),
          0);
      o.attach(t);
      if (wide) t->cov_storage = t->cor_storage = t->cp_storage = &code64;
      o.cov_st = o.cor_st = o.cp_st = code;
      ASSERT_EQ(call(t, kAllBasic, VRS_SS_METHOD_ONE_PASS), 0);
      __vrsSSDeleteTask(&t);
      for (int i = 0; i < 4; ++i) {
        const bool in = i % 2 == 0;
        for (const auto* v : {&o.mean, &o.raw2, &o.c2, &o.c4, &o.sum, &o.c3s, &o.kurt, &o.var})
          if (!in) {
            EXPECT_EQ((*v)[i], s) << i;
          }
        if (in) {
          EXPECT_NEAR(o.mean[i], double(r.mean[i]), 1e-13);
        }
      }
      for (int rr = 0; rr < 4; ++rr)
        for (int c = 0; c < 4; ++c) {
          const bool in = rr % 2 == 0 && c % 2 == 0;
          int64_t e = rr * 4 + c;
          if (code == VRS_SS_MATRIX_LOWER_PACKED) {
            if (c > rr) continue;
            e = rr * (rr + 1) / 2 + c;
          }
          if (in) {
            EXPECT_NEAR(o.cov[e], double(r.cov(rr, c)), 1e-12);
          } else {
            EXPECT_EQ(o.cov[e], s) << rr << c;
            EXPECT_EQ(o.cp[e], s);
          }
        }
    }
  }
}

TEST(BasicWeights, AllZeroWeightsChangeNothingAndClearMatrices) {
  Data d = make_data(3, 64, true, 2);
  for (auto& w : d.w) w = 0.0;
  for (uint64_t method : {VRS_SS_METHOD_RAW, VRS_SS_METHOD_ONE_PASS}) {
    for (int threads : {1, 2}) {
      Outputs<double> o(3, 5.0);
      o.accum[0] = o.accum[1] = 0;
      __vrsSSThreaderParallelSetMax(threads);
      ASSERT_EQ(run_blocks(d, o, method, false, 1, __vrsSSThreaderParallel(),
                           VRS_SS_EST_MEAN | VRS_SS_EST_RAW2 | VRS_SS_EST_COV | VRS_SS_EST_COR |
                               VRS_SS_EST_CP),
                0);
      EXPECT_EQ(o.accum[0], 0.0);
      EXPECT_EQ(o.accum[1], 0.0);
      for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(o.mean[i], 0.0);
        EXPECT_EQ(o.raw2[i], 0.0);
      }
      for (int e = 0; e < 9; ++e) {
        EXPECT_EQ(o.cov[e], 0.0);
        EXPECT_EQ(o.cor[e], 0.0);
        EXPECT_EQ(o.cp[e], 0.0);
      }
    }
  }
}

// Leading zero weights are passed over; a NaN weight at the head ends that
// scan and poisons every sum.
TEST(BasicWeights, LeadingZerosSkippedNaNPoisons) {
  Data d = make_data(2, 40, true, 3);
  d.w[0] = d.w[1] = 0.0;
  d.obs[0] = std::numeric_limits<double>::infinity();  // under a zero weight: never read
  Data kept = d;
  kept.n = 38;
  kept.obs.erase(kept.obs.begin(), kept.obs.begin() + 4);
  kept.w.erase(kept.w.begin(), kept.w.begin() + 2);
  const Reference r = reference(kept);
  for (uint64_t method : {VRS_SS_METHOD_RAW, VRS_SS_METHOD_ONE_PASS, VRS_SS_METHOD_USER_MEAN}) {
    Outputs<double> o(2);
    for (int i = 0; i < 2; ++i) o.mean[i] = double(r.mean[i]);
    ASSERT_EQ(run_blocks(d, o, method, true, 1, nullptr, VRS_SS_EST_MEAN | VRS_SS_EST_CENTRAL2), 0);
    for (int i = 0; i < 2; ++i) {
      EXPECT_NEAR(o.mean[i], double(r.mean[i]), 1e-13);
      EXPECT_NEAR(o.c2[i], double(r.central2(i)), 1e-12);
    }
    Data bad = d;
    bad.w[0] = std::numeric_limits<double>::quiet_NaN();
    Outputs<double> q(2);
    for (int i = 0; i < 2; ++i) q.mean[i] = 1.0;
    ASSERT_EQ(run_blocks(bad, q, method, true, 1, nullptr, VRS_SS_EST_MEAN | VRS_SS_EST_CENTRAL2),
              0);
    EXPECT_TRUE(std::isnan(q.accum[0]));
    EXPECT_TRUE(std::isnan(q.c2[0]));
    if (method != VRS_SS_METHOD_USER_MEAN) {
      EXPECT_TRUE(std::isnan(q.mean[1]));
    }
  }
}

// One variable: the columns layout is the rows layout.
TEST(BasicLayout, OneVariableColumnsEqualsRows) {
  const Data d = make_data(1, 500, true, 6);
  Outputs<double> a(1), b(1);
  ASSERT_EQ(run_blocks(d, a, VRS_SS_METHOD_ONE_PASS, false, 1, nullptr), 0);
  ASSERT_EQ(run_blocks(d, b, VRS_SS_METHOD_ONE_PASS, true, 1, nullptr), 0);
  EXPECT_EQ(a.mean, b.mean);
  EXPECT_EQ(a.c4, b.c4);
  EXPECT_EQ(a.cov, b.cov);
}

// Sums from one call feed the from-sums method, which gives the moments,
// the matrices and the shape estimates without reading an observation.
TEST(BasicFromSums, MomentsAndMatricesFromSums) {
  const Data d = make_data(3, 400, true, 9);
  const Reference r = reference(d);
  Outputs<double> o(3);
  ASSERT_EQ(run_blocks(d, o, VRS_SS_METHOD_ONE_PASS, true, 1, nullptr), 0);
  Outputs<double> f(3, -1.0);
  f.sum = o.sum;
  f.raw2s = o.raw2s;
  f.raw3s = o.raw3s;
  f.raw4s = o.raw4s;
  f.c2s = o.c2s;
  f.c3s = o.c3s;
  f.c4s = o.c4s;
  f.cp = o.cp;
  f.accum[0] = o.accum[0];
  f.accum[1] = o.accum[1];
  f.cp_st = VRS_SS_MATRIX_FULL;
  SSTask* t = nullptr;
  int32_t p = 3;
  ASSERT_EQ(__vrsdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  f.attach(t);
  const uint64_t mask =
      kAllBasic & ~(VRS_SS_EST_SUM | VRS_SS_EST_RAW2_SUM | VRS_SS_EST_RAW3_SUM |
                    VRS_SS_EST_RAW4_SUM | VRS_SS_EST_CENTRAL2_SUM | VRS_SS_EST_CENTRAL3_SUM |
                    VRS_SS_EST_CENTRAL4_SUM | VRS_SS_EST_CP);
  ASSERT_EQ(call(t, mask, VRS_SS_METHOD_FROM_SUMS_ALT), 0);
  __vrsSSDeleteTask(&t);
  Checker<double> c{r, 1e-12};
  c.all(f, false);
  EXPECT_EQ(f.cp, o.cp);  // an input here
  EXPECT_EQ(f.sum, o.sum);
}

// The user mean is kept on the task between blocks and released with it.
TEST(BasicUserMean, SavedMeanKeptAndReleased) {
  const Data d = make_data(3, 300, false, 10);
  const Reference r = reference(d);
  const long live = nex_serv_live_allocations();
  Outputs<double> o(3);
  for (int i = 0; i < 3; ++i) o.mean[i] = double(r.mean[i]);
  SSTask* t = nullptr;
  int32_t p = 3;
  ASSERT_EQ(__vrsdSSNewTask(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
  o.attach(t);
  Block<double> b(d, 0, d.n, false);
  t->n = &b.n;
  t->x_storage = &b.storage;
  t->x = b.x.data();
  ASSERT_EQ(call(t, VRS_SS_EST_COV | VRS_SS_EST_CENTRAL3, VRS_SS_METHOD_USER_MEAN), 0);
  ASSERT_NE(t->saved_mean, nullptr);
  EXPECT_EQ(std::memcmp(t->saved_mean, o.mean.data(), 3 * sizeof(double)), 0);
  EXPECT_EQ(nex_serv_live_allocations(), live + 2);
  for (int i = 0; i < 3; ++i) {
    EXPECT_NEAR(o.c3[i], double(r.central3(i)), 1e-12);
    EXPECT_EQ(o.mean[i], double(r.mean[i]));  // the fixed mean is not updated
  }
  // Without the mean the user-mean method cannot run.
  t->mean = nullptr;
  EXPECT_EQ(call(t, VRS_SS_EST_RAW2, VRS_SS_METHOD_USER_MEAN), VRS_SS_ERROR_NO_MEAN);
  __vrsSSDeleteTask(&t);
  EXPECT_EQ(nex_serv_live_allocations(), live);
}

// Every allocation of a call may fail: the call returns -4000, leaks
// nothing, and leaves the caller's arrays as they were.
TEST(BasicAllocation, FailureAtEachAllocation) {
  const Data d = make_data(4, 4096, true, 14);
  struct Case {
    uint64_t method;
    bool cols;
    int32_t storage;
    bool indices;
  };
  const Case cases[] = {{VRS_SS_METHOD_ONE_PASS, true, VRS_SS_MATRIX_FULL, false},
                        {VRS_SS_METHOD_RAW, false, VRS_SS_MATRIX_LOWER_PACKED, true},
                        {VRS_SS_METHOD_USER_MEAN, true, VRS_SS_MATRIX_UPPER_PACKED, false}};
  __vrsSSThreaderParallelSetMax(2);
  for (const Case& cs : cases) {
    Block<double> b(d, 0, d.n, cs.cols);
    int32_t p = 4, idx[4] = {1, 1, 0, 1};
    bool completed = false;
    int failures = 0;
    for (long k = 1; k < 64 && !completed; ++k) {
      Outputs<double> o(4, 0.5);
      o.cov_st = o.cor_st = o.cp_st = cs.storage;
      o.accum[0] = 3;
      o.accum[1] = 2;
      const Outputs<double> before = o;
      SSTask* t = nullptr;
      ASSERT_EQ(__vrsdSSNewTask(&t, &p, &b.n, &b.storage, b.x.data(), b.weights(),
                                cs.indices ? idx : nullptr, 0),
                0);
      o.attach(t);
      const long live = nex_serv_live_allocations();
      nex_serv_set_allocation_failure(k);
      const int status = call(t, kAllBasic, cs.method, __vrsSSThreaderParallel());
      nex_serv_set_allocation_failure(0);
      const bool owns_saved = t->saved_mean != nullptr;
      EXPECT_EQ(nex_serv_live_allocations(), live + (owns_saved ? 1 : 0)) << k;
      if (status == 0) {
        completed = true;
      } else {
        ASSERT_EQ(status, VRS_SS_ERROR_ALLOCATION) << k;
        ++failures;
        EXPECT_FALSE(owns_saved);
        EXPECT_EQ(o.mean, before.mean) << k;
        EXPECT_EQ(o.c4s, before.c4s) << k;
        EXPECT_EQ(o.cov, before.cov) << k;
        EXPECT_EQ(o.cp, before.cp) << k;
        EXPECT_EQ(o.accum[0], 3.0);
      }
      __vrsSSDeleteTask(&t);
    }
    EXPECT_TRUE(completed);
    EXPECT_GE(failures, 5);  // view, scalars, matrix, buffers, accumulators...
  }
}

// The ready threaders run every part exactly once.
TEST(Threaders, EveryItemAndRegionBodyOnce) {
  static int hits[1000];
  for (const SSThreader* thr : {__vrsSSThreaderSerial(), __vrsSSThreaderParallel()}) {
    __vrsSSThreaderParallelSetMax(3);
    std::memset(hits, 0, sizeof hits);
    thr->parallel_for(1000, 3, nullptr, [](int item, int, int, void*) { ++hits[item]; });
    for (int h : hits) EXPECT_EQ(h, 1);
    std::memset(hits, 0, sizeof hits);
    thr->parallel_region(3, nullptr, [](int t, int zero, int threads, void*) {
      hits[t] += 1 + zero;
      hits[10 + t] = threads;
    });
    EXPECT_EQ(hits[0] + hits[1] + hits[2], 3);
    EXPECT_EQ(hits[10] + hits[11] + hits[12], 9);
  }
  EXPECT_EQ(__vrsSSThreaderSerial()->max_threads(), 1);
  EXPECT_EQ(__vrsSSThreaderParallelSetMax(0), 3);
  EXPECT_EQ(__vrsSSThreaderParallel()->max_threads(), 1);
}

}  // namespace

namespace {

// Under the user mean the next block undoes the previous block's rank-one
// term with the mean kept on the task: a first block fed with a wrong mean
// and a second with the mean of the union give the covariance of the union.
TEST(BasicUserMean, LaterBlockCorrectsEarlierMean) {
  for (auto [p, n] : {std::pair{3, 8000}, std::pair{40, 200}}) {
    const Data d = make_data(p, n, false, 17);
    const Reference r = reference(d);
    for (int threads : {1, 2}) {
      Outputs<double> o(p);
      SSTask* t = nullptr;
      int32_t pi = p;
      ASSERT_EQ(__vrsdSSNewTask(&t, &pi, nullptr, nullptr, nullptr, nullptr, nullptr, 0), 0);
      o.attach(t);
      __vrsSSThreaderParallelSetMax(threads);
      for (int b = 0; b < 2; ++b) {
        for (int i = 0; i < p; ++i) o.mean[i] = b == 0 ? 10.0 + i : double(r.mean[i]);
        Block<double> blk(d, b * n / 2, n / 2, b == 1);
        t->n = &blk.n;
        t->x_storage = &blk.storage;
        t->x = blk.x.data();
        ASSERT_EQ(call(t, VRS_SS_EST_COV | VRS_SS_EST_CP, VRS_SS_METHOD_USER_MEAN,
                       __vrsSSThreaderParallel()),
                  0);
      }
      __vrsSSDeleteTask(&t);
      Checker<double> c{r, 1e-11};
      for (int i = 0; i < p; ++i)
        for (int k = 0; k < p; ++k) {
          c.near(o.cov[i * p + k], r.cov(i, k), c.scale(i) * c.scale(k), "cov");
          c.near(o.cp[i * p + k], r.cp[i * p + k], c.scale(i) * c.scale(k) * r.W, "cp");
        }
    }
  }
}

}  // namespace
