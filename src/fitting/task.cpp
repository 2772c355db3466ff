// Fitting task: creation, deletion, editors and queries.
//
// The task stores pointers to the caller's numbers; the only blocks it owns
// are the record, the per-function pointer arrays of y and of the
// coefficients, and the 8208-byte lookup table.
#include <cstring>

#include "fitting/task.hpp"
#include "service/export.hpp"
#include "service/services.hpp"

namespace nex::fit {

template <class T>
void build_cell_table(DfTask* t) {
  const int64_t nx = t->nx;
  const int64_t m = cell_table_buckets(nx);
  DfCellTable* tab = t->cell_table;
  const T* x = static_cast<const T*>(t->x);
  t->cell_table_size = m;
  for (int64_t j = 0; j < m; ++j) tab[j].lo = tab[j].hi = -1;
  tab[0].lo = 0;
  const T scale = static_cast<T>(m) / (x[nx - 1] - x[0]);
  cell_scale<T>(t) = scale;
  for (int64_t i = 1; i <= nx - 2; ++i) {
    const int64_t b = static_cast<int64_t>((x[i] - x[0]) * scale);
    // A breakpoint that rounds onto the last bucket edge (or beyond, for a
    // partition that is not sorted) stays within the table.
    if (b <= 0 || b >= m) continue;
    if (tab[b - 1].hi == -1) tab[b - 1].hi = static_cast<int32_t>(i);
    if (b + 1 < m) tab[b + 1].lo = static_cast<int32_t>(i);
  }
  tab[m - 1].hi = static_cast<int32_t>(nx - 1);
  // One sweep from both ends: unset lows inherit from below, unset highs
  // from above.
  for (int64_t j = 0, k = m - 1; j + 1 < m; ++j, --k) {
    if (tab[j + 1].lo == -1) tab[j + 1].lo = tab[j].lo;
    if (tab[k - 1].hi == -1) tab[k - 1].hi = tab[k].hi;
  }
  tab[m] = tab[m - 1];
}

template void build_cell_table<float>(DfTask*);
template void build_cell_table<double>(DfTask*);

namespace {

// Fills the task's y pointer array for the storage form.
template <class T>
int attach_functions(DfTask* t, const T* y) {
  service::deallocate(t->y);
  t->y = nullptr;
  const int64_t entries = t->yhint == FIT_MATRIX_STORAGE_COLS ? 1 : t->ny;
  t->y = service::allocate_array<const void*>(static_cast<size_t>(entries > 0 ? entries : 1));
  if (t->y == nullptr) return FIT_STATUS_MEM_FAILURE;
  if (t->yhint == 0 || t->yhint == FIT_MATRIX_STORAGE_ROWS) {
    for (int64_t i = 0; i < t->ny; ++i) t->y[i] = y + i * t->nx;
  } else {
    t->y[0] = y;
  }
  return FIT_STATUS_OK;
}

int64_t coefficient_stride(const DfTask* t) {
  int64_t stride = t->s_order * t->nx;
  if (t->s_type != FIT_PP_KNOTS_QUADRATIC) stride -= t->s_order;
  return stride;
}

template <class T>
int attach_coefficients(DfTask* t, T* scoeff) {
  service::deallocate(t->scoeff);
  t->scoeff = service::allocate_array<void*>(static_cast<size_t>(t->ny));
  if (t->scoeff == nullptr) return FIT_STATUS_MEM_FAILURE;
  if (t->scoeffhint & FIT_MATRIX_STORAGE_FUNCS_SEPARATE_OFF) {
    t->scoeff[0] = scoeff;
  } else {
    const int64_t stride = coefficient_stride(t);
    for (int64_t i = 0; i < t->ny; ++i) t->scoeff[i] = scoeff + i * stride;
  }
  return FIT_STATUS_OK;
}

template <class T>
int new_task(DfTask** task_out, int64_t nx, const T* x, int64_t xhint, int64_t ny, const T* y,
             int64_t yhint, int32_t int64_api) {
  if (task_out == nullptr) return FIT_STATUS_NULL_TASK;
  *task_out = nullptr;
  if (nx < 2) return FIT_STATUS_BAD_NX;
  if (x == nullptr) return FIT_STATUS_BAD_X;
  if (!valid_xhint(xhint)) return FIT_STATUS_BAD_X_HINT;
  if (ny != 0 && y == nullptr) return FIT_STATUS_BAD_Y;
  if (ny == 0 && y != nullptr) return FIT_STATUS_BAD_NY;
  if (ny < 0) return FIT_STATUS_BAD_NY;
  if (!valid_storage_hint(yhint)) return FIT_STATUS_BAD_Y_HINT;
  auto* t = static_cast<DfTask*>(service::allocate(sizeof(DfTask)));
  if (t == nullptr) return FIT_STATUS_MEM_FAILURE;
  std::memset(t, 0, sizeof(DfTask));
  *task_out = t;
  t->nx = nx;
  t->x = x;
  t->xhint = xhint;
  t->yhint = yhint;
  t->ny = ny;
  if (y != nullptr) {
    const int status = attach_functions(t, y);
    if (status != FIT_STATUS_OK) return status;
  }
  t->int64_api = int64_api;
  t->kind = 4;
  t->double_task = sizeof(T) == sizeof(double) ? 1 : 0;
  t->alive = 1;
  t->cell_table = static_cast<DfCellTable*>(service::allocate(FIT_CELL_TABLE_BYTES));
  if (t->cell_table == nullptr) return FIT_STATUS_MEM_FAILURE;
  std::memset(t->cell_table, 0, FIT_CELL_TABLE_BYTES);
  if (xhint == FIT_UNIFORM_PARTITION) return FIT_STATUS_OK;
  build_cell_table<T>(t);
  return FIT_STATUS_OK;
}

template <class T>
int edit_pp_spline(DfTask* t, int64_t s_order, int64_t s_type, int64_t bc_type, const T* bc,
                   int64_t ic_type, const T* ic, T* scoeff, int64_t scoeffhint) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  if (s_order < 0) return FIT_STATUS_BAD_SPLINE_ORDER;
  if (s_type < 0) return FIT_STATUS_BAD_SPLINE_TYPE;
  t->s_order = s_order;
  t->s_type = s_type;
  const bool bc_without_values = bc_type == 0 || bc_type == FIT_BC_NOT_A_KNOT ||
                                 bc_type == FIT_BC_FREE_END || bc_type == FIT_BC_PERIODIC;
  if (!bc_without_values && bc == nullptr) return FIT_STATUS_BAD_BC;
  t->bc_type = bc_type;
  t->bc = bc;
  if (ic_type != 0 && ic == nullptr) return FIT_STATUS_BAD_IC;
  if (ic_type == 0 && ic != nullptr) return FIT_STATUS_BAD_IC_TYPE;
  t->ic_type = ic_type;
  t->ic = ic;
  if (scoeff != nullptr) {
    if (t->ny == 0) return FIT_STATUS_BAD_NY;
    t->scoeffhint = scoeffhint;  // the stride rule reads bit 128
    const int status = attach_coefficients(t, scoeff);
    if (status != FIT_STATUS_OK) return status;
  }
  t->scoeffhint = scoeffhint;
  return FIT_STATUS_OK;
}

template <class T>
int edit_ptr(DfTask* t, int64_t attr, const T* ptr) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  if (t->alive != 1) return FIT_STATUS_OK;
  switch (attr) {
    case FIT_X:
      if (ptr == nullptr) return FIT_STATUS_BAD_X;
      t->x = ptr;
      return FIT_STATUS_OK;
    case FIT_Y:
      if (ptr == nullptr) return FIT_STATUS_BAD_Y;
      return attach_functions(t, ptr);
    case FIT_IC:
      if (ptr == nullptr) return FIT_STATUS_BAD_IC;
      t->ic = ptr;
      return FIT_STATUS_OK;
    case FIT_BC:
      if (ptr == nullptr) return FIT_STATUS_BAD_BC;
      t->bc = ptr;
      return FIT_STATUS_OK;
    case FIT_PP_SCOEFF:
      if (ptr == nullptr) return FIT_STATUS_BAD_PP_COEFF;
      if (t->ny == 0) return FIT_STATUS_BAD_NY;
      return attach_coefficients(t, const_cast<T*>(ptr));
    default:
      return FIT_STATUS_BAD_ATTRIBUTE;
  }
}

