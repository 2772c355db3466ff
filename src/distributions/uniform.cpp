// The uniform family: real uniforms straight from the generator's real slot
// (optionally clamped into [a, b]), integer uniforms by flooring real ones in
// blocks, and the generator's raw words with the 32- and 64-bit forms.
//
// Integer uniforms: each result is floor(a + (b - a) u) for the generator's
// double u, with a, b and the range taken as doubles, so no integer overflow
// can occur on the range; floor is truncation corrected by one where the
// truncation landed above the value (negative non-integers).
//
// 32/64-bit words: a fixed table by registry row decides per generator.
// Generators with 32 full bits per 4-byte word pass their words on; MCG59's
// 59-bit words are narrowed to their top 32 bits (w >> 27); the rest are
// refused. A 64-bit result is two 32-bit ones, the first in the low half.
#include <emmintrin.h>

#include <cstdint>

#include "nex_rng_dist.h"
#include "service/export.hpp"
#include "streams/stream.hpp"
#include "distributions/uniform.hpp"

namespace nex::dist {
namespace {

inline constexpr int32_t kIntegerBlock = 1024;
inline constexpr int32_t kNarrowBlock = 2048;

// Floors a block of doubles into 32-bit integers with the hardware's
// truncation (out-of-range and NaN elements give the integer indefinite
// 0x80000000, as the scalar conversion does).
void FloorBlock(const double* x, int32_t m, int32_t* out) {
  const __m128d one = _mm_set1_pd(1.0);
  int32_t i = 0;
  for (; i + 2 <= m; i += 2) {
    __m128d v = _mm_loadu_pd(x + i);
    const __m128d t = _mm_cvtepi32_pd(_mm_cvttpd_epi32(v));
    v = _mm_sub_pd(v, _mm_and_pd(_mm_cmpgt_pd(t, v), one));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + i), _mm_cvttpd_epi32(v));
  }
  for (; i < m; ++i) {
    __m128d v = _mm_set_sd(x[i]);
    const __m128d t = _mm_cvtsi32_sd(v, _mm_cvttsd_si32(v));
    v = _mm_sub_sd(v, _mm_and_pd(_mm_cmpgt_sd(t, v), one));
    out[i] = _mm_cvttsd_si32(v);
  }
}

int32_t IntegerUniform(VrsStream* stream, int32_t n, int32_t* r, int32_t a, int32_t b) {
  if (n <= 0) return VRS_STATUS_OK;
  alignas(16) double buffer[kIntegerBlock];
  int32_t status = VRS_STATUS_OK;
  for (int32_t done = 0; done < n;) {
    const int32_t m = n - done < kIntegerBlock ? n - done : kIntegerBlock;
    status = RealUniform<double>(0, stream, m, buffer, a, b);
    if (status < 0) return status;
    FloorBlock(buffer, m, r + done);
    done += m;
  }
  return status;
}

int32_t RawBits(int32_t method, VrsStream* stream, int32_t n, void* r) {
  (void)method;  // the raw words have a single form
  return nex::streams::row_of(stream).generate_i(stream, n, r);
}

// MCG59: `count` 32-bit results, each the top 32 of a 59-bit word.
int32_t NarrowMcg59(int32_t method, VrsStream* stream, int32_t count, uint32_t* r) {
  alignas(16) uint64_t words[kNarrowBlock];
  auto narrow = [&](int32_t m) {
    for (int32_t i = 0; i < m; ++i) r[i] = static_cast<uint32_t>(words[i] >> 27);
    r += m > 0 ? m : 0;
  };
  const int32_t blocks = count / kNarrowBlock;  // rounds toward zero
  const int32_t rest = count - blocks * kNarrowBlock;
  for (int32_t k = 0; k < blocks; ++k) {
    const int32_t status = RawBits(method, stream, kNarrowBlock, words);
    if (status < 0) return status;
    narrow(kNarrowBlock);
  }
  const int32_t status = RawBits(method, stream, rest, words);
  if (status < 0) return status;
  narrow(rest);
  return status;
}

// The fixed table of the 32/64-bit word forms, by registry row.
enum class WordForm : uint8_t { kRefuse, kNarrow, kPass };
inline constexpr int32_t kWordFormRows = 16;
inline constexpr WordForm kWordForms[kWordFormRows] = {
    WordForm::kRefuse, WordForm::kRefuse, WordForm::kRefuse,  // MCG31M1, R250, MRG32K3A
    WordForm::kNarrow,                                        // MCG59
    WordForm::kRefuse, WordForm::kRefuse, WordForm::kRefuse,  // WH, Sobol, Niederr
    WordForm::kPass,   WordForm::kPass,                       // MT19937, MT2203
    WordForm::kRefuse, WordForm::kRefuse, WordForm::kRefuse,  // the three abstract forms
    WordForm::kPass,   WordForm::kPass,   WordForm::kPass,   WordForm::kPass,  // SFMT .. Philox
};

// `halves` 32-bit halves per result: 1 for the 32-bit form, 2 for the 64-bit.
template <int Halves>
int32_t WordsOf(int32_t method, VrsStream* stream, int32_t n, uint32_t* r) {
  int32_t index = 0, sub = 0;
  __vrsGetBrngBaseOffset(stream->brng, &index, &sub);
  // Rows past the table (caller-registered generators, legacy quasi-random
  // ids) have no entry: refused like the table's own refusals.
  if (index < 0 || index >= kWordFormRows) return VRS_ERROR_BRNG_NOT_SUPPORTED;
  // Doubling wraps as the 32-bit arithmetic it stands for.
  const int32_t count = static_cast<int32_t>(static_cast<uint32_t>(n) * Halves);
  switch (kWordForms[index]) {
    case WordForm::kNarrow:
      return NarrowMcg59(method, stream, count, r);
    case WordForm::kPass:
      return RawBits(method, stream, count, r);
    default:
      return VRS_ERROR_BRNG_NOT_SUPPORTED;
  }
}

}  // namespace
}  // namespace nex::dist

NEX_EXPORT int32_t _vrsdRngUniform(int32_t method, VrsStream* stream, int32_t n, double* r,
                                   double a, double b) {
  return nex::dist::RealUniform<double>(method, stream, n, r, a, b);
}
NEX_EXPORT int32_t _vrssRngUniform(int32_t method, VrsStream* stream, int32_t n, float* r, float a,
                                   float b) {
  return nex::dist::RealUniform<float>(method, stream, n, r, a, b);
}
NEX_EXPORT int32_t _vrsiRngUniform(int32_t method, VrsStream* stream, int32_t n, int32_t* r,
                                   int32_t a, int32_t b) {
  (void)method;  // one algorithm
  return nex::dist::IntegerUniform(stream, n, r, a, b);
}
NEX_EXPORT int32_t _vrsiRngUniformBits(int32_t method, VrsStream* stream, int32_t n, uint32_t* r) {
  return nex::dist::RawBits(method, stream, n, r);
}
NEX_EXPORT int32_t _vrsiRngUniformBits32(int32_t method, VrsStream* stream, int32_t n,
                                         uint32_t* r) {
  return nex::dist::WordsOf<1>(method, stream, n, r);
}
NEX_EXPORT int32_t _vrsiRngUniformBits64(int32_t method, VrsStream* stream, int32_t n,
                                         uint64_t* r) {
  return nex::dist::WordsOf<2>(method, stream, n, reinterpret_cast<uint32_t*>(r));
}
