// The real uniform generator as the other distribution generators call it.
#pragma once

#include <cstdint>

#include "nex_rng.h"
#include "streams/stream.hpp"
#include "vector_real/simd.hpp"

namespace nex::dist {

using nex::vtm::Simd;

template <class T>
int32_t Generate(const VrsBrngProperties& row, VrsStream* stream, int32_t n, T* r, T a, T b) {
  if constexpr (sizeof(T) == sizeof(double))
    return row.generate_d(stream, n, r, a, b);
  else
    return row.generate_s(stream, n, r, a, b);
}

// min(b, max(a, x)) in that operand order: both SSE instructions and the
// scalar forms below return their second operand when either is not a number,
// so a NaN element passes through unchanged.
template <class T>
inline T ClampOne(T x, T a, T b) {
  const T y = a > x ? a : x;
  return b < y ? b : y;
}

template <class T>
void Clamp(T* r, int32_t n, T a, T b) {
  using S = Simd<T>;
  constexpr int32_t kLanes = S::kLanes;
  int32_t i = 0;
  if (reinterpret_cast<uintptr_t>(r) % sizeof(T) == 0) {
    for (; i < n && reinterpret_cast<uintptr_t>(r + i) % 16 != 0; ++i) r[i] = ClampOne(r[i], a, b);
    const typename S::V va = S::set1(a), vb = S::set1(b);
    for (; i + 4 * kLanes <= n; i += 4 * kLanes) {
      for (int k = 0; k < 4; ++k) {
        T* p = r + i + k * kLanes;
        S::store(p, S::min(vb, S::max(va, S::load(p))));
      }
    }
  }
  for (; i < n; ++i) r[i] = ClampOne(r[i], a, b);
}

template <class T>
int32_t RealUniform(int32_t method, VrsStream* stream, int32_t n, T* r, T a, T b) {
  const int32_t status = Generate(nex::streams::row_of(stream), stream, n, r, a, b);
  if (status < 0) return status;
  if ((method & VRS_METHOD_ACCURATE) != 0 && n > 0) Clamp(r, n, a, b);
  return status;
}

}  // namespace nex::dist
