// MRG32K3A: the combined multiple recursive generator of order 3 with moduli
// 2^32 - 209 and 2^32 - 22853,
//   x(n) = 1403580 x(n-2) - 810728 x(n-3)  mod m1,
//   y(n) = 527612 y(n-1) - 1370589 y(n-3)  mod m2,
//   z(n) = x(n) - y(n)                      mod m1.
// The state holds the last three values of each component, oldest first; the
// recurrence runs before each output.
#include <emmintrin.h>

#include "generators/common.hpp"
#include "service/export.hpp"

namespace {

constexpr uint32_t kM1 = 4294967087u;            // 2^32 - 209
constexpr uint32_t kM2 = 4294944443u;            // 2^32 - 22853
constexpr double kUnit = 2.328306549837829e-10;  // 1/m1

struct State {
  uint32_t x[3];
  uint32_t y[3];
};

// Reduces a 64-bit value modulo 2^32 - c by folding twice with 2^32 = c, then
// one conditional subtraction. Valid for any 64-bit value with c < 2^15.
template <uint32_t kC>
inline uint32_t fold(uint64_t v) {
  v = (v & 0xFFFFFFFFu) + (v >> 32) * kC;
  v = (v & 0xFFFFFFFFu) + (v >> 32) * kC;
  constexpr uint64_t m = 0x100000000ull - kC;
  return static_cast<uint32_t>(v >= m ? v - m : v);
}

// One step of each component; the magnitude of the negative coefficient times
// the modulus is added so that the sum stays positive.
inline uint32_t step_x(uint32_t x0, uint32_t x1) {
  return fold<209>(1403580ull * x1 + (810728ull * kM1 - 810728ull * x0));
}
inline uint32_t step_y(uint32_t y0, uint32_t y2) {
  return fold<22853>(527612ull * y2 + (1370589ull * kM2 - 1370589ull * y0));
}
inline uint32_t combine(uint32_t x, uint32_t y) {
  return x >= y ? x - y : x - y + kM1;
}

// The recurrence advanced by 14 steps: x(j) from x(j-16), x(j-15), x(j-14),
//   x(j) = 736416029 x(j-16) - 1333150987 x(j-15) + 342112271 x(j-14)  mod m1,
//   y(j) = 818368950 y(j-16) - 504169876 y(j-15) - 752600334 y(j-14)   mod m2,
// with biases, multiples of the moduli, that keep each sum positive. Two
// values at a time in 64-bit lanes: 32 x 32 -> 64-bit products, the two folds
// of `fold`, and a subtraction of m undone where it went negative.
inline __m128i fold2(__m128i v, __m128i c, __m128i low) {
  v = _mm_add_epi64(_mm_and_si128(v, low), _mm_mul_epu32(_mm_srli_epi64(v, 32), c));
  v = _mm_add_epi64(_mm_and_si128(v, low), _mm_mul_epu32(_mm_srli_epi64(v, 32), c));
  return v;
}

inline __m128i reduce_once(__m128i v, __m128i m) {
  const __m128i t = _mm_sub_epi64(v, m);
  // All ones in lanes where t is negative (sign of the high dword).
  const __m128i neg = _mm_shuffle_epi32(_mm_srai_epi32(t, 31), _MM_SHUFFLE(3, 3, 1, 1));
  return _mm_add_epi64(t, _mm_and_si128(neg, m));
}

// Fills h[16 .. 16 + len) (len even) from the 16 values before each.
void jump_run_x(uint64_t* h, int32_t len) {
  const __m128i ka = _mm_set1_epi64x(736416029), kb = _mm_set1_epi64x(1333150987),
                kc = _mm_set1_epi64x(342112271);
  const __m128i bias = _mm_set1_epi64x(0x4F7644CA2071A205ll);
  const __m128i c = _mm_set1_epi64x(209), low = _mm_set1_epi64x(0xFFFFFFFFll),
                m = _mm_set1_epi64x(kM1);
  for (int32_t j = 16; j < 16 + len; j += 2) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(h + j - 16));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(h + j - 15));
    const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(h + j - 14));
    __m128i v = _mm_add_epi64(_mm_add_epi64(_mm_mul_epu32(a, ka), _mm_mul_epu32(d, kc)), bias);
    v = _mm_sub_epi64(v, _mm_mul_epu32(b, kb));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(h + j), reduce_once(fold2(v, c, low), m));
  }
}

void jump_run_y(uint64_t* h, int32_t len) {
  const __m128i ka = _mm_set1_epi64x(818368950), kb = _mm_set1_epi64x(504169876),
                kc = _mm_set1_epi64x(752600334);
  const __m128i bias = _mm_set1_epi64x(0x4AE8B082E0CF1056ll);
  const __m128i c = _mm_set1_epi64x(22853), low = _mm_set1_epi64x(0xFFFFFFFFll),
                m = _mm_set1_epi64x(kM2);
  for (int32_t j = 16; j < 16 + len; j += 2) {
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i*>(h + j - 16));
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i*>(h + j - 15));
    const __m128i d = _mm_loadu_si128(reinterpret_cast<const __m128i*>(h + j - 14));
    __m128i v = _mm_add_epi64(_mm_mul_epu32(a, ka), bias);
    v = _mm_sub_epi64(_mm_sub_epi64(v, _mm_mul_epu32(b, kb)), _mm_mul_epu32(d, kc));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(h + j), reduce_once(fold2(v, c, low), m));
  }
}

