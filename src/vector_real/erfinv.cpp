// ErfInv, ErfcInv, CdfNormInv: the inverse error function, its complement
// and the standard normal quantile, all from one core y = erfinv(p) for
// 0 <= p < 1 that is handed both p and q = 1 - p as exact values:
//
//   erfinv(x)     = sign(x) core(|x|, 1 - |x|)
//   erfcinv(q)    = core(1 - q, q) for q <= 1, -core(q - 1, 2 - q) above
//   cdfnorminv(p) = sqrt(2) erfinv(2p - 1) = -sqrt(2) erfcinv(2p)
//
// The core has two kinds of pieces (coefficients fitted by
// tools/erfinv_fit.py, relative errors of the fits below 4e-20):
//   central, p <= 0.6875:  x P(x^2) / Q(x^2), degrees 7/7; P(0)/Q(0) is
//     sqrt(pi)/2 = 0.886226925453, the slope at zero;
//   tail, p > 0.6875:      w P(w) / Q(w) with w = sqrt(-ln q), degrees 8/8
//     on w in [1.0625, 3), [3, 7), [7, 28] (28 covers q down to the least
//     double subnormal). Taking q itself, never 1 - p, keeps full relative
//     accuracy within a few ulp of the ends of the domain.
// The differences 1 - q, q - 1, 2 - q, 2p - 1 and 2 - 2p are exact in the
// 64-bit extended format for every single or double argument in the range
// where they are used, so the only errors are those of the fits, of the
// logarithm and of a dozen extended operations: about 1e-19 relative, far
// below half an ulp of a double.
//
// Double kernels have a packed path for the middle of the domain (the
// erfinv argument within [-0.375, 0.375]: ErfInv's x, ErfcInv's q in
// [0.625, 1.375], CdfNormInv's p in [0.3125, 0.6875]) that adds a fitted
// correction to an exact double-double leading term (see DoubleOp); all
// other elements take the extended core (x87, with the precision control
// forced to 64 bits for the call and restored after).
// Single kernels have a packed path in double arithmetic for the central
// piece (argument within [-0.6875, 0.6875] for ErfInv, [0.3125, 1.6875] for
// ErfcInv, [0.15625, 0.84375] for CdfNormInv); other lanes take the
// extended scalar routine. Under a caller's directed rounding (the kernels
// that keep the caller's rounding) the packed path rounds in that
// direction; the extended routine always rounds to nearest.
//
// Ends of the domain and beyond, and their statuses:
//   ErfInv:     x = -1 or +1 gives -inf or +inf, status 2 (singularity);
//               |x| > 1, infinities included, gives NaN, status 1 (domain).
//   ErfcInv:    q = 0 gives +inf, q = 2 gives -inf, status 2; q < 0 or
//               q > 2 gives NaN, status 1. A zero of either sign is 0.
//   CdfNormInv: p = 0 gives -inf, p = 1 gives +inf, status 2; p < 0 or
//               p > 1 gives NaN, status 1. A zero of either sign is 0.
// The infinities raise the zero-divide flag, the domain NaNs the invalid
// flag. A NaN argument gives itself quieted, no status. Zeros keep their
// sign in ErfInv; ErfcInv(1) and CdfNormInv(0.5) are +0. Subnormal results
// (ErfInv of a subnormal) are not reported.
//
// Worst errors measured against MPFR on the CI samples (x86-64 and 32-bit
// alike), all on the packed double path near its upper end: dErfInv 0.549
// ulp at x = 0.35085459267590324, dErfcInv 0.549 ulp at
// q = 1.3508545926759032, dCdfNormInv 0.598 ulp at p = 0.68637659094055936.
// The extended routine stays below 0.502 ulp; the single forms were
// correctly rounded on their samples (at most 0.49998 ulp).
#include "vector_frame/report.hpp"
#include "vector_real/erfinv_data.hpp"
#include "vector_real/kernel_defs.hpp"
#include "vector_real/lane_bits.hpp"
#include "vector_real/x87.hpp"

