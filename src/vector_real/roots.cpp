// Roots and their relatives: Sqrt, InvSqrt, Cbrt, InvCbrt, Pow2o3, Pow3o2,
// Hypot, in single and double precision.
//
// Methods and worst errors measured against MPFR (single: the binades that
// cover every exponent residue and the denormals, every 8th float, and 2^22
// log-uniform arguments; double: 2^22 log-uniform arguments over the whole
// range; see docs/accuracy_roots.md):
//
// sSqrt    plan D on the packed root; lanes that are not positive normal go
//          to a routine that seeds 1/sqrt from a 256-row table per exponent
//          parity and runs three coupled Newton rounds on s ~ sqrt(m),
//          h ~ 1/(2 sqrt(m)) in double, then rounds once with an exact
//          midpoint test. Correctly rounded.
// dSqrt    no root instruction: a 128-row quadratic gives 1/sqrt(mantissa) to
//          2^-27, the exponent of 1/sqrt(x) comes from integer arithmetic on
//          the high word (0x5FE00000 - ((hi >> 1) & 0x7FF00000)) with a
//          factor 1 or sqrt(2) by the exponent parity; one Newton step in
//          extended precision, s = x y corrected once, then the nearer
//          rounding decided exactly by splitting the midpoint in two
//          32-bit halves. Correctly rounded.
// sInvSqrt plan D, 1/sqrt in double on each half of the register, rounded
//          once: below 0.5 + 2^-28 ulp; no argument measured was not
//          correctly rounded.
// dInvSqrt the dSqrt seed and two Newton steps in extended precision, rounded
//          once: 0.50049 ulp (at 1.5636307558430107e-120).
// Cbrt, InvCbrt
//          single precision on plan D, two doubles at a time in each half of
//          the register; double precision element by element. The
//          exponent divided by 3 in fixed point (43691 = 2^17 / 3 rounded),
//          the remainder picking 2^(k/3) (or 2^(-k/3)) in two parts; the top
//          6 mantissa bits pick a row with a 9-bit reciprocal r of the row
//          centre, so t = m r - 1 is exact and |t| < 0.0098; the binomial
//          series of (1 + t)^(+-1/3) to degree 4 in double (single kernels)
//          or 8 in extended precision (double kernels). sCbrt 0.5000017 ulp
//          (at 6.0632591), sInvCbrt 0.5000075 (at -0.14864725), dCbrt
//          0.50136 (at 9.7689578378361959e-244), dInvCbrt 0.50085 (at
//          -6.5382494410163289e+164).
// Pow2o3   cbrt(|x|)^2 with the Cbrt core in the wide format: no overflow,
//          no underflow, no status. sPow2o3 0.5000066 ulp (at
//          2.9147488e+21), dPow2o3 0.50301 (at 3.430723465158168e-136).
// Pow3o2   x sqrt(x) in double (single), x^2 / sqrt(x) with the dInvSqrt
//          core in extended precision (double). Status 1 for x < 0, 3 for an
//          overflow; underflow is not reported, as for Pow. sPow3o2 0.5 ulp
//          (no argument measured was not correctly rounded), dPow3o2 0.50085
//          (at 2.4815655216424603e+184).
// sHypot   plan D in double lanes (the squares are exact there): below
//          0.5 + 2^-28 ulp, none measured not correctly rounded; status 3 for
//          an overflow from finite arguments.
// dHypot   plan D on two lanes: a^2 + b^2 in double-double by Dekker's
//          products, one Newton correction of the root; arguments beyond
//          2^+-500 are scaled by a power of two in the scalar routine, which
//          rounds a denormal result once on the denormal grid. Correctly
//          rounded on every pair measured (0.4999976 ulp). No report.
//
// The double kernels that compute in extended precision (dSqrt, dInvSqrt,
// dCbrt, dInvCbrt) run under the Extended frame, which sets the 64-bit
// x87 precision; dPow2o3 and dPow3o2 keep the caller's x87 precision (their
// frame is Masked) and are held to their bound only when it is the default
// 64-bit one.
//
// Special values follow IEEE 754 and the C annex for pow:
//   Sqrt     -0 stays -0; x < 0 and -inf give the default NaN, status 1.
//   InvSqrt  +-0 give +inf with status 2 (the recommended rSqrt of IEEE 754);
//            x < 0 and -inf give NaN with status 1; +inf gives +0.
//   Cbrt     odd: +-0, +-inf and NaN pass (quieted); no status.
//   InvCbrt  +-0 give +-inf with status 2; +-inf give +-0.
//   Pow2o3   |x|^(2/3), defined for every x: +-0 give +0, +-inf give +inf.
//   Pow3o2   as pow(x, 1.5): +-0 give +0, +-inf give +inf, x < 0 NaN with
//            status 1, overflow +inf with status 3.
//   Hypot    an infinity wins over a NaN; hypot(x, +-0) is |x|.
#include <cstring>
#include <type_traits>

