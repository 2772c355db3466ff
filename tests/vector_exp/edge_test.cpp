// Edge cases of the exponential kernels: the limits where results turn
// infinite, subnormal or zero and the statuses reported there, the special
// values, empty and negative counts, every head and tail of the block walks
// (against the same kernel one element at a time), results written over
// their arguments, exact powers, and a callback replacing a result.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "exp_support.hpp"
#include "support/status_probe.hpp"
#include "vector/vtm_test_util.hpp"

namespace {

namespace acc = nex::accuracy;
using nex::test::ExpFunction;
using nex::test::ExpFunctions;
using nex::test::Kernel1;

template <class T>
bool SameBits(T a, T b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// One element through a kernel, with the status it reported (0 for none).
template <class T>
std::pair<T, int> One(Kernel1<T> k, T x) {
  T r = T(-7);
  const auto seen = acc::ProbeStatuses([&] { k(1, &x, &r); });
  return {r, seen.empty() ? 0 : seen.back().status};
}

TEST(ExpEdges, SingleExpLimitsAndStatuses) {
  const float big = std::numeric_limits<float>::max();
  auto [y1, s1] = One<float>(nex_vtm_k_sExp, 88.7228f);
  EXPECT_TRUE(std::isfinite(y1) && y1 > big / 2) << y1;
  EXPECT_EQ(s1, 0);
  auto [y2, s2] = One<float>(nex_vtm_k_sExp, 88.72284f);
  EXPECT_TRUE(std::isinf(y2));
  EXPECT_EQ(s2, VTM_STATUS_OVERFLOW);
  auto [y3, s3] = One<float>(nex_vtm_k_sExp, -87.4f);
  EXPECT_GT(y3, 0.0f);
  EXPECT_LT(y3, std::numeric_limits<float>::min());
  EXPECT_EQ(y3, std::exp(-87.4f)) << "the subnormal result is kept, rounded once";
  EXPECT_EQ(s3, VTM_STATUS_UNDERFLOW);
  auto [y4, s4] = One<float>(nex_vtm_k_sExp, -104.0f);
  EXPECT_TRUE(y4 == 0.0f && !std::signbit(y4));
  EXPECT_EQ(s4, VTM_STATUS_UNDERFLOW);
  // The last argument with a normal result, and the first without.
  EXPECT_EQ(One<float>(nex_vtm_k_sExp, -87.33654022216797f).second, 0);
  EXPECT_EQ(One<float>(nex_vtm_k_sExp, -87.33654785156250f).second, VTM_STATUS_UNDERFLOW);
}

TEST(ExpEdges, DoubleExpLimitsAndStatuses) {
  auto [y1, s1] = One<double>(nex_vtm_k_dExp, 709.782712893384);
  EXPECT_TRUE(std::isfinite(y1));
  EXPECT_EQ(s1, 0);
  auto [y2, s2] = One<double>(nex_vtm_k_dExp, 709.7827128933841);
  EXPECT_TRUE(std::isinf(y2));
  EXPECT_EQ(s2, VTM_STATUS_OVERFLOW);
  auto [y3, s3] = One<double>(nex_vtm_k_dExp, -740.0);
  EXPECT_EQ(y3, std::exp(-740.0));
  EXPECT_EQ(s3, VTM_STATUS_UNDERFLOW);
  auto [y4, s4] = One<double>(nex_vtm_k_dExp, -746.0);
  EXPECT_EQ(y4, 0.0);
  EXPECT_EQ(s4, VTM_STATUS_UNDERFLOW);
  // The least subnormal and the tie below it.
  EXPECT_EQ(One<double>(nex_vtm_k_dExp, -745.1332191019411).first,
            std::numeric_limits<double>::denorm_min());
}

template <class T>
class ExpEdgesTyped : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(ExpEdgesTyped, Types);

TYPED_TEST(ExpEdgesTyped, SpecialValuesReportNothing) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  for (const ExpFunction<T>& f : ExpFunctions<T>()) {
    const bool m1 = f.name.find("m1") != std::string::npos;
    auto [pinf, s1] = One<T>(f.kernel, L::infinity());
    EXPECT_TRUE(std::isinf(pinf) && pinf > 0) << f.name;
    EXPECT_EQ(s1, 0) << f.name;
    auto [ninf, s2] = One<T>(f.kernel, -L::infinity());
    EXPECT_TRUE(SameBits(ninf, m1 ? T(-1) : T(0))) << f.name << " " << ninf;
    EXPECT_EQ(s2, 0) << f.name;
    for (T nan : {L::quiet_NaN(), -L::quiet_NaN(), L::signaling_NaN()}) {
      auto [y, s] = One<T>(f.kernel, nan);
      EXPECT_TRUE(std::isnan(y)) << f.name;
      EXPECT_EQ(s, 0) << f.name;
    }
    for (T zero : {T(0), T(-0.0)}) {
      const T y = One<T>(f.kernel, zero).first;
      EXPECT_TRUE(SameBits(y, m1 ? zero : T(1))) << f.name << " " << y;
    }
    // A subnormal argument: e^x - 1 is x itself, the others 1.
    const T d = L::denorm_min() * T(3);
    EXPECT_TRUE(SameBits(One<T>(f.kernel, d).first, m1 ? d : T(1))) << f.name;
    EXPECT_TRUE(SameBits(One<T>(f.kernel, -d).first, m1 ? -d : T(1))) << f.name;
  }
}

TYPED_TEST(ExpEdgesTyped, EmptyAndNegativeCountsTouchNothing) {
  using T = TypeParam;
  for (const ExpFunction<T>& f : ExpFunctions<T>()) {
    T a[4] = {T(1), T(2), T(3), T(4)}, r[4] = {T(9), T(9), T(9), T(9)};
    const auto seen = acc::ProbeStatuses([&] {
      f.kernel(0, a, r);
      f.kernel(-5, a, r);
    });
    EXPECT_TRUE(seen.empty()) << f.name;
    for (T v : r) EXPECT_EQ(v, T(9)) << f.name;
  }
}

// Every alignment and length of the masked head, the blocks and the tail,
// with exceptional elements here and there: the array call agrees with the
// calls one element at a time, bit for bit, and reports the same elements
// in order. Computed in place as well.
TYPED_TEST(ExpEdgesTyped, BlocksHeadsAndTailsAgreeWithSingleElements) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  for (const ExpFunction<T>& f : ExpFunctions<T>()) {
    const T pool[] = {T(0.3),      T(-1.7),        T(5.5),         f.overflow,
                      f.underflow, L::infinity(),  L::quiet_NaN(), T(-0.01),
                      T(12.25),    -L::infinity(), T(1e-3),        T(-20)};
    alignas(16) T buf[40], out[40], inplace[40];
    for (int offset = 0; offset < 4; ++offset) {
      for (int n = 0; n < 24; ++n) {
        T* a = buf + offset;
        for (int i = 0; i < n; ++i) a[i] = pool[(i * 5 + offset + n) % 12];
        const auto seen = acc::ProbeStatuses([&] { f.kernel(n, a, out); });
        std::vector<acc::ReportedStatus> want;
        for (int i = 0; i < n; ++i) {
          const auto [y, s] = One<T>(f.kernel, a[i]);
          ASSERT_TRUE(SameBits(out[i], y) || (std::isnan(out[i]) && std::isnan(y)))
              << f.name << " offset " << offset << " n " << n << " i " << i;
          if (s != 0) want.push_back({i, s});
        }
        ASSERT_EQ(seen.size(), want.size()) << f.name << " offset " << offset << " n " << n;
        for (size_t k = 0; k < want.size(); ++k) {
          EXPECT_EQ(seen[k].index, want[k].index) << f.name;
          EXPECT_EQ(seen[k].status, want[k].status) << f.name;
        }
        std::memcpy(inplace, a, n * sizeof(T));
        f.kernel(n, inplace, inplace);
        for (int i = 0; i < n; ++i)
          ASSERT_TRUE(SameBits(inplace[i], out[i]) || std::isnan(out[i])) << f.name << " in place";
      }
    }
  }
}

