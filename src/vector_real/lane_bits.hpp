// Integer views of SSE2 lanes for the kernels that work on bit patterns
// (NextAfter, Fmod, Remainder), written once for both element widths.
#pragma once

#include <emmintrin.h>

#include <cstdint>

#include "vector_real/frame.hpp"
#include "vector_real/kernel_defs.hpp"
#include "vector_real/plans.hpp"
#include "vector_real/simd.hpp"

namespace nex::vtm {

template <class T>
struct LaneBits;

template <>
struct LaneBits<float> {
  using V = __m128;
  static constexpr int kPrecision = 24;  // significand bits, hidden bit included
  static constexpr int kBias = 127;
  static constexpr uint32_t kFracMask = 0x007FFFFFu;
  static constexpr uint32_t kMinNormal = 0x00800000u;

  static __m128i i(V x) { return _mm_castps_si128(x); }
  static V v(__m128i x) { return _mm_castsi128_ps(x); }
  static V xor_(V a, V b) { return _mm_xor_ps(a, b); }
  // All ones in the lanes whose sign bit is set.
  static V sign_mask(V x) { return v(_mm_srai_epi32(i(x), 31)); }
  // x - 1 - 2 * up, up all ones or zero per lane: one step of the pattern.
  static V step(V x, V up) {
    const __m128i u = i(up);
    return v(_mm_sub_epi32(_mm_sub_epi32(_mm_sub_epi32(i(x), _mm_set1_epi32(1)), u), u));
  }
  // a > b for patterns with the sign bit clear.
  static V gt(V a, V b) { return Simd<float>::int_gt_v(a, b); }
  // Lanes that are not normal numbers: zero, denormal, infinity or NaN.
  static V not_normal(V x) {
    const __m128i bias = _mm_set1_epi32(static_cast<int>(0x80000000u));
    const __m128i t =
        _mm_sub_epi32(_mm_and_si128(i(x), _mm_set1_epi32(0x7FFFFFFF)), _mm_set1_epi32(0x00800000));
    const __m128i normal =
        _mm_cmplt_epi32(_mm_xor_si128(t, bias), _mm_xor_si128(_mm_set1_epi32(0x7F000000), bias));
    return v(_mm_xor_si128(normal, _mm_set1_epi32(-1)));
  }
  // Biased exponent of each lane, in 32-bit lanes aligned with the elements.
  static __m128i exponent(V x) {
    return _mm_srli_epi32(_mm_and_si128(i(x), _mm_set1_epi32(0x7FFFFFFF)), 23);
  }
};

template <>
struct LaneBits<double> {
  using V = __m128d;
  static constexpr int kPrecision = 53;
  static constexpr int kBias = 1023;
  static constexpr uint64_t kFracMask = 0x000FFFFFFFFFFFFFull;
  static constexpr uint64_t kMinNormal = 0x0010000000000000ull;

  static __m128i i(V x) { return _mm_castpd_si128(x); }
  static V v(__m128i x) { return _mm_castsi128_pd(x); }
  // The high 32-bit word of each element in both of its halves.
  static __m128i high(V x) { return _mm_shuffle_epi32(i(x), _MM_SHUFFLE(3, 3, 1, 1)); }
  static V xor_(V a, V b) { return _mm_xor_pd(a, b); }
  static V sign_mask(V x) { return v(_mm_srai_epi32(high(x), 31)); }
  static V step(V x, V up) {
    const __m128i u = i(up);
    return v(_mm_sub_epi64(_mm_sub_epi64(_mm_sub_epi64(i(x), _mm_set1_epi64x(1)), u), u));
  }
  static V gt(V a, V b) { return Simd<double>::int_gt_v(a, b); }
  // Normality is decided by the exponent, which lies in the high word.
  static V not_normal(V x) {
    const __m128i bias = _mm_set1_epi32(static_cast<int>(0x80000000u));
    const __m128i t = _mm_sub_epi32(_mm_and_si128(high(x), _mm_set1_epi32(0x7FFFFFFF)),
                                    _mm_set1_epi32(0x00100000));
    const __m128i normal =
        _mm_cmplt_epi32(_mm_xor_si128(t, bias), _mm_xor_si128(_mm_set1_epi32(0x7FE00000), bias));
    return v(_mm_xor_si128(normal, _mm_set1_epi32(-1)));
  }
  // Biased exponent of each element, in both 32-bit halves of its lane.
  static __m128i exponent(V x) {
    return _mm_srli_epi32(_mm_and_si128(high(x), _mm_set1_epi32(0x7FFFFFFF)), 20);
  }
};

// Quiet raising of IEEE flags by an operation whose result is discarded.
template <class T>
inline void RaiseUnderflow() {
  volatile T tiny = sizeof(T) == 4 ? T(1e-30f) : T(1e-300);
  volatile T r = tiny * tiny;
  (void)r;
}
template <class T>
inline void RaiseOverflow() {
  volatile T huge = sizeof(T) == 4 ? T(1e30f) : T(1e300);
  volatile T r = huge * huge;
  (void)r;
}
// The default NaN of an invalid operation, raising the invalid flag.
template <class T>
inline T InvalidNaN() {
  volatile T zero = T(0);
  return zero / zero;
}

// A reporting kernel of two arguments and one result on plan D.
template <class Op, X87Target X, MxcsrWay M, class Report, class T = typename Op::T>
inline void RunTwoReporting(int n, const T* a, const T* b, T* r) {
  RunTwo<Op, X, M, UsePlanD, Report>(n, a, b, r);
}

}  // namespace nex::vtm
