// Internal view of a fitting task: typed access to the caller's arrays and
// the lookup-table builder shared by creation and the xhint editor.
#pragma once

#include <cstdint>

#include "nex_fit.h"

namespace nex::fit {

inline bool valid_xhint(int64_t v) {
  return v == 0 || v == 1 || v == 2 || v == 4;
}
inline bool valid_storage_hint(int64_t v) {
  return v == 0 || v == 16 || v == 32 || v == 128;
}
inline bool uniform_partition(const DfTask* t) {
  return (t->xhint & FIT_UNIFORM_PARTITION) != 0;
}

// Buckets of the lookup table: min(max(nx / 16, 16), 1024).
inline int64_t cell_table_buckets(int64_t nx) {
  int64_t m = nx / 16;
  if (m < 16) m = 16;
  if (m > 1024) m = 1024;
  return m;
}

template <class T>
T& cell_scale(DfTask* t);
template <>
inline float& cell_scale<float>(DfTask* t) {
  return t->cell_scale_s;
}
template <>
inline double& cell_scale<double>(DfTask* t) {
  return t->cell_scale_d;
}
template <class T>
inline T cell_scale(const DfTask* t) {
  return cell_scale<T>(const_cast<DfTask*>(t));
}

// Fills the lookup table from the task's partition, in precision T.
template <class T>
void build_cell_table(DfTask* t);

// Value i of function f; the storage forms of the task's y array.
template <class T>
struct FunctionView {
  const T* base;
  int64_t stride;  // distance between successive breakpoints
  T operator[](int64_t i) const { return base[i * stride]; }
};

template <class T>
FunctionView<T> function_view(const DfTask* t, int64_t f) {
  if (t->yhint == FIT_MATRIX_STORAGE_COLS) return {static_cast<const T*>(t->y[0]) + f, t->ny};
  if (t->yhint == FIT_MATRIX_STORAGE_FUNCS_SEPARATE_OFF)
    return {static_cast<const T*>(t->y[0]) + f * t->nx, 1};
  return {static_cast<const T*>(t->y[f]), 1};
}

// Number of coefficient cells of the task's spline: nx, or nx - 1.
inline int64_t coefficient_cells(const DfTask* t) {
  return t->s_type == FIT_PP_KNOTS_QUADRATIC ? t->nx : t->nx - 1;
}

template <class T>
T* coefficients(const DfTask* t, int64_t f) {
  if (t->scoeffhint & FIT_MATRIX_STORAGE_FUNCS_SEPARATE_OFF)
    return static_cast<T*>(t->scoeff[0]) + f * t->s_order * coefficient_cells(t);
  return static_cast<T*>(t->scoeff[f]);
}

// Left end of breakpoint i; a uniform partition stores only the two ends.
template <class T>
struct Partition {
  const T* x;
  int64_t nx;
  bool uniform;
  T step;
  T at(int64_t i) const { return uniform ? x[0] + static_cast<T>(i) * step : x[i]; }
  T first() const { return x[0]; }
  T last() const { return uniform ? x[1] : x[nx - 1]; }
};

template <class T>
Partition<T> partition(const DfTask* t) {
  Partition<T> p{static_cast<const T*>(t->x), t->nx, uniform_partition(t), T(0)};
  if (p.uniform) p.step = (p.x[1] - p.x[0]) / static_cast<T>(t->nx - 1);
  return p;
}

}  // namespace nex::fit
