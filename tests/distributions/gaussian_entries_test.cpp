// The exported Gaussian entries on the library's own vector kernels: every
// method in both precisions draws from the normal law (moments of 2^17
// draws; the bounds are 6 standard errors, a false failure about once in
// 10^8 runs per check), and the lognormal keeps above its shift.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "nex_rng.h"
#include "nex_rng_dist.h"

namespace {

template <class T>
void CheckMoments(const std::vector<T>& v, double mean, double sigma) {
  double s = 0, s2 = 0;
  for (T x : v) {
    ASSERT_TRUE(std::isfinite(x));
    s += x;
  }
  const double m = s / v.size();
  for (T x : v) s2 += (x - m) * (x - m);
  const double var = s2 / (v.size() - 1);
  const double n = static_cast<double>(v.size());
  EXPECT_NEAR(m, mean, 6 * sigma / std::sqrt(n));
  // Standard error of the sample variance of a normal law: sigma^2 sqrt(2/(n-1)).
  EXPECT_NEAR(var, sigma * sigma, 6 * sigma * sigma * std::sqrt(2 / (n - 1)));
}

class GaussianEntries : public ::testing::TestWithParam<int> {};

TEST_P(GaussianEntries, BothPrecisionsDrawTheNormalLaw) {
  const int method = GetParam();
  const uint32_t seed = 7 + method;
  VrsStream* stream = nullptr;
  ASSERT_EQ(__vrsNewStreamEx(&stream, VRS_BRNG_MRG32K3A, 1, &seed), 0);
  std::vector<double> d(1 << 17);
  ASSERT_EQ(_vrsdRngGaussian(method, stream, static_cast<int32_t>(d.size()), d.data(), 3.0, 2.0), 0);
  CheckMoments(d, 3.0, 2.0);
  std::vector<float> s(1 << 17);
  ASSERT_EQ(_vrssRngGaussian(method, stream, static_cast<int32_t>(s.size()), s.data(), -1.0f, 0.5f), 0);
  CheckMoments(s, -1.0, 0.5);
  std::vector<double> l(4096);
  ASSERT_EQ(_vrsdRngLognormal(method, stream, 4096, l.data(), 0.0, 1.0, 2.0, 1.0), 0);
  for (double x : l) EXPECT_GE(x, 2.0);
  __vrsDeleteStream(&stream);
}

INSTANTIATE_TEST_SUITE_P(Methods, GaussianEntries,
                         ::testing::Values(VRS_METHOD_GAUSSIAN_BOXMULLER,
                                           VRS_METHOD_GAUSSIAN_BOXMULLER2,
                                           VRS_METHOD_GAUSSIAN_ICDF));

}  // namespace
