// Log1p: ln(1 + x), scalar in double precision for both types (single
// widens; frame: x87 double, MXCSR keeps the caller's rounding). Single
// needs only the plain double form of the method below (no low parts).
//
// u = 1 + x is formed with its rounding error lo (exact two-sum), and
// u = 2^e z with z in [0.75, 1.5); c, the nearest multiple of 2^-9 to z,
// comes from the shifter 1.5 * 2^52, and d = z - c is exact. With
// t = (d + lo 2^-e) / c, |t| < 2^-9.58,
//     ln(1 + x) = e ln2_hi + hi[c] + t + (e ln2_lo + lo[c] + p(t)),
// where ln 2 = 0.6931471803691238 + 1.9082149292705877e-10 (the high part
// has 32 bits, so e ln2_hi + hi is exact with hi on a grid of 2^-42), and
// p(t) = t^2 (-1/2 + t (1/3 + t (-1/4 + t (1/5 + t (-1/6))))) in a minimax
// form. t is carried in two parts, t_hi = (d + lo 2^-e) * rcp and the exact
// residual d + lo 2^-e - t_hi c times rcp (t_hi split in halves whose
// products with the 10-bit c are exact). The large parts are summed with
// their rounding error kept, so the result is rounded about once. Near
// x = 0 the reduction gives c = 1, no table term, and the result is t plus
// a small correction: no cancellation. Measured: dLog1p 0.509 ulp at
// -0.00094891 (5e6 random arguments), sLog1p 0.5000 ulp (every float of
// [2^-4, 2) and (-1, -2^-4], every 97th elsewhere).
//
// Special elements: NaN gives x + x; x = -1 gives -infinity with status 2;
// x < -1 (-infinity included) a NaN with status 1; +infinity itself;
// |x| < 2^-54 gives x (the exact value rounds to it, zeros keep their sign).
#include <cmath>
#include <limits>

#include "vector_frame/report.hpp"
#include "vector_real/frame.hpp"
#include "vector_real/lane_bits.hpp"
#include "vector_real/log_data.hpp"
#include "vector_real/simd.hpp"

namespace nex::vtm {
namespace {

using logdata::kGridFirst;
using logdata::kLnGrid;

constexpr double kLn2Hi = 0.6931471803691238;
constexpr double kLn2Lo = 1.9082149292705877e-10;
constexpr double kP2 = -0.5, kP3 = 0.33333333333145093, kP4 = -0.2499999999965227,
                 kP5 = 0.20000103714740713, kP6 = -0.1666678766814359;
constexpr double kShifter = 6755399441055744.0;  // 1.5 * 2^52

inline double Mask(double x, uint64_t m) {
  return from_bits<double>(to_bits(x) & m);
}

// u = 2^e z, z in [0.75, 1.5), c the nearest multiple of 2^-9 to z, and
// the row of c.
struct Cut {
  int e;
  double z, c;
  const double* row;
};

inline Cut Reduce(double u) {
  Cut r;
  const uint64_t iu = to_bits(u);
  const uint64_t tmp = iu - 0x3FE8000000000000ull;
  r.e = static_cast<int>(static_cast<int64_t>(tmp) >> 52);
  r.z = from_bits<double>(iu - (tmp & 0xFFF0000000000000ull));
  const double y = r.z * 512.0 + kShifter;
  const int k = static_cast<int>(static_cast<uint32_t>(to_bits(y)));
  r.c = (y - kShifter) * (1.0 / 512);
  r.row = kLnGrid[k - kGridFirst];
  return r;
}

inline double Poly(double t) {
  return t * t * (kP2 + t * (kP3 + t * (kP4 + t * (kP5 + t * kP6))));
}

// ln(1 + x) for x > -1, finite, |x| >= 2^-54, to about half an ulp.
inline double Log1pMain(double x) {
  const double u = 1.0 + x;
  const double lo = std::fabs(x) >= 1.0 ? (x - u) + 1.0 : (1.0 - u) + x;
  const Cut r = Reduce(u);
  // 2^-e for the low part; beyond e = 1000 the low part is far below the
  // result's last place.
  const double scale =
      r.e <= 1000 ? from_bits<double>(static_cast<uint64_t>(1023 - r.e) << 52) : 0.0;
  const double los = lo * scale;
  const double rcp = r.row[0], c = r.c;
  const double d = r.z - c;
  const double th = (d + los) * rcp;
  const double a = Mask(th, 0xFFFFFFFFF8000000ull), b = th - a;
  const double tl = (((d - a * c) - b * c) + los) * rcp;
  const double big = r.e * kLn2Hi + r.row[1];
  const double s = big + th;
  const double slo = (big - s) + th;
  return s + (slo + (tl + (r.e * kLn2Lo + r.row[2]) + Poly(th)));
}

// ln(1 + x) for a single x > -1, finite, |x| >= 2^-54, to about 2^-50
// relative: enough for one rounding to single. 1 + x is exact in double for
// 2^-29 <= |x| < 2^29 (x has 24 bits) and relatively exact beyond; below
// 2^-29, x - x^2/2 is within 2^-58 relative.
inline double Log1pWidened(double x) {
  if (std::fabs(x) < 0x1p-29) return x - 0.5 * x * x;
  const Cut r = Reduce(1.0 + x);
  const double t = (r.z - r.c) * r.row[0];
  return (r.e * kLn2Hi + r.row[1]) + (t + ((r.e * kLn2Lo + r.row[2]) + Poly(t)));
}

// The element routine: result and status. kWide: the argument is a widened
// single.
template <bool kWide>
inline int Log1pAt(double x, double* out) {
  const uint64_t b = to_bits(x);
  if (x != x) {
    *out = x + x;
    return 0;
  }
  if (x <= -1.0) {
    if (x == -1.0) {
      *out = -1.0 / (x + 1.0);  // -infinity, zero-divide flag
      return VTM_STATUS_SINGULARITY;
    }
    *out = InvalidNaN<double>();
    return VTM_STATUS_DOMAIN;
  }
  if (x == std::numeric_limits<double>::infinity()) {
    *out = x;
    return 0;
  }
  if ((b & 0x7FFFFFFFFFFFFFFFull) < 0x3C90000000000000ull) {
    *out = x;
    return 0;
  }
  *out = kWide ? Log1pWidened(x) : Log1pMain(x);
  return 0;
}

template <class T>
void Run(int n, const T* a, T* r) {
  Frame<X87Target::kDouble, MxcsrWay::kKeepRounding> frame;
  const char* name = sizeof(T) == 4 ? "vsLog1p" : "vdLog1p";
  for (ptrdiff_t i = 0; i < n; ++i) {
    double y;
    const int status = Log1pAt<sizeof(T) == 4>(static_cast<double>(a[i]), &y);
    r[i] = static_cast<T>(y);
    if (__builtin_expect(status != 0, 0)) Report(status, static_cast<int32_t>(i), a, a, r, r, name);
  }
}

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

extern "C" void nex_vtm_k_sLog1p(int n, const float* a, float* r) {
  Run(n, a, r);
}
extern "C" void nex_vtm_k_dLog1p(int n, const double* a, double* r) {
  Run(n, a, r);
}
