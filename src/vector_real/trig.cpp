// Sin, Cos, Tan and SinCos in single and double precision.
//
// Double. The table form at all moderate sizes: k = round(x 256/pi) by the
// shifter 1.5 2^52, j = k mod 512, and r = x - k pi/256 with pi/256 in three
// parts of 27, 27 and 53 bits (k < 2^26 here, so k p1 and k p2 are exact;
// the difference is carried as r_hi + r_lo by an error-free sum). With
// S = sin(j pi/256), C = cos(j pi/256) from the table,
//   sin(x) = S + C r + [S (cos r - 1) + C (sin r - r)],
// where C is held to 27 bits so that C_hi r_hi' (r_hi' = r_hi cut to 26 bits)
// is exact and S + C_hi r_hi' is summed without error; the other terms are
// small beside the result and their roundings below 2^-60 of it, so the
// error is half an ulp plus that of the two short polynomials (up to 0.03
// ulp where the result is near sin(pi/512)). cos(x) is the same with the row
// j + 128, and tan(x) is the quotient of the two unrounded pairs, refined by one exact
// residual. sin r - r = r^3 (-1/6 + 0.00833332293261 r^2) and
// cos r - 1 = r^2 (-1/2 + r^2 (1/24 - 0.0013888875888 r^2)) are within
// 2^-60 of the truth on |r| <= pi/512.
//
// Finite lanes with |x| >= 2^19 (where k p1 would not be exact) are reduced
// inside the packed path, behind one test per register, by a per-exponent
// row of 256/pi modulo 512 in 26-bit parts (exact products with the halves
// of the significand); the few of them that land within 2^-24 of a multiple
// of pi/256 are reduced element by element from the bits of 1/pi
// (trig_reduce.hpp). Both go on through the same table code with r_hi + r_lo.
// The scalar routine takes infinities, NaNs and the rare moderate lanes with
// j a multiple of 128 and |r| < 2^-26, that is x within 2^-26 of a nonzero
// multiple of pi/2: there the result (or the cosine) is r itself and r needs
// more bits than three parts of pi/256 give; it reduces exactly as well.
//
// Single, |x| <= 10000: k from x 0.31830987 and the single shifter 1.5 2^23
// (in single precision, so that k stands in the low bits of the sum),
// r = x - k pi_hi - k pi_lo in double with pi_hi of 35 bits (k pi_hi exact),
// an odd polynomial of degree 9 for sin r on |r| <= pi/2, the sign flipped
// for odd k, and one rounding to single. Cos moves the phase by pi/2: k is
// the integer nearest to |x|/pi + 1/2, r = |x| - (2k - 1) pi/2.
// Tan: k = round(x 2/pi), r = x - k pi/2 and a rational form of degree
// 2 over 2 in r^2, inverted and negated for odd k. (A form with one term less,
// r (1 - 0.0958017723 r^2) / (1 - 0.429135777 r^2 + 0.00971685835 r^4), is
// off by up to 2.9e-8, nearly half an ulp on its own; the fitted form here
// is within 2.6e-11.)
// Larger finite single arguments are reduced by a per-exponent row of
// 256/pi in four 28-bit parts (exact products in double) and evaluated with
// the double table in plain double arithmetic, then rounded to single.
//
// Worst errors measured (tests/vector_trig against MPFR at 192 bits, over
// random arguments in the whole range and every float next to a multiple of
// pi/2 below 10000; docs/accuracy_trig.md):
//   sSin 0.606 ulp at 7428.29639, sCos 0.606 at 8840.44238 (the degree-9
//   polynomial near pi/2), sTan 0.5004 at 2.03867078; beyond 10000 all
//   three within 0.50000 (single from double results);
//   dSin 0.527 at 0.00646037710702112, dCos 0.529 at 1.57715830230004,
//   dTan 0.528 at 0.00587862553717708 (results near sin(pi/512)).
//
// Exceptional lanes: an infinity gives NaN (x * 0) with status 1 (domain);
// a NaN gives x * x with status 0. Nothing else reports.
#include "service/export.hpp"
#include "vector_frame/report.hpp"
#include "vector_real/kernel_defs.hpp"
#include "vector_real/trig_data.hpp"
#include "vector_real/trig_reduce.hpp"

#include <type_traits>

namespace nex::vtm {
namespace {

using trig::Exact;

enum class Fn { kSin, kCos, kTan, kSinCos };

inline __m128d Set(double v) {
  return _mm_set1_pd(v);
}
inline __m128d Bits64(uint64_t b) {
  return _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(b)));
}

// ---- Double: the table code --------------------------------------------------

