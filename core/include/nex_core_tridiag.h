/* Tridiagonal solvers without pivoting, for many right-hand sides.
 *
 * The system has sub-diagonal dl[0..n-2], diagonal d[0..n-1] and
 * super-diagonal du[0..n-2]. Arguments are passed by reference in the
 * LAPACK manner; right-hand sides are columns of b with leading dimension
 * ldb >= n. `info` is 0 on success, -k when argument k is invalid, and
 * k > 0 when the k-th pivot (1-based) of the elimination is zero.
 *
 * Without pivoting the factorisation is stable for diagonally dominant
 * systems, which is what spline construction produces. */
#ifndef NEX_CORE_TRIDIAG_H
#define NEX_CORE_TRIDIAG_H

#include <stdint.h>

#include "nex_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A = L U with L unit lower bidiagonal (multipliers stored over dl) and U
 * upper bidiagonal (pivots over d, du unchanged). */
NEX_CORE_API void ddttrfb_4dfl(const int64_t* n, double* dl, double* d, double* du, int64_t* info);
NEX_CORE_API void sdttrfb_4dfl(const int64_t* n, float* dl, float* d, float* du, int64_t* info);

/* Solves A X = B ('N') or A^T X = B ('T' or 'C') with the factors of
 * ?dttrfb_4dfl; B is overwritten by X. */
NEX_CORE_API void ddttrsb_4dfl(const char* trans, const int64_t* n, const int64_t* nrhs,
                               const double* dl, const double* d, const double* du, double* b,
                               const int64_t* ldb, int64_t* info);
NEX_CORE_API void sdttrsb_4dfl(const char* trans, const int64_t* n, const int64_t* nrhs,
                               const float* dl, const float* d, const float* du, float* b,
                               const int64_t* ldb, int64_t* info);

/* Factorises and solves A X = B in one call; the factors replace dl, d. */
NEX_CORE_API void ddtsvb_4dfl(const int64_t* n, const int64_t* nrhs, double* dl, double* d,
                              double* du, double* b, const int64_t* ldb, int64_t* info);
NEX_CORE_API void sdtsvb_4dfl(const int64_t* n, const int64_t* nrhs, float* dl, float* d, float* du,
                              float* b, const int64_t* ldb, int64_t* info);

#ifdef __cplusplus
}
#endif

#endif /* NEX_CORE_TRIDIAG_H */