TYPED_TEST(ExpEdgesTyped, ExactPowersAreExact) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  const auto& fs = ExpFunctions<T>();
  const Kernel1<T> exp2 = fs[1].kernel, exp10 = fs[2].kernel;
  std::vector<T> k;
  for (int e = L::min_exponent - L::digits; e < L::max_exponent; ++e) k.push_back(T(e));
  std::vector<T> r(k.size());
  exp2(static_cast<int>(k.size()), k.data(), r.data());
  for (size_t i = 0; i < k.size(); ++i) EXPECT_EQ(r[i], std::ldexp(T(1), int(k[i]))) << k[i];
  // 10^e is exact in the format while 5^e fits the significand.
  T p = 1;
  for (int e = 0; e <= (sizeof(T) == 4 ? 10 : 22); ++e, p *= 10) {
    const T x = T(e);
    T y;
    exp10(1, &x, &y);
    EXPECT_EQ(y, p) << "10^" << e;
  }
}

// A callback that replaces the result and returns 0 gets its value stored;
// one that returns nonzero leaves the kernel's result.
int32_t Put42(VtmErrorRecord* rec) {
  rec->r1 = 42.0;
  return 0;
}
int32_t Put42AndKeep(VtmErrorRecord* rec) {
  rec->r1 = 42.0;
  return 1;
}

