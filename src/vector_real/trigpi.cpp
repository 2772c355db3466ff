// Sine, cosine and tangent of arguments in half-turns (Sinpi, Cospi, Tanpi:
// f(pi x)) and in degrees (Sind, Cosd, Tand: f(pi x / 180)), each with three
// kernels, one per accuracy slot.
//
// Both units allow an exact reduction: the period is a small integer in the
// argument's own unit, so x - k H (H = 1 half-turn, or 180 degrees) is exact
// for every x below a limit, and above it x is a multiple of 1/4 (folded
// exactly modulo 4 half-turns) or an integer (reduced modulo 360 degrees in
// integer arithmetic). No multi-word reciprocal of pi is needed.
//
// Single precision, all slots: on a = |x|, k = nearest integer to a / H by
// the shifter 1.5 * 2^23 (through the product with 0.0055555557 for degrees),
// r = a - k H, exact, |r| <= H/2 (a little more for degrees, where k comes
// from a rounded product). sin(pi r / H) = p (1 + t (c0 + t (c1 ...))),
// p = r * pi/H, t = p^2, and the sign flips for odd k. The cosine uses the
// same polynomial on H/2 - |r|, the tangent is the quotient of the two.
// EP and LA evaluate sine and cosine in single arithmetic with float
// constants, HA in double; all tangents are evaluated in double.
//
// Double precision: k = nearest integer to a / (H/2), r = a - k H/2, exact,
// |r| <= H/4 (+1 degree), p = r * pi/H, and by the quadrant k mod 4 the sine
// or cosine polynomial of p (tools/trigpi_coeffs.py). In HA, p is a sum of
// two doubles (Dekker product with pi or pi/180 in two parts), the leading
// terms p and 1 - p^2/2 are carried exactly, and the tangent divides two
// double-double values with one correction step, so every result is one
// rounding of a value within a few 2^-58 relative. LA and EP evaluate
// in plain double with shorter series.
//
// Signs and exact results: the odd functions are computed on |x| and take
// the sign of x at the end, after adding +0 to the unsigned result, so that
// sinpi(+n) = +0 and sinpi(-n) = -0, cospi(n + 1/2) = +0 and Sind(180 k),
// Cospi(n), Sind(90 + 360 k) are exact. tanpi(n) is a zero with the sign of
// (-1)^n x, and at a pole, x = n + 1/2, the result is +inf for even n and
// -inf for odd n (the sign of x then applied as for the odd function), the
// divide-by-zero flag is raised and the element is reported with status 2
// (VTM_STATUS_SINGULARITY): a finite argument whose result is infinite.
// Tand is the same on 90 + 180 n.
//
// Huge arguments. Half-turns: from 2^22 (single) or 2^50 (double) on, x is
// a multiple of 1/4 and the packed path subtracts the nearest multiple of 4
// (exact), or all of x once it is an even integer; every finite argument
// stays in the packed path. Degrees: from 16777306 (single) or 2^52
// (double) on, x is an integer m 2^e, whose residue modulo 360 is that of
// m (2^e mod 360) (2^e mod 360 from a table of the powers of 2 modulo 45):
// in single the packed path forms that product exactly in double, in
// double the scalar routine does it in integers, and both go on with the
// residue.
//
// Exceptional lanes: an infinity gives NaN with status 1 (VTM_STATUS_DOMAIN),
// a NaN gives x * x with no status, a tangent pole its signed infinity with
// status 2. In double HA sine and tangent, arguments below 2^-960, whose
// product with pi would lose its error terms to underflow, take the scalar
// routine, which forms the product at the scale 2^120 and rounds it once.
//
// Worst errors measured against MPFR (tests/vector_trigpi; the figures per
// function are in docs/accuracy_trigpi.md): HA 0.5005 ulp in single (vsTand)
// and 0.541 ulp in double (vdTand at x = 44.366); LA 1.98 ulp in single
// (vsCosd near x = 24485, single arithmetic) and 2.09 ulp in double (vdTand
// near x = -404, the quotient of two leading parts); EP 2692 ulp in single
// (11.6 correct bits, vsSinpi at x ~ 0.28) and 6.5e6 ulp in double (29.4
// bits, the tangents).
#include <bit>

#include "vector_frame/report.hpp"
#include "vector_real/kernel_defs.hpp"
#include "vector_real/lane_bits.hpp"
#include "vector_real/trigpi_data.hpp"