int edit_value(DfTask* t, int64_t attr, int64_t v) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  if (t->alive != 1) return FIT_STATUS_OK;
  switch (attr) {
    case FIT_NX:
      if (v < 2) return FIT_STATUS_BAD_NX;
      t->nx = v;
      return FIT_STATUS_OK;
    case FIT_XHINT:
      if (!valid_xhint(v)) return FIT_STATUS_BAD_X_HINT;
      t->xhint = v;
      // A new non-uniform or quasi-uniform hint re-reads the partition, so a
      // task made with two ends only gets a table once it has all of x.
      if ((v == FIT_NON_UNIFORM_PARTITION || v == FIT_QUASI_UNIFORM_PARTITION) &&
          t->cell_table != nullptr && t->x != nullptr) {
        if (t->double_task)
          build_cell_table<double>(t);
        else
          build_cell_table<float>(t);
      }
      return FIT_STATUS_OK;
    case FIT_NY:
      if (v <= 0) return FIT_STATUS_BAD_NY;
      t->ny = v;
      return FIT_STATUS_OK;
    case FIT_YHINT:
      if (!valid_storage_hint(v)) return FIT_STATUS_BAD_Y_HINT;
      t->yhint = v;
      return FIT_STATUS_OK;
    case FIT_SPLINE_ORDER:
      if (v < 0) return FIT_STATUS_BAD_SPLINE_ORDER;
      t->s_order = v;
      return FIT_STATUS_OK;
    case FIT_SPLINE_TYPE:
      if (!(v == 0 || v == 1 || v == 2 || v == 3 || v == 4 || v == 5 || v == 9))
        return FIT_STATUS_BAD_SPLINE_TYPE;
      t->s_type = v;
      return FIT_STATUS_OK;
    case FIT_IC_TYPE:
      if (!(v == 0 || v == 1 || v == 2 || (v & FIT_IC_Q_KNOT) != 0)) return FIT_STATUS_BAD_IC_TYPE;
      t->ic_type = v;
      return FIT_STATUS_OK;
    case FIT_BC_TYPE:
      if (v < 0) return FIT_STATUS_BAD_BC_TYPE;
      t->bc_type = v;
      return FIT_STATUS_OK;
    case FIT_PP_COEFF_HINT:
      if (!valid_storage_hint(v)) return FIT_STATUS_BAD_PP_COEFF_HINT;
      t->scoeffhint = v;
      return FIT_STATUS_OK;
    case FIT_EXTRA_FLAG:
      if (v != 0 && v != 1) return FIT_STATUS_BAD_FLAG;
      t->extra_flag = static_cast<int32_t>(v);
      return FIT_STATUS_OK;
    default:
      return FIT_STATUS_BAD_ATTRIBUTE;
  }
}

