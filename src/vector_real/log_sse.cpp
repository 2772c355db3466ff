// Log2 and Logb: SSE2 kernels on plan D (frame: x87 masked, MXCSR by mode).
//
// Log2. A positive normal x is split as x = 2^e z with z in [0.75, 1.5), by
// subtracting the bits of 0.75 and keeping the exponent field of the
// difference. c, the nearest multiple of 2^-9 to z, comes from the shifter
// 1.5 * 2^52, so d = z - c is exact and |d| <= 2^-10; the row of c gives
// rcp ~ 1/c and log2 c as hi + lo, hi on a grid of 2^-42 so that e + hi is
// exact. With t = d / c,
//     log2 x = e + hi + lo + log2(1 + t),   |t| < 2^-9.58.
// Double: t is carried as t_hi + t_lo, where t_hi = d * rcp and t_lo the
// exact residual d - t_hi c (t_hi split in halves of 26 and 27 bits, whose
// products with the 10-bit c are exact) times rcp. t / ln 2 is
// t_hi44 * 1.44140625 (exact: 44 + 9 bits) plus the small rest, and the
// higher terms are the Taylor series to t^6 in t_hi. The large part
// e + hi + t_hi44 * 1.44140625 is summed with its rounding error kept (the
// exponent part is zero or at least as large as the other), so the result
// is rounded once at the end. Measured on 5e6 random arguments: dLog2
// 0.5015 ulp at 1.0011502.
// Single: the same reduction on the lanes widened to double, a quartic of
// log2(1 + t) and one rounding to single. Measured (every float of
// [0.5, 2), every 97th elsewhere): sLog2 0.5000 ulp, none above half an ulp.
//
// Exceptional lanes (zero, denormal, negative, infinity, NaN) go to the
// scalar routine on x * 1 (so denormals-are-zero applies): zero gives
// -infinity with status 2, a negative number or -infinity a NaN with status
// 1, NaN itself quieted, +infinity itself, a denormal the same formula on
// x 2^54 with 54 taken off the exponent (single: the widened value is normal).
//
// Logb. The packed result is the biased exponent less the bias, converted
// to floating point. Lanes with exponent field 0 or all ones go to the scalar
// routine, which on x * 1 gives: for a zero of either sign -1/|x| =
// -infinity and status 1 (a pole reported as a domain error, on purpose);
// for a denormal the exponent of x 2^25 (double: 2^54) less 127 + 25
// (1023 + 54); for an infinity or NaN the element with its sign cleared.
// Exact everywhere.
#include <limits>

#include "vector_frame/report.hpp"
#include "vector_real/kernel_defs.hpp"
#include "vector_real/lane_bits.hpp"
#include "vector_real/log_data.hpp"
#include "vector_real/plans.hpp"
#include "vector_real/simd.hpp"

namespace nex::vtm {
namespace {

using logdata::kGridFirst;
using logdata::kLog2Grid;

inline __m128d Bits2(uint64_t b) {
  return _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(b)));
}

constexpr double kShifter = 6755399441055744.0;  // 1.5 * 2^52
constexpr double kInvLn2Hi = 1.44140625;         // 369/256, the high part of 1/ln 2
using logdata::kInvLn2Lo;
// Taylor coefficients of log2(1 + t) = (t - t^2/2 + t^3/3 - ...) / ln 2.
const double& kL1 = logdata::kLog2Series[0];
const double& kL2 = logdata::kLog2Series[1];
const double& kL3 = logdata::kLog2Series[2];
const double& kL4 = logdata::kLog2Series[3];
const double& kL5 = logdata::kLog2Series[4];
const double& kL6 = logdata::kLog2Series[5];

// x = 2^e z, z in [0.75, 1.5); c the nearest multiple of 2^-9 to z and the
// rows of the two lanes' c.
struct Reduced {
  __m128d e, z, c, rcp, hi, lo;
};

inline Reduced Reduce(__m128d x) {
  Reduced r;
  const __m128i ix = _mm_castpd_si128(x);
  const __m128i tmp = _mm_sub_epi64(ix, _mm_set1_epi64x(0x3FE8000000000000ll));
  const __m128i ebits =
      _mm_and_si128(tmp, _mm_set1_epi64x(static_cast<long long>(0xFFF0000000000000ull)));
  r.z = _mm_castsi128_pd(_mm_sub_epi64(ix, ebits));
  // The high word of tmp shifted arithmetically by 20 is e, in dwords 1, 3.
  const __m128i e32 = _mm_shuffle_epi32(_mm_srai_epi32(tmp, 20), _MM_SHUFFLE(3, 1, 3, 1));
  r.e = _mm_cvtepi32_pd(e32);
  const __m128d s = _mm_set1_pd(kShifter);
  const __m128d y = _mm_add_pd(_mm_mul_pd(r.z, _mm_set1_pd(512.0)), s);
  r.c = _mm_mul_pd(_mm_sub_pd(y, s), _mm_set1_pd(1.0 / 512));
  const __m128i k = _mm_castpd_si128(y);
  const int j0 = _mm_cvtsi128_si32(k) - kGridFirst;
  const int j1 = _mm_cvtsi128_si32(_mm_shuffle_epi32(k, _MM_SHUFFLE(3, 2, 3, 2))) - kGridFirst;
  const __m128d r0 = _mm_loadu_pd(kLog2Grid[j0]), r1 = _mm_loadu_pd(kLog2Grid[j1]);
  r.rcp = _mm_unpacklo_pd(r0, r1);
  r.hi = _mm_unpackhi_pd(r0, r1);
  r.lo = _mm_unpacklo_pd(_mm_load_sd(&kLog2Grid[j0][2]), _mm_load_sd(&kLog2Grid[j1][2]));
  return r;
}

