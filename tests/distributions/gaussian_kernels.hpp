// Stand-in vector kernels for the Gaussian bodies, on the C library (and the
// GSL's normal quantile for the inverse error function). They report
// exceptional elements as the library's reporters do: the result is stored
// first, then the record is filled with the argument read back from the
// argument array, and the thread's call-back may replace the result.
#pragma once

#include <gsl/gsl_cdf.h>

#include <cmath>
#include <cstdint>
#include <limits>

#include "distributions/gaussian_body.hpp"
#include "vector_frame/thread_state.hpp"

namespace dist_test {

template <class T>
void Report(int32_t code, int i, const T* a, T* r) {
  if ((nex_vtm_kernel_GetMode() & VTM_ERRMODE_CALLBACK) == 0) return;
  const VtmErrorCallBack cb = nex::vtm::GetThreadState()->err_callback;
  if (cb == nullptr) return;
  VtmErrorRecord rec{};
  rec.code = code;
  rec.index = i;
  rec.a1 = rec.a2 = a[i];
  rec.r1 = rec.r2 = r[i];
  if (cb(&rec) == 0) r[i] = static_cast<T>(rec.r1);
}

template <class T>
void Ln(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) {
    const T x = a[i];
    r[i] = std::log(x);
    if (x == T(0))
      Report<T>(VTM_STATUS_SINGULARITY, i, a, r);
    else if (x < T(0))
      Report<T>(VTM_STATUS_DOMAIN, i, a, r);
  }
}

// erfinv(v) = Phi^-1((1 + v) / 2) / sqrt(2), from the end nearer to v so that
// 1 - |v| is exact.
template <class T>
void ErfInv(int n, const T* a, T* r) {
  for (int i = 0; i < n; ++i) {
    const double v = a[i];
    if (std::fabs(v) == 1.0) {
      r[i] = v > 0 ? std::numeric_limits<T>::infinity() : -std::numeric_limits<T>::infinity();
      Report<T>(VTM_STATUS_SINGULARITY, i, a, r);
    } else if (std::fabs(v) > 1.0) {
      r[i] = std::numeric_limits<T>::quiet_NaN();
      Report<T>(VTM_STATUS_DOMAIN, i, a, r);
    } else {
      const double q = gsl_cdf_ugaussian_Pinv((1.0 - std::fabs(v)) / 2.0) / std::sqrt(2.0);
      r[i] = static_cast<T>(v > 0 ? -q : q);
    }
  }
}

#define DIST_TEST_LOOP(Name, expr)           \
  template <class T>                         \
  void Name(int n, const T* a, T* r) {       \
    for (int i = 0; i < n; ++i) r[i] = expr; \
  }
DIST_TEST_LOOP(Sin, std::sin(a[i]))
DIST_TEST_LOOP(Cos, std::cos(a[i]))
DIST_TEST_LOOP(Sqrt, std::sqrt(a[i]))
DIST_TEST_LOOP(Exp, std::exp(a[i]))
#undef DIST_TEST_LOOP

template <class T>
void SinCos(int n, const T* a, T* s, T* c) {
  for (int i = 0; i < n; ++i) {
    const T x = a[i];
    s[i] = std::sin(x);
    c[i] = std::cos(x);
  }
}

template <class T>
const nex::dist::GaussianKernels<T>& Kernels() {
  static const nex::dist::GaussianKernels<T> k = {Sin<T>, Ln<T>, Sqrt<T>, SinCos<T>, Sin<T>,
                                                  Cos<T>, Ln<T>, Sqrt<T>, ErfInv<T>, Exp<T>};
  return k;
}

}  // namespace dist_test
