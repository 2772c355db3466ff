/* nex_core: BLAS-form services used by the kernels (symmetric rank-one and
 * rank-k updates, general matrix product). Column-major arguments exactly as
 * in the reference BLAS; characters select triangle and transposition.
 * Integers are the BLAS's 32-bit integers. */
#ifndef NEX_CORE_BLAS_H
#define NEX_CORE_BLAS_H

#include "nex_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* a := alpha*x*x^T + a, triangle `uplo` of the n by n matrix a. */
NEX_CORE_API void nex_serv_dsyr(char uplo, int n, double alpha, const double* x, int incx,
                                double* a, int lda);
NEX_CORE_API void nex_serv_ssyr(char uplo, int n, float alpha, const float* x, int incx, float* a,
                                int lda);

/* c := alpha*op(a)*op(a)^T + beta*c, op given by `trans` ('N': a is n by k,
 * 'T': a is k by n). */
NEX_CORE_API void nex_serv_dsyrk(char uplo, char trans, int n, int k, double alpha, const double* a,
                                 int lda, double beta, double* c, int ldc);
NEX_CORE_API void nex_serv_ssyrk(char uplo, char trans, int n, int k, float alpha, const float* a,
                                 int lda, float beta, float* c, int ldc);

/* c := alpha*op(a)*op(b) + beta*c with c m by n and inner dimension k. */
NEX_CORE_API void nex_serv_dgemm(char transa, char transb, int m, int n, int k, double alpha,
                                 const double* a, int lda, const double* b, int ldb, double beta,
                                 double* c, int ldc);
NEX_CORE_API void nex_serv_sgemm(char transa, char transb, int m, int n, int k, float alpha,
                                 const float* a, int lda, const float* b, int ldb, float beta,
                                 float* c, int ldc);

#ifdef __cplusplus
}
#endif

#endif /* NEX_CORE_BLAS_H */
