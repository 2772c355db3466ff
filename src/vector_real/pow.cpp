// Pow, Powx and Powr in single and double precision.
//
// Method. Every special pair is decided first by exact tests on the
// operands (the class of y: 0 not an integer, 1 odd, 2 even integer; zeros,
// infinities, NaNs, x = +1 and x = -1), so the general path sees only a
// positive finite nonzero |x|, a finite y and a known sign of the result.
// Single precision runs in double arithmetic on the logarithm grid and the
// 2^(j/64) table (Log2Double, Exp2Double below), rounded once to single.
// Double runs on the x87 unit with 64-bit significands (PowExt below):
// y log2 x = y e + y log2 m with y e exact and one fyl2x on the reduced
// mantissa, 2^f by f2xm1 and fscale, one rounding to double, which also forms
// subnormal results in one step. The error of y log2 m is about 2^-64 of
// itself; near x = 1 (e = 0) with |y log2 x| up to 1075 that is 2^-54
// absolute, 0.35 ulp of the result at most, so the bound is below 0.9 ulp.
// Measured (docs/accuracy_pow.md): sPow, sPowr, sPowx 0.49999 ulp, none
// incorrectly rounded in the sample; dPow 0.627 ulp at x = 1.00000034,
// y = 1.14e9, and 0.52 ulp away from x near 1; dPowr 0.503; dPowx 0.501.
//
// The frame is the extended row (x87 at 64 bits, round to nearest; MXCSR
// by mode) rather than the masked row of the other two-argument kernels,
// because the double general path needs the full x87 precision. Every
// element takes the scalar routine; there is no packed path yet.
//
// Statuses. Pow: 1 for a zero to a negative power (also -infinity) and for
// a finite negative x to a finite non-integer power; 3 for an overflow of a
// finite pair; an underflow is not reported. Powr (exp(y ln x), defined for
// x >= 0 only): 1 for x < 0 (also -0 counts as zero), for 0^0, infinity^0
// and 1^infinity, which are NaN; 2 for a zero to a negative power (+infinity);
// 3 for an overflow; NaN operands give a quiet NaN with status 0.
//
// Powx classifies its scalar exponent once, before the loop; a zero exponent
// fills the result with 1.0 without looking at x.
#include <cmath>
#include <cstdint>
#include <cstring>

#include "vector_frame/kernels.hpp"
#include "vector_frame/report.hpp"
#include "vector_real/exp_data.hpp"
#include "vector_real/frame.hpp"
#include "vector_real/log_data.hpp"
#include "vector_real/x87.hpp"

