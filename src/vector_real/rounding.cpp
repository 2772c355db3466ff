// Rounding to integers: Ceil, Floor, Trunc, Round, NearbyInt, Rint, Modf, Frac.
//
// Method: for |x| below C = 2^23 (single) or 2^52 (double), x + C has no
// fraction bits left, so (x + C) - C is x rounded to an integer in the
// current MXCSR direction; each kernel's frame sets that direction (up for
// Ceil, down for Floor, toward zero for Trunc and Modf, the caller's own for
// NearbyInt and Rint). OR-ing the sign back keeps -0.0 for negative inputs
// that round to zero. |x| >= C is already an integer (or not finite) and goes
// to the scalar routine. Results are exact: no rounding error is possible.
#include "vector_real/kernel_defs.hpp"

namespace nex::vtm {
namespace {

template <class T>
struct RoundingTraits {
  using S = Simd<T>;
  using V = typename S::V;
  using B = typename S::Bits;
  static constexpr int kExpShift = sizeof(T) == 4 ? 23 : 52;
  static constexpr B kExpAllOnes = S::kExpMask;

  static V abs(V x) { return S::and_(x, S::bits(S::kAbs)); }
  static V sign(V x) { return S::and_(x, S::bits(S::kSign)); }
  static int big(const V* in) { return S::movemask(S::int_gt(abs(in[0]), S::kRoundConst)); }

