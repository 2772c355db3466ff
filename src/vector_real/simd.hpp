// SSE2 traits: one register type per element type, and the few operations the
// plain kernels need, so that the kernels are written once for both widths.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

namespace nex::vtm {

template <class T>
struct Simd;

template <>
struct Simd<float> {
  using V = __m128;
  using Bits = uint32_t;
  static constexpr int kLanes = 4;
  static constexpr Bits kSign = 0x80000000u;
  static constexpr Bits kAbs = 0x7FFFFFFFu;
  static constexpr Bits kExpMask = 0x7F800000u;
  static constexpr Bits kRoundConst = 0x4B000000u;  // 2^23
  static constexpr Bits kOne = 0x3F800000u;
  static constexpr Bits kHalf = 0x3F000000u;

  static V loadu(const float* p) { return _mm_loadu_ps(p); }
  static V load(const float* p) { return _mm_load_ps(p); }
  static void storeu(float* p, V v) { _mm_storeu_ps(p, v); }
  static void store(float* p, V v) { _mm_store_ps(p, v); }
  static V set1(float x) { return _mm_set1_ps(x); }
  static V bits(Bits b) { return _mm_castsi128_ps(_mm_set1_epi32(static_cast<int>(b))); }
  static V add(V a, V b) { return _mm_add_ps(a, b); }
  static V sub(V a, V b) { return _mm_sub_ps(a, b); }
  static V mul(V a, V b) { return _mm_mul_ps(a, b); }
  static V div(V a, V b) { return _mm_div_ps(a, b); }
  static V max(V a, V b) { return _mm_max_ps(a, b); }
  static V min(V a, V b) { return _mm_min_ps(a, b); }
  static V and_(V a, V b) { return _mm_and_ps(a, b); }
  static V andnot(V a, V b) { return _mm_andnot_ps(a, b); }
  static V or_(V a, V b) { return _mm_or_ps(a, b); }
  static V cmpeq(V a, V b) { return _mm_cmpeq_ps(a, b); }
  static V cmplt(V a, V b) { return _mm_cmplt_ps(a, b); }
  static V cmpgt(V a, V b) { return _mm_cmpgt_ps(a, b); }
  static V blend(V mask, V yes, V no) { return _mm_or_ps(_mm_and_ps(mask, yes), _mm_andnot_ps(mask, no)); }
  // Lanes where a > b as signed integers; for patterns with the sign bit
  // clear (|x|) that is the order of the magnitudes.
  static V int_gt_v(V a, V b) {
    return _mm_castsi128_ps(_mm_cmpgt_epi32(_mm_castps_si128(a), _mm_castps_si128(b)));
  }
  static V int_gt(V a, Bits limit) { return int_gt_v(a, bits(limit)); }
  static V int_eq(V a, Bits value) {
    return _mm_castsi128_ps(
        _mm_cmpeq_epi32(_mm_castps_si128(a), _mm_set1_epi32(static_cast<int>(value))));
  }
  static int movemask(V m) { return _mm_movemask_ps(m); }
};

template <>
struct Simd<double> {
  using V = __m128d;
  using Bits = uint64_t;
  static constexpr int kLanes = 2;
  static constexpr Bits kSign = 0x8000000000000000ull;
  static constexpr Bits kAbs = 0x7FFFFFFFFFFFFFFFull;
  static constexpr Bits kExpMask = 0x7FF0000000000000ull;
  static constexpr Bits kRoundConst = 0x4330000000000000ull;  // 2^52
  static constexpr Bits kOne = 0x3FF0000000000000ull;
  static constexpr Bits kHalf = 0x3FE0000000000000ull;

  static V loadu(const double* p) { return _mm_loadu_pd(p); }
  static V load(const double* p) { return _mm_load_pd(p); }
  static void storeu(double* p, V v) { _mm_storeu_pd(p, v); }
  static void store(double* p, V v) { _mm_store_pd(p, v); }
  static V set1(double x) { return _mm_set1_pd(x); }
  static V bits(Bits b) {
    double d;
    std::memcpy(&d, &b, sizeof d);
    return _mm_set1_pd(d);
  }
  static V add(V a, V b) { return _mm_add_pd(a, b); }
  static V sub(V a, V b) { return _mm_sub_pd(a, b); }
  static V mul(V a, V b) { return _mm_mul_pd(a, b); }
  static V div(V a, V b) { return _mm_div_pd(a, b); }
  static V max(V a, V b) { return _mm_max_pd(a, b); }
  static V min(V a, V b) { return _mm_min_pd(a, b); }
  static V and_(V a, V b) { return _mm_and_pd(a, b); }
  static V andnot(V a, V b) { return _mm_andnot_pd(a, b); }
  static V or_(V a, V b) { return _mm_or_pd(a, b); }
  static V cmpeq(V a, V b) { return _mm_cmpeq_pd(a, b); }
  static V cmplt(V a, V b) { return _mm_cmplt_pd(a, b); }
  static V cmpgt(V a, V b) { return _mm_cmpgt_pd(a, b); }
  static V blend(V mask, V yes, V no) { return _mm_or_pd(_mm_and_pd(mask, yes), _mm_andnot_pd(mask, no)); }
  // 64-bit signed compare from 32-bit SSE2 compares: the high words decide
  // unless they are equal, then the low words compared unsigned.
  static V int_gt_v(V a, V b) {
    const __m128i x = _mm_castpd_si128(a), y = _mm_castpd_si128(b);
    const __m128i bias = _mm_set1_epi32(static_cast<int>(0x80000000u));
    const __m128i gt_s = _mm_cmpgt_epi32(x, y);
    const __m128i gt_u = _mm_cmpgt_epi32(_mm_xor_si128(x, bias), _mm_xor_si128(y, bias));
    const __m128i eq = _mm_cmpeq_epi32(x, y);
    const __m128i lo_gt = _mm_shuffle_epi32(gt_u, _MM_SHUFFLE(2, 2, 0, 0));
    const __m128i hi_gt = _mm_shuffle_epi32(gt_s, _MM_SHUFFLE(3, 3, 1, 1));
    const __m128i hi_eq = _mm_shuffle_epi32(eq, _MM_SHUFFLE(3, 3, 1, 1));
    return _mm_castsi128_pd(_mm_or_si128(hi_gt, _mm_and_si128(hi_eq, lo_gt)));
  }
  static V int_gt(V a, Bits limit) { return int_gt_v(a, bits(limit)); }
  static V int_eq(V a, Bits value) {
    const __m128i e = _mm_cmpeq_epi32(_mm_castpd_si128(a), _mm_set1_epi64x(static_cast<long long>(value)));
    return _mm_castsi128_pd(_mm_and_si128(e, _mm_shuffle_epi32(e, _MM_SHUFFLE(2, 3, 0, 1))));
  }
  static int movemask(V m) { return _mm_movemask_pd(m); }
};

template <class T>
inline typename Simd<T>::Bits to_bits(T x) {
  typename Simd<T>::Bits b;
  std::memcpy(&b, &x, sizeof b);
  return b;
}
template <class T>
inline T from_bits(typename Simd<T>::Bits b) {
  T x;
  std::memcpy(&x, &b, sizeof x);
  return x;
}

}  // namespace nex::vtm