// log2 of two positive normal doubles, to about 0.501 ulp. kOffset adds
// `offset` to the exponent (the scalar routine's denormals).
template <bool kOffset = false>
inline __m128d Log2Double(__m128d x, double offset = 0) {
  const Reduced r = Reduce(x);
  __m128d e = r.e;
  if constexpr (kOffset) e = _mm_add_pd(e, _mm_set1_pd(offset));
  const __m128d d = _mm_sub_pd(r.z, r.c);
  const __m128d th = _mm_mul_pd(d, r.rcp);
  const __m128d a = _mm_and_pd(th, Bits2(0xFFFFFFFFF8000000ull));
  const __m128d b = _mm_sub_pd(th, a);
  const __m128d res = _mm_sub_pd(_mm_sub_pd(d, _mm_mul_pd(a, r.c)), _mm_mul_pd(b, r.c));
  const __m128d tl = _mm_mul_pd(res, r.rcp);
  const __m128d th44 = _mm_and_pd(th, Bits2(0xFFFFFFFFFFFFFE00ull));
  const __m128d tr = _mm_sub_pd(th, th44);
  const __m128d p = _mm_mul_pd(th44, _mm_set1_pd(kInvLn2Hi));
  const __m128d big = _mm_add_pd(e, r.hi);
  const __m128d s = _mm_add_pd(big, p);
  const __m128d slo = _mm_add_pd(_mm_sub_pd(big, s), p);
  __m128d q = _mm_add_pd(_mm_set1_pd(kL5), _mm_mul_pd(th, _mm_set1_pd(kL6)));
  q = _mm_add_pd(_mm_set1_pd(kL4), _mm_mul_pd(th, q));
  q = _mm_add_pd(_mm_set1_pd(kL3), _mm_mul_pd(th, q));
  q = _mm_add_pd(_mm_set1_pd(kL2), _mm_mul_pd(th, q));
  q = _mm_mul_pd(_mm_mul_pd(th, th), q);
  __m128d rest = _mm_add_pd(_mm_mul_pd(_mm_add_pd(tr, tl), _mm_set1_pd(kInvLn2Hi)),
                            _mm_mul_pd(th, _mm_set1_pd(kInvLn2Lo)));
  rest = _mm_add_pd(_mm_add_pd(rest, r.lo), _mm_add_pd(q, slo));
  return _mm_add_pd(s, rest);
}

// log2 of two positive normal values widened from single, to well below
// 2^-40 relative: one rounding to single follows.
inline __m128d Log2Widened(__m128d x) {
  const Reduced r = Reduce(x);
  const __m128d t = _mm_mul_pd(_mm_sub_pd(r.z, r.c), r.rcp);
  __m128d q = _mm_add_pd(_mm_set1_pd(kL3), _mm_mul_pd(t, _mm_set1_pd(kL4)));
  q = _mm_add_pd(_mm_set1_pd(kL2), _mm_mul_pd(t, q));
  q = _mm_add_pd(_mm_set1_pd(kL1), _mm_mul_pd(t, q));
  return _mm_add_pd(_mm_add_pd(r.e, r.hi), _mm_add_pd(r.lo, _mm_mul_pd(t, q)));
}

// -infinity with the zero-divide flag, from a zero of either sign.
template <class T>
inline T MinusInfinityFrom(T zero) {
  return T(-1) / (zero < 0 ? -zero : zero + T(0));
}

template <class Ty>
struct Log2Op {
  using T = Ty;
  using S = Simd<T>;
  using V = typename S::V;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr bool kHasSpecial = true;

