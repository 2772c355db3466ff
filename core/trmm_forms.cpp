// Triangular matrix multiplies B := alpha*op(A)*B and B := alpha*B*op(A) for
// the multivariate Gaussian: full storage for small orders and packed storage
// written here, full storage for larger orders over the BLAS's trmm.
//
// The written forms reduce both sides to one in-place product x := M x on a
// strided vector: with side 'L' every column of B is such an x and M = op(A);
// with side 'R' every row of B is one, since x^T op(A) = (op(A)^T x)^T, so M
// is op(A) transposed once more. If M is upper triangular, x_i depends only on
// x_l for l >= i, so going up from i = 0 reads only elements not yet
// overwritten; a lower M is walked down from the last row for the same reason.
#include <cstddef>

#include "nex_core_trmm.h"

extern "C" {
void dtrmm_(const char*, const char*, const char*, const char*, const int*, const int*,
            const double*, const double*, const int*, double*, const int*, size_t, size_t, size_t,
            size_t);
void strmm_(const char*, const char*, const char*, const char*, const int*, const int*,
            const float*, const float*, const int*, float*, const int*, size_t, size_t, size_t,
            size_t);
}

namespace {

using Index = std::ptrdiff_t;

char upper_letter(char c) {
  return (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
}

// The decoded letters; `valid` is false for a letter the BLAS would refuse.
struct Shape {
  bool valid = false;
  bool left = true;
  bool upper = true;
  bool transposed = false;
  bool unit = false;
};

Shape decode(const char* side, const char* uplo, const char* transa, const char* diag) {
  Shape s;
  const char sd = upper_letter(*side), ul = upper_letter(*uplo), tr = upper_letter(*transa),
             dg = upper_letter(*diag);
  if ((sd != 'L' && sd != 'R') || (ul != 'U' && ul != 'L') ||
      (tr != 'N' && tr != 'T' && tr != 'C') || (dg != 'U' && dg != 'N'))
    return s;
  s.valid = true;
  s.left = sd == 'L';
  s.upper = ul == 'U';
  s.transposed = tr != 'N';
  s.unit = dg == 'U';
  return s;
}

// Element (i, j) of the stored triangle, in each storage form. Only elements
// inside the triangle are ever asked for.
template <class T>
struct FullStorage {
  const T* a;
  Index lda;
  T operator()(Index i, Index j) const { return a[i + j * lda]; }
};
template <class T>
struct PackedUpper {
  const T* ap;
  T operator()(Index i, Index j) const { return ap[i + j * (j + 1) / 2]; }
};
template <class T>
struct PackedLower {
  const T* ap;
  Index order;
  T operator()(Index i, Index j) const { return ap[i + j * (2 * order - j - 1) / 2]; }
};

// x := alpha * M x for the k by k triangle M described by `s` (already folded
// for the side), reading A through `at`.
template <class T, class Access>
void apply_to_vector(const Access& at, Index k, bool m_upper, bool m_is_a_transposed, bool unit,
                     T alpha, T* x, Index inc) {
  auto m = [&](Index i, Index l) { return m_is_a_transposed ? at(l, i) : at(i, l); };
  if (m_upper) {
    for (Index i = 0; i < k; ++i) {
      T sum = unit ? x[i * inc] : m(i, i) * x[i * inc];
      for (Index l = i + 1; l < k; ++l) sum += m(i, l) * x[l * inc];
      x[i * inc] = alpha * sum;
    }
  } else {
    for (Index i = k - 1; i >= 0; --i) {
      T sum = unit ? x[i * inc] : m(i, i) * x[i * inc];
      for (Index l = 0; l < i; ++l) sum += m(i, l) * x[l * inc];
      x[i * inc] = alpha * sum;
    }
  }
}

// The whole product on B (rows x cols, leading dimension ldb) for a checked
// shape; k is the triangle's order.
template <class T, class Access>
void multiply(const Shape& s, const Access& at, Index rows, Index cols, T alpha, T* b, Index ldb) {
  if (alpha == T(0)) {
    // As the BLAS: B becomes zero, whatever it held.
    for (Index j = 0; j < cols; ++j)
      for (Index i = 0; i < rows; ++i) b[i + j * ldb] = T(0);
    return;
  }
  // Side 'R' transposes the effective matrix once more.
  const bool m_transposed = s.transposed != !s.left;
  const bool m_upper = s.upper != m_transposed;
  if (s.left) {
    for (Index j = 0; j < cols; ++j)
      apply_to_vector(at, rows, m_upper, m_transposed, s.unit, alpha, b + j * ldb, 1);
  } else {
    for (Index i = 0; i < rows; ++i)
      apply_to_vector(at, cols, m_upper, m_transposed, s.unit, alpha, b + i, ldb);
  }
}

// Checks shared by every form; false when B is to be left alone.
bool sizes_ok(const Shape& s, int m, int n, const int* lda, int ldb) {
  if (!s.valid || m < 0 || n < 0) return false;
  const int k = s.left ? m : n;
  if (ldb < (m > 1 ? m : 1)) return false;
  if (lda != nullptr && *lda < (k > 1 ? k : 1)) return false;
  return m > 0 && n > 0;
}

template <class T>
void full_written(NEX_CORE_TRMM_ARGS(T)) {
  const Shape s = decode(side, uplo, transa, diag);
  if (!sizes_ok(s, *m, *n, lda, *ldb)) return;
  multiply<T>(s, FullStorage<T>{a, *lda}, *m, *n, *alpha, b, *ldb);
}

template <class T>
void packed_written(NEX_CORE_PTRMM_ARGS(T)) {
  const Shape s = decode(side, uplo, transa, diag);
  if (!sizes_ok(s, *m, *n, nullptr, *ldb)) return;
  const Index order = s.left ? *m : *n;
  if (s.upper)
    multiply<T>(s, PackedUpper<T>{ap}, *m, *n, *alpha, b, *ldb);
  else
    multiply<T>(s, PackedLower<T>{ap, order}, *m, *n, *alpha, b, *ldb);
}

}  // namespace

extern "C" {

NEX_CORE_API void nex_blas_xdtrmm_4vtm(NEX_CORE_TRMM_ARGS(double)) {
  full_written<double>(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);
}
NEX_CORE_API void nex_blas_xstrmm_4vtm(NEX_CORE_TRMM_ARGS(float)) {
  full_written<float>(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb);
}

// The letters and sizes are checked here first, so that the BLAS never meets
// an argument it would report through its error handler (which may end the
// process).
NEX_CORE_API void nex_blas4vtm_dtrmm(NEX_CORE_TRMM_ARGS(double)) {
  if (!sizes_ok(decode(side, uplo, transa, diag), *m, *n, lda, *ldb)) return;
  dtrmm_(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb, 1, 1, 1, 1);
}
NEX_CORE_API void nex_blas4vtm_strmm(NEX_CORE_TRMM_ARGS(float)) {
  if (!sizes_ok(decode(side, uplo, transa, diag), *m, *n, lda, *ldb)) return;
  strmm_(side, uplo, transa, diag, m, n, alpha, a, lda, b, ldb, 1, 1, 1, 1);
}

NEX_CORE_API void nex_blas4vtm_dptrmm(NEX_CORE_PTRMM_ARGS(double)) {
  packed_written<double>(side, uplo, transa, diag, m, n, alpha, ap, b, ldb);
}
NEX_CORE_API void nex_blas4vtm_sptrmm(NEX_CORE_PTRMM_ARGS(float)) {
  packed_written<float>(side, uplo, transa, diag, m, n, alpha, ap, b, ldb);
}

}  // extern "C"
