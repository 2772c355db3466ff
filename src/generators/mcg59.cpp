// MCG59: x(n+1) = 13^13 x(n) mod 2^59 (multiplier 302875106592253). The state
// holds the next output and the multiplier in force.
#include "generators/common.hpp"
#include "service/export.hpp"

namespace {

constexpr uint64_t kMask = 0x07FFFFFFFFFFFFFFull;
constexpr uint64_t kMultiplier = 302875106592253ull;
constexpr double kUnit = 1.0 / 576460752303423488.0;  // 2^-59

struct State {
  uint64_t x;
  uint64_t a;
};

inline uint64_t mulmod(uint64_t a, uint64_t x) {
  return (a * x) & kMask;
}

template <class Sink>
void generate(VrsStream* stream, int32_t n, Sink sink) {
  State& st = *nex::streams::state_of<State>(stream);
  const uint64_t a = st.a;
  uint64_t x = st.x;
  int32_t i = 0;
  // Four lanes stepping by a^4 over the n & -4 part, then one by one.
  const int32_t body = n & ~3;
  if (body > 0) {
    const uint64_t a4 = mulmod(mulmod(a, a), mulmod(a, a));
    uint64_t lane[4] = {x, mulmod(a, x), 0, 0};
    lane[2] = mulmod(a, lane[1]);
    lane[3] = mulmod(a, lane[2]);
    for (; i < body; i += 4)
      for (int k = 0; k < 4; ++k) {
        sink(i + k, lane[k]);
        lane[k] = mulmod(a4, lane[k]);
      }
    x = lane[0];
  }
  for (; i < n; ++i) {
    sink(i, x);
    x = mulmod(a, x);
  }
  st.x = x;
}

// Real forms. Four lanes step by a^4 in 64-bit integer registers, modulo
// 2^64: the low 59 bits of a product depend only on the low 59 bits of its
// factors, so the lanes need no mask until the state is stored. The lanes
// store their values to a small slot array, and SSE2 converts them four at
// a time: two shuffles gather the four low words and the four high words
// (cleared above bit 58 of the value), and interleaving them with the
// exponent halves of 2^52 and 2^84 gives the bit patterns of the exact
// conversion, two numbers per register. The slots come in two halves: the
// lanes fill one with the next block of numbers while the block before, in
// the other, is converted, so a load does not wait for the stores it reads
// and the integer steps overlap the floating-point work.
template <class Real>
void generate_real(VrsStream* stream, int32_t n, Real* r, double a, double b) {
  State& st = *nex::streams::state_of<State>(stream);
  const double scale = (b - a) * kUnit;
  constexpr int32_t kBlock = 32;  // numbers per half
  const int32_t groups = n > 0 ? n / 4 : 0;
  uint64_t x = st.x;
  const uint64_t mul = st.a;
  if (groups > 0) {
    alignas(16) uint64_t slot[2][kBlock];
    const uint64_t a4 = mulmod(mulmod(mul, mul), mulmod(mul, mul));
    uint64_t lane[4] = {x, mulmod(mul, x), 0, 0};
    lane[2] = mulmod(mul, lane[1]);
    lane[3] = mulmod(mul, lane[2]);
    const nex::generators::PackedAffine affine(scale, a);
    const __m128i m27 = _mm_set1_epi32(0x07FFFFFF);
    const __m128i e52 = _mm_set1_epi32(static_cast<int>(nex::generators::kExp52));
    const __m128i e84 = _mm_set1_epi32(static_cast<int>(nex::generators::kExp84));
    auto fill = [&](int32_t h, int32_t k) {
      for (int32_t q = 0; q < 4; ++q) {
        slot[h][k + q] = lane[q];
        lane[q] *= a4;
      }
    };
    auto convert = [&](int32_t h, int32_t k, Real* out) {
      nex::generators::prefetch_output(out + k);
      const __m128 v01 = _mm_load_ps(reinterpret_cast<const float*>(&slot[h][k]));
      const __m128 v23 = _mm_load_ps(reinterpret_cast<const float*>(&slot[h][k + 2]));
      const __m128i l = _mm_castps_si128(_mm_shuffle_ps(v01, v23, 0x88));
      const __m128i u = _mm_and_si128(_mm_castps_si128(_mm_shuffle_ps(v01, v23, 0xDD)), m27);
      nex::generators::store_pair(out + k, affine(nex::generators::u59x2_to_double(
                                               _mm_castsi128_pd(_mm_unpacklo_epi32(u, e84)),
                                               _mm_castsi128_pd(_mm_unpacklo_epi32(l, e52)))));
      nex::generators::store_pair(out + k + 2, affine(nex::generators::u59x2_to_double(
                                                   _mm_castsi128_pd(_mm_unpackhi_epi32(u, e84)),
                                                   _mm_castsi128_pd(_mm_unpackhi_epi32(l, e52)))));
    };
    const int32_t blocks = groups / (kBlock / 4);
    const int32_t rest = 4 * (groups % (kBlock / 4));  // numbers of the last, partial block
    if (blocks > 0)
      for (int32_t k = 0; k < kBlock; k += 4) fill(0, k);
    for (int32_t blk = 1; blk < blocks; ++blk) {
      const int32_t h = blk & 1;
      Real* out = r + (blk - 1) * kBlock;
      for (int32_t k = 0; k < kBlock; k += 4) {
        fill(h, k);
        convert(h ^ 1, k, out);
      }
    }
    const int32_t h = blocks & 1;
    if (blocks > 0) {
      Real* out = r + (blocks - 1) * kBlock;
      for (int32_t k = 0; k < kBlock; k += 4) {
        if (k < rest) fill(h, k);
        convert(h ^ 1, k, out);
      }
    } else {
      for (int32_t k = 0; k < rest; k += 4) fill(h, k);
    }
    for (int32_t k = 0; k < rest; k += 4) convert(h, k, r + blocks * kBlock);
    x = lane[0] & kMask;
  }
  for (int32_t i = 4 * groups; i < n; ++i) {
    r[i] = static_cast<Real>(nex::generators::u59_to_double(x) * scale + a);
    x = mulmod(mul, x);
  }
  st.x = x;
}

}  // namespace

