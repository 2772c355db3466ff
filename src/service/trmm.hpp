// Kernel-side view of the triangular multiplies of the service library: one
// overload per element type, so that the multivariate Gaussian is written once
// for both precisions. Arguments by address, as the BLAS takes them.
#pragma once

#include "nex_core_trmm.h"

namespace nex::service::trmm {

#define NEX_TRMM_FORWARD(name, T, target, ARGS, ...) \
  inline void name(ARGS(T)) {                        \
    target(__VA_ARGS__);                             \
  }
#define NEX_TRMM_FULL_CALL side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb
#define NEX_TRMM_PACKED_CALL side, uplo, transa, diag, m, n, alpha, ap, b, ldb

// Full storage, tuned for orders of 10 or less.
NEX_TRMM_FORWARD(small, double, nex_blas_xdtrmm_4vtm, NEX_CORE_TRMM_ARGS, NEX_TRMM_FULL_CALL)
NEX_TRMM_FORWARD(small, float, nex_blas_xstrmm_4vtm, NEX_CORE_TRMM_ARGS, NEX_TRMM_FULL_CALL)
// Full storage over the BLAS.
NEX_TRMM_FORWARD(full, double, nex_blas4vtm_dtrmm, NEX_CORE_TRMM_ARGS, NEX_TRMM_FULL_CALL)
NEX_TRMM_FORWARD(full, float, nex_blas4vtm_strmm, NEX_CORE_TRMM_ARGS, NEX_TRMM_FULL_CALL)
// Packed storage.
NEX_TRMM_FORWARD(packed, double, nex_blas4vtm_dptrmm, NEX_CORE_PTRMM_ARGS, NEX_TRMM_PACKED_CALL)
NEX_TRMM_FORWARD(packed, float, nex_blas4vtm_sptrmm, NEX_CORE_PTRMM_ARGS, NEX_TRMM_PACKED_CALL)

#undef NEX_TRMM_FORWARD
#undef NEX_TRMM_FULL_CALL
#undef NEX_TRMM_PACKED_CALL

}  // namespace nex::service::trmm
