// What every distribution generator shares: the floating-point and error-mode
// guard around its body, the mode change around each vector kernel call, and
// the error call-backs that turn a kernel's infinite results into finite ones.
#pragma once

#include <bit>
#include <cstdint>

#include "nex_rng.h"
#include "nex_vtm.h"

namespace nex::dist {

// The error mode a guarded body runs in: call the call-back and nothing else.
inline constexpr uint32_t kGuardErrorMode = VTM_ERRMODE_CALLBACK;
// The mode a vector call runs in: only the denormal-handling field is named,
// with a value other than flush-to-zero, so the kernel keeps denormals.
inline constexpr uint32_t kVectorCallMode = 0x140000u;

// Installs `hook` as the thread's vector-math error call-back (setting or
// clearing the call-back flag of the mode word) and returns the previous one.
VtmErrorCallBack SwapErrorCallBack(VtmErrorCallBack hook);

// Guard around a generator's body. Entering masks every x87 and SSE exception
// (loading a control word only when it differs), sets the error mode to the
// call-back alone and installs `hook`. Leaving puts back the call-back, then
// the mode (the call-back flag is part of the mode, so the mode goes last),
// clears the x87 flags raised meanwhile and reloads whichever control word was
// changed. A destructor, so every return path leaves in the same order.
class VrsFpGuard {
 public:
  explicit VrsFpGuard(VtmErrorCallBack hook);
  ~VrsFpGuard();
  VrsFpGuard(const VrsFpGuard&) = delete;
  VrsFpGuard& operator=(const VrsFpGuard&) = delete;

 private:
  static constexpr uint32_t kX87Changed = 1;
  static constexpr uint32_t kMxcsrChanged = 2;
  uint32_t changed_ = 0;
  uint16_t x87_cw_ = 0;
  uint32_t mxcsr_ = 0;
  uint32_t mode_ = 0;
  VtmErrorCallBack callback_ = nullptr;
};

// Runs `body` (returning a status) under the guard and returns its status.
template <class Body>
inline int32_t Guarded(VtmErrorCallBack hook, Body&& body) {
  VrsFpGuard guard(hook);
  return body();
}

// One vector kernel call with denormals kept; the kernel's status is not
// looked at. Note that restoring a mode whose denormal field was zero leaves
// the field as the call set it: a zero field of a mode word means "keep".
template <class Kernel, class... Args>
inline void VrsVectorCall(Kernel kernel, Args... args) {
  const uint32_t old = nex_vtm_kernel_SetMode(kVectorCallMode);
  kernel(args...);
  nex_vtm_kernel_SetMode(old);
}

// ---- Call-backs ----------------------------------------------------------
// A call-back reads the error code and the element's first argument from the
// record, writes one finite value to both result fields and returns 0, so
// that the kernel stores it and goes on.

// Finite stand-ins per precision: ln of the smallest positive number, and
// erfinv at +1 (the largest float or double x with erf(x) < 1 in rounding).
// Single-precision values are floats widened to double.
template <class T>
struct HookValues;
template <>
struct HookValues<double> {
  static constexpr double kLnTiny = std::bit_cast<double>(0xC0874385446D71C3ull);
  static constexpr double kErfInvOne = std::bit_cast<double>(0x4017744F8F74E94Aull);
};
template <>
struct HookValues<float> {
  static constexpr double kLnTiny = std::bit_cast<float>(0xC2CE8ED0u);
  static constexpr double kErfInvOne = std::bit_cast<float>(0x407547CBu);
};

enum class HookShape {
  kAnyError,     // every error gets ln(tiny)
  kSingularity,  // only singularities (ln 0) get ln(tiny); others keep the kernel's result
};

inline void WriteHookResult(VtmErrorRecord* record, double value) {
  record->r1 = value;
  record->r2 = value;
}

// The four shapes of the domain hook.
template <HookShape Shape, class T>
int32_t VrsDomainHook(VtmErrorRecord* record) {
  if (Shape == HookShape::kAnyError || record->code == VTM_STATUS_SINGULARITY)
    WriteHookResult(record, HookValues<T>::kLnTiny);
  return 0;
}

// The Gaussian hook: ln 0 becomes ln(tiny); erfinv(±1), a singularity with a
// nonzero argument, and any domain error of erfinv become ±erfinv cap.
template <class T>
int32_t VrsGaussianHook(VtmErrorRecord* record) {
  const double x = record->a1;
  const double cap = HookValues<T>::kErfInvOne;
  if (record->code == VTM_STATUS_SINGULARITY) {
    // An argument that is not a number matches none of the three cases.
    if (x == 0.0)
      WriteHookResult(record, HookValues<T>::kLnTiny);
    else if (x < 0.0)
      WriteHookResult(record, -cap);
    else if (x > 0.0)
      WriteHookResult(record, cap);
  } else if (record->code == VTM_STATUS_DOMAIN) {
    WriteHookResult(record, x < 0.0 ? -cap : cap);
  }
  return 0;
}

}  // namespace nex::dist
