// Cell search: every kind against the cell convention, at and between
// breakpoints and outside, in both precisions, stand-alone and task-driven.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "fitting/fit_helpers.hpp"

namespace {

using fittest::Api;

template <class T>
int32_t reference_cell(const std::vector<T>& x, T s) {
  const int64_t nx = x.size();
  if (s < x[0]) return 0;
  if (s == x[nx - 1]) return nx - 1;
  if (s > x[nx - 1]) return nx;
  int32_t c = 0;
  while (c < nx && x[c] <= s) ++c;
  return c;
}

// Sites: every breakpoint, the middle of every cell, both outsides; sorted.
// The partition is on a grid of 1/8 so that every site is exact.
template <class T>
std::vector<T> sites_for(const std::vector<T>& x) {
  std::vector<T> s = {x[0] - T(3), x[0] - T(0.125)};
  for (size_t i = 0; i + 1 < x.size(); ++i) {
    s.push_back(x[i]);
    s.push_back(x[i] + (x[i + 1] - x[i]) / T(2));
  }
  s.push_back(x.back());
  s.push_back(x.back() + T(0.125));
  s.push_back(x.back() + T(100));
  return s;
}

template <class T>
std::vector<T> grid_partition(int64_t nx, bool uniform) {
  std::vector<T> x(nx);
  T v = T(-2);
  for (int64_t i = 0; i < nx; ++i) {
    x[i] = v;
    v += uniform ? T(0.25) : T(0.125) * T(1 + (i * 7) % 5);
  }
  return x;
}

template <class T>
struct Standalone;
template <>
struct Standalone<double> {
  static constexpr auto hybrid = nex_df_kernel_dDFHybridSearch1D;
  static constexpr auto peak = nex_df_kernel_dDFPeakSearch1D;
  static constexpr auto quasi = nex_df_kernel_dDFQuasiUniformSearch1D;
  static constexpr auto sorted = nex_df_kernel_dDFSortedSearch1D;
  static constexpr auto uniform = nex_df_kernel_dDFUniformSearch1D;
  static constexpr auto uniform32 = nex_df_kernel_dDFUniformSearch1D32;
  static constexpr auto user = nex_df_kernel_dDFUserDefSearch1D;
  static constexpr auto user32 = nex_df_kernel_dDFUserDefSearch1D32;
  static constexpr auto uniuser = nex_df_kernel_dDFUniUserDefSearch1D;
  static constexpr auto uniuser32 = nex_df_kernel_dDFUniUserDefSearch1D32;
};
template <>
struct Standalone<float> {
  static constexpr auto hybrid = nex_df_kernel_sDFHybridSearch1D;
  static constexpr auto peak = nex_df_kernel_sDFPeakSearch1D;
  static constexpr auto quasi = nex_df_kernel_sDFQuasiUniformSearch1D;
  static constexpr auto sorted = nex_df_kernel_sDFSortedSearch1D;
  static constexpr auto uniform = nex_df_kernel_sDFUniformSearch1D;
  static constexpr auto uniform32 = nex_df_kernel_sDFUniformSearch1D32;
  static constexpr auto user = nex_df_kernel_sDFUserDefSearch1D;
  static constexpr auto user32 = nex_df_kernel_sDFUserDefSearch1D32;
  static constexpr auto uniuser = nex_df_kernel_sDFUniUserDefSearch1D;
  static constexpr auto uniuser32 = nex_df_kernel_sDFUniUserDefSearch1D32;
};

// Call-back that places only sites below zero (cell 0 by its own rule is
// wrong on purpose for one site, to show its cells are final) and leaves the
// rest to the library.
template <class T>
int partial_callback(int64_t n, const T* site, int32_t* cell, void* params) {
  int* calls = static_cast<int*>(params);
  ++*calls;
  for (int64_t j = 0; j < n; ++j)
    if (site[j] < T(-4)) cell[j] = 12345;
  return 0;
}
template <class T>
int failing_callback(int64_t, const T*, int32_t*, void*) {
  return -77;
}

template <class T>
class FitSearch : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(FitSearch, Types);

TYPED_TEST(FitSearch, StandaloneKindsFollowTheCellConvention) {
  using T = TypeParam;
  using S = Standalone<T>;
  for (int64_t nx : {2, 3, 41, 42, 100, 101, 300}) {
    const std::vector<T> x = grid_partition<T>(nx, false);
    const std::vector<T> s = sites_for(x);
    const int64_t n = s.size();
    std::vector<int32_t> want(n), got(n);
    for (int64_t j = 0; j < n; ++j) want[j] = reference_cell(x, s[j]);
    auto check = [&](const char* kind) {
      for (int64_t j = 0; j < n; ++j)
        ASSERT_EQ(got[j], want[j]) << kind << " nx " << nx << " site " << s[j];
    };
    ASSERT_EQ(S::hybrid(nx, x.data(), n, s.data(), got.data()), 0);
    check("hybrid");
    ASSERT_EQ(S::peak(nx, x.data(), n, s.data(), got.data()), 0);
    check("peak");
    const T step = (x.back() - x[0]) / T(nx - 1);
    ASSERT_EQ(S::quasi(nx, x.data(), n, s.data(), step, got.data()), 0);
    check("quasi-uniform");
    int32_t start = 0;
    ASSERT_EQ(S::sorted(nx, x.data(), n, s.data(), &start, got.data()), 0);
    check("sorted");
    EXPECT_EQ(start, nx);  // the last site lies above the partition
    int calls = 0;
    ASSERT_EQ(S::user(nx, x.data(), n, s.data(), partial_callback<T>, &calls, got.data()), 0);
    EXPECT_EQ(got[0], 12345);  // the call-back's cells are final
    got[0] = want[0];
    check("user");
    ASSERT_EQ(S::user32(nx, x.data(), n, s.data(), failing_callback<T>, nullptr, got.data()), -77);
  }
}

TYPED_TEST(FitSearch, UniformKindsReadTheTwoEnds) {
  using T = TypeParam;
  using S = Standalone<T>;
  for (int64_t nx : {2, 5, 64}) {
    const std::vector<T> x = grid_partition<T>(nx, true);
    const std::vector<T> ends = {x[0], x.back()};
    const std::vector<T> s = sites_for(x);
    const int64_t n = s.size();
    const T step = T(0.25);
    std::vector<int32_t> got(n), got32(n), user(n);
    ASSERT_EQ(S::uniform(nx, ends.data(), n, s.data(), step, got.data()), 0);
    ASSERT_EQ(S::uniform32(nx, ends.data(), n, s.data(), step, got32.data()), 0);
    int calls = 0;
    ASSERT_EQ(
        S::uniuser(nx, ends.data(), n, s.data(), partial_callback<T>, &calls, step, user.data()),
        0);
    ASSERT_EQ(
        S::uniuser32(nx, ends.data(), n, s.data(), failing_callback<T>, nullptr, step, user.data()),
        -77);
    for (int64_t j = 0; j < n; ++j) {
      const int32_t want = reference_cell(x, s[j]);
      ASSERT_EQ(got[j], want) << nx << " " << s[j];
      ASSERT_EQ(got32[j], want);
    }
  }
}

TYPED_TEST(FitSearch, HybridNeverBisectsAtOneHundredAndSortedTrustsOrder) {
  using T = TypeParam;
  const std::vector<T> x = grid_partition<T>(100, false);
  // Out of order sites: the sorted kind keeps its current cell for a site
  // below it; that is a wrong cell, and no failure.
  const std::vector<T> s = {x[50], x[10]};
  std::vector<int32_t> cell(2);
  int32_t start = 0;
  ASSERT_EQ(Standalone<T>::sorted(100, x.data(), 2, s.data(), &start, cell.data()), 0);
  EXPECT_EQ(cell[0], 51);
  EXPECT_EQ(cell[1], 51);
  EXPECT_EQ(start, 51);
  // A NaN site gets a cell within 0..nx and nothing breaks.
  const T nan = std::numeric_limits<T>::quiet_NaN();
  ASSERT_EQ(Standalone<T>::hybrid(100, x.data(), 1, &nan, cell.data()), 0);
  EXPECT_GE(cell[0], 0);
  EXPECT_LE(cell[0], 100);
}

// Task-driven: the kind is chosen from the hints; every choice gives the
// convention's cells.
TYPED_TEST(FitSearch, TaskDrivenChoices) {
  using T = TypeParam;
  for (int64_t nx : {2, 17, 1000}) {
    const std::vector<T> x = grid_partition<T>(nx, false);
    const std::vector<T> s = sites_for(x);
    const int64_t n = s.size();
    std::vector<int32_t> want(n), got(n);
    for (int64_t j = 0; j < n; ++j) want[j] = reference_cell(x, s[j]);
    for (int64_t xhint : {0, 1, 2}) {
      DfTask* t = nullptr;
      ASSERT_EQ(Api<T>::new_task(&t, nx, x.data(), xhint, 0, nullptr, 0, 0), 0);
      const double peak_hint[5] = {0, 1, 0, 0, double(nx / 2)};
      const double none_hint[5] = {0, 0, 0, 0, 0};
      for (int64_t sitehint : {0, 64})
        for (const double* dh : {static_cast<const double*>(nullptr), peak_hint, none_hint}) {
          std::fill(got.begin(), got.end(), -5);
          ASSERT_EQ(Api<T>::search(t, n, s.data(), sitehint, dh, got.data(), nullptr, nullptr, 32),
                    0);
          for (int64_t j = 0; j < n; ++j)
            ASSERT_EQ(got[j], want[j]) << nx << " " << xhint << " " << sitehint << " " << s[j];
        }
      int calls = 0;
      ASSERT_EQ(
          Api<T>::search(t, n, s.data(), 0, nullptr, got.data(), partial_callback<T>, &calls, 32),
          0);
      EXPECT_EQ(calls, 1);
      EXPECT_EQ(got[0], 12345);
      EXPECT_EQ(got[1], want[1]);
      EXPECT_EQ(
          Api<T>::search(t, n, s.data(), 0, nullptr, got.data(), failing_callback<T>, nullptr, 32),
          -77);
      nex_df_kernel_DeleteTask(&t);
    }
  }
}

TYPED_TEST(FitSearch, DataHintStatuses) {
  using T = TypeParam;
  const std::vector<T> x = grid_partition<T>(10, false);
  DfTask* t = nullptr;
  ASSERT_EQ(Api<T>::new_task(&t, 10, x.data(), 1, 0, nullptr, 0, 0), 0);
  std::vector<int32_t> cell(1, -9);
  const T site = x[3];
  const double half[5] = {0, 0.5, 0, 0, 0};
  const double below[5] = {0, 1, 0, 0, -1};
  const double above[5] = {0, 1, 0, 0, 11};
  const double at_nx[5] = {0, 1, 0, 0, 10};
  EXPECT_EQ(Api<T>::search(t, 1, &site, 0, half, cell.data(), nullptr, nullptr, 32),
            FIT_STATUS_BAD_DATA_HINT);
  EXPECT_EQ(Api<T>::search(t, 1, &site, 0, below, cell.data(), nullptr, nullptr, 32),
            FIT_STATUS_BAD_DATA_HINT);
  EXPECT_EQ(Api<T>::search(t, 1, &site, 0, above, cell.data(), nullptr, nullptr, 32),
            FIT_STATUS_BAD_DATA_HINT);
  EXPECT_EQ(cell[0], -9);  // untouched on failure
  EXPECT_EQ(Api<T>::search(t, 1, &site, 0, at_nx, cell.data(), nullptr, nullptr, 32), 0);
  EXPECT_EQ(cell[0], 4);
  nex_df_kernel_DeleteTask(&t);
}

// Random sites on a random partition: every kind agrees with a reference
// binary search (fixed seed).
TEST(FitSearchRandom, KindsAgreeOnRandomSites) {
  const int64_t nx = 5000;
  const std::vector<double> x = fittest::partition(nx, -1, 7, 11);
  std::vector<double> s = fittest::uniform(20000, -1.5, 7.5, 3);
  std::vector<int32_t> got(s.size());
  auto verify = [&](const char* kind) {
    for (size_t j = 0; j < s.size(); ++j) {
      const int32_t want =
          s[j] < x[0]
              ? 0
              : (s[j] > x.back() ? nx
                                 : static_cast<int32_t>(std::upper_bound(x.begin(), x.end(), s[j]) -
                                                        x.begin()));
      ASSERT_EQ(got[j], want) << kind << " " << s[j];
    }
  };
  nex_df_kernel_dDFHybridSearch1D(nx, x.data(), s.size(), s.data(), got.data());
  verify("hybrid");
  nex_df_kernel_dDFPeakSearch1D(nx, x.data(), s.size(), s.data(), got.data());
  verify("peak");
  nex_df_kernel_dDFQuasiUniformSearch1D(nx, x.data(), s.size(), s.data(), 8.0 / (nx - 1),
                                        got.data());
  verify("quasi-uniform");
  DfTask* t = nullptr;
  ASSERT_EQ(nex_df_kernel_dNewTask1D(&t, nx, x.data(), 2, 0, nullptr, 0, 0), 0);
  ASSERT_EQ(nex_df_kernel_dDFSearch1D(t, s.size(), s.data(), 0, nullptr, got.data(), nullptr,
                                      nullptr, 32),
            0);
  verify("table");
  const double peak[5] = {0, 1, 0, 0, 2500};
  ASSERT_EQ(nex_df_kernel_iEditVal(t, FIT_XHINT, 1), 0);
  ASSERT_EQ(
      nex_df_kernel_dDFSearch1D(t, s.size(), s.data(), 0, peak, got.data(), nullptr, nullptr, 32),
      0);
  verify("peak from hint");
  std::sort(s.begin(), s.end());
  ASSERT_EQ(nex_df_kernel_dDFSearch1D(t, s.size(), s.data(), 64, nullptr, got.data(), nullptr,
                                      nullptr, 32),
            0);
  verify("sorted");
  nex_df_kernel_DeleteTask(&t);
}

}  // namespace
