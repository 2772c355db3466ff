// The scalar services against MPFR: logarithms within one ulp, the root
// correctly rounded, over log-uniform samples of the whole positive range and
// the special values.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "nex_rng_dist.h"
#include "support/accuracy.hpp"

namespace {

namespace acc = nex::accuracy;

void LnD(int n, const double* a, double* r) {
  for (int i = 0; i < n; ++i) r[i] = __vrsdLn(a[i]);
}
void LnS(int n, const float* a, float* r) {
  for (int i = 0; i < n; ++i) r[i] = __vrssLn(a[i]);
}
void SqrtD(int n, const double* a, double* r) {
  for (int i = 0; i < n; ++i) r[i] = __vrsdSqrt(a[i]);
}

template <class T>
std::vector<T> Arguments(uint32_t seed) {
  using L = std::numeric_limits<T>;
  return acc::Concat<T>({acc::SpecialValues<T>(),
                         acc::LogUniform<T>(L::denorm_min(), L::max(), 200000, seed),
                         acc::Uniform<T>(T(0.5), T(2), 50000, seed + 1)});
}

TEST(DistScalarServices, LogarithmsAreWithinOneUlp) {
  const auto d = acc::MeasureUnary<double>(LnD, mpfr_log, Arguments<double>(11));
  EXPECT_LT(d.max_ulp, 1.0) << d.Describe("__vrsdLn");
  EXPECT_EQ(d.special_mismatches, 0u) << d.Describe("__vrsdLn");
  const auto s = acc::MeasureUnary<float>(LnS, mpfr_log, Arguments<float>(12));
  EXPECT_LT(s.max_ulp, 1.0) << s.Describe("__vrssLn");
  EXPECT_EQ(s.special_mismatches, 0u) << s.Describe("__vrssLn");
}

TEST(DistScalarServices, SquareRootIsCorrectlyRounded) {
  const auto d = acc::MeasureUnary<double>(SqrtD, mpfr_sqrt, Arguments<double>(13));
  EXPECT_LE(d.max_ulp, 0.5) << d.Describe("__vrsdSqrt");
  EXPECT_EQ(d.not_correctly_rounded, 0u) << d.Describe("__vrsdSqrt");
  EXPECT_EQ(d.special_mismatches, 0u) << d.Describe("__vrsdSqrt");
}

}  // namespace
