// Tridiagonal solvers of the service library against GSL's tridiagonal
// solver and exact properties, for both precisions.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <vector>

#include "fitting/gsl_loader.hpp"
#include "nex_core_tridiag.h"

namespace {

template <class T>
struct Solver;
template <>
struct Solver<double> {
  static constexpr auto factor = ddttrfb_4dfl;
  static constexpr auto solve = ddttrsb_4dfl;
  static constexpr auto both = ddtsvb_4dfl;
  static constexpr double tol = 1e-13;
};
template <>
struct Solver<float> {
  static constexpr auto factor = sdttrfb_4dfl;
  static constexpr auto solve = sdttrsb_4dfl;
  static constexpr auto both = sdtsvb_4dfl;
  static constexpr double tol = 2e-5;
};

// Fixed-seed diagonally dominant system.
struct System {
  std::vector<double> dl, d, du;
  explicit System(int64_t n, unsigned seed) : dl(n > 1 ? n - 1 : 0), d(n), du(n > 1 ? n - 1 : 0) {
    uint64_t s = 88172645463325252ull + seed;
    auto next = [&] {
      s ^= s << 13;
      s ^= s >> 7;
      s ^= s << 17;
      return static_cast<double>(s >> 11) * 0x1.0p-53 - 0.5;
    };
    for (auto& v : dl) v = next();
    for (auto& v : du) v = next();
    for (auto& v : d) v = 2.5 + next();
  }
  // Reference solution of A x = b (or A^T x = b) from GSL.
  std::vector<double> reference(const std::vector<double>& b, bool transposed) const {
    const int64_t n = d.size();
    if (n == 1) return {b[0] / d[0]};
    std::vector<double> out(n);
    const gsl_vector dv = fittest::vector_over(d.data(), n);
    const gsl_vector up = fittest::vector_over((transposed ? dl : du).data(), n - 1);
    const gsl_vector lo = fittest::vector_over((transposed ? du : dl).data(), n - 1);
    const gsl_vector bv = fittest::vector_over(b.data(), n);
    gsl_vector xv = fittest::vector_over(out.data(), n);
    fittest::Gsl::get().solve_tridiag(&dv, &up, &lo, &bv, &xv);
    return out;
  }
};

template <class T>
class TridiagTest : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(TridiagTest, Types);

TYPED_TEST(TridiagTest, ManyRightHandSidesBothOrientations) {
  using T = TypeParam;
  if (!fittest::Gsl::get().ok()) GTEST_SKIP() << "GSL not available";
  for (int64_t n : {1, 2, 3, 17, 200}) {
    const System sys(n, static_cast<unsigned>(n));
    const int64_t nrhs = 3, ldb = n + 2;
    for (char trans : {'N', 'T'}) {
      std::vector<T> dl(sys.dl.begin(), sys.dl.end()), d(sys.d.begin(), sys.d.end()),
          du(sys.du.begin(), sys.du.end());
      int64_t info = -7;
      Solver<T>::factor(&n, dl.data(), d.data(), du.data(), &info);
      ASSERT_EQ(info, 0);
      std::vector<T> b(ldb * nrhs, T(42));
      std::vector<std::vector<double>> rhs(nrhs, std::vector<double>(n));
      for (int64_t j = 0; j < nrhs; ++j)
        for (int64_t i = 0; i < n; ++i) b[j * ldb + i] = T(rhs[j][i] = std::sin(1.0 + i + 7.0 * j));
      Solver<T>::solve(&trans, &n, &nrhs, dl.data(), d.data(), du.data(), b.data(), &ldb, &info);
      ASSERT_EQ(info, 0);
      for (int64_t j = 0; j < nrhs; ++j) {
        const std::vector<double> ref = sys.reference(rhs[j], trans == 'T');
        for (int64_t i = 0; i < n; ++i)
          EXPECT_NEAR(b[j * ldb + i], ref[i], Solver<T>::tol) << n << trans << i;
        EXPECT_EQ(b[j * ldb + n], T(42));  // padding below n untouched
      }
    }
  }
}

TYPED_TEST(TridiagTest, FactorAndSolveInOneCallMatchesTwoSteps) {
  using T = TypeParam;
  const int64_t n = 33, nrhs = 2;
  const System sys(n, 5);
  std::vector<T> dl(sys.dl.begin(), sys.dl.end()), d(sys.d.begin(), sys.d.end()),
      du(sys.du.begin(), sys.du.end());
  std::vector<T> dl2 = dl, d2 = d, du2 = du;
  std::vector<T> b(n * nrhs), b2;
  for (int64_t i = 0; i < n * nrhs; ++i) b[i] = T(i % 5) - T(2);
  b2 = b;
  int64_t info = -1;
  Solver<T>::both(&n, &nrhs, dl.data(), d.data(), du.data(), b.data(), &n, &info);
  ASSERT_EQ(info, 0);
  const char no = 'N';
  Solver<T>::factor(&n, dl2.data(), d2.data(), du2.data(), &info);
  Solver<T>::solve(&no, &n, &nrhs, dl2.data(), d2.data(), du2.data(), b2.data(), &n, &info);
  for (int64_t i = 0; i < n * nrhs; ++i) EXPECT_EQ(b[i], b2[i]);
}

TYPED_TEST(TridiagTest, ZeroPivotAndBadArguments) {
  using T = TypeParam;
  // A singular matrix, [[1, 1, 0], [1, 2, 1], [0, 1, 1]]: the pivot of the
  // middle row, where the eliminations from both ends meet, vanishes:
  // 2 - 1 * 1 / 1 - 1 * 1 / 1 = 0.
  int64_t n = 3, info = 0;
  std::vector<T> dl = {1, 1}, d = {1, 2, 1}, du = {1, 1};
  Solver<T>::factor(&n, dl.data(), d.data(), du.data(), &info);
  EXPECT_EQ(info, 2);
  n = 2;
  std::vector<T> dz = {0, 1};
  Solver<T>::factor(&n, dl.data(), dz.data(), du.data(), &info);
  EXPECT_EQ(info, 1);
  int64_t bad = -1, nrhs = 1, ldb = 1;
  Solver<T>::factor(&bad, dl.data(), d.data(), du.data(), &info);
  EXPECT_EQ(info, -1);
  const char x = 'X', no = 'N';
  T b[4] = {};
  Solver<T>::solve(&x, &n, &nrhs, dl.data(), d.data(), du.data(), b, &ldb, &info);
  EXPECT_EQ(info, -1);
  Solver<T>::solve(&no, &n, &nrhs, dl.data(), d.data(), du.data(), b, &ldb, &info);
  EXPECT_EQ(info, -8);  // ldb below n
  Solver<T>::both(&n, &bad, dl.data(), d.data(), du.data(), b, &n, &info);
  EXPECT_EQ(info, -2);
}

}  // namespace
