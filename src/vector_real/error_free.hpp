// Error-free transformations in double precision (round to nearest), for
// scalar routines that carry a result as an unevaluated sum hi + lo.
#pragma once

#include <cstdint>

#include "vector_real/simd.hpp"

namespace nex::vtm {

struct DoubleDouble {
  double hi, lo;
};

// a + b = s + e exactly, in any order of magnitude.
inline DoubleDouble TwoSum(double a, double b) {
  const double s = a + b;
  const double bb = s - a;
  return {s, (a - (s - bb)) + (b - bb)};
}

// a * b = p + e exactly (no overflow assumed), by Veltkamp's split into
// 26-bit halves, so that the partial products are exact without a fused
// multiply-add.
inline DoubleDouble TwoProduct(double a, double b) {
  constexpr double kSplit = 134217729.0;  // 2^27 + 1
  const double ca = kSplit * a, cb = kSplit * b;
  const double ah = ca - (ca - a), al = a - ah;
  const double bh = cb - (cb - b), bl = b - bh;
  const double p = a * b;
  return {p, ((ah * bh - p) + ah * bl + al * bh) + al * bl};
}

// 2^e as a double, for -1022 <= e <= 1023.
inline double Pow2(int32_t e) {
  return from_bits<double>(static_cast<uint64_t>(e + 1023) << 52);
}

// y * 2^e for any e in [-2100, 2100], rounded once: the first factor keeps
// the product normal, the second one produces the overflow or the subnormal.
inline double ScaleByPow2(double y, int32_t e) {
  if (e > 1000) return (y * Pow2(e - 1000)) * Pow2(1000);
  if (e < -1000) return (y * Pow2(e + 1000)) * Pow2(-1000);
  return y * Pow2(e);
}

// (hi + lo) * 2^e rounded once, for a result that may be subnormal (e >= -1075, hi
// and hi + lo positive, in [0.5, 2), |lo| below an ulp of hi). Scaled by 2^(e + 1074), the
// subnormal quantum becomes 1: hi (positive) is rounded to an integer by the
// shifter 2^52, and the part lost there, with lo, decides a step up or down.
// (A tie between hi + lo and two neighbours, exact to all bits, rounds as hi
// alone does.) A normal result takes the plain scaling.
inline double ScaleToSubnormal(double hi, double lo, int32_t e) {
  constexpr double kShift = 4503599627370496.0;  // 2^52
  const double up = Pow2(e + 1074);
  const double w_hi = hi * up, w_lo = lo * up;         // exact: powers of two in range
  if (w_hi >= kShift) return ScaleByPow2(hi + lo, e);  // 2^52: normal
  double s = w_hi + kShift;
  const double f = (w_hi - (s - kShift)) + w_lo;
  if (f > 0.5) s += 1.0;
  if (f < -0.5) s -= 1.0;
  return ((s - kShift) * Pow2(-1000)) * Pow2(-74);
}

}  // namespace nex::vtm