TYPED_TEST(ExpEdgesTyped, CallbackReplacesTheReportedResult) {
  using T = TypeParam;
  const uint32_t old_mode = _vtmSetMode(VTM_ERRMODE_CALLBACK);
  for (const ExpFunction<T>& f : ExpFunctions<T>()) {
    std::vector<T> a(13, T(0.5));
    a[11] = f.overflow;
    std::vector<T> r(13);
    const VtmErrorCallBack old = _vtmSetErrorCallBack(Put42);
    f.kernel(13, a.data(), r.data());
    EXPECT_EQ(r[11], T(42)) << f.name;
    EXPECT_EQ(r[10], One<T>(f.kernel, T(0.5)).first) << f.name;
    _vtmSetErrorCallBack(Put42AndKeep);
    f.kernel(13, a.data(), r.data());
    EXPECT_TRUE(std::isinf(r[11])) << f.name;
    _vtmSetErrorCallBack(old);
  }
  _vtmSetMode(old_mode);
}

TYPED_TEST(ExpEdgesTyped, Expm1KeepsTinyArgumentsAndSaturatesAtMinusOne) {
  using T = TypeParam;
  using L = std::numeric_limits<T>;
  const Kernel1<T> expm1 = ExpFunctions<T>()[3].kernel;
  for (T x : {L::min(), -L::min(), T(1e-30), T(-1e-30), L::denorm_min()})
    EXPECT_TRUE(SameBits(One<T>(expm1, x).first, x)) << x;
  for (T x : {T(-40), T(-45), T(-1000), -L::max()}) {
    auto [y, s] = One<T>(expm1, x);
    EXPECT_EQ(y, T(-1)) << x;
    EXPECT_EQ(s, 0) << x;
  }
  auto [y, s] = One<T>(expm1, L::max());
  EXPECT_TRUE(std::isinf(y));
  EXPECT_EQ(s, VTM_STATUS_OVERFLOW);
}

// A caller's rounding (toward zero, in MXCSR and on the x87 unit, the latter at
// 64 bits) neither changes the results of the kernels that set their own
// rounding nor survives changed: both words are as before afterwards, with the
// overflow flag of a reported element added to MXCSR.
TYPED_TEST(ExpEdgesTyped, CallerRoundingIsRestoredAndFlagsSurvive) {
  using T = TypeParam;
  using nex::test::ReadMxcsr;
  using nex::test::ReadX87Cw;
  using nex::test::WriteMxcsr;
  using nex::test::WriteX87Cw;
  const uint32_t old_mode = _vtmSetMode(VTM_ERRMODE_IGNORE);
  for (const ExpFunction<T>& f : ExpFunctions<T>()) {
    const bool own_rounding = f.name.find("m1") == std::string::npos;
    std::vector<T> a = {T(0.3), T(-2.2), T(7.75), T(1e-3), T(-0.6), f.overflow, T(3), T(-9)};
    std::vector<T> want(a.size()), got(a.size());
    f.kernel(int(a.size()), a.data(), want.data());
    const uint32_t mxcsr = ReadMxcsr();
    const uint16_t cw = ReadX87Cw();
    WriteMxcsr(0x1F80 | 0x6000);
    WriteX87Cw(0x0F7F);
    f.kernel(int(a.size()), a.data(), got.data());
    const uint32_t after = ReadMxcsr();
    const uint16_t cw_after = ReadX87Cw();
    WriteX87Cw(cw);
    WriteMxcsr(mxcsr);
    EXPECT_EQ(after & ~0x3Fu, 0x1F80u | 0x6000u) << f.name;
    EXPECT_TRUE(after & 0x08u) << f.name << ": overflow flag";
    EXPECT_EQ(cw_after, 0x0F7F) << f.name;
    if (own_rounding) {
      for (size_t i = 0; i < a.size(); ++i) EXPECT_TRUE(SameBits(got[i], want[i])) << f.name << i;
    }
  }
  _vtmSetMode(old_mode);
}

}  // namespace
