// Tridiagonal factorisation without pivoting, written once over the element
// type, in the twisted ("both ends") form.
//
// Plain LU eliminates from the top; every row waits for the previous pivot,
// a chain of one division, one multiply and one subtraction per row. The
// twisted form eliminates downward through rows 0..k-1 and upward through
// rows n-1..k+1 at the same time, k = n / 2, and meets at row k: two
// independent chains of half the length, which the processor overlaps.
//   top     u[0] = d[0],   l[i] = dl[i] / u[i],      u[i+1] = d[i+1] - l[i] du[i]
//   bottom  w[n-1] = d[n-1], r[i] = du[i] / w[i+1],  w[i] = d[i] - r[i] dl[i]
//   twist   g = d[k] - l[k-1] du[k-1] - r[k] dl[k]
// Storage: d holds u (rows < k), g (row k) and w (rows > k); dl[i] holds l[i]
// for i < k and du[i] holds r[i] for i >= k; the rest stays as given.
// Solving A x = b: y[i] = b[i] - l[i-1] y[i-1] down to k - 1 and
// z[i] = b[i] - r[i] z[i+1] up to k + 1, x[k] = (b[k] - l[k-1] y[k-1] -
// r[k] z[k+1]) / g, then x[i] = (y[i] - du[i] x[i+1]) / u[i] upward and
// x[i] = (z[i] - dl[i-1] x[i-1]) / w[i] downward from the twist. A^T has the
// same pivots; its multipliers are du[i] / u[i] and dl[i] / w[i+1], with the
// overwritten off-diagonals recovered as l[i] u[i] and r[i] w[i+1].
#include "nex_core_tridiag.h"