struct DoubleTrig {
  using V = __m128d;
  static constexpr double kScale = 81.487330863050417;    // 256/pi
  static constexpr double kShifter = 6755399441055744.0;  // 1.5 2^52
  static constexpr double kP1 = 0x1.921fb54p-7;           // pi/256, 27 bits
  static constexpr double kP2 = 0x1.10b461p-37;           // next 27 bits
  static constexpr double kP3 = 0x1.a62633145c06ep-65;    // the rest
  static constexpr double kS1 = -1.0 / 6.0;
  static constexpr double kS2 = 0.00833332293261;
  static constexpr double kC1 = -0.5;
  static constexpr double kC2 = 1.0 / 24.0;
  static constexpr double kC3 = -0.0013888875888;
  static constexpr uint64_t kLimitBits = 0x4120000000000000ull;  // 2^19
  static constexpr uint64_t kCut26 = 0xFFFFFFFFF8000000ull;      // 26 significant bits

  static V TwoSumHi(V a, V b, V* e) {
    const V s = _mm_add_pd(a, b);
    const V bb = _mm_sub_pd(s, a);
    *e = _mm_add_pd(_mm_sub_pd(a, _mm_sub_pd(s, bb)), _mm_sub_pd(b, bb));
    return s;
  }

  // k = round(x 256/pi) as a double, and the shifted sum whose low word is k.
  static V Nearest(V x, __m128i* kbits) {
    const V v = _mm_add_pd(_mm_mul_pd(x, Set(kScale)), Set(kShifter));
    *kbits = _mm_castpd_si128(v);
    return _mm_sub_pd(v, Set(kShifter));
  }

  // r = x - k pi/256 as r_hi + r_lo.
  static void Reduce(V x, V k, V* rh, V* rl) {
    const V r0 = _mm_sub_pd(x, _mm_mul_pd(k, Set(kP1)));
    V e1;
    const V r1 = TwoSumHi(r0, _mm_mul_pd(k, Set(-kP2)), &e1);
    const V w = _mm_sub_pd(e1, _mm_mul_pd(k, Set(kP3)));
    *rh = _mm_add_pd(r1, w);
    *rl = _mm_sub_pd(w, _mm_sub_pd(*rh, r1));
  }

  // sin(j pi/256 + r) as hi + lo, for the rows j0 (lane 0) and j1 (lane 1).
  static V Row(int j0, int j1, V rh, V rl, V sr, V cm, V* lo) {
    const double* a = trig::kSinCos256[j0 & 511];
    const double* b = trig::kSinCos256[j1 & 511];
    const V ha = _mm_load_pd(a), hb = _mm_load_pd(b);
    const V la = _mm_load_pd(a + 2), lb = _mm_load_pd(b + 2);
    const V sh = _mm_unpacklo_pd(ha, hb), ch = _mm_unpackhi_pd(ha, hb);
    const V sl = _mm_unpacklo_pd(la, lb), cl = _mm_unpackhi_pd(la, lb);
    const V r26 = _mm_and_pd(rh, Bits64(kCut26));
    V e;
    const V hi = TwoSumHi(sh, _mm_mul_pd(ch, r26), &e);
    const V inner = _mm_add_pd(_mm_add_pd(_mm_sub_pd(rh, r26), rl), sr);
    V tail = _mm_add_pd(_mm_mul_pd(sh, cm), _mm_mul_pd(ch, inner));
    tail = _mm_add_pd(tail, _mm_add_pd(sl, _mm_mul_pd(cl, _mm_add_pd(rh, sr))));
    *lo = _mm_add_pd(e, tail);
    return hi;
  }

  // sin r - r and cos r - 1 on the reduced argument.
  static void Poly(V rh, V* sr, V* cm) {
    const V r2 = _mm_mul_pd(rh, rh);
    *sr = _mm_mul_pd(_mm_mul_pd(r2, rh), _mm_add_pd(Set(kS1), _mm_mul_pd(r2, Set(kS2))));
    const V c = _mm_add_pd(Set(kC2), _mm_mul_pd(r2, Set(kC3)));
    *cm = _mm_mul_pd(r2, _mm_add_pd(Set(kC1), _mm_mul_pd(r2, c)));
  }

  // hi + lo with |lo| <= ulp(hi)/2, for |hi| >= |lo|.
  static V Normalize(V hi, V* lo) {
    const V s = _mm_add_pd(hi, *lo);
    *lo = _mm_sub_pd(*lo, _mm_sub_pd(s, hi));
    return s;
  }

