// Interpolation: values and derivatives of a task's splines at sites.
//
// Sites go in blocks of kBlock: the block's cells are searched (or taken
// from the caller and checked), mapped to coefficient cells, and every
// function is evaluated on the block. Sites outside the partition extend the
// end polynomials unless an extrapolation call-back takes them.
#include <cstring>

#include "fitting/evaluate.hpp"
#include "service/export.hpp"
#include "service/services.hpp"

namespace nex::fit {
namespace {

constexpr int64_t kBlock = 1024;

template <class T>
using InterpCallBack = int (*)(int64_t, const T*, int64_t, const int32_t*, int64_t, T*, void*);

template <class T>
struct Request {
  const DfTask* t;
  SplineCode code;
  int order;
  Partition<T> part;
  KnotSequence<T> knots;
  int64_t nd;
  const int32_t* der;
  bool values_only;
  Layout layout;
  T* r;
};

// Evaluates function f on one block of sites with their coefficient cells
// (or knot cells); j0 is the block's first site.
template <int P, class T>
void evaluate_block(const Request<T>& q, int64_t f, int64_t j0, int64_t n, const T* site,
                    const int32_t* piece) {
  const T* coef = coefficients<T>(q.t, f);
  const bool knots = q.code == SplineCode::kKnotsQuadratic;
  if (q.values_only && !q.layout.sites_major && !knots) {
    T* out = q.r + q.layout.at(f, j0, 0);
    if (q.part.uniform) {
      const T a = q.part.x[0], h = q.part.step;
      for (int64_t j = 0; j < n; ++j) {
        const int64_t c = piece[j];
        out[j] = horner<P>(coef + P * c, site[j] - (a + static_cast<T>(c) * h));
      }
    } else {
      const T* x = q.part.x;
      for (int64_t j = 0; j < n; ++j) {
        const int64_t c = piece[j];
        out[j] = horner<P>(coef + P * c, site[j] - x[c]);
      }
    }
    return;
  }
  for (int64_t j = 0; j < n; ++j) {
    const int64_t c = piece[j];
    const T left = knots ? q.knots[c] : q.part.at(c);
    const T u = site[j] - left;
    T a[P];
    taylor_shift<P>(coef + P * c, u, a);
    for (int64_t k = 0; k < q.nd; ++k) {
      const int d = q.der[k];
      T v = 0;
      if (d < P) {
        v = a[d];
        for (int i = 2; i <= d; ++i) v *= static_cast<T>(i);
      }
      q.r[q.layout.at(f, j0 + j, k)] = v;
    }
  }
}

template <class T>
void evaluate(const Request<T>& q, int64_t f, int64_t j0, int64_t n, const T* site,
              const int32_t* piece) {
  switch (q.order) {
    case 2:
      evaluate_block<2>(q, f, j0, n, site, piece);
      break;
    case 3:
      evaluate_block<3>(q, f, j0, n, site, piece);
      break;
    default:
      evaluate_block<4>(q, f, j0, n, site, piece);
      break;
  }
}

// Sorted sites, one function, values only: the search and the evaluation in
// one loop. Dense sorted sites mostly fall in the cell of the previous one,
// so the loop keeps that cell's range and its coefficients in registers and
// tests each site against the range (two compares, well predicted); a site
// past it walks up a few breakpoints (sites about one per cell) and only a
// longer move falls back to the galloping search. Cells and values are those
// of the sorted search and the general evaluation, site by site.
template <int P, class T>
void sorted_values(SearchPlan<T>& p, const T* coef, int64_t n, const T* site, int32_t* cell,
                   T* out) {
  const int64_t nx = p.nx;
  const T* x = p.x;
  const T last = x[nx - 1];
  constexpr T kInf = static_cast<T>(__builtin_huge_val());
  T lo_x = kInf, hi_x = kInf, left = 0, cc[P];
  // Range and piece of the search position `cur`; empty range outside.
  auto load = [&](int64_t cur) {
    if (cur >= 1 && cur <= nx - 1) {
      lo_x = x[cur - 1];
      hi_x = x[cur];
    } else if (cur == 0) {
      lo_x = -kInf;
      hi_x = x[0];
    } else {
      lo_x = hi_x = kInf;
    }
    const int64_t q = piece_of(cur, nx);
    left = x[q];
    for (int i = 0; i < P; ++i) cc[i] = coef[P * q + i];
  };
  int64_t cur = p.current;
  load(cur);
  for (int64_t j = 0; j < n; ++j) {
    const T s = site[j];
    if (!(lo_x <= s && s < hi_x)) {
      int64_t c = -1;
      if (s >= hi_x && s < last) {
        // x[cur] <= s < last: the cell is the first breakpoint above s.
        int64_t k = cur + 1, steps = 0;
        while (!(s < x[k]) && steps < 8) {
          ++k;
          ++steps;
        }
        if (s < x[k]) {
          cur = k;
          c = k;
        } else {
          cur = k;
        }
      }
      if (c < 0) {
        c = sorted_cell(nx, x, s, &cur);
        if (c != cur) {  // at the right end, or out of order: this site only
          cell[j] = c;
          out[j] = horner<P>(coef + P * piece_of(c, nx), s - x[piece_of(c, nx)]);
          load(cur);
          continue;
        }
      }
      load(cur);
    }
    cell[j] = static_cast<int32_t>(cur);
    out[j] = horner<P>(cc, s - left);
  }
  p.current = cur;
}

// Checks the cells a caller gave: each 0 to nx (-1028), and the site on its
// cell, ends included (-1022). The breakpoints of a uniform partition are
// recomputed as x[0] + i step, so a site meant to be on one is accepted
// within 2^-12 step (single precision) or 2^-40 step (double) of it.
template <class T>
int check_given(const Partition<T>& p, int64_t n, const T* site, const int32_t* cell) {
  const T slack =
      p.uniform ? p.step * (sizeof(T) == sizeof(float) ? T(0x1p-12) : T(0x1p-40)) : T(0);
  for (int64_t j = 0; j < n; ++j) {
    const int64_t c = cell[j];
    const T s = site[j];
    if (c < 0 || c > p.nx) return FIT_STATUS_BAD_CELL_IDX;
    bool ok;
    if (c == 0)
      ok = s <= p.first() + slack;
    else if (c == p.nx)
      ok = s >= p.last() - slack;
    else
      ok = p.at(c - 1) - slack <= s && s <= (c == p.nx - 1 ? p.last() : p.at(c)) + slack;
    if (!ok) return FIT_STATUS_BAD_SITE_CELL;
  }
  return FIT_STATUS_OK;
}

// Hands the block's sites of one side to its call-back and scatters the
// results; `which` is 0 for the left side (cell 0) and nx for the right.
template <class T>
int extrapolate(const Request<T>& q, InterpCallBack<T> cb, void* params, int32_t which, int64_t j0,
                int64_t n, const T* site, const int32_t* cell, T* sites_tmp, T* r_tmp,
                int32_t* index_tmp) {
  int64_t m = 0;
  for (int64_t j = 0; j < n; ++j)
    if (cell[j] == which) {
      sites_tmp[m] = site[j];
      index_tmp[m++] = static_cast<int32_t>(j);
    }
  if (m == 0) return FIT_STATUS_OK;
  const int64_t ny = q.t->ny;
  const int st = cb(m, sites_tmp, q.nd, q.der, ny, r_tmp, params);
  if (st < 0) return st;
  for (int64_t k = 0; k < m; ++k)
    for (int64_t f = 0; f < ny; ++f)
      for (int64_t d = 0; d < q.nd; ++d)
        q.r[q.layout.at(f, j0 + index_tmp[k], d)] = r_tmp[(k * ny + f) * q.nd + d];
  return FIT_STATUS_OK;
}

template <class T>
int interpolate(DfTask* t, int64_t nsite, const T* site, int64_t sitehint, const double* datahint,
                int64_t ndorder, const int64_t* dorder, T* r, int64_t rhint, int32_t* cell,
                int64_t cellhint, InterpCallBack<T> le_cb, void* le_params, InterpCallBack<T> re_cb,
                void* re_params, SearchCallBack<T> search_cb, void* search_params) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  Request<T> q{};
  q.t = t;
  q.code = spline_code(t);
  if (q.code == SplineCode::kBad) return FIT_STATUS_BAD_SPLINE_TYPE;
  if (!valid_rhint(rhint)) return FIT_STATUS_BAD_R_HINT;
  const bool given = cellhint == FIT_CELLS_GIVEN;
  if (cellhint != FIT_SEARCH_CELLS && !given) return FIT_STATUS_BAD_CELL_IDX;
  if (given && cell == nullptr) return FIT_STATUS_BAD_CELL_IDX;
  if (t->x == nullptr) return FIT_STATUS_BAD_X;
  const bool evaluating = q.code != SplineCode::kSearchOnly;
  if (evaluating) {
    if (r == nullptr) return FIT_STATUS_NULL_RESULT_POINTER;
    if (t->ny <= 0) return FIT_STATUS_BAD_NY;
    if (t->scoeff == nullptr || t->scoeff[0] == nullptr) return FIT_STATUS_BAD_PP_COEFF;
    if (q.code == SplineCode::kKnotsQuadratic && t->ic == nullptr) return FIT_STATUS_BAD_IC;
  }
  q.order = static_cast<int>(t->s_order);
  q.part = partition<T>(t);
  q.knots = {q.part, static_cast<const T*>(t->ic)};
  q.r = r;

