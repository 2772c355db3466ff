// Cell search kinds, shared by the search entries, interpolation and
// integration.
//
// Cell convention for a sorted partition x[0..nx-1]: 0 below x[0]; i for
// x[i-1] <= s < x[i] (1 <= i <= nx-2); nx-1 for x[nx-2] <= s <= x[nx-1],
// the last cell closed on the right; nx above x[nx-1]. Inside [x[0], last)
// the cell is the number of breakpoints not above s, so every kind below
// returns the same cell; they differ only in how they get there. A NaN site
// compares false everywhere and gets cell nx.
#pragma once

#include <cstdint>

#include "fitting/task.hpp"

namespace nex::fit {

// Ends handled before any kind runs: returns true with the cell when the
// site is at or outside the ends.
template <class T>
inline bool edge_cell(int64_t nx, T a, T last, T s, int32_t* c) {
  if (s == last) {
    *c = static_cast<int32_t>(nx - 1);
    return true;
  }
  if (s < a) {
    *c = 0;
    return true;
  }
  if (!(s < last)) {  // above, or NaN
    *c = static_cast<int32_t>(nx);
    return true;
  }
  return false;
}

// Uniform: the cell is trunc((s - a) / step) + 1, capped inside the range
// (rounding can push a site just below the right end past it).
template <class T>
inline int32_t uniform_cell(int64_t nx, T a, T last, T step, T s) {
  int32_t c;
  if (edge_cell(nx, a, last, s, &c)) return c;
  const T q = (s - a) / step;
  if (!(q < static_cast<T>(nx - 2))) return static_cast<int32_t>(nx - 1);
  return static_cast<int32_t>(static_cast<int64_t>(q) + 1);
}

// Number of x[j] <= s for j in [lo, hi), added to lo: the cell once lo and hi
// bracket it. Written without branches so that the
// window of a hybrid search is scanned at full speed (the compiler turns it into
// vector compares); x is sorted, so this
// equals a linear walk that stops at the first breakpoint above s.
template <class T, class X>
inline int64_t count_walk(const X& x, int64_t lo, int64_t hi, T s) {
  int64_t count = 0;
  for (int64_t j = lo; j < hi; ++j) count += x[j] <= s ? 1 : 0;
  return lo + count;
}

// Window of the hybrid search. A scan of 100 breakpoints (the classic
// threshold, set for a branching bisection whose mispredictions cost more than
// a walk) loses here to the branch-free bisection below; the cell found is
// the same for any window.
constexpr int64_t kHybridWindow = 8;

// Hybrid: bisect while the window exceeds kHybridWindow breakpoints, then
// count the window. The bisection keeps x[lo] <= s and every breakpoint from lo + len
// on above s; its step is a conditional move, not a branch, so random sites
// cost no mispredictions.
template <class T, class X>
inline int32_t hybrid_cell(int64_t nx, const X& x, T s) {
  int32_t c;
  if (edge_cell(nx, x[0], x[nx - 1], s, &c)) return c;
  int64_t lo = 0, len = nx;
  while (len > kHybridWindow) {
    const int64_t half = len / 2;
    lo = x[lo + half] <= s ? lo + half : lo;
    len -= half;
  }
  return static_cast<int32_t>(count_walk(x, lo + 1, lo + len, s));
}

// Walks from a starting index to the cell: up while s is not below x[lo],
// down while x[lo - 1] is above s.
template <class T>
inline int32_t walk_from(int64_t nx, const T* x, int64_t lo, T s) {
  if (!(s < x[lo])) {
    while (lo < nx && !(s < x[lo])) ++lo;
  } else {
    while (lo >= 1 && x[lo - 1] > s) --lo;
  }
  return static_cast<int32_t>(lo);
}

// Peak: bisect while the window exceeds 40 breakpoints, then walk.
template <class T>
inline int32_t peak_cell(int64_t nx, const T* x, T s) {
  int32_t c;
  if (edge_cell(nx, x[0], x[nx - 1], s, &c)) return c;
  int64_t lo = 0, hi = nx - 1;
  if (nx > 41) {
    while (lo < hi - 40) {
      const int64_t mid = (lo + hi) / 2;
      if (x[mid] > s)
        hi = mid;
      else
        lo = mid;
    }
  }
  return walk_from(nx, x, lo, s);
}

// Peak search that starts at the caller's peak cell: a site within 40
// breakpoints of it is reached by walking, any other by bisection.
template <class T>
inline int32_t peak_cell_from(int64_t nx, const T* x, int64_t peak, T s) {
  int32_t c;
  if (edge_cell(nx, x[0], x[nx - 1], s, &c)) return c;
  int64_t p = peak < 1 ? 1 : (peak > nx - 1 ? nx - 1 : peak);
  const int64_t lo = p - 40 < 0 ? 0 : p - 40, hi = p + 40 > nx - 1 ? nx - 1 : p + 40;
  if (x[lo] <= s && s < x[hi]) return walk_from(nx, x, p, s);
  return peak_cell(nx, x, s);
}

// Quasi-uniform with a step: first try from the step, then walk.
template <class T>
inline int32_t quasi_uniform_cell(int64_t nx, const T* x, T step, T s) {
  int32_t c;
  if (edge_cell(nx, x[0], x[nx - 1], s, &c)) return c;
  const T q = (s - x[0]) / step;
  const int64_t first = q < static_cast<T>(nx - 2) ? static_cast<int64_t>(q) + 1 : nx - 1;
  return walk_from(nx, x, first, s);
}

// Quasi-uniform through the task's lookup table: the bucket's (lo, hi)
// brackets the cell, lo + 1 <= cell <= hi.
template <class T>
inline int32_t table_cell(int64_t nx, const T* x, const DfCellTable* tab, int64_t m, T scale, T s) {
  int32_t c;
  if (edge_cell(nx, x[0], x[nx - 1], s, &c)) return c;
  int64_t b = static_cast<int64_t>((s - x[0]) * scale);
  if (b > m) b = m;
  int64_t lo = tab[b].lo, hi = tab[b].hi;
  if (lo < 0 || hi > nx - 1 || lo >= hi) return hybrid_cell(nx, x, s);  // unbuilt table
  while (hi - lo > 16) {
    const int64_t mid = (lo + hi) / 2;
    if (x[mid] > s)
      hi = mid;
    else
      lo = mid;
  }
  return static_cast<int32_t>(count_walk(x, lo + 1, hi, s));
}

// Sorted: continues from the previous site's cell. A site not below
// x[current] moves up: the next cells are tried first, then a galloping
// bracket and bisection reach the cell in O(log distance). A site below
// x[current] keeps the current cell: the kind trusts the order of the sites.
template <class T>
inline int32_t sorted_cell(int64_t nx, const T* x, T s, int64_t* current) {
  int64_t cur = *current;
  // Dense sorted sites mostly stay in the cell of the previous one.
  if (cur >= 1 && cur <= nx - 1 && x[cur - 1] <= s && s < x[cur]) return static_cast<int32_t>(cur);
  const T last = x[nx - 1];
  if (s == last) return static_cast<int32_t>(nx - 1);
  if (s < x[0]) {
    *current = 0;
    return 0;
  }
  if (!(s < last)) {
    *current = nx;
    return static_cast<int32_t>(nx);
  }
  if (cur > nx - 1) cur = nx - 1;
  if (cur < 0) cur = 0;
  if (!(s < x[cur])) {
    // x[cur] <= s < x[nx-1]: find the first index with x above s.
    int64_t lo = cur, step = 1, hi = cur + 1;
    while (hi < nx - 1 && !(s < x[hi])) {
      lo = hi;
      step *= 2;
      hi = lo + step < nx - 1 ? lo + step : nx - 1;
    }
    while (lo < hi - 1) {
      const int64_t mid = (lo + hi) / 2;
      if (x[mid] > s)
        hi = mid;
      else
        lo = mid;
    }
    cur = hi;
  }
  *current = cur;
  return static_cast<int32_t>(cur);
}

// ---- Search plans: a kind chosen once, run on blocks of sites --------------

enum class SearchKind { kUniform, kQuasiUniform, kSorted, kPeak, kHybrid, kUserDef, kUniUserDef };

template <class T>
using SearchCallBack = int (*)(int64_t, const T*, int32_t*, void*);

template <class T>
struct SearchPlan {
  SearchKind kind;
  int64_t nx;
  const T* x;
  T a, last, step;
  const DfCellTable* table;
  int64_t buckets;
  T scale;
  int64_t peak;  // < 0: none
  SearchCallBack<T> cb;
  void* params;
  int64_t current;  // sorted search position
};

// The kind the task's hints select: call-back, uniform, quasi-uniform,
// sorted sites, then the data hint. Returns -1026 for a bad data hint.
template <class T>
int make_plan(const DfTask* t, int64_t sitehint, const double* datahint, SearchCallBack<T> cb,
              void* params, SearchPlan<T>* plan) {
  // Fields set one by one: a zeroing initialiser of the whole record
  // compiles to a string store whose start-up cost shows on short calls.
  SearchPlan<T> p;
  p.step = 0;
  p.table = nullptr;
  p.buckets = 0;
  p.scale = 0;
  p.current = 0;
  p.nx = t->nx;
  p.x = static_cast<const T*>(t->x);
  p.a = p.x[0];
  p.cb = cb;
  p.params = params;
  p.peak = -1;
  const bool uniform = t->xhint == FIT_UNIFORM_PARTITION;
  if (uniform) {
    p.last = p.x[1];
    p.step = (p.x[1] - p.x[0]) / static_cast<T>(t->nx - 1);
  } else {
    p.last = p.x[t->nx - 1];
  }
  if (cb != nullptr) {
    p.kind = uniform ? SearchKind::kUniUserDef : SearchKind::kUserDef;
  } else if (uniform) {
    p.kind = SearchKind::kUniform;
  } else if (t->xhint == FIT_QUASI_UNIFORM_PARTITION) {
    p.kind = SearchKind::kQuasiUniform;
    p.table = t->cell_table;
    p.buckets = t->cell_table_size;
    p.scale = cell_scale<T>(t);
  } else if (sitehint == FIT_SORTED_DATA) {
    p.kind = SearchKind::kSorted;
  } else if (datahint == nullptr || datahint[1] == 0.0) {
    p.kind = SearchKind::kHybrid;
  } else if (datahint[1] == 1.0) {
    if (!(datahint[4] >= 0.0 && datahint[4] <= static_cast<double>(t->nx)))
      return FIT_STATUS_BAD_DATA_HINT;
    p.kind = SearchKind::kPeak;
    p.peak = static_cast<int64_t>(datahint[4]);
  } else {
    return FIT_STATUS_BAD_DATA_HINT;
  }
  *plan = p;
  return FIT_STATUS_OK;
}

// The library's own search for the partition form, without call-back.
template <class T>
inline int32_t plan_cell(SearchPlan<T>& p, T s) {
  switch (p.kind) {
    case SearchKind::kUniform:
    case SearchKind::kUniUserDef:
      return uniform_cell(p.nx, p.a, p.last, p.step, s);
    case SearchKind::kQuasiUniform:
      return table_cell(p.nx, p.x, p.table, p.buckets, p.scale, s);
    case SearchKind::kSorted:
      return sorted_cell(p.nx, p.x, s, &p.current);
    case SearchKind::kPeak:
      return peak_cell_from(p.nx, p.x, p.peak, s);
    default:
      return hybrid_cell(p.nx, p.x, s);
  }
}

// Searches one block; a negative status of the call-back is returned.
template <class T>
int run_plan(SearchPlan<T>& p, int64_t n, const T* site, int32_t* cell) {
  if (p.cb != nullptr) {
    for (int64_t j = 0; j < n; ++j) cell[j] = -1;
    const int st = p.cb(n, site, cell, p.params);
    if (st < 0) return st;
    for (int64_t j = 0; j < n; ++j)
      if (cell[j] < 0) cell[j] = plan_cell(p, site[j]);
    return FIT_STATUS_OK;
  }
  switch (p.kind) {  // the kind is hoisted out of the loop
    case SearchKind::kUniform: {
      int64_t j = 0;
      for (; j + 4 <= n; j += 4)
        for (int k = 0; k < 4; ++k)
          cell[j + k] = uniform_cell(p.nx, p.a, p.last, p.step, site[j + k]);
      for (; j < n; ++j) cell[j] = uniform_cell(p.nx, p.a, p.last, p.step, site[j]);
      break;
    }
    case SearchKind::kSorted:
      for (int64_t j = 0; j < n; ++j) cell[j] = sorted_cell(p.nx, p.x, site[j], &p.current);
      break;
    case SearchKind::kHybrid:
      for (int64_t j = 0; j < n; ++j) cell[j] = hybrid_cell(p.nx, p.x, site[j]);
      break;
    default:
      for (int64_t j = 0; j < n; ++j) cell[j] = plan_cell(p, site[j]);
  }
  return FIT_STATUS_OK;
}

}  // namespace nex::fit