template <class Sink>
void generate(VrsStream* stream, int32_t n, Sink sink) {
  State& st = *nex::streams::state_of<State>(stream);
  uint32_t x0 = st.x[0], x1 = st.x[1], x2 = st.x[2];
  uint32_t y0 = st.y[0], y1 = st.y[1], y2 = st.y[2];
  const int32_t body = n & ~15;
  int32_t i = 0;
  if (body > 16) {
    // History windows: the first 16 values come one by one, then runs of
    // values computed 16..14 steps back, of which up to 14 in a row are
    // independent of each other.
    constexpr int32_t kRun = 256;  // even, as the two-lane runs need
    uint64_t hx[16 + kRun], hy[16 + kRun];
    for (; i < 16; ++i) {
      const uint32_t xn = step_x(x0, x1), yn = step_y(y0, y2);
      x0 = x1, x1 = x2, x2 = xn;
      y0 = y1, y1 = y2, y2 = yn;
      hx[i] = xn;
      hy[i] = yn;
      sink(i, combine(xn, yn));
    }
    while (i < body) {
      const int32_t len = body - i < kRun ? body - i : kRun;
      jump_run_x(hx, len);
      jump_run_y(hy, len);
      for (int32_t j = 0; j < len; j += Sink::kPerLine) sink.prefetch(i + j);
      for (int32_t j = 0; j < len; ++j)
        sink(i + j, combine(static_cast<uint32_t>(hx[16 + j]), static_cast<uint32_t>(hy[16 + j])));
      i += len;
      for (int32_t j = 0; j < 16; ++j) {
        hx[j] = hx[len + j];
        hy[j] = hy[len + j];
      }
    }
    x0 = static_cast<uint32_t>(hx[13]), x1 = static_cast<uint32_t>(hx[14]),
    x2 = static_cast<uint32_t>(hx[15]);
    y0 = static_cast<uint32_t>(hy[13]), y1 = static_cast<uint32_t>(hy[14]),
    y2 = static_cast<uint32_t>(hy[15]);
  }
  for (; i < n; ++i) {
    const uint32_t xn = step_x(x0, x1), yn = step_y(y0, y2);
    x0 = x1, x1 = x2, x2 = xn;
    y0 = y1, y1 = y2, y2 = yn;
    sink(i, combine(xn, yn));
  }
  st.x[0] = x0, st.x[1] = x1, st.x[2] = x2;
  st.y[0] = y0, st.y[1] = y1, st.y[2] = y2;
}

}  // namespace

NEX_EXPORT int32_t __vrsBRngMRG32K3AInitStream(int32_t method, VrsStream* stream, int32_t n,
                                               const uint32_t* params) {
  State& st = *nex::streams::state_of<State>(stream);
  switch (method) {
    case VRS_INIT_METHOD_STANDARD: {
      uint32_t w[6] = {1, 1, 1, 1, 1, 1};
      const int32_t count = n < 0 ? 0 : (n > 6 ? 6 : n);
      for (int32_t k = 0; k < count; ++k) w[k] = params[k];
      // A word at or above its modulus is reduced by adding 2^32 - m, which
      // wraps in 32 bits to the word minus m.
      for (int k = 0; k < 3; ++k) {
        if (w[k] >= kM1) w[k] += 209u;
        if (w[3 + k] >= kM2) w[3 + k] += 22853u;
      }
      if ((w[0] | w[1] | w[2]) == 0) w[0] = 1;
      if ((w[3] | w[4] | w[5]) == 0) w[3] = 1;
      for (int k = 0; k < 3; ++k) {
        st.x[k] = w[k];
        st.y[k] = w[3 + k];
      }
      return VRS_STATUS_OK;
    }
    case VRS_INIT_METHOD_LEAPFROG:
      return VRS_ERROR_LEAPFROG_UNSUPPORTED;
    case VRS_INIT_METHOD_SKIPAHEAD: {
      // Companion-matrix powers; the last row lists the coefficients of the
      // newest, middle and oldest value.
      const uint64_t s = nex::generators::skip_count(params);
      static constexpr uint32_t kRowX[3] = {0, 1403580u, kM1 - 810728u};
      static constexpr uint32_t kRowY[3] = {527612u, 0, kM2 - 1370589u};
      __vrsiVect3PowMod(st.x, kRowX, kM1, s);
      __vrsiVect3PowMod(st.y, kRowY, kM2, s);
      return VRS_STATUS_OK;
    }
    default:
      return VRS_ERROR_UNKNOWN_METHOD;
  }
}

NEX_DEFINE_BRNG_OUTPUTS(MRG32K3A, uint32_t, nex::generators::u32_to_double)
