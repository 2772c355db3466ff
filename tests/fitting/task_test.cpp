// Task creation, editors and queries: statuses in their order, the stored
// fields, the lookup table and the ownership of the task's blocks.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "fitting/fit_helpers.hpp"

namespace {

using fittest::Api;

struct TaskGuard {
  DfTask* t = nullptr;
  ~TaskGuard() {
    if (t) nex_df_kernel_DeleteTask(&t);
  }
};

TEST(FitTask, CreationTestsInOrder) {
  const double x[4] = {0, 1, 2, 3};
  const double y[8] = {};
  DfTask* t = reinterpret_cast<DfTask*>(0x1);
  // Every failure before the record exists leaves a null task.
  EXPECT_EQ(nex_df_kernel_dNewTask1D(&t, 1, nullptr, 7, 0, y, 99, 0), FIT_STATUS_BAD_NX);
  EXPECT_EQ(t, nullptr);
  EXPECT_EQ(nex_df_kernel_dNewTask1D(&t, 4, nullptr, 7, 0, y, 99, 0), FIT_STATUS_BAD_X);
  EXPECT_EQ(nex_df_kernel_dNewTask1D(&t, 4, x, 3, 0, y, 99, 0), FIT_STATUS_BAD_X_HINT);
  EXPECT_EQ(nex_df_kernel_dNewTask1D(&t, 4, x, 1, 2, nullptr, 99, 0), FIT_STATUS_BAD_Y);
  EXPECT_EQ(nex_df_kernel_dNewTask1D(&t, 4, x, 1, 0, y, 99, 0), FIT_STATUS_BAD_NY);
  EXPECT_EQ(nex_df_kernel_dNewTask1D(&t, 4, x, 1, 2, y, 64, 0), FIT_STATUS_BAD_Y_HINT);
  EXPECT_EQ(t, nullptr);
  for (int64_t hint : {0, 1, 2, 4}) {
    TaskGuard g;
    ASSERT_EQ(nex_df_kernel_dNewTask1D(&g.t, 4, x, hint, 2, y, 16, 1), 0);
    EXPECT_EQ(g.t->kind, 4);
    EXPECT_EQ(g.t->double_task, 1);
    EXPECT_EQ(g.t->alive, 1);
    EXPECT_EQ(g.t->y[1], static_cast<const void*>(y + 4));
  }
  TaskGuard g;
  const float xs[2] = {0, 1};
  ASSERT_EQ(nex_df_kernel_sNewTask1D(&g.t, 2, xs, 0, 0, nullptr, 0, 0), 0);
  EXPECT_EQ(g.t->double_task, 0);
  EXPECT_EQ(g.t->y, nullptr);
}

TEST(FitTask, AllocationFailuresReleaseEverything) {
  const double x[4] = {0, 1, 2, 3};
  const double y[8] = {};
  const long live = nex_serv_live_allocations();
  for (long k = 1; k <= 3; ++k) {
    DfTask* t = nullptr;
    nex_serv_set_allocation_failure(k);
    EXPECT_EQ(nex_df_kernel_dNewTask1D(&t, 4, x, 1, 2, y, 16, 0), FIT_STATUS_MEM_FAILURE) << k;
    nex_serv_set_allocation_failure(0);
    // From the record on, the partly built task is the caller's to delete.
    if (k == 1) {
      EXPECT_EQ(t, nullptr);
    } else {
      ASSERT_NE(t, nullptr);
      EXPECT_EQ(nex_df_kernel_DeleteTask(&t), 0);
    }
  }
  EXPECT_EQ(nex_serv_live_allocations(), live);
  DfTask* none = nullptr;
  EXPECT_EQ(nex_df_kernel_DeleteTask(&none), FIT_STATUS_NULL_TASK);
}

TEST(FitTask, CellTableSizesAndBrackets) {
  std::vector<double> x2 = {0, 1};
  TaskGuard a;
  ASSERT_EQ(nex_df_kernel_dNewTask1D(&a.t, 2, x2.data(), 2, 0, nullptr, 0, 0), 0);
  EXPECT_EQ(a.t->cell_table_size, 16);
  for (int j = 0; j <= 16; ++j) {
    EXPECT_EQ(a.t->cell_table[j].lo, 0);
    EXPECT_EQ(a.t->cell_table[j].hi, 1);
  }
  // The largest table: 1024 buckets and one more pair, 8200 bytes.
  std::vector<double> big = fittest::partition(20000, -3, 5, 7);
  TaskGuard b;
  ASSERT_EQ(nex_df_kernel_dNewTask1D(&b.t, big.size(), big.data(), 2, 0, nullptr, 0, 0), 0);
  const int64_t m = b.t->cell_table_size;
  EXPECT_EQ(m, 1024);
  EXPECT_EQ((m + 1) * sizeof(DfCellTable), 8200u);
  EXPECT_EQ(b.t->cell_scale_d, 1024.0 / 8.0);
  // Every bucket brackets exactly the breakpoints its sites can lie between.
  for (int64_t k = 0; k < m; ++k) {
    const DfCellTable c = b.t->cell_table[k];
    const double lo_edge = -3 + k / b.t->cell_scale_d;
    ASSERT_LE(big[c.lo], lo_edge + 1e-12) << k;
    ASSERT_GE(big[c.hi], lo_edge + 1 / b.t->cell_scale_d - 1e-12) << k;
    ASSERT_LT(c.hi - c.lo, 64) << k;
  }
  EXPECT_EQ(b.t->cell_table[m].lo, b.t->cell_table[m - 1].lo);
  EXPECT_EQ(b.t->cell_table[m].hi, b.t->cell_table[m - 1].hi);
  // nx of 100 gives the least number of buckets, 16.
  std::vector<double> x100 = fittest::partition(100, 0, 1, 3);
  TaskGuard c;
  ASSERT_EQ(nex_df_kernel_dNewTask1D(&c.t, 100, x100.data(), 0, 0, nullptr, 0, 0), 0);
  EXPECT_EQ(c.t->cell_table_size, 16);
}

TEST(FitTask, EditPPSplineTestsInOrder) {
  const double x[4] = {0, 1, 2, 3};
  const double y[8] = {};
  double bc[2] = {0, 0}, ic[2] = {0, 0}, coeff[32];
  EXPECT_EQ(nex_df_kernel_dEditPPSpline1D(nullptr, 4, 0, 0, nullptr, 0, nullptr, nullptr, 0),
            FIT_STATUS_NULL_TASK);
  TaskGuard g;
  ASSERT_EQ(nex_df_kernel_dNewTask1D(&g.t, 4, x, 1, 2, y, 16, 0), 0);
  DfTask* t = g.t;
  EXPECT_EQ(nex_df_kernel_dEditPPSpline1D(t, -1, -1, 12, nullptr, 1, nullptr, nullptr, 0),
            FIT_STATUS_BAD_SPLINE_ORDER);
  EXPECT_EQ(nex_df_kernel_dEditPPSpline1D(t, 4, -1, 12, nullptr, 1, nullptr, nullptr, 0),
            FIT_STATUS_BAD_SPLINE_TYPE);
  // Order and type are stored before the boundary test fails.
  EXPECT_EQ(nex_df_kernel_dEditPPSpline1D(t, 4, 6, 12, nullptr, 1, nullptr, nullptr, 0),
            FIT_STATUS_BAD_BC);
  EXPECT_EQ(t->s_order, 4);
  EXPECT_EQ(t->s_type, 6);  // only the sign is tested here
  for (int64_t free_bc : {0, 1, 2, 64})
    EXPECT_EQ(nex_df_kernel_dEditPPSpline1D(t, 4, 0, free_bc, nullptr, 1, nullptr, nullptr, 0),
              FIT_STATUS_BAD_IC);
  EXPECT_EQ(nex_df_kernel_dEditPPSpline1D(t, 4, 0, 12, bc, 0, ic, nullptr, 0),
            FIT_STATUS_BAD_IC_TYPE);
  EXPECT_EQ(t->bc, bc);
  EXPECT_EQ(nex_df_kernel_dEditPPSpline1D(t, 4, 0, 12, bc, 1, ic, coeff, 0), 0);
  EXPECT_EQ(t->scoeff[1], static_cast<void*>(coeff + 12));
  EXPECT_EQ(nex_df_kernel_dEditPPSpline1D(t, 3, 1, 0, nullptr, 8, ic, coeff, 0), 0);
  EXPECT_EQ(t->scoeff[1], static_cast<void*>(coeff + 12));  // nx cells: 3 * 4
  EXPECT_EQ(nex_df_kernel_dEditPPSpline1D(t, 4, 0, 0, nullptr, 0, nullptr, coeff, 128), 0);
  EXPECT_EQ(t->scoeff[0], static_cast<void*>(coeff));
  EXPECT_EQ(t->scoeffhint, 128);
  // Without functions, coefficients cannot be attached.
  TaskGuard h;
  ASSERT_EQ(nex_df_kernel_dNewTask1D(&h.t, 4, x, 1, 0, nullptr, 0, 0), 0);
  EXPECT_EQ(nex_df_kernel_dEditPPSpline1D(h.t, 4, 0, 0, nullptr, 0, nullptr, coeff, 0),
            FIT_STATUS_BAD_NY);
}

struct ValueCase {
  int64_t attr, bad, good;
  int status;
};

class FitEditValue : public ::testing::TestWithParam<ValueCase> {};

TEST_P(FitEditValue, TestsAndStoresAndQueries) {
  const ValueCase c = GetParam();
  const double x[4] = {0, 1, 2, 3};
  const double y[4] = {};
  for (int32_t wide : {0, 1}) {
    TaskGuard g;
    ASSERT_EQ(nex_df_kernel_dNewTask1D(&g.t, 4, x, 1, 1, y, 16, wide), 0);
    EXPECT_EQ(nex_df_kernel_iEditVal(g.t, c.attr, c.bad), c.status);
    EXPECT_EQ(nex_df_kernel_iEditVal(g.t, c.attr, c.good), 0);
    int64_t out = 0x5555555555555555;
    ASSERT_EQ(nex_df_kernel_iQueryVal(g.t, c.attr, &out), 0);
    if (wide) {
      EXPECT_EQ(out, c.good);
    } else {  // only the low 32 bits are written
      int32_t low;
      std::memcpy(&low, &out, 4);
      EXPECT_EQ(low, c.good);
      int32_t high;
      std::memcpy(&high, reinterpret_cast<char*>(&out) + 4, 4);
      EXPECT_EQ(high, 0x55555555);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(
    Attributes, FitEditValue,
    ::testing::Values(ValueCase{FIT_NX, 1, 3, FIT_STATUS_BAD_NX},
                      ValueCase{FIT_XHINT, 3, 2, FIT_STATUS_BAD_X_HINT},
                      ValueCase{FIT_NY, 0, 2, FIT_STATUS_BAD_NY},
                      ValueCase{FIT_YHINT, 64, 32, FIT_STATUS_BAD_Y_HINT},
                      ValueCase{FIT_SPLINE_ORDER, -1, 4, FIT_STATUS_BAD_SPLINE_ORDER},
                      ValueCase{FIT_SPLINE_TYPE, 6, 9, FIT_STATUS_BAD_SPLINE_TYPE},
                      ValueCase{FIT_IC_TYPE, 3, 8, FIT_STATUS_BAD_IC_TYPE},
                      ValueCase{FIT_BC_TYPE, -2, 48, FIT_STATUS_BAD_BC_TYPE},
                      ValueCase{FIT_PP_COEFF_HINT, 1, 128, FIT_STATUS_BAD_PP_COEFF_HINT},
                      ValueCase{FIT_EXTRA_FLAG, 2, 1, FIT_STATUS_BAD_FLAG}));

TEST(FitTask, PointerEditorsAndQueries) {
  const double x[4] = {0, 1, 2, 3}, x2[4] = {0, 2, 4, 6};
  double y[8] = {}, coeff[24] = {};
  const double* out = nullptr;
  EXPECT_EQ(nex_df_kernel_dEditPtr(nullptr, FIT_X, x), FIT_STATUS_NULL_TASK);
  EXPECT_EQ(nex_df_kernel_dQueryPtr(nullptr, FIT_X, &out), FIT_STATUS_NULL_TASK);
  TaskGuard g;
  ASSERT_EQ(nex_df_kernel_dNewTask1D(&g.t, 4, x, 1, 0, nullptr, 0, 0), 0);
  DfTask* t = g.t;
  EXPECT_EQ(nex_df_kernel_dQueryPtr(t, FIT_X, nullptr), FIT_STATUS_NULL_RESULT_POINTER);
  EXPECT_EQ(nex_df_kernel_dEditPtr(t, 6, x), FIT_STATUS_BAD_ATTRIBUTE);
  EXPECT_EQ(nex_df_kernel_dQueryPtr(t, 14, &out), FIT_STATUS_BAD_ATTRIBUTE);
  EXPECT_EQ(nex_df_kernel_iEditVal(t, 5, 1), FIT_STATUS_BAD_ATTRIBUTE);
  EXPECT_EQ(nex_df_kernel_dEditPtr(t, FIT_X, nullptr), FIT_STATUS_BAD_X);
  EXPECT_EQ(nex_df_kernel_dEditPtr(t, FIT_Y, nullptr), FIT_STATUS_BAD_Y);
  EXPECT_EQ(nex_df_kernel_dEditPtr(t, FIT_IC, nullptr), FIT_STATUS_BAD_IC);
  EXPECT_EQ(nex_df_kernel_dEditPtr(t, FIT_BC, nullptr), FIT_STATUS_BAD_BC);
  EXPECT_EQ(nex_df_kernel_dEditPtr(t, FIT_PP_SCOEFF, nullptr), FIT_STATUS_BAD_PP_COEFF);
  // ny 0: coefficients cannot be attached.
  EXPECT_EQ(nex_df_kernel_dEditPtr(t, FIT_PP_SCOEFF, coeff), FIT_STATUS_BAD_NY);
  // Functions set after creation: ny, then y.
  ASSERT_EQ(nex_df_kernel_iEditVal(t, FIT_NY, 2), 0);
  ASSERT_EQ(nex_df_kernel_dEditPtr(t, FIT_Y, y), 0);
  EXPECT_EQ(t->y[1], static_cast<const void*>(y + 4));
  ASSERT_EQ(nex_df_kernel_dEditPtr(t, FIT_X, x2), 0);
  ASSERT_EQ(nex_df_kernel_dQueryPtr(t, FIT_X, &out), 0);
  EXPECT_EQ(out, x2);
  ASSERT_EQ(nex_df_kernel_iEditVal(t, FIT_SPLINE_ORDER, 4), 0);
  ASSERT_EQ(nex_df_kernel_dEditPtr(t, FIT_PP_SCOEFF, coeff), 0);
  EXPECT_EQ(t->scoeff[1], static_cast<void*>(coeff + 12));
  // Indexed editor: yhint 32 refuses rows, then the index, then the pointer.
  ASSERT_EQ(nex_df_kernel_iEditVal(t, FIT_YHINT, 32), 0);
  EXPECT_EQ(nex_df_kernel_dEditIdxPtr(t, FIT_Y, 5, nullptr), FIT_STATUS_BAD_Y_HINT);
  ASSERT_EQ(nex_df_kernel_iEditVal(t, FIT_YHINT, 16), 0);
  EXPECT_EQ(nex_df_kernel_dEditIdxPtr(t, FIT_Y, 2, nullptr), FIT_STATUS_BAD_INDEX);
  EXPECT_EQ(nex_df_kernel_dEditIdxPtr(t, FIT_Y, -1, y), FIT_STATUS_BAD_INDEX);
  EXPECT_EQ(nex_df_kernel_dEditIdxPtr(t, FIT_Y, 1, nullptr), FIT_STATUS_BAD_Y);
  EXPECT_EQ(nex_df_kernel_dEditIdxPtr(t, FIT_Y, 1, y + 1), 0);
  EXPECT_EQ(nex_df_kernel_dEditIdxPtr(t, FIT_PP_SCOEFF, 2, coeff), FIT_STATUS_BAD_INDEX);
  EXPECT_EQ(nex_df_kernel_dEditIdxPtr(t, FIT_PP_SCOEFF, 1, nullptr), FIT_STATUS_BAD_PP_COEFF);
  EXPECT_EQ(nex_df_kernel_dEditIdxPtr(t, FIT_PP_SCOEFF, 1, coeff + 4), 0);
  EXPECT_EQ(nex_df_kernel_dEditIdxPtr(t, FIT_X, 0, x), FIT_STATUS_BAD_ATTRIBUTE);
  // Indexed query: null result, then the index (ny itself passes), then kind.
  EXPECT_EQ(nex_df_kernel_dQueryIdxPtr(t, FIT_Y, 0, nullptr), FIT_STATUS_NULL_RESULT_POINTER);
  EXPECT_EQ(nex_df_kernel_dQueryIdxPtr(t, FIT_Y, 3, &out), FIT_STATUS_BAD_INDEX);
  EXPECT_EQ(nex_df_kernel_dQueryIdxPtr(t, FIT_Y, -1, &out), FIT_STATUS_BAD_INDEX);
  ASSERT_EQ(nex_df_kernel_dQueryIdxPtr(t, FIT_Y, 1, &out), 0);
  EXPECT_EQ(out, y + 1);
  ASSERT_EQ(nex_df_kernel_dQueryIdxPtr(t, FIT_Y, 2, &out), 0);  // idx == ny passes
  EXPECT_EQ(out, nullptr);
  ASSERT_EQ(nex_df_kernel_dQueryIdxPtr(t, FIT_PP_SCOEFF, 1, &out), 0);
  EXPECT_EQ(out, coeff + 4);
  EXPECT_EQ(nex_df_kernel_dQueryIdxPtr(t, FIT_X, 0, &out), FIT_STATUS_BAD_ATTRIBUTE);
  ASSERT_EQ(nex_df_kernel_iEditVal(t, FIT_YHINT, 32), 0);
  EXPECT_EQ(nex_df_kernel_dQueryIdxPtr(t, FIT_Y, 0, &out), FIT_STATUS_BAD_Y_HINT);
  // A task that is not alive ignores editors and queries.
  t->alive = 0;
  EXPECT_EQ(nex_df_kernel_dEditPtr(t, FIT_X, nullptr), 0);
  EXPECT_EQ(nex_df_kernel_iEditVal(t, FIT_NX, 0), 0);
  EXPECT_EQ(t->nx, 4);
  t->alive = 1;
}

TEST(FitTask, UniformTaskGetsTableWhenHintChanges) {
  const double ends[2] = {0, 3};
  const double full[4] = {0, 1, 2, 3};
  TaskGuard g;
  ASSERT_EQ(nex_df_kernel_dNewTask1D(&g.t, 4, ends, FIT_UNIFORM_PARTITION, 0, nullptr, 0, 0), 0);
  EXPECT_EQ(g.t->cell_table_size, 0);  // no table for a uniform partition
  ASSERT_EQ(nex_df_kernel_dEditPtr(g.t, FIT_X, full), 0);
  ASSERT_EQ(nex_df_kernel_iEditVal(g.t, FIT_XHINT, 1), 0);
  EXPECT_EQ(g.t->cell_table_size, 16);
  EXPECT_EQ(g.t->cell_table[15].hi, 3);
  EXPECT_EQ(g.t->cell_scale_d, 16.0 / 3.0);
}

TEST(FitTask, DeleteReleasesEveryBlock) {
  const long live = nex_serv_live_allocations();
  {
    fittest::Fit<float> f;
    std::vector<float> x = {0, 1, 2, 3, 4};
    ASSERT_EQ(f.make(x, 5, 3, [](int64_t i, int64_t k) { return double(i * k); }), 0);
    ASSERT_EQ(f.spline(4, FIT_PP_NATURAL, FIT_BC_FREE_END), 0);
    ASSERT_EQ(f.spline(4, FIT_PP_NATURAL, FIT_BC_FREE_END), 0);  // replaces the array
    EXPECT_EQ(nex_serv_live_allocations(), live + 4);
  }
  EXPECT_EQ(nex_serv_live_allocations(), live);
}

}  // namespace
