// The reporting kernels against independent oracles: MPFR for Fmod,
// Remainder and the quotients, the C library's nextafter for NextAfter, and
// tables of special values with their statuses. Random inputs come from
// fixed seeds and cover the whole exponent range, denormals included.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include "report_util.hpp"

namespace {

using nex::test::BitsOf;
using nex::test::FromBits;
using nex::test::Recorder;
using nex::test::ReportTest;
using nex::test::SameResult;

template <class T>
using Kernel2 = void (*)(int, const T*, const T*, T*);

// ---- MPFR in the exact format of T --------------------------------------------------

template <class T>
struct Format;
template <>
struct Format<float> {
  static constexpr int kPrec = 24, kEmin = -148, kEmax = 128;
  static void set(mpfr_t x, float v) { mpfr_set_flt(x, v, MPFR_RNDN); }
  static float get(mpfr_t x) { return mpfr_get_flt(x, MPFR_RNDN); }
};
template <>
struct Format<double> {
  static constexpr int kPrec = 53, kEmin = -1073, kEmax = 1024;
  static void set(mpfr_t x, double v) { mpfr_set_d(x, v, MPFR_RNDN); }
  static double get(mpfr_t x) { return mpfr_get_d(x, MPFR_RNDN); }
};

// op(a, b) correctly rounded to T, with T's overflow and denormal range.
template <class T, class Op>
T Mpfr(Op op, T a, T b) {
  using F = Format<T>;
  const mpfr_exp_t old_min = mpfr_get_emin(), old_max = mpfr_get_emax();
  mpfr_set_emin(F::kEmin);
  mpfr_set_emax(F::kEmax);
  mpfr_t x, y, z;
  mpfr_inits2(F::kPrec, x, y, z, static_cast<mpfr_ptr>(nullptr));
  F::set(x, a);
  F::set(y, b);
  int inex = op(z, x, y, MPFR_RNDN);
  inex = mpfr_check_range(z, inex, MPFR_RNDN);
  mpfr_subnormalize(z, inex, MPFR_RNDN);
  const T r = F::get(z);
  mpfr_clears(x, y, z, static_cast<mpfr_ptr>(nullptr));
  mpfr_set_emin(old_min);
  mpfr_set_emax(old_max);
  return r;
}

// A finite value with uniform sign, biased exponent and significand.
template <class T>
T RandomFinite(std::mt19937_64& g, int exponent) {
  using U = BitsOf<T>;
  constexpr int kMant = std::numeric_limits<T>::digits - 1;
  const U mant = static_cast<U>(g()) & ((U{1} << kMant) - 1);
  const U sign = static_cast<U>(g() & 1) << (sizeof(T) * 8 - 1);
  return FromBits<T>(sign | (static_cast<U>(exponent) << kMant) | mant);
}

template <class T>
int MaxBiased() {
  return std::numeric_limits<T>::max_exponent * 2 - 2;  // 254 or 2046
}

// Pairs over the whole range; half of them with exponents close together
// (the packed path), a share with denormal or tiny divisors.
template <class T>
void RandomPairs(size_t n, uint64_t seed, std::vector<T>* a, std::vector<T>* b) {
  std::mt19937_64 g(seed);
  const int top = MaxBiased<T>();
  std::uniform_int_distribution<int> any(0, top), kind(0, 3), near(-3, 40), low(0, 60);
  a->resize(n);
  b->resize(n);
  for (size_t i = 0; i < n; ++i) {
    const int ea = any(g);
    int eb;
    switch (kind(g)) {
      case 0:
        eb = any(g);
        break;
      case 1:
        eb = low(g);
        break;
      default:
        eb = std::clamp(ea - near(g), 0, top);
    }
    (*a)[i] = RandomFinite<T>(g, ea);
    T y = RandomFinite<T>(g, eb);
    if (y == 0) y = std::numeric_limits<T>::denorm_min();
    (*b)[i] = y;
  }
}

template <class T>
struct Kernels;
template <>
struct Kernels<float> {
  static constexpr Kernel2<float> kFmod = _vtmsFmod, kRemainder = _vtmsRemainder,
                                  kNextAfter = _vtmsNextAfter, kDiv = _vtmsDiv;
  static void Inv(int n, const float* a, float* r) { _vtmsInv(n, a, r); }
};
template <>
struct Kernels<double> {
  static constexpr Kernel2<double> kFmod = _vtmdFmod, kRemainder = _vtmdRemainder,
                                   kNextAfter = _vtmdNextAfter, kDiv = _vtmdDiv;
  static void Inv(int n, const double* a, double* r) { _vtmdInv(n, a, r); }
};

template <class T>
class Exact : public ReportTest {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(Exact, Types);

// Runs `kernel` over the data at several lengths and misalignments (heads
// and tails of the masked blocks) and compares every element with `oracle`.
template <class T, class Oracle>
void CompareAll(Kernel2<T> kernel, const std::vector<T>& a, const std::vector<T>& b, Oracle oracle,
                const char* what) {
  std::vector<T> want(a.size());
  for (size_t i = 0; i < a.size(); ++i) want[i] = oracle(a[i], b[i]);
  const int lengths[] = {1, 3, 7, 8, 9, 15, 17, 61};
  size_t start = 0;
  std::vector<T> ba(a.size() + 8), bb(b.size() + 8), br(a.size() + 8);
  for (int round = 0; start < a.size(); ++round) {
    const int offset = round % 4, off_b = (round / 4) % 3;
    int n = round < 32 ? lengths[round % 8] : static_cast<int>(a.size() - start);
    n = std::min<int>(n, static_cast<int>(a.size() - start));
    std::copy(a.begin() + start, a.begin() + start + n, ba.begin() + offset);
    std::copy(b.begin() + start, b.begin() + start + n, bb.begin() + off_b);
    kernel(n, ba.data() + offset, bb.data() + off_b, br.data() + offset);
    for (int j = 0; j < n; ++j) {
      const size_t i = start + j;
      ASSERT_TRUE(SameResult(br[offset + j], want[i]))
          << what << "(" << a[i] << ", " << b[i] << ") = " << br[offset + j] << ", want " << want[i]
          << " [n " << n << " lane " << j << " offset " << offset << "]";
    }
    start += n;
  }
}

TYPED_TEST(Exact, FmodMatchesMpfrAcrossTheExponentRange) {
  using T = TypeParam;
  std::vector<T> a, b;
  RandomPairs<T>(30000, 11, &a, &b);
  CompareAll<T>(
      Kernels<T>::kFmod, a, b, [](T x, T y) { return Mpfr<T>(mpfr_fmod, x, y); }, "Fmod");
  EXPECT_TRUE(Recorder::seen.empty());
}

TYPED_TEST(Exact, RemainderMatchesMpfrAcrossTheExponentRange) {
  using T = TypeParam;
  std::vector<T> a, b;
  RandomPairs<T>(30000, 12, &a, &b);
  CompareAll<T>(
      Kernels<T>::kRemainder, a, b, [](T x, T y) { return Mpfr<T>(mpfr_remainder, x, y); },
      "Remainder");
  EXPECT_TRUE(Recorder::seen.empty());
}

TYPED_TEST(Exact, TiesAndNearMultiples) {
  using T = TypeParam;
  // Small integers and halves: every tie a = (k + 1/2) b for both parities.
  std::vector<T> a, b;
  for (int k = -40; k <= 40; ++k)
    for (T y : {T(1), T(2), T(0.5), T(3), T(-4), T(0.375)}) {
      a.push_back((T(k) + T(0.5)) * y);
      b.push_back(y);
      a.push_back(T(k) * y * T(0.75));
      b.push_back(y);
    }
  // Just below and above multiples of b: the rounded quotient lands on the
  // integer and a first estimate of q is one too high.
  std::mt19937_64 g(14);
  for (int k = 1; k < 3000; ++k) {
    const T y = RandomFinite<T>(g, std::numeric_limits<T>::max_exponent - 1 + int(g() % 9) - 4);
    const T m = std::fabs(y) * T(k % 700 + 1);
    a.push_back(std::nextafter(m, T(0)));
    b.push_back(y);
    a.push_back(-std::nextafter(m, T(1e30)));
    b.push_back(y);
  }
  CompareAll<T>(
      Kernels<T>::kRemainder, a, b, [](T x, T y) { return Mpfr<T>(mpfr_remainder, x, y); },
      "Remainder");
  CompareAll<T>(
      Kernels<T>::kFmod, a, b, [](T x, T y) { return Mpfr<T>(mpfr_fmod, x, y); }, "Fmod");
}

TYPED_TEST(Exact, FmodIsExactAlsoWhenTheModeFlushesDenormals) {
  using T = TypeParam;
  _vtmSetMode(VTM_FLUSH_ZERO_ON);
  std::vector<T> a, b;
  RandomPairs<T>(4000, 13, &a, &b);
  CompareAll<T>(
      Kernels<T>::kFmod, a, b, [](T x, T y) { return Mpfr<T>(mpfr_fmod, x, y); }, "Fmod");
  CompareAll<T>(
      Kernels<T>::kRemainder, a, b, [](T x, T y) { return Mpfr<T>(mpfr_remainder, x, y); },
      "Remainder");
  _vtmSetMode(0x00040000);
}

// Values with many specials, for NextAfter and the quotients.
template <class T>
std::vector<T> MixedValues(size_t n, uint64_t seed) {
  using L = std::numeric_limits<T>;
  std::vector<T> v = {T(0),
                      -T(0),
                      T(1),
                      -T(1),
                      L::infinity(),
                      -L::infinity(),
                      L::quiet_NaN(),
                      L::denorm_min(),
                      -L::denorm_min(),
                      L::min(),
                      -L::min(),
                      L::max(),
                      -L::max(),
                      nex::test::SignalingNan<T>(),
                      T(0.75),
                      T(3)};
  std::mt19937_64 g(seed);
  std::uniform_int_distribution<int> any(0, MaxBiased<T>()), pick(0, 9);
  while (v.size() < n) {
    const int k = pick(g);
    v.push_back(k == 0 ? v[g() % 16] : RandomFinite<T>(g, any(g)));
  }
  return v;
}

template <class T>
int NextAfterStatus(T a, T b) {
  if (std::isnan(a) || std::isnan(b) || a == b) return 0;
  if (a == 0) return VTM_STATUS_UNDERFLOW;
  const T r = std::nextafter(a, b);
  if (std::isinf(r)) return VTM_STATUS_OVERFLOW;
  if (std::fabs(r) < std::numeric_limits<T>::min()) return VTM_STATUS_UNDERFLOW;
  return 0;
}

TYPED_TEST(Exact, NextAfterMatchesTheCLibraryAndReportsItsStatuses) {
  using T = TypeParam;
  std::vector<T> a = MixedValues<T>(6000, 21), b = MixedValues<T>(6000, 22);
  // Neighbouring pairs: steps into and out of the denormals and to infinity.
  for (size_t i = 0; i + 1 < a.size(); i += 5) b[i] = a[i + 1];
  CompareAll<T>(
      Kernels<T>::kNextAfter, a, b, [](T x, T y) { return std::nextafter(x, y); }, "NextAfter");
  // One call over everything, checking the statuses in order.
  Recorder::seen.clear();
  std::vector<T> r(a.size());
  Kernels<T>::kNextAfter(static_cast<int>(a.size()), a.data(), b.data(), r.data());
  size_t k = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    const int want = NextAfterStatus(a[i], b[i]);
    if (want == 0) continue;
    ASSERT_LT(k, Recorder::seen.size());
    EXPECT_EQ(Recorder::seen[k].index, static_cast<int32_t>(i));
    EXPECT_EQ(Recorder::seen[k].code, want) << a[i] << " -> " << b[i];
    ++k;
  }
  EXPECT_EQ(k, Recorder::seen.size());
}

// The processor's NaN for a quotient: the first NaN operand quieted, or the
// default NaN (sign set) for 0/0 and inf/inf; MPFR for everything else.
template <class T>
T Quotient(T x, T y) {
  constexpr BitsOf<T> quiet = sizeof(T) == 4 ? 0x00400000u : 0x0008000000000000ull;
  if (std::isnan(x)) return FromBits<T>(nex::test::Bits(x) | quiet);
  if (std::isnan(y)) return FromBits<T>(nex::test::Bits(y) | quiet);
  if ((x == 0 && y == 0) || (std::isinf(x) && std::isinf(y)))
    return -std::numeric_limits<T>::quiet_NaN();
  return Mpfr<T>(mpfr_div, x, y);
}

TYPED_TEST(Exact, QuotientsAreCorrectlyRoundedAndPolesReported) {
  using T = TypeParam;
  std::vector<T> a = MixedValues<T>(5000, 31), b = MixedValues<T>(5000, 32);
  for (size_t i = 0; i < b.size(); i += 97) b[i] = (i & 1) ? T(0) : -T(0);
  CompareAll<T>(Kernels<T>::kDiv, a, b, Quotient<T>, "Div");
  std::vector<T> r(a.size()), ones(a.size(), T(1));
  CompareAll<T>([](int n, const T* x, const T*, T* out) { Kernels<T>::Inv(n, x, out); }, a, ones,
                [](T x, T) { return Quotient<T>(T(1), x); }, "Inv");
  // Statuses of one call each.
  Recorder::seen.clear();
  Kernels<T>::kDiv(static_cast<int>(a.size()), a.data(), b.data(), r.data());
  std::vector<int32_t> want;
  for (size_t i = 0; i < a.size(); ++i) {
    const bool pole = b[i] == 0 && (sizeof(T) == 4 ? !std::isnan(a[i]) : std::isfinite(a[i]));
    if (pole) want.push_back(static_cast<int32_t>(i));
  }
  ASSERT_EQ(Recorder::seen.size(), want.size());
  for (size_t k = 0; k < want.size(); ++k) {
    EXPECT_EQ(Recorder::seen[k].index, want[k]);
    EXPECT_EQ(Recorder::seen[k].code, VTM_STATUS_SINGULARITY);
  }
  Recorder::seen.clear();
  Kernels<T>::Inv(static_cast<int>(b.size()), b.data(), r.data());
  size_t zeros = 0;
  for (T x : b) zeros += x == 0;
  EXPECT_EQ(Recorder::seen.size(), zeros);
}

// ---- Special values and statuses, one table per function ----------------------------

struct Special {
  double a, b, r;  // r NaN: any NaN
  int status;
};

template <class T>
void CheckTable(Kernel2<T> kernel, const std::vector<Special>& rows, const char* what) {
  for (const Special& s : rows) {
    Recorder::seen.clear();
    // Each row once at a misaligned single position and once inside a block.
    T a[9], b[9], r[9];
    for (int j = 0; j < 9; ++j) {
      a[j] = T(s.a);
      b[j] = T(s.b);
    }
    kernel(9, a, b, r);
    for (int j = 0; j < 9; ++j) {
      if (std::isnan(s.r)) {
        EXPECT_TRUE(std::isnan(r[j])) << what << "(" << s.a << ", " << s.b << ")";
      } else {
        EXPECT_TRUE(SameResult(r[j], T(s.r)))
            << what << "(" << s.a << ", " << s.b << ") = " << r[j] << ", want " << s.r;
      }
    }
    const size_t reports = s.status ? 9u : 0u;
    ASSERT_EQ(Recorder::seen.size(), reports) << what << "(" << s.a << ", " << s.b << ")";
    for (const auto& rep : Recorder::seen) EXPECT_EQ(rep.code, s.status);
  }
}

constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TYPED_TEST(Exact, FmodSpecialValues) {
  CheckTable<TypeParam>(Kernels<TypeParam>::kFmod,
                        {{5, 0, kNaN, 2},
                         {0, 0, kNaN, 2},
                         {kInf, 3, kNaN, 2},
                         {-kInf, 0, kNaN, 2},
                         {kNaN, 0, kNaN, 0},
                         {3, kNaN, kNaN, 0},
                         {3, kInf, 3, 0},
                         {-0.0, 3, -0.0, 0},
                         {-6, 3, -0.0, 0},
                         {-7, 2, -1, 0},
                         {7, -2, 1, 0},
                         {-2.5, 1, -0.5, 0},
                         {4, 4, 0, 0}},
                        "Fmod");
}

TYPED_TEST(Exact, RemainderSpecialValues) {
  CheckTable<TypeParam>(Kernels<TypeParam>::kRemainder,
                        {{5, 0, kNaN, 1},
                         {0, 0, kNaN, 1},
                         {kInf, 3, kNaN, 0},
                         {kInf, 0, kNaN, 1},
                         {kNaN, 0, kNaN, 0},
                         {5, kNaN, kNaN, 0},
                         {3, kInf, 3, 0},
                         {-0.0, 3, -0.0, 0},
                         {5, 2, 1, 0},
                         {7, 2, -1, 0},
                         {-7, 2, 1, 0},
                         {6, 4, -2, 0},
                         {2, 4, 2, 0},
                         {3, 4, -1, 0},
                         {-3, 4, 1, 0},
                         {-4, 4, -0.0, 0}},
                        "Remainder");
}

TYPED_TEST(Exact, NextAfterSpecialValues) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  CheckTable<T>(Kernels<T>::kNextAfter,
                {{0, 1, double(L::denorm_min()), 4},
                 {-0.0, -1, -double(L::denorm_min()), 4},
                 {1, 1, 1, 0},
                 {0, -0.0, -0.0, 0},
                 {double(L::max()), kInf, kInf, 3},
                 {kInf, 0, double(L::max()), 0},
                 {double(L::min()), 0, double(L::min() - L::denorm_min()), 4},
                 {double(L::min() - L::denorm_min()), 1, double(L::min()), 0},
                 {kNaN, 1, kNaN, 0}},
                "NextAfter");
}

