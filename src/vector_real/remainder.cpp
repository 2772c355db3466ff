// Fmod and Remainder: a - q b with q the quotient a / b truncated (Fmod) or
// rounded to nearest with ties to even (Remainder). Both results are exact.
//
// Packed path. With |a| and |b| normal, |b| at least 2^(p-1) times the
// smallest normal (so any nonzero remainder is normal) and the exponent of
// |a| at most kLimit above that of |b|, the quotient q < 2^(kLimit+1) is
// found as floor(|a| / |b|) by the add-and-subtract method (correcting a
// rounded-up value), at most one too high when the division rounded up to an
// integer. |b| is split by a mask into b_hi (the leading p - kSplit bits) and
// b_lo = |b| - b_hi, so that q b_hi and q b_lo are exact; |a| - q b_hi is a
// multiple of ulp(a) no larger than |a| and so exact, and subtracting q b_lo
// yields the true remainder, which is representable. A negative remainder
// means q was one too high, and |b| is added back. Remainder then moves to
// r - |b| when r is beyond |b| / 2, or exactly at it with an odd quotient.
//
// Scalar routine: integer long division on the significands, denormals
// normalised first; the remainder is rebuilt from integers, so the result is
// exact also where the frame flushes denormals.
//
// Statuses differ on purpose: Fmod reports a zero b (or an infinite a) as a
// pole, status 2; Remainder reports a zero b as a domain error, status 1.
#include "vector_frame/report.hpp"
#include "vector_real/kernel_defs.hpp"
#include "vector_real/lane_bits.hpp"

namespace nex::vtm {
namespace {

enum class Kind { kFmod, kRemainder };

template <class T>
struct RemConst;
template <>
struct RemConst<float> {
  static constexpr int kLimit = 10;                 // exponent difference served packed
  static constexpr uint32_t kHiMask = 0xFFFFF000u;  // b_hi: 12 significant bits
  static constexpr int kMinExpB = 24;               // biased exponent of |b|, at least
};
template <>
struct RemConst<double> {
  static constexpr int kLimit = 24;
  static constexpr uint64_t kHiMask = 0xFFFFFFFFF8000000ull;  // b_hi: 26 bits
  static constexpr int kMinExpB = 53;
};

// ---- Scalar: integer long division ---------------------------------------------

template <class T>
struct Significand {
  using U = typename Simd<T>::Bits;
  using B = LaneBits<T>;
  static constexpr U kHidden = U{1} << (B::kPrecision - 1);
  U m;    // in [2^(p-1), 2^p)
  int e;  // exponent of the last bit: the value is m 2^e

  // |x| nonzero and finite, given as its magnitude bits.
  static Significand of(U bits) {
    const int biased = static_cast<int>(bits >> (B::kPrecision - 1));
    Significand s;
    if (biased == 0) {
      s.m = bits;
      s.e = 1 - B::kBias - (B::kPrecision - 1);
      while (s.m < kHidden) {
        s.m <<= 1;
        --s.e;
      }
    } else {
      s.m = (bits & B::kFracMask) | kHidden;
      s.e = biased - B::kBias - (B::kPrecision - 1);
    }
    return s;
  }
};

// The magnitude bits of m 2^e, m > 0, a value known to be representable.
template <class T>
typename Simd<T>::Bits Rebuild(typename Simd<T>::Bits m, int e) {
  using B = LaneBits<T>;
  using U = typename Simd<T>::Bits;
  constexpr U kHidden = U{1} << (B::kPrecision - 1);
  while (m >= (kHidden << 1)) {  // only trailing zeros are dropped
    m >>= 1;
    ++e;
  }
  while (m < kHidden) {
    m <<= 1;
    --e;
  }
  const int biased = e + B::kBias + B::kPrecision - 1;
  if (biased >= 1) return (static_cast<U>(biased) << (B::kPrecision - 1)) | (m & B::kFracMask);
  return m >> (1 - biased);  // denormal
}

// (m_x 2^(e_x - e_y)) mod m_y by shift and subtract, with the last quotient bit.
template <class U>
U LongDivide(U mx, U my, int steps, bool* last_bit) {
  bool bit = false;
  for (int k = 0;; ++k) {
    bit = mx >= my;
    if (bit) mx -= my;
    if (k == steps) break;
    mx <<= 1;
  }
  *last_bit = bit;
  return mx;
}

template <class T>
T WithSign(typename Simd<T>::Bits magnitude, bool negative) {
  return from_bits<T>(magnitude | (negative ? Simd<T>::kSign : 0));
}

template <class T>
int FmodScalar(T a, T b, T* out) {
  using S = Simd<T>;
  using U = typename S::Bits;
  const U x = to_bits(a) & S::kAbs, y = to_bits(b) & S::kAbs;
  if (x > S::kExpMask || y > S::kExpMask) {
    *out = a * b;
    return 0;
  }
  if (y == 0 || x == S::kExpMask) {
    *out = InvalidNaN<T>();
    return VTM_STATUS_SINGULARITY;
  }
  if (y == S::kExpMask || x < y) {
    *out = a;
    return 0;
  }
  if (x == y) {
    *out = a * T(0);
    return 0;
  }
  const auto sx = Significand<T>::of(x), sy = Significand<T>::of(y);
  bool last;
  const U rem = LongDivide<U>(sx.m, sy.m, sx.e - sy.e, &last);
  if (rem == 0) {
    *out = a * T(0);
    return 0;
  }
  *out = WithSign<T>(Rebuild<T>(rem, sy.e), (to_bits(a) & S::kSign) != 0);
  return 0;
}

template <class T>
int RemainderScalar(T a, T b, T* out) {
  using S = Simd<T>;
  using U = typename S::Bits;
  const U x = to_bits(a) & S::kAbs, y = to_bits(b) & S::kAbs;
  const bool neg_a = (to_bits(a) & S::kSign) != 0;
  // The factor 1.7 only quiets a NaN.
  if (x > S::kExpMask) {
    *out = a * T(1.7);
    return 0;
  }
  if (x == S::kExpMask) {
    *out = InvalidNaN<T>();
    return y == 0 ? VTM_STATUS_DOMAIN : 0;
  }
  if (y > S::kExpMask) {
    *out = b * T(1.7);
    return 0;
  }
  if (y == 0) {
    *out = InvalidNaN<T>();
    return VTM_STATUS_DOMAIN;
  }
  if (x == 0 || y == S::kExpMask) {
    *out = a;
    return 0;
  }
  if (x == y) {
    *out = T(0) * a;
    return 0;
  }
  const auto sx = Significand<T>::of(x), sy = Significand<T>::of(y);
  if (x < y) {
    // The quotient is 0 when |b| >= 2|a| (a tie at equality goes to the
    // even 0), and 1 otherwise, leaving |a| - |b|, computed exactly here.
    const int d = sy.e - sx.e;  // 0 or more, as |b| > |a|
    if (d > 1 || (d == 1 && sx.m <= sy.m)) {
      *out = a;
      return 0;
    }
    const U diff = (sy.m << d) - sx.m;
    *out = WithSign<T>(Rebuild<T>(diff, sx.e), !neg_a);
    return 0;
  }
  bool odd;
  const U rem = LongDivide<U>(sx.m, sy.m, sx.e - sy.e, &odd);
  U mag = rem;
  bool flip = false;
  if (2 * rem > sy.m || (2 * rem == sy.m && odd)) {
    mag = sy.m - rem;
    flip = true;
  }
  if (mag == 0) {
    *out = T(0) * a;
    return 0;
  }
  *out = WithSign<T>(Rebuild<T>(mag, sy.e), neg_a != flip);
  return 0;
}

// ---- Packed ----------------------------------------------------------------------

template <class Ty, Kind K>
struct RemainderOp {
  using T = Ty;
  using S = Simd<T>;
  using B = LaneBits<T>;
  using C = RemConst<T>;
  using V = typename S::V;
  static constexpr int kIn = 2, kOut = 1;
  static constexpr bool kHasSpecial = true;