namespace nex::vtm {
namespace {

enum class Fn { kSin, kCos, kTan };
enum class Unit { kHalfTurn, kDegree };
enum class Slot { kLa, kHa, kEp };

// ---- Shared helpers ------------------------------------------------------------

// Horner's scheme on t with coefficients lowest order first.
template <class A, size_t N>
inline typename Simd<A>::V Horner(typename Simd<A>::V t, const A (&c)[N]) {
  using S = Simd<A>;
  typename S::V acc = S::set1(c[N - 1]);
  for (size_t i = N - 1; i-- > 0;) acc = S::add(S::set1(c[i]), S::mul(t, acc));
  return acc;
}

template <class T>
inline typename Simd<T>::V Xor(typename Simd<T>::V a, typename Simd<T>::V b) {
  return LaneBits<T>::xor_(a, b);
}

// ---- Single precision ------------------------------------------------------------

// The polynomial of each slot, 1 + t (c0 + t (c1 ...)) for sin(p) / p.
struct SingleSeries {
  static constexpr float kEp[2] = {std::bit_cast<float>(0xBE29F1BEu),
                                   std::bit_cast<float>(0x3BF831A5u)};
  static constexpr float kLa[4] = {
      std::bit_cast<float>(0xBE2AAAA6u), std::bit_cast<float>(0x3C088769u),
      std::bit_cast<float>(0xB94FB7EBu), std::bit_cast<float>(0x362EDE96u)};
  static constexpr double kHa[5] = {-0.166666666261, 0.0083333311086, -0.000198408682091,
                                    2.7525384382e-06, -2.38889085296e-08};
  static constexpr double kEpD[2] = {kEp[0], kEp[1]};
  static constexpr double kLaD[4] = {kLa[0], kLa[1], kLa[2], kLa[3]};
};

// sin(pi u / H) in arithmetic A, with the slot's series and scale: float
// constants in single arithmetic, double ones in double.
template <class A, Unit U, Slot L>
inline typename Simd<A>::V SinOfUnits(typename Simd<A>::V u) {
  using S = Simd<A>;
  A scale;
  if constexpr (sizeof(A) == 4) {
    scale = std::bit_cast<float>(U == Unit::kHalfTurn ? 0x40490FDBu : 0x3C8EFA35u);
  } else {
    scale = U == Unit::kHalfTurn ? trigpi::kPiHi : trigpi::kDegHi;
  }
  const typename S::V p = S::mul(u, S::set1(scale));
  const typename S::V t = S::mul(p, p);
  typename S::V poly;
  if constexpr (L == Slot::kHa) {
    static_assert(sizeof(A) == 8);
    poly = Horner<double>(t, SingleSeries::kHa);
  } else if constexpr (sizeof(A) == 4) {
    poly =
        L == Slot::kLa ? Horner<float>(t, SingleSeries::kLa) : Horner<float>(t, SingleSeries::kEp);
  } else {
    poly = L == Slot::kLa ? Horner<double>(t, SingleSeries::kLaD)
                          : Horner<double>(t, SingleSeries::kEpD);
  }
  return S::add(p, S::mul(p, S::mul(t, poly)));
}

// Applies a function of double registers to the four lanes of a float one.
template <class F>
inline __m128 OnDoubles(__m128 x, F f) {
  const __m128d lo = f(_mm_cvtps_pd(x)), hi = f(_mm_cvtps_pd(_mm_movehl_ps(x, x)));
  return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
}
template <class F>
inline __m128 OnDoubles(__m128 x, __m128 y, F f) {
  const __m128d lo = f(_mm_cvtps_pd(x), _mm_cvtps_pd(y));
  const __m128d hi = f(_mm_cvtps_pd(_mm_movehl_ps(x, x)), _mm_cvtps_pd(_mm_movehl_ps(y, y)));
  return _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
}

// 2^e mod 360 = 8 (2^(e-3) mod 45) for e >= 3.
inline uint64_t Pow2Mod360(int e) {
  return e < 3 ? uint64_t{1} << e : 8u * trigpi::kPow2Mod45[(e - 3) % 12];
}

template <Fn F, Unit U, Slot L>
struct SingleOp {
  using T = float;
  using S = Simd<float>;
  using V = __m128;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr bool kHasSpecial = true;
  static constexpr float kHalfPeriod = U == Unit::kHalfTurn ? 0.5f : 90.0f;
  // First |x| bits where the reduction by k H would no longer be exact; fold
  // brings larger arguments back below it, so no finite lane needs the
  // scalar routine.
  static constexpr uint32_t kLimit = U == Unit::kHalfTurn ? 0x4A800000u : 0x4B80002Du;
  // Sine and cosine of EP and LA in single arithmetic; the rest in double.
  static constexpr bool kSingleArith = L != Slot::kHa && F != Fn::kTan;