  static void packed(const V* in, V* out) {
    if constexpr (sizeof(T) == 8) {
      out[0] = Log2Double(in[0]);
    } else {
      const __m128 x = in[0];
      const __m128d lo = Log2Widened(_mm_cvtps_pd(x));
      const __m128d hi = Log2Widened(_mm_cvtps_pd(_mm_movehl_ps(x, x)));
      out[0] = _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
    }
  }
  static int special(const V* in) {
    return S::movemask(S::or_(LaneBits<T>::not_normal(in[0]), in[0]));  // or negative
  }
  static int scalar(const T* in, T* out) {
    const T x = in[0] * T(1);
    if (x != x) {
      out[0] = x + x;
      return 0;
    }
    if (x == 0) {
      out[0] = MinusInfinityFrom(x);
      return VTM_STATUS_SINGULARITY;
    }
    if (x < 0) {
      out[0] = InvalidNaN<T>();
      return VTM_STATUS_DOMAIN;
    }
    if (x == std::numeric_limits<T>::infinity()) {
      out[0] = x;
      return 0;
    }
    if constexpr (sizeof(T) == 8) {
      const bool tiny = x < 0x1p-1022;
      const __m128d v =
          tiny ? Log2Double<true>(_mm_set1_pd(x * 0x1p54), -54.0) : Log2Double(_mm_set1_pd(x));
      out[0] = _mm_cvtsd_f64(v);
    } else {
      out[0] = static_cast<float>(_mm_cvtsd_f64(Log2Widened(_mm_set1_pd(x))));
    }
    return 0;
  }
};

template <class Ty>
struct LogbOp {
  using T = Ty;
  using S = Simd<T>;
  using V = typename S::V;
  using U = typename S::Bits;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr bool kHasSpecial = true;
  static constexpr int kBias = sizeof(T) == 4 ? 127 : 1023;
  static constexpr int kAllOnes = sizeof(T) == 4 ? 0xFF : 0x7FF;

  // Biased exponents in the low 32-bit lanes, one per element.
  static __m128i exponents(V x) {
    if constexpr (sizeof(T) == 4) {
      return _mm_srli_epi32(_mm_and_si128(_mm_castps_si128(x), _mm_set1_epi32(0x7FFFFFFF)), 23);
    } else {
      const __m128i hi = _mm_shuffle_epi32(_mm_castpd_si128(x), _MM_SHUFFLE(3, 1, 3, 1));
      return _mm_srli_epi32(_mm_and_si128(hi, _mm_set1_epi32(0x7FFFFFFF)), 20);
    }
  }
  static void packed(const V* in, V* out) {
    const __m128i e = _mm_sub_epi32(exponents(in[0]), _mm_set1_epi32(kBias));
    if constexpr (sizeof(T) == 4) {
      out[0] = _mm_cvtepi32_ps(e);
    } else {
      out[0] = _mm_cvtepi32_pd(e);
    }
  }
  static int special(const V* in) {
    const __m128i e = exponents(in[0]);
    const __m128i m = _mm_or_si128(_mm_cmpeq_epi32(e, _mm_setzero_si128()),
                                   _mm_cmpeq_epi32(e, _mm_set1_epi32(kAllOnes)));
    return _mm_movemask_ps(_mm_castsi128_ps(m)) & ((1 << S::kLanes) - 1);
  }
  static int scalar(const T* in, T* out) {
    const T x = in[0] * T(1);
    const U b = to_bits(x);
    if ((b & S::kAbs) == 0) {
      out[0] = MinusInfinityFrom(x);
      return VTM_STATUS_DOMAIN;
    }
    const int shift = sizeof(T) == 4 ? 23 : 52;
    const int field = static_cast<int>((b & S::kAbs) >> shift);
    if (field == kAllOnes) {
      out[0] = from_bits<T>(b & S::kAbs);
    } else if (field == 0) {
      constexpr int kScale = sizeof(T) == 4 ? 25 : 54;
      const T y = x * (sizeof(T) == 4 ? T(0x1p25) : T(0x1p54));
      out[0] = static_cast<T>(static_cast<int>((to_bits(y) & S::kAbs) >> shift) - kBias - kScale);
    } else {
      out[0] = static_cast<T>(field - kBias);
    }
    return 0;
  }
};

template <class Op, KernelName Name, class T = typename Op::T>
inline void Run(int n, const T* a, T* r) {
  RunOne<Op, X87Target::kMasked, MxcsrWay::kByMode, UsePlanD, ReportAs<Name, 1, 1>>(n, a, r);
}

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

extern "C" void nex_vtm_k_sLog2(int n, const float* a, float* r) {
  Run<Log2Op<float>, "vsLog2">(n, a, r);
}
extern "C" void nex_vtm_k_dLog2(int n, const double* a, double* r) {
  Run<Log2Op<double>, "vdLog2">(n, a, r);
}
extern "C" void nex_vtm_k_sLogb(int n, const float* a, float* r) {
  Run<LogbOp<float>, "vsLogb">(n, a, r);
}
extern "C" void nex_vtm_k_dLogb(int n, const double* a, double* r) {
  Run<LogbOp<double>, "vdLogb">(n, a, r);
}
