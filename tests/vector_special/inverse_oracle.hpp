// Exact values of the inverse error functions for the accuracy tester.
// MPFR has erf and erfc but no inverse, so the value is the root y of
// erf(y) = p or of ln erfc(y) = ln q, found by Newton's method at 256 bits
// from a seed of the normal quantile of GSL (an independent implementation
// accurate to about 1e-15, so three or four steps settle the root, each
// doubling the correct bits) at 128 bits, well beyond the 2 x 53 + a few
// bits that an ulp measurement of a double needs. The
// arguments are reduced exactly to a pair p = 1 - q with 0 <= p < 1:
//   erfinv(x)     = sign(x) y(|x|, 1 - |x|)
//   erfcinv(q)    = y(1 - q, q) for q <= 1, -y(q - 1, 2 - q) above
//   cdfnorminv(p) = -sqrt(2) erfcinv(2p)
// The root is found from erf for p < 1/2 (ln erfc(y) would need more bits
// than the working precision for tiny y) and from ln erfc otherwise, where q
// is small and erf(y) would round to 1.
#pragma once

#include <gmp.h>
#include <gsl/gsl_cdf.h>
#include <mpfr.h>

#include <cmath>

#include "support/accuracy.hpp"

namespace nex::special_test {

inline constexpr mpfr_prec_t kWorkBits = 128;

class Work {
 public:
  Work() { mpfr_init2(v_, kWorkBits); }
  ~Work() { mpfr_clear(v_); }
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;
  operator mpfr_ptr() { return v_; }  // NOLINT: used as an mpfr_t

 private:
  mpfr_t v_;
};

// y >= 0 with erf(y) = p (p < 1/2) or erfc(y) = q, where p = 1 - q exactly.
inline void SolvePair(mpfr_ptr y, mpfr_ptr p, mpfr_ptr q) {
  Work f, d, t, target, step;
  const double qd = mpfr_get_d(q, MPFR_RNDN), pd = mpfr_get_d(p, MPFR_RNDN);
  const bool by_erf = mpfr_cmp_d(p, 0.5) < 0;
  if (mpfr_zero_p(p)) {
    mpfr_set_zero(y, 1);
    return;
  }
  // Seed: erfcinv(q) = -Pinv(q / 2) / sqrt(2); near zero the slope alone.
  const double half_q = qd / 2 > 0 ? qd / 2 : 4.9406564584124654e-324;
  const double seed =
      by_erf && pd < 1e-6 ? pd * 0.886226925452758 : -gsl_cdf_ugaussian_Pinv(half_q) / M_SQRT2;
  mpfr_set_d(y, seed, MPFR_RNDN);
  if (by_erf) {
    mpfr_set(target, p, MPFR_RNDN);
  } else {
    mpfr_log(target, q, MPFR_RNDN);
  }
  for (int it = 0; it < 12; ++it) {
    // d = 2 exp(-y^2) / sqrt(pi), the derivative of erf.
    mpfr_sqr(t, y, MPFR_RNDN);
    mpfr_neg(t, t, MPFR_RNDN);
    mpfr_exp(d, t, MPFR_RNDN);
    mpfr_const_pi(t, MPFR_RNDN);
    mpfr_sqrt(t, t, MPFR_RNDN);
    mpfr_div(d, d, t, MPFR_RNDN);
    mpfr_mul_2ui(d, d, 1, MPFR_RNDN);
    if (by_erf) {
      mpfr_erf(f, y, MPFR_RNDN);
    } else {
      // F = ln erfc(y), F' = -d / erfc(y)
      mpfr_erfc(t, y, MPFR_RNDN);
      mpfr_div(d, d, t, MPFR_RNDN);
      mpfr_neg(d, d, MPFR_RNDN);
      mpfr_log(f, t, MPFR_RNDN);
    }
    mpfr_sub(f, f, target, MPFR_RNDN);
    mpfr_div(step, f, d, MPFR_RNDN);
    mpfr_sub(y, y, step, MPFR_RNDN);
    // Newton's error after a step of relative size s is about c s^2 with
    // c below 30 here, so a step below 2^-62 of y leaves an error near
    // 2^-119: far below what an ulp of a double resolves.
    if (mpfr_zero_p(step) || mpfr_get_exp(step) < mpfr_get_exp(y) - 62) break;
  }
}

// The three functions as MPFR-style references of one argument.
inline int ErfcInvExact(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x) || mpfr_cmp_ui(x, 0) < 0 || mpfr_cmp_ui(x, 2) > 0) {
    mpfr_set_nan(r);
    return 0;
  }
  if (mpfr_zero_p(x)) return mpfr_set_inf(r, 1), 0;
  if (mpfr_cmp_ui(x, 2) == 0) return mpfr_set_inf(r, -1), 0;
  Work p, q, y;
  const bool upper = mpfr_cmp_ui(x, 1) > 0;
  if (upper) {
    mpfr_ui_sub(q, 2, x, MPFR_RNDN);
  } else {
    mpfr_set(q, x, MPFR_RNDN);
  }
  mpfr_ui_sub(p, 1, q, MPFR_RNDN);
  SolvePair(y, p, q);
  if (upper) mpfr_neg(y, y, MPFR_RNDN);
  return mpfr_set(r, y, rnd);
}

inline int ErfInvExact(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x) || mpfr_cmpabs_ui(x, 1) > 0) {
    mpfr_set_nan(r);
    return 0;
  }
  if (mpfr_zero_p(x)) return mpfr_set(r, x, rnd);
  if (mpfr_cmpabs_ui(x, 1) == 0) return mpfr_set_inf(r, mpfr_sgn(x)), 0;
  Work p, q, y;
  mpfr_abs(p, x, MPFR_RNDN);
  mpfr_ui_sub(q, 1, p, MPFR_RNDN);
  SolvePair(y, p, q);
  if (mpfr_sgn(x) < 0) mpfr_neg(y, y, MPFR_RNDN);
  return mpfr_set(r, y, rnd);
}

inline int CdfNormInvExact(mpfr_ptr r, mpfr_srcptr x, mpfr_rnd_t rnd) {
  if (mpfr_nan_p(x) || mpfr_cmp_ui(x, 0) < 0 || mpfr_cmp_ui(x, 1) > 0) {
    mpfr_set_nan(r);
    return 0;
  }
  Work q, y, s;
  mpfr_mul_2ui(q, x, 1, MPFR_RNDN);
  ErfcInvExact(y, q, MPFR_RNDN);
  if (mpfr_zero_p(y)) return mpfr_set_zero(r, 1), 0;
  mpfr_sqrt_ui(s, 2, MPFR_RNDN);
  mpfr_mul(y, y, s, MPFR_RNDN);
  mpfr_neg(y, y, MPFR_RNDN);
  return mpfr_set(r, y, rnd);
}

// The status each element should report: 2 where the exact value is an
// infinity, 1 where it is a NaN for an argument that is not one.
template <class T>
int ExpectedStatus(T a, mpfr_srcptr exact) {
  if (mpfr_inf_p(exact)) return 2;
  if (mpfr_nan_p(exact) && !std::isnan(a)) return 1;
  return 0;
}

}  // namespace nex::special_test
