// The accuracy tester measured on operations whose accuracy is known: IEEE
// square root and division are correctly rounded; a result one step off is
// about one ulp away.
#include <gtest/gtest.h>

#include <cmath>

#include "nex_vtm.h"
#include "support/accuracy.hpp"
#include "support/status_probe.hpp"

namespace {

namespace acc = nex::accuracy;

template <class T>
void SqrtLoop(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = std::sqrt(a[i]);
}
template <class T>
void SqrtOneStepUp(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) r[i] = std::nextafter(std::sqrt(a[i]), std::numeric_limits<T>::infinity());
}
template <class T>
void DivLoop(int n, const T* a, const T* b, T* r) {
  for (int i = 0; i < n; ++i) r[i] = a[i] / b[i];
}
template <class T>
void FlushTinyDiv(int n, const T* a, const T* b, T* r) {
  for (int i = 0; i < n; ++i) {
    r[i] = a[i] / b[i];
    if (std::fabs(r[i]) < std::numeric_limits<T>::min()) r[i] = 0;
  }
}

template <class T>
class Tester : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Tester, Types);

TYPED_TEST(Tester, CorrectlyRoundedOperationsMeasureAtMostHalfAnUlp) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  const auto args = acc::Concat<T>({acc::SpecialValues<T>(),
                                    acc::LogUniform<T>(L::denorm_min(), L::max(), 20000, 1, 0)});
  const auto rep = acc::MeasureUnary<T>(SqrtLoop<T>, mpfr_sqrt, args);
  EXPECT_LE(rep.max_ulp, 0.5) << rep.Describe("sqrt");
  EXPECT_EQ(rep.not_correctly_rounded, 0u) << rep.Describe("sqrt");
  EXPECT_EQ(rep.special_mismatches, 0u) << rep.Describe("sqrt");

  const auto a = acc::LogUniform<T>(L::denorm_min(), L::max(), 20000, 2, 0);
  const auto b = acc::LogUniform<T>(L::denorm_min(), L::max(), 20000, 3, 0);
  const auto div = acc::MeasureBinary<T>(DivLoop<T>, mpfr_div, a, b);
  EXPECT_LE(div.max_ulp, 0.5) << div.Describe("div");
  EXPECT_EQ(div.not_correctly_rounded, 0u) << div.Describe("div");
  EXPECT_EQ(div.special_mismatches, 0u) << div.Describe("div");
}

TYPED_TEST(Tester, DetectsAnErrorOfOneStep) {
  using T = TypeParam;
  const auto args = acc::LogUniform<T>(T(1e-3), T(1e3), 5000, 4);
  const auto rep = acc::MeasureUnary<T>(SqrtOneStepUp<T>, mpfr_sqrt, args);
  EXPECT_GT(rep.max_ulp, 1.0);
  EXPECT_LE(rep.max_ulp, 1.5);
  EXPECT_EQ(rep.not_correctly_rounded, rep.count);
}

TYPED_TEST(Tester, SubnormalResultsAreMeasuredInTheLeastSubnormal) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  // Quotients that land in the subnormal range: flushing them to zero is an
  // error of many ulps there.
  std::vector<T> a(100), b(100, T(4));
  for (int i = 0; i < 100; ++i) a[i] = L::min() * T(1 + i % 3) / T(2);
  const auto good = acc::MeasureBinary<T>(DivLoop<T>, mpfr_div, a, b);
  EXPECT_LE(good.max_ulp, 0.5) << good.Describe("div");
  const auto bad = acc::MeasureBinary<T>(FlushTinyDiv<T>, mpfr_div, a, b);
  EXPECT_GT(bad.max_ulp, 1000.0) << bad.Describe("flush");
}

TEST(TesterSpecials, NanInfinityAndZeroSignMismatchesAreCounted) {
  auto wrong = [](int n, const double* a, double* r) {
    for (int i = 0; i < n; ++i) r[i] = std::isnan(a[i]) ? 1.0 : std::fabs(std::sqrt(std::fabs(a[i])));
  };
  const std::vector<double> args = {std::nan(""), -0.0, 4.0};
  const auto rep = acc::MeasureUnary<double>(+wrong, mpfr_sqrt, args);
  EXPECT_EQ(rep.special_mismatches, 2u) << rep.Describe("wrong");  // NaN and -0
  EXPECT_EQ(rep.max_ulp, 0.0);
}

// Statuses through the callback probe: dDiv reports 2 for a zero divisor
// (0/0 included) and nothing for inf/0.
int DivStatus(double a, double b, mpfr_srcptr) {
  return b == 0 && !std::isinf(a) && !std::isnan(a) ? VTM_STATUS_SINGULARITY : 0;
}
int WrongDivStatus(double, double, mpfr_srcptr) { return 0; }

TEST(TesterStatuses, ProbeSeesEachReportedElement) {
  const double inf = std::numeric_limits<double>::infinity();
  const std::vector<double> a = {1, 0, inf, 6, -3, 2};
  const std::vector<double> b = {0, 0, 0, 3, -0.0, 4};
  const uint32_t mode = _vtmGetMode();
  const auto rep = acc::MeasureBinary<double>(_vtmdDiv, mpfr_div, a, b, acc::CallbackProbe(), DivStatus);
  EXPECT_EQ(rep.status_mismatches, 0u) << rep.Describe("dDiv");
  EXPECT_EQ(rep.max_ulp, 0.0) << rep.Describe("dDiv");
  const auto wrong = acc::MeasureBinary<double>(_vtmdDiv, mpfr_div, a, b, acc::CallbackProbe(), WrongDivStatus);
  EXPECT_EQ(wrong.status_mismatches, 3u) << wrong.Describe("dDiv");
  EXPECT_EQ(_vtmGetMode(), mode);  // the probe restores the thread's mode
  EXPECT_EQ(_vtmGetErrorCallBack(), nullptr);
}

TEST(TesterArguments, LogUniformCoversTheRangeInMagnitude) {
  const auto v = acc::LogUniform<double>(1e-300, 1e300, 10000, 5, 0);
  int tiny = 0, huge = 0, negative = 0;
  for (double x : v) {
    EXPECT_TRUE(std::fabs(x) >= 1e-300 && std::fabs(x) <= 1e300);
    tiny += std::fabs(x) < 1e-200;
    huge += std::fabs(x) > 1e200;
    negative += x < 0;
  }
  // Each bucket holds about a sixth of the draws; the bounds are far from it.
  EXPECT_GT(tiny, 1000);
  EXPECT_GT(huge, 1000);
  EXPECT_GT(negative, 4000);
}

}  // namespace