namespace nex::vtm {
namespace {

using LD = long double;

enum class Inverse { kErf, kErfc, kCdfNorm };

// Domain [lo, hi], central interval of the packed path, and the results at
// lo and hi, per function.
template <Inverse K>
struct Domain;
template <>
struct Domain<Inverse::kErf> {
  static constexpr double kLo = -1, kHi = 1, kCentralLo = -0.6875, kCentralHi = 0.6875;
  static constexpr double kPackedLo = -0.375, kPackedHi = 0.375;
  static constexpr double kAtLo = -1, kAtHi = 1;  // signs of the infinities
};
template <>
struct Domain<Inverse::kErfc> {
  static constexpr double kLo = 0, kHi = 2, kCentralLo = 0.3125, kCentralHi = 1.6875;
  static constexpr double kPackedLo = 0.625, kPackedHi = 1.375;
  static constexpr double kAtLo = 1, kAtHi = -1;
};
template <>
struct Domain<Inverse::kCdfNorm> {
  static constexpr double kLo = 0, kHi = 1, kCentralLo = 0.15625, kCentralHi = 0.84375;
  static constexpr double kPackedLo = 0.3125, kPackedHi = 0.6875;
  static constexpr double kAtLo = -1, kAtHi = 1;
};

constexpr LD kSqrt2 = 1.41421356237309504880168872420969808L;

template <class C, int N>
inline C Horner(const C (&c)[N], C x) {
  C r = c[N - 1];
  for (int i = N - 2; i >= 0; --i) r = r * x + c[i];
  return r;
}

// erfinv(p) for 0 <= p < 1, given q = 1 - p exactly.
inline LD Core(LD p, LD q) {
  using namespace erfinv;
  if (p <= 0.6875L) {
    const LD z = p * p;
    return p * Horner(kCentralP, z) / Horner(kCentralQ, z);
  }
  const LD w = __builtin_sqrtl(-x87log::Yl2x(q, x87log::Ln2()));
  if (w < 3.0L) return w * Horner(kTail1P, w) / Horner(kTail1Q, w);
  if (w < 7.0L) return w * Horner(kTail2P, w) / Horner(kTail2Q, w);
  return w * Horner(kTail3P, w) / Horner(kTail3Q, w);
}

// The inverse of an argument strictly inside the domain, in extended.
template <Inverse K>
inline LD Inside(LD x) {
  if constexpr (K == Inverse::kErf) {
    const LD a = x < 0 ? -x : x;
    const LD y = Core(a, 1.0L - a);
    return x < 0 ? -y : y;
  } else if constexpr (K == Inverse::kErfc) {
    if (x <= 1.0L) return Core(1.0L - x, x);
    return -Core(x - 1.0L, 2.0L - x);
  } else {
    if (x < 0.5L) return -kSqrt2 * Core(1.0L - 2.0L * x, 2.0L * x);
    return kSqrt2 * Core(2.0L * x - 1.0L, 2.0L - 2.0L * x);
  }
}

// The scalar routine: every case of one element, with its status.
template <class T, Inverse K>
__attribute__((noinline)) int Scalar(const T* in, T* out) {
  using D = Domain<K>;
  const T x = in[0];
  if (x != x) {
    out[0] = x + x;
    return 0;
  }
  if (x < T(D::kLo) || x > T(D::kHi)) {
    out[0] = InvalidNaN<T>();
    return VTM_STATUS_DOMAIN;
  }
  if (x == T(D::kLo) || x == T(D::kHi)) {
    volatile T zero = T(0);
    out[0] = T(x == T(D::kLo) ? D::kAtLo : D::kAtHi) / zero;
    return VTM_STATUS_SINGULARITY;
  }
  if (x == T(0)) {  // keeps the sign of a zero argument of ErfInv
    out[0] = K == Inverse::kErf ? x : T(Inside<K>(0.0L));
    return 0;
  }
  out[0] = static_cast<T>(Inside<K>(static_cast<LD>(x)));
  return 0;
}

// The x87 unit at 64-bit precision and rounding to nearest for the length
// of a call (the kernels' frame keeps the caller's precision), put back on
// the way out. Exceptions stay masked as the frame left them.
class ExtendedPrecision {
 public:
  ExtendedPrecision() : old_(fpu::read_x87_cw()) {
    if ((old_ & 0xF00) != 0x300) fpu::load_x87_cw(static_cast<uint16_t>((old_ & 0xF0FF) | 0x300));
  }
  ~ExtendedPrecision() {
    if ((old_ & 0xF00) != 0x300) fpu::load_x87_cw(old_);
  }
  ExtendedPrecision(const ExtendedPrecision&) = delete;
  ExtendedPrecision& operator=(const ExtendedPrecision&) = delete;

