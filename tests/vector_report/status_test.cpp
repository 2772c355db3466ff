// Status word, callback and the reporter's routes, driven through real
// kernels (sDiv, dInv, Fmod, Remainder, NextAfter) and, for the shapes no
// kernel here produces, through the reporters directly.
#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <limits>
#include <string>
#include <thread>

#include "nex_core.h"
#include "report_util.hpp"
#include "vector_frame/report.hpp"

namespace {

using nex::test::ReadMxcsr;
using nex::test::Recorder;
using nex::test::ReportTest;
using nex::test::WriteMxcsr;

constexpr double kInf = std::numeric_limits<double>::infinity();

uint16_t X87Status() {
  uint16_t sw;
  __asm__ volatile("fnstsw %0" : "=m"(sw));
  return sw;
}

// ---- Status and callback operations ------------------------------------------------

TEST_F(ReportTest, StatusOperationsReturnThePreviousWord) {
  EXPECT_EQ(_vtmSetErrStatus(3), 0);
  EXPECT_EQ(nex_vtm_kernel_GetErrStatus(), 3);
  EXPECT_EQ(nex_vtm_kernel_SetErrStatus(-7), 3);
  EXPECT_EQ(_vtmGetErrStatus(), -7);
  EXPECT_EQ(_vtmClearErrStatus(), -7);
  EXPECT_EQ(nex_vtm_kernel_ClearErrStatus(), 0);
  EXPECT_EQ(_vtmGetErrStatus(), 0);
}

int32_t OtherCallback(VtmErrorRecord*) {
  return 0;
}

TEST_F(ReportTest, CallbackOperationsMoveTheCallbackFlag) {
  _vtmSetMode(VTM_ERRMODE_ERRNO);
  EXPECT_EQ(_vtmGetMode() & VTM_ERRMODE_MASK, VTM_ERRMODE_ERRNO);
  // Installing sets the flag, keeps the other error flags.
  EXPECT_EQ(nex_vtm_kernel_SetErrorCallBack(&OtherCallback), &Recorder::Callback);
  EXPECT_EQ(_vtmGetMode() & VTM_ERRMODE_MASK, VTM_ERRMODE_ERRNO | VTM_ERRMODE_CALLBACK);
  EXPECT_EQ(_vtmGetErrorCallBack(), &OtherCallback);
  EXPECT_EQ(nex_vtm_kernel_GetErrorCallBack(), &OtherCallback);
  // Removing clears the flag when another flag stays.
  EXPECT_EQ(_vtmClearErrorCallBack(), &OtherCallback);
  EXPECT_EQ(_vtmGetMode() & VTM_ERRMODE_MASK, VTM_ERRMODE_ERRNO);
  EXPECT_EQ(_vtmGetErrorCallBack(), nullptr);
  // With the callback flag alone, removing leaves the flag (a field is never
  // emptied) and a null callback, which the reporter tolerates.
  _vtmSetErrorCallBack(&OtherCallback);
  _vtmSetMode(VTM_ERRMODE_CALLBACK);
  EXPECT_EQ(nex_vtm_kernel_ClearErrorCallBack(), &OtherCallback);
  EXPECT_EQ(_vtmGetMode() & VTM_ERRMODE_MASK, VTM_ERRMODE_CALLBACK);
  float a[1] = {1}, b[1] = {0}, r[1];
  _vtmsDiv(1, a, b, r);
  EXPECT_EQ(_vtmGetErrStatus(), VTM_STATUS_SINGULARITY);
  EXPECT_EQ(r[0], std::numeric_limits<float>::infinity());
}

TEST_F(ReportTest, StatusAndCallbackBelongToTheCallingThread) {
  _vtmSetErrStatus(3);
  int32_t seen_status = -100;
  VtmErrorCallBack seen_callback = &OtherCallback;
  std::thread t([&] {
    seen_status = _vtmGetErrStatus();
    seen_callback = _vtmGetErrorCallBack();
    float a[1] = {0}, r[1];
    _vtmsInv(1, a, r);  // default mode there: status 2, no callback installed
    _vtmSetErrStatus(4);
  });
  t.join();
  EXPECT_EQ(seen_status, 0);
  EXPECT_EQ(seen_callback, nullptr);
  EXPECT_EQ(_vtmGetErrStatus(), 3);
  EXPECT_TRUE(Recorder::seen.empty());
  __asm__ volatile("fnclex");
}

// ---- Error modes, alone and combined --------------------------------------------------

struct ModeCase {
  uint32_t errmode;
  bool records;     // status word written
  bool calls_back;  // callback runs
  bool sets_errno;
  bool raises_flag;  // x87 zero-divide flag
};

class ErrorModes : public ReportTest, public ::testing::WithParamInterface<ModeCase> {};

TEST_P(ErrorModes, DecideWhatHappens) {
  const ModeCase c = GetParam();
  _vtmSetMode(c.errmode);
  errno = 0;
  __asm__ volatile("fnclex");
  double a[3] = {1, 0, 2}, r[3];
  _vtmdInv(3, a, r);  // 1/0 at index 1: status 2
  EXPECT_EQ(r[1], kInf);
  EXPECT_EQ(_vtmGetErrStatus(), c.records ? VTM_STATUS_SINGULARITY : 0);
  EXPECT_EQ(Recorder::seen.size(), c.calls_back ? 1u : 0u);
  EXPECT_EQ(errno, c.sets_errno ? 34 : 0);
  EXPECT_EQ((X87Status() & 0x04) != 0, c.raises_flag);
}

INSTANTIATE_TEST_SUITE_P(
    Report, ErrorModes,
    ::testing::Values(ModeCase{VTM_ERRMODE_NOERR, false, false, false, false},
                      ModeCase{VTM_ERRMODE_IGNORE, true, false, false, false},
                      // NOERR with IGNORE: neither alone, so both lose their meaning and
                      // the report reaches the routes, which do nothing; no callback flag.
                      ModeCase{VTM_ERRMODE_NOERR | VTM_ERRMODE_IGNORE, true, false, false, false},
                      ModeCase{VTM_ERRMODE_ERRNO, true, false, true, false},
                      ModeCase{VTM_ERRMODE_EXCEPT, true, false, false, true},
                      ModeCase{VTM_ERRMODE_CALLBACK, true, true, false, false},
                      ModeCase{VTM_ERRMODE_DEFAULT, true, true, true, true},
                      ModeCase{VTM_ERRMODE_NOERR | VTM_ERRMODE_CALLBACK, true, true, false, false},
                      ModeCase{VTM_ERRMODE_IGNORE | VTM_ERRMODE_ERRNO, true, false, true, false}));

TEST_F(ReportTest, DefaultModeRecordsSetsErrnoAndRaisesTheFlagWithoutTrapping) {
  _vtmSetMode(VTM_DEFAULT_MODE);
  _vtmClearErrorCallBack();
  errno = 0;
  __asm__ volatile("fnclex");
  float a[1] = {5}, b[1] = {0}, r[1];
  _vtmsRemainder(1, a, b, r);  // domain error
  EXPECT_TRUE(std::isnan(r[0]));
  EXPECT_EQ(_vtmGetErrStatus(), VTM_STATUS_DOMAIN);
  EXPECT_EQ(errno, 33);
  EXPECT_TRUE(X87Status() & 0x01);
  // All x87 exceptions are masked after the route.
  EXPECT_EQ(nex::test::ReadX87Cw() & 0x3F, 0x3F);
}

// ---- Callback ----------------------------------------------------------------------------

TEST_F(ReportTest, CallbackReturningZeroReplacesTheResult) {
  Recorder::replace = true;
  Recorder::replacement = 42.0;
  float a[6] = {1, 2, 3, 0, 5, 6}, r[6];
  _vtmsInv(6, a, r);
  EXPECT_EQ(r[3], 42.0f);
  EXPECT_EQ(r[2], 1.0f / 3.0f);
  ASSERT_EQ(Recorder::seen.size(), 1u);
  EXPECT_EQ(Recorder::seen[0].index, 3);
  EXPECT_EQ(Recorder::seen[0].r1, kInf);
}

TEST_F(ReportTest, CallbackReturningNonzeroLeavesTheResultAndStopsTheRoutes) {
  Recorder::replace = true;
  Recorder::replacement = 42.0;
  Recorder::answer = 1;
  _vtmSetMode(VTM_ERRMODE_CALLBACK | VTM_ERRMODE_ERRNO);
  errno = 0;
  double a[2] = {3, 4}, b[2] = {0, 0}, r[2];
  _vtmdFmod(2, a, b, r);
  EXPECT_TRUE(std::isnan(r[0]) && std::isnan(r[1]));
  EXPECT_EQ(errno, 0);
  EXPECT_EQ(_vtmGetErrStatus(), VTM_STATUS_SINGULARITY);  // recorded before the callback
  EXPECT_EQ(Recorder::seen.size(), 2u);
}

TEST_F(ReportTest, CallbackSeesArgumentsResultsAndName) {
  double a[3] = {1, 7, 2}, b[3] = {1, 0, 1}, r[3];
  _vtmdRemainder(3, a, b, r);
  ASSERT_EQ(Recorder::seen.size(), 1u);
  const auto& s = Recorder::seen[0];
  EXPECT_EQ(s.code, VTM_STATUS_DOMAIN);
  EXPECT_EQ(s.index, 1);
  EXPECT_EQ(s.a1, 7.0);
  EXPECT_EQ(s.a2, 0.0);
  EXPECT_TRUE(std::isnan(s.r1) && std::isnan(s.r2));
  EXPECT_EQ(s.name, "vdRemainder");
  EXPECT_EQ(s.name_len, 11);
}

TEST_F(ReportTest, CallbackRunsUnderTheKernelsFloatingPointState) {
  // The caller rounds upward and unmasks zero-divide; the kernel masks all
  // exceptions and rounds to nearest, and so does the callback.
  WriteMxcsr((0x1F80 & ~0x200u) | 0x4000);
  float a[1] = {1}, b[1] = {0}, r[1];
  _vtmsDiv(1, a, b, r);
  EXPECT_EQ(Recorder::mxcsr_inside & 0xFFC0, 0x1F80u);
  EXPECT_EQ(Recorder::mxcsr_inside & 0x04, 0x04u);  // the kernel's flag, already raised
  EXPECT_EQ(ReadMxcsr() & 0xFFC0, (0x1F80 & ~0x200u) | 0x4000);
  // With flush-to-zero in the mode the callback runs flushing as well.
  _vtmSetMode(VTM_FLUSH_ZERO_ON);
  _vtmsDiv(1, a, b, r);
  EXPECT_EQ(Recorder::mxcsr_inside & 0xFFC0, 0x9FC0u);
  _vtmSetMode(0x00040000);  // any other denormal value means off
  // dInv keeps the caller's rounding: only the masks change.
  WriteMxcsr(0x1F80 | 0x4000);
  double da[1] = {0}, dr[1];
  _vtmdInv(1, da, dr);
  EXPECT_EQ(Recorder::mxcsr_inside & 0xFFC0, 0x1F80u | 0x4000u);
  EXPECT_EQ(Recorder::x87_cw_inside & 0xF3F, 0x23F);  // double-precision x87 target
}

// ---- Index, name, last report ---------------------------------------------------------

TEST_F(ReportTest, InterfaceVectorPointerMakesIndicesGlobal) {
  double whole[110] = {};
  for (double& x : whole) x = 1;
  whole[103] = 0;
  double r[10];
  _vtmSetInterfInputVectorPointer(whole);
  _vtmdInv(10, whole + 100, r);  // the chunk starts 100 doubles in
  ASSERT_EQ(Recorder::seen.size(), 1u);
  EXPECT_EQ(Recorder::seen[0].index, 103);
  // Single precision shifts by 2 bits, so a float chunk 100 elements in.
  float fw[110], fr[10];
  for (float& x : fw) x = 2;
  fw[104] = 0;
  _vtmSetInterfInputVectorPointer(fw);
  _vtmsInv(10, fw + 100, fr);
  ASSERT_EQ(Recorder::seen.size(), 2u);
  EXPECT_EQ(Recorder::seen[1].index, 104);
  // Complex double: 16-byte elements.
  VtmComplex16 zw[8] = {}, zr[8] = {};
  _vtmSetInterfInputVectorPointer(zw);
  nex::vtm::ReportZ(1, 2, zw + 5, zw + 5, zr + 5, zr + 5, "vzTest");
  EXPECT_EQ(Recorder::seen.back().index, 7);
}

TEST_F(ReportTest, LongNamesAreCutTo47Characters) {
  const std::string sixty(60, 'n');
  float a[1] = {1}, r[1] = {2};
  nex::vtm::ReportS(VTM_STATUS_OVERFLOW, 0, a, a, r, r, sixty.c_str());
  ASSERT_EQ(Recorder::seen.size(), 1u);
  EXPECT_EQ(Recorder::seen[0].name, std::string(47, 'n'));
  EXPECT_EQ(Recorder::seen[0].name_len, 47);
  nex::vtm::ReportS(VTM_STATUS_OVERFLOW, 0, a, a, r, r, "");
  EXPECT_EQ(Recorder::seen[1].name, "");
  EXPECT_EQ(Recorder::seen[1].name_len, 0);
}

TEST_F(ReportTest, LastReportWinsAndCleanCallsLeaveItStanding) {
  const float big = std::numeric_limits<float>::max();
  const float finf = std::numeric_limits<float>::infinity();
  float a[2] = {big, 5}, b[2] = {finf, 0}, r[2];
  _vtmsNextAfter(1, a, b, r);  // overflow, 3
  EXPECT_EQ(_vtmGetErrStatus(), VTM_STATUS_OVERFLOW);
  _vtmsRemainder(2, a, b, r);  // 5 rem 0 at index 1: domain, 1
  EXPECT_EQ(_vtmGetErrStatus(), VTM_STATUS_DOMAIN);
  float one[4] = {1, 2, 3, 4}, out[4];
  _vtmsInv(4, one, out);  // clean: nothing clears the word
  EXPECT_EQ(_vtmGetErrStatus(), VTM_STATUS_DOMAIN);
}

TEST_F(ReportTest, OneCallWithTwoBadElementsKeepsTheLastStatus) {
  double a[3] = {0, 1, 0}, b[3] = {1, 1, 1}, r[3];
  // NextAfter(0, 1): underflow (4) at 0 and 2, with the IEEE flag raised for
  // the caller.
  WriteMxcsr(0x1F80);
  _vtmdNextAfter(3, a, b, r);
  EXPECT_EQ(_vtmGetErrStatus(), VTM_STATUS_UNDERFLOW);
  EXPECT_TRUE(ReadMxcsr() & 0x10);
  double x[3] = {std::numeric_limits<double>::max(), 1, 0}, y[3] = {kInf, 1, 1};
  WriteMxcsr(0x1F80);
  _vtmdNextAfter(3, x, y, r);  // overflow at 0, underflow at 2
  EXPECT_EQ(_vtmGetErrStatus(), VTM_STATUS_UNDERFLOW);
  EXPECT_TRUE(ReadMxcsr() & 0x08);
  ASSERT_EQ(Recorder::seen.size(), 4u);
  EXPECT_EQ(Recorder::seen[2].code, VTM_STATUS_OVERFLOW);
  EXPECT_EQ(Recorder::seen[3].code, VTM_STATUS_UNDERFLOW);
}

// ---- Statuses without values, complex records ---------------------------------------

TEST_F(ReportTest, BadArgumentAndMemoryStatusesCarryNoValuesAndWriteNothingBack) {
  _vtmSetMode(VTM_ERRMODE_CALLBACK | VTM_ERRMODE_ERRNO);
  double a[1] = {1}, r[1] = {5};
  Recorder::replace = true;
  Recorder::replacement = 9;
  errno = 0;
  nex::vtm::ReportD(VTM_STATUS_BAD_ARGUMENT, 4, a, a, r, r, "vdExp");
  EXPECT_EQ(errno, 22);
  EXPECT_EQ(Recorder::seen.back().index, 4);
  EXPECT_EQ(r[0], 5.0);
  nex::vtm::ReportD(VTM_STATUS_BAD_MEMORY, 0, a, a, r, r, "vdExp");
  EXPECT_EQ(errno, 13);
  EXPECT_EQ(r[0], 5.0);
  nex::vtm::ReportD(77, 0, a, a, r, r, "vdExp");  // unknown: the last row
  EXPECT_EQ(errno, 14);
  EXPECT_EQ(r[0], 9.0);
  nex::vtm::ReportD(VTM_STATUS_OK, 0, a, a, r, r, "vdExp");
  EXPECT_EQ(errno, 0);
  EXPECT_EQ(_vtmGetErrStatus(), 0);
}

int32_t ComplexCallback(VtmErrorRecord* rec) {
  EXPECT_EQ(rec->a1, 1.0);
  EXPECT_EQ(rec->a1_im, 2.0);
  EXPECT_EQ(rec->a2, 3.0);
  EXPECT_EQ(rec->a2_im, 4.0);
  EXPECT_EQ(rec->r1_im, 6.0);
  EXPECT_EQ(rec->r2_im, rec->r2 == 5.0 ? 6.0 : 8.0);  // one result: r2 is r1
  rec->r1 = 10;
  rec->r1_im = 11;
  rec->r2 = 12;
  rec->r2_im = 13;
  return 0;
}

TEST_F(ReportTest, ComplexReportersCarryImaginaryPartsBothWays) {
  _vtmSetErrorCallBack(&ComplexCallback);
  VtmComplex8 a1[1] = {{1, 2}}, a2[1] = {{3, 4}}, r1[1] = {{5, 6}}, r2[1] = {{7, 8}};
  nex::vtm::ReportC(VTM_STATUS_DOMAIN, 0, a1, a2, r1, r2, "vcTest");
  EXPECT_EQ(r1[0].real, 10.0f);
  EXPECT_EQ(r1[0].imag, 11.0f);
  EXPECT_EQ(r2[0].real, 12.0f);
  EXPECT_EQ(r2[0].imag, 13.0f);
  VtmComplex16 z1[1] = {{1, 2}}, z2[1] = {{3, 4}}, s1[1] = {{5, 6}}, s2[1] = {{7, 8}};
  nex::vtm::ReportZ(VTM_STATUS_DOMAIN, 0, z1, z2, s1, s2, "vzTest");
  EXPECT_EQ(s1[0].imag, 11.0);
  EXPECT_EQ(s2[0].real, 12.0);
  // One result: the same array twice, the first result written last wins.
  VtmComplex16 one[1] = {{5, 6}};
  nex::vtm::ReportZ(VTM_STATUS_DOMAIN, 0, z1, z2, one, one, "vzTest");
  EXPECT_EQ(one[0].real, 10.0);
  EXPECT_EQ(one[0].imag, 11.0);
}

// ---- Standard error -------------------------------------------------------------------

std::string Format(int number, const char* name) {
  char buf[256];
  std::snprintf(buf, sizeof buf, nex_serv_message_text(number), name);
  return buf;
}
std::string Format(int number, int index, double v) {
  char buf[256];
  std::snprintf(buf, sizeof buf, nex_serv_message_text(number), index, v);
  return buf;
}
std::string Format(int number, const char* name, int index) {
  char buf[256];
  std::snprintf(buf, sizeof buf, nex_serv_message_text(number), name, index);
  return buf;
}

class StderrRoute : public ReportTest {
 protected:
  void SetUp() override {
    ReportTest::SetUp();
    _vtmSetMode(VTM_ERRMODE_STDERR);
  }
  template <class F>
  std::string Captured(F f) {
    ::testing::internal::CaptureStderr();
    f();
    std::fflush(stderr);
    return ::testing::internal::GetCapturedStderr();
  }
};

TEST_F(StderrRoute, OneArgumentOneResult) {
  float a[2] = {1, 0}, r[2];
  const std::string out = Captured([&] { _vtmsInv(2, a, r); });
  EXPECT_EQ(out, Format(738, "vsInv") + Format(742, 1, 0.0) + Format(743, 1, kInf));
  EXPECT_TRUE(Recorder::seen.empty());  // no callback flag in this mode
}

TEST_F(StderrRoute, ASecondArgumentOfZeroCountsAsAbsent) {
  double a[1] = {-1}, b[1] = {0}, r[1];
  const std::string out = Captured([&] { _vtmdDiv(1, a, b, r); });
  EXPECT_EQ(out, Format(738, "vdDiv") + Format(742, 0, -1.0) + Format(743, 0, -kInf));
}

TEST_F(StderrRoute, TwoArgumentsOneResult) {
  double a[1] = {0}, b[1] = {-3}, r[1];
  const std::string out = Captured([&] { _vtmdNextAfter(1, a, b, r); });
  const double tiny = -std::numeric_limits<double>::denorm_min();
  EXPECT_EQ(out, Format(740, "vdNextAfter") + Format(747, 0, 0.0) + Format(748, 0, -3.0) +
                     Format(749, 0, tiny));
}

TEST_F(StderrRoute, TwoResultShapesAndStatusesWithoutValues) {
  double a1[1] = {2}, a2[1] = {3}, r1[1] = {4}, r2[1] = {5};
  std::string out = Captured([&] { nex::vtm::ReportD(3, 0, a1, a1, r1, r2, "vdOne"); });
  EXPECT_EQ(out,
            Format(739, "vdOne") + Format(744, 0, 2.0) + Format(745, 0, 4.0) + Format(746, 0, 5.0));
  out = Captured([&] { nex::vtm::ReportD(9, 0, a1, a2, r1, r2, "vdTwo"); });
  EXPECT_EQ(out, Format(741, "vdTwo") + Format(750, 0, 2.0) + Format(751, 0, 3.0) +
                     Format(752, 0, 4.0) + Format(753, 0, 5.0));
  out = Captured([&] { nex::vtm::ReportD(-1, 6, a1, a2, r1, r2, "vdBad"); });
  EXPECT_EQ(out, Format(735, "vdBad", 6));
  out = Captured([&] { nex::vtm::ReportD(-2, 6, a1, a2, r1, r2, "vdMem"); });
  EXPECT_EQ(out, Format(736, "vdMem"));
  out = Captured([&] { nex::vtm::ReportD(0, 0, a1, a2, r1, r2, "vdNone"); });
  EXPECT_EQ(out, "");
}

// ---- Exception route with trap bits, in a child process ---------------------------------

void TrappingCall(uint32_t trap, int which) {
  _vtmSetMode(VTM_ERRMODE_EXCEPT | trap);
  float a[1] = {5}, b[1] = {0}, r[1];
  if (which == 0) _vtmsFmod(1, a, b, r);       // status 2: zero divide
  if (which == 1) _vtmsRemainder(1, a, b, r);  // status 1: invalid
  if (which == 2) {
    double x[1] = {std::numeric_limits<double>::max()}, y[1] = {kInf}, z[1];
    _vtmdNextAfter(1, x, y, z);  // status 3: overflow
  }
  if (which == 3) {
    double x[1] = {0}, y[1] = {1}, z[1];
    _vtmdNextAfter(1, x, y, z);  // status 4: underflow
  }
  std::fprintf(stderr, "no trap\n");
  std::exit(0);
}

using ReportDeathTest = ReportTest;

// Under AddressSanitizer the sanitizer takes the signal and reports it.
#if defined(__SANITIZE_ADDRESS__)
#define EXPECT_FLOATING_POINT_SIGNAL(statement) EXPECT_DEATH(statement, "FPE")
#else
#define EXPECT_FLOATING_POINT_SIGNAL(statement) \
  EXPECT_EXIT(statement, ::testing::KilledBySignal(SIGFPE), "")
#endif

TEST_F(ReportDeathTest, MatchingTrapBitRaisesTheFloatingPointSignal) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_FLOATING_POINT_SIGNAL(TrappingCall(VTM_TRAP_DIVBYZERO, 0));
  EXPECT_FLOATING_POINT_SIGNAL(TrappingCall(VTM_TRAP_INVALID, 1));
  EXPECT_FLOATING_POINT_SIGNAL(TrappingCall(VTM_TRAP_OVERFLOW, 2));
  EXPECT_FLOATING_POINT_SIGNAL(TrappingCall(VTM_TRAP_UNDERFLOW, 3));
}

TEST_F(ReportDeathTest, OtherTrapBitsOnlyLeaveTheFlag) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(TrappingCall(VTM_TRAP_INVALID | VTM_TRAP_OVERFLOW, 0), ::testing::ExitedWithCode(0),
              "no trap");
  EXPECT_EXIT(TrappingCall(VTM_TRAP_DIVBYZERO, 1), ::testing::ExitedWithCode(0), "no trap");
}

}  // namespace
