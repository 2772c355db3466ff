// The few x87 instructions the logarithm kernels need beyond plain long
// double arithmetic: the built-in constants and fyl2x. On both targets long
// double is the x87 80-bit format, so the kernels' arithmetic on it runs on
// the x87 unit at the precision the frame set in the control word.
#pragma once

#include <cstdint>

#include "service/export.hpp"

namespace nex::vtm::x87log {

// ln 2 and log10 2 as the unit holds them (64-bit significands, rounded
// under the current rounding control, which the frames set to nearest).
inline long double Ln2() {
  long double r;
  __asm__("fldln2" : "=t"(r));
  return r;
}
inline long double Lg2() {
  long double r;
  __asm__("fldlg2" : "=t"(r));
  return r;
}
inline long double L2e() {
  long double r;
  __asm__("fldl2e" : "=t"(r));
  return r;
}

// y * log2(x) in one instruction, computed to the unit's full precision
// whatever the precision control says; the masked IEEE responses apply:
// x = 0 gives -infinity (zero divide), x < 0 a NaN (invalid).
inline long double Yl2x(long double x, long double y) {
  long double r;
  __asm__("fyl2x" : "=t"(r) : "0"(x), "u"(y) : "st(1)");
  return r;
}

// Runs `call` with the unit's whole state saved and restored around it, so
// that whatever a reporter does to the control and status words does not
// outlive the call. The x87 register stack is empty at a call boundary, so
// nothing of the kernel's is lost by the save's reinitialisation.
template <class F>
NEX_NOINLINE void WithSavedState(F&& call) {
  alignas(16) unsigned char area[108];
  __asm__ volatile("fnsave %0" : "=m"(area) : : "memory");
  call();
  __asm__ volatile("frstor %0" : : "m"(area) : "memory");
}

}  // namespace nex::vtm::x87log
