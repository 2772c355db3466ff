// Ln and Log10 on the x87 unit, single and double precision.
//
// Single (frame: x87 double, MXCSR fixed). x = 2^e m with m in [1,2); the top
// 8 bits of the mantissa pick a row j of cubics, and
//     log x = e log(2) + (c3 m + c2) m^2 + (c1 m + c0),
// all in 53-bit x87 arithmetic, rounded once to single by the store. The
// cubic of row j is the Taylor cubic of log m around a point of the row's
// interval (1 for row 0, 2 for row 255, the midpoint otherwise), so near
// x = 1 on either side its error vanishes with the result. Truncation error
// is below |m - p|^4 / 4; the worst case is row 0 just under 1 + 1/256,
// where it is 2^-26 relative. Measured (every float of [0.5, 2), every 97th
// elsewhere): sLn 0.745 ulp at 1.0038966, sLog10 0.711 ulp at 1.0038995.
//
// Double (frame: x87 extended, MXCSR fixed). The top 8 mantissa bits give
// c = 1 + j/256; m' = 1 + (x / 2^e - c) is formed exactly from the other 44
// bits, t = (m' - 1) / c, and
//     ln x = e ln 2 + hi[j] + lo[j] + q(t),   0 <= t < 2^-8,
// with q a degree-6 minimax polynomial for ln(1 + t), evaluated by Estrin's
// scheme. t is (m' - 1) times rcp[j] refined by one Newton step (the defect
// 1 - c rcp[j] is exact in 64 bits), so t is good to the 64-bit significand.
// Log10 uses its own rows and scales q by log10 e. Everything is in extended
// precision; the store rounds once. e log 2 uses the unit's constant with its
// low part added. Measured on 5e6 random arguments: dLn 0.504 ulp at
// 1.0018696, dLog10 0.504 ulp at 0.9979268.
//
// Elements off the table path: zero, denormal, negative, infinity, NaN (bits
// outside the positive normal range) and, for double, x in [1 - 2^-9, 1)
// (exponent -1, row 255), where e ln 2 would cancel against the table. They
// are computed by one fyl2x with the constant as the multiplier, at the
// unit's full precision. Status: 2 for a zero of either sign, 1 for a value
// below zero up to and including -infinity; a negative NaN reports nothing.
// Reports run with the x87 state saved around them.
#include "vector_frame/report.hpp"
#include "vector_real/frame.hpp"
#include "vector_real/log_data.hpp"
#include "vector_real/simd.hpp"
#include "vector_real/x87.hpp"

namespace nex::vtm {
namespace {

using logdata::kLnCubic;
using logdata::kLnRow;
using logdata::kLog10Cubic;
using logdata::kLog10Row;

// The status of an element of the slow path, from its bits: zero gives a
// pole, a negative non-NaN a domain error.
template <class U>
constexpr int LogStatus(U bits) {
  constexpr U sign = U{1} << (sizeof(U) * 8 - 1);
  constexpr U neg_inf = sizeof(U) == 4 ? U(0xFF800000u) : U(0xFFF0000000000000ull);
  if ((bits & ~sign) == 0) return VTM_STATUS_SINGULARITY;
  if (bits > sign && bits <= neg_inf) return VTM_STATUS_DOMAIN;
  return 0;
}

template <class T>
struct Kind;

template <>
struct Kind<float> {
  // Outside the positive normal range: the bits, unsigned, at or above
  // +infinity or at or below the largest denormal.
  static bool off_table(uint32_t b) { return b - 0x00800000u >= 0x7F000000u; }
};

template <>
struct Kind<double> {
  static bool off_table(uint64_t b) {
    const uint32_t hi = static_cast<uint32_t>(b >> 32);
    return hi - 0x00100000u >= 0x7FE00000u || (hi & 0xFFFFF000u) == 0x3FEFF000u;
  }
};

template <bool kTen>
struct SingleLog {
  static constexpr const char* kName = kTen ? "vsLog10" : "vsLn";
  static constexpr const double (*kRows)[4] = kTen ? kLog10Cubic : kLnCubic;

  static long double fast(uint32_t b, long double k) {
    const int e = static_cast<int>(b >> 23) - 127;
    const long double m = from_bits<float>((b & 0x007FFFFFu) | 0x3F800000u);
    const double* c = kRows[(b >> 15) & 0xFF];
    // Estrin's form, shorter on the pipelined unit than Horner's.
    return e * k + ((c[3] * m + c[2]) * (m * m) + (c[1] * m + c[0]));
  }
};

template <bool kTen>
struct DoubleLog {
  static constexpr const char* kName = kTen ? "vdLog10" : "vdLn";
  static constexpr const double (*kRows)[3] = kTen ? kLog10Row : kLnRow;
  // Minimax coefficients of ln(1 + t) on [0, 2^-8], t^2 .. t^6.
  // (Doubles: the unit multiplies by a memory double directly.)
  static constexpr double kQ2 = -0.4999999999999955, kQ3 = 0.3333333333198306,
                          kQ4 = -0.24999998524219055, kQ5 = 0.19999270610222492,
                          kQ6 = -0.16500333306925632;