template <class T>
int edit_idx_ptr(DfTask* t, int64_t attr, int64_t idx, const T* ptr) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  if (t->alive != 1) return FIT_STATUS_OK;
  if (attr == FIT_Y) {
    if (t->yhint == FIT_MATRIX_STORAGE_COLS) return FIT_STATUS_BAD_Y_HINT;
    if (idx < 0 || idx >= t->ny) return FIT_STATUS_BAD_INDEX;
    if (ptr == nullptr) return FIT_STATUS_BAD_Y;
    if (t->y == nullptr) {  // y set entry by entry on a task made without it
      t->y = service::allocate_array<const void*>(static_cast<size_t>(t->ny));
      if (t->y == nullptr) return FIT_STATUS_MEM_FAILURE;
      std::memset(t->y, 0, static_cast<size_t>(t->ny) * sizeof(void*));
    }
    t->y[idx] = ptr;
    return FIT_STATUS_OK;
  }
  if (attr == FIT_PP_SCOEFF) {
    if (idx < 0 || idx >= t->ny) return FIT_STATUS_BAD_INDEX;
    if (ptr == nullptr) return FIT_STATUS_BAD_PP_COEFF;
    if (t->scoeff == nullptr) {
      t->scoeff = service::allocate_array<void*>(static_cast<size_t>(t->ny));
      if (t->scoeff == nullptr) return FIT_STATUS_MEM_FAILURE;
      std::memset(t->scoeff, 0, static_cast<size_t>(t->ny) * sizeof(void*));
    }
    t->scoeff[idx] = const_cast<T*>(ptr);
    return FIT_STATUS_OK;
  }
  return FIT_STATUS_BAD_ATTRIBUTE;
}