  // tan from the pairs of sine and cosine: q = s/c and one correction by the
  // exact residual s_hi - q c_hi. The pairs are normalized first (their low
  // parts hold up to 2^-16 of the value), so that the corrected quotient is
  // within 2^-100 of s/c before its last rounding.
  static V Quotient(V sh, V sl, V chh, V cl) {
    alignas(16) double s[2], sl_[2], c[2], cl_[2], out[2];
    sh = Normalize(sh, &sl);
    chh = Normalize(chh, &cl);
    const V q = _mm_div_pd(sh, chh);
    // The residual needs exact products; the lanes are few enough to do it
    // on scalars.
    alignas(16) double qq[2];
    _mm_store_pd(qq, q);
    _mm_store_pd(s, sh);
    _mm_store_pd(sl_, sl);
    _mm_store_pd(c, chh);
    _mm_store_pd(cl_, cl);
    for (int i = 0; i < 2; ++i) {
      double p, pe;
      Exact::TwoProd(qq[i], c[i], &p, &pe);
      const double res = ((s[i] - p) - pe) + (sl_[i] - qq[i] * cl_[i]);
      out[i] = qq[i] + res / c[i];
    }
    return _mm_load_pd(out);
  }

  // All of sine and cosine for reduced lanes with steps k (low words).
  template <Fn F>
  static void Finish(__m128i kbits, V rh, V rl, V x, V* out) {
    const int j0 = _mm_cvtsi128_si32(kbits);
    const int j1 = _mm_cvtsi128_si32(_mm_srli_si128(kbits, 8));
    V sr, cm;
    Poly(rh, &sr, &cm);
    const V zero_mask = _mm_cmpeq_pd(x, _mm_setzero_pd());  // keeps the sign of zero
    V slo, clo;
    if constexpr (F == Fn::kSin || F == Fn::kSinCos || F == Fn::kTan) {
      const V shi = Row(j0, j1, rh, rl, sr, cm, &slo);
      out[0] = _mm_add_pd(shi, slo);
      if constexpr (F == Fn::kTan) {
        const V chi = Row(j0 + 128, j1 + 128, rh, rl, sr, cm, &clo);
        out[0] = Quotient(shi, slo, chi, clo);
      }
      out[0] = _mm_or_pd(_mm_and_pd(zero_mask, x), _mm_andnot_pd(zero_mask, out[0]));
    }
    if constexpr (F == Fn::kCos || F == Fn::kSinCos) {
      const V chi = Row(j0 + 128, j1 + 128, rh, rl, sr, cm, &clo);
      out[F == Fn::kCos ? 0 : 1] = _mm_add_pd(chi, clo);
    }
  }

  // x with the lanes of |x| >= 2^19 (infinities and NaNs included) zeroed.
  static V Moderate(V x) {
    const V ax = _mm_and_pd(x, Bits64(0x7FFFFFFFFFFFFFFFull));
    return _mm_andnot_pd(Simd<double>::int_gt(ax, kLimitBits - 1), x);
  }

  // Finite lanes with |x| >= 2^19, as a bit mask.
  static int Large(V x) {
    const V ax = _mm_and_pd(x, Bits64(0x7FFFFFFFFFFFFFFFull));
    return _mm_movemask_pd(_mm_andnot_pd(Simd<double>::int_gt(ax, 0x7FEFFFFFFFFFFFFFull),
                                         Simd<double>::int_gt(ax, kLimitBits - 1)));
  }

  // The exact reduction for the lanes in `mask`, replacing their k and r,
  // element by element.
  NEX_NOINLINE static void ReduceExact(V x, int mask, __m128i* kbits, V* rh, V* rl) {
    alignas(16) double xs[2], h[2], l[2];
    alignas(16) int64_t k[2];
    _mm_store_pd(xs, x);
    _mm_store_pd(h, *rh);
    _mm_store_pd(l, *rl);
    _mm_store_si128(reinterpret_cast<__m128i*>(k), *kbits);
    for (int i = 0; i < 2; ++i)
      if (mask & (1 << i)) k[i] = trig::ReduceByPi(xs[i], 8, &h[i], &l[i]);
    *rh = _mm_load_pd(h);
    *rl = _mm_load_pd(l);
    *kbits = _mm_load_si128(reinterpret_cast<const __m128i*>(k));
  }

  // v - 512 round(v / 512), exact for |v| < 2^61 a multiple of 2^-17 or finer
  // within 53 bits.
  static V Mod512(V v) {
    const V q = _mm_sub_pd(_mm_add_pd(_mm_mul_pd(v, Set(1.0 / 512)), Set(kShifter)), Set(kShifter));
    return _mm_sub_pd(v, _mm_mul_pd(q, Set(512.0)));
  }