  // The wanted derivative orders, ascending.
  int32_t der_small[16];
  int32_t* der = der_small;
  int64_t nd = 0;
  if (dorder == nullptr || ndorder <= 0) {
    der_small[0] = 0;
    nd = 1;
  } else {
    for (int64_t k = 0; k < ndorder; ++k) nd += dorder[k] != 0;
    if (nd > 16) {
      der = service::allocate_array<int32_t>(static_cast<size_t>(nd));
      if (der == nullptr) return FIT_STATUS_MEM_FAILURE;
    }
    nd = 0;
    for (int64_t k = 0; k < ndorder; ++k)
      if (dorder[k] != 0) der[nd++] = static_cast<int32_t>(k);
  }
  q.nd = nd;
  q.der = der;
  q.values_only = nd == 1 && der[0] == 0;
  q.layout = {rhint == FIT_RESULT_SITES_FUNCS_DERS, t->ny, nsite, nd};

  // Work arrays of the extrapolation call-backs: sites, results, indices.
  T* cb_sites = nullptr;
  T* cb_results = nullptr;
  int32_t* cb_index = nullptr;
  int status = FIT_STATUS_OK;
  SearchPlan<T> plan{};
  if (evaluating && nd > 0 && (le_cb != nullptr || re_cb != nullptr)) {
    cb_sites = service::allocate_array<T>(kBlock);
    cb_results = service::allocate_array<T>(static_cast<size_t>(kBlock * t->ny * nd));
    cb_index = service::allocate_array<int32_t>(kBlock);
    if (!cb_sites || !cb_results || !cb_index) status = FIT_STATUS_MEM_FAILURE;
  }
  if (status == FIT_STATUS_OK && !given)
    status = make_plan(t, sitehint, datahint, search_cb, search_params, &plan);

