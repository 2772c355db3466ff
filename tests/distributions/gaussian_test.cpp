// The Gaussian family's bodies on stand-in kernels: draw counts and blocks,
// Box-Muller2's pair carried between calls, the hook's finite caps, failures,
// the multivariate storages and the lognormal bound; then distribution checks
// against the exact normal and lognormal laws.
#include <gtest/gtest.h>
#include <gsl/gsl_cdf.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "distributions/gaussian_kernels.hpp"
#include "distributions/test_generator.hpp"

namespace {

using dist_test::script;
using dist_test::TestStream;
using nex::dist::GaussianConstants;
using nex::dist::HookValues;
using nex::dist::PendingPair;

template <class T>
int32_t Gauss(int32_t method, VrsStream* s, int32_t n, T* r, T a, T sigma) {
  return nex::dist::Gaussian(dist_test::Kernels<T>(), method, s, n, r, a, sigma);
}
template <class T>
int32_t GaussMV(int32_t method, VrsStream* s, int32_t n, T* r, int32_t dimen, int32_t storage,
                const T* a, const T* t) {
  return nex::dist::GaussianMV(dist_test::Kernels<T>(), method, s, n, r, dimen, storage, a, t);
}
template <class T>
int32_t LogNormal(int32_t method, VrsStream* s, int32_t n, T* r, T a, T sigma, T b, T beta) {
  return nex::dist::Lognormal(dist_test::Kernels<T>(), method, s, n, r, a, sigma, b, beta);
}

// The k-th uniform of the test generator on [0, 1), as it hands it out.
template <class T>
T UniformK(uint64_t k) {
  return static_cast<T>(T(0) +
                        (T(1) - T(0)) * static_cast<T>(dist_test::counter_word(k) * 0x1p-32));
}

// R = sqrt(-2 ln u1) with the hook's cap at u1 = 0.
template <class T>
T Root(T u1) {
  T y = u1 == T(0) ? static_cast<T>(HookValues<T>::kLnTiny) : std::log(u1);
  y = -(y + y);
  return std::sqrt(y);
}
template <class T>
T Angle(T u2) {
  return u2 * GaussianConstants<T>::kTwoPi;
}

template <class T>
PendingPair<T> Pair(VrsStream* s) {
  auto* p = static_cast<PendingPair<T>*>(__vrsSearchChunk(s, GaussianConstants<T>::kPairChunk));
  return p == nullptr ? PendingPair<T>{T(-7), T(-7)} : *p;
}

template <class T>
class DistGaussian : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(DistGaussian, Types);

TYPED_TEST(DistGaussian, BoxMullerIsTheFormulaOnTwoUniformsPerResultInBlocksOf1024) {
  using T = TypeParam;
  TestStream s(5);
  std::vector<T> r(1025);
  const T a = T(1.5), sigma = T(2);
  EXPECT_EQ(Gauss<T>(0, s.get(), 0, r.data(), a, sigma), 0);
  EXPECT_EQ(Gauss<T>(0, s.get(), -4, r.data(), a, sigma), 0);
  EXPECT_TRUE(script().calls.empty());
  ASSERT_EQ(Gauss<T>(0, s.get(), 1025, r.data(), a, sigma), 0);
  EXPECT_EQ(script().calls, (std::vector<int32_t>{2048, 2}));
  for (int i = 0; i < 1025; ++i) {
    const T u1 = UniformK<T>(5 + 2 * i), u2 = UniformK<T>(5 + 2 * i + 1);
    ASSERT_EQ(r[i], (Root(u1) * sigma) * std::sin(Angle(u2)) + a) << i;
  }
}

// Box-Muller2 raw numbers (a = 0, sigma = 1) for a total split over calls.
template <class T>
std::vector<T> SplitRun(const std::vector<int32_t>& split) {
  TestStream s(11);
  std::vector<T> all;
  for (int32_t n : split) {
    std::vector<T> r(n);
    EXPECT_EQ(Gauss<T>(1, s.get(), n, r.data(), T(0), T(1)), 0);
    all.insert(all.end(), r.begin(), r.end());
  }
  return all;
}

TYPED_TEST(DistGaussian, BoxMuller2GivesTheSameNumbersHoweverTheTotalIsSplit) {
  using T = TypeParam;
  EXPECT_EQ(SplitRun<T>({3, 3}), SplitRun<T>({6}));
  EXPECT_EQ(SplitRun<T>({1, 1, 1, 1, 1, 1}), SplitRun<T>({6}));
  EXPECT_EQ(SplitRun<T>({1, 5}), SplitRun<T>({6}));
  EXPECT_EQ(SplitRun<T>({2049, 1, 1, 1049}), SplitRun<T>({3100}));
  // Pairs in order: R sin, then R cos of the same pair.
  const std::vector<T> six = SplitRun<T>({6});
  for (int i = 0; i < 3; ++i) {
    const T u1 = UniformK<T>(11 + 2 * i), u2 = UniformK<T>(12 + 2 * i);
    EXPECT_EQ(six[2 * i], Root(u1) * std::sin(Angle(u2)));
    EXPECT_EQ(six[2 * i + 1], Root(u1) * std::cos(Angle(u2)));
  }
}

TYPED_TEST(DistGaussian, BoxMuller2OneThenOneFinishesThePendingPairWithoutDrawing) {
  using T = TypeParam;
  TestStream s(0);
  T r0 = 0, r1 = 0;
  ASSERT_EQ(Gauss<T>(1, s.get(), 1, &r0, T(1), T(10)), 0);
  EXPECT_EQ(script().calls, (std::vector<int32_t>{2}));
  const T u1 = UniformK<T>(0), u2 = UniformK<T>(1);
  EXPECT_EQ(Pair<T>(s.get()).u1, u1);
  EXPECT_EQ(Pair<T>(s.get()).u2, u2);
  EXPECT_EQ(r0, Root(u1) * std::sin(Angle(u2)) * T(10) + T(1));
  ASSERT_EQ(Gauss<T>(1, s.get(), 1, &r1, T(0), T(1)), 0);
  EXPECT_EQ(script().calls.size(), 1u);
  EXPECT_EQ(r1, Root(u1) * std::cos(Angle(u2)));
  EXPECT_EQ(Pair<T>(s.get()).u1, T(-1));
  EXPECT_EQ(Pair<T>(s.get()).u2, T(-1));
}

TYPED_TEST(DistGaussian, BoxMuller2DrawsFullBlocksThenPairsThenOneSparePair) {
  using T = TypeParam;
  for (auto [n, calls] : {std::pair<int32_t, std::vector<int32_t>>{2049, {1024, 1024, 2}},
                          {5, {4, 2}},
                          {1024, {1024}},
                          {2, {2}}}) {
    TestStream s;
    std::vector<T> r(n);
    ASSERT_EQ(Gauss<T>(1, s.get(), n, r.data(), T(0), T(1)), 0);
    EXPECT_EQ(script().calls, calls) << n;
    EXPECT_EQ(Pair<T>(s.get()).u1 != T(-1), (n & 1) == 1) << n;
  }
}

TYPED_TEST(DistGaussian, BoxMuller2FailureKeepsRawEarlierResultsAndTheUsedPair) {
  using T = TypeParam;
  {
    TestStream s(3);
    std::vector<T> r(3, T(99));
    script().fail_on_call = 2;  // the spare pair's draw
    EXPECT_EQ(Gauss<T>(1, s.get(), 3, r.data(), T(5), T(7)), VRS_ERROR_QUASI_PERIOD_EXHAUSTED);
    const T u1 = UniformK<T>(3), u2 = UniformK<T>(4);
    EXPECT_EQ(r[0], Root(u1) * std::sin(Angle(u2)));  // raw: no scaling
    EXPECT_EQ(r[1], Root(u1) * std::cos(Angle(u2)));
    EXPECT_EQ(r[2], T(99));
    EXPECT_EQ(Pair<T>(s.get()).u1, T(-1));
  }
  {
    TestStream s(0);
    T r[5] = {};
    ASSERT_EQ(Gauss<T>(1, s.get(), 1, r, T(0), T(1)), 0);
    script().fail_on_call = 2;  // the first draw of the next call
    EXPECT_EQ(Gauss<T>(1, s.get(), 5, r, T(5), T(7)), VRS_ERROR_QUASI_PERIOD_EXHAUSTED);
    const T u1 = UniformK<T>(0), u2 = UniformK<T>(1);
    const T root = Root(u1), cosine = std::cos(Angle(u2));
    EXPECT_EQ(r[0], root * cosine);
    // The chunk holds the transformed pair, which the next call takes up.
    EXPECT_EQ(Pair<T>(s.get()).u1, root);
    EXPECT_EQ(Pair<T>(s.get()).u2, cosine);
  }
}

TYPED_TEST(DistGaussian, BoxMuller2FailedChunkAllocationDrawsNothing) {
  using T = TypeParam;
  TestStream s;
  const long live = nex_serv_live_allocations();
  T r[4] = {T(1), T(2), T(3), T(4)};
  nex_serv_set_allocation_failure(1);
  EXPECT_EQ(Gauss<T>(1, s.get(), 4, r, T(0), T(1)), VRS_ERROR_NO_MEMORY);
  nex_serv_set_allocation_failure(0);
  EXPECT_TRUE(script().calls.empty());
  EXPECT_EQ(nex_serv_live_allocations(), live);
  EXPECT_EQ(r[3], T(4));
  // The chunk node's own allocation failing gives the block back.
  nex_serv_set_allocation_failure(2);
  EXPECT_EQ(Gauss<T>(1, s.get(), 4, r, T(0), T(1)), VRS_ERROR_NO_MEMORY);
  nex_serv_set_allocation_failure(0);
  EXPECT_EQ(nex_serv_live_allocations(), live);
  EXPECT_EQ(__vrsGetNumChunks(s.get()), 0);
}

TYPED_TEST(DistGaussian, CopiedStreamGoesOnWithTheSamePendingPair) {
  using T = TypeParam;
  TestStream s(9);
  T first;
  ASSERT_EQ(Gauss<T>(1, s.get(), 1, &first, T(0), T(1)), 0);
  VrsStream* copy = nullptr;
  ASSERT_EQ(__vrsCopyStream(&copy, s.get()), 0);
  T x[3], y[3];
  ASSERT_EQ(Gauss<T>(1, s.get(), 3, x, T(0), T(1)), 0);
  ASSERT_EQ(Gauss<T>(1, copy, 3, y, T(0), T(1)), 0);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(x[i], y[i]);
  // Both precisions on one stream keep separate pairs.
  using U = std::conditional_t<sizeof(T) == 8, float, double>;
  U other;
  ASSERT_EQ(Gauss<U>(1, copy, 1, &other, U(0), U(1)), 0);
  EXPECT_EQ(__vrsGetNumChunks(copy), 2);
  __vrsDeleteStream(&copy);
}

TYPED_TEST(DistGaussian, HookCapsTheLogarithmOfZeroInBothBoxMullerForms) {
  using T = TypeParam;
  const T root = Root(T(0));
  ASSERT_TRUE(std::isfinite(root));
  const T angle = Angle(T(0.25));
  {
    TestStream s;
    script().uniforms = {0.0, 0.25};
    T r;
    ASSERT_EQ(Gauss<T>(0, s.get(), 1, &r, T(0), T(1)), 0);
    EXPECT_EQ(r, root * std::sin(angle));
  }
  {
    TestStream s;
    script().uniforms = {0.0, 0.25, 0.0, 0.25};
    T r[3];
    ASSERT_EQ(Gauss<T>(1, s.get(), 3, r, T(0), T(1)), 0);  // a pair, then the spare
    EXPECT_EQ(r[0], root * std::sin(angle));
    EXPECT_EQ(r[1], root * std::cos(angle));
    EXPECT_EQ(r[2], root * std::sin(angle));
    ASSERT_EQ(Gauss<T>(1, s.get(), 1, r, T(0), T(1)), 0);  // the pending half
    EXPECT_EQ(r[0], root * std::cos(angle));
  }
}

TYPED_TEST(DistGaussian, InverseMethodTakesOneUniformEachAndCapsBothEnds) {
  using T = TypeParam;
  TestStream s;
  script().uniforms = {0.0, 1.0, 0.5, 0.75};
  T r[4];
  const T a = T(3), sigma = T(0.5);
  ASSERT_EQ(Gauss<T>(2, s.get(), 4, r, a, sigma), 0);
  EXPECT_EQ(script().calls, (std::vector<int32_t>{4}));
  const T scale = GaussianConstants<T>::kSqrt2 * sigma;
  const T cap = static_cast<T>(HookValues<T>::kErfInvOne);
  EXPECT_EQ(r[0], -cap * scale + a);
  EXPECT_EQ(r[1], cap * scale + a);
  EXPECT_EQ(r[2], a);
  EXPECT_NEAR(double(r[3]), 3 + 0.5 * gsl_cdf_ugaussian_Pinv(0.75), 1e-6);
  // No count: the generator is asked for 0 (its status comes back), nothing
  // is written. Negative statuses come back unchanged.
  script().ok_status = 5;
  EXPECT_EQ(Gauss<T>(2, s.get(), 0, r, a, sigma), 5);
  EXPECT_EQ(LogNormal<T>(1, s.get(), -2, r, a, sigma, T(0), T(1)), 5);
  EXPECT_EQ(script().calls, (std::vector<int32_t>{4, 0, -2}));
  EXPECT_EQ(r[2], a);
  script().fail_on_call = 4;
  EXPECT_EQ(Gauss<T>(2, s.get(), 4, r, a, sigma), VRS_ERROR_QUASI_PERIOD_EXHAUSTED);
}

TYPED_TEST(DistGaussian, GuardIsLeftAfterAFailedDrawAndUnknownMethodsAreRefused) {
  using T = TypeParam;
  const VtmErrorCallBack mine = nex::dist::VrsDomainHook<nex::dist::HookShape::kAnyError, T>;
  const VtmErrorCallBack before_cb = nex::dist::SwapErrorCallBack(mine);
  const uint32_t mode = nex_vtm_kernel_GetMode();
  for (int32_t method : {0, 1, 2}) {
    TestStream s;
    script().fail_on_call = 1;
    T r[4];
    EXPECT_EQ(Gauss<T>(method, s.get(), 4, r, T(0), T(1)), VRS_ERROR_QUASI_PERIOD_EXHAUSTED);
    EXPECT_EQ(nex_vtm_kernel_GetMode(), mode);
    EXPECT_EQ(nex::vtm::GetThreadState()->err_callback, mine);
  }
  TestStream s;
  T r[2];
  EXPECT_EQ(Gauss<T>(3, s.get(), 2, r, T(0), T(1)), VRS_ERROR_UNKNOWN_METHOD);
  EXPECT_EQ(Gauss<T>(VRS_METHOD_ACCURATE, s.get(), 2, r, T(0), T(1)), VRS_ERROR_UNKNOWN_METHOD);
  EXPECT_TRUE(script().calls.empty());
  nex::dist::SwapErrorCallBack(before_cb);
}

// ---- Multivariate ---------------------------------------------------------------

// A lower-triangular factor L (row i, column j), the same for every test.
template <class T>
T FactorL(int i, int j) {
  if (j > i) return T(0);
  return i == j ? T(1) + T(0.25) * T(i % 3) : T(0.125) * T((i * 7 + j * 3) % 9) - T(0.5);
}

// The factor in each storage: full holds U = L^T in its upper triangle with
// NaN below (never to be read), packed holds L by columns, diagonal L's
// diagonal.
template <class T>
std::vector<T> Storage(int storage, int d) {
  std::vector<T> t;
  if (storage == VRS_MATRIX_STORAGE_FULL) {
    t.assign(size_t(d) * d, std::numeric_limits<T>::quiet_NaN());
    for (int j = 0; j < d; ++j)
      for (int i = 0; i <= j; ++i) t[i + j * d] = FactorL<T>(j, i);
  } else if (storage == VRS_MATRIX_STORAGE_PACKED) {
    for (int j = 0; j < d; ++j)
      for (int i = j; i < d; ++i) t.push_back(FactorL<T>(i, j));
  } else {
    for (int j = 0; j < d; ++j) t.push_back(FactorL<T>(j, j));
  }
  return t;
}

template <class T>
class DistGaussianMV : public ::testing::Test {};
TYPED_TEST_SUITE(DistGaussianMV, Types);

TYPED_TEST(DistGaussianMV, DimensionOneIsTheUnivariateEntryWhateverTheStorage) {
  using T = TypeParam;
  const T a = T(-2), t = T(3);
  for (int32_t storage : {0, 1, 2, 3}) {
    TestStream s1(4);
    std::vector<T> got(7);
    ASSERT_EQ(GaussMV<T>(1, s1.get(), 7, got.data(), 1, storage, &a, &t), 0);
    TestStream s2(4);
    std::vector<T> want(7);
    ASSERT_EQ(Gauss<T>(1, s2.get(), 7, want.data(), a, t), 0);
    EXPECT_EQ(got, want) << storage;
  }
}

TYPED_TEST(DistGaussianMV, EachStorageMultipliesUnitNormalsByTheFactorAndAddsTheMean) {
  using T = TypeParam;
  const double tol = std::numeric_limits<T>::epsilon() * 64;
  for (int d : {2, 3, 10, 11, 12}) {
    std::vector<T> a(d);
    for (int j = 0; j < d; ++j) a[j] = T(j) - T(1.5);
    const int32_t n = 37;
    for (int32_t storage : {0, 1, 2, 3}) {
      const std::vector<T> t = Storage<T>(storage == 3 ? 2 : storage, d);
      TestStream s1(8), s2(8);
      std::vector<T> got(size_t(n) * d), z(size_t(n) * d);
      ASSERT_EQ(GaussMV<T>(2, s1.get(), n, got.data(), d, storage, a.data(), t.data()), 0);
      ASSERT_EQ(Gauss<T>(2, s2.get(), n * d, z.data(), T(0), T(1)), 0);
      for (int v = 0; v < n; ++v) {
        for (int i = 0; i < d; ++i) {
          const T* zv = z.data() + v * d;
          long double want = zv[i];
          if (storage == 0 || storage == 1) {
            want = a[i];
            for (int j = 0; j <= i; ++j) want += (long double)FactorL<T>(i, j) * zv[j];
          } else if (storage == 2) {
            want = zv[i] * FactorL<T>(i, i) + a[i];
          }
          ASSERT_NEAR(double(got[v * d + i]), double(want), tol * (1 + std::fabs(double(want))))
              << "storage " << storage << " d " << d << " v " << v << " i " << i;
        }
      }
    }
  }
}

// ---- Lognormal -------------------------------------------------------------------------

template <class T>
class DistLognormal : public ::testing::Test {};
TYPED_TEST_SUITE(DistLognormal, Types);

TYPED_TEST(DistLognormal, NeverBelowTheDisplacementAndNegativeScaleGivesIt) {
  using T = TypeParam;
  for (int32_t method : {0, 1}) {
    TestStream s;
    std::vector<T> r(3001);
    ASSERT_EQ(LogNormal<T>(method, s.get(), 3001, r.data(), T(0), T(1), T(4), T(-1)), 0);
    for (T x : r) ASSERT_EQ(x, T(4));
    // A scale so small that beta e^x + b rounds to b for most results.
    ASSERT_EQ(LogNormal<T>(method, s.get(), 3001, r.data(), T(0), T(30), T(4),
                           std::numeric_limits<T>::min()),
              0);
    for (T x : r) ASSERT_GE(x, T(4));
  }
}

TYPED_TEST(DistLognormal, MethodZeroUsesBoxMuller2AndOthersTheInverseMethod) {
  using T = TypeParam;
  {
    TestStream s;
    T r[3];
    ASSERT_EQ(LogNormal<T>(0, s.get(), 3, r, T(0), T(1), T(0), T(1)), 0);
    EXPECT_EQ(script().calls, (std::vector<int32_t>{2, 2}));
    EXPECT_NE(__vrsSearchChunk(s.get(), GaussianConstants<T>::kPairChunk), nullptr);
  }
  {
    TestStream s1(2), s2(2);
    T r[3], g[3];
    ASSERT_EQ(LogNormal<T>(7, s1.get(), 3, r, T(0.5), T(2), T(1), T(3)), 0);
    EXPECT_EQ(__vrsSearchChunk(s1.get(), GaussianConstants<T>::kPairChunk), nullptr);
    ASSERT_EQ(Gauss<T>(2, s2.get(), 3, g, T(0.5), T(2)), 0);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(r[i], std::max(T(1), std::exp(g[i]) * T(3) + T(1)));
    script().fail_on_call = 3;
    EXPECT_EQ(LogNormal<T>(7, s1.get(), 3, r, T(0.5), T(2), T(1), T(3)),
              VRS_ERROR_QUASI_PERIOD_EXHAUSTED);
  }
}

// ---- Distribution checks ----------------------------------------------------------------
//
// Kolmogorov-Smirnov on 1e6 draws of each method and precision from MRG32K3A
// with a fixed seed. sqrt(n) D is rejected above 2.693, where the Kolmogorov
// tail 2 exp(-2 x^2) is 1e-6: each check fails falsely at most once in a
// million seeds.

constexpr int kLawSamples = 1000000;
constexpr double kKsLimit = 2.693;

template <class T, class Cdf>
double KsStatistic(std::vector<T> x, Cdf cdf) {
  std::sort(x.begin(), x.end());
  const double n = double(x.size());
  double d = 0;
  for (size_t i = 0; i < x.size(); ++i) {
    const double f = cdf(double(x[i]));
    d = std::max({d, (i + 1) / n - f, f - i / n});
  }
  return std::sqrt(n) * d;
}

class Mrg {
 public:
  explicit Mrg(uint32_t seed) { EXPECT_EQ(__vrsNewStreamEx(&s_, VRS_BRNG_MRG32K3A, 1, &seed), 0); }
  ~Mrg() { __vrsDeleteStream(&s_); }
  VrsStream* get() const { return s_; }