  // Packed reduction of the large lanes in `mask`. With x = m 2^(E - 1075),
  // m = mh + ml (27 and 26 bits) and g = 2^(E - 1075) 256/pi modulo 512 in
  // 26-bit parts G1..G6, every product is exact; mh G1 is a multiple of 512
  // and drops out. The products above 2^-43 are cut modulo 512 and summed
  // exactly around the nearest integer k, the rest is added as a low part:
  // x 256/pi = k + f modulo 512 to about 2^-93. Lanes with |f| < 2^-24 (x
  // next to a multiple of pi/2 or of pi/256, where that is not enough) are
  // reduced element by element instead.
  NEX_NOINLINE static void ReduceLarge(V x, int mask, __m128i* kbits, V* rh, V* rl) {
    const __m128i hi = _mm_srli_epi32(_mm_castpd_si128(x), 20);
    int e0 = (_mm_cvtsi128_si32(_mm_srli_si128(hi, 4)) & 0x7FF);
    int e1 = (_mm_cvtsi128_si32(_mm_srli_si128(hi, 12)) & 0x7FF);
    // Lanes outside the mask take a valid row; their results are dropped.
    e0 = (mask & 1) ? e0 : trig::kDoubleRowBase;
    e1 = (mask & 2) ? e1 : trig::kDoubleRowBase;
    const double* g0 = trig::kRecipPiDouble[e0 - trig::kDoubleRowBase];
    const double* g1 = trig::kRecipPiDouble[e1 - trig::kDoubleRowBase];
    const __m128i sc = _mm_set_epi64x(static_cast<long long>(1023 + 1075 - e1) << 52,
                                      static_cast<long long>(1023 + 1075 - e0) << 52);
    const V m = _mm_mul_pd(x, _mm_castsi128_pd(sc));  // +-m, an integer below 2^53
    const V mh = _mm_and_pd(m, Bits64(0xFFFFFFFFFC000000ull));
    const V ml = _mm_sub_pd(m, mh);
    V g[6];
    for (int i = 0; i < 6; i += 2) {
      const V a = _mm_loadu_pd(g0 + i), b = _mm_loadu_pd(g1 + i);
      g[i] = _mm_unpacklo_pd(a, b);
      g[i + 1] = _mm_unpackhi_pd(a, b);
    }
    const V a = Mod512(_mm_add_pd(Mod512(_mm_mul_pd(ml, g[0])), Mod512(_mm_mul_pd(mh, g[1]))));
    const V d = _mm_mul_pd(ml, g[1]);
    const V c = Mod512(_mm_mul_pd(mh, g[2]));
    const V v = _mm_add_pd(_mm_add_pd(a, _mm_add_pd(d, c)), Set(kShifter));
    const V k = _mm_sub_pd(v, Set(kShifter));
    const V f1 = _mm_add_pd(_mm_add_pd(_mm_sub_pd(a, k), d), c);  // exact
    V e1v, e2v;
    const V s1 = TwoSumHi(f1, _mm_mul_pd(mh, g[3]), &e1v);
    const V s2 = TwoSumHi(s1, _mm_mul_pd(ml, g[2]), &e2v);
    V lo = _mm_add_pd(_mm_mul_pd(ml, g[3]), _mm_mul_pd(mh, g[4]));
    lo = _mm_add_pd(lo, _mm_add_pd(_mm_mul_pd(ml, g[4]), _mm_mul_pd(mh, g[5])));
    lo = _mm_add_pd(_mm_add_pd(e1v, e2v), lo);
    const V fh = _mm_add_pd(s2, lo);
    const V fl = _mm_sub_pd(lo, _mm_sub_pd(fh, s2));
    // r = f pi/256 as a pair: with pi/256 = kP1 + kP2 + kP3 (kP1 of 26 bits)
    // and fh split in 26 + 27 bits, fh kP1 is an exact sum of two products.
    constexpr double kStepHi = kP1, kStepMid = kP2, kStepLo = kP3;
    const V fsplit = _mm_mul_pd(fh, Set(134217729.0));
    const V fhh = _mm_sub_pd(fsplit, _mm_sub_pd(fsplit, fh));
    const V fhl = _mm_sub_pd(fh, fhh);
    const V p = _mm_mul_pd(fh, Set(kStepHi));
    V err = _mm_sub_pd(_mm_mul_pd(fhh, Set(kStepHi)), p);
    err = _mm_add_pd(err, _mm_mul_pd(fhl, Set(kStepHi)));
    err = _mm_add_pd(err, _mm_add_pd(_mm_mul_pd(fh, Set(kStepMid)),
                                     _mm_add_pd(_mm_mul_pd(fh, Set(kStepLo)),
                                                _mm_mul_pd(fl, Set(kStepHi + kStepMid)))));
    const V h = _mm_add_pd(p, err);
    const V l = _mm_sub_pd(err, _mm_sub_pd(h, p));
    const V lanes = _mm_castsi128_pd(_mm_set_epi64x(mask & 2 ? -1 : 0, mask & 1 ? -1 : 0));
    *rh = _mm_or_pd(_mm_and_pd(lanes, h), _mm_andnot_pd(lanes, *rh));
    *rl = _mm_or_pd(_mm_and_pd(lanes, l), _mm_andnot_pd(lanes, *rl));
    *kbits = _mm_or_si128(_mm_and_si128(_mm_castpd_si128(lanes), _mm_castpd_si128(v)),
                          _mm_andnot_si128(_mm_castpd_si128(lanes), *kbits));
    const V tiny = _mm_and_pd(
        lanes, _mm_cmplt_pd(_mm_and_pd(fh, Bits64(0x7FFFFFFFFFFFFFFFull)), Set(0x1p-24)));
    const int exact = _mm_movemask_pd(tiny);
    if (exact != 0) ReduceExact(x, exact, kbits, rh, rl);
  }