  struct Reduced {
    V r;    // a - k H, exact
    V odd;  // sign bit set where k is odd
  };

  // Half-turns: from 2^22 on, a is a multiple of 1/2, and a minus the
  // nearest multiple of 4 (the sum with 1.5 * 2^25 rounds to it) is exact
  // and in [-2, 2]; from 2^24 on, a is an even integer and folds to 0. Four
  // is a multiple of the period that keeps the parity of integers, so every
  // result, signs of zeros and of poles included, is that of the folded
  // value; the steps below hold for negative values too.
  static V fold(V a) {
    if constexpr (U == Unit::kHalfTurn) {
      const V c = S::set1(50331648.0f);
      const V folded = S::andnot(S::int_gt(a, 0x4B7FFFFFu), S::sub(a, S::sub(S::add(a, c), c)));
      return S::blend(S::int_gt(a, 0x4A7FFFFFu), folded, a);
    } else {
      // Degrees: from 16777306 on, a = m 2^e is an integer (e >= 1), and
      // m (2^e mod 360) < 2^33 is exact in double, so its residue modulo
      // 360, r in [-180, 180], is found exactly by the shifter there; r has
      // the same sine, cosine and tangent, signs of zeros and poles included
      // (360 is an even number of half periods). The powers come from a
      // small table, lane by lane, in the rare blocks that need them.
      const V big = S::andnot(S::int_gt(a, 0x7F7FFFFFu), S::int_gt(a, kLimit - 1));
      const int lanes = S::movemask(big);
      if (__builtin_expect(lanes == 0, 1)) return a;
      alignas(16) uint32_t bits[4];
      alignas(16) double v[4];
      _mm_store_si128(reinterpret_cast<__m128i*>(bits), _mm_castps_si128(a));
      for (int j = 0; j < 4; ++j) {
        const uint32_t m = (bits[j] & 0x007FFFFFu) | 0x00800000u;
        const int e = static_cast<int>(bits[j] >> 23) - 150;
        v[j] = (lanes >> j) & 1 ? double(m) * double(Pow2Mod360(e)) : 0.0;
      }
      const __m128d shifter = _mm_set1_pd(6755399441055744.0);  // 1.5 * 2^52
      auto mod360 = [&](__m128d x) {
        const __m128d q =
            _mm_sub_pd(_mm_add_pd(_mm_mul_pd(x, _mm_set1_pd(1.0 / 360.0)), shifter), shifter);
        return _mm_sub_pd(x, _mm_mul_pd(q, _mm_set1_pd(360.0)));
      };
      const V r = _mm_movelh_ps(_mm_cvtpd_ps(mod360(_mm_load_pd(v))),
                                _mm_cvtpd_ps(mod360(_mm_load_pd(v + 2))));
      return S::blend(big, r, a);
    }
  }

  static Reduced reduce(V a) {
    const V shifter = S::set1(12582912.0f);  // 1.5 * 2^23: k lands in the low bits
    V sum;
    if constexpr (U == Unit::kHalfTurn) {
      sum = S::add(a, shifter);
    } else {
      sum = S::add(S::mul(a, S::bits(0x3BB60B61u)), shifter);  // a / 180
    }
    const V k = S::sub(sum, shifter);
    const V r = U == Unit::kHalfTurn ? S::sub(a, k) : S::sub(a, S::mul(k, S::set1(180.0f)));
    return {r, _mm_castsi128_ps(_mm_slli_epi32(_mm_castps_si128(sum), 31))};
  }

  // sin(pi u / H) on float lanes in the slot's arithmetic.
  static V sin_of(V u) {
    if constexpr (kSingleArith) {
      return SinOfUnits<float, U, L>(u);
    } else {
      return OnDoubles(u, [](__m128d d) { return SinOfUnits<double, U, L>(d); });
    }
  }
  // cos(pi r / H) = sin(pi (H/2 - |r|) / H); the difference is exact in
  // double and, for |r| >= H/4, in single.
  static V cos_of(V r) {
    const V abs_r = S::and_(r, S::bits(S::kAbs));
    if constexpr (kSingleArith) {
      return SinOfUnits<float, U, L>(S::sub(S::set1(kHalfPeriod), abs_r));
    } else {
      return OnDoubles(abs_r, [](__m128d d) {
        return SinOfUnits<double, U, L>(_mm_sub_pd(_mm_set1_pd(kHalfPeriod), d));
      });
    }
  }

