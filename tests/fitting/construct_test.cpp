// Spline construction: statuses, and the exact properties of each kind by
// boundary class, storage form and partition form, in both precisions.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "fitting/fit_helpers.hpp"

namespace {

using fittest::Api;
using fittest::Fit;

enum KindId { kLinear, kQuadratic, kKnots, kDefault, kNatural, kHermite, kBessel, kHyman, kAkima };

template <class T>
struct KindInfo {
  KindId id;
  const char* name;
  int (*entry)(DfTask*, int64_t, void*);
  int64_t order, type, least_nx;
};

template <class T>
std::vector<KindInfo<T>> cubic_kinds() {
  return {{kDefault, "default", Api<T>::default_cubic, 4, FIT_PP_DEFAULT, 3},
          {kNatural, "natural", Api<T>::natural, 4, FIT_PP_NATURAL, 2},
          {kHermite, "hermite", Api<T>::hermite, 4, FIT_PP_HERMITE, 3},
          {kBessel, "bessel", Api<T>::bessel, 4, FIT_PP_BESSEL, 4},
          {kHyman, "hyman", Api<T>::hyman, 4, FIT_PP_HYMAN, 4},
          {kAkima, "akima", Api<T>::akima, 4, FIT_PP_AKIMA, 5}};
}

const int64_t kClassBc[7] = {1, 2, 12, 36, 24, 48, 64};

double poly(double t, int der) {  // 1 - 2t + 0.5t^2 + 0.3t^3 and derivatives
  switch (der) {
    case 0:
      return 1 - 2 * t + 0.5 * t * t + 0.3 * t * t * t;
    case 1:
      return -2 + t + 0.9 * t * t;
    case 2:
      return 1 + 1.8 * t;
    case 3:
      return 1.8;
    default:
      return 0;
  }
}

// Boundary values of class `cls` for the function with derivatives d(t, k).
template <class T, class D>
std::vector<T> bc_values(int cls, double a, double b, D d) {
  switch (cls) {
    case 2:
      return {T(d(a, 1)), T(d(b, 1))};
    case 3:
      return {T(d(a, 1)), T(d(b, 2))};
    case 4:
      return {T(d(a, 2)), T(d(b, 1))};
    case 5:
      return {T(d(a, 2)), T(d(b, 2))};
    case 6:
      return {T(d(a, 1)), T(d(b, 1))};
    default:
      return {};
  }
}

template <class T>
class FitConstruct : public ::testing::Test {
 protected:
  static double tol() { return sizeof(T) == 8 ? 1e-11 : 2e-4; }
};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(FitConstruct, Types);

// Builds kind `k` with class `cls` over data d(t, 0) on partition xs; the
// Hermite kind gets exact inner derivatives.
template <class T, class D>
int build(Fit<T>& f, const KindInfo<T>& k, int cls, const std::vector<double>& xs, D d,
          int64_t xhint = 1, int64_t yhint = FIT_MATRIX_STORAGE_ROWS) {
  const int64_t nx = xs.size();
  std::vector<T> x;
  if (xhint == FIT_UNIFORM_PARTITION)
    x = {T(xs[0]), T(xs.back())};
  else
    x = fittest::cast<T>(xs);
  int st = f.make(
      x, nx, 1, [&](int64_t i, int64_t) { return d(xs[i], 0); }, xhint, yhint);
  if (st) return st;
  std::vector<T> ic;
  int64_t ic_type = 0;
  if (k.id == kHermite && nx > 2) {
    for (int64_t i = 1; i + 1 < nx; ++i) ic.push_back(T(d(xs[i], 1)));
    ic_type = FIT_IC_1ST_DER;
  }
  st =
      f.spline(k.order, k.type, kClassBc[cls], bc_values<T>(cls, xs[0], xs.back(), d), ic_type, ic);
  if (st) return st;
  return k.entry(f.task, 0, nullptr);
}

TYPED_TEST(FitConstruct, EveryCubicKindAndClassInterpolatesItsData) {
  using T = TypeParam;
  auto data = [](double t, int k) { return k == 0 ? std::sin(t) + 0.1 * t : std::cos(t) + 0.1; };
  for (const auto& k : cubic_kinds<T>())
    for (int cls = 0; cls < 7; ++cls)
      for (int64_t nx : {k.least_nx < 4 ? int64_t(4) : k.least_nx, int64_t(23)})
        for (int64_t xhint : {1, 4})
          for (int64_t yhint : {16, 32, 128}) {
            std::vector<double> xs =
                xhint == 4 ? fittest::partition(nx, 0, 6, 0) : fittest::partition(nx, 0, 6, nx);
            if (xhint == 4)
              for (int64_t i = 0; i < nx; ++i) xs[i] = 6.0 * i / (nx - 1);
            Fit<T> f;
            // Periodic data for the periodic class.
            auto d = [&](double t, int kk) {
              return cls == 6
                         ? (kk == 0 ? std::cos(t * M_PI / 3) : -M_PI / 3 * std::sin(t * M_PI / 3))
                         : data(t, kk);
            };
            const int st = build(f, k, cls, xs, d, xhint, yhint);
            ASSERT_EQ(st, 0) << k.name << " class " << cls << " nx " << nx;
            std::vector<T> sites = fittest::cast<T>(xs);
            const std::vector<T> v = f.eval(sites);
            for (int64_t i = 0; i < nx; ++i)
              ASSERT_NEAR(v[i], d(xs[i], 0), TestFixture::tol() * 4)
                  << k.name << " class " << cls << " nx " << nx << " xhint " << xhint << " yhint "
                  << yhint << " i " << i;
            for (T c : f.coeff) ASSERT_NE(c, T(-777));
          }
}

TYPED_TEST(FitConstruct, StorageFormsGiveIdenticalCoefficients) {
  using T = TypeParam;
  const std::vector<double> xs = fittest::partition(40, -1, 3, 9);
  auto d = [](double t, int k) { return k == 0 ? std::exp(-t * t) : -2 * t * std::exp(-t * t); };
  for (const auto& k : cubic_kinds<T>())
    for (int cls : {0, 1, 2, 5}) {
      Fit<T> rows, cols, block;
      ASSERT_EQ(build(rows, k, cls, xs, d, 1, 16), 0);
      ASSERT_EQ(build(cols, k, cls, xs, d, 1, 32), 0);
      ASSERT_EQ(build(block, k, cls, xs, d, 1, 128), 0);
      EXPECT_EQ(rows.coeff, cols.coeff) << k.name;
      EXPECT_EQ(rows.coeff, block.coeff) << k.name;
    }
}

TYPED_TEST(FitConstruct, ManyFunctionsShareOneFactorisation) {
  using T = TypeParam;
  const int64_t nx = 30, ny = 3;
  const std::vector<T> x = fittest::cast<T>(fittest::partition(nx, 0, 1, 4));
  for (int64_t yhint : {16, 32}) {
    Fit<T> many;
    ASSERT_EQ(
        many.make(
            x, nx, ny, [&](int64_t i, int64_t f) { return std::cos((f + 1) * x[i]); }, 1, yhint),
        0);
    ASSERT_EQ(many.spline(4, FIT_PP_NATURAL, FIT_BC_NOT_A_KNOT), 0);
    ASSERT_EQ(Api<T>::natural(many.task, 0, nullptr), 0);
    for (int64_t f = 0; f < ny; ++f) {
      Fit<T> one;
      ASSERT_EQ(one.make(x, nx, 1, [&](int64_t i, int64_t) { return std::cos((f + 1) * x[i]); }),
                0);
      ASSERT_EQ(one.spline(4, FIT_PP_NATURAL, FIT_BC_NOT_A_KNOT), 0);
      ASSERT_EQ(Api<T>::natural(one.task, 0, nullptr), 0);
      for (int64_t i = 0; i < 4 * (nx - 1); ++i)
        ASSERT_EQ(many.coeff[f * 4 * (nx - 1) + i], one.coeff[i]) << f << " " << i;
    }
  }
}

// Cubic, quadratic and linear reproduction: coefficients equal the exact
// Taylor coefficients of the polynomial at each cell's left end.
TYPED_TEST(FitConstruct, PolynomialReproduction) {
  using T = TypeParam;
  struct Case {
    KindId kind;
    std::vector<int> classes;
    int degree;
  };
  const std::vector<Case> cases = {
      {kDefault, {0, 2, 3, 4, 5}, 3},  {kNatural, {0, 2, 3, 4, 5}, 3},
      {kHermite, {0, 2, 3, 4, 5}, 3},  {kBessel, {0, 2, 3, 4, 5}, 2},
      {kAkima, {0, 1, 2, 3, 4, 5}, 1}, {kHyman, {0, 1, 2, 3, 4, 5}, 1}};
  for (const Case& c : cases)
    for (const auto& k : cubic_kinds<T>()) {
      if (k.id != c.kind) continue;
      for (int cls : c.classes)
        for (int64_t nx : {int64_t(5), int64_t(3), int64_t(4), int64_t(6), int64_t(31)}) {
          if (nx < k.least_nx) continue;
          // nx 3 with not-a-knot: the C2 kinds give the parabola through the
          // three points; Hermite, with m1 given, the one cubic.
          if (nx == 3 && (cls != 0 || c.kind != kHermite)) continue;
          const std::vector<double> xs = fittest::partition(nx, -1.5, 2, nx + cls);
          auto p = [&](double t, int der) {
            if (c.degree == 3) return poly(t, der);
            if (c.degree == 2)
              return der == 0 ? 1 - 2 * t + 0.5 * t * t
                              : (der == 1 ? -2 + t : (der == 2 ? 1.0 : 0.0));
            return der == 0 ? 1 - 2 * t : (der == 1 ? -2.0 : 0.0);
          };
          Fit<T> f;
          ASSERT_EQ(build(f, k, cls, xs, p), 0) << k.name << cls;
          for (int64_t i = 0; i + 1 < nx; ++i) {
            const double t = xs[i];
            const double want[4] = {p(t, 0), p(t, 1), p(t, 2) / 2, p(t, 3) / 6};
            for (int j = 0; j < 4; ++j)
              ASSERT_NEAR(f.coeff[4 * i + j], want[j], TestFixture::tol() * 50)
                  << k.name << " class " << cls << " nx " << nx << " cell " << i << " c" << j;
          }
        }
    }
}

// The C2 kinds are C2 at every inner breakpoint, and across the seam when
// periodic.
TYPED_TEST(FitConstruct, C2KindsAreTwiceContinuouslyDifferentiable) {
  using T = TypeParam;
  for (const auto& k : cubic_kinds<T>()) {
    if (k.id != kDefault && k.id != kNatural) continue;
    for (int cls = 0; cls < 7; ++cls) {
      const int64_t nx = 27;
      const std::vector<double> xs = fittest::partition(nx, 0, 2 * M_PI, 5);
      auto d = [&](double t, int kk) {
        return kk == 0 ? std::cos(t) + (cls == 6 ? 0 : 0.2 * t * t)
                       : -std::sin(t) + (cls == 6 ? 0 : 0.4 * t);
      };
      Fit<T> f;
      ASSERT_EQ(build(f, k, cls, xs, d), 0);
      auto end_derivs = [&](int64_t i, double* out) {  // S, S', S'' at the right end of cell i
        const T* c = f.coeff.data() + 4 * i;
        const double h = double(f.x[i + 1]) - double(f.x[i]);
        out[0] = c[0] + h * (c[1] + h * (c[2] + h * c[3]));
        out[1] = c[1] + h * (2 * c[2] + 3 * h * c[3]);
        out[2] = 2 * c[2] + 6 * h * c[3];
      };
      const double scale = sizeof(T) == 8 ? 1e-9 : 2e-3;
      for (int64_t i = 0; i + 2 < nx; ++i) {
        double e[3];
        end_derivs(i, e);
        const T* next = f.coeff.data() + 4 * (i + 1);
        ASSERT_NEAR(e[0], next[0], scale) << k.name << cls << " at " << i + 1;
        ASSERT_NEAR(e[1], next[1], scale) << k.name << cls << " at " << i + 1;
        ASSERT_NEAR(e[2], 2 * next[2], scale * 10) << k.name << cls << " at " << i + 1;
      }
      if (cls == 6) {
        double e[3];
        end_derivs(nx - 2, e);
        EXPECT_NEAR(e[1], f.coeff[1], scale);
        EXPECT_NEAR(e[2], 2 * f.coeff[2], scale * 10);
      }
    }
  }
}

TYPED_TEST(FitConstruct, HymanKeepsMonotoneDataMonotone) {
  using T = TypeParam;
  const int64_t nx = 60;
  const std::vector<double> xs = fittest::partition(nx, 0, 10, 2);
  const std::vector<double> steps = fittest::uniform(nx, 0, 1, 8);
  std::vector<double> ys(nx);
  double acc = 0;
  for (int64_t i = 0; i < nx; ++i) {
    // Steep rises, flat stretches and small steps mixed.
    const double s = steps[i];
    acc += s < 0.3 ? 0.0 : (s < 0.6 ? s * 0.01 : s * 5);
    ys[i] = acc;
  }
  for (double sign : {1.0, -1.0})
    for (int cls = 0; cls < 6; ++cls) {
      Fit<T> f;
      auto d = [&](double t, int kk) {
        for (int64_t i = 0; i < nx; ++i)
          if (t == xs[i]) return kk == 0 ? sign * ys[i] : 0.0;
        return 0.0;
      };
      ASSERT_EQ(build(f, cubic_kinds<T>()[4], cls, xs, d), 0);
      ASSERT_EQ(cubic_kinds<T>()[4].id, kHyman);
      std::vector<T> sites;
      for (int64_t i = 0; i + 1 < nx; ++i)
        for (int j = 0; j < 16; ++j) sites.push_back(T(xs[i] + (xs[i + 1] - xs[i]) * j / 16.0));
      const std::vector<T> v = f.eval(sites);
      for (size_t j = 1; j < v.size(); ++j)
        ASSERT_GE(sign * (v[j] - v[j - 1]), -1e-5 * std::fabs(v[j]) - 1e-6)
            << "class " << cls << " site " << sites[j];
    }
}

TYPED_TEST(FitConstruct, PeriodicMismatchReportsAfterBuildingEverything) {
  using T = TypeParam;
  const std::vector<double> xs = fittest::partition(12, 0, 1, 3);
  auto d = [](double t, int k) { return k == 0 ? t * t : 2 * t; };  // y0 != y_last
  for (const auto& k : cubic_kinds<T>()) {
    Fit<T> f;
    EXPECT_EQ(build(f, k, 6, xs, d), FIT_STATUS_BAD_PERIODIC_VALUES) << k.name;
    for (T c : f.coeff) ASSERT_NE(c, T(-777)) << k.name;
    EXPECT_EQ(f.coeff[0], T(0));
  }
}

TYPED_TEST(FitConstruct, ConstantDataGivesZeroDerivativesEverywhere) {
  using T = TypeParam;
  const std::vector<double> xs = fittest::partition(9, 0, 4, 1);
  auto d = [](double, int k) { return k == 0 ? 2.5 : 0.0; };
  for (const auto& k : cubic_kinds<T>())
    for (int cls : {0, 1, 2, 5, 6}) {
      Fit<T> f;
      ASSERT_EQ(build(f, k, cls, xs, d), 0) << k.name << cls;
      for (int64_t i = 0; i < 8; ++i) {
        EXPECT_EQ(f.coeff[4 * i], T(2.5));
        for (int j = 1; j < 4; ++j) EXPECT_EQ(f.coeff[4 * i + j], T(0)) << k.name << cls;
      }
    }
}

TYPED_TEST(FitConstruct, EntryStatusesInOrder) {
  using T = TypeParam;
  auto d = [](double t, int k) { return k == 0 ? t : 1.0; };
  // Least nx of each kind.
  const struct {
    KindId id;
    int64_t nx;
  } too_small[] = {{kAkima, 4}, {kBessel, 3}, {kHyman, 3}, {kHermite, 2}, {kDefault, 2}};
  for (const auto& ts : too_small)
    for (const auto& k : cubic_kinds<T>())
      if (k.id == ts.id) {
        Fit<T> f;
        EXPECT_EQ(build(f, k, 1, fittest::partition(ts.nx, 0, 1, 1), d), FIT_STATUS_BAD_NX)
            << k.name;
      }
  const KindInfo<T> natural = cubic_kinds<T>()[1];
  {
    Fit<T> f;  // natural with nx 2: free end builds, not-a-knot does not
    EXPECT_EQ(build(f, natural, 1, {0.0, 1.0}, d), 0);
    EXPECT_NEAR(f.coeff[1], 1, 1e-6);
    Fit<T> g;
    EXPECT_EQ(build(g, natural, 0, {0.0, 1.0}, d), FIT_STATUS_BAD_NX);
  }
  Fit<T> f;
  ASSERT_EQ(build(f, natural, 1, fittest::partition(6, 0, 1, 1), d), 0);
  DfTask* t = f.task;
  EXPECT_EQ(Api<T>::natural(nullptr, 0, nullptr), FIT_STATUS_NULL_TASK);
  EXPECT_EQ(Api<T>::natural(t, 1, nullptr), FIT_STATUS_METHOD_NOT_SUPPORTED);
  t->yhint = 64;
  EXPECT_EQ(Api<T>::natural(t, 0, nullptr), FIT_STATUS_BAD_Y_HINT);
  t->yhint = 16;
  for (int64_t bad : {0, 3, 4, 8, 96, 128}) {
    t->bc_type = bad;
    EXPECT_EQ(Api<T>::natural(t, 0, nullptr), FIT_STATUS_BAD_BC_TYPE) << bad;
  }
  for (int64_t needs : {12, 36, 24, 48}) {
    t->bc_type = needs;
    t->bc = nullptr;
    EXPECT_EQ(Api<T>::natural(t, 0, nullptr), FIT_STATUS_BAD_BC) << needs;
  }
  // Periodic needs values with type 0 or 3 only.
  t->bc_type = 64;
  EXPECT_EQ(Api<T>::natural(t, 0, nullptr), FIT_STATUS_BAD_PERIODIC_VALUES);
  t->s_type = FIT_PP_DEFAULT;
  EXPECT_EQ(Api<T>::default_cubic(t, 0, nullptr), FIT_STATUS_BAD_BC);
  t->s_type = FIT_PP_HERMITE;
  EXPECT_EQ(Api<T>::hermite(t, 0, nullptr), FIT_STATUS_BAD_BC);
  t->bc_type = 2;
  EXPECT_EQ(Api<T>::hermite(t, 0, nullptr), FIT_STATUS_BAD_IC_TYPE);
  // An order that does not match the entry would misplace coefficients.
  EXPECT_EQ(Api<T>::linear(t, 0, nullptr), FIT_STATUS_BAD_SPLINE_ORDER);
  // Allocation failure: -1001, nothing leaks, coefficients partly written.
  const long live = nex_serv_live_allocations();
  for (auto entry : {Api<T>::natural, Api<T>::akima, Api<T>::bessel}) {
    nex_serv_set_allocation_failure(1);
    EXPECT_EQ(entry(t, 0, nullptr), FIT_STATUS_MEM_FAILURE);
    nex_serv_set_allocation_failure(0);
    EXPECT_EQ(nex_serv_live_allocations(), live);
  }
}

TYPED_TEST(FitConstruct, LinearAndQuadraticKinds) {
  using T = TypeParam;
  // Linear with nx 2 writes one cell.
  {
    Fit<T> f;
    ASSERT_EQ(f.make({T(1), T(3)}, 2, 1, [](int64_t i, int64_t) { return i ? 5.0 : 1.0; }), 0);
    ASSERT_EQ(f.spline(2, 0, 0), 0);
    ASSERT_EQ(Api<T>::linear(f.task, 0, nullptr), 0);
    EXPECT_EQ(f.coeff, (std::vector<T>{T(1), T(2)}));
  }
  // Quadratic default reproduces a quadratic with every one-sided condition.
  const std::vector<double> xs = fittest::partition(11, -1, 2, 6);
  auto q = [](double t, int der) {
    return der == 0 ? 0.5 - t + 2 * t * t : (der == 1 ? -1 + 4 * t : (der == 2 ? 4.0 : 0.0));
  };
  for (int64_t bc_type : {0, 1, 4, 16, 8, 32, 128})
    for (int64_t xhint : {1, 4}) {
      std::vector<double> xx = xs;
      if (xhint == 4)
        for (int64_t i = 0; i < 11; ++i) xx[i] = -1 + 3.0 * i / 10;
      const struct {
        int64_t bc_type;
        double value;
      } c = {bc_type, bc_type == 4    ? q(-1, 1)
                      : bc_type == 16 ? q(-1, 2)
                      : bc_type == 8  ? q(2, 1)
                      : bc_type == 32 ? q(2, 2)
                                      : q((xx[0] + xx[1]) / 2, 0)};
      Fit<T> f;
      const std::vector<T> x = xhint == 4 ? std::vector<T>{T(-1), T(2)} : fittest::cast<T>(xx);
      ASSERT_EQ(f.make(
                    x, 11, 1, [&](int64_t i, int64_t) { return q(xx[i], 0); }, xhint),
                0);
      std::vector<T> bc;
      if (c.bc_type > 2) bc = {T(c.value)};
      ASSERT_EQ(f.spline(3, 0, c.bc_type, bc), 0);
      ASSERT_EQ(Api<T>::quadratic(f.task, 0, nullptr), 0) << c.bc_type;
      for (int64_t i = 0; i < 10; ++i) {
        ASSERT_NEAR(f.coeff[3 * i], q(xx[i], 0), TestFixture::tol() * 100) << c.bc_type;
        ASSERT_NEAR(f.coeff[3 * i + 1], q(xx[i], 1), TestFixture::tol() * 100) << c.bc_type;
        ASSERT_NEAR(f.coeff[3 * i + 2], 2.0, TestFixture::tol() * 100) << c.bc_type;
      }
    }
  Fit<T> g;
  ASSERT_EQ(g.make(fittest::cast<T>(xs), 11, 1, [&](int64_t i, int64_t) { return xs[i]; }), 0);
  ASSERT_EQ(g.spline(3, 0, 64), 0);
  EXPECT_EQ(Api<T>::quadratic(g.task, 0, nullptr), FIT_STATUS_BAD_BC_TYPE);
  ASSERT_EQ(g.spline(3, 0, 12, {T(0), T(0)}), 0);
  EXPECT_EQ(Api<T>::quadratic(g.task, 0, nullptr), FIT_STATUS_BAD_BC_TYPE);
}

TYPED_TEST(FitConstruct, KnotsQuadraticInterpolatesAndIsC1) {
  using T = TypeParam;
  for (int64_t nx : {2, 3, 12}) {
    const std::vector<double> xs = fittest::partition(nx, 0, 3, nx);
    std::vector<T> knots;
    for (int64_t i = 1; i < nx; ++i) knots.push_back(T(xs[i - 1] + 0.4 * (xs[i] - xs[i - 1])));
    Fit<T> f;
    ASSERT_EQ(f.make(fittest::cast<T>(xs), nx, 1,
                     [&](int64_t i, int64_t) { return std::sin(2 * xs[i]); }),
              0);
    ASSERT_EQ(f.spline(3, FIT_PP_KNOTS_QUADRATIC, 0, {}, 0, {}), 0);
    EXPECT_EQ(Api<T>::quadratic(f.task, 0, nullptr), FIT_STATUS_BAD_IC_TYPE);
    ASSERT_EQ(f.spline(3, FIT_PP_KNOTS_QUADRATIC, 0, {}, FIT_IC_Q_KNOT, knots), 0);
    ASSERT_EQ(Api<T>::quadratic(f.task, 0, nullptr), 0);
    ASSERT_EQ(f.coeff.size(), size_t(3 * nx));  // nx cells
    const std::vector<T> v = f.eval(f.x);
    for (int64_t i = 0; i < nx; ++i)
      EXPECT_NEAR(v[i], std::sin(2 * xs[i]), TestFixture::tol() * 10);
    // C1 at every knot.
    auto kn = [&](int64_t j) {
      return j == 0 ? xs[0] : (j == nx ? xs[nx - 1] : double(knots[j - 1]));
    };
    for (int64_t j = 0; j + 1 < nx; ++j) {
      const T* c = f.coeff.data() + 3 * j;
      const double h = kn(j + 1) - kn(j);
      EXPECT_NEAR(c[0] + h * (c[1] + h * c[2]), f.coeff[3 * (j + 1)], TestFixture::tol() * 100);
      EXPECT_NEAR(c[1] + 2 * h * c[2], f.coeff[3 * (j + 1) + 1], TestFixture::tol() * 1000);
    }
    // Knots outside their cells are refused.
    std::swap(knots[0], knots.back());
    if (nx > 2) {
      ASSERT_EQ(f.spline(3, FIT_PP_KNOTS_QUADRATIC, 0, {}, FIT_IC_Q_KNOT, knots), 0);
      EXPECT_EQ(Api<T>::quadratic(f.task, 0, nullptr), FIT_STATUS_BAD_IC);
    }
  }
}

}  // namespace
