// Extended precision on the x87 unit, for kernels whose arithmetic runs
// there (the frame sets the unit's precision: 53 bits for the x87-double
// row, 64 bits for the extended row). `long double` is the x87 register
// format on both targets; only its storage size differs (12 bytes on
// 32-bit x86, 16 on x86-64), so tables hold 80-bit values in a layout of
// their own and are loaded through LoadExt.
#pragma once

#include <cstdint>
#include <cstring>

#include "service/export.hpp"

namespace nex::vtm {

// One 80-bit extended value in 16 bytes: the 64-bit significand (explicit
// leading bit) and the sign-and-exponent word (bias 16383).
struct alignas(16) Ext80 {
  uint64_t significand;
  uint16_t exponent;
};
static_assert(sizeof(Ext80) == 16);

// Read in place by one 80-bit load (a copy through a local would be two
// narrow stores and a wide load, which the processor cannot forward).
typedef long double __attribute__((may_alias)) ExtAlias;
inline long double LoadExt(const Ext80& e) {
  return *reinterpret_cast<const ExtAlias*>(&e);
}

// 2^k as an extended value, for -16382 <= k <= 16383: wide enough that a
// double result in the subnormal range is reached in one rounding.
inline long double Pow2Ext(int32_t k) {
  const Ext80 e{0x8000000000000000ull, static_cast<uint16_t>(16383 + k)};
  return LoadExt(e);
}

}  // namespace nex::vtm

// The unit's built-in constants and fyl2x, for the logarithm kernels.
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