TYPED_TEST(Exact, DivAndInvZeroRulesDifferBetweenTheTypes) {
  using T = TypeParam;
  const bool single = sizeof(T) == 4;
  CheckTable<T>(Kernels<T>::kDiv,
                {{1, 0, kInf, 2},
                 {-1, 0, -kInf, 2},
                 {0, 0, kNaN, 2},
                 {kInf, 0, kInf, single ? 2 : 0},
                 {kNaN, 0, kNaN, 0},
                 {1, kInf, 0, 0},
                 {6, 3, 2, 0}},
                "Div");
  CheckTable<T>([](int n, const T* a, const T*, T* r) { Kernels<T>::Inv(n, a, r); },
                {{0, 0, kInf, 2}, {-0.0, 0, -kInf, 2}, {kInf, 0, 0, 0}, {4, 0, 0.25, 0}}, "Inv");
}

TEST_F(ReportTest, InPlaceSingleInvReportsNothingButDoubleInvDoes) {
  float a[7] = {1, 0, 2, 4, -0.0f, 8, 0};
  _vtmsInv(7, a, a);  // a block of 4 and a scalar tail
  EXPECT_EQ(a[1], std::numeric_limits<float>::infinity());
  EXPECT_EQ(a[4], -std::numeric_limits<float>::infinity());
  EXPECT_EQ(a[6], std::numeric_limits<float>::infinity());
  EXPECT_TRUE(Recorder::seen.empty());
  // Double tests the element before the store.
  double d[2] = {0, 2};
  _vtmdInv(2, d, d);
  ASSERT_EQ(Recorder::seen.size(), 1u);
  EXPECT_EQ(Recorder::seen[0].a1, kInf);  // the record reads the array after the store
  // sDiv in place over the divisor finds infinity there and reports nothing.
  float x[5] = {1, 2, 3, 4, 5}, y[5] = {0, 1, 0, 1, 0};
  Recorder::seen.clear();
  _vtmsDiv(5, x, y, y);
  EXPECT_TRUE(Recorder::seen.empty());
}

}  // namespace
