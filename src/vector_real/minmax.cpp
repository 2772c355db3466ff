// Fmax, Fmin, MaxMag, MinMag, Fdim and CopySign.
//
// The packed lanes use the processor's max/min, which return the second
// operand when either is a NaN or both are zeros; so max(+0, -0) is -0.
// Lanes where either exponent is all ones (NaN or infinity) take the scalar
// routine, which lets a single NaN lose to the number. None reports.
#include "vector_real/kernel_defs.hpp"

namespace nex::vtm {
namespace {

template <class T>
struct MinMaxBase : OpBase<T, 2, 1> {
  using S = Simd<T>;
  using V = typename S::V;
  static constexpr bool kHasSpecial = true;
  static V abs(V x) { return S::and_(x, S::bits(S::kAbs)); }
  static V exp_all_ones(V x) {
    return S::int_gt(abs(x), S::kExpMask - 1);  // |x| >= exponent mask
  }
  static int special(const V* in) {
    return S::movemask(S::or_(exp_all_ones(in[0]), exp_all_ones(in[1])));
  }
  static bool is_nan(T x) { return x != x; }
  static T pmax(T a, T b) { return a > b ? a : b; }  // the processor's max
  static T pmin(T a, T b) { return a < b ? a : b; }  // the processor's min
};

enum class Which { kFmax, kFmin, kMaxMag, kMinMag };

template <class Ty, Which W>
struct MinMaxOp : MinMaxBase<Ty> {
  using T = Ty;
  using B = MinMaxBase<T>;
  using S = Simd<T>;
  using V = typename S::V;
  static V lanes(V a, V b) {
    if constexpr (W == Which::kFmax) return S::max(a, b);
    if constexpr (W == Which::kFmin) return S::min(a, b);
    const V aa = B::abs(a), ab = B::abs(b);
    const V eq = S::cmpeq(aa, ab);
    if constexpr (W == Which::kMaxMag) {
      return S::blend(eq, S::max(a, b), S::blend(S::cmplt(aa, ab), b, a));
    } else {
      return S::blend(eq, S::min(a, b), S::blend(S::cmpgt(aa, ab), b, a));
    }
  }
  static T scalar_lane(T a, T b) {
    if constexpr (W == Which::kFmax) return B::pmax(a, b);
    if constexpr (W == Which::kFmin) return B::pmin(a, b);
    const T aa = a < 0 ? -a : a, ab = b < 0 ? -b : b;
    if (aa == ab) return W == Which::kMaxMag ? B::pmax(a, b) : B::pmin(a, b);
    if constexpr (W == Which::kMaxMag) return aa < ab ? b : a;
    return aa > ab ? b : a;
  }
  static void packed(const V* in, V* out) { out[0] = lanes(in[0], in[1]); }
  static int scalar(const T* in, T* out) {
    const T a = in[0], b = in[1];
    // In this order: a NaN a yields b, then a NaN b yields a; so two NaNs
    // give a, quieted by the multiplication.
    T r = scalar_lane(a, b);
    if (B::is_nan(a)) r = b * T(1);
    if (B::is_nan(b)) r = a * T(1);
    out[0] = r;
    return 0;
  }
};

// Fdim: a - b when a > b, else +0. With NaNs, a NaN b wins over a NaN a.
template <class Ty>
struct FdimOp : MinMaxBase<Ty> {
  using T = Ty;
  using B = MinMaxBase<T>;
  using S = Simd<T>;
  using V = typename S::V;
  static void packed(const V* in, V* out) {
    out[0] = S::and_(S::cmpgt(in[0], in[1]), S::sub(in[0], in[1]));
  }
  static int scalar(const T* in, T* out) {
    const T a = in[0], b = in[1];
    T r = a > b ? a - b : T(0);
    if (B::is_nan(a)) r = a * T(1);
    if (B::is_nan(b)) r = b * T(1);
    out[0] = r;
    return 0;
  }
};

// CopySign: magnitude bits of a, sign bit of b, by integer operations.
template <class Ty>
struct CopySignOp : OpBase<Ty, 2, 1> {
  using T = Ty;
  using S = Simd<T>;
  using V = typename S::V;
  static void packed(const V* in, V* out) {
    out[0] = S::or_(S::and_(in[0], S::bits(S::kAbs)), S::and_(in[1], S::bits(S::kSign)));
  }
  static int scalar(const T* in, T* out) {
    out[0] = from_bits<T>((to_bits(in[0]) & S::kAbs) | (to_bits(in[1]) & S::kSign));
    return 0;
  }
};

template <class T>
using FmaxOp = MinMaxOp<T, Which::kFmax>;
template <class T>
using FminOp = MinMaxOp<T, Which::kFmin>;
template <class T>
using MaxMagOp = MinMaxOp<T, Which::kMaxMag>;
template <class T>
using MinMagOp = MinMaxOp<T, Which::kMinMag>;

using X = X87Target;
using M = MxcsrWay;

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

#define NEX_MINMAX_KERNEL(t, T, name, Op)                                \
  extern "C" void nex_vtm_k_##t##name(int n, const T* a, const T* b, T* r) { \
    RunTwo<Op, X::kMasked, M::kByMode, UsePlanD>(n, a, b, r);            \
  }
#define NEX_MINMAX_KERNELS(t, T)                                         \
  NEX_MINMAX_KERNEL(t, T, Fmax, FmaxOp<T>)                               \
  NEX_MINMAX_KERNEL(t, T, Fmin, FminOp<T>)                               \
  NEX_MINMAX_KERNEL(t, T, MaxMag, MaxMagOp<T>)                           \
  NEX_MINMAX_KERNEL(t, T, MinMag, MinMagOp<T>)                           \
  NEX_MINMAX_KERNEL(t, T, Fdim, FdimOp<T>)                               \
  NEX_MINMAX_KERNEL(t, T, CopySign, CopySignOp<T>)

NEX_MINMAX_KERNELS(s, float)
NEX_MINMAX_KERNELS(d, double)
