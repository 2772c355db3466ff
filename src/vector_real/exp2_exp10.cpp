// Exp2 and Exp10: 2^x and 10^x, SSE2 kernels of plan D.
//
// One reduction serves both. k = round(N x / c), with N table steps per
// unit of log2 (64 for Exp2, 128 for Exp10) and c = 1 for Exp2, log10(2)
// for Exp10, is read from the low bits of y = x N / c + S, S a shifter
// 1.5 * 2^p that puts the units of k in the last place of y. The reduced
// argument r = x - k c / N (in the units of x) is exact for Exp2 and made
// from a two-part c / N for Exp10, the high part short enough that k times it
// is exact. Then, with j = k mod N and e = floor(k / N),
//
//   b^x = 2^e * 2^(j/N) * b^r,   b^r = 1 + p(r),
//
// and the result is T_hi + (T_hi p + T_lo) from a table of 2^(j/N) as value
// pairs, with e added to the exponent field by an integer add. The lane
// limits keep that sum a normal number; other lanes (large |x|, infinities,
// NaN) go to a scalar routine in double, which reports overflow (3) when
// the result is infinite for a finite x and underflow (4) when it is below
// the least normal number (subnormal or zero).
//
// Polynomials: p(r) = r (c1 + c2 r) for single; degree five for double and in
// the scalar routines. Max error over every single argument: sExp2 0.619 ulp
// (x = -0.00781982671, just below a power of two), sExp10 0.556 ulp
// (x = 36.1229935); measured on samples: dExp2 0.545 ulp
// (x = -0.038305884511883992), dExp10 0.547 ulp (x = 177.90520084716485);
// the full figures are in docs/accuracy.md.
#include <limits>

#include "vector_frame/report.hpp"
#include "vector_real/error_free.hpp"
#include "vector_real/exp_data.hpp"
#include "vector_real/kernel_defs.hpp"
#include "vector_real/lane_bits.hpp"