  // Large finite lanes are reduced exactly here, rarely enough to branch.
  template <Fn F>
  static void Packed(V x, V* out) {
    // The moderate reduction sees 0 in the large lanes, so that it raises
    // no overflow or invalid flag for them.
    const V xm = Moderate(x);
    __m128i kbits;
    const V k = Nearest(xm, &kbits);
    V rh, rl;
    Reduce(xm, k, &rh, &rl);
    const int large = Large(x);
    if (__builtin_expect(large != 0, 0)) ReduceLarge(x, large, &kbits, &rh, &rl);
    Finish<F>(kbits, rh, rl, x, out);
  }

  // Lanes for the scalar routine: infinities, NaNs and the moderate lanes
  // next to a multiple of pi/2 (see the file comment).
  static int Special(V x) {
    const V ax = _mm_and_pd(x, Bits64(0x7FFFFFFFFFFFFFFFull));
    const V big = Simd<double>::int_gt(ax, kLimitBits - 1);
    const V nonfinite = Simd<double>::int_gt(ax, 0x7FEFFFFFFFFFFFFFull);
    const V xm = _mm_andnot_pd(big, x);
    __m128i kbits;
    const V k = Nearest(xm, &kbits);
    const V r = _mm_sub_pd(_mm_sub_pd(xm, _mm_mul_pd(k, Set(kP1))), _mm_mul_pd(k, Set(kP2)));
    const __m128i low7 =
        _mm_cmpeq_epi32(_mm_and_si128(kbits, _mm_set1_epi64x(127)), _mm_setzero_si128());
    const V on_axis = _mm_castsi128_pd(_mm_shuffle_epi32(low7, _MM_SHUFFLE(2, 2, 0, 0)));
    const V near =
        _mm_and_pd(_mm_cmplt_pd(_mm_and_pd(r, Bits64(0x7FFFFFFFFFFFFFFFull)), Set(0x1p-26)),
                   _mm_cmpgt_pd(ax, Set(1.0)));
    return _mm_movemask_pd(_mm_or_pd(nonfinite, _mm_andnot_pd(big, _mm_and_pd(on_axis, near))));
  }

  // Finite x: exact reduction (or the packed one for |x| < 1, where it is
  // exact anyway), then the table code on lane 0.
  template <Fn F>
  static void Finite(double x, double* out) {
    V res[2];
    if (x > -1.0 && x < 1.0) {
      Packed<F>(Set(x), res);
    } else {
      double rh, rl;
      const uint32_t n = trig::ReduceByPi(x, 8, &rh, &rl);
      Finish<F>(_mm_set1_epi64x(n), Set(rh), Set(rl), Set(x), res);
    }
    out[0] = _mm_cvtsd_f64(res[0]);
    if constexpr (F == Fn::kSinCos) out[1] = _mm_cvtsd_f64(res[1]);
  }
};

// ---- Single ------------------------------------------------------------------

struct FloatTrig {
  using V = __m128;
  using D = __m128d;
  static constexpr float kInvPi = 0.31830987f;       // 0x3EA2F983
  static constexpr float kTwoOverPi = 0.6366197f;    // 0x3F22F983
  static constexpr float kShifter = 12582912.0f;     // 1.5 2^23
  static constexpr double kPiHi = 0x1.921fb5444p+1;  // 35 bits
  static constexpr double kPiLo = 5.126688303189038e-12;
  static constexpr double kS0 = -0.166666595504278;
  static constexpr double kS1 = 0.00833306624608569;
  static constexpr double kS2 = -0.000198096029022574;
  static constexpr double kS3 = 2.60578063872285e-06;
  // tan r ~ r (1 + a t + b t^2) / (1 + c t + d t^2), t = r^2, within
  // 2.6e-11 relative on |r| <= 0.787 (tools/fit_single_tan.py).
  static constexpr double kTa = -0.11135603305727959;
  static constexpr double kTb = 0.0010747791750514441;
  static constexpr double kTc = -0.44468936517706509;
  static constexpr double kTd = 0.015971216648641016;
  static constexpr uint32_t kLimitBits = 0x461C4000u;  // 10000