  static T c() { return from_bits<T>(S::kRoundConst); }
  static B abs_bits(T x) { return to_bits(x) & S::kAbs; }
  // |mag| with the sign of x (mag's own sign bit is expected clear).
  static T with_sign(T mag, T x) { return from_bits<T>(to_bits(mag) | (to_bits(x) & S::kSign)); }
  static bool not_finite(T x) { return (to_bits(x) & S::kExpMask) == S::kExpMask; }
  static bool integral_already(T x) { return abs_bits(x) >= S::kRoundConst; }
};

// The rounding operations share their lane test (|x| >= C goes scalar) and
// the skeleton of their scalar routine: a NaN or infinity gives x + x (which
// quiets a signaling NaN), an already integral |x| >= C is copied, and the
// operation's own formula serves the rest.
template <class Ty, int Out>
struct RoundingOp : OpBase<Ty, 1, Out> {
  using R = RoundingTraits<Ty>;
  using V = typename Simd<Ty>::V;
  static constexpr bool kHasSpecial = true;
  static int special(const V* in) { return R::big(in); }
};

template <class Op, class T>
inline int ScalarRounding(const T* in, T* out) {
  using R = RoundingTraits<T>;
  const T x = in[0];
  if (R::not_finite(x)) {
    out[0] = x + x;
  } else if (R::integral_already(x)) {
    out[0] = x;
  } else {
    out[0] = R::with_sign(Op::magnitude(x, from_bits<T>(R::abs_bits(x))), x);
  }
  return 0;
}

// Ceil, Floor, NearbyInt, Rint: ((x + c) - c) | sign with c = C carrying x's
// sign; the direction comes from the frame.
template <class Ty>
struct AddSubRound : RoundingOp<Ty, 1> {
  using T = Ty;
  using R = RoundingTraits<T>;
  using S = Simd<T>;
  using V = typename S::V;
  static void packed(const V* in, V* out) {
    const V sign = R::sign(in[0]);
    const V c = S::or_(S::bits(S::kRoundConst), sign);
    // The magnitude is taken before the sign goes back: rounding down, C - C
    // is -0, which must not leak into Floor(+0.5) or Floor(+0).
    out[0] = S::or_(R::abs(S::sub(S::add(in[0], c), c)), sign);
  }
  static T magnitude(T x, T) {
    const T c = R::with_sign(R::c(), x);
    return from_bits<T>(R::abs_bits((x + c) - c));
  }
  static int scalar(const T* in, T* out) { return ScalarRounding<AddSubRound>(in, out); }
};

// Trunc: the same on |x| under rounding toward zero.
template <class Ty>
struct TruncOp : RoundingOp<Ty, 1> {
  using T = Ty;
  using R = RoundingTraits<T>;
  using S = Simd<T>;
  using V = typename S::V;
  static void packed(const V* in, V* out) {
    const V c = S::bits(S::kRoundConst);
    out[0] = S::or_(S::sub(S::add(R::abs(in[0]), c), c), R::sign(in[0]));
  }
  static T magnitude(T, T ax) { return (ax + R::c()) - R::c(); }
  static int scalar(const T* in, T* out) { return ScalarRounding<TruncOp>(in, out); }
};

// Round: ties away from zero whatever the caller's rounding (the frame forces
// nearest): t = (|x| + C) - C, and a remainder of exactly 0.5 adds one.
template <class Ty>
struct RoundOp : RoundingOp<Ty, 1> {
  using T = Ty;
  using R = RoundingTraits<T>;
  using S = Simd<T>;
  using V = typename S::V;
  static void packed(const V* in, V* out) {
    const V c = S::bits(S::kRoundConst);
    const V ax = R::abs(in[0]);
    V t = S::sub(S::add(ax, c), c);
    const V tie = S::cmpeq(S::sub(ax, t), S::bits(S::kHalf));
    t = S::add(t, S::and_(tie, S::bits(S::kOne)));
    out[0] = S::or_(t, R::sign(in[0]));
  }
  static T magnitude(T, T ax) {
    T t = (ax + R::c()) - R::c();
    if (ax - t == T(0.5)) t += T(1);
    return t;
  }
  static int scalar(const T* in, T* out) { return ScalarRounding<RoundOp>(in, out); }
};

// Modf: Trunc with the fraction as second output, both carrying x's sign.
template <class Ty>
struct ModfOp : RoundingOp<Ty, 2> {
  using T = Ty;
  using R = RoundingTraits<T>;
  using S = Simd<T>;
  using V = typename S::V;
  static void packed(const V* in, V* out) {
    const V c = S::bits(S::kRoundConst);
    const V ax = R::abs(in[0]);
    const V sign = R::sign(in[0]);
    const V t = S::sub(S::add(ax, c), c);
    out[0] = S::or_(t, sign);
    out[1] = S::or_(S::sub(ax, t), sign);
  }
  static int scalar(const T* in, T* out) {
    const T x = in[0];
    if (x != x) {
      out[0] = out[1] = x + x;
    } else if (R::integral_already(x)) {  // also the infinities
      out[0] = x;
      out[1] = R::with_sign(T(0), x);
    } else {
      const T ax = from_bits<T>(R::abs_bits(x));
      const T t = (ax + R::c()) - R::c();
      out[0] = R::with_sign(t, x);
      out[1] = R::with_sign(ax - t, x);
    }
    return 0;
  }
};

// Frac: x minus its integer part toward zero, sign of x. The packed path
// rounds to nearest by add-and-subtract and steps back when that went up; the
// difference |x| - t is exact. The scalar routine clears fraction bits by mask
// (in double for single: every float's fraction is exact in double).
template <class Ty>
struct FracOp : OpBase<Ty, 1, 1> {
  using T = Ty;
  using R = RoundingTraits<T>;
  using S = Simd<T>;
  using V = typename S::V;
  static constexpr bool kHasSpecial = true;
  static int special(const V* in) {
    return S::movemask(S::int_gt(R::abs(in[0]), S::kRoundConst - 1));
  }
  static void packed(const V* in, V* out) {
    const V c = S::bits(S::kRoundConst);
    const V ax = R::abs(in[0]);
    V t = S::sub(S::add(ax, c), c);
    t = S::sub(t, S::and_(S::cmpgt(t, ax), S::bits(S::kOne)));
    out[0] = S::or_(S::sub(ax, t), R::sign(in[0]));
  }
  static int scalar(const T* in, T* out) {
    const double x = static_cast<double>(in[0]);
    using D = Simd<double>;
    const uint64_t bits = to_bits(x);
    const uint64_t abits = bits & D::kAbs;
    const uint64_t sign = bits & D::kSign;
    double r;
    if (x != x) {
      r = x + x;
    } else if (abits >= D::kRoundConst) {  // |x| >= 2^52 or infinite
      r = from_bits<double>(sign);
    } else if (abits < D::kOne) {  // |x| < 1
      r = x;
    } else {
      const int e = static_cast<int>(abits >> 52) - 1023;
      const uint64_t frac_mask = (uint64_t{1} << (52 - e)) - 1;
      if ((abits & frac_mask) == 0) {
        r = from_bits<double>(sign);
      } else {
        r = x - from_bits<double>(bits & ~frac_mask);
      }
    }
    out[0] = static_cast<T>(r);
    return 0;
  }
};

using X = X87Target;
using M = MxcsrWay;

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

#define NEX_ROUNDING_KERNELS(t, T)                                                        \
  extern "C" void nex_vtm_k_##t##Ceil(int n, const T* a, T* r) {                          \
    RunOne<AddSubRound<T>, X::kMasked, M::kByModeUp, UsePlanA>(n, a, r);                  \
  }                                                                                       \
  extern "C" void nex_vtm_k_##t##Floor(int n, const T* a, T* r) {                         \
    RunOne<AddSubRound<T>, X::kMasked, M::kByModeDown, UsePlanA>(n, a, r);                \
  }                                                                                       \
  extern "C" void nex_vtm_k_##t##NearbyInt(int n, const T* a, T* r) {                     \
    RunOne<AddSubRound<T>, X::kMasked, M::kKeepRounding, UsePlanA>(n, a, r);              \
  }                                                                                       \
  extern "C" void nex_vtm_k_##t##Rint(int n, const T* a, T* r) {                          \
    RunOne<AddSubRound<T>, X::kMasked, M::kKeepRounding, UsePlanA>(n, a, r);              \
  }                                                                                       \
  extern "C" void nex_vtm_k_##t##Trunc(int n, const T* a, T* r) {                         \
    RunOne<TruncOp<T>, X::kMasked, M::kByModeZero, UsePlanA>(n, a, r);                    \
  }                                                                                       \
  extern "C" void nex_vtm_k_##t##Round(int n, const T* a, T* r) {                         \
    RunOne<RoundOp<T>, X::kMasked, M::kByMode, UsePlanA>(n, a, r);                        \
  }                                                                                       \
  extern "C" void nex_vtm_k_##t##Modf(int n, const T* a, T* r1, T* r2) {                  \
    RunTwoOut<ModfOp<T>, X::kMasked, M::kByModeZero, UsePlanA>(n, a, r1, r2);             \
  }                                                                                       \
  extern "C" void nex_vtm_k_##t##Frac(int n, const T* a, T* r) {                          \
    RunOne<FracOp<T>, X::kMasked, M::kByMode, UsePlanD>(n, a, r);                         \
  }

NEX_ROUNDING_KERNELS(s, float)
NEX_ROUNDING_KERNELS(d, double)