 private:
  uint16_t old_;
};

// The single precision operation: packed central piece in double on two
// halves of the register, the rest through the scalar routine.
template <Inverse K>
struct SingleOp : OpBase<float, 1, 1> {
  using D = Domain<K>;
  static constexpr bool kHasSpecial = true;

  static __m128d Half(__m128d a) {
    const __m128d one = _mm_set1_pd(1.0);
    __m128d x = a, scale = one;
    if constexpr (K == Inverse::kErfc) x = _mm_sub_pd(one, a);
    if constexpr (K == Inverse::kCdfNorm) {
      x = _mm_sub_pd(_mm_add_pd(a, a), one);
      scale = _mm_set1_pd(static_cast<double>(kSqrt2));
    }
    const __m128d z = _mm_mul_pd(x, x);
    __m128d p = _mm_set1_pd(erfinv::kCentralPD[7]), q = _mm_set1_pd(erfinv::kCentralQD[7]);
    for (int i = 6; i >= 0; --i) {
      p = _mm_add_pd(_mm_mul_pd(p, z), _mm_set1_pd(erfinv::kCentralPD[i]));
      q = _mm_add_pd(_mm_mul_pd(q, z), _mm_set1_pd(erfinv::kCentralQD[i]));
    }
    return _mm_mul_pd(_mm_mul_pd(x, scale), _mm_div_pd(p, q));
  }
  static void packed(const __m128* in, __m128* out) {
    const __m128d lo = Half(_mm_cvtps_pd(in[0]));
    const __m128d hi = Half(_mm_cvtps_pd(_mm_movehl_ps(in[0], in[0])));
    out[0] = _mm_movelh_ps(_mm_cvtpd_ps(lo), _mm_cvtpd_ps(hi));
  }
  // Lanes outside the central interval, NaNs included.
  static int special(const __m128* in) {
    const __m128 outside = _mm_or_ps(_mm_cmpnge_ps(in[0], _mm_set1_ps(float(D::kCentralLo))),
                                     _mm_cmpnle_ps(in[0], _mm_set1_ps(float(D::kCentralHi))));
    return _mm_movemask_ps(outside);
  }
  static int scalar(const float* in, float* out) { return Scalar<float, K>(in, out); }
};

// The double precision operation: for arguments whose erfinv argument x
// lies in [-0.375, 0.375], x (c + z R(z)) in double arithmetic, with the
// leading product x c carried exactly as two doubles (c has a 26-bit head,
// x is split in halves of 26 bits) and the correction, at most 4 % of the
// result, added to its low part before the final sum. The result has one
// rounding of half an ulp plus the few ulp of error of the correction
// scaled by its size: below 0.6 ulp measured. (The fit holds to |x| = 0.5, but
// there the correction is 7 % of the result and errors reach 0.79 ulp.)
// Everything else, ErfInv's arguments below 2^-960 included (the split
// would lose bits in the subnormal range), goes through the extended
// scalar routine.
template <Inverse K>
struct DoubleOp : OpBase<double, 1, 1> {
  using D = Domain<K>;
  static constexpr bool kHasSpecial = true;

