// The element-wise loops of the distribution generators, written once for
// scalars and SSE2 registers: an element-wise head up to 16-byte alignment of
// the output, four-way unrolled 16-byte operations, an element-wise tail. The
// operation is a generic lambda applied to T or to the register type, so the
// order of operations in an element is the same in head, body and tail. An
// output that is not aligned to its element size never reaches 16-byte
// alignment and is done element by element throughout.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "vector_real/simd.hpp"

namespace nex::dist {

using nex::vtm::Simd;

// The constant c as an X: itself for a scalar, broadcast for a register.
template <class X, class T>
inline X Splat(T c) {
  if constexpr (std::is_same_v<X, T>)
    return c;
  else
    return Simd<T>::set1(c);
}

// max(p, q) and min(p, q) that return q when either is not a number, as the
// SSE instructions do.
inline float MaxOr2nd(float p, float q) {
  return p > q ? p : q;
}
inline double MaxOr2nd(double p, double q) {
  return p > q ? p : q;
}
inline __m128 MaxOr2nd(__m128 p, __m128 q) {
  return _mm_max_ps(p, q);
}
inline __m128d MaxOr2nd(__m128d p, __m128d q) {
  return _mm_max_pd(p, q);
}
inline float MinOr2nd(float p, float q) {
  return p < q ? p : q;
}
inline double MinOr2nd(double p, double q) {
  return p < q ? p : q;
}
inline __m128 MinOr2nd(__m128 p, __m128 q) {
  return _mm_min_ps(p, q);
}
inline __m128d MinOr2nd(__m128d p, __m128d q) {
  return _mm_min_pd(p, q);
}

// out[i] = f(in[i]...) for i in [0, n); an input may be the output itself.
template <class T, class F, class... In>
inline void Transform(T* out, int32_t count, F f, const In*... in) {
  using S = Simd<T>;
  constexpr std::ptrdiff_t kLanes = S::kLanes;
  const std::ptrdiff_t n = count;
  std::ptrdiff_t i = 0;
  for (; i < n && reinterpret_cast<uintptr_t>(out + i) % 16 != 0; ++i) out[i] = f(in[i]...);
  for (; n - i >= 4 * kLanes; i += 4 * kLanes) {
    for (std::ptrdiff_t k = i; k < i + 4 * kLanes; k += kLanes)
      S::store(out + k, f(S::loadu(in + k)...));
  }
  for (; i < n; ++i) out[i] = f(in[i]...);
}

}  // namespace nex::dist