  static void packed(const V* in, V* out) {
    const V sign = S::and_(in[0], S::bits(S::kSign));
    const V a = fold(S::and_(in[0], S::bits(S::kAbs)));
    const Reduced red = reduce(a);
    const V zero = S::set1(0.0f);
    if constexpr (F == Fn::kSin) {
      out[0] = Xor<float>(S::add(Xor<float>(sin_of(red.r), red.odd), zero), sign);
    } else if constexpr (F == Fn::kCos) {
      out[0] = S::add(Xor<float>(cos_of(red.r), red.odd), zero);
    } else {
      const V abs_r = S::and_(red.r, S::bits(S::kAbs));
      V v = OnDoubles(red.r, abs_r, [](__m128d r, __m128d ar) {
        const __m128d s = SinOfUnits<double, U, L>(r);
        const __m128d c = SinOfUnits<double, U, L>(_mm_sub_pd(_mm_set1_pd(kHalfPeriod), ar));
        return _mm_div_pd(s, c);
      });
      // a = k H: a zero with the sign of (-1)^k. a = k H + H/2 (r = +H/2) or
      // (k + 1) H - H/2 (r = -H/2): an infinity, +inf when the integer part
      // (k, or k - 1) is even.
      const V r_zero = S::cmpeq(red.r, zero);
      const V pole = S::cmpeq(abs_r, S::set1(kHalfPeriod));
      const V pole_sign = Xor<float>(red.odd, S::and_(red.r, S::bits(S::kSign)));
      v = S::blend(r_zero, red.odd, v);
      v = S::blend(pole, S::or_(S::bits(S::kExpMask), pole_sign), v);
      out[0] = Xor<float>(v, sign);
    }
  }

  static int special(const V* in) {
    const V a = S::and_(in[0], S::bits(S::kAbs));
    V mask = S::int_gt(a, 0x7F7FFFFFu);  // infinity and NaN
    if constexpr (F == Fn::kTan) {
      const V abs_r = S::and_(reduce(fold(a)).r, S::bits(S::kAbs));
      mask = S::or_(mask, S::cmpeq(abs_r, S::set1(kHalfPeriod)));
    }
    return S::movemask(mask);
  }

