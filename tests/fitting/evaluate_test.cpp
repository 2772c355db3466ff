// Interpolation and integration: derivatives and integrals of reproduced
// polynomials, result layouts, given cells, call-backs, and GSL's splines as
// an independent oracle for the natural, periodic and Akima kinds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "fitting/fit_helpers.hpp"
#include "fitting/gsl_loader.hpp"

namespace {

using fittest::Api;
using fittest::Fit;

double cubic(double t, int der) {  // 2 + t - 0.5 t^2 + 0.25 t^3
  switch (der) {
    case 0:
      return 2 + t - 0.5 * t * t + 0.25 * t * t * t;
    case 1:
      return 1 - t + 0.75 * t * t;
    case 2:
      return -1 + 1.5 * t;
    case 3:
      return 1.5;
    default:
      return 0;
  }
}
double cubic_integral(double a, double b) {
  auto F = [](double t) { return 2 * t + t * t / 2 - t * t * t / 6 + t * t * t * t / 16; };
  return F(b) - F(a);
}

template <class T>
class FitEvaluate : public ::testing::Test {
 protected:
  static double tol() { return sizeof(T) == 8 ? 1e-11 : 5e-4; }
  // Natural spline with exact first derivatives at both ends: reproduces
  // the cubic everywhere, outside the partition too.
  void make_cubic(Fit<T>& f, int64_t nx, int64_t xhint, int64_t ny = 1) {
    std::vector<double> xs = fittest::partition(nx, -1, 3, 17);
    if (xhint == FIT_UNIFORM_PARTITION)
      for (int64_t i = 0; i < nx; ++i) xs[i] = -1 + 4.0 * i / (nx - 1);
    const std::vector<T> x =
        xhint == FIT_UNIFORM_PARTITION ? std::vector<T>{T(-1), T(3)} : fittest::cast<T>(xs);
    ASSERT_EQ(
        f.make(
            x, nx, ny, [&](int64_t i, int64_t k) { return (k + 1) * cubic(xs[i], 0); }, xhint),
        0);
    ASSERT_EQ(f.spline(4, FIT_PP_NATURAL, 12, {T(cubic(-1, 1)), T(cubic(3, 1))}), 0);
    // Both functions share the boundary values: only function 0 is checked
    // for derivatives beyond the data.
    ASSERT_EQ(Api<T>::natural(f.task, 0, nullptr), 0);
  }
};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(FitEvaluate, Types);

TYPED_TEST(FitEvaluate, DerivativesOfAReproducedCubic) {
  using T = TypeParam;
  for (int64_t xhint : {1, 2, 4}) {
    Fit<T> f;
    this->make_cubic(f, 40, xhint);
    std::vector<T> sites = fittest::cast<T>(fittest::uniform(300, -1.5, 3.5, 5));
    sites.push_back(T(3));  // the right end: the last cell at its full length
    sites.push_back(T(-1));
    int st = -1;
    const std::vector<T> r = f.eval(sites, {1, 1, 1, 1, 1, 1}, &st);  // orders 0..5
    ASSERT_EQ(st, 0);
    for (size_t j = 0; j < sites.size(); ++j)
      for (int d = 0; d < 6; ++d)
        ASSERT_NEAR(r[j * 6 + d], cubic(sites[j], d),
                    this->tol() * 40 * (1 + std::fabs(cubic(sites[j], d))))
            << "xhint " << xhint << " site " << sites[j] << " order " << d;
    // Only odd orders asked for: two results per site, in ascending order.
    const std::vector<T> odd = f.eval(sites, {0, 1, 0, 1}, &st);
    ASSERT_EQ(st, 0);
    for (size_t j = 0; j < sites.size(); ++j) {
      EXPECT_EQ(odd[2 * j], r[6 * j + 1]);
      EXPECT_EQ(odd[2 * j + 1], r[6 * j + 3]);
    }
  }
}

TYPED_TEST(FitEvaluate, ResultLayoutsAndManyFunctions) {
  using T = TypeParam;
  Fit<T> f;
  this->make_cubic(f, 12, 1, 2);
  const std::vector<T> sites = {T(-0.5), T(0.25), T(2.75)};
  const int64_t dorder[2] = {1, 1};
  std::vector<T> a(12), b(12);
  ASSERT_EQ(Api<T>::interpolate(f.task, 3, sites.data(), 0, nullptr, 2, dorder, a.data(),
                                FIT_RESULT_FUNCS_SITES_DERS, nullptr, 0, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr),
            0);
  ASSERT_EQ(Api<T>::interpolate(f.task, 3, sites.data(), 0, nullptr, 2, dorder, b.data(),
                                FIT_RESULT_SITES_FUNCS_DERS, nullptr, 0, nullptr, nullptr, nullptr,
                                nullptr, nullptr, nullptr),
            0);
  for (int fn = 0; fn < 2; ++fn)
    for (int j = 0; j < 3; ++j)
      for (int d = 0; d < 2; ++d) {
        EXPECT_EQ(a[(fn * 3 + j) * 2 + d], b[(j * 2 + fn) * 2 + d]);
        if (d == 0 && fn == 0) {
          EXPECT_NEAR(a[j * 2], cubic(sites[j], 0), 1e-3);
        }
      }
  EXPECT_EQ(Api<T>::interpolate(f.task, 3, sites.data(), 0, nullptr, 2, dorder, b.data(), 7,
                                nullptr, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            FIT_STATUS_BAD_R_HINT);
}

TYPED_TEST(FitEvaluate, SplineCodesAndSearchOnly) {
  using T = TypeParam;
  Fit<T> f;
  this->make_cubic(f, 8, 1);
  T r[1];
  const T site = T(0.5);
  int32_t cell = -1;
  f.task->s_type = FIT_PP_KNOTS_QUADRATIC;  // order 4 with type 1
  EXPECT_EQ(Api<T>::interpolate(f.task, 1, &site, 0, nullptr, 0, nullptr, r, 0, nullptr, 0, nullptr,
                                nullptr, nullptr, nullptr, nullptr, nullptr),
            FIT_STATUS_BAD_SPLINE_TYPE);
  f.task->s_type = 6;
  EXPECT_EQ(Api<T>::integrate(f.task, 1, &site, 0, &site, 0, nullptr, nullptr, r, 0, nullptr,
                              nullptr, nullptr, nullptr, nullptr, nullptr),
            FIT_STATUS_BAD_SPLINE_TYPE);
  // Order 0: search only, no result array needed.
  f.task->s_order = 0;
  ASSERT_EQ(Api<T>::interpolate(f.task, 1, &site, 0, nullptr, 0, nullptr, nullptr, 0, &cell, 0,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            0);
  EXPECT_EQ(cell, 1 + std::count_if(f.x.begin() + 1, f.x.end(), [&](T v) { return v <= site; }));
  const double bad_hint[5] = {0, 2, 0, 0, 0};
  EXPECT_EQ(Api<T>::interpolate(f.task, 1, &site, 0, bad_hint, 0, nullptr, nullptr, 0, &cell, 0,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            FIT_STATUS_BAD_DATA_HINT);
}

TYPED_TEST(FitEvaluate, GivenCellsAreChecked) {
  using T = TypeParam;
  Fit<T> f;
  this->make_cubic(f, 10, 1);
  const std::vector<T> sites = {f.x[0] - T(1), f.x[3], f.x[9], f.x[9] + T(1)};
  std::vector<int32_t> cells(4);
  std::vector<T> r(4), direct(4);
  ASSERT_EQ(Api<T>::interpolate(f.task, 4, sites.data(), 0, nullptr, 0, nullptr, direct.data(), 0,
                                cells.data(), FIT_SEARCH_CELLS, nullptr, nullptr, nullptr, nullptr,
                                nullptr, nullptr),
            0);
  EXPECT_EQ(cells, (std::vector<int32_t>{0, 4, 9, 10}));
  auto run = [&](std::vector<int32_t> c) {
    return Api<T>::interpolate(f.task, 4, sites.data(), 0, nullptr, 0, nullptr, r.data(), 0,
                               c.data(), FIT_CELLS_GIVEN, nullptr, nullptr, nullptr, nullptr,
                               nullptr, nullptr);
  };
  ASSERT_EQ(run(cells), 0);
  EXPECT_EQ(r, direct);
  // A breakpoint belongs to the cells on both of its sides.
  EXPECT_EQ(run({0, 3, 9, 10}), 0);
  EXPECT_NEAR(r[1], direct[1], this->tol() * 10);
  EXPECT_EQ(run({0, 4, 9, 11}), FIT_STATUS_BAD_CELL_IDX);
  EXPECT_EQ(run({-1, 4, 9, 10}), FIT_STATUS_BAD_CELL_IDX);
  EXPECT_EQ(run({1, 4, 9, 10}), FIT_STATUS_BAD_SITE_CELL);
  EXPECT_EQ(run({0, 6, 9, 10}), FIT_STATUS_BAD_SITE_CELL);
}

template <class T>
int left_values(int64_t n, const T* site, int64_t nd, const int32_t* der, int64_t ny, T* r,
                void* params) {
  ++*static_cast<int*>(params);
  for (int64_t j = 0; j < n; ++j)
    for (int64_t f = 0; f < ny; ++f)
      for (int64_t d = 0; d < nd; ++d) r[(j * ny + f) * nd + d] = T(1000 + der[d]) + site[j];
  return 0;
}
template <class T>
int refuse(int64_t, const T*, int64_t, const int32_t*, int64_t, T*, void*) {
  return -5;
}

TYPED_TEST(FitEvaluate, ExtrapolationCallBacks) {
  using T = TypeParam;
  Fit<T> f;
  this->make_cubic(f, 10, 1);
  const std::vector<T> sites = {T(-3), T(0), T(3), T(5)};
  const int64_t dorder[2] = {1, 1};
  std::vector<T> r(8);
  int calls = 0;
  ASSERT_EQ(
      Api<T>::interpolate(f.task, 4, sites.data(), 0, nullptr, 2, dorder, r.data(), 0, nullptr, 0,
                          left_values<T>, &calls, nullptr, nullptr, nullptr, nullptr),
      0);
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(r[0], T(997));
  EXPECT_EQ(r[1], T(998));
  // Right of the partition with no right call-back: the last polynomial.
  EXPECT_NEAR(r[6], cubic(5, 0), this->tol() * 1000);
  EXPECT_EQ(Api<T>::interpolate(f.task, 4, sites.data(), 0, nullptr, 2, dorder, r.data(), 0,
                                nullptr, 0, nullptr, nullptr, refuse<T>, nullptr, nullptr, nullptr),
            -5);
  // A site left of x[0] without call-back: the first polynomial's value.
  const T left = T(-1.25);
  T v;
  ASSERT_EQ(Api<T>::interpolate(f.task, 1, &left, 0, nullptr, 0, nullptr, &v, 0, nullptr, 0,
                                nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
            0);
  EXPECT_NEAR(v, cubic(-1.25, 0), this->tol() * 100);
}

// One function at sorted sites takes a fused search-and-evaluate loop; a
// second function sends the same sites through the block search and the
// general evaluation. Function 0 must come out bit for bit the same, cells
// included: sites outside, on every breakpoint, repeated, one per cell,
// sparse jumps, one out of order, across several blocks.
TYPED_TEST(FitEvaluate, SortedSitesGiveTheGeneralResultsBitForBit) {
  using T = TypeParam;
  const int64_t nx = 400;
  Fit<T> one, two;
  this->make_cubic(one, nx, FIT_NON_UNIFORM_PARTITION, 1);
  this->make_cubic(two, nx, FIT_NON_UNIFORM_PARTITION, 2);
  const std::vector<T>& x = one.x;
  std::vector<T> s = {x[0] - T(2), x[0] - T(1), x[0]};
  for (int64_t i = 0; i < nx; ++i) s.insert(s.end(), {x[i], x[i]});
  for (int64_t i = 0; i + 1 < nx; ++i) s.push_back(T(0.5) * (x[i] + x[i + 1]));
  for (int64_t i = 0, jump = 1; i + 1 < nx; i += jump, jump = jump % 37 + 3)
    s.push_back(T(0.25) * (x[i] + T(3) * x[i + 1]));
  for (int64_t i = 0; i < 5; ++i) s.push_back(x[nx - 1] + T(i));
  std::sort(s.begin(), s.end());
  s.insert(s.begin() + 700, x[3]);  // out of order: keeps the current cell
  const int64_t n = s.size();
  std::vector<T> r1(n, T(-9)), r2(2 * n, T(-9));
  std::vector<int32_t> c1(n, -5), c2(n, -5);
  ASSERT_EQ(Api<T>::interpolate(one.task, n, s.data(), FIT_SORTED_DATA, nullptr, 0, nullptr,
                                r1.data(), 0, c1.data(), FIT_SEARCH_CELLS, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr),
            0);
  ASSERT_EQ(Api<T>::interpolate(two.task, n, s.data(), FIT_SORTED_DATA, nullptr, 0, nullptr,
                                r2.data(), 0, c2.data(), FIT_SEARCH_CELLS, nullptr, nullptr,
                                nullptr, nullptr, nullptr, nullptr),
            0);
  for (int64_t j = 0; j < n; ++j) {
    ASSERT_EQ(c1[j], c2[j]) << j;
    ASSERT_EQ(r1[j], r2[j]) << j;
  }
}

TYPED_TEST(FitEvaluate, IntegralsAreExactAndAntisymmetric) {
  using T = TypeParam;
  for (int64_t xhint : {1, 4})
    for (int64_t nx : {2, 5, 300}) {
      Fit<T> f;
      this->make_cubic(f, nx, xhint);
      // Single precision extends the end cubics outside with the error of
      // c3 ~ eps |y| / h^3 amplified by the distance: limits stay inside.
      const double lo = sizeof(T) == 8 ? -2 : -1, hi = sizeof(T) == 8 ? 4 : 3;
      const std::vector<T> a = fittest::cast<T>(fittest::uniform(700, lo, hi, 1));
      const std::vector<T> b = fittest::cast<T>(fittest::uniform(700, lo, hi, 2));
      int st = -1;
      const std::vector<T> r = f.integral(a, b, &st);
      ASSERT_EQ(st, 0);
      const std::vector<T> back = f.integral(b, a, &st);
      ASSERT_EQ(st, 0);
      const std::vector<T> same = f.integral(a, a, &st);
      for (size_t j = 0; j < a.size(); ++j) {
        ASSERT_NEAR(r[j], cubic_integral(a[j], b[j]), this->tol() * 200) << nx << " " << j;
        ASSERT_EQ(back[j], -r[j]);  // exactly
        ASSERT_EQ(same[j], T(0));
      }
    }
}

TYPED_TEST(FitEvaluate, IntegrationStatusesAndCallBacks) {
  using T = TypeParam;
  Fit<T> f;
  this->make_cubic(f, 10, 1);
  T r[2];
  const T a[2] = {T(-3), T(0)}, b[2] = {T(0.5), T(-2)};
  EXPECT_EQ(Api<T>::integrate(f.task, 2, nullptr, 0, b, 0, nullptr, nullptr, r, 0, nullptr, nullptr,
                              nullptr, nullptr, nullptr, nullptr),
            FIT_STATUS_BAD_INTEGR_LIMITS);
  EXPECT_EQ(Api<T>::integrate(f.task, 2, a, 0, b, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr,
                              nullptr, nullptr, nullptr, nullptr),
            FIT_STATUS_NULL_RESULT_POINTER);
  // The left call-back integrates the part below x[0] = -1 as the constant 1.
  auto unit = [](int64_t n, const T* lo, const T* hi, int64_t ny, T* out, void*) -> int {
    for (int64_t j = 0; j < n; ++j)
      for (int64_t k = 0; k < ny; ++k) out[j * ny + k] = hi[j] - lo[j];
    return 0;
  };
  ASSERT_EQ(Api<T>::integrate(f.task, 2, a, 0, b, 0, nullptr, nullptr, r, 0, unit, nullptr, nullptr,
                              nullptr, nullptr, nullptr),
            0);
  EXPECT_NEAR(r[0], 2 + cubic_integral(-1, 0.5), this->tol() * 100);
  EXPECT_NEAR(r[1], -(1 + cubic_integral(-1, 0)), this->tol() * 100);
  auto fail = [](int64_t, const T*, const T*, int64_t, T*, void*) -> int { return -9; };
  EXPECT_EQ(Api<T>::integrate(f.task, 2, a, 0, b, 0, nullptr, nullptr, r, 0, nullptr, nullptr, fail,
                              nullptr, nullptr, nullptr),
            0);  // nothing lies right of the partition: not called
  EXPECT_EQ(Api<T>::integrate(f.task, 2, a, 0, b, 0, nullptr, nullptr, r, 0, fail, nullptr, nullptr,
                              nullptr, nullptr, nullptr),
            -9);
}

TYPED_TEST(FitEvaluate, LinearAndQuadraticIntegralsAndKnots) {
  using T = TypeParam;
  const std::vector<double> xs = fittest::partition(9, 0, 2, 3);
  // Linear: integral of the broken line equals the trapezoid sums.
  Fit<T> f;
  ASSERT_EQ(f.make(fittest::cast<T>(xs), 9, 1, [&](int64_t i, int64_t) { return xs[i] * xs[i]; }),
            0);
  ASSERT_EQ(f.spline(2, 0, 0), 0);
  ASSERT_EQ(Api<T>::linear(f.task, 0, nullptr), 0);
  double trapezoid = 0;
  for (int i = 0; i < 8; ++i)
    trapezoid += (xs[i + 1] - xs[i]) * (xs[i] * xs[i] + xs[i + 1] * xs[i + 1]) / 2;
  std::vector<T> r = f.integral({T(0)}, {T(2)});
  EXPECT_NEAR(r[0], trapezoid, this->tol() * 100);
  // Quadratic reproduces t^2: exact integral.
  ASSERT_EQ(f.spline(3, 0, 4, {T(0)}), 0);
  ASSERT_EQ(Api<T>::quadratic(f.task, 0, nullptr), 0);
  r = f.integral({T(0.3), T(-1)}, {T(1.7), T(2.5)});
  EXPECT_NEAR(r[0], (1.7 * 1.7 * 1.7 - 0.3 * 0.3 * 0.3) / 3, this->tol() * 100);
  EXPECT_NEAR(r[1], (2.5 * 2.5 * 2.5 + 1) / 3, this->tol() * 100);
  // Knots kind on a linear function: exact values and integrals.
  Fit<T> g;
  ASSERT_EQ(g.make(fittest::cast<T>(xs), 9, 1, [&](int64_t i, int64_t) { return 3 * xs[i] - 1; }),
            0);
  std::vector<T> knots;
  for (int i = 1; i < 9; ++i) knots.push_back(T((xs[i - 1] + xs[i]) / 2));
  ASSERT_EQ(g.spline(3, 1, 0, {}, FIT_IC_Q_KNOT, knots), 0);
  ASSERT_EQ(Api<T>::quadratic(g.task, 0, nullptr), 0);
  const std::vector<T> sites = {T(-0.5), T(0.1), T(1.0), T(1.99), T(2), T(2.5)};
  const std::vector<T> v = g.eval(sites, {1, 1});
  for (size_t j = 0; j < sites.size(); ++j) {
    EXPECT_NEAR(v[2 * j], 3 * sites[j] - 1, this->tol() * 100) << sites[j];
    EXPECT_NEAR(v[2 * j + 1], 3, this->tol() * 1000) << sites[j];
  }
  r = g.integral({T(0.1)}, {T(1.9)});
  EXPECT_NEAR(r[0], 1.5 * (1.9 * 1.9 - 0.1 * 0.1) - 1.8, this->tol() * 100);
}

// ---- GSL as oracle ----------------------------------------------------------

struct GslSpline {
  gsl_spline* s = nullptr;
  gsl_interp_accel* acc = nullptr;
  GslSpline(const gsl_interp_type* type, const std::vector<double>& x,
            const std::vector<double>& y) {
    const auto& g = fittest::Gsl::get();
    s = g.spline_alloc(type, x.size());
    g.spline_init(s, x.data(), y.data(), x.size());
    acc = g.accel_alloc();
  }
  ~GslSpline() {
    fittest::Gsl::get().spline_free(s);
    fittest::Gsl::get().accel_free(acc);
  }
  double operator()(double t) const { return fittest::Gsl::get().spline_eval(s, t, acc); }
  double integral(double a, double b) const {
    return fittest::Gsl::get().spline_eval_integ(s, a, b, acc);
  }
};

TEST(FitOracle, NaturalPeriodicAndAkimaAgreeWithGsl) {
  const auto& g = fittest::Gsl::get();
  if (!g.ok()) GTEST_SKIP() << "GSL not available";
  const int64_t nx = 50;
  const std::vector<double> x = fittest::partition(nx, 0, 2 * M_PI, 23);
  std::vector<double> y(nx), yp(nx);
  const std::vector<double> noise = fittest::uniform(nx, -0.3, 0.3, 4);
  for (int64_t i = 0; i < nx; ++i) {
    y[i] = std::sin(x[i]) + noise[i];
    yp[i] = std::cos(x[i]) + noise[i];
  }
  yp[nx - 1] = yp[0];
  std::vector<double> sites = fittest::uniform(500, 0, 2 * M_PI, 6);
  struct Case {
    const gsl_interp_type* type;
    int (*entry)(DfTask*, int64_t, void*);
    int64_t s_type, bc_type;
    bool periodic;
    bool inner_only;
  };
  const std::vector<Case> cases = {
      {g.cspline, nex_df_kernel_dDFNaturalCubicSpline1D, FIT_PP_NATURAL, 2, false, false},
      {g.cspline, nex_df_kernel_dDFDefaultCubicSpline1D, FIT_PP_DEFAULT, 48, false, false},
      {g.cspline_periodic, nex_df_kernel_dDFNaturalCubicSpline1D, FIT_PP_NATURAL, 64, true, false},
      {g.akima, nex_df_kernel_dDFAkimaCubicSpline1D, FIT_PP_AKIMA, 2, false, true}};
  for (const Case& c : cases) {
    const std::vector<double>& data = c.periodic ? yp : y;
    GslSpline ref(c.type, x, data);
    Fit<double> f;
    ASSERT_EQ(f.make(x, nx, 1, [&](int64_t i, int64_t) { return data[i]; }), 0);
    ASSERT_EQ(f.spline(4, c.s_type, c.bc_type,
                       c.bc_type == 48 ? std::vector<double>{0, 0} : std::vector<double>{}),
              0);
    ASSERT_EQ(c.entry(f.task, 0, nullptr), 0);
    const std::vector<double> v = f.eval(sites);
    for (size_t j = 0; j < sites.size(); ++j) {
      // Akima's end derivatives follow the boundary class here; cells whose
      // two ends use Akima's inner rule match exactly.
      if (c.inner_only && (sites[j] < x[1] || sites[j] >= x[nx - 2])) continue;
      ASSERT_NEAR(v[j], ref(sites[j]), 1e-12) << c.bc_type << " " << sites[j];
    }
    const std::vector<double> lo(sites.begin(), sites.begin() + 250),
        hi(sites.begin() + 250, sites.end());
    const std::vector<double> r = f.integral(lo, hi);
    if (!c.inner_only) {
      for (size_t j = 0; j < lo.size(); ++j)
        ASSERT_NEAR(r[j], lo[j] < hi[j] ? ref.integral(lo[j], hi[j]) : -ref.integral(hi[j], lo[j]),
                    1e-11);
    }
  }
}

TEST(FitOracle, ManyPairsUseRunningSumsWithTheSameResults) {
  // Enough pairs over a long partition switch to the running sums; results
  // agree with the pairwise walk (a call with few pairs) to rounding.
  Fit<double> f;
  const int64_t nx = 2000;
  const std::vector<double> x = fittest::partition(nx, 0, 100, 8);
  ASSERT_EQ(f.make(x, nx, 1, [&](int64_t i, int64_t) { return std::sin(x[i] / 7); }), 0);
  ASSERT_EQ(f.spline(4, FIT_PP_AKIMA, 2), 0);
  ASSERT_EQ(nex_df_kernel_dDFAkimaCubicSpline1D(f.task, 0, nullptr), 0);
  const std::vector<double> a = fittest::uniform(3000, -5, 105, 1);
  const std::vector<double> b = fittest::uniform(3000, -5, 105, 2);
  const std::vector<double> all = f.integral(a, b);
  const std::vector<double> back = f.integral(b, a);
  for (size_t j = 0; j < a.size(); j += 97) {
    const std::vector<double> one = f.integral({a[j]}, {b[j]});
    ASSERT_NEAR(all[j], one[0], 1e-11) << j;
    ASSERT_EQ(back[j], -all[j]);
  }
}

}  // namespace
