// Constant tables of the root kernels (generated into roots_data.cpp by
// tools/roots_tables.py).
#pragma once

namespace nex::vtm::roots {

// 1/sqrt(f * c) for the centre c of each of 256 rows of [1, 2), f = 1 for an
// even exponent (first row) and 2 for an odd one (second row): the seed of
// the single-precision Newton iteration, good to 9 bits.
extern const float kSqrtRecip[2][256];

// Quadratic c0 + c1 u + c2 u^2 for 1/sqrt(1 + i/128 + u), u in [0, 1/128),
// near-minimax (Chebyshev interpolation), relative error below 2^-27.
extern const double kSqrtQuadratic[128][3];

// By the low bit of the biased exponent E: the factor that, together with
// the exponent 0x5FE - floor(E / 2), turns 1/sqrt(mantissa) into 1/sqrt(x).
extern const double kSqrtFactor[2];

// One row of the cube-root table, for mantissas [1 + j/64, 1 + (j+1)/64):
// a 9-bit reciprocal r of the row centre and the cube roots of 1/r and r.
struct CbrtRow {
  double r;
  double cbrt_hi, cbrt_lo;          // cbrt(1/r)
  double inv_cbrt_hi, inv_cbrt_lo;  // cbrt(r)
};
extern const CbrtRow kCbrt[64];

// 2^(k/3) and 2^(-k/3) for k = 0, 1, 2, each as hi and lo parts.
extern const double kCbrtScale[3][2];
extern const double kInvCbrtScale[3][2];

}  // namespace nex::vtm::roots
