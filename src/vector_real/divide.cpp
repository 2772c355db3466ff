// Inv and Div: correctly rounded IEEE quotients, with a pole report
// (status 2) for a zero divisor.
//
// Single precision works in blocks of 4: the zero mask of a block is taken
// before its results are stored, and each flagged lane is tested again on
// the input array after the store. A call whose result array is its input
// array therefore finds the stored infinity there and reports nothing; that
// order is kept on purpose. Double precision is a scalar loop.
//
// The two types differ on purpose at inf/0: sDiv reports every zero divisor
// unless a is a NaN (so 0/0 and inf/0 report), while dDiv leaves any
// operand with an all-ones exponent to the plain division without a report
// (so inf/0 does not report, 0/0 does).
#include "vector_frame/report.hpp"
#include "vector_real/kernel_defs.hpp"

namespace nex::vtm {
namespace {

constexpr uint32_t kInfBits = 0x7F800000u;

inline bool IsZero(float x) {
  return (x < 0 ? -x : x) == 0.0f;
}

inline uint32_t AbsBits(float x) {
  return to_bits(x) & 0x7FFFFFFFu;
}

// sDiv reports when |b| is zero and |a| is not a NaN.
inline bool DivReports(float a, float b) {
  return IsZero(b) && AbsBits(a) <= kInfBits;
}

// Walks lanes of `mask` from low to high and reports those that `reports`
// still finds exceptional on the arrays after the store.
template <class Test, class Rep>
inline void ReportLanes(int mask, ptrdiff_t base, Test reports, Rep report) {
  while (mask != 0) {
    const int lane = __builtin_ctz(static_cast<unsigned>(mask));
    mask &= mask - 1;
    if (reports(base + lane)) report(base + lane);
  }
}

using X = X87Target;
using M = MxcsrWay;

// sInv (kInv, the numerator 1 and the divisor a) and sDiv.
template <bool kInv>
void SingleQuotient(int n, const float* a, const float* b, float* r) {
  Frame<X::kMasked, M::kByMode> frame;
  if (n <= 0) return;
  const float* den = kInv ? a : b;
  const char* name = kInv ? "vsInv" : "vsDiv";
  const __m128 one = _mm_set1_ps(1.0f), abs = Simd<float>::bits(0x7FFFFFFFu);
  const __m128 zero = _mm_setzero_ps();
  auto reports = [&](ptrdiff_t i) { return kInv ? IsZero(a[i]) : DivReports(a[i], b[i]); };
  auto report = [&](ptrdiff_t i) {
    ReportS(VTM_STATUS_SINGULARITY, static_cast<int32_t>(i), a, den, r, r, name);
  };
  const ptrdiff_t m = n & ~3;
  for (ptrdiff_t i = 0; i < m; i += 4) {
    const __m128 x = kInv ? one : _mm_loadu_ps(a + i), y = _mm_loadu_ps(den + i);
    const int mask = _mm_movemask_ps(_mm_cmpeq_ps(_mm_and_ps(y, abs), zero));
    _mm_storeu_ps(r + i, _mm_div_ps(x, y));
    if (__builtin_expect(mask != 0, 0)) ReportLanes(mask, i, reports, report);
  }
  for (ptrdiff_t i = m; i < n; ++i) {
    r[i] = (kInv ? 1.0f : a[i]) / den[i];
    if (reports(i)) report(i);
  }
}

// dInv tests the divisor's bits for zero; dDiv leaves operands with an
// all-ones exponent to the plain division and reports other zero divisors.
template <bool kInv>
void DoubleQuotient(int n, const double* a, const double* b, double* r) {
  Frame<X::kDouble, M::kKeepRounding> frame;
  constexpr uint64_t kExp = Simd<double>::kExpMask;
  const double* den = kInv ? a : b;
  const char* name = kInv ? "vdInv" : "vdDiv";
  for (ptrdiff_t i = 0; i < n; ++i) {
    const double x = kInv ? 1.0 : a[i], y = den[i];
    bool pole;
    if constexpr (kInv) {
      pole = (to_bits(y) & Simd<double>::kAbs) == 0;
    } else {
      pole = (to_bits(x) & kExp) != kExp && (to_bits(y) & kExp) != kExp && y == 0.0;
    }
    r[i] = x / y;
    if (__builtin_expect(pole, 0)) {
      ReportD(VTM_STATUS_SINGULARITY, static_cast<int32_t>(i), a, den, r, r, name);
    }
  }
}

}  // namespace
}  // namespace nex::vtm

using namespace nex::vtm;

extern "C" void nex_vtm_k_sInv(int n, const float* a, float* r) {
  SingleQuotient<true>(n, a, nullptr, r);
}
extern "C" void nex_vtm_k_sDiv(int n, const float* a, const float* b, float* r) {
  SingleQuotient<false>(n, a, b, r);
}
extern "C" void nex_vtm_k_dInv(int n, const double* a, double* r) {
  DoubleQuotient<true>(n, a, nullptr, r);
}
extern "C" void nex_vtm_k_dDiv(int n, const double* a, const double* b, double* r) {
  DoubleQuotient<false>(n, a, b, r);
}