  static void packed(const __m128d* in, __m128d* out) {
    const __m128d one = _mm_set1_pd(1.0), a = in[0];
    __m128d x = a;
    if constexpr (K == Inverse::kErfc) x = _mm_sub_pd(one, a);
    if constexpr (K == Inverse::kCdfNorm) x = _mm_sub_pd(_mm_add_pd(a, a), one);
    const double* lead = K == Inverse::kCdfNorm ? erfinv::kNormLead : erfinv::kLead;
    const __m128d z = _mm_mul_pd(x, x);
    __m128d p = _mm_set1_pd(erfinv::kPackedP[5]), q = _mm_set1_pd(erfinv::kPackedQ[5]);
    for (int i = 4; i >= 0; --i) {
      p = _mm_add_pd(_mm_mul_pd(p, z), _mm_set1_pd(erfinv::kPackedP[i]));
      q = _mm_add_pd(_mm_mul_pd(q, z), _mm_set1_pd(erfinv::kPackedQ[i]));
    }
    __m128d corr = _mm_mul_pd(_mm_mul_pd(x, z), _mm_div_pd(p, q));
    if constexpr (K == Inverse::kCdfNorm)
      corr = _mm_mul_pd(corr, _mm_set1_pd(static_cast<double>(kSqrt2)));
    // x = xh + xl with halves of at most 26 bits: xh * head and xl * head
    // are exact.
    const __m128d t = _mm_mul_pd(x, _mm_set1_pd(134217729.0));
    const __m128d xh = _mm_sub_pd(t, _mm_sub_pd(t, x)), xl = _mm_sub_pd(x, xh);
    const __m128d head = _mm_set1_pd(lead[0]);
    const __m128d low =
        _mm_add_pd(_mm_mul_pd(xl, head), _mm_add_pd(_mm_mul_pd(x, _mm_set1_pd(lead[1])), corr));
    out[0] = _mm_add_pd(_mm_mul_pd(xh, head), low);
  }
  static int special(const __m128d* in) {
    __m128d outside = _mm_or_pd(_mm_cmpnge_pd(in[0], _mm_set1_pd(D::kPackedLo)),
                                _mm_cmpnle_pd(in[0], _mm_set1_pd(D::kPackedHi)));
    if constexpr (K == Inverse::kErf) {
      const __m128d abs = _mm_and_pd(in[0], Simd<double>::bits(Simd<double>::kAbs));
      outside = _mm_or_pd(outside, _mm_cmplt_pd(abs, _mm_set1_pd(0x1p-960)));
    }
    return _mm_movemask_pd(outside);
  }
  static int scalar(const double* in, double* out) { return Scalar<double, K>(in, out); }
};

// Both types walk the array on plan D; the extended routine needs the x87
// unit at 64-bit precision.
template <class Op, X87Target X, MxcsrWay M, class Report, class T = typename Op::T>
void Kernel(int n, const T* a, T* r) {
  Frame<X, M> frame;
  ExtendedPrecision extended;
  const T* in[1] = {a};
  T* out[1] = {r};
  PlanD<Op, Report>(n, in, out);
}

using X = X87Target;
using M = MxcsrWay;
using I = Inverse;

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

extern "C" void nex_vtm_k_dErfInv(int n, const double* a, double* r) {
  Kernel<DoubleOp<I::kErf>, X::kMasked, M::kByMode, ReportAs<"vdErfInv", 1, 1>>(n, a, r);
}
extern "C" void nex_vtm_k_dErfcInv(int n, const double* a, double* r) {
  Kernel<DoubleOp<I::kErfc>, X::kMasked, M::kKeepRounding, ReportAs<"vdErfcInv", 1, 1>>(n, a, r);
}
extern "C" void nex_vtm_k_dCdfNormInv(int n, const double* a, double* r) {
  Kernel<DoubleOp<I::kCdfNorm>, X::kMasked, M::kKeepRounding, ReportAs<"vdCdfNormInv", 1, 1>>(n, a,
                                                                                              r);
}
extern "C" void nex_vtm_k_sErfInv(int n, const float* a, float* r) {
  Kernel<SingleOp<I::kErf>, X::kMasked, M::kByMode, ReportAs<"vsErfInv", 1, 1>>(n, a, r);
}
extern "C" void nex_vtm_k_sErfcInv(int n, const float* a, float* r) {
  Kernel<SingleOp<I::kErfc>, X::kMasked, M::kByMode, ReportAs<"vsErfcInv", 1, 1>>(n, a, r);
}
extern "C" void nex_vtm_k_sCdfNormInv(int n, const float* a, float* r) {
  Kernel<SingleOp<I::kCdfNorm>, X::kMasked, M::kKeepRounding, ReportAs<"vsCdfNormInv", 1, 1>>(n, a,
                                                                                              r);
}
