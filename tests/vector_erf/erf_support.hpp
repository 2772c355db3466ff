// The error function kernels as a list the tests walk: each with its MPFR
// reference, the interval where its results are ordinary numbers and the
// argument from which (for Erfc and CdfNorm) the result leaves the normal
// range.
#pragma once

#include <mpfr.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "support/accuracy.hpp"
#include "vector_frame/kernels.hpp"

namespace nex::test {

template <class T>
using Kernel1 = void (*)(int, const T*, T*);

// The reference values at 96 bits, 43 beyond a double's: plenty to measure
// errors near half an ulp, and far quicker than the tester's default width
// for erf and erfc of moderate arguments, whose series MPFR runs at a
// precision growing with x^2.
inline constexpr mpfr_prec_t kErfReferenceBits = 96;
template <int (*F)(mpfr_ptr, mpfr_srcptr, mpfr_rnd_t)>
int At96Bits(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  mpfr_t t;
  mpfr_init2(t, kErfReferenceBits);
  F(t, x, MPFR_RNDN);
  const int inexact = mpfr_set(r, t, rnd);
  mpfr_clear(t);
  return inexact;
}

// Phi(x) = erfc(-x / sqrt 2) / 2 with enough guard bits that the rounding of
// -x / sqrt 2 (magnified by up to x^2 ~ 1500 through exp(-x^2 / 2)) stays far
// below the reference's own width.
inline int MpfrCdfNorm(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  const mpfr_prec_t p = kErfReferenceBits + 16;
  mpfr_t z, s;
  mpfr_init2(z, p);
  mpfr_init2(s, p);
  mpfr_sqrt_ui(s, 2, MPFR_RNDN);
  mpfr_div(z, x, s, MPFR_RNDN);
  mpfr_neg(z, z, MPFR_RNDN);
  mpfr_erfc(z, z, MPFR_RNDN);
  const int t = mpfr_div_2ui(r, z, 1, rnd);
  mpfr_clear(z);
  mpfr_clear(s);
  return t;
}

template <class T>
struct ErfFunction {
  std::string name;
  Kernel1<T> kernel;
  accuracy::MpfrUnary reference;
  T lo, hi;      // the results are ordinary numbers within [lo, hi]
  bool reports;  // reports underflow (4) for results below the least normal
};

template <class T>
std::vector<ErfFunction<T>> ErfFunctions();

template <>
inline std::vector<ErfFunction<float>> ErfFunctions<float>() {
  return {{"sErf", nex_vtm_k_sErf, At96Bits<mpfr_erf>, -5.0f, 5.0f, false},
          {"sErfc", nex_vtm_k_sErfc, At96Bits<mpfr_erfc>, -5.0f, 10.2f, true},
          {"sCdfNorm", nex_vtm_k_sCdfNorm, MpfrCdfNorm, -14.3f, 7.0f, true}};
}
template <>
inline std::vector<ErfFunction<double>> ErfFunctions<double>() {
  return {{"dErf", nex_vtm_k_dErf, At96Bits<mpfr_erf>, -6.5, 6.5, false},
          {"dErfc", nex_vtm_k_dErfc, At96Bits<mpfr_erfc>, -6.5, 27.3, true},
          {"dCdfNorm", nex_vtm_k_dCdfNorm, MpfrCdfNorm, -38.6, 9.5, true}};
}

// Underflow (4) for a finite argument whose exact result is below the least
// normal number; nothing else is reported.
template <class T, bool kReports>
int ExpectedStatus(T a, mpfr_srcptr exact) {
  if (!kReports || !std::isfinite(a)) return 0;
  accuracy::Big m;
  accuracy::SetExact(m.get(), std::numeric_limits<T>::min());
  return mpfr_cmpabs(exact, m.get()) < 0 ? VTM_STATUS_UNDERFLOW : 0;
}

template <class T>
accuracy::ExpectedStatus1<T> ExpectedFor(const ErfFunction<T>& f) {
  return f.reports ? ExpectedStatus<T, true> : ExpectedStatus<T, false>;
}

}  // namespace nex::test