  // The constant less its 64-bit value from fldln2 / fldlg2: without it the
  // constant's rounding shows as 0.1 ulp where e log 2 cancels against hi.
  static constexpr double kLow = kTen ? -0x1.c1da994fd20dcp-67 : -0x1.b0e2633fe0685p-67;

  static long double fast(uint64_t b, long double k, long double qscale) {
    const uint32_t hi = static_cast<uint32_t>(b >> 32);
    const int e = static_cast<int>(hi >> 20) - 1023;
    const unsigned j = (hi >> 12) & 0xFF;
    const double m1 = from_bits<double>((b & 0x00000FFFFFFFFFFFull) | 0x3FF0000000000000ull);
    const double* row = kRows[j];
    // c = 1 + j/256: the top 8 mantissa bits alone, with the exponent of 1.
    const long double c = from_bits<double>((b & 0x000FF00000000000ull) | 0x3FF0000000000000ull);
    // The reciprocal refined to 64 bits off the argument's path: c * rcp is
    // exact in 64 bits, so rcp (2 - c rcp) = rcp + rcp (1 - c rcp).
    const long double rcp = row[2];
    const long double inv = rcp + rcp * (1.0L - c * rcp);
    const long double t = (static_cast<long double>(m1) - 1.0L) * inv;
    // Estrin's scheme: the unit is pipelined, Horner's chain is not.
    const long double t2 = t * t;
    long double q = t + t2 * ((kQ2 + t * kQ3) + t2 * ((kQ4 + t * kQ5) + t2 * kQ6));
    if constexpr (kTen) q *= qscale;
    return (e * k + row[0]) + ((row[1] + static_cast<long double>(e) * kLow) + q);
  }
};

// Slow path of one element: fyl2x, the store, the status.
template <class T>
inline int Rare(T x, T* out, long double k) {
  *out = static_cast<T>(x87log::Yl2x(x, k));
  return LogStatus(to_bits(x));
}

template <class T>
NEX_NOINLINE void ReportSaved(int status, ptrdiff_t i, const T* a, T* r, const char* name) {
  x87log::WithSavedState([&] { Report(status, static_cast<int32_t>(i), a, a, r, r, name); });
}

// The walk shared by the four kernels: two elements at a time (read both,
// then store both, so a result array may be the input), the pair with an
// element off the table path taken element by element, then the tail.
template <class T, class Fast>
inline void Walk(int n, const T* a, T* r, long double k, const char* name, Fast fast) {
  auto one = [&](ptrdiff_t i, T x) {
    const auto b = to_bits(x);
    if (__builtin_expect(!Kind<T>::off_table(b), 1)) {
      r[i] = static_cast<T>(fast(b));
      return;
    }
    const int status = Rare(x, r + i, k);
    if (status != 0) ReportSaved(status, i, a, r, name);
  };
  ptrdiff_t i = 0;
  for (; i + 2 <= n; i += 2) {
    const T x0 = a[i], x1 = a[i + 1];
    const auto b0 = to_bits(x0), b1 = to_bits(x1);
    if (__builtin_expect(!(Kind<T>::off_table(b0) | Kind<T>::off_table(b1)), 1)) {
      const long double y0 = fast(b0), y1 = fast(b1);
      r[i] = static_cast<T>(y0);
      r[i + 1] = static_cast<T>(y1);
      continue;
    }
    one(i, x0);
    one(i + 1, x1);
  }
  if (i < n) one(i, a[i]);
}

template <bool kTen>
void RunSingle(int n, const float* a, float* r) {
  Frame<X87Target::kDouble, MxcsrWay::kFixed> frame;
  if (n <= 0) return;
  const long double k = kTen ? x87log::Lg2() : x87log::Ln2();
  Walk(n, a, r, k, SingleLog<kTen>::kName, [k](uint32_t b) { return SingleLog<kTen>::fast(b, k); });
}

template <bool kTen>
void RunDouble(int n, const double* a, double* r) {
  Frame<X87Target::kExtended, MxcsrWay::kFixed> frame;
  if (n <= 0) return;
  const long double k = kTen ? x87log::Lg2() : x87log::Ln2();
  const long double qscale = kTen ? x87log::Lg2() * x87log::L2e() : 1.0L;  // log10 e
  Walk(n, a, r, k, DoubleLog<kTen>::kName,
       [k, qscale](uint64_t b) { return DoubleLog<kTen>::fast(b, k, qscale); });
}

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

extern "C" void nex_vtm_k_sLn(int n, const float* a, float* r) {
  RunSingle<false>(n, a, r);
}
extern "C" void nex_vtm_k_sLog10(int n, const float* a, float* r) {
  RunSingle<true>(n, a, r);
}
extern "C" void nex_vtm_k_dLn(int n, const double* a, double* r) {
  RunDouble<false>(n, a, r);
}
extern "C" void nex_vtm_k_dLog10(int n, const double* a, double* r) {
  RunDouble<true>(n, a, r);
}