namespace nex::vtm {
namespace {

template <class T>
struct PowTraits;
template <>
struct PowTraits<float> {
  using U = uint32_t;
  static constexpr int kBits = 32, kMant = 23, kBias = 127;
  static constexpr U kExpMask = 0x7F800000u;
};
template <>
struct PowTraits<double> {
  using U = uint64_t;
  static constexpr int kBits = 64, kMant = 52, kBias = 1023;
  static constexpr U kExpMask = 0x7FF0000000000000ull;
};

template <class T>
typename PowTraits<T>::U Bits(T x) {
  typename PowTraits<T>::U u;
  std::memcpy(&u, &x, sizeof u);
  return u;
}

// Class of y: 0 not an integer, 1 odd integer, 2 even integer. |y| at or
// above 2^p is an even integer; below 1 (zero aside, which is tested before
// the class matters) it is not an integer. Otherwise the significand shifted
// left by the exponent plus one leaves the fraction bits in the word and the
// units bit at its top.
template <class T>
int ClassOf(T y) {
  using P = PowTraits<T>;
  using U = typename P::U;
  const U mag = Bits(y) & ~(U{1} << (P::kBits - 1));
  const int e = static_cast<int>(mag >> P::kMant) - P::kBias;
  if (e < 0) return 0;
  if (e >= P::kMant + 1) return 2;  // also infinity and NaN, tested elsewhere
  const U frac = (mag & ((U{1} << P::kMant) - 1)) << (P::kBits - P::kMant + e - 1);
  // frac: bit kBits-1 is the units bit when e > 0; for e = 0 the units bit
  // is the hidden one.
  if (e == 0) return (mag & ((U{1} << P::kMant) - 1)) != 0 ? 0 : 1;
  const U rest = frac << 1;
  if (rest != 0) return 0;
  return (frac >> (P::kBits - 1)) != 0 ? 1 : 2;
}

// Signed unit table, indexed by class & sign.
template <class T>
constexpr T kUnit[2] = {T(1), T(-1)};

// Single precision: the whole computation in double arithmetic on the
// library's logarithm and exponential tables. Every positive float is a
// normal double, x = 2^e z with z in [0.75, 1.5), c = k/512 the nearest grid
// point, t = (z - c)/c with |t| < 2^-9.5, and
//   log2 x = e + log2 c + log2(1 + t)   (a quartic in t, error below 2^-48),
// so y log2 x is known to better than 2^-40 relative while |y log2 x| < 200
// matters. 2^v = 2^(i/64) 2^(j/64) 2^f with f = v - (64 i + j)/64 in
// [-1/128, 1/128] and 2^f by its degree-4 Taylor polynomial (error below
// 2^-44). The double result is rounded once to single, which also forms a
// subnormal or an infinity with the right flags; the relative error before
// that rounding is near 2^-40, so results are correctly rounded except
// within 2^-16 ulp of a midpoint.
constexpr double kShift = 6755399441055744.0;  // 1.5 * 2^52: rounds to integers

inline double Exp2Double(double v) {
  v = v > 200 ? 200 : v;
  v = v < -200 ? -200 : v;
  const double kd = v * 64 + kShift;
  uint64_t kb;
  std::memcpy(&kb, &kd, sizeof kb);
  const int k = static_cast<int>(static_cast<int32_t>(static_cast<uint32_t>(kb)));
  const double f = v - (kd - kShift) * (1.0 / 64);
  constexpr double c1 = 0x1.62e42fefa39efp-1, c2 = 0x1.ebfbdff82c58fp-3, c3 = 0x1.c6b08d704a0cp-5,
                   c4 = 0x1.3b2ab6fba4e77p-7;
  const double p = f * (c1 + f * (c2 + f * (c3 + f * c4)));
  const auto& row = exp_data::dExp2[k & 63];
  const double m = row.hi + (row.lo + row.hi * p);
  const uint64_t scale = static_cast<uint64_t>(1023 + (k >> 6)) << 52;
  double sc;
  std::memcpy(&sc, &scale, sizeof sc);
  return m * sc;
}

inline double Log2Double(double x) {
  uint64_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  const uint64_t tmp = bits - 0x3FE8000000000000ull;
  const int e = static_cast<int>(static_cast<int64_t>(tmp) >> 52);
  const uint64_t zb = bits - (tmp & 0xFFF0000000000000ull);
  double z;
  std::memcpy(&z, &zb, sizeof z);
  const double kd = z * 512 + kShift;
  uint64_t kb;
  std::memcpy(&kb, &kd, sizeof kb);
  const int k = static_cast<int>(static_cast<uint32_t>(kb));
  const double* row = logdata::kLog2Grid[k - logdata::kGridFirst];
  const double t = (z - (kd - kShift) * (1.0 / 512)) * row[0];
  const double* L = logdata::kLog2Series;
  const double q = t * (L[0] + t * (L[1] + t * (L[2] + t * L[3])));
  return (e + row[1]) + (row[2] + q);
}

// x^y in extended precision for positive finite double x and finite y.
// x = 2^e m with m in [sqrt(1/2), sqrt(2)), so |log2 m| <= 1/2 and
//   y log2 x = y e + y log2 m,
// where y e is exact (53 by 11 bits) and p = y log2 m comes from one fyl2x
// with an error near 2^-64 |p|, much less than 2^-64 |y log2 x| when e is
// not zero. With n = rint(y e + p), the difference y e - n is exact (all its
// bits lie within 64 places) and f = (y e - n) + p is rounded once; 2^f by
// f2xm1 and the scaling by fscale. |y log2 x| is clamped where the result
// overflows or underflows any double.
inline long double PowExt(double x, double y) {
  uint64_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  int bias = 0;
  if (bits < 0x0010000000000000ull) {  // subnormal: scale by 2^64
    const double xs = x * 18446744073709551616.0;
    std::memcpy(&bits, &xs, sizeof bits);
    bias = 64;
  }
  // Exponent relative to sqrt(1/2): subtract the bits of 0x3FE6A09E667F3BCD.
  const uint64_t tmp = bits - 0x3FE6A09E667F3BCDull;
  const int e = static_cast<int>(static_cast<int64_t>(tmp) >> 52) + 0;
  const uint64_t mb = bits - (static_cast<uint64_t>(static_cast<int64_t>(e)) << 52);
  double m;
  std::memcpy(&m, &mb, sizeof m);
  const long double ly = y;
  const long double ye = ly * static_cast<long double>(e - bias);
  const long double p = x87log::Yl2x(static_cast<long double>(m), ly);
  long double s = ye + p;
  s = s > 20000.0L ? 20000.0L : s;
  s = s < -20000.0L ? -20000.0L : s;
  long double n;
  __asm__("frndint" : "=t"(n) : "0"(s));
  long double f = (ye - n) + p;
  if (f > 1.0L || f < -1.0L) f = 0;  // only where s was clamped
  long double q;
  __asm__("f2xm1" : "=t"(q) : "0"(f));
  q += 1.0L;
  long double r;
  __asm__("fscale" : "=t"(r) : "0"(q), "u"(n));
  return r;
}

// |x|^y for positive finite |x| (as ax) and finite y, with the sign sg;
// status 3 when the result overflows.
template <class T>
int General(T ax, T y, T sg, T* out) {
  if constexpr (sizeof(T) == 4) {
    const float r = static_cast<float>(Exp2Double(static_cast<double>(y) * Log2Double(ax)));
    *out = sg * r;
    return std::isinf(r) ? 3 : 0;
  }
  const T r = static_cast<T>(PowExt(ax, y));  // one rounding, subnormals included
  *out = sg * r;
  return std::isinf(r) ? 3 : 0;
}

// The scalar routine of Pow with the class of y given.
template <class T>
int PowScalar(T x, T y, int cls, T* out) {
  using P = PowTraits<T>;
  using U = typename P::U;
  const U mx = Bits(x) & ~(U{1} << (P::kBits - 1));
  const U my = Bits(y) & ~(U{1} << (P::kBits - 1));
  const int sx = static_cast<int>(Bits(x) >> (P::kBits - 1));
  const U inf = P::kExpMask;
  // x = +1 or y = 0: exactly 1, squaring a unit signed as x + y so that a
  // signaling NaN operand still raises the invalid flag.
  if (Bits(x) == Bits(T(1)) || my == 0) {
    const T u = std::copysign(T(1), x + y);
    *out = u * u;
    return 0;
  }
  if (mx > inf || my > inf) {
    *out = x + y;
    return 0;
  }
  const T sg = kUnit<T>[cls & sx];
  const bool y_neg = (Bits(y) >> (P::kBits - 1)) != 0;
  if (mx == 0) {
    if (!y_neg) {
      *out = sg * (x * x);
      return 0;
    }
    *out = sg / (x * x);
    return 1;
  }
  if (Bits(x) == Bits(T(-1)) && (cls != 0 || my == inf)) {
    *out = kUnit<T>[cls & 1];
    return 0;
  }
  if (mx < inf && my < inf) {
    if (sx && cls == 0) {
      const T z = x - x;  // 0, and 0/0 raises invalid
      *out = z / z;
      return 1;
    }
    return General<T>(std::fabs(x), y, sg, out);
  }
  if (my == inf) {
    const bool big = mx > Bits(T(1));  // |x| > 1, or x infinite
    *out = (big != y_neg) ? std::numeric_limits<T>::infinity() : T(0);
    return 0;
  }
  // x infinite, y finite.
  *out = sg * (y_neg ? T(0) : std::numeric_limits<T>::infinity());
  return 0;
}

// The scalar routine of Powr: exp(y ln x), x >= 0.
template <class T>
int PowrScalar(T x, T y, T* out) {
  using P = PowTraits<T>;
  using U = typename P::U;
  constexpr T kInf = std::numeric_limits<T>::infinity();
  const U mx = Bits(x) & ~(U{1} << (P::kBits - 1));
  const U my = Bits(y) & ~(U{1} << (P::kBits - 1));
  const U inf = P::kExpMask;
  if (mx > inf || my > inf) {
    *out = x + y;
    return 0;
  }
  const bool y_neg = (Bits(y) >> (P::kBits - 1)) != 0;
  auto invalid = [&] {
    const T z = x - x + (y - y);  // NaN already when an operand is infinite
    *out = (z - z) / (z - z);
    return 1;
  };
  if (mx != 0 && (Bits(x) >> (P::kBits - 1)) != 0) return invalid();
  if (mx == 0) {
    if (my == 0) return invalid();
    if (y_neg) {
      *out = T(1) / (x * x);
      *out = std::fabs(*out);
      return 2;
    }
    *out = T(0);
    return 0;
  }
  if (mx == inf) {
    if (my == 0) return invalid();
    *out = y_neg ? T(0) : kInf;
    return 0;
  }
  if (my == inf) {
    if (x == T(1)) return invalid();
    const bool big = x > T(1);
    *out = (big != y_neg) ? kInf : T(0);
    return 0;
  }
  if (my == 0 || x == T(1)) {
    *out = T(1);
    return 0;
  }
  return General<T>(x, y, T(1), out);
}

template <class T>
void Reported(int status, ptrdiff_t i, const T* a, const T* b, T* r, const char* name) {
  // The x87 state is saved around the reporter, so that a callback changing
  // the control word cannot lower the precision of the elements after it.
  x87log::WithSavedState([&] { Report(status, static_cast<int32_t>(i), a, b, r, r, name); });
}

// The common pair, x positive and finite, y finite and nonzero, goes to the
// general path at once (x = 1 gives exactly 1 there); one well-predicted
// test instead of the whole classification.
template <class T>
bool Ordinary(T x, T y) {
  using P = PowTraits<T>;
  using U = typename P::U;
  const U my = Bits(y) & ~(U{1} << (P::kBits - 1));
  return Bits(x) - 1 < P::kExpMask - 1 && my - 1 < P::kExpMask - 1;
}

template <class T>
void PowArrays(int n, const T* a, const T* b, T* r, const char* name) {
  Frame<X87Target::kExtended, MxcsrWay::kByMode> frame;
  for (ptrdiff_t i = 0; i < n; ++i) {
    const T x = a[i], y = b[i];
    T v;
    const int s =
        Ordinary(x, y) ? General<T>(x, y, T(1), &v) : PowScalar<T>(x, y, ClassOf<T>(y), &v);
    r[i] = v;
    if (s != 0) Reported<T>(s, i, a, b, r, name);
  }
}

template <class T>
void PowrArrays(int n, const T* a, const T* b, T* r, const char* name) {
  Frame<X87Target::kExtended, MxcsrWay::kByMode> frame;
  for (ptrdiff_t i = 0; i < n; ++i) {
    const T x = a[i], y = b[i];
    T v;
    const int s = Ordinary(x, y) ? General<T>(x, y, T(1), &v) : PowrScalar<T>(x, y, &v);
    r[i] = v;
    if (s != 0) Reported<T>(s, i, a, b, r, name);
  }
}

// Powx: y is classified once; a zero exponent (either sign) fills with 1.
// The reporter reads the second argument at the element's index, so it is
// given a base address at which that index lands on the scalar.
template <class T>
void PowxArrays(int n, const T* a, T y, T* r, const char* name) {
  if (n <= 0) return;
  using U = typename PowTraits<T>::U;
  if ((Bits(y) & ~(U{1} << (PowTraits<T>::kBits - 1))) == 0) {
    for (ptrdiff_t i = 0; i < n; ++i) r[i] = T(1);
    return;
  }
  const int cls = ClassOf<T>(y);
  Frame<X87Target::kExtended, MxcsrWay::kByMode> frame;
  for (ptrdiff_t i = 0; i < n; ++i) {
    T v;
    const T x = a[i];
    const int s = Ordinary(x, y) ? General<T>(x, y, T(1), &v) : PowScalar<T>(x, y, cls, &v);
    r[i] = v;
    if (s != 0) {
      const T* b = reinterpret_cast<const T*>(reinterpret_cast<uintptr_t>(&y) - i * sizeof(T));
      Reported<T>(s, i, a, b, r, name);
    }
  }
}

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

#define NEX_POW_KERNELS(t, T)                                                \
  extern "C" void nex_vtm_k_##t##Pow(int n, const T* a, const T* b, T* r) {  \
    PowArrays<T>(n, a, b, r, "v" #t "Pow");                                  \
  }                                                                          \
  extern "C" void nex_vtm_k_##t##Powr(int n, const T* a, const T* b, T* r) { \
    PowrArrays<T>(n, a, b, r, "v" #t "Powr");                                \
  }                                                                          \
  extern "C" void nex_vtm_k_##t##Powx(int n, const T* a, T b, T* r) {        \
    PowxArrays<T>(n, a, b, r, "v" #t "Powx");                                \
  }
NEX_POW_KERNELS(s, float)
NEX_POW_KERNELS(d, double)
