// NextAfter: the neighbour of a in the direction of b.
//
// The packed path moves the bit pattern of a by one toward b: up when a and
// b have the same sign and |a| < |b|, down otherwise (toward zero in
// magnitude). It serves the lanes where a and b are normal, differ, and the
// step lands on a normal number; every other lane (zeros, denormals,
// infinities, NaNs, equal values, steps into the denormal range or to
// infinity) goes to the scalar routine, which also reports underflow (4) and
// overflow (3).
#include "vector_frame/report.hpp"
#include "vector_real/kernel_defs.hpp"
#include "vector_real/lane_bits.hpp"

namespace nex::vtm {
namespace {

template <class Ty>
struct NextAfterOp {
  using T = Ty;
  using S = Simd<T>;
  using B = LaneBits<T>;
  using V = typename S::V;
  using U = typename S::Bits;
  static constexpr int kIn = 2, kOut = 1;
  static constexpr bool kHasSpecial = true;

  // a moved by one unit toward b, as bit patterns.
  static V stepped(const V* in) {
    const V a = in[0], b = in[1];
    const V abs = S::bits(S::kAbs);
    const V up = S::andnot(B::sign_mask(B::xor_(a, b)), B::gt(S::and_(b, abs), S::and_(a, abs)));
    return B::step(a, up);
  }
  static void packed(const V* in, V* out) { out[0] = stepped(in); }
  static int special(const V* in) {
    return S::movemask(S::or_(S::or_(B::not_normal(in[0]), B::not_normal(in[1])),
                              S::or_(S::cmpeq(in[0], in[1]), B::not_normal(stepped(in)))));
  }
  static int scalar(const T* in, T* out) {
    // The products quiet signaling NaNs and, under denormals-are-zero, make
    // denormal inputs the zeros they then are.
    const T x = in[0] * T(1), y = in[1] * T(1);
    if (x != x || y != y) {
      out[0] = x + y;
      return 0;
    }
    if (x == y) {
      out[0] = y;
      return 0;
    }
    const U bx = to_bits(x), by = to_bits(y);
    if ((bx & S::kAbs) == 0) {
      out[0] = from_bits<T>((by & S::kSign) | 1);
      RaiseUnderflow<T>();
      return VTM_STATUS_UNDERFLOW;
    }
    const bool up = ((bx ^ by) & S::kSign) == 0 && (bx & S::kAbs) < (by & S::kAbs);
    const U r = up ? bx + 1 : bx - 1;
    out[0] = from_bits<T>(r);
    const U u = r & S::kAbs;
    if (u - B::kMinNormal < S::kExpMask - B::kMinNormal) return 0;
    if (u >= B::kMinNormal) {
      RaiseOverflow<T>();
      return VTM_STATUS_OVERFLOW;
    }
    RaiseUnderflow<T>();
    return VTM_STATUS_UNDERFLOW;
  }
};

using X = X87Target;
using M = MxcsrWay;

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

extern "C" void nex_vtm_k_sNextAfter(int n, const float* a, const float* b, float* r) {
  RunTwoReporting<NextAfterOp<float>, X::kMasked, M::kByMode, ReportAs<"vsNextAfter", 2, 1>>(n, a,
                                                                                             b, r);
}
extern "C" void nex_vtm_k_dNextAfter(int n, const double* a, const double* b, double* r) {
  RunTwoReporting<NextAfterOp<double>, X::kMasked, M::kByMode, ReportAs<"vdNextAfter", 2, 1>>(n, a,
                                                                                              b, r);
}