template <class T>
int query_ptr(DfTask* t, int64_t attr, const T** out) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  if (out == nullptr) return FIT_STATUS_NULL_RESULT_POINTER;
  if (t->alive != 1) return FIT_STATUS_OK;
  switch (attr) {
    case FIT_X:
      *out = static_cast<const T*>(t->x);
      return FIT_STATUS_OK;
    case FIT_Y:
      *out = t->y ? static_cast<const T*>(t->y[0]) : nullptr;
      return FIT_STATUS_OK;
    case FIT_IC:
      *out = static_cast<const T*>(t->ic);
      return FIT_STATUS_OK;
    case FIT_BC:
      *out = static_cast<const T*>(t->bc);
      return FIT_STATUS_OK;
    case FIT_PP_SCOEFF:
      *out = t->scoeff ? static_cast<const T*>(t->scoeff[0]) : nullptr;
      return FIT_STATUS_OK;
    default:
      return FIT_STATUS_BAD_ATTRIBUTE;
  }
}

int query_value(DfTask* t, int64_t attr, void* out) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  if (out == nullptr) return FIT_STATUS_NULL_RESULT_POINTER;
  if (t->alive != 1) return FIT_STATUS_OK;
  int64_t v;
  switch (attr) {
    case FIT_NX:
      v = t->nx;
      break;
    case FIT_XHINT:
      v = t->xhint;
      break;
    case FIT_NY:
      v = t->ny;
      break;
    case FIT_YHINT:
      v = t->yhint;
      break;
    case FIT_SPLINE_ORDER:
      v = t->s_order;
      break;
    case FIT_SPLINE_TYPE:
      v = t->s_type;
      break;
    case FIT_IC_TYPE:
      v = t->ic_type;
      break;
    case FIT_BC_TYPE:
      v = t->bc_type;
      break;
    case FIT_PP_COEFF_HINT:
      v = t->scoeffhint;
      break;
    case FIT_EXTRA_FLAG:
      v = t->extra_flag;
      break;
    default:
      return FIT_STATUS_BAD_ATTRIBUTE;
  }
  if (t->int64_api != 0) {
    std::memcpy(out, &v, sizeof v);
  } else {
    const auto narrow = static_cast<int32_t>(v);
    std::memcpy(out, &narrow, sizeof narrow);
  }
  return FIT_STATUS_OK;
}

// The index bound admits idx == ny, one past the last entry, as the
// established interface does. Such a query is answered with a null pointer
// instead of a read past the task's array.
template <class T>
int query_idx_ptr(DfTask* t, int64_t attr, int64_t idx, const T** out) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  if (out == nullptr) return FIT_STATUS_NULL_RESULT_POINTER;
  if (idx < 0 || idx > t->ny) return FIT_STATUS_BAD_INDEX;
  if (t->alive != 1) return FIT_STATUS_OK;
  const bool inside = idx < t->ny;
  if (attr == FIT_Y) {
    if (t->yhint == FIT_MATRIX_STORAGE_COLS) return FIT_STATUS_BAD_Y_HINT;
    *out = t->y && inside ? static_cast<const T*>(t->y[idx]) : nullptr;
    return FIT_STATUS_OK;
  }
  if (attr == FIT_PP_SCOEFF) {
    *out = t->scoeff && inside ? static_cast<const T*>(t->scoeff[idx]) : nullptr;
    return FIT_STATUS_OK;
  }
  return FIT_STATUS_BAD_ATTRIBUTE;
}

}  // namespace
}  // namespace nex::fit

