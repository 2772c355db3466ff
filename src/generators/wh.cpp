// WH: 273 sets of four parallel congruential components
// x_j(n+1) = a_j x_j(n) mod m_j, with primes m_j just below 2^24. The
// integer output is the four words; the real output the fractional part of
// x1/m1 + x2/m2 + x3/m3 + x4/m4.
#include <emmintrin.h>

#include "generators/common.hpp"
#include "generators/wh_tables.hpp"
#include "service/export.hpp"

namespace {

struct State {
  uint32_t x[4];
  uint32_t a[4];
};

// a x mod m for 0 < a, x < m < 2^24, held as doubles, two components at a
// time. The product (below 2^48) is exact. With inv = 1/m rounded, p x inv
// is p/m within a relative 2^-52, so within 2^-28 absolutely, while the
// fractional part of p/m is a multiple of 1/m > 2^-24 and never 0 (m is
// prime and does not divide a or x). Truncation therefore gives the exact
// quotient, and p - q m (exact as well) is the remainder: no correction.
inline __m128d mulmod(__m128d a, __m128d x, __m128d m, __m128d inv) {
  const __m128d p = _mm_mul_pd(a, x);
  const __m128d q = _mm_cvtepi32_pd(_mm_cvttpd_epi32(_mm_mul_pd(p, inv)));
  return _mm_sub_pd(p, _mm_mul_pd(q, m));
}

// Fractional part of a sum in [0, 4): its integer part by truncation, which
// for non-negative values is the floor (the same integer that rounding
// through 1.5 x 2^52 and stepping down after an upward rounding gives), with
// no branch.
inline double frac(double s) {
  return s - static_cast<double>(_mm_cvttsd_si32(_mm_set_sd(s)));
}

// kLanes successive states at a time, each stepping by a_j^kLanes (formed by
// squaring); the tail of up to kLanes - 1 outputs takes the first prepared
// states. One modular step is a chain of about 30 cycles of latency (two
// products, two conversions, a product and a difference), so eight lanes
// rather than four keep the units busy; the numbers are the same. An
// output's components sit in two registers, (x1, x2) and (x3, x4). `emit`
// receives the index of the first output, the lanes, and the number of
// outputs they hold: kLanes, or the tail's count once at the end.
template <class Emit>
void generate(VrsStream* stream, int32_t n, const double* inv, Emit emit) {
  if (n <= 0) return;
  constexpr int kLanes = 8;
  int32_t sub = 0;
  nex::streams::row_of(stream, &sub);
  State& st = *nex::streams::state_of<State>(stream);
  const uint32_t* mod = VrsWhModuli[sub];
  __m128d m[2], iv[2], a[2], step[2], lane[kLanes][2];
  for (int h = 0; h < 2; ++h) {
    m[h] = _mm_set_pd(mod[2 * h + 1], mod[2 * h]);
    iv[h] = _mm_set_pd(inv[2 * h + 1], inv[2 * h]);
    a[h] = _mm_set_pd(st.a[2 * h + 1], st.a[2 * h]);
    step[h] = a[h];
    for (int k = 1; k < kLanes; k *= 2) step[h] = mulmod(step[h], step[h], m[h], iv[h]);
    lane[0][h] = _mm_set_pd(st.x[2 * h + 1], st.x[2 * h]);
    for (int k = 1; k < kLanes; ++k) lane[k][h] = mulmod(a[h], lane[k - 1][h], m[h], iv[h]);
  }
  int32_t i = 0;
  const int32_t body = n & -kLanes;
  for (; i < body; i += kLanes) {
    emit(i, lane, kLanes);
    for (int k = 0; k < kLanes; ++k) {
      lane[k][0] = mulmod(step[0], lane[k][0], m[0], iv[0]);
      lane[k][1] = mulmod(step[1], lane[k][1], m[1], iv[1]);
    }
  }
  // lane[k] now holds output body + k; the tail uses the first n - body of
  // them and the state moves to the one after the last used.
  const int32_t tail = n - body;
  if (tail > 0) emit(i, lane, tail);
  alignas(16) double x[4];
  _mm_store_pd(x, lane[tail][0]);
  _mm_store_pd(x + 2, lane[tail][1]);
  for (int j = 0; j < 4; ++j) st.x[j] = static_cast<uint32_t>(static_cast<int32_t>(x[j]));
}

template <class Real>
void generate_real(VrsStream* stream, int32_t n, Real* r, double a, double b) {
  int32_t sub = 0;
  nex::streams::row_of(stream, &sub);
  const double* inv = VrsWhInverseModuli[sub];
  const __m128d i12 = _mm_loadu_pd(inv), i34 = _mm_loadu_pd(inv + 2);
  const nex::generators::PackedAffine affine(b - a, a);
  generate(stream, n, inv, [=](int32_t i, const __m128d(*lane)[2], int count) {
    // Two outputs per register: the four quotients x_j/m_j of outputs k and
    // k + 1 are transposed into (t_j(k), t_j(k + 1)), added from the left in
    // the order t1 + t2 + t3 + t4, and the integer part comes off by
    // truncation, as in frac.
    nex::generators::prefetch_output(r + i);
    int k = 0;
    for (; k + 2 <= count; k += 2) {
      const __m128d p12 = _mm_mul_pd(lane[k][0], i12), q12 = _mm_mul_pd(lane[k + 1][0], i12);
      const __m128d p34 = _mm_mul_pd(lane[k][1], i34), q34 = _mm_mul_pd(lane[k + 1][1], i34);
      const __m128d s =
          _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_unpacklo_pd(p12, q12), _mm_unpackhi_pd(p12, q12)),
                                _mm_unpacklo_pd(p34, q34)),
                     _mm_unpackhi_pd(p34, q34));
      const __m128d u = _mm_sub_pd(s, _mm_cvtepi32_pd(_mm_cvttpd_epi32(s)));
      nex::generators::store_pair(r + i + k, affine(u));
    }
    for (; k < count; ++k) {
      alignas(16) double t[4];
      _mm_store_pd(t, _mm_mul_pd(lane[k][0], i12));
      _mm_store_pd(t + 2, _mm_mul_pd(lane[k][1], i34));
      const double s = ((t[0] + t[1]) + t[2]) + t[3];
      r[i + k] = static_cast<Real>(frac(s) * (b - a) + a);
    }
  });
}

}  // namespace

