// The generator frame: the guard restores the caller's floating-point state,
// mode and call-back on every exit; the vector call's mode; the hooks' values.
#include <gtest/gtest.h>
#include <mpfr.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "distributions/frame.hpp"
#include "distributions/test_generator.hpp"
#include "vector_frame/thread_state.hpp"
#include "vector_real/frame.hpp"

namespace {

namespace fpu = nex::vtm::fpu;
using nex::dist::Guarded;
using nex::dist::HookShape;
using nex::dist::VrsDomainHook;
using nex::dist::VrsGaussianHook;

VtmErrorCallBack CurrentCallBack() {
  return nex::vtm::GetThreadState()->err_callback;
}

int32_t CallerHook(VtmErrorRecord*) {
  return 1;
}

uint16_t X87Status() {
  uint16_t sw;
  __asm__ volatile("fnstsw %0" : "=m"(sw));
  return sw;
}

// Raises the x87 zero-divide flag (masked inside the guard).
void X87DivideByZero() {
  volatile long double zero = 0.0L;
  volatile long double q = 1.0L / zero;
  (void)q;
}

// What the body saw, and what the caller had afterwards.
struct Seen {
  uint16_t cw;
  uint32_t mxcsr;
  uint32_t mode;
  VtmErrorCallBack callback;
};

struct CallerState {
  uint16_t cw;
  uint32_t mxcsr;
  uint32_t mode;
  VtmErrorCallBack callback;
};

class DistGuard : public ::testing::TestWithParam<CallerState> {
 protected:
  void SetUp() override {
    saved_mode_ = nex_vtm_kernel_SetMode(0);
    saved_cb_ = nex::dist::SwapErrorCallBack(nullptr);
    saved_cw_ = fpu::read_x87_cw();
    saved_mxcsr_ = fpu::read_mxcsr();
  }
  void TearDown() override {
    fpu::load_x87_cw(saved_cw_);
    fpu::load_mxcsr(saved_mxcsr_);
    nex::dist::SwapErrorCallBack(saved_cb_);
    nex_vtm_kernel_SetMode(saved_mode_);
  }
  uint32_t saved_mode_ = 0, saved_mxcsr_ = 0;
  uint16_t saved_cw_ = 0;
  VtmErrorCallBack saved_cb_ = nullptr;
};

// A mode word with every field nonzero can be restored exactly by SetMode.
TEST_P(DistGuard, RestoresCallerStateAfterSuccessAndAfterAFailedDraw) {
  const CallerState caller = GetParam();
  const VtmErrorCallBack hook = VrsGaussianHook<double>;
  for (bool fail : {false, true}) {
    dist_test::TestStream s;
    if (fail) dist_test::script().fail_on_call = 1;
    nex_vtm_kernel_SetMode(caller.mode);
    nex::dist::SwapErrorCallBack(caller.callback);
    const uint32_t mode_before = nex_vtm_kernel_GetMode();
    fpu::load_mxcsr(caller.mxcsr);
    fpu::load_x87_cw(caller.cw);
    Seen inside{};
    double r[4];
    const int32_t status = Guarded(hook, [&] {
      inside = {fpu::read_x87_cw(), fpu::read_mxcsr(), nex_vtm_kernel_GetMode(), CurrentCallBack()};
      X87DivideByZero();
      return _vrsdRngUniform(0, s.get(), 4, r, 0.0, 1.0);
    });
    const Seen after{fpu::read_x87_cw(), fpu::read_mxcsr(), nex_vtm_kernel_GetMode(),
                     CurrentCallBack()};
    const uint16_t x87_flags = X87Status() & 0x3F;
    fpu::load_x87_cw(saved_cw_);
    fpu::load_mxcsr(saved_mxcsr_);

    EXPECT_EQ(status, fail ? VRS_ERROR_QUASI_PERIOD_EXHAUSTED : VRS_STATUS_OK);
    EXPECT_EQ(inside.cw, caller.cw | 0x3F);
    EXPECT_EQ(inside.mxcsr & 0xFFC0u, (caller.mxcsr | 0x1F80u) & 0xFFC0u);
    EXPECT_EQ(inside.mode & VTM_ERRMODE_MASK, VTM_ERRMODE_CALLBACK);
    EXPECT_EQ(inside.mode & ~VTM_ERRMODE_MASK, mode_before & ~VTM_ERRMODE_MASK);
    EXPECT_EQ(inside.callback, hook);
    EXPECT_EQ(after.cw, caller.cw);
    EXPECT_EQ(after.mxcsr & 0xFFC0u, caller.mxcsr & 0xFFC0u);
    EXPECT_EQ(after.mode, mode_before);
    EXPECT_EQ(after.callback, caller.callback);
    EXPECT_EQ(x87_flags, 0) << "pending x87 flags are cleared on the way out";
  }
}

std::string CallerName(const ::testing::TestParamInfo<CallerState>& info) {
  const char* names[] = {"DefaultMasked", "UnmaskedWithCallBack", "ExtendedRoundUpTraps"};
  return names[info.index];
}

INSTANTIATE_TEST_SUITE_P(
    Callers, DistGuard,
    ::testing::Values(
        // Default state, no call-back of the caller's.
        CallerState{0x037F, 0x1F80, VTM_DEFAULT_MODE | VTM_FLUSH_ZERO_ON, nullptr},
        // Unmasked exceptions on both units and a call-back of the caller's.
        CallerState{0x0372, 0x1D00, 0x00000403u | 0x140000u, CallerHook},
        // Extended precision, rounding up, flush-to-zero bits in MXCSR, traps.
        CallerState{0x0B7F, 0xDF80, VTM_ERRMODE_IGNORE | VTM_LA | 0x280000u | VTM_TRAP_OVERFLOW,
                    CallerHook}),
    CallerName);

// Flags the body raised in MXCSR disappear only when the guard had to change
// MXCSR; an unchanged word is not reloaded.
TEST_F(DistGuard, MxcsrIsReloadedOnlyWhenTheGuardChangedIt) {
  for (uint32_t caller : {0x1F80u, 0x1D80u}) {
    fpu::load_mxcsr(caller);
    Guarded(nex::dist::VrsDomainHook<HookShape::kAnyError, double>, [] {
      volatile double zero = 0.0;
      volatile double q = 1.0 / zero;  // raises the SSE zero-divide flag
      (void)q;
      return 0;
    });
    const uint32_t after = fpu::read_mxcsr();
    fpu::load_mxcsr(saved_mxcsr_);
    if (caller == 0x1F80u)
      EXPECT_EQ(after, 0x1F80u | 0x4u);
    else
      EXPECT_EQ(after, caller);
  }
}

// ---- Vector call ---------------------------------------------------------------

uint32_t g_mode_in_kernel = 0;
void ModeProbe(int n, const double* a, double* r) {
  g_mode_in_kernel = nex_vtm_kernel_GetMode();
  for (int i = 0; i < n; ++i) r[i] = a[i];
}

TEST_F(DistGuard, VectorCallSetsOnlyTheDenormalFieldForTheCall) {
  const double a[2] = {1.0, 2.0};
  double r[2];
  nex_vtm_kernel_SetMode(VTM_DEFAULT_MODE | VTM_FLUSH_ZERO_ON);
  const uint32_t before = nex_vtm_kernel_GetMode();
  nex::dist::VrsVectorCall(ModeProbe, 2, a, r);
  EXPECT_EQ(g_mode_in_kernel, (before & ~VTM_DENORMAL_MASK) | 0x140000u);
  EXPECT_EQ(nex_vtm_kernel_GetMode(), before);
  EXPECT_EQ(r[1], 2.0);
}

// ---- Hooks -------------------------------------------------------------------------

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Runs a hook on a record with results preset to a marker; returns r1 (and
// checks that r2 got the same, and the hook returned 0).
double RunHook(VtmErrorCallBack hook, int32_t code, double x) {
  VtmErrorRecord rec{};
  rec.code = code;
  rec.a1 = rec.a2 = x;
  rec.r1 = rec.r2 = 123.0;
  EXPECT_EQ(hook(&rec), 0);
  EXPECT_TRUE(std::memcmp(&rec.r1, &rec.r2, sizeof(double)) == 0);
  return rec.r1;
}

uint64_t Bits(double x) {
  uint64_t b;
  std::memcpy(&b, &x, sizeof b);
  return b;
}

TEST(DistHooks, DomainHooksWriteTheLogarithmOfTheSmallestNumber) {
  const double ln_d = std::bit_cast<double>(0xC0874385446D71C3ull);
  const double ln_s = -103.2789306640625;
  struct Case {
    VtmErrorCallBack hook;
    bool any;
    double value;
  } cases[] = {{VrsDomainHook<HookShape::kAnyError, double>, true, ln_d},
               {VrsDomainHook<HookShape::kAnyError, float>, true, ln_s},
               {VrsDomainHook<HookShape::kSingularity, double>, false, ln_d},
               {VrsDomainHook<HookShape::kSingularity, float>, false, ln_s}};
  for (const Case& c : cases) {
    for (double x : {0.0, -0.0, -1.0, 1.0, kNaN}) {
      for (int32_t code : {1, 2, 3, 4}) {
        const double got = RunHook(c.hook, code, x);
        const bool writes = c.any || code == VTM_STATUS_SINGULARITY;
        EXPECT_EQ(Bits(got), Bits(writes ? c.value : 123.0)) << "code " << code << " x " << x;
      }
    }
  }
}

template <class T>
class DistGaussianHook : public ::testing::Test {};
using HookTypes = ::testing::Types<float, double>;
TYPED_TEST_SUITE(DistGaussianHook, HookTypes);

TYPED_TEST(DistGaussianHook, CapsLogOfZeroAndInverseErfAtBothEnds) {
  using T = TypeParam;
  const bool d = sizeof(T) == 8;
  const double ln0 = d ? std::bit_cast<double>(0xC0874385446D71C3ull) : -103.2789306640625;
  const double cap =
      d ? std::bit_cast<double>(0x4017744F8F74E94Aull) : double(std::bit_cast<float>(0x407547CBu));
  const VtmErrorCallBack hook = VrsGaussianHook<T>;
  EXPECT_EQ(RunHook(hook, 2, 0.0), ln0);
  EXPECT_EQ(RunHook(hook, 2, -0.0), ln0);
  EXPECT_EQ(RunHook(hook, 2, -1.0), -cap);
  EXPECT_EQ(RunHook(hook, 2, 1.0), cap);
  EXPECT_EQ(RunHook(hook, 2, kNaN), 123.0);
  EXPECT_EQ(RunHook(hook, 1, -2.0), -cap);
  EXPECT_EQ(RunHook(hook, 1, 2.0), cap);
  EXPECT_EQ(RunHook(hook, 1, 0.0), cap);
  EXPECT_EQ(RunHook(hook, 1, kNaN), cap);
  EXPECT_EQ(RunHook(hook, 3, 1.0), 123.0);
  EXPECT_EQ(RunHook(hook, 4, -1.0), 123.0);
  EXPECT_EQ(RunHook(hook, 0, 0.0), 123.0);
}

// The constants against MPFR: ln of the smallest positive subnormal rounds to
// the logarithm stand-in, and the inverse-erf cap is erfinv(1 - 2^-p), where
// 1 - 2^-p is the largest number of the format below 1.
TYPED_TEST(DistGaussianHook, ConstantsAreTheirMathematicalValues) {
  using T = TypeParam;
  constexpr int kBits = std::numeric_limits<T>::digits;
  mpfr_t x, y;
  mpfr_inits2(200, x, y, (mpfr_ptr)0);
  mpfr_set_d(x, std::numeric_limits<T>::denorm_min(), MPFR_RNDN);
  mpfr_log(y, x, MPFR_RNDN);
  const T ln_tiny = sizeof(T) == 8 ? T(mpfr_get_d(y, MPFR_RNDN)) : mpfr_get_flt(y, MPFR_RNDN);
  EXPECT_EQ(double(ln_tiny), nex::dist::HookValues<T>::kLnTiny);

  const double cap = nex::dist::HookValues<T>::kErfInvOne;
  mpfr_set_d(x, cap, MPFR_RNDN);
  mpfr_erf(y, x, MPFR_RNDN);
  // (1 - erf(cap)) 2^p is 1 up to the cap's own rounding (erf' there is
  // about 2^-p, so one ulp of the cap moves it by far less than 1e-5).
  mpfr_ui_sub(y, 1, y, MPFR_RNDN);
  mpfr_mul_2si(y, y, kBits, MPFR_RNDN);
  EXPECT_NEAR(mpfr_get_d(y, MPFR_RNDN), 1.0, 1e-5);
  mpfr_clears(x, y, (mpfr_ptr)0);
}

}  // namespace