 private:
  VrsStream* s_ = nullptr;
};

TYPED_TEST(DistGaussian, EveryMethodFollowsTheNormalLaw) {
  using T = TypeParam;
  for (int32_t method : {0, 1, 2}) {
    Mrg s(1000 + method);
    std::vector<T> x(kLawSamples);
    ASSERT_EQ(Gauss<T>(method, s.get(), kLawSamples, x.data(), T(1), T(2)), 0);
    const double ks = KsStatistic(x, [](double v) { return gsl_cdf_gaussian_P(v - 1, 2); });
    EXPECT_LT(ks, kKsLimit) << "method " << method;
  }
}

TYPED_TEST(DistLognormal, BothMethodsFollowTheLognormalLaw) {
  using T = TypeParam;
  for (int32_t method : {0, 1}) {
    Mrg s(2000 + method);
    std::vector<T> x(kLawSamples);
    ASSERT_EQ(LogNormal<T>(method, s.get(), kLawSamples, x.data(), T(0.5), T(0.75), T(-1), T(2)),
              0);
    const double ks = KsStatistic(
        x, [](double v) { return v <= -1 ? 0.0 : gsl_cdf_lognormal_P((v + 1) / 2, 0.5, 0.75); });
    EXPECT_LT(ks, kKsLimit) << "method " << method;
  }
}

// Sample mean and covariance of 2e5 vectors of dimension 3 against the mean
// and L L^T. Each of the 9 checks per storage allows 6 standard errors (a
// two-sided normal tail of 2e-9): with 2 storages x 2 precisions, below 1e-7
// false failures in all.
TYPED_TEST(DistGaussianMV, SampleMeanAndCovarianceMatchTheFactor) {
  using T = TypeParam;
  constexpr int d = 3, n = 200000;
  const T a[d] = {T(1), T(-2), T(0.5)};
  double sigma[d][d] = {};
  for (int i = 0; i < d; ++i)
    for (int j = 0; j < d; ++j)
      for (int k = 0; k < d; ++k) sigma[i][j] += double(FactorL<T>(i, k)) * FactorL<T>(j, k);
  for (int32_t storage : {VRS_MATRIX_STORAGE_FULL, VRS_MATRIX_STORAGE_PACKED}) {
    Mrg s(3000 + storage);
    const std::vector<T> t = Storage<T>(storage, d);
    std::vector<T> x(size_t(n) * d);
    ASSERT_EQ(GaussMV<T>(1, s.get(), n, x.data(), d, storage, a, t.data()), 0);
    double mean[d] = {}, cov[d][d] = {};
    for (int v = 0; v < n; ++v)
      for (int i = 0; i < d; ++i) mean[i] += x[v * d + i];
    for (double& m : mean) m /= n;
    for (int v = 0; v < n; ++v)
      for (int i = 0; i < d; ++i)
        for (int j = 0; j < d; ++j)
          cov[i][j] += (x[v * d + i] - mean[i]) * (x[v * d + j] - mean[j]);
    for (int i = 0; i < d; ++i) {
      EXPECT_NEAR(mean[i], double(a[i]), 6 * std::sqrt(sigma[i][i] / n)) << storage;
      for (int j = 0; j <= i; ++j) {
        const double se = std::sqrt((sigma[i][i] * sigma[j][j] + sigma[i][j] * sigma[i][j]) / n);
        EXPECT_NEAR(cov[i][j] / (n - 1), sigma[i][j], 6 * se) << storage << " " << i << j;
      }
    }
  }
}

}  // namespace