namespace nex::vtm {
namespace {

namespace tab = exp_data;

// Degree-five fits of 2^r - 1 and 10^r - 1 (by r times a quartic).
constexpr double kExp2Poly[5] = {0.693147180559945, 0.24022650695885, 0.0555041086660751,
                                 0.00961814226965376, 0.00133334171858146};
constexpr double kExp10Poly[5] = {2.30258509299405, 2.65094905523903, 2.0346785917912,
                                  1.17125554948662, 0.539642451294507};

// r (c[0] + r (c[1] + ...)) on a register or a scalar.
template <class T, size_t K, class V>
inline V Horner(const T (&c)[K], V r) {
  using S = Simd<T>;
  V acc = S::set1(c[K - 1]);
  for (size_t i = K - 1; i-- > 0;) acc = S::add(S::set1(c[i]), S::mul(acc, r));
  return S::mul(acc, r);
}
template <class T, size_t K>
inline T HornerScalar(const T (&c)[K], T r) {
  T acc = c[K - 1];
  for (size_t i = K - 1; i-- > 0;) acc = c[i] + acc * r;
  return acc * r;
}

// Integer lanes of the width of T.
template <class T>
struct IntLanes;
template <>
struct IntLanes<float> {
  static constexpr int kMant = 23;
  static constexpr uint32_t kExpField = 0xFF800000u;  // exponent and sign
  static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }
  static __m128i add(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
  static __m128i shl(__m128i a, int s) { return _mm_slli_epi32(a, s); }
  static __m128i field(uint32_t v) { return _mm_set1_epi32(static_cast<int>(v)); }
  // Pair j of each lane: two 8-byte loads per register of pairs, then the
  // high and low halves shuffled apart (no narrow stores to forward).
  static void gather(const tab::Pair<float>* t, __m128i k, int mask, __m128* hi, __m128* lo) {
    const auto at = [&](int j) { return reinterpret_cast<const __m64*>(t + (j & mask)); };
    __m128 p01 = _mm_loadl_pi(_mm_setzero_ps(), at(_mm_extract_epi16(k, 0)));
    p01 = _mm_loadh_pi(p01, at(_mm_extract_epi16(k, 2)));
    __m128 p23 = _mm_loadl_pi(_mm_setzero_ps(), at(_mm_extract_epi16(k, 4)));
    p23 = _mm_loadh_pi(p23, at(_mm_extract_epi16(k, 6)));
    *hi = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(2, 0, 2, 0));
    *lo = _mm_shuffle_ps(p01, p23, _MM_SHUFFLE(3, 1, 3, 1));
  }
};
template <>
struct IntLanes<double> {
  static constexpr int kMant = 52;
  static constexpr uint64_t kExpField = 0xFFF0000000000000ull;
  static __m128i sub(__m128i a, __m128i b) { return _mm_sub_epi64(a, b); }
  static __m128i add(__m128i a, __m128i b) { return _mm_add_epi64(a, b); }
  static __m128i shl(__m128i a, int s) { return _mm_slli_epi64(a, s); }
  static __m128i field(uint64_t v) { return _mm_set1_epi64x(static_cast<long long>(v)); }
  static void gather(const tab::Pair<double>* t, __m128i k, int mask, __m128d* hi, __m128d* lo) {
    const __m128d p0 = _mm_load_pd(&t[_mm_extract_epi16(k, 0) & mask].hi);
    const __m128d p1 = _mm_load_pd(&t[_mm_extract_epi16(k, 4) & mask].hi);
    *hi = _mm_unpacklo_pd(p0, p1);
    *lo = _mm_unpackhi_pd(p0, p1);
  }
};

// The description of one function and type:
//   kLogSteps   log2 N
//   kShift      the shifter S
//   kLimit      bits of the largest |x| the packed path serves
//   reduce(x)   x N / c + S
//   reduced(x, kf)  r from x and kf = k (as a float value)
//   poly(r)     b^r - 1
//   table       2^(j/N) pairs
// The scalar routines are written beside (SExpBase below).
struct Exp2S {
  using T = float;
  static constexpr int kLogSteps = 6;
  static constexpr float kShift = 196608.0f;       // 1.5 * 2^17
  static constexpr uint32_t kLimit = 0x42FC0000u;  // 126
  static __m128 reduce(__m128 x) { return _mm_add_ps(x, _mm_set1_ps(kShift)); }
  static __m128 reduced(__m128 x, __m128 kf) { return _mm_sub_ps(x, kf); }
  static __m128 poly(__m128 r) {
    const __m128 c1 = Simd<float>::bits(0x3F317243u), c2 = Simd<float>::bits(0x3E75FDFCu);
    return _mm_mul_ps(r, _mm_add_ps(c1, _mm_mul_ps(c2, r)));
  }
  static const tab::Pair<float>* table() { return tab::sExp2; }
};
struct Exp2D {
  using T = double;
  static constexpr int kLogSteps = 6;
  static constexpr double kShift = 105553116266496.0;        // 1.5 * 2^46
  static constexpr uint64_t kLimit = 0x408FEFFF3E0370CEull;  // 1021.99963
  static __m128d reduce(__m128d x) { return _mm_add_pd(x, _mm_set1_pd(kShift)); }
  static __m128d reduced(__m128d x, __m128d kf) { return _mm_sub_pd(x, kf); }
  static __m128d poly(__m128d r) { return Horner(kExp2Poly, r); }
  static const tab::Pair<double>* table() { return tab::dExp2; }
};
struct Exp10S {
  using T = float;
  static constexpr int kLogSteps = 7;
  static constexpr float kShift = 12582912.0f;     // 1.5 * 2^23
  static constexpr uint32_t kLimit = 0x4217B818u;  // 37.9297791
  static __m128 reduce(__m128 x) {
    const __m128 f = Simd<float>::bits(0x43D49A78u);  // 128 log2(10)
    return _mm_add_ps(_mm_mul_ps(x, f), _mm_set1_ps(kShift));
  }
  static __m128 reduced(__m128 x, __m128 kf) {
    const __m128 hi = _mm_set1_ps(tab::kSExp10SplitHi), lo = _mm_set1_ps(tab::kSExp10SplitLo);
    return _mm_sub_ps(_mm_sub_ps(x, _mm_mul_ps(kf, hi)), _mm_mul_ps(kf, lo));
  }
  static __m128 poly(__m128 r) {
    const __m128 c1 = _mm_set1_ps(2.30258727f), c2 = _mm_set1_ps(2.65094972f);
    return _mm_mul_ps(r, _mm_add_ps(c1, _mm_mul_ps(c2, r)));
  }
  static const tab::Pair<float>* table() { return tab::sExp10; }
};
struct Exp10D {
  using T = double;
  static constexpr int kLogSteps = 7;
  static constexpr double kShift = 6755399441055744.0;       // 1.5 * 2^52
  static constexpr uint64_t kLimit = 0x40733A7040733A70ull;  // 307.652405214415
  static __m128d reduce(__m128d x) {
    return _mm_add_pd(_mm_mul_pd(x, _mm_set1_pd(425.206796145582)), _mm_set1_pd(kShift));
  }
  static __m128d reduced(__m128d x, __m128d kf) {
    const __m128d hi = _mm_set1_pd(tab::kDExp10SplitHi), lo = _mm_set1_pd(tab::kDExp10SplitLo);
    return _mm_sub_pd(_mm_sub_pd(x, _mm_mul_pd(kf, hi)), _mm_mul_pd(kf, lo));
  }
  static __m128d poly(__m128d r) { return Horner(kExp10Poly, r); }
  static const tab::Pair<double>* table() { return tab::dExp10; }
};

// ---- scalar routines, in double ----------------------------------------------------

// b^x for a finite x of either type, in double: a reduction to N steps with the
// double table pair and the degree-five polynomial, the power of two applied
// in one rounding. `kind` 2 or 10.
template <int kBase>
double ExpBaseDouble(double x) {
  constexpr int kLog = kBase == 2 ? 6 : 7;
  constexpr int kN = 1 << kLog;
  const double shift = 6755399441055744.0;  // 1.5 * 2^52: k in the last place
  double kf, r;
  if constexpr (kBase == 2) {
    kf = (x * kN + shift) - shift;
    r = x - kf * (1.0 / kN);
  } else {
    kf = (x * 425.206796145582 + shift) - shift;
    r = (x - kf * tab::kDExp10SplitHi) - kf * tab::kDExp10SplitLo;
  }
  const int32_t k = static_cast<int32_t>(kf);
  const tab::Pair<double>& t = (kBase == 2 ? tab::dExp2 : tab::dExp10)[k & (kN - 1)];
  const double p = HornerScalar(kBase == 2 ? kExp2Poly : kExp10Poly, r);
  const int32_t e = k >> kLog;
  if (e < -1021) {
    const DoubleDouble y = TwoSum(t.hi, t.hi * p + t.lo);
    return ScaleToSubnormal(y.hi, y.lo, e);
  }
  return ScaleByPow2(t.hi + (t.hi * p + t.lo), e);
}

// Limits of a type and base, in double: above kOverflow the result is
// infinite, below kZero it is zero. Between them it is computed, and
// underflow is reported for a result below the least normal number.
template <class T, int kBase>
struct ExpLimits;
template <>
struct ExpLimits<float, 2> {
  static constexpr double kOverflow = 128, kZero = -150;
};
template <>
struct ExpLimits<double, 2> {
  static constexpr double kOverflow = 1024, kZero = -1075;
};
template <>
struct ExpLimits<float, 10> {
  // The least single with an infinite result, and the greatest with a zero
  // result; -37.9297828674316 is the greatest with a subnormal one.
  static constexpr double kOverflow = 38.5318412780762, kZero = -45.1544990539551;
};
template <>
struct ExpLimits<double, 10> {
  // log10 of 2^1024 and 2^-1075.
  static constexpr double kOverflow = 308.25471555991675, kZero = -323.60724533877976;
};

template <class T, int kBase>
__attribute__((noinline)) int ExpBaseScalar(const T* in, T* out) {
  using L = ExpLimits<T, kBase>;
  const T x = in[0];
  if (x != x) {
    out[0] = x + x;
    return VTM_STATUS_OK;
  }
  const T inf = std::numeric_limits<T>::infinity();
  if (x == inf || x == -inf) {
    out[0] = x > 0 ? x : T(0);
    return VTM_STATUS_OK;
  }
  const double xd = x;
  if (xd > L::kOverflow) {
    out[0] = inf;
    RaiseOverflow<T>();
    return VTM_STATUS_OVERFLOW;
  }
  if (xd < L::kZero) {
    out[0] = T(0);
    RaiseUnderflow<T>();
    return VTM_STATUS_UNDERFLOW;
  }
  const T y = static_cast<T>(ExpBaseDouble<kBase>(xd));
  out[0] = y;
  if (y == inf) return VTM_STATUS_OVERFLOW;
  return y < std::numeric_limits<T>::min() ? VTM_STATUS_UNDERFLOW : VTM_STATUS_OK;
}

// ---- the packed operation ----------------------------------------------------------

template <class F, int kBase>
struct ExpBaseOp {
  using T = typename F::T;
  using S = Simd<T>;
  using I = IntLanes<T>;
  using V = typename S::V;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr bool kHasSpecial = true;

