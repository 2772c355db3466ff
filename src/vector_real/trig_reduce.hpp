// Exact reduction of a large argument by a fraction of pi.
//
// For finite x with |x| >= 1 and 0 <= b <= 16, ReduceByPi finds the integer
// n nearest to x 2^b / pi and the remainder r = x - n pi / 2^b, with
// |r| <= pi / 2^(b+1), as a sum of two doubles r_hi + r_lo. It returns n
// modulo 2^(b+1) (one full period of sine and cosine).
//
// Method (Payne and Hanek): x = m 2^e with an integer m of 53 bits. Bits of
// 1/pi whose product with m 2^e is an even integer cannot change x/pi modulo
// 2 and are skipped; the next 224 bits are multiplied by m exactly in 32-bit
// limbs. The product holds x/pi modulo 2 with at least 160 fraction bits;
// the bits of 1/pi left out change it by less than 2^-139. Since no double
// lies closer to a multiple of pi/2^b than about 2^-62 times its own size,
// the remainder keeps more than 70 correct leading bits, and r_hi + r_lo is
// r to about 2^-104 relative.
#pragma once

#include <cstdint>

namespace nex::vtm::trig {

uint32_t ReduceByPi(double x, int b, double* r_hi, double* r_lo);

// Error-free transformations (round to nearest, no fused multiply-add).
struct Exact {
  // a + b = s + e exactly.
  static void TwoSum(double a, double b, double* s, double* e) {
    const double t = a + b;
    const double bb = t - a;
    *e = (a - (t - bb)) + (b - bb);
    *s = t;
  }
  // a b = p + e exactly (Dekker), for |a|, |b| well inside the range.
  static void TwoProd(double a, double b, double* p, double* e) {
    constexpr double kSplit = 134217729.0;  // 2^27 + 1
    const double ca = kSplit * a, cb = kSplit * b;
    const double ah = ca - (ca - a), al = a - ah;
    const double bh = cb - (cb - b), bl = b - bh;
    const double t = a * b;
    *e = ((ah * bh - t) + ah * bl + al * bh) + al * bl;
    *p = t;
  }
};

}  // namespace nex::vtm::trig
