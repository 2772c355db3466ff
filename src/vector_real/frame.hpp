// The floating-point frame every kernel runs in.
//
// On entry the x87 control word and MXCSR are brought to the kernel's target
// (only when they differ, remembering that they were changed); on exit the
// caller's words are put back, with the exception flags the kernel raised in
// MXCSR merged into the caller's. So a caller's unmasked exceptions never trap
// inside a kernel, and its sticky flags still learn what happened.
#pragma once

#include <cstdint>

#include "vector_frame/thread_state.hpp"

namespace nex::vtm {

enum class X87Target {
  kMasked,    // all exceptions masked, caller's precision and rounding
  kDouble,    // masked, round to nearest, 53-bit precision
  kExtended,  // masked, round to nearest, 64-bit precision
};

enum class MxcsrWay {
  kByMode,      // 0x1F80, or 0x9FC0 (FTZ+DAZ) when the mode asks for it
  kByModeUp,    // as kByMode, rounding toward +infinity (Ceil)
  kByModeDown,  // as kByMode, rounding toward -infinity (Floor)
  kByModeZero,  // as kByMode, rounding toward zero (Trunc, Modf)
  kFixed,       // 0x1F80 without reading the mode
  kKeepRounding,  // only mask exceptions; caller's rounding and flush bits stay
};

namespace fpu {

inline uint16_t read_x87_cw() {
  uint16_t cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
inline void load_x87_cw(uint16_t cw) { __asm__ volatile("fldcw %0" : : "m"(cw) : "memory"); }
inline void clear_x87_exceptions() { __asm__ volatile("fnclex" ::: "memory"); }
inline uint32_t read_mxcsr() {
  uint32_t v;
  __asm__ volatile("stmxcsr %0" : "=m"(v));
  return v;
}
inline void load_mxcsr(uint32_t v) { __asm__ volatile("ldmxcsr %0" : : "m"(v) : "memory"); }

}  // namespace fpu

inline constexpr uint32_t kMxcsrNearest = 0x1F80;
inline constexpr uint32_t kMxcsrNearestFlush = 0x9FC0;

// Target MXCSR of a way given whether the mode flushes denormals.
constexpr uint32_t MxcsrTarget(MxcsrWay way, bool flush) {
  uint32_t base = flush ? kMxcsrNearestFlush : kMxcsrNearest;
  switch (way) {
    case MxcsrWay::kByModeUp: return base | 0x4000;
    case MxcsrWay::kByModeDown: return base | 0x2000;
    case MxcsrWay::kByModeZero: return base | 0x6000;
    case MxcsrWay::kFixed: return kMxcsrNearest;
    default: return base;
  }
}

inline bool ModeFlushes(uint32_t mode) { return (mode & VTM_DENORMAL_MASK) == VTM_FLUSH_ZERO_ON; }

template <X87Target X, MxcsrWay M>
class Frame {
 public:
  Frame() {
    const uint16_t cw = fpu::read_x87_cw();
    uint16_t want = cw;
    bool differs;
    if constexpr (X == X87Target::kMasked) {
      differs = (cw & 0x3F) != 0x3F;
      want = static_cast<uint16_t>(cw | 0x3F);
    } else {
      constexpr uint16_t target = X == X87Target::kDouble ? 0x23F : 0x33F;
      differs = (cw & 0xF3F) != target;
      want = static_cast<uint16_t>((cw & 0xF0C0) + target);
    }
    if (differs) {
      fpu::clear_x87_exceptions();
      fpu::load_x87_cw(want);
      old_cw_ = cw;
      changed_ |= 1;
    }

    const uint32_t cs = fpu::read_mxcsr();
    if constexpr (M == MxcsrWay::kKeepRounding) {
      if ((cs & 0x1F80) != 0x1F80) {
        fpu::load_mxcsr(cs | 0x1F80);
        old_mxcsr_ = cs;
        changed_ |= 2;
      }
    } else {
      bool flush = false;
      if constexpr (M != MxcsrWay::kFixed) flush = ModeFlushes(GetMode());
      const uint32_t target = MxcsrTarget(M, flush);
      if ((cs & 0xFFC0) != target) {
        fpu::load_mxcsr((cs & 0xFFFF003F) | target);
        old_mxcsr_ = cs;
        changed_ |= 2;
      }
    }
  }

  ~Frame() {
    if (changed_ & 1) fpu::load_x87_cw(old_cw_);
    if (changed_ & 2) fpu::load_mxcsr(old_mxcsr_ | (fpu::read_mxcsr() & 0x3F));
  }

  Frame(const Frame&) = delete;
  Frame& operator=(const Frame&) = delete;

 private:
  uint32_t old_mxcsr_ = 0;
  uint16_t old_cw_ = 0;
  uint8_t changed_ = 0;
};

}  // namespace nex::vtm