  static D Lo(V x) { return _mm_cvtps_pd(x); }
  static D Hi(V x) { return _mm_cvtps_pd(_mm_movehl_ps(x, x)); }
  static V Join(D lo, D hi) { return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi)); }
  static __m128d Mask64(__m128i m32, bool high) {
    return _mm_castsi128_pd(high ? _mm_unpackhi_epi32(m32, m32) : _mm_unpacklo_epi32(m32, m32));
  }

  // sin r for |r| up to a little over pi/2.
  static D SinPoly(D r) {
    const D t = _mm_mul_pd(r, r);
    D p = _mm_add_pd(Set(kS2), _mm_mul_pd(t, Set(kS3)));
    p = _mm_add_pd(Set(kS1), _mm_mul_pd(t, p));
    p = _mm_add_pd(Set(kS0), _mm_mul_pd(t, p));
    return _mm_add_pd(r, _mm_mul_pd(_mm_mul_pd(r, t), p));
  }

  // y - m (step_hi + step_lo) in double for the float steps m.
  static D Reduce(D y, D m, double step_hi, double step_lo) {
    return _mm_sub_pd(_mm_sub_pd(y, _mm_mul_pd(m, Set(step_hi))), _mm_mul_pd(m, Set(step_lo)));
  }

  static V Sin(V x) {
    const V v = _mm_add_ps(_mm_mul_ps(x, _mm_set1_ps(kInvPi)), _mm_set1_ps(kShifter));
    const V k = _mm_sub_ps(v, _mm_set1_ps(kShifter));
    const V sign = _mm_castsi128_ps(_mm_slli_epi32(_mm_castps_si128(v), 31));
    const D lo = SinPoly(Reduce(Lo(x), Lo(k), kPiHi, kPiLo));
    const D hi = SinPoly(Reduce(Hi(x), Hi(k), kPiHi, kPiLo));
    const V s = _mm_xor_ps(Join(lo, hi), sign);
    const V zero = _mm_cmpeq_ps(x, _mm_setzero_ps());  // sin(-0) is -0
    return _mm_or_ps(_mm_and_ps(zero, x), _mm_andnot_ps(zero, s));
  }

  static V Cos(V x) {
    const V y = _mm_and_ps(x, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF)));
    const V v = _mm_add_ps(_mm_add_ps(_mm_mul_ps(y, _mm_set1_ps(kInvPi)), _mm_set1_ps(0.5f)),
                           _mm_set1_ps(kShifter));
    const V k = _mm_sub_ps(v, _mm_set1_ps(kShifter));
    const V m = _mm_sub_ps(_mm_add_ps(k, k), _mm_set1_ps(1.0f));  // odd multiples of pi/2
    const V sign = _mm_castsi128_ps(_mm_slli_epi32(_mm_castps_si128(v), 31));
    const D lo = SinPoly(Reduce(Lo(y), Lo(m), kPiHi / 2, kPiLo / 2));
    const D hi = SinPoly(Reduce(Hi(y), Hi(m), kPiHi / 2, kPiLo / 2));
    return _mm_xor_ps(Join(lo, hi), sign);
  }

  static D TanHalf(D r, __m128d odd) {
    const D t = _mm_mul_pd(r, r);
    const D num = _mm_mul_pd(
        r, _mm_add_pd(Set(1.0), _mm_mul_pd(t, _mm_add_pd(Set(kTa), _mm_mul_pd(t, Set(kTb))))));
    const D den =
        _mm_add_pd(Set(1.0), _mm_mul_pd(t, _mm_add_pd(Set(kTc), _mm_mul_pd(t, Set(kTd)))));
    const D neg_den = _mm_xor_pd(den, Set(-0.0));
    const D top = _mm_or_pd(_mm_and_pd(odd, neg_den), _mm_andnot_pd(odd, num));
    const D bottom = _mm_or_pd(_mm_and_pd(odd, num), _mm_andnot_pd(odd, den));
    return _mm_div_pd(top, bottom);
  }

  static V Tan(V x) {
    const V v = _mm_add_ps(_mm_mul_ps(x, _mm_set1_ps(kTwoOverPi)), _mm_set1_ps(kShifter));
    const V k = _mm_sub_ps(v, _mm_set1_ps(kShifter));
    const __m128i odd =
        _mm_sub_epi32(_mm_setzero_si128(), _mm_and_si128(_mm_castps_si128(v), _mm_set1_epi32(1)));
    const D lo = TanHalf(Reduce(Lo(x), Lo(k), kPiHi / 2, kPiLo / 2), Mask64(odd, false));
    const D hi = TanHalf(Reduce(Hi(x), Hi(k), kPiHi / 2, kPiLo / 2), Mask64(odd, true));
    return Join(lo, hi);
  }

  // Lanes beyond the moderate range, two at a time in double: with
  // x = m 2^(E - 150) and the row E of 2^(E - 150) 256/pi modulo 512 in
  // parts G1..G4 of 28 bits, every m Gi is exact. m G1 is cut modulo 512,
  // k is the integer nearest to that plus m G2, and the fraction
  // f = (m G1 - k) + m G2 is exact too; m G3 and m G4 join it as a low part.
  // So x 256/pi = k + f modulo 512 to 2^-79, far below what any single
  // argument needs, and r = f pi/256 goes into the double table code.
  // xd: the two lanes widened; e: their biased exponents in the low 32 bits
  // of each 64-bit half. Results in res[0] (and res[1] for SinCos).
  template <Fn F>
  static void LargeHalf(D xd, __m128i e, D* res) {
    const int e0 = _mm_cvtsi128_si32(e), e1 = _mm_cvtsi128_si32(_mm_srli_si128(e, 8));
    const double* g0 = trig::kRecipPiSingle[e0];
    const double* g1 = trig::kRecipPiSingle[e1];
    // 2^(150 - E) for each lane, exact.
    const __m128i ex = _mm_slli_epi64(_mm_sub_epi64(_mm_set1_epi64x(1023 + 150), e), 52);
    const D m = _mm_mul_pd(xd, _mm_castsi128_pd(ex));
    const D ga = _mm_load_pd(g0), gb = _mm_load_pd(g1);
    const D gc = _mm_load_pd(g0 + 2), gd = _mm_load_pd(g1 + 2);
    const D p1 = _mm_mul_pd(m, _mm_unpacklo_pd(ga, gb));
    const D p2 = _mm_mul_pd(m, _mm_unpackhi_pd(ga, gb));
    const D p3 = _mm_mul_pd(m, _mm_unpacklo_pd(gc, gd));
    const D p4 = _mm_mul_pd(m, _mm_unpackhi_pd(gc, gd));
    const D shifter = Set(DoubleTrig::kShifter);
    const D q = _mm_sub_pd(_mm_add_pd(_mm_mul_pd(p1, Set(1.0 / 512)), shifter), shifter);
    const D p1m = _mm_sub_pd(p1, _mm_mul_pd(q, Set(512.0)));
    const D v = _mm_add_pd(_mm_add_pd(p1m, p2), shifter);
    const D k = _mm_sub_pd(v, shifter);
    D fl;
    const D f = DoubleTrig::TwoSumHi(_mm_add_pd(_mm_sub_pd(p1m, k), p2), p3, &fl);
    fl = _mm_add_pd(fl, p4);
    constexpr double kStep = 0.01227184630308512984;  // pi/256
    const D r = _mm_mul_pd(_mm_add_pd(f, fl), Set(kStep));
    // A single result needs no error-free steps: in plain double the sum
    // S cos r + C sin r is within 2^-50 of itself, 2^-26 ulp of single.
    const __m128i kb = _mm_castpd_si128(v);
    const int j0 = _mm_cvtsi128_si32(kb), j1 = _mm_cvtsi128_si32(_mm_srli_si128(kb, 8));
    D sr, cm;
    DoubleTrig::Poly(r, &sr, &cm);
    sr = _mm_add_pd(sr, r);
    auto row = [&](int a, int b) {
      const double* ra = trig::kSinCos256[a & 511];
      const double* rb = trig::kSinCos256[b & 511];
      const D ha = _mm_load_pd(ra), hb = _mm_load_pd(rb);
      const D sh = _mm_unpacklo_pd(ha, hb);
      const D ch = _mm_add_pd(_mm_unpackhi_pd(ha, hb),
                              _mm_unpackhi_pd(_mm_load_pd(ra + 2), _mm_load_pd(rb + 2)));
      return _mm_add_pd(sh, _mm_add_pd(_mm_mul_pd(sh, cm), _mm_mul_pd(ch, sr)));
    };
    if constexpr (F == Fn::kSin) res[0] = row(j0, j1);
    if constexpr (F == Fn::kCos) res[0] = row(j0 + 128, j1 + 128);
    if constexpr (F == Fn::kTan) res[0] = _mm_div_pd(row(j0, j1), row(j0 + 128, j1 + 128));
    if constexpr (F == Fn::kSinCos) {
      res[0] = row(j0, j1);
      res[1] = row(j0 + 128, j1 + 128);
    }
  }

  // The large lanes of x (a nonzero `large` mask) replace theirs in out.
  template <Fn F>
  NEX_NOINLINE static void PatchLarge(V x, V large, V* out) {
    const __m128i e = _mm_and_si128(_mm_srli_epi32(_mm_castps_si128(x), 23), _mm_set1_epi32(0xFF));
    const __m128i zero = _mm_setzero_si128();
    D lo[2], hi[2];
    LargeHalf<F>(Lo(x), _mm_unpacklo_epi32(e, zero), lo);
    LargeHalf<F>(Hi(x), _mm_unpackhi_epi32(e, zero), hi);
    constexpr int kOut = F == Fn::kSinCos ? 2 : 1;
    for (int k = 0; k < kOut; ++k)
      out[k] = _mm_or_ps(_mm_and_ps(large, Join(lo[k], hi[k])), _mm_andnot_ps(large, out[k]));
  }

  template <Fn F>
  static void Packed(V x, V* out) {
    const V ax = _mm_and_ps(x, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF)));
    const V large =
        _mm_andnot_ps(Simd<float>::int_gt(ax, 0x7F7FFFFFu), Simd<float>::int_gt(ax, kLimitBits));
    const int mask = _mm_movemask_ps(large);
    if (__builtin_expect(mask == 0xF, 0)) {  // all large: no moderate work
      out[0] = _mm_setzero_ps();
      if constexpr (F == Fn::kSinCos) out[1] = _mm_setzero_ps();
      PatchLarge<F>(x, large, out);
      return;
    }
    // The moderate path sees 0 in the large lanes (no spurious overflow).
    const V xm = _mm_andnot_ps(large, x);
    if constexpr (F == Fn::kSin || F == Fn::kSinCos) out[0] = Sin(xm);
    if constexpr (F == Fn::kCos) out[0] = Cos(xm);
    if constexpr (F == Fn::kSinCos) out[1] = Cos(xm);
    if constexpr (F == Fn::kTan) out[0] = Tan(xm);
    if (__builtin_expect(mask != 0, 0)) PatchLarge<F>(x, large, out);
  }

  // Infinities and NaNs.
  static int Special(V x) {
    const V ax = _mm_and_ps(x, _mm_castsi128_ps(_mm_set1_epi32(0x7FFFFFFF)));
    return _mm_movemask_ps(Simd<float>::int_gt(ax, 0x7F7FFFFFu));
  }

  // Finite x: the packed code on a broadcast (only infinities and NaNs
  // reach the scalar routine from the plans).
  template <Fn F>
  static void Finite(float x, float* out) {
    V r[2];
    Packed<F>(_mm_set1_ps(x), r);
    out[0] = _mm_cvtss_f32(r[0]);
    if constexpr (F == Fn::kSinCos) out[1] = _mm_cvtss_f32(r[1]);
  }
};