  static float one(float x) {
    const V in = S::set1(x);
    V out;
    packed(&in, &out);
    return _mm_cvtss_f32(out);
  }
};

// ---- Double precision ------------------------------------------------------------

struct Dd {
  __m128d hi, lo;
};

// The leading 26 bits of a double, so that products of two such parts, and
// of one with the 27-bit rest of another, are exact.
inline constexpr uint64_t kSplitMask = 0xFFFFFFFFF8000000ull;
constexpr double SplitHi(double c) {
  return std::bit_cast<double>(std::bit_cast<uint64_t>(c) & kSplitMask);
}
inline __m128d SplitHi(__m128d x) {
  return _mm_and_pd(x, _mm_castsi128_pd(_mm_set1_epi64x(static_cast<long long>(kSplitMask))));
}

// a b exactly as hi + lo (Dekker's product; the last partial product of the
// two 27-bit rests is rounded, far below the rest).
inline Dd TwoProduct(__m128d a, __m128d b) {
  const __m128d ah = SplitHi(a), al = _mm_sub_pd(a, ah);
  const __m128d bh = SplitHi(b), bl = _mm_sub_pd(b, bh);
  const __m128d p = _mm_mul_pd(a, b);
  __m128d e = _mm_sub_pd(_mm_mul_pd(ah, bh), p);
  e = _mm_add_pd(_mm_add_pd(e, _mm_mul_pd(ah, bl)), _mm_mul_pd(al, bh));
  return {p, _mm_add_pd(e, _mm_mul_pd(al, bl))};
}

// r (c_hi + c_lo) as hi + lo, hi the rounded product.
inline Dd ProductWith(__m128d r, double c_hi, double c_lo) {
  const Dd p = TwoProduct(r, _mm_set1_pd(c_hi));
  return {p.hi, _mm_add_pd(p.lo, _mm_mul_pd(r, _mm_set1_pd(c_lo)))};
}

// hi + lo renormalised, |hi| >= |lo|.
inline Dd FastTwoSum(__m128d hi, __m128d lo) {
  const __m128d s = _mm_add_pd(hi, lo);
  return {s, _mm_sub_pd(lo, _mm_sub_pd(s, hi))};
}

template <Slot L>
struct DoubleSeries;
template <>
struct DoubleSeries<Slot::kHa> {
  static constexpr const auto& kSin = trigpi::kHaSin;
  // The series after its -1/6, which the HA kernels carry in two parts.
  static constexpr double kSin1[6] = {trigpi::kHaSin[1], trigpi::kHaSin[2], trigpi::kHaSin[3],
                                      trigpi::kHaSin[4], trigpi::kHaSin[5], trigpi::kHaSin[6]};
  static constexpr const auto& kCos = trigpi::kHaCos;
};
template <>
struct DoubleSeries<Slot::kLa> {
  static constexpr const auto& kSin = trigpi::kLaSin;
  static constexpr double kSin1[5] = {trigpi::kLaSin[1], trigpi::kLaSin[2], trigpi::kLaSin[3],
                                      trigpi::kLaSin[4], trigpi::kLaSin[5]};
  static constexpr const auto& kCos = trigpi::kLaCos;
};
template <>
struct DoubleSeries<Slot::kEp> {
  static constexpr const auto& kSin = trigpi::kEpSin;
  static constexpr const auto& kCos = trigpi::kEpCos;
};

template <Fn F, Unit U, Slot L>
struct DoubleOp {
  using T = double;
  using S = Simd<double>;
  using V = __m128d;
  static constexpr int kIn = 1, kOut = 1;
  static constexpr bool kHasSpecial = true;
  static constexpr double kQuarter = U == Unit::kHalfTurn ? 0.5 : 90.0;
  // First |x| bits served by the scalar routine: half-turns fold every
  // finite argument in the packed path, degrees from 2^52.
  static constexpr uint64_t kLimit =
      U == Unit::kHalfTurn ? 0x7FF0000000000000ull : 0x4330000000000000ull;
  // Below 2^-960 the error terms of the HA product underflow; the scalar
  // routine scales such arguments (the cosine there is 1 and needs nothing).
  static constexpr uint64_t kTiny = (L == Slot::kHa && F != Fn::kCos) ? 0x03F0000000000000ull : 0;

  // Sine and cosine with their leading terms carried in two doubles: HA,
  // and the LA tangent, whose plain quotient of two plain doubles would come
  // near its bound of 4 ulp.
  static constexpr bool kCarried = L == Slot::kHa || (L == Slot::kLa && F == Fn::kTan);

  struct Reduced {
    V r;        // a - k H/2, exact
    __m128i k;  // the low bits of k in the low word of each lane
  };

  // Half-turns: from 2^50 on, a is a multiple of 1/4; a minus the nearest
  // multiple of 4 (by the sum with 1.5 * 2^54) is exact and in [-2, 2], and
  // from 2^53 on a is an even integer and folds to 0 (as in single).
  static V fold(V a) {
    if constexpr (U == Unit::kHalfTurn) {
      const V c = S::set1(27021597764222976.0);
      const V folded =
          S::andnot(S::int_gt(a, 0x433FFFFFFFFFFFFFull), S::sub(a, S::sub(S::add(a, c), c)));
      return S::blend(S::int_gt(a, 0x430FFFFFFFFFFFFFull), folded, a);
    } else {
      return a;
    }
  }

  static Reduced reduce(V a) {
    const V shifter = S::set1(6755399441055744.0);  // 1.5 * 2^52
    const V sum = S::add(S::mul(a, S::set1(U == Unit::kHalfTurn ? 2.0 : 1.0 / 90.0)), shifter);
    const V k = S::sub(sum, shifter);
    return {S::sub(a, S::mul(k, S::set1(kQuarter))), _mm_castpd_si128(sum)};
  }
  // All ones in the lanes where bit b of k is set.
  static V bit_mask(__m128i k, int b) {
    const __m128i one = _mm_set1_epi64x(1);
    const __m128i m = _mm_cmpeq_epi32(_mm_and_si128(_mm_srli_epi64(k, b), one), one);
    return _mm_castsi128_pd(_mm_shuffle_epi32(m, _MM_SHUFFLE(2, 2, 0, 0)));
  }

