// The real uniform generator as the other distribution generators call it.
#pragma once

#include <cstdint>

#include "nex_rng.h"
#include "streams/stream.hpp"
#include "distributions/transform.hpp"

namespace nex::dist {

template <class T>
int32_t Generate(const VrsBrngProperties& row, VrsStream* stream, int32_t n, T* r, T a, T b) {
  if constexpr (sizeof(T) == sizeof(double))
    return row.generate_d(stream, n, r, a, b);
  else
    return row.generate_s(stream, n, r, a, b);
}

// min(b, max(a, x)) in that operand order: both return their second operand
// when either is not a number, so a NaN element passes through unchanged.
template <class T>
void Clamp(T* r, int32_t n, T a, T b) {
  Transform(
      r, n,
      [=](auto x) {
        using X = decltype(x);
        return MinOr2nd(Splat<X>(b), MaxOr2nd(Splat<X>(a), x));
      },
      static_cast<const T*>(r));
}

template <class T>
int32_t RealUniform(int32_t method, VrsStream* stream, int32_t n, T* r, T a, T b) {
  const int32_t status = Generate(nex::streams::row_of(stream), stream, n, r, a, b);
  if (status < 0) return status;
  if ((method & VRS_METHOD_ACCURATE) != 0 && n > 0) Clamp(r, n, a, b);
  return status;
}

}  // namespace nex::dist
