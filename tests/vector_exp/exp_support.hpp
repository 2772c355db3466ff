// The exponential kernels as a list the tests walk: each function with its
// MPFR reference and its domain (the arguments beyond which the result is
// infinite or below the least subnormal), so a test is written once for all.
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

template <class T>
struct ExpFunction {
  std::string name;
  Kernel1<T> kernel;
  accuracy::MpfrUnary reference;
  T overflow;   // a little beyond the first argument with an infinite result
  T underflow;  // a little below the last argument with a nonzero result (or -1 for Expm1)
  bool reports_underflow;
};

template <class T>
std::vector<ExpFunction<T>> ExpFunctions();

template <>
inline std::vector<ExpFunction<float>> ExpFunctions<float>() {
  return {{"sExp", nex_vtm_k_sExp, mpfr_exp, 89.5f, -105.0f, true},
          {"sExp2", nex_vtm_k_sExp2, mpfr_exp2, 129.0f, -151.0f, true},
          {"sExp10", nex_vtm_k_sExp10, mpfr_exp10, 39.0f, -46.0f, true},
          {"sExpm1", nex_vtm_k_sExpm1, mpfr_expm1, 89.5f, -50.0f, false}};
}
template <>
inline std::vector<ExpFunction<double>> ExpFunctions<double>() {
  return {{"dExp", nex_vtm_k_dExp, mpfr_exp, 710.5, -746.0, true},
          {"dExp2", nex_vtm_k_dExp2, mpfr_exp2, 1025.0, -1076.0, true},
          {"dExp10", nex_vtm_k_dExp10, mpfr_exp10, 309.0, -324.5, true},
          {"dExpm1", nex_vtm_k_dExpm1, mpfr_expm1, 710.5, -50.0, false}};
}

// The status an element should report, from its argument and exact value:
// overflow (3) for a finite argument with an infinite rounded result,
// underflow (4) for a result below the least normal number where the
// function reports it.
template <class T, bool kReportsUnderflow>
int ExpectedStatus(T a, mpfr_srcptr exact) {
  if (!std::isfinite(a)) return 0;
  const T cr = accuracy::CorrectlyRounded<T>(exact);
  if (std::isinf(cr)) return VTM_STATUS_OVERFLOW;
  if (kReportsUnderflow && std::fabs(cr) < std::numeric_limits<T>::min()) {
    // Below the least normal as an exact value.
    accuracy::Big m;
    accuracy::SetExact(m.get(), std::numeric_limits<T>::min());
    if (mpfr_cmpabs(exact, m.get()) < 0) return VTM_STATUS_UNDERFLOW;
  }
  return 0;
}

template <class T>
accuracy::ExpectedStatus1<T> ExpectedFor(const ExpFunction<T>& f) {
  return f.reports_underflow ? ExpectedStatus<T, true> : ExpectedStatus<T, false>;
}

}  // namespace nex::test