  // sin and cos of p = pi r / H, each as hi + lo.
  static void sin_cos(V r, Dd* sin_p, Dd* cos_p) {
    using C = DoubleSeries<L>;
    const V one = S::set1(1.0), half = S::set1(0.5);
    if constexpr (kCarried) {
      const Dd p = U == Unit::kHalfTurn ? ProductWith(r, trigpi::kPiHi, trigpi::kPiLo)
                                        : ProductWith(r, trigpi::kDegHi, trigpi::kDegLo);
      const V t = S::mul(p.hi, p.hi);
      // sin(hi + lo) = hi - hi^3/6 + hi t^2 P1(t) + lo cos(hi), with
      // cos(hi) ~ 1 - t/2 + t^2/24. The cubic term, up to a tenth of the
      // result, is carried as a sum of two doubles: hi^2 and hi^3 by exact
      // products, the factor -1/6 in two parts.
      const V ah = SplitHi(p.hi), bh = S::sub(p.hi, ah);
      const V sq_lo = S::add(
          S::add(S::sub(S::mul(ah, ah), t), S::mul(S::set1(2.0), S::mul(ah, bh))), S::mul(bh, bh));
      Dd cube = TwoProduct(p.hi, t);
      cube.lo = S::add(cube.lo, S::mul(p.hi, sq_lo));
      Dd third = TwoProduct(cube.hi, S::set1(trigpi::kSixthHi));
      third.lo = S::add(third.lo, S::add(S::mul(cube.hi, S::set1(trigpi::kSixthLo)),
                                         S::mul(cube.lo, S::set1(trigpi::kSixthHi))));
      const Dd lead = FastTwoSum(p.hi, third.hi);
      const V cos_hi =
          S::add(S::sub(one, S::mul(half, t)), S::mul(S::mul(t, t), S::set1(1.0 / 24.0)));
      const V higher = S::mul(p.hi, S::mul(S::mul(t, t), Horner<double>(t, C::kSin1)));
      const V rest = S::add(S::add(lead.lo, third.lo), S::add(S::mul(p.lo, cos_hi), higher));
      *sin_p = FastTwoSum(lead.hi, rest);
      // cos = 1 - (ah^2/2) - (ah bh + bh^2/2 + hi lo) + t^2 Q(t), with
      // hi = ah + bh split so that ah^2 / 2 is exact, and 1 - ah^2/2 taken
      // with its rounding error.
      const V h = S::mul(half, S::mul(ah, ah));
      const V hl = S::add(S::add(S::mul(ah, bh), S::mul(half, S::mul(bh, bh))), S::mul(p.hi, p.lo));
      const V w = S::sub(one, h);
      const V e = S::sub(S::sub(one, w), h);
      // t^2 Q(t) with t = hi^2 rounded; the first-order effect of the error
      // of t, dt = (hi + lo)^2 - t, is 2 t dt Q(0) = t dt / 12.
      const V dt = S::add(sq_lo, S::mul(S::set1(2.0), S::mul(p.hi, p.lo)));
      const V quartic = S::add(S::mul(S::mul(t, t), Horner<double>(t, C::kCos)),
                               S::mul(S::mul(t, dt), S::set1(1.0 / 12.0)));
      const V c_lo = S::add(S::sub(e, hl), quartic);
      *cos_p = FastTwoSum(w, c_lo);
    } else {
      const V p = S::mul(r, S::set1(U == Unit::kHalfTurn ? trigpi::kPiHi : trigpi::kDegHi));
      const V t = S::mul(p, p);
      const V zero = S::set1(0.0);
      *sin_p = {S::add(p, S::mul(p, S::mul(t, Horner<double>(t, C::kSin)))), zero};
      *cos_p = {
          S::add(S::sub(one, S::mul(half, t)), S::mul(S::mul(t, t), Horner<double>(t, C::kCos))),
          zero};
    }
  }