NEX_EXPORT int32_t __vrsBRngWHInitStream(int32_t method, VrsStream* stream, int32_t n,
                                         const uint32_t* params) {
  int32_t sub = 0;
  nex::streams::row_of(stream, &sub);
  State& st = *nex::streams::state_of<State>(stream);
  const uint32_t* m = VrsWhModuli[sub];
  switch (method) {
    case VRS_INIT_METHOD_STANDARD: {
      // n = 0 is the absence of a seed; a negative n reads all four words.
      const uint32_t count = n == 0 ? 0u : (n < 0 || n > 4 ? 4u : static_cast<uint32_t>(n));
      for (uint32_t j = 0; j < 4; ++j) {
        uint32_t x = j < count ? params[j] % m[j] : 0;
        st.x[j] = x == 0 ? 1 : x;
        st.a[j] = VrsWhMultipliers[sub][j];
      }
      return VRS_STATUS_OK;
    }
    case VRS_INIT_METHOD_LEAPFROG:
      for (int j = 0; j < 4; ++j) {
        const uint32_t ak = __vrsiPowMod(st.a[j], params[0], m[j]);
        st.x[j] = static_cast<uint32_t>(static_cast<uint64_t>(st.x[j]) * ak % m[j]);
        st.a[j] = __vrsiPowMod(st.a[j], static_cast<uint32_t>(n), m[j]);
      }
      return VRS_STATUS_OK;
    case VRS_INIT_METHOD_SKIPAHEAD: {
      const uint64_t s = nex::generators::skip_count(params);
      for (int j = 0; j < 4; ++j) {
        const uint32_t as = __vrsiPowMod(st.a[j], s, m[j]);
        st.x[j] = static_cast<uint32_t>(static_cast<uint64_t>(st.x[j]) * as % m[j]);
      }
      return VRS_STATUS_OK;
    }
    default:
      return VRS_ERROR_UNKNOWN_METHOD;
  }
}

NEX_EXPORT int32_t __vrsiBRngWH(VrsStream* stream, int32_t n, void* r) {
  int32_t sub = 0;
  nex::streams::row_of(stream, &sub);
  // The integer form divides once per call instead of reading the table.
  const uint32_t* m = VrsWhModuli[sub];
  const double inv[4] = {1.0 / m[0], 1.0 / m[1], 1.0 / m[2], 1.0 / m[3]};
  auto* out = static_cast<uint32_t*>(r);
  generate(stream, n, inv, [out](int32_t i, const __m128d(*lane)[2], int count) {
    nex::generators::prefetch_output(out + 4 * static_cast<size_t>(i));
    nex::generators::prefetch_output(out + 4 * static_cast<size_t>(i) + 16);
    for (int k = 0; k < count; ++k) {
      const __m128i w =
          _mm_unpacklo_epi64(_mm_cvttpd_epi32(lane[k][0]), _mm_cvttpd_epi32(lane[k][1]));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 4 * (static_cast<size_t>(i) + k)), w);
    }
  });
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrsdBRngWH(VrsStream* stream, int32_t n, double* r, double a, double b) {
  generate_real(stream, n, r, a, b);
  return VRS_STATUS_OK;
}

NEX_EXPORT int32_t __vrssBRngWH(VrsStream* stream, int32_t n, float* r, float a, float b) {
  generate_real<float>(stream, n, r, a, b);
  return VRS_STATUS_OK;
}
