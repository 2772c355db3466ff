// Pieces shared by the congruential and lagged generators: exact word to
// double conversion and the three output forms of one generator core.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <cstring>

#include "nex_rng.h"
#include "streams/stream.hpp"

namespace nex::generators {

// A 32-bit word placed in the mantissa of 2^52, minus 2^52: exact, and with
// no integer-to-float conversion instruction (which has no unsigned form in
// the 32-bit build).
inline double u32_to_double(uint32_t w) {
  const uint64_t bits = 0x4330000000000000ull | w;
  double d;
  std::memcpy(&d, &bits, sizeof d);
  return d - 4503599627370496.0;
}

// A 59-bit word: its high 27 bits in the mantissa of 2^84 (exact multiples of
// 2^32), its low 32 bits as above; the one rounding is in the final sum.
inline double u59_to_double(uint64_t w) {
  const uint64_t hi_bits = 0x4530000000000000ull | (w >> 32);
  double hi;
  std::memcpy(&hi, &hi_bits, sizeof hi);
  return (hi - 1.9342813113834067e25) + u32_to_double(static_cast<uint32_t>(w));
}

// Packed forms of the conversions above, two lanes at a time.

// Exponent halves of the bit patterns of 2^52 and 2^84.
constexpr uint32_t kExp52 = 0x43300000u;
constexpr uint32_t kExp84 = 0x45300000u;

// Four 32-bit words to their exact values as doubles: each word becomes the
// low half of a 2^52 pattern, two lanes per register, then 2^52 comes off.
inline void u32x4_to_double(__m128i w, __m128d& d01, __m128d& d23) {
  const __m128i e = _mm_set1_epi32(static_cast<int>(kExp52));
  const __m128d bias = _mm_set1_pd(4503599627370496.0);
  d01 = _mm_sub_pd(_mm_castsi128_pd(_mm_unpacklo_epi32(w, e)), bias);
  d23 = _mm_sub_pd(_mm_castsi128_pd(_mm_unpackhi_epi32(w, e)), bias);
}

// Two 59-bit words given as ready bit patterns: hi = 2^84 + h 2^32 and
// lo = 2^52 + l. hi - (2^84 + 2^52) = h 2^32 - 2^52 is exact (a multiple of
// 2^32 below 2^59 in magnitude), so the sum h 2^32 + l is rounded once, as
// in u59_to_double, in every rounding mode; one subtraction fewer per pair.
inline __m128d u59x2_to_double(__m128d hi, __m128d lo) {
  return _mm_add_pd(_mm_sub_pd(hi, _mm_set1_pd(0x1.00000001p+84)), lo);
}

// word x scale + a on two lanes, stored as two Reals (narrowed for float).
struct PackedAffine {
  __m128d scale;
  __m128d a;
  PackedAffine(double s, double offset) : scale(_mm_set1_pd(s)), a(_mm_set1_pd(offset)) {}
  __m128d operator()(__m128d v) const { return _mm_add_pd(_mm_mul_pd(v, scale), a); }
};

// Large requests write far more than the caches hold, and each store that
// misses waits for its line; asking for the line 4 KiB ahead of the stores
// lets those requests overlap the arithmetic. A prefetch never faults, so
// running past the end of the output is harmless.
inline void prefetch_output(const void* p) {
  _mm_prefetch(static_cast<const char*>(p) + 4096, _MM_HINT_T0);
}

inline void store_pair(double* r, __m128d v) {
  _mm_storeu_pd(r, v);
}
inline void store_pair(float* r, __m128d v) {
  _mm_storel_pi(reinterpret_cast<__m64*>(r), _mm_cvtpd_ps(v));
}

// Output sinks: an integer word store, and the real forms, which compute in
// double (word x scale + a) and narrow at the store.
template <class Word>
struct WordSink {
  Word* r;
  static constexpr int32_t kPerLine = 64 / sizeof(Word);  // elements per cache line
  void operator()(int32_t i, Word w) const { r[i] = w; }
  void prefetch(int32_t i) const { prefetch_output(r + i); }
};

template <class Real, class Convert>
struct RealSink {
  Real* r;
  double scale;
  double a;
  Convert convert;
  template <class Word>
  void operator()(int32_t i, Word w) const {
    r[i] = static_cast<Real>(convert(w) * scale + a);
  }
  static constexpr int32_t kPerLine = 64 / sizeof(Real);
  void prefetch(int32_t i) const { prefetch_output(r + i); }
};

// Method codes outside 0..2 are refused by every init_stream.
inline bool known_method(int32_t method) {
  return method == VRS_INIT_METHOD_STANDARD || method == VRS_INIT_METHOD_LEAPFROG ||
         method == VRS_INIT_METHOD_SKIPAHEAD;
}

// The skip count of method 2: two 32-bit words, low first.
inline uint64_t skip_count(const uint32_t* params) {
  return static_cast<uint64_t>(params[0]) | (static_cast<uint64_t>(params[1]) << 32);
}

// Real forms straight through a converting sink: the generator's own loop
// stores each number (generators that store something even for n <= 0 do so
// here too). Generators whose words need more work to become doubles have
// real forms of their own.
template <class Real, class Generate, class Convert>
inline void generate_real(VrsStream* stream, int32_t n, Real* r, double a, double scale,
                          Generate generate, Convert convert) {
  generate(stream, n, RealSink<Real, Convert>{r, scale, a, convert});
}

}  // namespace nex::generators

// Defines the three generate slots of generator `Name` from its core
// `generate(stream, n, sink)` and the word-to-unit conversion `to_unit`.
#define NEX_DEFINE_BRNG_OUTPUTS(Name, Word, to_unit)                                              \
  NEX_EXPORT int32_t __vrsiBRng##Name(VrsStream* stream, int32_t n, void* r) {                    \
    generate(stream, n, nex::generators::WordSink<Word>{static_cast<Word*>(r)});                  \
    return VRS_STATUS_OK;                                                                         \
  }                                                                                               \
  NEX_EXPORT int32_t __vrsdBRng##Name(VrsStream* stream, int32_t n, double* r, double a,          \
                                      double b) {                                                 \
    nex::generators::generate_real(                                                               \
        stream, n, r, a, (b - a) * kUnit,                                                         \
        [](VrsStream* s, int32_t m, auto k) { generate(s, m, k); },                               \
        [](Word w) { return to_unit(w); });                                                       \
    return VRS_STATUS_OK;                                                                         \
  }                                                                                               \
  NEX_EXPORT int32_t __vrssBRng##Name(VrsStream* stream, int32_t n, float* r, float a, float b) { \
    const double da = a, db = b;                                                                  \
    nex::generators::generate_real(                                                               \
        stream, n, r, da, (db - da) * kUnit,                                                      \
        [](VrsStream* s, int32_t m, auto k) { generate(s, m, k); },                               \
        [](Word w) { return to_unit(w); });                                                       \
    return VRS_STATUS_OK;                                                                         \
  }