  // floor(q) for 0 <= q < 2^(p-1): round to nearest by adding and
  // subtracting 2^(p-1), then step down if that went up.
  static V floor_nonneg(V q) {
    const V c = S::bits(S::kRoundConst);
    const V n = S::sub(S::add(q, c), c);
    return S::sub(n, S::and_(S::cmpgt(n, q), S::set1(T(1))));
  }

  static void packed(const V* in, V* out) {
    const V abs = S::bits(S::kAbs), zero = S::set1(T(0));
    const V x = S::and_(in[0], abs), y = S::and_(in[1], abs);
    V q = floor_nonneg(S::div(x, y));
    const V y_hi = S::and_(y, S::bits(C::kHiMask));
    const V y_lo = S::sub(y, y_hi);
    V r = S::sub(S::sub(x, S::mul(q, y_hi)), S::mul(q, y_lo));
    const V low = S::cmplt(r, zero);
    r = S::add(r, S::and_(low, y));
    if constexpr (K == Kind::kRemainder) {
      q = S::sub(q, S::and_(low, S::set1(T(1))));
      const V half = S::mul(q, S::set1(T(0.5)));
      const V odd = B::xor_(S::cmpeq(floor_nonneg(half), half), S::bits(~typename S::Bits{0}));
      const V rest = S::sub(y, r);  // exact, in (0, |b|]
      const V past = S::or_(S::cmpgt(r, rest), S::and_(S::cmpeq(r, rest), odd));
      r = S::blend(past, S::sub(r, y), r);
      out[0] = B::xor_(r, S::and_(in[0], S::bits(S::kSign)));
    } else {
      out[0] = S::or_(r, S::and_(in[0], S::bits(S::kSign)));
    }
  }

  static int special(const V* in) {
    const __m128i ea = B::exponent(in[0]), eb = B::exponent(in[1]);
    const __m128i far = _mm_cmpgt_epi32(_mm_sub_epi32(ea, eb), _mm_set1_epi32(C::kLimit));
    const __m128i small_b = _mm_cmplt_epi32(eb, _mm_set1_epi32(C::kMinExpB));
    const V bad = B::v(_mm_or_si128(far, small_b));
    return S::movemask(S::or_(bad, S::or_(B::not_normal(in[0]), B::not_normal(in[1]))));
  }

  static int scalar(const T* in, T* out) {
    if constexpr (K == Kind::kFmod) return FmodScalar<T>(in[0], in[1], out);
    return RemainderScalar<T>(in[0], in[1], out);
  }
};

using X = X87Target;
using M = MxcsrWay;

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

#define NEX_REMAINDER_KERNEL(t, T, name, kind)                                                   \
  extern "C" void nex_vtm_k_##t##name(int n, const T* a, const T* b, T* r) {                     \
    RunTwoReporting<RemainderOp<T, kind>, X::kMasked, M::kByMode, ReportAs<"v" #t #name, 2, 1>>( \
        n, a, b, r);                                                                             \
  }
NEX_REMAINDER_KERNEL(s, float, Fmod, Kind::kFmod)
NEX_REMAINDER_KERNEL(d, double, Fmod, Kind::kFmod)
NEX_REMAINDER_KERNEL(s, float, Remainder, Kind::kRemainder)
NEX_REMAINDER_KERNEL(d, double, Remainder, Kind::kRemainder)
