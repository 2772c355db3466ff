// Edge cases of the logarithms: exact special results with their statuses,
// exact values (powers of the base), every head/tail position of the block
// walk, in-place calls, the floating-point state, and a callback that
// replaces a result.
#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

#include "nex_vtm.h"
#include "support/status_probe.hpp"
#include "vector_real/frame.hpp"

namespace {

namespace acc = nex::accuracy;

template <class T>
using Kernel = void (*)(int, const T*, T*);

template <class T>
struct Expect {
  T x, want;
  int status;
};

template <class T>
bool Same(T got, T want) {
  if (std::isnan(want)) return std::isnan(got);
  return got == want && std::signbit(got) == std::signbit(want);
}

// Runs each element as a one-element call and as part of one array call,
// checking the result (bit for bit up to NaN payloads) and the status.
template <class T>
void CheckAll(Kernel<T> k, const char* name, const std::vector<Expect<T>>& cases) {
  std::vector<T> in, out(cases.size());
  for (const auto& c : cases) in.push_back(c.x);
  const auto seen =
      acc::ProbeStatuses([&] { k(static_cast<int>(in.size()), in.data(), out.data()); });
  std::vector<int> got(cases.size(), 0);
  for (const auto& s : seen) got.at(s.index) = s.status;
  for (size_t i = 0; i < cases.size(); ++i) {
    EXPECT_TRUE(Same(out[i], cases[i].want))
        << name << "(" << cases[i].x << ") = " << out[i] << ", want " << cases[i].want;
    EXPECT_EQ(got[i], cases[i].status) << name << "(" << cases[i].x << ")";
  }
}

template <class T>
struct Lim {
  static constexpr T inf = std::numeric_limits<T>::infinity();
  static constexpr T nan = std::numeric_limits<T>::quiet_NaN();
  static constexpr T dmin = std::numeric_limits<T>::denorm_min();
  static constexpr T nmin = std::numeric_limits<T>::min();
  static constexpr T max = std::numeric_limits<T>::max();
};

template <class T>
struct Kernels;
template <>
struct Kernels<float> {
  static constexpr Kernel<float> ln = _vtmsLn, log10 = _vtmsLog10, log2 = _vtmsLog2,
                                 log1p = _vtmsLog1p, logb = _vtmsLogb;
};
template <>
struct Kernels<double> {
  static constexpr Kernel<double> ln = _vtmdLn, log10 = _vtmdLog10, log2 = _vtmdLog2,
                                  log1p = _vtmdLog1p, logb = _vtmdLogb;
};

template <class T>
class LogEdges : public ::testing::Test {};
using Types = ::testing::Types<float, double>;
TYPED_TEST_SUITE(LogEdges, Types);

// The three logarithms share their special values: a pole at either zero,
// a domain error below zero up to -infinity, nothing for NaN of either sign.
TYPED_TEST(LogEdges, LogarithmsOfSpecialValues) {
  using T = TypeParam;
  using L = Lim<T>;
  const T neg_nan = -L::nan;
  for (auto [k, name] : {std::pair{Kernels<T>::ln, "Ln"}, std::pair{Kernels<T>::log10, "Log10"},
                         std::pair{Kernels<T>::log2, "Log2"}}) {
    CheckAll<T>(k, name,
                {{T(0), -L::inf, 2},
                 {-T(0), -L::inf, 2},
                 {T(-1), L::nan, 1},
                 {-L::dmin, L::nan, 1},
                 {-L::max, L::nan, 1},
                 {-L::inf, L::nan, 1},
                 {L::inf, L::inf, 0},
                 {L::nan, L::nan, 0},
                 {neg_nan, L::nan, 0},
                 {T(1), T(0), 0},
                 {L::dmin,
                  static_cast<T>(std::log2(static_cast<long double>(L::dmin)) *
                                 (k == Kernels<T>::ln     ? std::log(2.0L)
                                  : k == Kernels<T>::log2 ? 1.0L
                                                          : std::log10(2.0L))),
                  0}});
  }
}

TYPED_TEST(LogEdges, ExactPowersOfTheBase) {
  using T = TypeParam;
  const int digits = std::numeric_limits<T>::digits;
  std::vector<Expect<T>> two, ten;
  for (int e = std::numeric_limits<T>::min_exponent - digits;
       e < std::numeric_limits<T>::max_exponent; ++e)
    two.push_back({std::ldexp(T(1), e), T(e), 0});
  CheckAll<T>(Kernels<T>::log2, "Log2", two);
  CheckAll<T>(Kernels<T>::logb, "Logb", two);
  T p = 1;
  for (int e = 0; e <= (digits == 24 ? 10 : 22); ++e, p *= 10) ten.push_back({p, T(e), 0});
  CheckAll<T>(Kernels<T>::log10, "Log10", ten);
}

TYPED_TEST(LogEdges, LogbIsTheExponentAndReportsZeroAsADomainError) {
  using T = TypeParam;
  using L = Lim<T>;
  const int denorm_exp = std::numeric_limits<T>::min_exponent - std::numeric_limits<T>::digits;
  CheckAll<T>(Kernels<T>::logb, "Logb",
              {{T(8), T(3), 0},
               {T(-8), T(3), 0},
               {T(0.75), T(-1), 0},
               {L::dmin, T(denorm_exp), 0},
               {-L::dmin * 3, T(denorm_exp + 1), 0},
               {L::nmin, T(std::numeric_limits<T>::min_exponent - 1), 0},
               {L::max, T(std::numeric_limits<T>::max_exponent - 1), 0},
               {T(0), -L::inf, 1},
               {-T(0), -L::inf, 1},
               {-L::inf, L::inf, 0},
               {L::inf, L::inf, 0},
               {-L::nan, L::nan, 0}});
  // The NaN comes back with its sign cleared.
  const T neg_nan = -L::nan;
  T r;
  Kernels<T>::logb(1, &neg_nan, &r);
  EXPECT_FALSE(std::signbit(r));
}

TYPED_TEST(LogEdges, Log1pSpecialValues) {
  using T = TypeParam;
  using L = Lim<T>;
  CheckAll<T>(Kernels<T>::log1p, "Log1p",
              {{T(-1), -L::inf, 2},
               {std::nextafter(T(-1), T(-2)), L::nan, 1},
               {T(-2), L::nan, 1},
               {-L::inf, L::nan, 1},
               {L::inf, L::inf, 0},
               {L::nan, L::nan, 0},
               {T(0), T(0), 0},
               {-T(0), -T(0), 0},
               {L::dmin, L::dmin, 0},
               {-L::dmin, -L::dmin, 0},
               {L::nmin, L::nmin, 0},
               {L::max, static_cast<T>(std::log1p(static_cast<long double>(L::max))), 0}});
}

// dLn just below 1 leaves the table path, where e ln 2 would cancel.
TEST(LogEdgesDouble, LnJustBelowOneIsExact) {
  const double x[4] = {std::nextafter(1.0, 0.0), 1.0 - 0x1p-30, 1.0 - 0x1p-9, 1.0 - 0x1p-10};
  double r[4];
  _vtmdLn(4, x, r);
  EXPECT_EQ(r[0], -0x1p-53);
  EXPECT_EQ(r[1], static_cast<double>(std::log1p(-0x1p-30L)));
  EXPECT_EQ(r[2], static_cast<double>(std::log1p(-0x1p-9L)));
  EXPECT_EQ(r[3], static_cast<double>(std::log1p(-0x1p-10L)));
}

// Every head and tail of the walk: for each start offset and length, one
// element is made exceptional at each position; the results must be those
// of single-element calls and the status index that element's.
template <class T>
void WalkAllPositions(Kernel<T> k, T bad, int status) {
  alignas(16) T buffer[40], out[40], one;
  for (int offset = 0; offset < 4; ++offset) {
    for (int n = 1; n <= 20; ++n) {
      for (int pos = 0; pos < n; ++pos) {
        T* a = buffer + offset;
        for (int i = 0; i < n; ++i) a[i] = T(0.5) + T(i) * T(0.37);
        a[pos] = bad;
        const auto seen = acc::ProbeStatuses([&] { k(n, a, out); });
        ASSERT_EQ(seen.size(), 1u) << offset << " " << n << " " << pos;
        EXPECT_EQ(seen[0].index, pos);
        EXPECT_EQ(seen[0].status, status);
        for (int i = 0; i < n; ++i) {
          k(1, a + i, &one);
          EXPECT_TRUE(Same(out[i], one)) << offset << " " << n << " " << i;
        }
      }
    }
  }
}

TYPED_TEST(LogEdges, EveryBlockPositionReportsItsOwnIndex) {
  using T = TypeParam;
  WalkAllPositions<T>(Kernels<T>::ln, T(0), 2);
  WalkAllPositions<T>(Kernels<T>::log10, T(-3), 1);
  WalkAllPositions<T>(Kernels<T>::log2, T(-0.0), 2);
  WalkAllPositions<T>(Kernels<T>::log1p, T(-1), 2);
  WalkAllPositions<T>(Kernels<T>::logb, T(0), 1);
}

TYPED_TEST(LogEdges, InPlaceEqualsOutOfPlace) {
  using T = TypeParam;
  std::vector<T> x;
  for (int i = 0; i < 37; ++i) x.push_back(T(0.01) + T(i) * T(1.7));
  x[5] = T(0);
  x[12] = -T(1);
  for (Kernel<T> k :
       {Kernels<T>::ln, Kernels<T>::log10, Kernels<T>::log2, Kernels<T>::log1p, Kernels<T>::logb}) {
    std::vector<T> out(x.size()), inplace(x.begin() + 1, x.end());
    acc::ProbeStatuses([&] {
      k(static_cast<int>(x.size() - 1), x.data() + 1, out.data());
      k(static_cast<int>(inplace.size()), inplace.data(), inplace.data());
    });
    for (size_t i = 0; i + 1 < x.size(); ++i) EXPECT_TRUE(Same(inplace[i], out[i])) << i;
  }
}

TYPED_TEST(LogEdges, EmptyCallsTouchNothingAndKeepTheState) {
  using T = TypeParam;
  namespace fpu = nex::vtm::fpu;
  T in[2] = {T(0), T(-1)}, out[2] = {T(7), T(7)};
  const uint16_t cw = fpu::read_x87_cw();
  const uint32_t csr = fpu::read_mxcsr();
  _vtmClearErrStatus();
  for (Kernel<T> k :
       {Kernels<T>::ln, Kernels<T>::log10, Kernels<T>::log2, Kernels<T>::log1p, Kernels<T>::logb}) {
    k(0, in, out);
    k(-5, in, out);
  }
  EXPECT_EQ(out[0], T(7));
  EXPECT_EQ(out[1], T(7));
  EXPECT_EQ(fpu::read_x87_cw(), cw);
  EXPECT_EQ(fpu::read_mxcsr(), csr);
  EXPECT_EQ(_vtmGetErrStatus(), 0);
}

// A caller with unmasked SSE exceptions: no trap inside the kernels, and the
// zero-divide and invalid flags of the packed kernels reach its MXCSR.
TYPED_TEST(LogEdges, UnmaskedCallerGetsFlagsNotTraps) {
  using T = TypeParam;
  namespace fpu = nex::vtm::fpu;
  const uint32_t saved = fpu::read_mxcsr();
  const T in[3] = {T(0), T(-1), T(2)};
  T out[3];
  fpu::load_mxcsr(saved & ~0x1F80u & ~0x3Fu);  // all unmasked, flags clear
  acc::ProbeStatuses([&] { Kernels<T>::log2(3, in, out); });
  const uint32_t after = fpu::read_mxcsr();
  fpu::load_mxcsr(saved);
  EXPECT_EQ(after & 0x1F80u, 0u);  // the caller's masks are back
  EXPECT_NE(after & 0x04u, 0u);    // zero divide
  EXPECT_NE(after & 0x01u, 0u);    // invalid
  EXPECT_EQ(out[2], T(1));
}

// With flush-to-zero in the mode, the x87 kernels keep a fixed MXCSR and so
// still take a denormal as the number it is.
TYPED_TEST(LogEdges, DenormalUnderFlushModeInTheX87Kernels) {
  using T = TypeParam;
  const uint32_t mode = _vtmGetMode();
  _vtmSetMode((mode & ~VTM_DENORMAL_MASK) | VTM_FLUSH_ZERO_ON);
  const T x = Lim<T>::dmin * 5;
  T r = 0;
  const auto seen = acc::ProbeStatuses([&] { Kernels<T>::ln(1, &x, &r); });
  // A zero field leaves the field alone: turn flushing off with another
  // value of the field.
  _vtmSetMode((mode & VTM_DENORMAL_MASK) != 0 ? mode : mode | 0x00140000u);
  ASSERT_NE(_vtmGetMode() & VTM_DENORMAL_MASK, VTM_FLUSH_ZERO_ON);
  EXPECT_TRUE(seen.empty());
  EXPECT_EQ(r, static_cast<T>(std::log(static_cast<long double>(x))));
}

// The SSE2 kernels follow the mode: with denormals taken as zero, a
// denormal argument is a zero, with a zero's result and status.
TYPED_TEST(LogEdges, DenormalIsZeroUnderFlushModeInTheSseKernels) {
  using T = TypeParam;
  const uint32_t mode = _vtmGetMode();
  _vtmSetMode((mode & ~VTM_DENORMAL_MASK) | VTM_FLUSH_ZERO_ON);
  const T x[2] = {Lim<T>::dmin * 5, T(8)};
  T r2[2] = {}, rb[2] = {};
  const auto seen2 = acc::ProbeStatuses([&] { Kernels<T>::log2(2, x, r2); });
  const auto seenb = acc::ProbeStatuses([&] { Kernels<T>::logb(2, x, rb); });
  _vtmSetMode((mode & VTM_DENORMAL_MASK) != 0 ? mode : mode | 0x00140000u);
  EXPECT_EQ(r2[0], -Lim<T>::inf);
  EXPECT_EQ(rb[0], -Lim<T>::inf);
  EXPECT_EQ(r2[1], T(3));
  EXPECT_EQ(rb[1], T(3));
  ASSERT_EQ(seen2.size(), 1u);
  EXPECT_EQ(seen2[0].status, VTM_STATUS_SINGULARITY);
  ASSERT_EQ(seenb.size(), 1u);
  EXPECT_EQ(seenb[0].status, VTM_STATUS_DOMAIN);
}

int32_t SetFortyTwo(VtmErrorRecord* rec) {
  rec->r1 = 42.0;
  return 0;
}
int32_t SetFortyTwoAndDecline(VtmErrorRecord* rec) {
  rec->r1 = 42.0;
  return 1;
}

TYPED_TEST(LogEdges, CallbackMayReplaceAResult) {
  using T = TypeParam;
  const uint32_t mode = _vtmSetMode(VTM_ERRMODE_CALLBACK);
  const T in[5] = {T(1), T(0), T(2), T(-1), T(4)};
  for (Kernel<T> k :
       {Kernels<T>::ln, Kernels<T>::log10, Kernels<T>::log2, Kernels<T>::log1p, Kernels<T>::logb}) {
    const int bad = k == Kernels<T>::log1p ? 3 : 1;  // log1p(-1) is its pole
    T out[5];
    _vtmSetErrorCallBack(SetFortyTwo);
    k(5, in, out);
    EXPECT_EQ(out[bad], T(42));
    _vtmSetErrorCallBack(SetFortyTwoAndDecline);
    k(5, in, out);
    EXPECT_NE(out[bad], T(42));
  }
  _vtmSetErrorCallBack(nullptr);
  _vtmSetMode(mode);
  _vtmClearErrStatus();
}

}  // namespace
