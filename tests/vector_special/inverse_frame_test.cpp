// The inverse error functions as kernels: statuses through the default
// error mode, results in place, the caller's x87 precision, empty calls,
// and the exact values of the ends of the domain.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "nex_vtm.h"
#include "vector_special/inverse_cases.hpp"

namespace {

namespace st = nex::special_test;
using st::Fn;

template <class T>
using Kernel = void (*)(int, const T*, T*);

template <class T>
struct Kernels;
template <>
struct Kernels<float> {
  static Kernel<float> of(Fn f) {
    return f == Fn::kErf ? _vtmsErfInv : f == Fn::kErfc ? _vtmsErfcInv : _vtmsCdfNormInv;
  }
};
template <>
struct Kernels<double> {
  static Kernel<double> of(Fn f) {
    return f == Fn::kErf ? _vtmdErfInv : f == Fn::kErfc ? _vtmdErfcInv : _vtmdCdfNormInv;
  }
};

inline uint16_t ReadX87() {
  uint16_t cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
inline void LoadX87(uint16_t cw) {
  __asm__ volatile("fldcw %0" : : "m"(cw));
}

template <class T>
class InverseKernel : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(InverseKernel, Types);

constexpr Fn kAll[] = {Fn::kErf, Fn::kErfc, Fn::kCdfNorm};

// Ends of the domain give infinities with status 2, beyond them NaN with
// status 1; the default mode records the last one in the status word.
TYPED_TEST(InverseKernel, EndsAndBeyondSetTheStatusWord) {
  using T = TypeParam;
  const T inf = std::numeric_limits<T>::infinity();
  for (Fn f : kAll) {
    const T lo = T(st::DomainLo(f)), hi = T(st::DomainHi(f));
    const T at_lo = f == Fn::kErfc ? inf : -inf, at_hi = f == Fn::kErfc ? -inf : inf;
    struct Case {
      T x, want;
      int status;
    };
    const Case cases[] = {{lo, at_lo, 2},
                          {hi, at_hi, 2},
                          {std::nextafter(lo, -inf), T(NAN), 1},
                          {std::nextafter(hi, inf), T(NAN), 1},
                          {inf, T(NAN), 1},
                          {-inf, T(NAN), 1}};
    for (const Case& c : cases) {
      _vtmClearErrStatus();
      T r = 0;
      Kernels<T>::of(f)(1, &c.x, &r);
      EXPECT_EQ(_vtmGetErrStatus(), c.status) << "x=" << c.x;
      if (std::isnan(c.want)) {
        EXPECT_TRUE(std::isnan(r)) << "x=" << c.x;
      } else {
        EXPECT_EQ(r, c.want) << "x=" << c.x;
      }
    }
    // A NaN argument comes back as a NaN without a status.
    _vtmClearErrStatus();
    const T nan = std::numeric_limits<T>::quiet_NaN();
    T r = 0;
    Kernels<T>::of(f)(1, &nan, &r);
    EXPECT_TRUE(std::isnan(r));
    EXPECT_EQ(_vtmGetErrStatus(), 0);
  }
  _vtmClearErrStatus();
}

// Zeros of the result: ErfInv keeps the sign of a zero, the centres of
// ErfcInv and CdfNormInv give +0.
TYPED_TEST(InverseKernel, ZerosOfTheResult) {
  using T = TypeParam;
  const T in[4] = {T(0), -T(0), T(1), T(0.5)};
  T r[4];
  Kernels<T>::of(Fn::kErf)(2, in, r);
  EXPECT_TRUE(r[0] == 0 && !std::signbit(r[0]));
  EXPECT_TRUE(r[1] == 0 && std::signbit(r[1]));
  Kernels<T>::of(Fn::kErfc)(1, in + 2, r + 2);
  Kernels<T>::of(Fn::kCdfNorm)(1, in + 3, r + 3);
  EXPECT_TRUE(r[2] == 0 && !std::signbit(r[2]));
  EXPECT_TRUE(r[3] == 0 && !std::signbit(r[3]));
}

// Results in place equal results in a separate array, at every offset of
// the array (head, body and tail blocks), with exceptional elements mixed in.
TYPED_TEST(InverseKernel, InPlaceEqualsSeparateArrays) {
  using T = TypeParam;
  for (Fn f : kAll) {
    std::vector<T> args = st::Arguments<T>(f);
    args.resize(301);
    for (int off = 0; off < 4; ++off) {
      std::vector<T> a(args.begin() + off, args.end()), r(a.size()), same = a;
      Kernels<T>::of(f)(static_cast<int>(a.size()), a.data(), r.data());
      Kernels<T>::of(f)(static_cast<int>(same.size()), same.data(), same.data());
      for (size_t i = 0; i < a.size(); ++i)
        EXPECT_TRUE(r[i] == same[i] || (std::isnan(r[i]) && std::isnan(same[i]))) << "x=" << a[i];
    }
  }
  _vtmClearErrStatus();
}

// A caller running the x87 unit at 53-bit precision gets the same results,
// and its control word back.
TYPED_TEST(InverseKernel, CallersX87PrecisionChangesNothing) {
  using T = TypeParam;
  for (Fn f : kAll) {
    const std::vector<T> a = st::Arguments<T>(f);
    std::vector<T> want(a.size()), got(a.size());
    Kernels<T>::of(f)(static_cast<int>(a.size()), a.data(), want.data());
    const uint16_t old = ReadX87();
    const uint16_t low = static_cast<uint16_t>((old & ~0x300) | 0x200);
    LoadX87(low);
    Kernels<T>::of(f)(static_cast<int>(a.size()), a.data(), got.data());
    EXPECT_EQ(ReadX87(), low);
    LoadX87(old);
    for (size_t i = 0; i < a.size(); ++i)
      EXPECT_TRUE(want[i] == got[i] || (std::isnan(want[i]) && std::isnan(got[i]))) << "x=" << a[i];
  }
  _vtmClearErrStatus();
}

TYPED_TEST(InverseKernel, EmptyCallsTouchNothing) {
  using T = TypeParam;
  const T a[1] = {T(0.25)};
  for (Fn f : kAll)
    for (int n : {0, -5}) {
      T r[1] = {T(42)};
      Kernels<T>::of(f)(n, a, r);
      EXPECT_EQ(r[0], T(42));
    }
}

}  // namespace