NEX_EXPORT int32_t __vrsBRngMCG59InitStream(int32_t method, VrsStream* stream, int32_t n,
                                            const uint32_t* params) {
  State& st = *nex::streams::state_of<State>(stream);
  switch (method) {
    case VRS_INIT_METHOD_STANDARD: {
      uint64_t x = 0;
      if (n > 0) {
        // The high word is masked to its 27 bits first, so a seed that is a
        // multiple of 2^59 becomes 0 and then 1. Even seeds are kept.
        const uint64_t hi = n >= 2 ? (params[1] & 0x7FFFFFFu) : 0;
        x = (hi << 32) | params[0];
      }
      st.x = x == 0 ? 1 : x;
      st.a = kMultiplier;
      return VRS_STATUS_OK;
    }
    case VRS_INIT_METHOD_LEAPFROG:
      st.x = mulmod(__vrsiPowMod2P59(st.a, static_cast<uint64_t>(params[0])), st.x);
      st.a = __vrsiPowMod2P59(st.a, static_cast<uint64_t>(static_cast<uint32_t>(n)));
      return VRS_STATUS_OK;
    case VRS_INIT_METHOD_SKIPAHEAD:
      st.x = mulmod(__vrsiPowMod2P59(st.a, nex::generators::skip_count(params)), st.x);
      return VRS_STATUS_OK;
    default:
      return VRS_ERROR_UNKNOWN_METHOD;
  }
}

NEX_EXPORT int32_t __vrsiBRngMCG59(VrsStream* stream, int32_t n, void* r) {
  generate(stream, n, nex::generators::WordSink<uint64_t>{static_cast<uint64_t*>(r)});
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrsdBRngMCG59(VrsStream* stream, int32_t n, double* r, double a, double b) {
  generate_real(stream, n, r, a, b);
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrssBRngMCG59(VrsStream* stream, int32_t n, float* r, float a, float b) {
  generate_real(stream, n, r, static_cast<double>(a), static_cast<double>(b));
  return VRS_STATUS_OK;
}
