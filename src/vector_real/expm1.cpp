// Expm1: e^x - 1, scalar in double for both types (single widens, and the one
// rounding of the double result to single keeps it within 0.5 ulp + 2^-29).
//
// |x| < 2^-8: the Taylor polynomial x + x^2/2 + ... + x^6/720 (coefficients
// trimmed by the fit); x^2/2 is below 2^-9 x, so the sum is rounded once to
// within a hair of half an ulp. |x| < 2^-57 gives x itself.
//
// Otherwise k = round(128 x / ln 2) with the shifter 1.5 * 2^52,
// r = x - k ln(2)/128 with ln(2)/128 in two parts (the high part short, so
// that k times it is exact), carried as r + r_lo; j = k mod 128, e = floor(k /
// 128), and
//
//   e^x - 1 = 2^e T (1 + q(r)) - 1,   T = 2^(j/128) = T_hi + T_lo,
//
// q the same polynomial. The difference with 1 is where accuracy is lost in a
// plain evaluation (it cancels for x near 2^-8 and near -ln 2), so the sum is
// formed without error: 2^e T_hi - 1 and the exact product T_hi r (by
// Veltkamp's split) go through TwoSum, and only the small remainder
// 2^e (T_hi (q + r_lo) + T_lo (1 + r + q)) and the final sum are rounded.
// Max error measured 0.503 ulp for double (x = 0.0034329753489953261); single is
// correctly rounded on every argument from 2^-30 to the limits.
//
// Limits: above ln(max) the result is +infinity with status 3 (the only
// status these kernels report); below -40 it is -1, the rounded value for
// both types; +infinity gives +infinity and -infinity -1, both silently;
// NaN gives x + x.
#include <limits>

#include "vector_frame/report.hpp"
#include "vector_real/error_free.hpp"
#include "vector_real/exp_data.hpp"
#include "vector_real/kernel_defs.hpp"
#include "vector_real/lane_bits.hpp"

namespace nex::vtm {
namespace {

namespace tab = exp_data;

constexpr double kC3 = 0.16666666666665733, kC4 = 0.0416666666666645;
constexpr double kC5 = 0.008333335878865304, kC6 = 0.001388889298015527;

// q(r) = r^2/2 + ... + r^6/720.
inline double TaylorTail(double r) {
  return r * r * (0.5 + r * (kC3 + r * (kC4 + r * (kC5 + r * kC6))));
}

constexpr uint32_t kSmallHigh = 0x3F700000u;  // 2^-8
constexpr uint32_t kTinyHigh = 0x3C600000u;   // 2^-57

// e^x - 1 for a finite x with -40 <= x <= 710 and |x| >= 2^-8. kExact asks for
// the error-free sum (double results); a single result needs only a relative
// error far below 2^-24, which the plain sum in double gives.
template <bool kExact>
inline double Expm1Table(double x) {
  constexpr double kInvStep = 184.6649652337873;  // 128 / ln 2
  constexpr double kShift = 6755399441055744.0;   // 1.5 * 2^52
  const double kf = (x * kInvStep + kShift) - kShift;
  const int32_t k = static_cast<int32_t>(kf);
  const double t = x - kf * tab::kExpm1SplitHi;  // exact
  const double klo = kf * tab::kExpm1SplitLo;
  const double r = t - klo;
  const double r_lo = (t - r) - klo;
  const int32_t e = k >> 7;
  const tab::Pair<double>& T = tab::dExpm1[k & 127];
  const double q = TaylorTail(r);
  if constexpr (!kExact) {
    if (e > 60) return ScaleByPow2(T.hi + (T.hi * (r + q) + T.lo), e);
    const double scale = Pow2(e);
    return (T.hi * scale - 1.0) + scale * (T.hi * (r + q) + T.lo);
  }
  const double rest_unscaled = T.hi * (q + r_lo) + T.lo * (1.0 + r + q);
  if (e > 60) {  // 1 is far below half an ulp: e^x alone, scaled in one rounding
    const DoubleDouble p = TwoProduct(T.hi, r);
    return ScaleByPow2(T.hi + (p.hi + (p.lo + rest_unscaled)), e);
  }
  const double scale = Pow2(e);
  const DoubleDouble p = TwoProduct(T.hi, r);
  const DoubleDouble s = TwoSum(T.hi * scale, -1.0);
  const DoubleDouble s2 = TwoSum(s.hi, p.hi * scale);
  return s2.hi + (s2.lo + s.lo + (p.lo + rest_unscaled) * scale);
}

// The element routine of both types: the result in double and the status.
template <bool kExact>
inline int Expm1Double(double x, double* y) {
  const uint64_t bits = to_bits(x);
  const uint32_t ahigh = static_cast<uint32_t>(bits >> 32) & 0x7FFFFFFFu;
  if (ahigh < kSmallHigh) {
    *y = ahigh < kTinyHigh ? x : x + TaylorTail(x);
    return VTM_STATUS_OK;
  }
  if (x != x) {
    *y = x + x;
    return VTM_STATUS_OK;
  }
  if (x < -40.0) {
    *y = -1.0;
    return VTM_STATUS_OK;
  }
  constexpr double kOverflow = 709.782712893384;  // ln of the largest double
  if (x > kOverflow) {
    const bool finite = x != std::numeric_limits<double>::infinity();
    *y = std::numeric_limits<double>::infinity();
    if (!finite) return VTM_STATUS_OK;
    RaiseOverflow<double>();
    return VTM_STATUS_OVERFLOW;
  }
  *y = Expm1Table<kExact>(x);
  return *y == std::numeric_limits<double>::infinity() ? VTM_STATUS_OVERFLOW : VTM_STATUS_OK;
}

template <class T>
void Expm1Kernel(int n, const T* a, T* r, const char* name) {
  Frame<X87Target::kDouble, MxcsrWay::kKeepRounding> frame;
  for (ptrdiff_t i = 0; i < n; ++i) {
    const T x = a[i];
    double y;
    int status = Expm1Double<sizeof(T) == 8>(x, &y);
    const T out = static_cast<T>(y);
    r[i] = out;
    // A single result can overflow where the double one does not.
    if (out == std::numeric_limits<T>::infinity() && x != out) status = VTM_STATUS_OVERFLOW;
    if (__builtin_expect(status != 0, 0)) Report(status, static_cast<int32_t>(i), a, a, r, r, name);
  }
}

}  // namespace
}  // namespace nex::vtm

extern "C" void nex_vtm_k_sExpm1(int n, const float* a, float* r) {
  nex::vtm::Expm1Kernel<float>(n, a, r, "vsExpm1");
}
extern "C" void nex_vtm_k_dExpm1(int n, const double* a, double* r) {
  nex::vtm::Expm1Kernel<double>(n, a, r, "vdExpm1");
}
