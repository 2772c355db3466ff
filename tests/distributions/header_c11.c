/* The distribution and triangular-multiply headers compile as plain C. */
#include "nex_core_trmm.h"
#include "nex_rng_dist.h"

int nex_dist_header_c11(void) {
  return (int)sizeof(&_vrsiRngUniformBits64) + (int)sizeof(&nex_blas4vtm_dptrmm);
}
