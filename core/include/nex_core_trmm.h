/* nex_core: triangular matrix multiplies for the multivariate Gaussian.
 *
 * All three compute B := alpha * op(A) * B (side 'L') or B := alpha * B * op(A)
 * (side 'R'), with A triangular ('U' upper or 'L' lower), op(A) = A ('N') or
 * A^T ('T', also 'C'), and a unit ('U') or stored ('N') diagonal. B is m by n
 * with leading dimension ldb, column-major. Every argument is passed by
 * address, as in the Fortran BLAS. Letters are accepted in either case; an
 * unknown letter or a leading dimension that is too small leaves B alone.
 *
 *   nex_blas_xdtrmm_4vtm, nex_blas_xstrmm_4vtm: full storage, written for
 *       small triangles (order 10 or less), no call into the BLAS.
 *   nex_blas4vtm_dtrmm, nex_blas4vtm_strmm: full storage, the BLAS's trmm.
 *   nex_blas4vtm_dptrmm, nex_blas4vtm_sptrmm: packed storage (no lda). The
 *       triangle of order k (k = m for side 'L', n for side 'R') is packed by
 *       columns as in the BLAS packed forms: for 'U' element (i, j), i <= j,
 *       at ap[i + j(j+1)/2]; for 'L' element (i, j), i >= j, at
 *       ap[i + j(2k-j-1)/2] (zero-based). */
#ifndef NEX_CORE_TRMM_H
#define NEX_CORE_TRMM_H

#include "nex_core.h"

#ifdef __cplusplus
extern "C" {
#endif

#define NEX_CORE_TRMM_ARGS(T)                                                                  \
  const char *side, const char *uplo, const char *transa, const char *diag, const int *m,      \
      const int *n, const T *alpha, const T *a, const int *lda, T *b, const int *ldb
#define NEX_CORE_PTRMM_ARGS(T)                                                                 \
  const char *side, const char *uplo, const char *transa, const char *diag, const int *m,      \
      const int *n, const T *alpha, const T *ap, T *b, const int *ldb

NEX_CORE_API void nex_blas_xdtrmm_4vtm(NEX_CORE_TRMM_ARGS(double));
NEX_CORE_API void nex_blas_xstrmm_4vtm(NEX_CORE_TRMM_ARGS(float));
NEX_CORE_API void nex_blas4vtm_dtrmm(NEX_CORE_TRMM_ARGS(double));
NEX_CORE_API void nex_blas4vtm_strmm(NEX_CORE_TRMM_ARGS(float));
NEX_CORE_API void nex_blas4vtm_dptrmm(NEX_CORE_PTRMM_ARGS(double));
NEX_CORE_API void nex_blas4vtm_sptrmm(NEX_CORE_PTRMM_ARGS(float));

#ifdef __cplusplus
}
#endif

#endif /* NEX_CORE_TRMM_H */
