// Abs, Sqr, Add, Sub, Mul and LinearFrac: plain IEEE operations.
//
// None of these reports anything: overflow, invalid and division by zero give
// the IEEE masked responses and raise flags only.
#include "vector_real/kernel_defs.hpp"

namespace nex::vtm {
namespace {

// Abs as a multiplication by 1.0 carrying x's sign: -0 gives +0, a NaN keeps
// its sign and is quieted, and a signaling NaN raises invalid, as any
// arithmetic on it does (a sign-bit mask would do neither).
template <class Ty>
struct AbsOp : OpBase<Ty, 1, 1> {
  using T = Ty;
  using S = Simd<T>;
  using V = typename S::V;
  static void packed(const V* in, V* out) {
    const V one = S::or_(S::bits(S::kOne), S::and_(in[0], S::bits(S::kSign)));
    out[0] = S::mul(in[0], one);
  }
  static int scalar(const T* in, T* out) {
    const T one = from_bits<T>(S::kOne | (to_bits(in[0]) & S::kSign));
    out[0] = in[0] * one;
    return 0;
  }
};

template <class Ty>
struct SqrOp : OpBase<Ty, 1, 1> {
  using T = Ty;
  using S = Simd<T>;
  using V = typename S::V;
  static void packed(const V* in, V* out) { out[0] = S::mul(in[0], in[0]); }
  static int scalar(const T* in, T* out) {
    out[0] = in[0] * in[0];
    return 0;
  }
};

enum class Arith { kAdd, kSub, kMul };

template <class Ty, Arith A>
struct ArithOp : OpBase<Ty, 2, 1> {
  using T = Ty;
  using S = Simd<T>;
  using V = typename S::V;
  static void packed(const V* in, V* out) {
    if constexpr (A == Arith::kAdd) out[0] = S::add(in[0], in[1]);
    if constexpr (A == Arith::kSub) out[0] = S::sub(in[0], in[1]);
    if constexpr (A == Arith::kMul) out[0] = S::mul(in[0], in[1]);
  }
  static int scalar(const T* in, T* out) {
    if constexpr (A == Arith::kAdd) out[0] = in[0] + in[1];
    if constexpr (A == Arith::kSub) out[0] = in[0] - in[1];
    if constexpr (A == Arith::kMul) out[0] = in[0] * in[1];
    return 0;
  }
};

// LinearFrac: r = (scale_a a + shift_a) / (scale_b b + shift_b), its form
// chosen once from the scalars. The quotient is a product with a reciprocal:
// for single, the hardware estimate refined by one Newton step 2v - d v v
// (about 23 correct bits, not the correctly rounded quotient); for double, a
// true division. Every element, the tail included, goes through the same
// packed code so that results do not depend on an element's position.
enum class LinearForm { kDenominatorConstant, kNumeratorConstant, kGeneral };

template <class T>
struct Reciprocal;
template <>
struct Reciprocal<float> {
  static __m128 of(__m128 d) {
    const __m128 v = _mm_rcp_ps(d);
    return _mm_sub_ps(_mm_add_ps(v, v), _mm_mul_ps(_mm_mul_ps(d, v), v));
  }
};
template <>
struct Reciprocal<double> {
  static __m128d of(__m128d d) { return _mm_div_pd(_mm_set1_pd(1.0), d); }
};

template <class T>
void LinearFracBody(int n, const T* a, const T* b, T sa, T ha, T sb, T hb, T* r) {
  using S = Simd<T>;
  using V = typename S::V;
  constexpr int kL = S::kLanes;
  if (n <= 0) return;
  LinearForm form = LinearForm::kGeneral;
  T inv = 0;
  if (sb == T(0)) {
    form = LinearForm::kDenominatorConstant;
    inv = T(1) / hb;
  } else if (sa == T(0)) {
    form = LinearForm::kNumeratorConstant;
  }
  const V vsa = S::set1(sa), vha = S::set1(ha), vsb = S::set1(sb), vhb = S::set1(hb);
  const V vinv = S::set1(inv);
  auto block = [&](const T* pa, const T* pb, T* pr) {
    for (int k = 0; k < 8; k += kL) {
      V y;
      if (form == LinearForm::kDenominatorConstant) {
        y = S::mul(S::add(S::mul(vsa, S::loadu(pa + k)), vha), vinv);
      } else {
        const V d = S::add(S::mul(vsb, S::loadu(pb + k)), vhb);
        const V num = form == LinearForm::kNumeratorConstant
                          ? vha
                          : S::add(S::mul(vsa, S::loadu(pa + k)), vha);
        y = S::mul(num, Reciprocal<T>::of(d));
      }
      S::storeu(pr + k, y);
    }
  };
  const int m = n & ~7;
  for (int i = 0; i < m; i += 8) block(a + i, b + i, r + i);
  if (m == n) return;
  // Tail: padded local block; only the arrays the form reads are touched.
  T ta[8] = {}, tb[8] = {}, tr[8];
  for (int j = 0; j < 8; ++j) {
    const int i = m + (j < n - m ? j : 0);
    if (form != LinearForm::kNumeratorConstant) ta[j] = a[i];
    if (form != LinearForm::kDenominatorConstant) tb[j] = b[i];
  }
  block(ta, tb, tr);
  for (int j = 0; j < n - m; ++j) r[m + j] = tr[j];
}

using X = X87Target;
using M = MxcsrWay;
using C = UsePlanC<Anchor::kResult>;

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

// Frame rows differ by precision: the single kernels keep the caller's
// rounding, the double ones set it from the mode.
#define NEX_ARITH_KERNELS(t, T, XA, MA, XL, ML)                                             \
  extern "C" void nex_vtm_k_##t##Abs(int n, const T* a, T* r) {                            \
    RunOne<AbsOp<T>, X::kMasked, M::kKeepRounding, UsePlanB>(n, a, r);                     \
  }                                                                                        \
  extern "C" void nex_vtm_k_##t##Sqr(int n, const T* a, T* r) {                            \
    RunOne<SqrOp<T>, XA, MA, UsePlanC<Anchor::kInput>>(n, a, r);                           \
  }                                                                                        \
  extern "C" void nex_vtm_k_##t##Add(int n, const T* a, const T* b, T* r) {                \
    RunTwo<ArithOp<T, Arith::kAdd>, XA, MA, C>(n, a, b, r);                                \
  }                                                                                        \
  extern "C" void nex_vtm_k_##t##Sub(int n, const T* a, const T* b, T* r) {                \
    RunTwo<ArithOp<T, Arith::kSub>, XA, MA, C>(n, a, b, r);                                \
  }                                                                                        \
  extern "C" void nex_vtm_k_##t##Mul(int n, const T* a, const T* b, T* r) {                \
    RunTwo<ArithOp<T, Arith::kMul>, XA, MA, C>(n, a, b, r);                                \
  }                                                                                        \
  extern "C" void nex_vtm_k_##t##LinearFrac(int n, const T* a, const T* b, T sa, T ha, T sb, \
                                            T hb, T* r) {                                  \
    Frame<XL, ML> frame;                                                                   \
    LinearFracBody<T>(n, a, b, sa, ha, sb, hb, r);                                         \
  }

NEX_ARITH_KERNELS(s, float, X::kMasked, M::kKeepRounding, X::kMasked, M::kByMode)
NEX_ARITH_KERNELS(d, double, X::kDouble, M::kByMode, X::kDouble, M::kByMode)
