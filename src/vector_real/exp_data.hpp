// Read-only tables and split constants of the exponential kernels. The
// values are generated (tools/exp_tables.py into exp_data.cpp); the rules are
// given there and beside each kernel.
#pragma once

#include "vector_real/x87.hpp"

namespace nex::vtm::exp_data {

// A value as an unevaluated sum hi + lo, |lo| below half an ulp of hi.
template <class T>
struct Pair {
  T hi, lo;
};

extern const double sExp[64];        // 2^(j/64) / C2
extern const Ext80 dExpLow[16];      // 2^(j/2^14) / D2
extern const Ext80 dExpMiddle[32];   // 2^(j/2^10)
extern const Ext80 dExpHigh[32];     // 2^(j/2^5)
extern const Pair<float> sExp2[64];  // 2^(j/64)
extern const Pair<double> dExp2[64];
extern const Pair<float> sExp10[128];  // 2^(j/128)
extern const Pair<double> dExp10[128];
// Expm1 of both types reads the same double pairs of 2^(j/128).
inline constexpr const Pair<double>* dExpm1 = dExp10;
inline constexpr const Pair<double>* sExpm1 = dExp10;

// log10(2)/128 and ln(2)/128 as hi + lo, the high parts short enough that
// k * hi is exact for every k the kernels meet.
extern const float kSExp10SplitHi, kSExp10SplitLo;
extern const double kDExp10SplitHi, kDExp10SplitLo;
extern const double kExpm1SplitHi, kExpm1SplitLo;
// log2(e) as an 11-bit high part (a double times it is exact in 64 bits)
// and the extended rest.
extern const Ext80 kLog2eHi, kLog2eLo;

}  // namespace nex::vtm::exp_data