  // One function's values at sorted sites: search and evaluation fused.
  const bool fused_sorted = status == FIT_STATUS_OK && !given && evaluating &&
                            plan.kind == SearchKind::kSorted && plan.cb == nullptr && t->ny == 1 &&
                            q.values_only && q.code != SplineCode::kKnotsQuadratic;
  int32_t cells[kBlock];
  int32_t piece[kBlock];
  for (int64_t j0 = 0; status == FIT_STATUS_OK && j0 < nsite; j0 += kBlock) {
    const int64_t n = nsite - j0 < kBlock ? nsite - j0 : kBlock;
    const T* s = site + j0;
    const int32_t* c = cells;
    if (fused_sorted) {
      const T* coef = coefficients<T>(t, 0);
      T* out = r + j0;
      switch (q.order) {
        case 2:
          sorted_values<2>(plan, coef, n, s, cells, out);
          break;
        case 3:
          sorted_values<3>(plan, coef, n, s, cells, out);
          break;
        default:
          sorted_values<4>(plan, coef, n, s, cells, out);
          break;
      }
      if (cell != nullptr) std::memcpy(cell + j0, cells, static_cast<size_t>(n) * sizeof(int32_t));
    } else if (given) {
      c = cell + j0;
      status = check_given(q.part, n, s, c);
    } else {
      status = run_plan(plan, n, s, cells);
      if (status == FIT_STATUS_OK && cell != nullptr)
        std::memcpy(cell + j0, cells, static_cast<size_t>(n) * sizeof(int32_t));
    }
    if (status != FIT_STATUS_OK || !evaluating || nd == 0) continue;
    const int64_t nx = t->nx;
    if (fused_sorted) {
      // evaluated above
    } else if (q.code == SplineCode::kKnotsQuadratic) {
      for (int64_t j = 0; j < n; ++j) piece[j] = static_cast<int32_t>(knot_piece(q.knots, s[j]));
    } else {
      int64_t j = 0;
      for (; j + 4 <= n; j += 4)
        for (int k = 0; k < 4; ++k) piece[j + k] = static_cast<int32_t>(piece_of(c[j + k], nx));
      for (; j < n; ++j) piece[j] = static_cast<int32_t>(piece_of(c[j], nx));
    }
    if (!fused_sorted)
      for (int64_t f = 0; f < t->ny; ++f) evaluate(q, f, j0, n, s, piece);
    if (le_cb != nullptr)
      status = extrapolate(q, le_cb, le_params, 0, j0, n, s, c, cb_sites, cb_results, cb_index);
    if (status == FIT_STATUS_OK && re_cb != nullptr)
      status = extrapolate(q, re_cb, re_params, static_cast<int32_t>(nx), j0, n, s, c, cb_sites,
                           cb_results, cb_index);
  }
  service::deallocate(cb_index);
  service::deallocate(cb_results);
  service::deallocate(cb_sites);
  if (der != der_small) service::deallocate(der);
  return status;
}

}  // namespace
}  // namespace nex::fit