  static V cast(__m128i v) {
    if constexpr (sizeof(T) == 4) {
      return _mm_castsi128_ps(v);
    } else {
      return _mm_castsi128_pd(v);
    }
  }
  static __m128i icast(V v) {
    if constexpr (sizeof(T) == 4) {
      return _mm_castps_si128(v);
    } else {
      return _mm_castpd_si128(v);
    }
  }

  static void packed(const V* in, V* out) {
    const V x = in[0];
    const V shift = S::set1(F::kShift);
    const V y = F::reduce(x);
    const V kf = S::sub(y, shift);
    const V r = F::reduced(x, kf);
    const V p = F::poly(r);
    const __m128i k = I::sub(icast(y), icast(shift));
    V hi, lo;
    I::gather(F::table(), k, (1 << F::kLogSteps) - 1, &hi, &lo);
    const V m = S::add(hi, S::add(S::mul(hi, p), lo));
    // floor(k / N) into the exponent field: k shifted so that its bits from
    // log2 N upward land on the field, the bits below cut away.
    const __m128i e = _mm_and_si128(I::shl(k, I::kMant - F::kLogSteps), I::field(I::kExpField));
    out[0] = cast(I::add(icast(m), e));
  }
  static int special(const V* in) {
    return S::movemask(S::int_gt(S::and_(in[0], S::bits(S::kAbs)), F::kLimit));
  }
  static int scalar(const T* in, T* out) { return ExpBaseScalar<T, kBase>(in, out); }
};

template <class Op, KernelName Name, class T = typename Op::T>
inline void RunExp(int n, const T* a, T* r) {
  RunOne<Op, X87Target::kMasked, MxcsrWay::kByMode, UsePlanD, ReportAs<Name, 1, 1>>(n, a, r);
}

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

extern "C" void nex_vtm_k_sExp2(int n, const float* a, float* r) {
  RunExp<ExpBaseOp<Exp2S, 2>, "vsExp2">(n, a, r);
}
extern "C" void nex_vtm_k_dExp2(int n, const double* a, double* r) {
  RunExp<ExpBaseOp<Exp2D, 2>, "vdExp2">(n, a, r);
}
extern "C" void nex_vtm_k_sExp10(int n, const float* a, float* r) {
  RunExp<ExpBaseOp<Exp10S, 10>, "vsExp10">(n, a, r);
}
extern "C" void nex_vtm_k_dExp10(int n, const double* a, double* r) {
  RunExp<ExpBaseOp<Exp10D, 10>, "vdExp10">(n, a, r);
}
