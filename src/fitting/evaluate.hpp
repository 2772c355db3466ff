// Pieces shared by interpolation and integration: the spline code of a task,
// the mapping from search cells to coefficient cells, and the knot sequence
// of the quadratic kind with additional knots.
#pragma once

#include <cstdint>

#include "fitting/search.hpp"
#include "fitting/task.hpp"

namespace nex::fit {

enum class SplineCode { kSearchOnly, kLinear, kQuadratic, kKnotsQuadratic, kCubic, kBad };

inline SplineCode spline_code(const DfTask* t) {
  switch (t->s_order) {
    case 0:
      return SplineCode::kSearchOnly;
    case FIT_PP_LINEAR:
      return t->s_type == 0 ? SplineCode::kLinear : SplineCode::kBad;
    case FIT_PP_QUADRATIC:
      if (t->s_type == 0) return SplineCode::kQuadratic;
      return t->s_type == FIT_PP_KNOTS_QUADRATIC ? SplineCode::kKnotsQuadratic : SplineCode::kBad;
    case FIT_PP_CUBIC:
      // Kinds 0, 2, 3, 4, 5 and 9: the bits of 0x23D.
      return t->s_type >= 0 && t->s_type < 32 && ((0x23Du >> t->s_type) & 1u) ? SplineCode::kCubic
                                                                              : SplineCode::kBad;
    default:
      return SplineCode::kBad;
  }
}

// Coefficient cell of a search cell: cell - 1, with 0 for sites left of the
// partition and nx - 2 for sites right of it (the end polynomials extend).
inline int64_t piece_of(int64_t cell, int64_t nx) {
  const int64_t c = cell - 1;
  return c < 0 ? 0 : (c > nx - 2 ? nx - 2 : c);
}

// Knots of the quadratic kind with additional knots: x[0], ic[0..nx-2],
// x[nx-1]; its nx cells are those between consecutive knots.
template <class T>
struct KnotSequence {
  Partition<T> p;
  const T* inner;
  T operator[](int64_t j) const {
    return j == 0 ? p.first() : (j == p.nx ? p.last() : inner[j - 1]);
  }
};

// Coefficient cell (0..nx-1) of the knots kind for a site.
template <class T>
inline int64_t knot_piece(const KnotSequence<T>& k, T s) {
  const int64_t nk = k.p.nx + 1;
  const int64_t c = hybrid_cell(nk, k, s);  // cell in the knot sequence
  const int64_t q = c - 1;
  return q < 0 ? 0 : (q > nk - 2 ? nk - 2 : q);
}

// Taylor coefficients of the piece at u: on return a[k] = p^(k)(u) / k!.
template <int P, class T>
inline void taylor_shift(const T* c, T u, T* a) {
  for (int i = 0; i < P; ++i) a[i] = c[i];
  for (int k = 0; k < P - 1; ++k)
    for (int i = P - 1; i > k; --i) a[i - 1] += a[i] * u;
}

template <int P, class T>
inline T horner(const T* c, T u) {
  T v = c[P - 1];
  for (int i = P - 2; i >= 0; --i) v = v * u + c[i];
  return v;
}

// Integral of the piece from 0 to u: sum c_k u^(k+1) / (k + 1), the
// divisions by k + 1 done as multiplies by the rounded reciprocals (exact
// for 1, 2 and 4; 1/3 adds at most half an ulp to one term).
template <int P, class T>
inline T antiderivative(const T* c, T u) {
  constexpr T kInv[4] = {T(1), T(0.5), T(1) / T(3), T(0.25)};
  T v = c[P - 1] * kInv[P - 1];
  for (int i = P - 2; i >= 0; --i) v = v * u + c[i] * kInv[i];
  return v * u;
}

// Result index of function f, site j, wanted order q.
struct Layout {
  bool sites_major;
  int64_t nf, n, nd;
  int64_t at(int64_t f, int64_t j, int64_t q) const {
    return sites_major ? (j * nf + f) * nd + q : (f * n + j) * nd + q;
  }
};

inline bool valid_rhint(int64_t rhint) {
  return rhint == 0 || rhint == FIT_RESULT_FUNCS_SITES_DERS || rhint == FIT_RESULT_SITES_FUNCS_DERS;
}

}  // namespace nex::fit
