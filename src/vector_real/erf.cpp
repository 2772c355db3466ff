// Erf, Erfc, CdfNorm: the error function, its complement and the normal
// distribution function, in single and double, all on one extended-precision
// (x87, 64-bit significand) evaluation that is rounded once to the element
// type.
//
// Method. For |x| < 1, erf(x) = x P(x^2) with P of degree 14 (fit error
// 4e-23 relative). For 1 <= x < 28, erfc(x) = exp(-x^2) erfcx(x), where
// erfcx(x) = exp(x^2) erfc(x) is a smooth, slowly falling function fitted on
// the unit pieces [k, k + 1] by polynomials of degree 20 (near 1) down to 10
// (near 28) in x - k - 1/2 (fit error below 2^-72 relative). Then erf = 1 - erfc on [1, 6) and +-1
// beyond (erfc(6) = 2e-17 is below half an ulp of 1), erfc = 1 - erf on (-1, 1), erfc(x) = 2 -
// erfc(-x) for x <= -1 (2 from x = -6), and CdfNorm(x) = erfc(-x / sqrt 2) / 2.
//
// The factor exp(-x^2). Near the underflow limit x^2 is about 745, and a
// relative error d in it becomes an error of 745 d in the result: x^2 must be
// carried to about 2^-74 relative. x is split as xh + xl with xh of 26
// significant bits, so that xh^2 is an exact double and
// x^2 = xh^2 + xl (x + xh), the tail carried in extended precision
// (for CdfNorm the same with the halves, x^2/2, formed from x itself and not
// from the rounded x / sqrt 2). exp(h + l) then takes h log2(e) through the
// 11-bit high part of log2(e) shared with the exponential kernels, so that
// h L1 is exact, and reduces by steps of 2^-10 through the extended tables
// of 2^(j/32) and 2^(j/1024) that the exponential kernels hold, leaving a
// short Taylor polynomial. The whole chain stays near 2^-60 relative, a sixty-fourth of an ulp of
// a double, and the result is rounded once, also when it is subnormal.
//
// Measured against MPFR (tests/vector_erf, about 2e5 arguments each): dErf
// 0.5006 ulp (x = -6.457e-65, the tiny range, 2/sqrt(pi) x), dErfc 0.5017 ulp
// (x = 0.99594, 1 - erf just below the switch to the tail), dCdfNorm 0.5008
// ulp (x = -0.77854); the single kernels are correctly rounded on the sample
// (0.49999 ulp at most).
//
// Statuses. Erf never reports. Erfc and CdfNorm report underflow (4), with the
// underflow flag raised, for a finite argument whose result is below the least
// normal number (subnormal or zero): erfc(x) from x = 26.5432584542509814
// (double) and 9.19454945 (single), zero beyond 27.2260171111083639 and
// 10.0541949; CdfNorm from x = -37.5193793 (double) and -12.9499527 (single), zero
// below -38.4854083 and -14.1701855. Infinities give their exact limits (erfc:
// 0 and 2; CdfNorm: 0 and 1) without a status; a NaN gives a quiet NaN.
//
// The x87 unit runs with 64-bit precision in dErf (its frame sets it); the
// others run it at the caller's precision, which is 64 bits unless the caller
// lowered it.
#include <cstddef>
#include <limits>

#include "vector_frame/report.hpp"
#include "vector_real/erf_data.hpp"
#include "vector_real/exp_data.hpp"
#include "vector_real/frame.hpp"
#include "vector_real/lane_bits.hpp"
#include "vector_real/x87.hpp"