#include "vector_frame/report.hpp"
#include "vector_real/kernel_defs.hpp"
#include "vector_real/lane_bits.hpp"
#include "vector_real/roots_data.hpp"

namespace nex::vtm {
namespace {

using X = X87Target;
using M = MxcsrWay;
using LD = long double;
namespace tb = roots;

constexpr uint64_t kDoubleFrac = 0x000FFFFFFFFFFFFFull;
constexpr uint64_t kDoubleOne = 0x3FF0000000000000ull;

inline double Pow2(int e) {  // 2^e for a normal exponent
  return from_bits<double>(static_cast<uint64_t>(e + 1023) << 52);
}

// Lanes whose bits are not those of a positive normal number (zero,
// denormal, negative, infinity or NaN): bits - min_normal, as an unsigned
// number, at or above the width of the positive normal range.
inline __m128 NotPositiveNormal(__m128 x) {
  const __m128i bias = _mm_set1_epi32(static_cast<int>(0x80000000u));
  const __m128i t = _mm_sub_epi32(_mm_castps_si128(x), _mm_set1_epi32(0x00800000));
  const __m128i inside =
      _mm_cmplt_epi32(_mm_xor_si128(t, bias), _mm_xor_si128(_mm_set1_epi32(0x7F000000), bias));
  return _mm_castsi128_ps(_mm_xor_si128(inside, _mm_set1_epi32(-1)));
}

// The four floats of a register widened to two registers of doubles, and back.
inline void Widen(__m128 x, __m128d& lo, __m128d& hi) {
  lo = _mm_cvtps_pd(x);
  hi = _mm_cvtps_pd(_mm_movehl_ps(x, x));
}
inline __m128 Narrow(__m128d lo, __m128d hi) {
  return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
}

// ---- Square root, single -----------------------------------------------------------

// sqrt of a positive float (given exactly as a double) by the table seed and
// three rounds of the coupled iteration d = 1/2 - s h, s += d s, h += d h,
// which converges quadratically on s -> sqrt(m), h -> 1/(2 sqrt(m)): 9 bits
// of seed give 18, 36 and more than 53. The float rounding is then checked
// against the exact square of the nearer midpoint (25 bits, so its square
// is exact in double), which makes the result correctly rounded.
float SqrtSingleByNewton(double x) {
  double xs = x;
  int adjust = 0;
  if (xs < 0x1p-126) {  // a denormal float: bring it up by 2^200
    xs *= 0x1p200;
    adjust = -100;
  }
  const uint64_t b = to_bits(xs);
  int e = static_cast<int>(b >> 52) - 1023;
  double m = from_bits<double>((b & kDoubleFrac) | kDoubleOne);
  const int parity = e & 1;
  if (parity) {
    m *= 2.0;
    e -= 1;
  }
  const double g = tb::kSqrtRecip[parity][(b >> 44) & 0xFF];
  double s = g * m, h = g * 0.5;
  for (int round = 0; round < 3; ++round) {
    const double d = 0.5 - s * h;
    s += d * s;
    h += d * h;
  }
  const double root = s * Pow2(e / 2 + adjust);
  float r = static_cast<float>(root);
  const double rd = r;
  if (root != rd) {
    const uint32_t rb = to_bits(r);
    const float nb = from_bits<float>(root > rd ? rb + 1 : rb - 1);
    const double mid = (rd + static_cast<double>(nb)) * 0.5;
    const bool above = x > mid * mid;
    if ((root > rd) == above) r = nb;
  }
  return r;
}

[[gnu::noinline]] int SqrtSingleRare(float x, float* r) {
  const uint32_t b = to_bits(x);
  if ((b & 0x7F800000u) == 0x7F800000u) {
    if (b == 0xFF800000u) {
      *r = InvalidNaN<float>();
      return VTM_STATUS_DOMAIN;
    }
    *r = x + x;
    return 0;
  }
  if ((b & 0x7FFFFFFFu) == 0) {
    *r = x;
    return 0;
  }
  if (b & 0x80000000u) {
    *r = InvalidNaN<float>();
    return VTM_STATUS_DOMAIN;
  }
  const double xd = x;  // zero when denormals are treated as zero
  *r = xd == 0 ? x * 0.0f : SqrtSingleByNewton(xd);
  return 0;
}

struct SqrtSingleOp {
  using T = float;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr bool kHasSpecial = true;
  static void packed(const __m128* in, __m128* out) { out[0] = _mm_sqrt_ps(in[0]); }
  static int special(const __m128* in) { return _mm_movemask_ps(NotPositiveNormal(in[0])); }
  static int scalar(const float* in, float* out) { return SqrtSingleRare(in[0], out); }
};

// ---- Reciprocal root, double, in extended precision ----------------------------------

// 1/sqrt(x) for a positive normal double, to about 2^-54 after one Newton
// step (two steps give the extended precision's own limit). The quadratic
// of the row picked by 7 mantissa bits gives 1/sqrt(m) to 2^-27; the
// exponent of the result and the parity factor come from the high word.
template <int kSteps>
inline LD RecipRoot(double x) {
  const uint64_t b = to_bits(x);
  const uint32_t hi = static_cast<uint32_t>(b >> 32);
  const uint32_t row = (hi >> 13) & 0x7F;
  const double m = from_bits<double>((b & kDoubleFrac) | kDoubleOne);
  const double u = m - (1.0 + row * 0x1p-7);  // exact
  const double* c = tb::kSqrtQuadratic[row];
  const double scale =
      from_bits<double>(static_cast<uint64_t>(0x5FE00000u - ((hi >> 1) & 0x7FF00000u)) << 32);
  const double y0 = (c[0] + u * (c[1] + u * c[2])) * tb::kSqrtFactor[(hi >> 20) & 1] * scale;
  const LD xl = x;
  LD y = y0;
  for (int k = 0; k < kSteps; ++k) y += y * (0.5L - 0.5L * (xl * y) * y);
  return y;
}

// The sign of x - mid^2 for a 54-bit midpoint `mid`: mid = a + c with a its
// top 32 bits (Veltkamp's split by 2^32 + 1), so a^2, 2ac and c^2 are exact
// in extended precision, and so are x - a^2 and then x - a^2 - 2ac (each
// small against x and on a grid fine enough); comparing that with c^2 is
// exact. x is never equal to mid^2, whose last bit lies below 2^-106 x.
inline bool AboveSquare(LD x, LD mid) {
  const LD t = mid * 4294967297.0L;
  const LD a = t - (t - mid);
  const LD c = mid - a;
  return (x - a * a) - 2.0L * a * c > c * c;
}

// Correctly rounded sqrt of a positive normal double.
inline double SqrtDoubleCore(double x) {
  const LD xl = x;
  const LD y = RecipRoot<1>(x);
  LD s = xl * y;
  s += (xl - s * s) * (0.5L * y);  // now within about 2^-63 of sqrt(x)
  double r = static_cast<double>(s);
  const LD diff = s - static_cast<LD>(r);
  // s is within 2^-61 s of sqrt(x): unless it lies that close to the
  // midpoint between r and its neighbour on the side of s (a quarter ulp
  // below r when r is a power of two), r is the rounding of sqrt(x) too.
  const uint64_t rb = to_bits(r);
  const double nb = from_bits<double>(diff > 0 ? rb + 1 : rb - 1);
  const LD half = __builtin_fabsl((static_cast<LD>(nb) - r) * 0.5L);
  if (__builtin_expect(half - __builtin_fabsl(diff) < half * 0x1p-7L, 0)) {
    const LD mid = (static_cast<LD>(r) + nb) * 0.5L;
    if ((diff > 0) == AboveSquare(xl, mid)) r = nb;
  }
  return r;
}

[[gnu::noinline]] int SqrtDoubleRare(double x, double* r) {
  const uint64_t b = to_bits(x);
  if ((b & Simd<double>::kExpMask) == Simd<double>::kExpMask) {
    if (b == 0xFFF0000000000000ull) {
      *r = InvalidNaN<double>();
      return VTM_STATUS_DOMAIN;
    }
    *r = x + x;
    return 0;
  }
  if ((b & Simd<double>::kAbs) == 0) {
    *r = x;
    return 0;
  }
  if (b >> 63) {
    *r = InvalidNaN<double>();
    return VTM_STATUS_DOMAIN;
  }
  const double xs = x * 0x1p200;  // a denormal; zero when treated as zero
  *r = xs == 0 ? xs : SqrtDoubleCore(xs) * 0x1p-100;
  return 0;
}

inline bool PositiveNormal(double x) {
  return (to_bits(x) >> 32) - 0x00100000u < 0x7FE00000u;
}

// ---- Reciprocal square root -------------------------------------------------------------

template <class T>
[[gnu::noinline]] int InvSqrtRare(T x, T* r) {
  using S = Simd<T>;
  const auto b = to_bits(x);
  if ((b & S::kAbs) == 0) {
    *r = T(1) / (x * x);  // +inf, with the zero-divide flag
    return VTM_STATUS_SINGULARITY;
  }
  if ((b & S::kExpMask) == S::kExpMask) {
    if ((b & S::kAbs) > S::kExpMask) {
      *r = x + x;
      return 0;
    }
    if (b & S::kSign) {
      *r = InvalidNaN<T>();
      return VTM_STATUS_DOMAIN;
    }
    *r = T(0);
    return 0;
  }
  if (b & S::kSign) {
    *r = InvalidNaN<T>();
    return VTM_STATUS_DOMAIN;
  }
  // A denormal.
  if constexpr (sizeof(T) == 4) {
    const double xd = x;
    if (xd == 0) return InvSqrtRare<T>(T(0), r);  // treated as zero
    *r = static_cast<float>(1.0 / __builtin_sqrt(xd));
  } else {
    const double xs = x * 0x1p200;
    if (xs == 0) return InvSqrtRare<T>(T(0), r);
    *r = static_cast<double>(RecipRoot<2>(xs) * 0x1p100L);
  }
  return 0;
}

struct InvSqrtSingleOp {
  using T = float;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr bool kHasSpecial = true;
  static void packed(const __m128* in, __m128* out) {
    __m128d lo, hi;
    Widen(in[0], lo, hi);
    const __m128d one = _mm_set1_pd(1.0);
    out[0] = Narrow(_mm_div_pd(one, _mm_sqrt_pd(lo)), _mm_div_pd(one, _mm_sqrt_pd(hi)));
  }
  static int special(const __m128* in) { return _mm_movemask_ps(NotPositiveNormal(in[0])); }
  static int scalar(const float* in, float* out) { return InvSqrtRare<float>(in[0], out); }
};

// ---- Cube roots ------------------------------------------------------------------------

// The binomial coefficients C(alpha, k) = alpha (alpha - 1) ... / k! for
// k = 0..N, alpha = +1/3 or -1/3, computed when the library is built.
template <class W, int N, bool kInverse>
struct BinomialCoefficients {
  W c[N + 1];
  constexpr BinomialCoefficients() : c() {
    const W alpha = kInverse ? W(-1) / W(3) : W(1) / W(3);
    W v = 1;
    for (int k = 0; k <= N; ++k) {
      c[k] = v;
      v = v * (alpha - W(k)) / W(k + 1);
    }
  }
};

// (1 + t)^alpha by its binomial series to degree N, Horner's scheme. With
// |t| < 0.0098 the first term left out is below 2^-38 (N = 4) and 2^-66
// (N = 8) relative.
template <class W, int N, bool kInverse>
inline W BinomialSeries(W t) {
  static constexpr BinomialCoefficients<W, N, kInverse> kC{};
  W p = kC.c[N];
  for (int k = N - 1; k >= 0; --k) p = p * t + kC.c[k];
  return p;
}

// |x|^(1/3) (or |x|^(-1/3)) for a finite nonzero x, in the wide format W:
// double for float arguments, long double for double ones.
template <class T, class W, bool kInverse>
inline W CubeRootMagnitude(T x) {
  constexpr int kDegree = sizeof(W) == sizeof(double) ? 4 : 8;
  double xd = __builtin_fabs(static_cast<double>(x));
  int e_shift = 0;
  if (xd < 0x1p-1022) {  // a double denormal: scale up by 2^54 = (2^18)^3
    xd *= 0x1p54;
    e_shift = -54;
  }
  const uint64_t b = to_bits(xd);
  const int e = static_cast<int>(b >> 52) - 1023 + e_shift;
  // Floor division of e by 3 in fixed point on a non-negative offset.
  const unsigned n = static_cast<unsigned>(e + 1200);
  const unsigned q3 = (n * 43691u) >> 17;
  const int rem = static_cast<int>(n - 3 * q3);
  const int q = static_cast<int>(q3) - 400;

  const tb::CbrtRow& row = tb::kCbrt[(b >> 46) & 0x3F];
  const double m = from_bits<double>((b & kDoubleFrac) | kDoubleOne);
  const W t = static_cast<W>(m) * static_cast<W>(row.r) - W(1);  // exact
  const W p = BinomialSeries<W, kDegree, kInverse>(t);
  const double* scale = kInverse ? tb::kInvCbrtScale[rem] : tb::kCbrtScale[rem];
  const W base = kInverse ? static_cast<W>(row.inv_cbrt_hi) + static_cast<W>(row.inv_cbrt_lo)
                          : static_cast<W>(row.cbrt_hi) + static_cast<W>(row.cbrt_lo);
  const W factor = static_cast<W>(scale[0]) + static_cast<W>(scale[1]);
  return base * p * factor * static_cast<W>(Pow2(kInverse ? -q : q));
}

template <class T>
using Wide = std::conditional_t<sizeof(T) == 4, double, LD>;

inline bool Finite(float x) {
  return (to_bits(x) & 0x7F800000u) != 0x7F800000u;
}
inline bool Finite(double x) {
  return (to_bits(x) & Simd<double>::kExpMask) != Simd<double>::kExpMask;
}
template <class T>
inline bool IsZero(T x) {
  return (to_bits(x) & Simd<T>::kAbs) == 0;
}

// Zeros are tested by value, so that under denormals-are-zero a denormal
// argument is the zero it then is.
template <class T>
inline int CbrtScalar(T x, T* r) {
  if (__builtin_expect(!Finite(x) || x == T(0), 0)) {
    *r = x + x;  // quiets a NaN, keeps infinities and zeros with their sign
    return 0;
  }
  const T mag = static_cast<T>(CubeRootMagnitude<T, Wide<T>, false>(x));
  *r = (to_bits(x) & Simd<T>::kSign) ? -mag : mag;
  return 0;
}

template <class T>
[[gnu::noinline]] int InvCbrtRare(T x, T* r) {
  if (x == T(0)) {
    *r = T(1) / x;  // signed infinity, zero-divide flag
    return VTM_STATUS_SINGULARITY;
  }
  *r = x != x ? x + x : T(1) / x;  // NaN quieted; +-inf give +-0
  return 0;
}

template <class T>
inline int InvCbrtScalar(T x, T* r) {
  if (__builtin_expect(!Finite(x) || x == T(0), 0)) return InvCbrtRare(x, r);
  const T mag = static_cast<T>(CubeRootMagnitude<T, Wide<T>, true>(x));
  *r = (to_bits(x) & Simd<T>::kSign) ? -mag : mag;
  return 0;
}

// |x|^(2/3) as the square of the cube root in the wide format.
template <class T>
inline int Pow2o3Scalar(T x, T* r) {
  if (__builtin_expect(!Finite(x) || x == T(0), 0)) {
    *r = x * x;  // +0, +inf, or the NaN quieted
    return 0;
  }
  const Wide<T> c = CubeRootMagnitude<T, Wide<T>, false>(x);
  *r = static_cast<T>(c * c);
  return 0;
}

// Cube roots of single-precision lanes, two doubles at a time: the same
// reduction as CubeRootMagnitude<float, double>, with the exponent divided
// by 3 in 64-bit integer lanes and the rows fetched lane by lane.
template <bool kInverse>
inline __m128d CubeRootPair(__m128d x) {  // x positive normal
  const __m128i b = _mm_castpd_si128(x);
  const __m128i n = _mm_add_epi64(_mm_srli_epi64(b, 52), _mm_set1_epi64x(1200 - 1023));
  const __m128i q3 = _mm_srli_epi64(_mm_mul_epu32(n, _mm_set1_epi64x(43691)), 17);
  const __m128i rem = _mm_sub_epi64(n, _mm_mul_epu32(q3, _mm_set1_epi64x(3)));
  const __m128i pow2 = kInverse
                           ? _mm_slli_epi64(_mm_sub_epi64(_mm_set1_epi64x(1023 + 400), q3), 52)
                           : _mm_slli_epi64(_mm_add_epi64(q3, _mm_set1_epi64x(1023 - 400)), 52);
  const __m128i row = _mm_and_si128(_mm_srli_epi64(b, 46), _mm_set1_epi64x(0x3F));
  const int j0 = _mm_cvtsi128_si32(row), j1 = _mm_cvtsi128_si32(_mm_unpackhi_epi64(row, row));
  const int k0 = _mm_cvtsi128_si32(rem), k1 = _mm_cvtsi128_si32(_mm_unpackhi_epi64(rem, rem));
  const tb::CbrtRow &r0 = tb::kCbrt[j0], &r1 = tb::kCbrt[j1];
  const double(*scale)[2] = kInverse ? tb::kInvCbrtScale : tb::kCbrtScale;
  const __m128d recip = _mm_set_pd(r1.r, r0.r);
  const __m128d base =
      kInverse ? _mm_set_pd(r1.inv_cbrt_hi, r0.inv_cbrt_hi) : _mm_set_pd(r1.cbrt_hi, r0.cbrt_hi);
  const __m128d factor = _mm_set_pd(scale[k1][0], scale[k0][0]);
  const __m128d m =
      _mm_or_pd(_mm_and_pd(x, Simd<double>::bits(kDoubleFrac)), Simd<double>::bits(kDoubleOne));
  const __m128d t = _mm_sub_pd(_mm_mul_pd(m, recip), _mm_set1_pd(1.0));  // exact
  static constexpr BinomialCoefficients<double, 4, kInverse> kC{};
  __m128d p = _mm_set1_pd(kC.c[4]);
  for (int k = 3; k >= 0; --k) p = _mm_add_pd(_mm_mul_pd(p, t), _mm_set1_pd(kC.c[k]));
  return _mm_mul_pd(_mm_mul_pd(_mm_mul_pd(base, p), factor), _mm_castsi128_pd(pow2));
}

// Lanes that are zero, denormal, infinite or NaN, whatever their sign.
inline __m128 NotNormal(__m128 x) {
  return NotPositiveNormal(_mm_and_ps(x, Simd<float>::bits(Simd<float>::kAbs)));
}

// sCbrt (kSquare false, kInverse false), sInvCbrt and sPow2o3 (kSquare) on
// plan D: odd results get the sign of x back, Pow2o3 squares in double.
template <bool kInverse, bool kSquare, int (*Scalar)(float, float*)>
struct CubeRootSingleOp {
  using T = float;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr bool kHasSpecial = true;
  static void packed(const __m128* in, __m128* out) {
    const __m128 sign = Simd<float>::bits(Simd<float>::kSign);
    __m128d lo, hi;
    Widen(_mm_andnot_ps(sign, in[0]), lo, hi);
    lo = CubeRootPair<kInverse>(lo);
    hi = CubeRootPair<kInverse>(hi);
    if constexpr (kSquare) {
      out[0] = Narrow(_mm_mul_pd(lo, lo), _mm_mul_pd(hi, hi));
    } else {
      out[0] = _mm_or_ps(Narrow(lo, hi), _mm_and_ps(sign, in[0]));
    }
  }
  static int special(const __m128* in) { return _mm_movemask_ps(NotNormal(in[0])); }
  static int scalar(const float* in, float* out) { return Scalar(in[0], out); }
};

template <class T>
[[gnu::noinline]] int Pow3o2Rare(T x, T* r) {
  if (x != x) {
    *r = x + x;
    return 0;
  }
  if (IsZero(x) || (!Finite(x) && x > 0)) {
    *r = x * x;  // +0 or +inf
    return 0;
  }
  if (!Finite(x)) {  // -inf: pow(-inf, 1.5) is +inf
    *r = -x;
    return 0;
  }
  if (x < 0) {
    *r = InvalidNaN<T>();
    return VTM_STATUS_DOMAIN;
  }
  // A positive double denormal: x^1.5 < 2^-1533 rounds to +0.
  RaiseUnderflow<T>();
  *r = T(0);
  return 0;
}

template <class T>
inline int Pow3o2Scalar(T x, T* r) {
  const bool ordinary =
      sizeof(T) == 4 ? (x > 0 && Finite(x)) : PositiveNormal(static_cast<double>(x));
  if (__builtin_expect(!ordinary, 0)) return Pow3o2Rare(x, r);
  T v;
  if constexpr (sizeof(T) == 4) {
    const double xd = x;
    v = static_cast<float>(xd * __builtin_sqrt(xd));
  } else {
    const LD xl = x;
    v = static_cast<double>(xl * xl * RecipRoot<2>(x));
  }
  *r = v;
  if (__builtin_expect(!Finite(v), 0)) return VTM_STATUS_OVERFLOW;
  return 0;
}

// ---- Hypot ---------------------------------------------------------------------------

template <class T>
[[gnu::noinline]] int HypotRare(T a, T b, T* r) {
  const T ax = __builtin_fabs(a), bx = __builtin_fabs(b);
  const T inf = __builtin_inf();
  if (ax == inf || bx == inf) {
    *r = inf;
    return 0;
  }
  if (a != a || b != b) {
    *r = a + b;
    return 0;
  }
  const double ad = ax, bd = bx;  // single only: the sum cannot overflow in double
  const float v = static_cast<float>(__builtin_sqrt(ad * ad + bd * bd));
  *r = v;
  return Finite(v) ? 0 : VTM_STATUS_OVERFLOW;
}

struct HypotSingleOp {
  using T = float;
  static constexpr int kIn = 2, kOut = 1;
  static constexpr bool kHasSpecial = true;
  static void packed(const __m128* in, __m128* out) {
    __m128d alo, ahi, blo, bhi;
    Widen(in[0], alo, ahi);
    Widen(in[1], blo, bhi);
    const __m128d lo = _mm_sqrt_pd(_mm_add_pd(_mm_mul_pd(alo, alo), _mm_mul_pd(blo, blo)));
    const __m128d hi = _mm_sqrt_pd(_mm_add_pd(_mm_mul_pd(ahi, ahi), _mm_mul_pd(bhi, bhi)));
    out[0] = Narrow(lo, hi);
  }
  // Lanes that may overflow (an argument at or above 2^127) or hold an
  // infinity or NaN.
  static int special(const __m128* in) {
    const __m128i abs = _mm_set1_epi32(0x7FFFFFFF), big = _mm_set1_epi32(0x7EFFFFFF);
    const __m128i a = _mm_and_si128(_mm_castps_si128(in[0]), abs);
    const __m128i b = _mm_and_si128(_mm_castps_si128(in[1]), abs);
    return _mm_movemask_ps(
        _mm_castsi128_ps(_mm_or_si128(_mm_cmpgt_epi32(a, big), _mm_cmpgt_epi32(b, big))));
  }
  static int scalar(const float* in, float* out) { return HypotRare<float>(in[0], in[1], out); }
};

// Dekker's exact product: a * b = p + e, without fused multiply-add, for
// |a|, |b| well inside the range (Veltkamp's split by 2^27 + 1).
inline void Split(double a, double& hi, double& lo) {
  const double t = a * 134217729.0;
  hi = t - (t - a);
  lo = a - hi;
}
inline double SquareError(double a, double p) {
  double h, l;
  Split(a, h, l);
  return ((h * h - p) + 2.0 * h * l) + l * l;
}

inline double HypotDouble(double a, double b) {
  double ax = __builtin_fabs(a), bx = __builtin_fabs(b);
  const double inf = __builtin_inf();
  if (__builtin_expect(!Finite(ax) || !Finite(bx), 0)) {
    if (ax == inf || bx == inf) return inf;
    return a + b;
  }
  if (ax < bx) {
    const double t = ax;
    ax = bx;
    bx = t;
  }
  if (bx == 0) return ax;
  // Scale by a power of two so that the squares and the split stay in range.
  double unscale = 1;
  if (ax > 0x1p500) {
    ax *= 0x1p-600;
    bx *= 0x1p-600;
    unscale = 0x1p600;
  } else if (ax < 0x1p-500) {
    ax *= 0x1p600;
    bx *= 0x1p600;
    unscale = 0x1p-600;
  }
  // a^2 + b^2 = s + e in double-double.
  const double p = ax * ax, q = bx * bx;
  const double s = p + q;
  const double e = ((p - s) + q) + SquareError(ax, p) + SquareError(bx, q);
  // One Newton correction of r = sqrt(s): r + (s + e - r^2) / (2 r).
  const double r = __builtin_sqrt(s);
  const double rr = r * r;
  const double d = ((s - rr) - SquareError(r, rr)) + e;
  const double corr = d / (2.0 * r);
  if (unscale < 1) {
    // Scaling back may land in the denormal range, where a second rounding
    // would be a double rounding: round once on that grid, 2^-1074 (2^-474
    // before scaling), from the exact remainder of r and the correction.
    const double hi = r * unscale;
    if (hi < 0x1p-1022) {
      const double rest = (r - hi * 0x1p600) + corr;  // r - hi 2^600 is exact
      const uint64_t hb = to_bits(hi);
      if (rest > 0x1p-475) return from_bits<double>(hb + 1);
      if (rest < -0x1p-475) return from_bits<double>(hb - 1);
      return hi;
    }
  }
  return (r + corr) * unscale;
}

// The same on two lanes, for arguments whose squares and splits stay in
// range without scaling: both below 2^500, the larger at or above 2^-500.
// Everything else (zeros, infinities, NaNs, extreme magnitudes) goes to
// HypotDouble.
struct HypotDoubleOp {
  using T = double;
  static constexpr int kIn = 2, kOut = 1;
  static constexpr bool kHasSpecial = true;
  static __m128d SquareError(__m128d a, __m128d p) {
    const __m128d t = _mm_mul_pd(a, _mm_set1_pd(134217729.0));
    const __m128d h = _mm_sub_pd(t, _mm_sub_pd(t, a));
    const __m128d l = _mm_sub_pd(a, h);
    const __m128d hh = _mm_sub_pd(_mm_mul_pd(h, h), p);
    return _mm_add_pd(_mm_add_pd(hh, _mm_mul_pd(_mm_add_pd(h, h), l)), _mm_mul_pd(l, l));
  }
  static __m128d Abs(__m128d x) { return _mm_and_pd(x, Simd<double>::bits(Simd<double>::kAbs)); }
  static void packed(const __m128d* in, __m128d* out) {
    const __m128d a = Abs(in[0]), b = Abs(in[1]);
    const __m128d ax = _mm_max_pd(a, b), bx = _mm_min_pd(a, b);
    const __m128d p = _mm_mul_pd(ax, ax), q = _mm_mul_pd(bx, bx);
    const __m128d s = _mm_add_pd(p, q);
    const __m128d e = _mm_add_pd(_mm_add_pd(_mm_add_pd(_mm_sub_pd(p, s), q), SquareError(ax, p)),
                                 SquareError(bx, q));
    const __m128d r = _mm_sqrt_pd(s);
    const __m128d rr = _mm_mul_pd(r, r);
    const __m128d d = _mm_add_pd(_mm_sub_pd(_mm_sub_pd(s, rr), SquareError(r, rr)), e);
    out[0] = _mm_add_pd(r, _mm_div_pd(d, _mm_add_pd(r, r)));
  }
  static int special(const __m128d* in) {
    const __m128d a = Abs(in[0]), b = Abs(in[1]);
    const __m128d big = _mm_set1_pd(0x1p500), small = _mm_set1_pd(0x1p-500);
    const __m128d out = _mm_or_pd(_mm_or_pd(_mm_cmpnlt_pd(a, big), _mm_cmpnlt_pd(b, big)),
                                  _mm_cmplt_pd(_mm_max_pd(a, b), small));
    return _mm_movemask_pd(_mm_or_pd(out, _mm_cmpunord_pd(a, b)));
  }
  static int scalar(const double* in, double* out) {
    *out = HypotDouble(in[0], in[1]);
    return 0;
  }
};

// ---- Element loops -----------------------------------------------------------------------

// Plan D with a report policy, in the form RunOne takes.
template <class Report>
struct UsePlanDReporting {
  template <class Op, class = NoReport>
  static void run(int n, const typename Op::T* const* in, typename Op::T* const* out) {
    PlanD<Op, Report>(n, in, out);
  }
};

// A kernel of one argument computed element by element by `Scalar`, which
// stores the default result and returns a status; nonzero ones are reported.
template <class T, X X87, M Mx, class Report, int (*Scalar)(T, T*)>
inline void RunScalar(int n, const T* a, T* r) {
  Frame<X87, Mx> frame;
  const T* in[1] = {a};
  T* out[1] = {r};
  for (ptrdiff_t i = 0; i < n; ++i) {
    T y;
    const int status = Scalar(a[i], &y);
    r[i] = y;
    if (__builtin_expect(status != 0, 0)) Report::template report<T>(status, i, in, out);
  }
}

inline int SqrtDoubleScalar(double x, double* r) {
  if (__builtin_expect(!PositiveNormal(x), 0)) return SqrtDoubleRare(x, r);
  *r = SqrtDoubleCore(x);
  return 0;
}
inline int InvSqrtDoubleScalar(double x, double* r) {
  if (__builtin_expect(!PositiveNormal(x), 0)) return InvSqrtRare<double>(x, r);
  *r = static_cast<double>(RecipRoot<2>(x));
  return 0;
}

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

extern "C" void nex_vtm_k_sSqrt(int n, const float* a, float* r) {
  RunOne<SqrtSingleOp, X::kMasked, M::kByMode, UsePlanDReporting<ReportAs<"vsSqrt", 1, 1>>>(n, a,
                                                                                            r);
}
extern "C" void nex_vtm_k_dSqrt(int n, const double* a, double* r) {
  RunScalar<double, X::kExtended, M::kByMode, ReportAs<"vdSqrt", 1, 1>, SqrtDoubleScalar>(n, a, r);
}
extern "C" void nex_vtm_k_sInvSqrt(int n, const float* a, float* r) {
  RunOne<InvSqrtSingleOp, X::kMasked, M::kByMode, UsePlanDReporting<ReportAs<"vsInvSqrt", 1, 1>>>(
      n, a, r);
}
extern "C" void nex_vtm_k_dInvSqrt(int n, const double* a, double* r) {
  RunScalar<double, X::kExtended, M::kByMode, ReportAs<"vdInvSqrt", 1, 1>, InvSqrtDoubleScalar>(
      n, a, r);
}
extern "C" void nex_vtm_k_sCbrt(int n, const float* a, float* r) {
  RunOne<CubeRootSingleOp<false, false, CbrtScalar<float>>, X::kDouble, M::kKeepRounding, UsePlanD>(
      n, a, r);
}
extern "C" void nex_vtm_k_dCbrt(int n, const double* a, double* r) {
  RunScalar<double, X::kExtended, M::kFixed, NoReport, CbrtScalar<double>>(n, a, r);
}
extern "C" void nex_vtm_k_sInvCbrt(int n, const float* a, float* r) {
  RunOne<CubeRootSingleOp<true, false, InvCbrtScalar<float>>, X::kDouble, M::kKeepRounding,
         UsePlanDReporting<ReportAs<"vsInvCbrt", 1, 1>>>(n, a, r);
}
extern "C" void nex_vtm_k_dInvCbrt(int n, const double* a, double* r) {
  RunScalar<double, X::kExtended, M::kFixed, ReportAs<"vdInvCbrt", 1, 1>, InvCbrtScalar<double>>(
      n, a, r);
}
extern "C" void nex_vtm_k_sPow2o3(int n, const float* a, float* r) {
  RunOne<CubeRootSingleOp<false, true, Pow2o3Scalar<float>>, X::kMasked, M::kByMode, UsePlanD>(n, a,
                                                                                               r);
}
extern "C" void nex_vtm_k_dPow2o3(int n, const double* a, double* r) {
  RunScalar<double, X::kMasked, M::kByMode, NoReport, Pow2o3Scalar<double>>(n, a, r);
}
extern "C" void nex_vtm_k_sPow3o2(int n, const float* a, float* r) {
  RunScalar<float, X::kMasked, M::kByMode, ReportAs<"vsPow3o2", 1, 1>, Pow3o2Scalar<float>>(n, a,
                                                                                            r);
}
extern "C" void nex_vtm_k_dPow3o2(int n, const double* a, double* r) {
  RunScalar<double, X::kMasked, M::kByMode, ReportAs<"vdPow3o2", 1, 1>, Pow3o2Scalar<double>>(n, a,
                                                                                              r);
}
extern "C" void nex_vtm_k_sHypot(int n, const float* a, const float* b, float* r) {
  RunTwoReporting<HypotSingleOp, X::kMasked, M::kByMode, ReportAs<"vsHypot", 2, 1>>(n, a, b, r);
}
extern "C" void nex_vtm_k_dHypot(int n, const double* a, const double* b, double* r) {
  RunTwo<HypotDoubleOp, X::kDouble, M::kKeepRounding, UsePlanD>(n, a, b, r);
}