using namespace nex::fit;

NEX_EXPORT int nex_df_kernel_dNewTask1D(DfTask** task_out, int64_t nx, const double* x,
                                        int64_t xhint, int64_t ny, const double* y, int64_t yhint,
                                        int32_t int64_api) {
  return new_task(task_out, nx, x, xhint, ny, y, yhint, int64_api);
}
NEX_EXPORT int nex_df_kernel_sNewTask1D(DfTask** task_out, int64_t nx, const float* x,
                                        int64_t xhint, int64_t ny, const float* y, int64_t yhint,
                                        int32_t int64_api) {
  return new_task(task_out, nx, x, xhint, ny, y, yhint, int64_api);
}

NEX_EXPORT int nex_df_kernel_DeleteTask(DfTask** task_in_out) {
  if (task_in_out == nullptr || *task_in_out == nullptr) return FIT_STATUS_NULL_TASK;
  DfTask* t = *task_in_out;
  nex::service::deallocate(t->y);
  nex::service::deallocate(t->scoeff);
  nex::service::deallocate(t->cell_table);
  nex::service::deallocate(t);
  *task_in_out = nullptr;
  return FIT_STATUS_OK;
}

NEX_EXPORT int nex_df_kernel_dEditPPSpline1D(DfTask* task, int64_t s_order, int64_t s_type,
                                             int64_t bc_type, const double* bc, int64_t ic_type,
                                             const double* ic, double* scoeff, int64_t scoeffhint) {
  return edit_pp_spline(task, s_order, s_type, bc_type, bc, ic_type, ic, scoeff, scoeffhint);
}
NEX_EXPORT int nex_df_kernel_sEditPPSpline1D(DfTask* task, int64_t s_order, int64_t s_type,
                                             int64_t bc_type, const float* bc, int64_t ic_type,
                                             const float* ic, float* scoeff, int64_t scoeffhint) {
  return edit_pp_spline(task, s_order, s_type, bc_type, bc, ic_type, ic, scoeff, scoeffhint);
}
NEX_EXPORT int nex_df_kernel_dEditPtr(DfTask* task, int64_t attr, const double* ptr) {
  return edit_ptr(task, attr, ptr);
}
NEX_EXPORT int nex_df_kernel_sEditPtr(DfTask* task, int64_t attr, const float* ptr) {
  return edit_ptr(task, attr, ptr);
}
NEX_EXPORT int nex_df_kernel_iEditVal(DfTask* task, int64_t attr, int64_t value) {
  return edit_value(task, attr, value);
}
NEX_EXPORT int nex_df_kernel_dEditIdxPtr(DfTask* task, int64_t attr, int64_t idx,
                                         const double* ptr) {
  return edit_idx_ptr(task, attr, idx, ptr);
}
NEX_EXPORT int nex_df_kernel_sEditIdxPtr(DfTask* task, int64_t attr, int64_t idx,
                                         const float* ptr) {
  return edit_idx_ptr(task, attr, idx, ptr);
}
NEX_EXPORT int nex_df_kernel_dQueryPtr(DfTask* task, int64_t attr, const double** result_out) {
  return query_ptr(task, attr, result_out);
}
NEX_EXPORT int nex_df_kernel_sQueryPtr(DfTask* task, int64_t attr, const float** result_out) {
  return query_ptr(task, attr, result_out);
}
NEX_EXPORT int nex_df_kernel_iQueryVal(DfTask* task, int64_t attr, void* result_out) {
  return query_value(task, attr, result_out);
}
NEX_EXPORT int nex_df_kernel_dQueryIdxPtr(DfTask* task, int64_t attr, int64_t idx,
                                          const double** result_out) {
  return query_idx_ptr(task, attr, idx, result_out);
}
NEX_EXPORT int nex_df_kernel_sQueryIdxPtr(DfTask* task, int64_t attr, int64_t idx,
                                          const float** result_out) {
  return query_idx_ptr(task, attr, idx, result_out);
}
