// Pieces shared by the congruential and lagged generators: exact word to
// double conversion and the three output forms of one generator core.
#pragma once

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

// Output sinks: an integer word store, and the real forms, which compute in
// double (word x scale + a) and narrow at the store.
template <class Word>
struct WordSink {
  Word* r;
  void operator()(int32_t i, Word w) const { r[i] = w; }
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

// Real forms through a small word buffer on the stack: the generator's
// block path fills it, and a plain loop, which the compiler turns into
// vector code, converts it. Chunking changes no output, since any split of a
// request gives the same numbers.
// Without the buffer (kBuffered false), or for a count of zero or less, the
// generator's loop stores through a converting sink directly; that is the
// faster choice where the block path's lanes already convert well, and the
// right one for generators that store something even for n <= 0.
template <class Word, bool kBuffered, class Real, class Generate, class Convert>
inline void generate_real(VrsStream* stream, int32_t n, Real* r, double a, double scale,
                          Generate generate, Convert convert) {
  if (!kBuffered || n <= 0) {
    generate(stream, n, RealSink<Real, Convert>{r, scale, a, convert});
    return;
  }
  constexpr int32_t kChunk = 512;
  Word buffer[kChunk];
  for (int32_t done = 0; done < n;) {
    const int32_t m = n - done < kChunk ? n - done : kChunk;
    generate(stream, m, WordSink<Word>{buffer});
    Real* out = r + done;
    for (int32_t i = 0; i < m; ++i) out[i] = static_cast<Real>(convert(buffer[i]) * scale + a);
    done += m;
  }
}

}  // namespace nex::generators

// Defines the three generate slots of generator `Name` from its core
// `generate(stream, n, sink)` and the word-to-unit conversion `to_unit`;
// `buffered` selects the real forms' path (see generate_real).
#define NEX_DEFINE_BRNG_OUTPUTS(Name, Word, to_unit, buffered)                                    \
  NEX_EXPORT int32_t __vrsiBRng##Name(VrsStream* stream, int32_t n, void* r) {                    \
    generate(stream, n, nex::generators::WordSink<Word>{static_cast<Word*>(r)});                  \
    return VRS_STATUS_OK;                                                                         \
  }                                                                                               \
  NEX_EXPORT int32_t __vrsdBRng##Name(VrsStream* stream, int32_t n, double* r, double a,          \
                                      double b) {                                                 \
    nex::generators::generate_real<Word, buffered>(                                               \
        stream, n, r, a, (b - a) * kUnit,                                                         \
        [](VrsStream* s, int32_t m, auto k) { generate(s, m, k); },                               \
        [](Word w) { return to_unit(w); });                                                       \
    return VRS_STATUS_OK;                                                                         \
  }                                                                                               \
  NEX_EXPORT int32_t __vrssBRng##Name(VrsStream* stream, int32_t n, float* r, float a, float b) { \
    const double da = a, db = b;                                                                  \
    nex::generators::generate_real<Word, buffered>(                                               \
        stream, n, r, da, (db - da) * kUnit,                                                      \
        [](VrsStream* s, int32_t m, auto k) { generate(s, m, k); },                               \
        [](Word w) { return to_unit(w); });                                                       \
    return VRS_STATUS_OK;                                                                         \
  }
