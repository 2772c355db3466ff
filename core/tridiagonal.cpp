// Tridiagonal LU without pivoting (the Thomas algorithm), written once over
// the element type.
//
// Factorisation: u[0] = d[0]; l[i] = dl[i] / u[i]; u[i+1] = d[i+1] - l[i] du[i].
// Solve A x = b: forward y[i] = b[i] - l[i-1] y[i-1], back
// x[i] = (y[i] - du[i] x[i+1]) / u[i]. For A^T x = b the roles swap:
// U^T z = b forward, then L^T x = z backward.
#include "nex_core_tridiag.h"

namespace {

template <class T>
void factor(const int64_t* n, T* dl, T* d, T* du, int64_t* info) {
  (void)du;
  if (n == nullptr || *n < 0) {
    *info = -1;
    return;
  }
  *info = 0;
  const int64_t m = *n;
  for (int64_t i = 0; i + 1 < m; ++i) {
    if (d[i] == T(0)) {
      *info = i + 1;
      return;
    }
    const T l = dl[i] / d[i];
    dl[i] = l;
    d[i + 1] -= l * du[i];
  }
  if (m > 0 && d[m - 1] == T(0)) *info = m;
}

template <class T>
void solve(const char* trans, const int64_t* n, const int64_t* nrhs, const T* dl, const T* d,
           const T* du, T* b, const int64_t* ldb, int64_t* info) {
  const char t = trans ? *trans : 0;
  const bool transposed = t == 'T' || t == 't' || t == 'C' || t == 'c';
  if (!transposed && t != 'N' && t != 'n') {
    *info = -1;
    return;
  }
  if (*n < 0) {
    *info = -2;
    return;
  }
  if (*nrhs < 0) {
    *info = -3;
    return;
  }
  if (*ldb < (*n > 1 ? *n : 1)) {
    *info = -8;
    return;
  }
  *info = 0;
  const int64_t m = *n;
  if (m == 0) return;
  for (int64_t j = 0; j < *nrhs; ++j) {
    T* x = b + j * *ldb;
    if (!transposed) {
      for (int64_t i = 1; i < m; ++i) x[i] -= dl[i - 1] * x[i - 1];
      x[m - 1] /= d[m - 1];
      for (int64_t i = m - 2; i >= 0; --i) x[i] = (x[i] - du[i] * x[i + 1]) / d[i];
    } else {
      x[0] /= d[0];
      for (int64_t i = 1; i < m; ++i) x[i] = (x[i] - du[i - 1] * x[i - 1]) / d[i];
      for (int64_t i = m - 2; i >= 0; --i) x[i] -= dl[i] * x[i + 1];
    }
  }
}

template <class T>
void factor_solve(const int64_t* n, const int64_t* nrhs, T* dl, T* d, T* du, T* b,
                  const int64_t* ldb, int64_t* info) {
  if (*n < 0) {
    *info = -1;
    return;
  }
  if (*nrhs < 0) {
    *info = -2;
    return;
  }
  if (*ldb < (*n > 1 ? *n : 1)) {
    *info = -7;
    return;
  }
  factor(n, dl, d, du, info);
  if (*info != 0) return;
  const char no = 'N';
  solve(&no, n, nrhs, dl, d, du, b, ldb, info);
}

}  // namespace

extern "C" {

void ddttrfb_4dfl(const int64_t* n, double* dl, double* d, double* du, int64_t* info) {
  factor(n, dl, d, du, info);
}
void sdttrfb_4dfl(const int64_t* n, float* dl, float* d, float* du, int64_t* info) {
  factor(n, dl, d, du, info);
}
void ddttrsb_4dfl(const char* trans, const int64_t* n, const int64_t* nrhs, const double* dl,
                  const double* d, const double* du, double* b, const int64_t* ldb, int64_t* info) {
  solve(trans, n, nrhs, dl, d, du, b, ldb, info);
}
void sdttrsb_4dfl(const char* trans, const int64_t* n, const int64_t* nrhs, const float* dl,
                  const float* d, const float* du, float* b, const int64_t* ldb, int64_t* info) {
  solve(trans, n, nrhs, dl, d, du, b, ldb, info);
}
void ddtsvb_4dfl(const int64_t* n, const int64_t* nrhs, double* dl, double* d, double* du,
                 double* b, const int64_t* ldb, int64_t* info) {
  factor_solve(n, nrhs, dl, d, du, b, ldb, info);
}
void sdtsvb_4dfl(const int64_t* n, const int64_t* nrhs, float* dl, float* d, float* du, float* b,
                 const int64_t* ldb, int64_t* info) {
  factor_solve(n, nrhs, dl, d, du, b, ldb, info);
}

}  // extern "C"
