// The floating-point frame around kernels: caller's flags survive, unmasked
// exceptions don't trap inside, rounding and flush-to-zero come from the
// kernel's row, and empty calls leave everything as it was.
#include <gtest/gtest.h>

#include <cfloat>
#include <limits>
#include <thread>

#include "nex_vtm.h"
#include "vtm_test_util.hpp"

namespace {

using nex::test::FpStateGuard;
using nex::test::ReadMxcsr;
using nex::test::ReadX87Cw;
using nex::test::WriteMxcsr;
using nex::test::WriteX87Cw;

constexpr uint32_t kInvalidFlag = 0x01, kDenormalFlag = 0x02, kInexactFlag = 0x20;

TEST(Frame, EmptyCallsTouchNothing) {
  FpStateGuard guard;
  for (int n : {0, -5}) {
    const uint32_t mx = 0x1F80 | 0x6000 | kInexactFlag;  // toward zero, a flag set
    WriteMxcsr(mx);
    float a[1] = {1}, r[1] = {42};
    _vtmsRound(n, a, r);
    _vtmsAdd(n, a, a, r);
    _vtmdFrac(n, reinterpret_cast<double*>(a), reinterpret_cast<double*>(r));
    EXPECT_EQ(r[0], 42.0f);
    EXPECT_EQ(ReadMxcsr(), mx);
  }
}

TEST(Frame, CallerFlagsSurviveAndKernelFlagsAreMerged) {
  FpStateGuard guard;
  WriteMxcsr(0x1F80 | kDenormalFlag);
  const double inf = std::numeric_limits<double>::infinity();
  double a[2] = {inf, 1}, b[2] = {inf, 2}, r[2];
  _vtmdSub(2, a, b, r);  // inf - inf raises invalid
  EXPECT_TRUE(std::isnan(r[0]));
  EXPECT_EQ(r[1], -1.0);
  EXPECT_EQ(ReadMxcsr() & 0x3F, kDenormalFlag | kInvalidFlag);
}

TEST(Frame, UnmaskedCallerExceptionsDoNotTrapInside) {
  FpStateGuard guard;
  // Unmask invalid, zero-divide and overflow for the caller (not inexact).
  WriteMxcsr(0x1F80 & ~(0x80 | 0x200 | 0x400));
  const float big = FLT_MAX, inf = std::numeric_limits<float>::infinity();
  float a[9] = {inf, big, 1, 1, 1, 1, 1, 1, 1}, b[9] = {inf, big, 1, 1, 1, 1, 1, 1, 1}, r[9];
  _vtmsSub(9, a, b, r);
  _vtmsMul(9, a, b, r);  // overflow in lane 1
  double da[3] = {0.0, 1e300, -1.0}, dr[3];
  _vtmdLinearFrac(3, da, da, 1.0, 0.0, 0.0, 0.0, dr);  // 1/0 once
  const uint32_t after = ReadMxcsr();
  EXPECT_EQ(after & 0x1F80, 0x1F80u & ~(0x80u | 0x200u | 0x400u));  // masks as the caller had
  EXPECT_TRUE(after & kInvalidFlag);
  WriteMxcsr(0x1F80);
}

TEST(Frame, X87ControlWordIsRestored) {
  FpStateGuard guard;
  const uint16_t cw = 0x0C7F & ~0x1;  // rounding toward zero, 24-bit precision, invalid unmasked
  WriteX87Cw(cw);
  float a[3] = {1.5f, -2.5f, 3.0f}, r[3];
  _vtmsCeil(3, a, r);
  _vtmdMul(1, reinterpret_cast<double*>(a), reinterpret_cast<double*>(a), reinterpret_cast<double*>(r));
  EXPECT_EQ(ReadX87Cw(), cw);
}

// Directed rounding kernels give the same results under any caller rounding;
// NearbyInt and Rint follow the caller's.
TEST(Frame, DirectedRoundingUnderAnyCallerRounding) {
  FpStateGuard guard;
  const float in[8] = {2.5f, -2.5f, 0.5f, -0.5f, 1.25f, -1.75f, 3.5f, -0.0f};
  const float ceil_r[8] = {3, -2, 1, -0.0f, 2, -1, 4, -0.0f};
  const float floor_r[8] = {2, -3, 0, -1, 1, -2, 3, -0.0f};
  const float trunc_r[8] = {2, -2, 0, -0.0f, 1, -1, 3, -0.0f};
  const float round_r[8] = {3, -3, 1, -1, 1, -2, 4, -0.0f};
  for (uint32_t rc : {0x0000u, 0x2000u, 0x4000u, 0x6000u}) {
    WriteMxcsr(0x1F80 | rc);
    float r[8];
    _vtmsCeil(8, in, r);
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(nex::test::SameResult(r[i], ceil_r[i])) << rc << " " << i;
    _vtmsFloor(8, in, r);
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(nex::test::SameResult(r[i], floor_r[i])) << rc << " " << i;
    _vtmsTrunc(8, in, r);
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(nex::test::SameResult(r[i], trunc_r[i])) << rc << " " << i;
    _vtmsRound(8, in, r);
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(nex::test::SameResult(r[i], round_r[i])) << rc << " " << i;
    EXPECT_EQ(ReadMxcsr() & 0xFFC0, 0x1F80 | rc);
  }
  float r[1];
  const float x[1] = {2.5f};
  WriteMxcsr(0x1F80);
  _vtmsNearbyInt(1, x, r);
  EXPECT_EQ(r[0], 2.0f);
  WriteMxcsr(0x1F80 | 0x4000);  // caller rounds up
  _vtmsNearbyInt(1, x, r);
  EXPECT_EQ(r[0], 3.0f);
  _vtmsRint(1, x, r);
  EXPECT_EQ(r[0], 3.0f);
}

TEST(Frame, FlushToZeroComesFromTheMode) {
  std::thread([] {
    FpStateGuard guard;
    const double tiny = 1e-310;  // a double denormal
    double a[1] = {tiny}, one[1] = {1.0}, r[1];
    _vtmdMul(1, a, one, r);  // by mode
    EXPECT_EQ(r[0], tiny);
    _vtmSetMode(VTM_FLUSH_ZERO_ON);
    _vtmdMul(1, a, one, r);
    EXPECT_EQ(r[0], 0.0);
    // Abs keeps the caller's MXCSR: no flushing.
    const float ftiny = 1e-40f;
    float fa[1] = {-ftiny}, fr[1];
    _vtmsAbs(1, fa, fr);
    EXPECT_EQ(fr[0], ftiny);
    // The caller's own flush bits stay as they were.
    EXPECT_EQ(ReadMxcsr() & 0x8040, 0u);
    _vtmSetMode(0x00040000);  // another value of the field means off
    _vtmdMul(1, a, one, r);
    EXPECT_EQ(r[0], tiny);
  }).join();
}

}  // namespace