template <class T>
using TrigOf = std::conditional_t<sizeof(T) == 4, FloatTrig, DoubleTrig>;

template <class Ty, Fn F>
struct TrigOp {
  using T = Ty;
  using Impl = TrigOf<T>;
  using V = typename Simd<T>::V;
  static constexpr int kIn = 1;
  static constexpr int kOut = F == Fn::kSinCos ? 2 : 1;
  static constexpr bool kHasSpecial = true;

  static void packed(const V* in, V* out) { Impl::template Packed<F>(in[0], out); }
  static int special(const V* in) { return Impl::Special(in[0]); }

  static int scalar(const T* in, T* out) {
    const T x = in[0];
    using S = Simd<T>;
    const auto bits = to_bits(x) & S::kAbs;
    if (bits >= S::kExpMask) {
      const bool inf = bits == S::kExpMask;
      const T r = inf ? x * T(0) : x * x;
      for (int k = 0; k < kOut; ++k) out[k] = r;
      return inf ? VTM_STATUS_DOMAIN : 0;
    }
    Impl::template Finite<F>(x, out);
    return 0;
  }
};

// Plan D with one input, for one or two results.
template <class Op, class Report, class T = typename Op::T>
void RunTrig(int n, const T* a, T* r1, T* r2) {
  Frame<X87Target::kMasked, MxcsrWay::kByMode> frame;
  const T* in[1] = {a};
  T* out[2] = {r1, r2};
  PlanD<Op, Report>(n, in, out);
}

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

