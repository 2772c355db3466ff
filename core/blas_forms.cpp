// BLAS-form services: thin calls into the Fortran BLAS linked with nex_core.
// Fortran passes every argument by address and appends the lengths of the
// character arguments (always 1 here) after the last argument.
#include <cstddef>

#include "nex_core_blas.h"

extern "C" {
void dsyr_(const char*, const int*, const double*, const double*, const int*, double*, const int*,
           size_t);
void ssyr_(const char*, const int*, const float*, const float*, const int*, float*, const int*,
           size_t);
void dsyrk_(const char*, const char*, const int*, const int*, const double*, const double*,
            const int*, const double*, double*, const int*, size_t, size_t);
void ssyrk_(const char*, const char*, const int*, const int*, const float*, const float*,
            const int*, const float*, float*, const int*, size_t, size_t);
void dgemm_(const char*, const char*, const int*, const int*, const int*, const double*,
            const double*, const int*, const double*, const int*, const double*, double*,
            const int*, size_t, size_t);
void sgemm_(const char*, const char*, const int*, const int*, const int*, const float*,
            const float*, const int*, const float*, const int*, const float*, float*, const int*,
            size_t, size_t);
}

extern "C" {

NEX_CORE_API void nex_serv_dsyr(char uplo, int n, double alpha, const double* x, int incx,
                                double* a, int lda) {
  if (n > 0) dsyr_(&uplo, &n, &alpha, x, &incx, a, &lda, 1);
}
NEX_CORE_API void nex_serv_ssyr(char uplo, int n, float alpha, const float* x, int incx, float* a,
                                int lda) {
  if (n > 0) ssyr_(&uplo, &n, &alpha, x, &incx, a, &lda, 1);
}

NEX_CORE_API void nex_serv_dsyrk(char uplo, char trans, int n, int k, double alpha, const double* a,
                                 int lda, double beta, double* c, int ldc) {
  if (n > 0) dsyrk_(&uplo, &trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc, 1, 1);
}
NEX_CORE_API void nex_serv_ssyrk(char uplo, char trans, int n, int k, float alpha, const float* a,
                                 int lda, float beta, float* c, int ldc) {
  if (n > 0) ssyrk_(&uplo, &trans, &n, &k, &alpha, a, &lda, &beta, c, &ldc, 1, 1);
}

NEX_CORE_API void nex_serv_dgemm(char transa, char transb, int m, int n, int k, double alpha,
                                 const double* a, int lda, const double* b, int ldb, double beta,
                                 double* c, int ldc) {
  if (m > 0 && n > 0)
    dgemm_(&transa, &transb, &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc, 1, 1);
}
NEX_CORE_API void nex_serv_sgemm(char transa, char transb, int m, int n, int k, float alpha,
                                 const float* a, int lda, const float* b, int ldb, float beta,
                                 float* c, int ldc) {
  if (m > 0 && n > 0)
    sgemm_(&transa, &transb, &m, &n, &k, &alpha, a, &lda, b, &ldb, &beta, c, &ldc, 1, 1);
}

}  // extern "C"