  static void packed(const V* in, V* out) {
    const V sign = S::and_(in[0], S::bits(S::kSign));
    const V a = fold(S::and_(in[0], S::bits(S::kAbs)));
    const Reduced red = reduce(a);
    Dd s, c;
    sin_cos(red.r, &s, &c);
    const V odd = bit_mask(red.k, 0), second = bit_mask(red.k, 1);
    const V neg = S::bits(S::kSign), zero = S::set1(0.0);
    if constexpr (F == Fn::kSin) {
      // sin(pi a) by quadrant: S, C, -S, -C.
      const V v = S::add(S::blend(odd, c.hi, s.hi), S::blend(odd, c.lo, s.lo));
      out[0] = Xor<double>(S::add(Xor<double>(v, S::and_(second, neg)), zero), sign);
    } else if constexpr (F == Fn::kCos) {
      // cos(pi a) by quadrant: C, -S, -C, S.
      const V v = S::add(S::blend(odd, s.hi, c.hi), S::blend(odd, s.lo, c.lo));
      const V flip = S::and_(Xor<double>(odd, second), neg);
      out[0] = S::add(Xor<double>(v, flip), zero);
    } else {
      // tan(pi a) by quadrant: S / C for even k, -C / S for odd k.
      const V r_zero = S::cmpeq(red.r, zero);
      const Dd num = {S::blend(odd, c.hi, s.hi), S::blend(odd, c.lo, s.lo)};
      Dd den = {S::blend(odd, s.hi, c.hi), S::blend(odd, s.lo, c.lo)};
      den.hi = S::or_(den.hi, S::and_(r_zero, S::set1(1.0)));  // no 0/0 at a pole
      V q = S::div(num.hi, den.hi);
      if constexpr (L == Slot::kHa) {
        // One correction: (num - q den) / den, with q den.hi exact (Dekker).
        const V qh = SplitHi(q), ql = S::sub(q, qh);
        const V dh = SplitHi(den.hi), dl = S::sub(den.hi, dh);
        const V prod = S::mul(q, den.hi);
        const V prod_err =
            S::add(S::add(S::add(S::sub(S::mul(qh, dh), prod), S::mul(qh, dl)), S::mul(ql, dh)),
                   S::mul(ql, dl));
        const V resid =
            S::sub(S::add(S::sub(S::sub(num.hi, prod), prod_err), num.lo), S::mul(q, den.lo));
        q = S::add(q, S::div(resid, den.hi));
      }
      q = Xor<double>(q, S::and_(odd, neg));
      // r = 0: a zero (k even) or a pole (k odd), with the sign of bit 1 of k.
      const V exact = S::or_(S::and_(odd, S::bits(S::kExpMask)), S::and_(second, neg));
      out[0] = Xor<double>(S::blend(r_zero, exact, q), sign);
    }
  }

  static int special(const V* in) {
    const V a = S::and_(in[0], S::bits(S::kAbs));
    V mask = S::int_gt(a, kLimit - 1);
    if constexpr (kTiny != 0) mask = S::or_(mask, S::cmplt(a, S::bits(kTiny)));
    if constexpr (F == Fn::kTan) {
      const Reduced red = reduce(fold(a));
      mask = S::or_(mask, S::and_(S::cmpeq(red.r, S::set1(0.0)), bit_mask(red.k, 0)));
    }
    return S::movemask(mask);
  }

