// Characteristic polynomials of the two twisters for the polynomial jump
// (generated, see jump_tables.cpp).
#pragma once

#include <cstdint>

inline constexpr int32_t kMt19937JumpDegree = 19937;
inline constexpr int32_t kMt19937JumpTerms = 135;
inline constexpr int32_t kSfmt19937JumpDegree = 19968;
inline constexpr int32_t kSfmt19937JumpTerms = 6711;

extern "C" {
extern const uint32_t VrsMt19937JumpTable[kMt19937JumpTerms];
extern const uint32_t VrsSfmt19937JumpTable[kSfmt19937JumpTerms];
}