namespace {

// One step of each elimination chain.
template <class T>
inline void top_step(int64_t i, int64_t k, T* dl, T* d, const T* du, int64_t* bad) {
  if (d[i] == T(0) && *bad == 0) *bad = i + 1;
  const T l = dl[i] / d[i];
  dl[i] = l;
  if (i + 1 < k) d[i + 1] -= l * du[i];
}
template <class T>
inline void bottom_step(int64_t b, int64_t k, const T* dl, T* d, T* du, int64_t* bad) {
  if (d[b] == T(0) && *bad == 0) *bad = b + 1;
  const T r = du[b - 1] / d[b];
  du[b - 1] = r;
  if (b - 1 > k) d[b - 1] -= r * dl[b - 1];
}

template <class T>
void factor(const int64_t* n, T* dl, T* d, T* du, int64_t* info) {
  if (n == nullptr || *n < 0) {
    *info = -1;
    return;
  }
  *info = 0;
  const int64_t m = *n;
  if (m == 0) return;
  const int64_t k = m / 2;
  // Top steps i = 0..k-1, bottom steps b = m-1..k+1: k and m-1-k of them.
  // Both chains advance in one loop while both have steps left.
  int64_t bad = 0;
  const int64_t top = k, bottom = m - 1 - k, both = top < bottom ? top : bottom;
  for (int64_t j = 0; j < both; ++j) {
    top_step(j, k, dl, d, du, &bad);
    bottom_step(m - 1 - j, k, dl, d, du, &bad);
  }
  for (int64_t j = both; j < top; ++j) top_step(j, k, dl, d, du, &bad);
  for (int64_t j = both; j < bottom; ++j) bottom_step(m - 1 - j, k, dl, d, du, &bad);
  T g = d[k];
  if (k > 0) g -= dl[k - 1] * du[k - 1];
  if (k + 1 < m) g -= du[k] * dl[k];
  d[k] = g;
  if (bad == 0 && g == T(0)) bad = k + 1;
  *info = bad;
}

// Off-diagonals and multipliers of the orientation solved (see above).
template <class T, bool kTransposed>
struct Factors {
  const T *dl, *d, *du;
  T lower(int64_t i) const { return kTransposed ? du[i] / d[i] : dl[i]; }          // i < k
  T upper_top(int64_t i) const { return kTransposed ? dl[i] * d[i] : du[i]; }      // i < k
  T upper(int64_t i) const { return kTransposed ? dl[i] / d[i + 1] : du[i]; }      // i >= k
  T lower_bottom(int64_t i) const { return kTransposed ? du[i] * d[i + 1] : dl[i]; }  // i >= k
};

template <class T, bool kTransposed>
void solve_one(const Factors<T, kTransposed>& f, int64_t m, T* x) {
  const int64_t k = m / 2;
  const int64_t top = k, bottom = m - 1 - k, both = top < bottom ? top : bottom;
  // Elimination toward the twist: x[j] for j = 1..k-1, x[i] for i = m-2..k+1.
  for (int64_t j = 1; j < both; ++j) {
    x[j] -= f.lower(j - 1) * x[j - 1];
    x[m - 1 - j] -= f.upper(m - 1 - j) * x[m - j];
  }
  for (int64_t j = both > 1 ? both : 1; j < top; ++j) x[j] -= f.lower(j - 1) * x[j - 1];
  for (int64_t j = both > 1 ? both : 1; j < bottom; ++j)
    x[m - 1 - j] -= f.upper(m - 1 - j) * x[m - j];
  T v = x[k];
  if (k > 0) v -= f.lower(k - 1) * x[k - 1];
  if (k + 1 < m) v -= f.upper(k) * x[k + 1];
  x[k] = v / f.d[k];
  // Substitution outward from the twist; 1 / pivot is off the chain.
  for (int64_t j = 1; j <= both; ++j) {
    const int64_t i = k - j, h = k + j;
    x[i] = (x[i] - f.upper_top(i) * x[i + 1]) * (T(1) / f.d[i]);
    x[h] = (x[h] - f.lower_bottom(h - 1) * x[h - 1]) * (T(1) / f.d[h]);
  }
  for (int64_t j = both + 1; j <= top; ++j) {
    const int64_t i = k - j;
    x[i] = (x[i] - f.upper_top(i) * x[i + 1]) * (T(1) / f.d[i]);
  }
  for (int64_t j = both + 1; j <= bottom; ++j) {
    const int64_t h = k + j;
    x[h] = (x[h] - f.lower_bottom(h - 1) * x[h - 1]) * (T(1) / f.d[h]);
  }
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
  if (*n == 0) return;
  for (int64_t c = 0; c < *nrhs; ++c) {
    if (transposed)
      solve_one(Factors<T, true>{dl, d, du}, *n, b + c * *ldb);
    else
      solve_one(Factors<T, false>{dl, d, du}, *n, b + c * *ldb);
  }
}

// Factorisation and solve in one sweep: each elimination step of the matrix
// also eliminates the right-hand sides, so their chains overlap the pivots'
// chain instead of following it.
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
  *info = 0;
  const int64_t m = *n, nr = *nrhs, ld = *ldb;
  if (m == 0) return;
  const int64_t k = m / 2;
  int64_t bad = 0;
  const int64_t top = k, bottom = m - 1 - k, both = top < bottom ? top : bottom;
  auto top_fused = [&](int64_t i) {
    top_step(i, k, dl, d, du, &bad);
    if (i + 1 < k)
      for (int64_t c = 0; c < nr; ++c) b[c * ld + i + 1] -= dl[i] * b[c * ld + i];
  };
  auto bottom_fused = [&](int64_t i) {
    bottom_step(i, k, dl, d, du, &bad);
    if (i - 1 > k)
      for (int64_t c = 0; c < nr; ++c) b[c * ld + i - 1] -= du[i - 1] * b[c * ld + i];
  };
  for (int64_t j = 0; j < both; ++j) {
    top_fused(j);
    bottom_fused(m - 1 - j);
  }
  for (int64_t j = both; j < top; ++j) top_fused(j);
  for (int64_t j = both; j < bottom; ++j) bottom_fused(m - 1 - j);
  T g = d[k];
  if (k > 0) g -= dl[k - 1] * du[k - 1];
  if (k + 1 < m) g -= du[k] * dl[k];
  d[k] = g;
  if (bad == 0 && g == T(0)) bad = k + 1;
  *info = bad;
  if (bad != 0) return;
  for (int64_t c = 0; c < nr; ++c) {
    T* x = b + c * ld;
    T v = x[k];
    if (k > 0) v -= dl[k - 1] * x[k - 1];
    if (k + 1 < m) v -= du[k] * x[k + 1];
    x[k] = v / d[k];
    for (int64_t j = 1; j <= both; ++j) {
      const int64_t i = k - j, h = k + j;
      x[i] = (x[i] - du[i] * x[i + 1]) * (T(1) / d[i]);
      x[h] = (x[h] - dl[h - 1] * x[h - 1]) * (T(1) / d[h]);
    }
    for (int64_t j = both + 1; j <= top; ++j) {
      const int64_t i = k - j;
      x[i] = (x[i] - du[i] * x[i + 1]) * (T(1) / d[i]);
    }
    for (int64_t j = both + 1; j <= bottom; ++j) {
      const int64_t h = k + j;
      x[h] = (x[h] - dl[h - 1] * x[h - 1]) * (T(1) / d[h]);
    }
  }
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