#define NEX_TRIG_KERNEL(t, T, name, fn)                               \
  extern "C" void nex_vtm_k_##t##name(int n, const T* a, T* r) {      \
    RunTrig<TrigOp<T, fn>, ReportAs<"v" #t #name, 1, 1>>(n, a, r, r); \
  }
NEX_TRIG_KERNEL(s, float, Sin, Fn::kSin)
NEX_TRIG_KERNEL(d, double, Sin, Fn::kSin)
NEX_TRIG_KERNEL(s, float, Cos, Fn::kCos)
NEX_TRIG_KERNEL(d, double, Cos, Fn::kCos)
NEX_TRIG_KERNEL(s, float, Tan, Fn::kTan)
NEX_TRIG_KERNEL(d, double, Tan, Fn::kTan)
#undef NEX_TRIG_KERNEL

#define NEX_SINCOS_KERNEL(t, T)                                                     \
  extern "C" void nex_vtm_k_##t##SinCos(int n, const T* a, T* r1, T* r2) {          \
    RunTrig<TrigOp<T, Fn::kSinCos>, ReportAs<"v" #t "SinCos", 1, 2>>(n, a, r1, r2); \
  }
NEX_SINCOS_KERNEL(s, float)
NEX_SINCOS_KERNEL(d, double)
#undef NEX_SINCOS_KERNEL
