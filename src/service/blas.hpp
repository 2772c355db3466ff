// Kernel-side view of the BLAS-form services: one overload set per operation
// so that templates over the element type pick the s or d routine.
#pragma once

#include "nex_core_blas.h"

namespace nex::service::blas {

inline void syr(char uplo, int n, double alpha, const double* x, int incx, double* a, int lda) {
  nex_serv_dsyr(uplo, n, alpha, x, incx, a, lda);
}
inline void syr(char uplo, int n, float alpha, const float* x, int incx, float* a, int lda) {
  nex_serv_ssyr(uplo, n, alpha, x, incx, a, lda);
}
inline void syrk(char uplo, char trans, int n, int k, double alpha, const double* a, int lda,
                 double beta, double* c, int ldc) {
  nex_serv_dsyrk(uplo, trans, n, k, alpha, a, lda, beta, c, ldc);
}
inline void syrk(char uplo, char trans, int n, int k, float alpha, const float* a, int lda,
                 float beta, float* c, int ldc) {
  nex_serv_ssyrk(uplo, trans, n, k, alpha, a, lda, beta, c, ldc);
}
inline void gemm(char ta, char tb, int m, int n, int k, double alpha, const double* a, int lda,
                 const double* b, int ldb, double beta, double* c, int ldc) {
  nex_serv_dgemm(ta, tb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}
inline void gemm(char ta, char tb, int m, int n, int k, float alpha, const float* a, int lda,
                 const float* b, int ldb, float beta, float* c, int ldc) {
  nex_serv_sgemm(ta, tb, m, n, k, alpha, a, lda, b, ldb, beta, c, ldc);
}

}  // namespace nex::service::blas