namespace nex::vtm {
namespace {

using L = long double;

// exp(h + l) for a double h (h log2(e) formed exactly through the short high
// part of log2(e)) and a small extended correction l. With
// m = round(1024 (h + l) log2(e)) = 1024 k + 32 j1 + j0 and r the rest
// (|r| <= 2^-11), exp = 2^k 2^(j1/32) 2^(j0/1024) 2^r, the two powers from the
// exponential kernels' tables and 2^r by its Taylor polynomial of degree 5
// in u = r ln 2 (remainder below u^6/720, 2^-78).
inline L ExpSplit(double h, L l) {
  constexpr L kShift = 6597069766656.0L;  // 1.5 * 2^42: a double near it steps by 2^-10
  constexpr L kLn2 = 0.693147180559945309417232121458176568L;
  const L th = static_cast<L>(h) * LoadExt(exp_data::kLog2eHi);  // exact
  const L tl =
      static_cast<L>(h) * LoadExt(exp_data::kLog2eLo) + l * 1.442695040888963407359924681001892137L;
  const double y = static_cast<double>((th + tl) + kShift);
  const L r = (th - (static_cast<L>(y) - kShift)) + tl;  // th - m/1024 is exact
  const int32_t m = static_cast<int32_t>(static_cast<uint32_t>(to_bits(y)));
  const L u = r * kLn2;
  const L p = 1.0L + u * (1.0L + u * (0.5L + u * (1.0L / 6 + u * (1.0L / 24 + u * (1.0L / 120)))));
  return p * LoadExt(exp_data::dExpMiddle[m & 31]) * LoadExt(exp_data::dExpHigh[(m >> 5) & 31]) *
         Pow2Ext(m >> 10);
}

// x^2 = hi + lo with hi an exact double product of the leading 26 bits.
struct Square {
  double hi;
  L lo;
};
inline Square SplitSquare(double x) {
  const double xh = from_bits<double>(to_bits(x) & 0xFFFFFFFFF8000000ull);
  const L xl = static_cast<L>(x) - xh;
  return {xh * xh, xl * (static_cast<L>(x) + xh)};
}

inline L Horner(const Ext80* c, int terms, L s) {
  L p = LoadExt(c[0]);
  for (int j = 1; j < terms; ++j) p = p * s + LoadExt(c[j]);
  return p;
}

// erf(x) for |x| < 1.
inline L ErfSmall(L x) {
  return x * Horner(erf_data::kErfSmall, 15, x * x);
}

// erfcx(z) for 1 <= z < 28.
inline L Erfcx(L z) {
  const int k = static_cast<int>(z);
  const int start = erf_data::kErfcTailStart[k - 1];
  return Horner(erf_data::kErfcTail[k - 1] + start, erf_data::kTailTerms - start, z - (k + 0.5L));
}

// erfc(x) for 1 <= x < 28, from the split square.
inline L ErfcTail(L x, Square sq) {
  return ExpSplit(-sq.hi, -sq.lo) * Erfcx(x);
}

L ErfValue(double x) {
  const L ax = x < 0 ? -static_cast<L>(x) : static_cast<L>(x);
  if (ax < 1.0L) return ErfSmall(x);
  if (x != x) return static_cast<L>(x) + x;
  const L v = ax >= 6.0L ? 1.0L : 1.0L - ErfcTail(ax, SplitSquare(x));
  return x < 0 ? -v : v;
}

L ErfcValue(double x) {
  const L ax = x < 0 ? -static_cast<L>(x) : static_cast<L>(x);
  if (ax < 1.0L) return 1.0L - ErfSmall(x);
  if (x != x) return static_cast<L>(x) + x;
  if (x < 0) return x <= -6.0 ? 2.0L : 2.0L - ErfcTail(ax, SplitSquare(x));
  return x >= 28.0 ? 0.0L : ErfcTail(ax, SplitSquare(x));
}

// Phi(x) = erfc(z) / 2 with z = -x / sqrt 2; exp(-z^2) from x^2 / 2 exactly.
L CdfNormValue(double x) {
  constexpr L kInvSqrt2 = 0.707106781186547524400844362104849039L;
  const L z = -static_cast<L>(x) * kInvSqrt2;
  const L az = z < 0 ? -z : z;
  if (az < 1.0L) return 0.5L - 0.5L * ErfSmall(z);
  if (x != x) return static_cast<L>(x) + x;
  if (z < 0) {
    if (x >= 9.0) return 1.0L;
    const Square sq = SplitSquare(x);
    return 1.0L - 0.5L * ErfcTail(az, {sq.hi * 0.5, sq.lo * 0.5L});
  }
  if (z >= 28.0L) return 0.0L;
  const Square sq = SplitSquare(x);
  return 0.5L * ErfcTail(az, {sq.hi * 0.5, sq.lo * 0.5L});
}

// ---- kernels ---------------------------------------------------------------

// One function over an array: the value rounded once to T; a result below
// the least normal number from a finite argument goes to the scalar finisher,
// which reports the underflow (for the reporting functions).
template <class T>
__attribute__((noinline)) void FinishUnderflow(ptrdiff_t i, const T* a, T* r, const char* name) {
  const T x = a[i];
  if (x - x != 0) return;  // infinities give their exact limits
  RaiseUnderflow<T>();
  Report(VTM_STATUS_UNDERFLOW, static_cast<int32_t>(i), a, a, r, r, name);
}

template <class T, L (*F)(double), bool kReports>
inline void Walk(int n, const T* a, T* r, const char* name) {
  for (ptrdiff_t i = 0; i < n; ++i) {
    const T y = static_cast<T>(F(a[i]));
    r[i] = y;
    if constexpr (kReports) {
      if (__builtin_expect(y < std::numeric_limits<T>::min(), 0)) FinishUnderflow<T>(i, a, r, name);
    }
  }
}

}  // namespace
}  // namespace nex::vtm

#define NEX_ERF_KERNEL(t, T, Name, F, REPORTS, X87)              \
  extern "C" void nex_vtm_k_##t##Name(int n, const T* a, T* r) { \
    using namespace nex::vtm;                                    \
    Frame<X87Target::X87, MxcsrWay::kByMode> frame;              \
    Walk<T, F, REPORTS>(n, a, r, "v" #t #Name);                  \
  }

NEX_ERF_KERNEL(s, float, Erf, ErfValue, false, kMasked)
NEX_ERF_KERNEL(d, double, Erf, ErfValue, false, kExtended)
NEX_ERF_KERNEL(s, float, Erfc, ErfcValue, true, kMasked)
NEX_ERF_KERNEL(d, double, Erfc, ErfcValue, true, kMasked)
NEX_ERF_KERNEL(s, float, CdfNorm, CdfNormValue, true, kMasked)
NEX_ERF_KERNEL(d, double, CdfNorm, CdfNormValue, true, kMasked)
