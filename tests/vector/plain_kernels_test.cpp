// The plain element-wise kernels against scalar oracles, over every head and
// tail length (n = 0..40), every byte offset of the arrays (0..15), in place
// and out of place, with guard bytes around the results.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "nex_vtm.h"
#include "vtm_test_util.hpp"

namespace {

using nex::test::SameResult;

// A NaN quieted (x + x keeps sign and payload); other values unchanged.
template <class T>
T Quiet(T x) {
  return x != x ? x + x : x;
}

template <class T>
struct Oracles {
  static T Abs(T x) { return x != x ? Quiet(x) : std::fabs(x); }
  static T Ceil(T x) { return x != x ? Quiet(x) : std::ceil(x); }
  static T Floor(T x) { return x != x ? Quiet(x) : std::floor(x); }
  static T Trunc(T x) { return x != x ? Quiet(x) : std::trunc(x); }
  static T Round(T x) { return x != x ? Quiet(x) : std::round(x); }
  static T Nearby(T x) { return x != x ? Quiet(x) : std::nearbyint(x); }
  static T Frac(T x) {
    if (x != x) return Quiet(x);
    if (std::isinf(x)) return std::copysign(T(0), x);
    return std::copysign(x - std::trunc(x), x);
  }
  static T Sqr(T x) { return x * x; }
  static T Add(T a, T b) { return a + b; }
  static T Sub(T a, T b) { return a - b; }
  static T Mul(T a, T b) { return a * b; }
  // By bits: on 32-bit x86 the C library returns through the x87 stack,
  // which would quiet a signaling NaN.
  static T CopySign(T a, T b) {
    using B = nex::test::BitsOf<T>;
    const B sign = B{1} << (sizeof(T) * 8 - 1);
    return nex::test::FromBits<T>((nex::test::Bits(a) & ~sign) | (nex::test::Bits(b) & sign));
  }
  static T Fmax(T a, T b) {
    if (a != a && b != b) return Quiet(a);
    if (a != a) return Quiet(b);
    if (b != b) return Quiet(a);
    return a > b ? a : b;  // two zeros give b
  }
  static T Fmin(T a, T b) {
    if (a != a && b != b) return Quiet(a);
    if (a != a) return Quiet(b);
    if (b != b) return Quiet(a);
    return a < b ? a : b;
  }
  static T MaxMag(T a, T b) {
    if (a != a || b != b) return Fmax(a, b);
    if (std::fabs(a) == std::fabs(b)) return a > b ? a : b;
    return std::fabs(a) < std::fabs(b) ? b : a;
  }
  static T MinMag(T a, T b) {
    if (a != a || b != b) return Fmax(a, b);
    if (std::fabs(a) == std::fabs(b)) return a < b ? a : b;
    return std::fabs(a) > std::fabs(b) ? b : a;
  }
  static T Fdim(T a, T b) {
    if (b != b) return Quiet(b);
    if (a != a) return Quiet(a);
    return a > b ? a - b : T(0);
  }
};

template <class T>
struct UnaryCase {
  std::string name;
  void (*fn)(int, const T*, T*);
  T (*oracle)(T);
};
template <class T>
struct BinaryCase {
  std::string name;
  void (*fn)(int, const T*, const T*, T*);
  T (*oracle)(T, T);
  bool ieee_nan_pair = false;
};

template <class T>
std::vector<UnaryCase<T>> Unaries();
template <class T>
std::vector<BinaryCase<T>> Binaries();

#define NEX_UNARIES(t, T)                                                                   \
  template <>                                                                               \
  std::vector<UnaryCase<T>> Unaries<T>() {                                                  \
    using O = Oracles<T>;                                                                   \
    return {{#t "Abs", _vtm##t##Abs, O::Abs},       {#t "Ceil", _vtm##t##Ceil, O::Ceil},      \
            {#t "Floor", _vtm##t##Floor, O::Floor}, {#t "Trunc", _vtm##t##Trunc, O::Trunc},   \
            {#t "Round", _vtm##t##Round, O::Round}, {#t "NearbyInt", _vtm##t##NearbyInt, O::Nearby}, \
            {#t "Rint", _vtm##t##Rint, O::Nearby},  {#t "Frac", _vtm##t##Frac, O::Frac},      \
            {#t "Sqr", _vtm##t##Sqr, O::Sqr}};                                              \
  }                                                                                         \
  template <>                                                                               \
  std::vector<BinaryCase<T>> Binaries<T>() {                                                \
    using O = Oracles<T>;                                                                   \
    return {{#t "Add", _vtm##t##Add, O::Add, true},    {#t "Sub", _vtm##t##Sub, O::Sub, true}, \
            {#t "Mul", _vtm##t##Mul, O::Mul, true},          {#t "CopySign", _vtm##t##CopySign, O::CopySign}, \
            {#t "Fmax", _vtm##t##Fmax, O::Fmax},       {#t "Fmin", _vtm##t##Fmin, O::Fmin},  \
            {#t "MaxMag", _vtm##t##MaxMag, O::MaxMag}, {#t "MinMag", _vtm##t##MinMag, O::MinMag}, \
            {#t "Fdim", _vtm##t##Fdim, O::Fdim}};                                           \
  }
NEX_UNARIES(s, float)
NEX_UNARIES(d, double)

// Arrays placed at a byte offset inside guarded buffers.
template <class T>
class Placed {
 public:
  Placed(int n, int offset) : n_(n), buf_(64 + 64 + (n + 1) * sizeof(T), 0xA5), offset_(offset) {}
  T* ptr() { return reinterpret_cast<T*>(buf_.data() + 64 + offset_); }
  void set(int i, T v) { std::memcpy(buf_.data() + 64 + offset_ + i * sizeof(T), &v, sizeof v); }
  T get(int i) const {
    T v;
    std::memcpy(&v, buf_.data() + 64 + offset_ + i * sizeof(T), sizeof v);
    return v;
  }
  bool guards_intact() const {
    for (int i = 0; i < 64 + offset_; ++i)
      if (buf_[i] != 0xA5) return false;
    for (size_t i = 64 + offset_ + n_ * sizeof(T); i < buf_.size(); ++i)
      if (buf_[i] != 0xA5) return false;
    return true;
  }

 private:
  int n_;
  std::vector<unsigned char> buf_;
  int offset_;
};

template <class T>
class PlainKernels : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(PlainKernels, Types);

TYPED_TEST(PlainKernels, UnaryAllLengthsOffsetsAndInPlace) {
  using T = TypeParam;
  const std::vector<T> pool = nex::test::TestValues<T>(997, 11);
  nex::test::FpStateGuard guard;
  for (const auto& c : Unaries<T>()) {
    int failures = 0;
    for (int n = 0; n <= 40 && failures < 5; ++n) {
      for (int off = 0; off < 16 && failures < 5; ++off) {
        const size_t start = (n * 16 + off) * 7 % pool.size();
        Placed<T> a(n, off), r(n, (off * 5) % 16);
        for (int i = 0; i < n; ++i) a.set(i, pool[(start + i) % pool.size()]);
        c.fn(n, a.ptr(), r.ptr());
        for (int i = 0; i < n; ++i) {
          const T x = a.get(i), want = c.oracle(x), got = r.get(i);
          if (!SameResult(got, want)) {
            ADD_FAILURE() << c.name << "(" << x << ") = " << got << ", want " << want
                          << " n=" << n << " off=" << off << " i=" << i;
            ++failures;
          }
        }
        EXPECT_TRUE(r.guards_intact()) << c.name << " n=" << n << " off=" << off;
        // In place: the result overwrites the input.
        c.fn(n, a.ptr(), a.ptr());
        for (int i = 0; i < n; ++i) {
          if (!SameResult(a.get(i), r.get(i))) {
            ADD_FAILURE() << c.name << " in place differs at n=" << n << " i=" << i;
            ++failures;
          }
        }
        EXPECT_TRUE(a.guards_intact());
      }
    }
  }
}

TYPED_TEST(PlainKernels, BinaryAllLengthsOffsetsAndInPlace) {
  using T = TypeParam;
  const std::vector<T> pool = nex::test::TestValues<T>(1009, 12);
  nex::test::FpStateGuard guard;
  for (const auto& c : Binaries<T>()) {
    int failures = 0;
    for (int n = 0; n <= 40 && failures < 5; ++n) {
      for (int off = 0; off < 16 && failures < 5; ++off) {
        const size_t sa = (n * 31 + off * 3) % pool.size(), sb = (n * 17 + off * 11 + 5) % pool.size();
        Placed<T> a(n, off), b(n, (off + 4) % 16), r(n, (off * 3) % 16);
        for (int i = 0; i < n; ++i) {
          a.set(i, pool[(sa + i) % pool.size()]);
          // Every few lanes b repeats a's magnitude (ties of MaxMag/MinMag, equal zeros).
          b.set(i, i % 5 == 3 ? -a.get(i) : pool[(sb + i) % pool.size()]);
        }
        c.fn(n, a.ptr(), b.ptr(), r.ptr());
        for (int i = 0; i < n; ++i) {
          const T x = a.get(i), y = b.get(i), want = c.oracle(x, y), got = r.get(i);
          // IEEE arithmetic on two NaNs returns one of them: which one
          // depends on operand order, which the oracle's compiler may swap.
          const bool two_nans = x != x && y != y;
          if (two_nans && c.ieee_nan_pair ? !(got != got) : !SameResult(got, want)) {
            ADD_FAILURE() << c.name << "(" << x << ", " << y << ") = " << got << ", want " << want
                          << " n=" << n << " off=" << off << " i=" << i;
            ++failures;
          }
        }
        EXPECT_TRUE(r.guards_intact()) << c.name;
        std::vector<bool> two_nans(n);
        for (int i = 0; i < n; ++i) two_nans[i] = c.ieee_nan_pair && a.get(i) != a.get(i) && b.get(i) != b.get(i);
        c.fn(n, a.ptr(), b.ptr(), b.ptr());  // in place on the second input
        for (int i = 0; i < n; ++i) {
          if (two_nans[i] ? !(b.get(i) != b.get(i)) : !SameResult(b.get(i), r.get(i))) {
            ADD_FAILURE() << c.name << " in place differs at n=" << n << " i=" << i;
            ++failures;
          }
        }
      }
    }
  }
}

template <class T>
void CallModf(int n, const T* a, T* r1, T* r2);
template <>
void CallModf<float>(int n, const float* a, float* r1, float* r2) { _vtmsModf(n, a, r1, r2); }
template <>
void CallModf<double>(int n, const double* a, double* r1, double* r2) { _vtmdModf(n, a, r1, r2); }

TYPED_TEST(PlainKernels, ModfAllLengths) {
  using T = TypeParam;
  const std::vector<T> pool = nex::test::TestValues<T>(500, 13);
  nex::test::FpStateGuard guard;
  for (int n = 0; n <= 40; ++n) {
    for (int off : {0, 4, 8, 12, 3}) {
      Placed<T> a(n, off), r1(n, (off + 8) % 16), r2(n, (off + 4) % 16);
      for (int i = 0; i < n; ++i) a.set(i, pool[(n * 13 + off + i) % pool.size()]);
      CallModf<T>(n, a.ptr(), r1.ptr(), r2.ptr());
      for (int i = 0; i < n; ++i) {
        const T x = a.get(i);
        T ip, fp;
        if (x != x) {
          ip = fp = Quiet(x);
        } else {
          fp = std::modf(x, &ip);
        }
        ASSERT_TRUE(SameResult(r1.get(i), ip)) << x << " n=" << n << " i=" << i;
        ASSERT_TRUE(SameResult(r2.get(i), fp)) << x << " n=" << n << " i=" << i;
      }
      EXPECT_TRUE(r1.guards_intact() && r2.guards_intact());
    }
  }
}

// The rules that distinguish these kernels from a plain library call.
TEST(PlainKernelSpecials, MaxMinZerosAndNans) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  float a[6] = {0.0f, -0.0f, nan, 1.0f, nan, -nan};
  float b[6] = {-0.0f, 0.0f, 1.0f, nan, -nan, nan};
  float r[6];
  _vtmsFmax(6, a, b, r);
  EXPECT_TRUE(std::signbit(r[0]) && r[0] == 0);   // Fmax(+0, -0) = -0
  EXPECT_TRUE(!std::signbit(r[1]) && r[1] == 0);  // Fmax(-0, +0) = +0
  EXPECT_EQ(r[2], 1.0f);
  EXPECT_EQ(r[3], 1.0f);
  EXPECT_TRUE(std::isnan(r[4]) && !std::signbit(r[4]));  // two NaNs: a
  EXPECT_TRUE(std::isnan(r[5]) && std::signbit(r[5]));
  _vtmsFdim(6, a, b, r);
  EXPECT_TRUE(std::isnan(r[4]) && std::signbit(r[4]));  // two NaNs: b
  double da[2] = {1e308, -1e308}, db[2] = {-1e308, 1.0}, dr[2];
  _vtmdFdim(2, da, db, dr);  // overflows quietly; no report
  EXPECT_TRUE(std::isinf(dr[0]));
  EXPECT_TRUE(dr[1] == 0 && !std::signbit(dr[1]));
}

TEST(PlainKernelSpecials, AbsQuietsSignalingNanAndKeepsItsSign) {
  nex::test::FpStateGuard guard;
  nex::test::WriteMxcsr(0x1F80);
  float a[1] = {-nex::test::SignalingNan<float>()}, r[1];
  _vtmsAbs(1, a, r);
  EXPECT_TRUE(std::isnan(r[0]) && std::signbit(r[0]));
  EXPECT_TRUE(nex::test::Bits(r[0]) & 0x00400000u);  // quiet
  EXPECT_TRUE(nex::test::ReadMxcsr() & 0x1);         // invalid raised
}

TEST(PlainKernelSpecials, CopySignKeepsASignalingNanSignaling) {
  const uint32_t snan = 0x7FA00001u;
  float a[1], b[1] = {-1.0f}, r[1];
  std::memcpy(a, &snan, 4);
  _vtmsCopySign(1, a, b, r);
  uint32_t got;
  std::memcpy(&got, r, 4);
  EXPECT_EQ(got, snan | 0x80000000u);
}

TEST(PlainKernelSpecials, RoundingTiesAndSignedZeros) {
  float a[4] = {-0.5f, 2.5f, -2.5f, -0.0f}, r[4];
  _vtmsCeil(4, a, r);
  EXPECT_TRUE(r[0] == 0 && std::signbit(r[0]));
  _vtmsRound(4, a, r);
  EXPECT_EQ(r[1], 3.0f);
  EXPECT_EQ(r[2], -3.0f);
  EXPECT_TRUE(r[3] == 0 && std::signbit(r[3]));
  double big[2] = {4503599627370497.0, -1e300}, dr[2];
  _vtmdFloor(2, big, dr);  // already integers: copied
  EXPECT_EQ(dr[0], big[0]);
  EXPECT_EQ(dr[1], big[1]);
}

template <class T>
void LinearFracCheck(void (*fn)(int, const T*, const T*, T, T, T, T, T*), double tolerance) {
  const std::vector<T> pool = nex::test::TestValues<T>(300, 14);
  std::vector<T> a, b;
  for (T x : pool)
    if (std::isfinite(x) && std::fabs(x) < T(1e6) && std::fabs(x) > T(1e-6)) a.push_back(x);
  b.assign(a.rbegin(), a.rend());
  const int n = static_cast<int>(a.size());
  std::vector<T> r(n);
  struct Scalars {
    T sa, ha, sb, hb;
  };
  for (Scalars s : {Scalars{2, 1, 3, 0.5}, Scalars{0, 7, 3, 1}, Scalars{1.5, -2, 0, 4},
                    Scalars{-1, 0.25, 2, 0}}) {
    for (int len : {n, 1, 7, 9, 17}) {
      fn(len, a.data(), b.data(), s.sa, s.ha, s.sb, s.hb, r.data());
      for (int i = 0; i < len; ++i) {
        const double exact = (double(s.sa) * a[i] + s.ha) / (double(s.sb) * b[i] + s.hb);
        const double num = double(T(s.sa * a[i] + s.ha)), den = double(T(s.sb * b[i] + s.hb));
        const double rounded = num / den;  // the quotient of the rounded parts
        EXPECT_NEAR(r[i], rounded, std::fabs(rounded) * tolerance + 1e-300)
            << "i=" << i << " exact " << exact;
      }
    }
  }
  // The scalar-chosen forms don't read the unused array.
  fn(3, a.data(), nullptr, 2, 1, 0, 4, r.data());
  fn(3, nullptr, b.data(), 0, 1, 2, 4, r.data());
}

TEST(PlainKernelSpecials, LinearFracForms) {
  LinearFracCheck<float>(_vtmsLinearFrac, 3e-7);
  LinearFracCheck<double>(_vtmdLinearFrac, 3e-16);
}

TEST(PlainKernelSpecials, FracOfLargeAndTinyValues) {
  double a[5] = {-2.0, 1e300, -0.3, 5e-324, -std::numeric_limits<double>::infinity()}, r[5];
  _vtmdFrac(5, a, r);
  EXPECT_TRUE(r[0] == 0 && std::signbit(r[0]));
  EXPECT_TRUE(r[1] == 0 && !std::signbit(r[1]));
  EXPECT_EQ(r[2], -0.3);
  EXPECT_EQ(r[3], 5e-324);
  EXPECT_TRUE(r[4] == 0 && std::signbit(r[4]));
}

}  // namespace
