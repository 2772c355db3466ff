// Exp: e^x on the x87 unit, whose extra precision lets a short polynomial in
// a finely reduced argument reach full accuracy.
//
// sExp (x87 at 53 bits). t = x log2(e) + S with S = 1.5 * 2^17; stored as a
// single, t keeps m = round(64 x log2(e)) in its low bits (a single near 2^17
// steps by 1/64), and the x87 value less the stored single is the reduced
// argument r, |r| <= 1/128 (in units of log2). With j = m & 63 and
// k = m >> 6, e^x = 2^k 2^(j/64) 2^r, and 2^r is the monic quadratic
// p = r (r + C1) + C2 scaled by 1/C2, the scale folded into the table
// (T[j] = 2^(j/64) / C2, so C1/C2 = ln 2 and 1/C2 = ln(2)^2 / 2 up to the
// fit). 2^k is made from the bits of the single: (m + 0xFFC0) & 0x1FFC0,
// shifted left 14, is the high word of the double 2^k. One rounding to
// single by the final store. Max error 0.611 ulp over every single argument,
// for results just below a power of two (x = -0.00269372482), where the ulp halves
// and the quadratic's relative error of about 6e-9 counts double.
//
// dExp (x87 at 64 bits). m = round(2^14 x log2(e)) from a double near
// 1.5 * 2^38, r = x log2(e) - m / 2^14 with |r| <= 2^-15, and
// e^x = 2^k 2^(j2/32) 2^(j1/1024) 2^(j0/16384) 2^r from three tables of
// extended values (the last divided by D2) and the monic cubic
// p = ((r + D0) r + D1) r + D2. x log2(e) is formed as x * L1 + x * L2 with an
// 11-bit L1, so that x * L1 is exact in 64 bits and r carries no error from
// the size of x (a plain x * log2(e) loses up to 2^-54 near |x| = 709, a third
// of an ulp of the result). The result is rounded once, by the store, also
// when it is subnormal. Max error measured 0.502 ulp (x = -0.3202349709697927).
//
// Exceptional elements (overflow, underflow, infinities, NaN) are told by a
// test after each block and finished by a scalar routine that reports
// overflow (3) and underflow (4).
#include "vector_frame/report.hpp"
#include "vector_real/exp_data.hpp"
#include "vector_real/kernel_defs.hpp"
#include "vector_real/lane_bits.hpp"
#include "vector_real/x87.hpp"