  static double one(double x) {
    const V in = S::set1(x);
    V out;
    packed(&in, &out);
    return _mm_cvtsd_f64(out);
  }
};

// ---- Scalar routine --------------------------------------------------------------

// |x| in degrees (finite, at or beyond the limit of the packed reduction,
// so an integer m 2^e, e >= 0) reduced exactly modulo 360.
template <class T>
T ReduceDegrees(T a) {
  using B = LaneBits<T>;
  const auto bits = to_bits(a);
  const uint64_t m = (bits & B::kFracMask) | (decltype(bits){1} << (B::kPrecision - 1));
  const int e = static_cast<int>(bits >> (B::kPrecision - 1)) - B::kBias - (B::kPrecision - 1);
  return static_cast<T>((m % 360u) * Pow2Mod360(e) % 360u);
}

// a (non-negative) is H/2 plus a multiple of H.
template <class T, Unit U>
bool IsPole(T a) {
  if (!(a < T(0x1p52))) return false;  // an even integer, or not finite
  if constexpr (U == Unit::kHalfTurn) {
    const double t = 2.0 * static_cast<double>(a);
    const uint64_t n = static_cast<uint64_t>(t);
    return static_cast<double>(n) == t && (n & 1u) != 0;
  } else {
    const uint64_t n = static_cast<uint64_t>(a);
    return static_cast<T>(n) == a && n % 180u == 90u;
  }
}

// sin and tan of p = x pi/H for 0 < |x| < 2^-960, where p^3 is far below
// the least subnormal and the result is p itself, rounded once: p is formed
// as hi + lo at the scale 2^120. A normal result is hi + lo rounded there
// and scaled back exactly; a subnormal one is hi rounded to the subnormal
// grid, plus what that rounding left, which at the true scale rounds to
// zero or one grid step.
template <class T, Unit U>
T TinyResult(T x) {
  if (x == 0) return x;
  if constexpr (sizeof(T) == 8) {
    const Dd p = U == Unit::kHalfTurn
                     ? ProductWith(_mm_set1_pd(x * 0x1p120), trigpi::kPiHi, trigpi::kPiLo)
                     : ProductWith(_mm_set1_pd(x * 0x1p120), trigpi::kDegHi, trigpi::kDegLo);
    const double hi = _mm_cvtsd_f64(p.hi), lo = _mm_cvtsd_f64(p.lo);
    const double v = hi + lo;
    if (v >= 0x1p-902 || v <= -0x1p-902) return v * 0x1p-120;  // a normal result: exact
    const double back = hi * 0x1p-120;
    const double left = (hi - back * 0x1p120) + lo;
    return back + left * 0x1p-120;
  } else {
    return x;  // not used: single arguments are never that small in double
  }
}

template <class Op, Fn F, Unit U, uint64_t kTiny>
int TrigScalar(typename Op::T x, typename Op::T* out) {
  using T = typename Op::T;
  using S = Simd<T>;
  const auto abs_bits = to_bits(x) & S::kAbs;
  if (abs_bits > S::kExpMask) {
    *out = x * x;
    return 0;
  }
  if (abs_bits == S::kExpMask) {
    *out = InvalidNaN<T>();
    return VTM_STATUS_DOMAIN;
  }
  if (abs_bits < kTiny) {
    *out = TinyResult<T, U>(x);
    return 0;
  }
  T y = x;
  if constexpr (U == Unit::kDegree) {
    if (abs_bits >= Op::kLimit) {
      const T r = ReduceDegrees<T>(from_bits<T>(abs_bits));
      y = (to_bits(x) & S::kSign) ? -r : r;
    }
  }
  *out = Op::one(y);
  if constexpr (F == Fn::kTan) {
    if (IsPole<T, U>(y < 0 ? -y : y)) {
      volatile T zero = T(0);
      volatile T pole = T(1) / zero;  // the divide-by-zero flag of a pole
      (void)pole;
      return VTM_STATUS_SINGULARITY;
    }
  }
  return 0;
}

template <class T, Fn F, Unit U, Slot L>
struct TrigOp : std::conditional_t<sizeof(T) == 4, SingleOp<F, U, L>, DoubleOp<F, U, L>> {
  using Base = std::conditional_t<sizeof(T) == 4, SingleOp<F, U, L>, DoubleOp<F, U, L>>;
  static constexpr uint64_t kTinyBits = [] {
    if constexpr (sizeof(T) == 8) {
      return Base::kTiny;
    } else {
      return uint64_t{0};
    }
  }();
  static int scalar(const T* in, T* out) { return TrigScalar<Base, F, U, kTinyBits>(in[0], out); }
};

template <class Op, class Report, class T = typename Op::T>
inline void RunTrig(int n, const T* a, T* r) {
  RunOne<Op, X87Target::kMasked, MxcsrWay::kByMode, UsePlanD, Report>(n, a, r);
}

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

#define NEX_TRIGPI_KERNEL(t, T, name, fn, unit, slot, suffix)                                  \
  extern "C" void nex_vtm_k_##t##name##_##suffix(int n, const T* a, T* r) {                    \
    RunTrig<TrigOp<T, Fn::fn, Unit::unit, Slot::slot>, ReportAs<"v" #t #name, 1, 1>>(n, a, r); \
  }
#define NEX_TRIGPI_SLOTS(t, T, name, fn, unit)     \
  NEX_TRIGPI_KERNEL(t, T, name, fn, unit, kLa, la) \
  NEX_TRIGPI_KERNEL(t, T, name, fn, unit, kHa, ha) \
  NEX_TRIGPI_KERNEL(t, T, name, fn, unit, kEp, ep)
#define NEX_TRIGPI_FUNCTION(name, fn, unit)  \
  NEX_TRIGPI_SLOTS(s, float, name, fn, unit) \
  NEX_TRIGPI_SLOTS(d, double, name, fn, unit)

NEX_TRIGPI_FUNCTION(Sinpi, kSin, kHalfTurn)
NEX_TRIGPI_FUNCTION(Cospi, kCos, kHalfTurn)
NEX_TRIGPI_FUNCTION(Tanpi, kTan, kHalfTurn)
NEX_TRIGPI_FUNCTION(Sind, kSin, kDegree)
NEX_TRIGPI_FUNCTION(Cosd, kCos, kDegree)
NEX_TRIGPI_FUNCTION(Tand, kTan, kDegree)
