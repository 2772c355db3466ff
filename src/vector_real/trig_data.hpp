// Constant tables of the trigonometric kernels (generated into trig_data.cpp
// by tools/gen_trig_tables.py).
#pragma once

#include <cstdint>

namespace nex::vtm::trig {

// Bits of 1/pi after the binary point, 32 to a word, most significant first.
inline constexpr int kRecipPiWords = 40;
extern const uint32_t kRecipPi[kRecipPiWords];

// Row j, for the angle a = j pi/256: sin(a) as a double and the rest,
// cos(a) rounded to 27 significant bits (so that its product with a 26-bit
// number is exact) and the rest.
extern const double kSinCos256[512][4];

// Row E: 2^(E - 150) 256/pi modulo 512 in four parts of 28 bits, for the
// packed reduction of large single-precision arguments (E their biased
// exponent).
extern const double kRecipPiSingle[256][4];

// Row E - kDoubleRowBase: 2^(E - 1075) 256/pi modulo 512 in six parts of 26
// bits, for the packed reduction of doubles with biased exponent E, from
// 2^19 up.
inline constexpr int kDoubleRowBase = 1042;
inline constexpr int kDoubleRows = 2047 - kDoubleRowBase;
extern const double kRecipPiDouble[kDoubleRows][6];

}  // namespace nex::vtm::trig