namespace nex::vtm {
namespace {

namespace tab = exp_data;

// ---- single --------------------------------------------------------------------

constexpr long double kLog2e = 1.442695040888963407359924681001892137L;
constexpr long double kShiftS = 196608.0L;  // 1.5 * 2^17: steps of 1/64
const double kC1 = from_bits<double>(0x4007154FB6849716ull);
const double kC2 = from_bits<double>(0x4010A6A6C7C4AE3Aull);

constexpr uint32_t kSBig = 0x42AEAC4Fu;        // 87.33654: |x| from here is tested
constexpr uint32_t kSOverflow = 0x42B17218u;   // 88.722839
constexpr uint32_t kSZero = 0xC2CFF1B4u;       // -103.97208
constexpr uint32_t kSSubnormal = 0xC2AEAC4Fu;  // -87.33654

inline float SExpCore(float x) {
  const long double t = static_cast<long double>(x) * kLog2e + kShiftS;
  const float stored = static_cast<float>(t);
  const long double r = t - stored;
  const uint32_t b = to_bits(stored);
  const double scale =
      from_bits<double>(static_cast<uint64_t>(((b + 0xFFC0u) & 0x1FFC0u) << 14) << 32);
  const long double p = r * (r + kC1) + kC2;
  return static_cast<float>(tab::sExp[b & 63] * p * scale);
}

// The element's status, and its result where the computed one doesn't stand.
__attribute__((noinline)) int SExpSpecial(float x, float* y) {
  const int32_t ix = static_cast<int32_t>(to_bits(x));
  const uint32_t ax = static_cast<uint32_t>(ix) & 0x7FFFFFFFu;
  if (ax == 0x7F800000u) {
    *y = ix < 0 ? 0.0f : x;
    return VTM_STATUS_OK;
  }
  if (ax > 0x7F800000u) return VTM_STATUS_OK;
  if (ix >= static_cast<int32_t>(kSOverflow)) {
    *y = from_bits<float>(0x7F800000u);
    RaiseOverflow<float>();
    return VTM_STATUS_OVERFLOW;
  }
  if (ix < 0 && static_cast<uint32_t>(ix) > kSZero) {
    *y = 0.0f;
    RaiseUnderflow<float>();
    return VTM_STATUS_UNDERFLOW;
  }
  if (ix < 0 && static_cast<uint32_t>(ix) > kSSubnormal) return VTM_STATUS_UNDERFLOW;
  return VTM_STATUS_OK;
}

inline bool SExpTested(float x) {
  const uint32_t ax = to_bits(x) & 0x7FFFFFFFu;
  return ax >= kSBig && ax <= 0x7F800000u;
}

inline void SExpFinish(ptrdiff_t i, float x, const float* a, float* r) {
  float y = r[i];
  const int status = SExpSpecial(x, &y);
  r[i] = y;
  if (status != 0) ReportS(status, static_cast<int32_t>(i), a, a, r, r, "vsExp");
}

void SingleExp(int n, const float* a, float* r) {
  Frame<X87Target::kDouble, MxcsrWay::kFixed> frame;
  const ptrdiff_t m = n > 0 ? (n & ~3) : 0;
  const __m128i abs = _mm_set1_epi32(0x7FFFFFFF);
  const __m128i below = _mm_set1_epi32(static_cast<int>(kSBig - 1));
  const __m128i above = _mm_set1_epi32(0x7F800001);
  for (ptrdiff_t i = 0; i < m; i += 4) {
    const __m128 v = _mm_loadu_ps(a + i);
    // Lanes with kSBig <= |x| <= infinity (ordered and large).
    const __m128i ax = _mm_and_si128(_mm_castps_si128(v), abs);
    const int test = _mm_movemask_ps(
        _mm_castsi128_ps(_mm_and_si128(_mm_cmpgt_epi32(ax, below), _mm_cmplt_epi32(ax, above))));
    alignas(16) float x[4];
    _mm_store_ps(x, v);
    const float y0 = SExpCore(x[0]), y1 = SExpCore(x[1]);
    const float y2 = SExpCore(x[2]), y3 = SExpCore(x[3]);
    r[i] = y0;
    r[i + 1] = y1;
    r[i + 2] = y2;
    r[i + 3] = y3;
    if (__builtin_expect(test != 0, 0)) {
      for (int lane = 0; lane < 4; ++lane)
        if (test & (1 << lane)) SExpFinish(i + lane, x[lane], a, r);
    }
  }
  for (ptrdiff_t i = m; i < n; ++i) {
    const float x = a[i];
    r[i] = SExpCore(x);
    if (SExpTested(x)) SExpFinish(i, x, a, r);
  }
}

// ---- double --------------------------------------------------------------------

constexpr long double kShiftD = 412316860416.0L;  // 1.5 * 2^38: steps of 2^-14
const long double kD0 = LoadExt({0x8A7FAC5F0DF14283ull, 0x4001});
const long double kD1 = LoadExt({0xC7CFB95CAC480639ull, 0x4002});
const long double kD2 = LoadExt({0x90222B58DB3C8E05ull, 0x4003});

constexpr uint32_t kDBigHigh = 0x4086232Bu;                           // |x| from 708.39 is tested
const double kDOverflow = from_bits<double>(0x40862E42FEFA39F0ull);   // 709.78271289338
const double kDZero = from_bits<double>(0xC0874910D52D3052ull);       // -745.13321910194
const double kDSubnormal = from_bits<double>(0xC086232BDD7ABCD3ull);  // -708.39641853226

// The core of dExp; kWide builds 2^k as an extended value, for the scalar
// routine whose k goes below the double range, and the block path uses a
// double 2^k (|k| <= 1022 there).
template <bool kWide = false>
inline double DExpCore(double x) {
  const long double xl = x;
  const long double th = xl * LoadExt(tab::kLog2eHi);  // exact
  const long double tl = xl * LoadExt(tab::kLog2eLo);
  const double y = static_cast<double>((th + tl) + kShiftD);
  const long double r = (th - (static_cast<long double>(y) - kShiftD)) + tl;
  const int32_t m = static_cast<int32_t>(static_cast<uint32_t>(to_bits(y)));
  const long double p = ((r + kD0) * r + kD1) * r + kD2;
  auto Scale = [](int32_t k) -> long double {
    if constexpr (kWide) {
      return Pow2Ext(k);
    } else {
      return from_bits<double>(static_cast<uint64_t>(k + 1023) << 52);
    }
  };
  return static_cast<double>(p * LoadExt(tab::dExpLow[m & 15]) *
                             LoadExt(tab::dExpMiddle[(m >> 4) & 31]) *
                             LoadExt(tab::dExpHigh[(m >> 9) & 31]) * Scale(m >> 14));
}

__attribute__((noinline)) int DExpScalar(double x, double* y) {
  if (x != x) {
    *y = x + x;
    return VTM_STATUS_OK;
  }
  const double inf = from_bits<double>(0x7FF0000000000000ull);
  if (x == inf || x == -inf) {
    *y = x > 0 ? x : 0.0;
    return VTM_STATUS_OK;
  }
  if (x > kDOverflow) {
    *y = inf;
    RaiseOverflow<double>();
    return VTM_STATUS_OVERFLOW;
  }
  if (x < kDZero) {
    *y = 0.0;
    RaiseUnderflow<double>();
    return VTM_STATUS_UNDERFLOW;
  }
  *y = DExpCore<true>(x);
  // The limit itself rounds to infinity: reported as the overflow it is.
  if (*y == inf) return VTM_STATUS_OVERFLOW;
  return x < kDSubnormal ? VTM_STATUS_UNDERFLOW : VTM_STATUS_OK;
}

inline uint32_t AbsHigh(double x) {
  return static_cast<uint32_t>(to_bits(x) >> 32) & 0x7FFFFFFFu;
}

inline void DExpOne(ptrdiff_t i, double x, const double* a, double* r) {
  double y;
  const int status = DExpScalar(x, &y);
  r[i] = y;
  if (status != 0) ReportD(status, static_cast<int32_t>(i), a, a, r, r, "vdExp");
}

void DoubleExp(int n, const double* a, double* r) {
  Frame<X87Target::kExtended, MxcsrWay::kFixed> frame;
  const ptrdiff_t m = n > 0 ? (n & ~1) : 0;
  for (ptrdiff_t i = 0; i < m; i += 2) {
    const double x0 = a[i], x1 = a[i + 1];
    if (__builtin_expect(AbsHigh(x0) >= kDBigHigh || AbsHigh(x1) >= kDBigHigh, 0)) {
      DExpOne(i, x0, a, r);
      DExpOne(i + 1, x1, a, r);
      continue;
    }
    const double y0 = DExpCore(x0), y1 = DExpCore(x1);
    r[i] = y0;
    r[i + 1] = y1;
  }
  for (ptrdiff_t i = m; i < n; ++i) {
    const double x = a[i];
    if (AbsHigh(x) >= kDBigHigh) {
      DExpOne(i, x, a, r);
    } else {
      r[i] = DExpCore(x);
    }
  }
}

}  // namespace
}  // namespace nex::vtm

extern "C" void nex_vtm_k_sExp(int n, const float* a, float* r) {
  nex::vtm::SingleExp(n, a, r);
}
extern "C" void nex_vtm_k_dExp(int n, const double* a, double* r) {
  nex::vtm::DoubleExp(n, a, r);
}