using namespace nex::fit;

NEX_EXPORT int nex_df_kernel_dDFInterpolate1D(DfTask* task, int64_t nsite, const double* site,
                                              int64_t sitehint, const double* datahint,
                                              int64_t ndorder, const int64_t* dorder, double* r,
                                              int64_t rhint, int32_t* cell, int64_t cellhint,
                                              DfdInterpCallBack le_cb, void* le_params,
                                              DfdInterpCallBack re_cb, void* re_params,
                                              DfdSearchCallBack search_cb, void* search_params) {
  return interpolate(task, nsite, site, sitehint, datahint, ndorder, dorder, r, rhint, cell,
                     cellhint, le_cb, le_params, re_cb, re_params, search_cb, search_params);
}
NEX_EXPORT int nex_df_kernel_sDFInterpolate1D(DfTask* task, int64_t nsite, const float* site,
                                              int64_t sitehint, const double* datahint,
                                              int64_t ndorder, const int64_t* dorder, float* r,
                                              int64_t rhint, int32_t* cell, int64_t cellhint,
                                              DfsInterpCallBack le_cb, void* le_params,
                                              DfsInterpCallBack re_cb, void* re_params,
                                              DfsSearchCallBack search_cb, void* search_params) {
  return interpolate(task, nsite, site, sitehint, datahint, ndorder, dorder, r, rhint, cell,
                     cellhint, le_cb, le_params, re_cb, re_params, search_cb, search_params);
}
