// The uniform family: agreement with the generator's own output, the clamp of
// the accurate method, integer flooring, block sizes, the 32/64-bit word table
// with the MCG59 narrowing, and statuses passed up with earlier blocks kept.
#include <gtest/gtest.h>
#include <gsl/gsl_cdf.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "distributions/test_generator.hpp"

namespace {

using dist_test::script;
using dist_test::TestStream;

// Owns a stream of a built-in generator.
class Stream {
 public:
  Stream(int32_t brng, uint32_t seed) {
    EXPECT_EQ(__vrsNewStreamEx(&s_, brng, 1, &seed), VRS_STATUS_OK);
  }
  Stream(const Stream& other) { EXPECT_EQ(__vrsCopyStream(&s_, other.s_), VRS_STATUS_OK); }
  ~Stream() { __vrsDeleteStream(&s_); }
  VrsStream* get() const { return s_; }
  const VrsBrngProperties& row() const {
    int32_t index = 0, sub = 0;
    return __vrsGetBrngBaseOffset(s_->brng, &index, &sub)[index];
  }

 private:
  VrsStream* s_ = nullptr;
};

// ---- Real uniforms ------------------------------------------------------------

template <class T>
int32_t Uniform(int32_t method, VrsStream* s, int32_t n, T* r, T a, T b) {
  if constexpr (sizeof(T) == 8)
    return _vrsdRngUniform(method, s, n, r, a, b);
  else
    return _vrssRngUniform(method, s, n, r, a, b);
}

template <class T>
class DistRealUniform : public ::testing::Test {};
using RealTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(DistRealUniform, RealTypes);

TYPED_TEST(DistRealUniform, EqualsTheGeneratorsRealSlotOnEveryBuiltInGenerator) {
  using T = TypeParam;
  for (int32_t brng :
       {VRS_BRNG_MCG31M1, VRS_BRNG_R250, VRS_BRNG_MRG32K3A, VRS_BRNG_MCG59, VRS_BRNG_WH}) {
    Stream s(brng, 12345), copy(s);
    std::vector<T> got(1000), want(1000);
    for (int32_t method : {0, VRS_METHOD_ACCURATE}) {
      ASSERT_EQ(Uniform<T>(method, s.get(), 1000, got.data(), T(-2), T(3)), VRS_STATUS_OK);
      int32_t status;
      if constexpr (sizeof(T) == 8)
        status = copy.row().generate_d(copy.get(), 1000, want.data(), -2.0, 3.0);
      else
        status = copy.row().generate_s(copy.get(), 1000, want.data(), -2.0f, 3.0f);
      ASSERT_EQ(status, VRS_STATUS_OK);
      EXPECT_EQ(got, want) << "brng " << brng << " method " << method;
    }
  }
}

TYPED_TEST(DistRealUniform, CountIsPassedAsItStandsAndPositiveStatusComesBack) {
  using T = TypeParam;
  TestStream s;
  T r[4] = {T(9), T(9), T(9), T(9)};
  script().ok_status = 7;
  EXPECT_EQ(Uniform<T>(VRS_METHOD_ACCURATE, s.get(), 0, r, T(0), T(1)), 7);
  EXPECT_EQ(Uniform<T>(VRS_METHOD_ACCURATE, s.get(), -3, r, T(0), T(1)), 7);
  EXPECT_EQ(script().calls, (std::vector<int32_t>{0, -3}));
  for (T x : r) EXPECT_EQ(x, T(9));
  script().fail_on_call = 3;
  EXPECT_EQ(Uniform<T>(0, s.get(), 4, r, T(0), T(1)), VRS_ERROR_QUASI_PERIOD_EXHAUSTED);
}

// The accurate method on generator output outside [a, b]: values are clamped,
// a NaN passes, and without the flag nothing changes. Every length and
// offset, so the head, the unrolled body and the tail all meet each case.
TYPED_TEST(DistRealUniform, AccurateMethodClampsIntoTheIntervalAtEveryAlignment) {
  using T = TypeParam;
  const T a = T(-1), b = T(2);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<double> pattern = {1.5, -0.5, 0.25, nan, 1.0, 0.0, 7.0, -3.0, 0.75};
  alignas(16) unsigned char raw[64 * sizeof(T) + 32];
  for (size_t shift : {size_t(0), sizeof(T), size_t(1), size_t(3) * sizeof(T)}) {
    for (int32_t n = 1; n <= 40; ++n) {
      T* r = reinterpret_cast<T*>(raw + shift);
      for (int32_t method : {0, VRS_METHOD_ACCURATE | 5}) {
        TestStream s;
        for (int32_t i = 0; i < n; ++i) script().uniforms.push_back(pattern[i % pattern.size()]);
        ASSERT_EQ(Uniform<T>(method, s.get(), n, r, a, b), VRS_STATUS_OK);
        for (int32_t i = 0; i < n; ++i) {
          const double u = pattern[i % pattern.size()];
          T x;
          std::memcpy(&x, reinterpret_cast<unsigned char*>(r) + i * sizeof(T), sizeof x);
          const T raw_value = static_cast<T>(a + (b - a) * static_cast<T>(u));
          if (std::isnan(u)) {
            EXPECT_TRUE(std::isnan(x));
          } else if (method == 0) {
            EXPECT_EQ(x, raw_value);
          } else {
            EXPECT_EQ(x, std::fmin(b, std::fmax(a, raw_value))) << "n " << n << " i " << i;
          }
        }
      }
    }
  }
}

TYPED_TEST(DistRealUniform, AccurateWithEqualBoundsGivesTheBoundEverywhere) {
  using T = TypeParam;
  Stream s(VRS_BRNG_MRG32K3A, 1);
  std::vector<T> r(333);
  ASSERT_EQ(Uniform<T>(VRS_METHOD_ACCURATE, s.get(), 333, r.data(), T(0.1), T(0.1)), 0);
  for (T x : r) EXPECT_EQ(x, T(0.1));
}

// ---- Integer uniforms -----------------------------------------------------------

// floor(a + (b - a) u) from the same generator's doubles.
TEST(DistIntegerUniform, IsTheFloorOfTheRealUniformForNegativeAndWideRanges) {
  const std::pair<int32_t, int32_t> ranges[] = {
      {-7, 3}, {-1000000, -999990}, {INT32_MIN, INT32_MAX}, {0, 1}, {-3, -2}, {5, 5}};
  for (auto [a, b] : ranges) {
    Stream s(VRS_BRNG_MCG59, 99), copy(s);
    std::vector<int32_t> got(3000);
    std::vector<double> u(3000);
    ASSERT_EQ(_vrsiRngUniform(0, s.get(), 3000, got.data(), a, b), VRS_STATUS_OK);
    // Two blocks of the real generator: 1024 and 1024 and 952.
    for (int off = 0; off < 3000; off += 1024) {
      const int m = std::min(1024, 3000 - off);
      ASSERT_EQ(copy.row().generate_d(copy.get(), m, u.data() + off, a, b), 0);
    }
    for (int i = 0; i < 3000; ++i) {
      const double fl = std::floor(u[i]);
      ASSERT_EQ(got[i], static_cast<int32_t>(fl)) << a << " " << b << " at " << i;
      if (a < b) {
        ASSERT_GE(got[i], a);
        ASSERT_LT(static_cast<int64_t>(got[i]), static_cast<int64_t>(b) + (u[i] == b));
      }
    }
  }
}

TEST(DistIntegerUniform, FloorsScriptedValuesIncludingNegativeIntegersAndOutOfRange) {
  TestStream s;
  // a = 0, b = 1: the results are floor(u) for the scripted u.
  script().uniforms = {-2.0, -1.5,         -0.0, -1e-300, 2.999999,
                       3.0,  2147483647.0, 4e9,  -3e9,    std::numeric_limits<double>::quiet_NaN()};
  int32_t r[10];
  ASSERT_EQ(_vrsiRngUniform(0, s.get(), 10, r, 0, 1), 0);
  const int32_t want[10] = {-2, -2, 0, -1, 2, 3, 2147483647, INT32_MIN, INT32_MIN, INT32_MIN};
  for (int i = 0; i < 10; ++i) EXPECT_EQ(r[i], want[i]) << i;
}

TEST(DistIntegerUniform, WorksInBlocksOf1024AndSkipsTheGeneratorForNoCount) {
  TestStream s;
  std::vector<int32_t> r(2100);
  EXPECT_EQ(_vrsiRngUniform(0, s.get(), 0, r.data(), 0, 10), 0);
  EXPECT_EQ(_vrsiRngUniform(0, s.get(), -5, r.data(), 0, 10), 0);
  EXPECT_TRUE(script().calls.empty());
  EXPECT_EQ(_vrsiRngUniform(0, s.get(), 1025, r.data(), 0, 10), 0);
  EXPECT_EQ(script().calls, (std::vector<int32_t>{1024, 1}));
}

TEST(DistIntegerUniform, NegativeStatusKeepsEarlierBlocksAndLastPositiveStatusIsReturned) {
  TestStream s;
  std::vector<int32_t> r(3000, -77), want(3000);
  script().ok_status = 3;
  ASSERT_EQ(_vrsiRngUniform(0, s.get(), 3000, want.data(), 0, 1 << 20), 3);
  TestStream again;
  script().fail_on_call = 3;
  EXPECT_EQ(_vrsiRngUniform(0, again.get(), 3000, r.data(), 0, 1 << 20),
            VRS_ERROR_QUASI_PERIOD_EXHAUSTED);
  EXPECT_EQ(script().calls, (std::vector<int32_t>{1024, 1024, 952}));
  for (int i = 0; i < 2048; ++i) ASSERT_EQ(r[i], want[i]) << i;
  for (int i = 2048; i < 3000; ++i) ASSERT_EQ(r[i], -77) << i;
}

// Chi-square over 20 cells of [-10, 10) on 1e6 draws of MRG32K3A, rejecting
// at the 1e-6 upper quantile: a false failure once in a million seeds.
TEST(DistIntegerUniform, CellFrequenciesPassChiSquare) {
  Stream s(VRS_BRNG_MRG32K3A, 2026);
  constexpr int kN = 1000000, kCells = 20;
  std::vector<int32_t> r(kN);
  ASSERT_EQ(_vrsiRngUniform(0, s.get(), kN, r.data(), -10, 10), 0);
  std::vector<double> count(kCells, 0.0);
  for (int32_t x : r) {
    ASSERT_GE(x, -10);
    ASSERT_LT(x, 10);
    count[x + 10] += 1;
  }
  double chi2 = 0;
  const double e = double(kN) / kCells;
  for (double c : count) chi2 += (c - e) * (c - e) / e;
  EXPECT_LT(chi2, gsl_cdf_chisq_Qinv(1e-6, kCells - 1));
}

// ---- Raw words and the 32/64-bit forms ---------------------------------------------

TEST(DistUniformBits, RawWordsAreTheGeneratorsWordsOfItsWordSize) {
  for (int32_t brng : {VRS_BRNG_MCG31M1, VRS_BRNG_MCG59, VRS_BRNG_WH}) {
    Stream s(brng, 5), copy(s);
    const int words = s.row().word_size / 4;
    std::vector<uint32_t> got(100 * words), want(100 * words);
    ASSERT_EQ(_vrsiRngUniformBits(123, s.get(), 100, got.data()), 0);
    ASSERT_EQ(copy.row().generate_i(copy.get(), 100, want.data()), 0);
    EXPECT_EQ(got, want) << brng;
  }
}

// Rows whose words are not 32 full bits, and rows outside the table, refuse
// and draw nothing (the stream's state is unchanged).
TEST(DistUniformBits, RefusedRowsReturnNotSupportedAndLeaveStreamAndResultsAlone) {
  for (int32_t brng : {VRS_BRNG_MCG31M1, VRS_BRNG_R250, VRS_BRNG_MRG32K3A, VRS_BRNG_WH}) {
    Stream s(brng, 5), copy(s);
    uint32_t r32[8] = {1, 2, 3, 4, 5, 6, 7, 8};
    uint64_t r64[4] = {9, 9, 9, 9};
    EXPECT_EQ(_vrsiRngUniformBits32(0, s.get(), 8, r32), VRS_ERROR_BRNG_NOT_SUPPORTED);
    EXPECT_EQ(_vrsiRngUniformBits64(0, s.get(), 4, r64), VRS_ERROR_BRNG_NOT_SUPPORTED);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(r32[i], uint32_t(i + 1));
    for (uint64_t x : r64) EXPECT_EQ(x, 9u);
    std::vector<double> a(5), b(5);
    ASSERT_EQ(s.row().generate_d(s.get(), 5, a.data(), 0.0, 1.0), 0);
    ASSERT_EQ(copy.row().generate_d(copy.get(), 5, b.data(), 0.0, 1.0), 0);
    EXPECT_EQ(a, b) << brng;
  }
  // Rows of this build with no generator and caller-registered rows.
  for (int32_t brng : {VRS_BRNG_SOBOL, VRS_BRNG_NIEDERR, VRS_BRNG_IABSTRACT, VRS_BRNG_DABSTRACT,
                       VRS_BRNG_SABSTRACT, VRS_LEGACY_SOBOL, VRS_LEGACY_NIEDERR}) {
    dist_test::FakeStream fake(brng);
    uint32_t r[2] = {0, 0};
    EXPECT_EQ(_vrsiRngUniformBits32(0, fake.get(), 2, r), VRS_ERROR_BRNG_NOT_SUPPORTED) << brng;
  }
  TestStream t;
  uint32_t r[2];
  EXPECT_EQ(_vrsiRngUniformBits32(0, t.get(), 2, r), VRS_ERROR_BRNG_NOT_SUPPORTED);
  EXPECT_TRUE(script().calls.empty());
}

// The rows that pass words on: n for 32 bits, 2n for 64, method unchanged.
class DistPassRows : public ::testing::TestWithParam<int> {};
TEST_P(DistPassRows, PassTheCountOrTwiceTheCountToTheRawWords) {
  const int row = GetParam();
  dist_test::LentRow lent(row, dist_test::test_row());
  dist_test::FakeStream s((row + 1) << 20), copy((row + 1) << 20);
  script().reset();
  std::vector<uint32_t> r32(5), r64(10), want(15);
  EXPECT_EQ(_vrsiRngUniformBits32(0, s.get(), 5, r32.data()), 0);
  EXPECT_EQ(_vrsiRngUniformBits64(0, s.get(), 5, reinterpret_cast<uint64_t*>(r64.data())), 0);
  EXPECT_EQ(script().calls, (std::vector<int32_t>{5, 10}));
  ASSERT_EQ(dist_test::TestWords(copy.get(), 15, want.data()), 0);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(r32[i], want[i]);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(r64[i], want[5 + i]);
  script().fail_on_call = script().calls.size() + 1;
  script().fail_status = VRS_ERROR_RDRAND_RETRIES;
  EXPECT_EQ(_vrsiRngUniformBits32(0, s.get(), 5, r32.data()), VRS_ERROR_RDRAND_RETRIES);
}
INSTANTIATE_TEST_SUITE_P(Rows, DistPassRows, ::testing::Values(7, 8, 12, 13, 14, 15));

// MCG59 with a counting wrapper around its own word slot.
std::vector<int32_t> g_mcg59_calls;
int32_t CountingMcg59Words(VrsStream* s, int32_t n, void* r) {
  g_mcg59_calls.push_back(n);
  return __vrsiBRngMCG59(s, n, r);
}

class DistMcg59Narrowing : public ::testing::Test {
 protected:
  DistMcg59Narrowing() : lent_(3, Counting()) { g_mcg59_calls.clear(); }
  static VrsBrngProperties Counting() {
    VrsBrngProperties p = __RegBrngsNew[3];
    p.generate_i = CountingMcg59Words;
    return p;
  }
  dist_test::LentRow lent_;
};

TEST_F(DistMcg59Narrowing, Bits32IsTheTop32BitsOfEachWordInBlocksOf2048) {
  for (int32_t n : {0, 1, 2047, 2048, 2049, 5000}) {
    Stream s(VRS_BRNG_MCG59, 77), copy(s);
    g_mcg59_calls.clear();
    std::vector<uint32_t> r(n + 1, 0xDEADBEEF);
    std::vector<uint64_t> w(n + 1);
    ASSERT_EQ(_vrsiRngUniformBits32(0, s.get(), n, r.data()), 0);
    std::vector<int32_t> want_calls(n / 2048, 2048);
    want_calls.push_back(n % 2048);
    EXPECT_EQ(g_mcg59_calls, want_calls) << n;
    ASSERT_EQ(__vrsiBRngMCG59(copy.get(), n, w.data()), 0);
    for (int i = 0; i < n; ++i) {
      ASSERT_LT(w[i], uint64_t(1) << 59);
      ASSERT_EQ(r[i], static_cast<uint32_t>(w[i] >> 27)) << i;
    }
    EXPECT_EQ(r[n], 0xDEADBEEFu) << "wrote past the end for n " << n;
  }
}

TEST_F(DistMcg59Narrowing, Bits64OfNTakesTwiceNWordsLowHalfFirst) {
  Stream s(VRS_BRNG_MCG59, 3), copy(s);
  std::vector<uint64_t> r(1024);
  std::vector<uint64_t> w(2048);
  ASSERT_EQ(_vrsiRngUniformBits64(0, s.get(), 1024, r.data()), 0);
  EXPECT_EQ(g_mcg59_calls, (std::vector<int32_t>{2048, 0}));
  ASSERT_EQ(__vrsiBRngMCG59(copy.get(), 2048, w.data()), 0);
  for (int i = 0; i < 1024; ++i)
    ASSERT_EQ(r[i], (w[2 * i] >> 27) | ((w[2 * i + 1] >> 27) << 32)) << i;
  // Both streams now stand at the same place.
  uint64_t x = 0, y = 0;
  ASSERT_EQ(__vrsiBRngMCG59(s.get(), 1, &x), 0);
  ASSERT_EQ(__vrsiBRngMCG59(copy.get(), 1, &y), 0);
  EXPECT_EQ(x, y);
}

int g_fail_after = 0;
int32_t FailingMcg59Words(VrsStream* s, int32_t n, void* r) {
  g_mcg59_calls.push_back(n);
  if (static_cast<int>(g_mcg59_calls.size()) == g_fail_after) return VRS_ERROR_NO_MEMORY - 1;
  return __vrsiBRngMCG59(s, n, r);
}

TEST_F(DistMcg59Narrowing, NegativeStatusStopsAndKeepsEarlierBlocks) {
  VrsBrngProperties p = __RegBrngsNew[3];
  p.generate_i = FailingMcg59Words;
  for (int fail_at : {2, 3}) {
    dist_test::LentRow failing(3, p);
    g_mcg59_calls.clear();
    g_fail_after = fail_at;
    Stream s(VRS_BRNG_MCG59, 8), copy(s);
    std::vector<uint32_t> r(4100, 0), want(4100);
    EXPECT_EQ(_vrsiRngUniformBits32(0, s.get(), 4100, r.data()), VRS_ERROR_NO_MEMORY - 1);
    EXPECT_EQ(static_cast<int>(g_mcg59_calls.size()), fail_at);
    std::vector<uint64_t> w(4100);
    ASSERT_EQ(__vrsiBRngMCG59(copy.get(), 4100, w.data()), 0);
    const int kept = (fail_at - 1) * 2048;
    for (int i = 0; i < kept; ++i) ASSERT_EQ(r[i], static_cast<uint32_t>(w[i] >> 27));
    for (int i = kept; i < 4100; ++i) ASSERT_EQ(r[i], 0u);
  }
}

}  // namespace
