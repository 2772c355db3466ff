// Helpers for vector-kernel tests: bit access, MXCSR control, and a data set
// of ordinary and special values.
#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

namespace nex::test {

template <class T>
using BitsOf = std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t>;

template <class T>
BitsOf<T> Bits(T x) {
  BitsOf<T> b;
  std::memcpy(&b, &x, sizeof b);
  return b;
}
template <class T>
T FromBits(BitsOf<T> b) {
  T x;
  std::memcpy(&x, &b, sizeof x);
  return x;
}

// Equal as results: identical bits, or both NaN with the same sign and both
// quiet or both signaling. On 32-bit x86 a float returned by value travels
// through the x87 stack, which quiets it, so there quietness can't be told
// through an oracle's return value and only the sign is compared.
template <class T>
bool SameResult(T a, T b) {
  if (a != a && b != b) {
#if defined(__i386__)
    return std::signbit(a) == std::signbit(b);
#else
    constexpr BitsOf<T> quiet = sizeof(T) == 4 ? 0x00400000u : 0x0008000000000000ull;
    return std::signbit(a) == std::signbit(b) && (Bits(a) & quiet) == (Bits(b) & quiet);
#endif
  }
  return Bits(a) == Bits(b);
}

inline uint32_t ReadMxcsr() {
  uint32_t v;
  __asm__ volatile("stmxcsr %0" : "=m"(v));
  return v;
}
inline void WriteMxcsr(uint32_t v) { __asm__ volatile("ldmxcsr %0" : : "m"(v)); }
inline uint16_t ReadX87Cw() {
  uint16_t v;
  __asm__ volatile("fnstcw %0" : "=m"(v));
  return v;
}
inline void WriteX87Cw(uint16_t v) { __asm__ volatile("fldcw %0" : : "m"(v)); }

// Restores MXCSR and the x87 control word at scope exit.
class FpStateGuard {
 public:
  FpStateGuard() : mxcsr_(ReadMxcsr()), cw_(ReadX87Cw()) {}
  ~FpStateGuard() {
    WriteMxcsr(mxcsr_);
    __asm__ volatile("fnclex");
    WriteX87Cw(cw_);
  }

 private:
  uint32_t mxcsr_;
  uint16_t cw_;
};

template <class T>
T SignalingNan() {
  return sizeof(T) == 4 ? FromBits<T>(static_cast<BitsOf<T>>(0x7FA00000u))
                        : FromBits<T>(static_cast<BitsOf<T>>(0x7FF4000000000000ull));
}

// Special values followed by random values over many magnitudes, with many
// exact halves and integers (the rounding ties).
template <class T>
std::vector<T> TestValues(size_t count, uint32_t seed) {
  using L = std::numeric_limits<T>;
  std::vector<T> v = {T(0),        -T(0),        T(0.5),       -T(0.5),         T(1.5),
                      T(2.5),      -T(2.5),      T(0.49999997), T(1),           -T(1),
                      L::infinity(), -L::infinity(), L::quiet_NaN(), -L::quiet_NaN(),
                      SignalingNan<T>(), L::denorm_min(), -L::denorm_min(), L::min(), L::max(),
                      -L::max(),   std::ldexp(T(1), L::digits - 1), std::ldexp(T(1), L::digits),
                      std::ldexp(T(1), L::digits - 1) + T(0.5), -std::ldexp(T(1), L::digits - 2) - T(0.5),
                      T(3.5),      T(-3.5),      T(0.75),       T(1e30),         T(-7.25)};
  std::mt19937 gen(seed);
  std::uniform_real_distribution<double> mant(-1.0, 1.0);
  std::uniform_int_distribution<int> ex(-10, L::digits + 4);
  std::uniform_int_distribution<int> kind(0, 3);
  while (v.size() < count) {
    const int k = kind(gen);
    if (k == 0) {
      v.push_back(T(std::round(mant(gen) * 64) / 2));  // exact halves
    } else {
      v.push_back(static_cast<T>(std::ldexp(mant(gen), ex(gen))));
    }
  }
  return v;
}

}  // namespace nex::test
