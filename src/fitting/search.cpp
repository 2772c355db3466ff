// Search entries: the task-driven search and the stand-alone kinds.
#include "fitting/search.hpp"
#include "service/export.hpp"

namespace nex::fit {
namespace {

// Sites go to the call-back in blocks of this many.
constexpr int64_t kCallBackBlock = 4096;

template <class T>
int task_search(DfTask* t, int64_t nsite, const T* site, int64_t sitehint, const double* datahint,
                int32_t* cell, SearchCallBack<T> cb, void* params) {
  if (t == nullptr) return FIT_STATUS_NULL_TASK;
  SearchPlan<T> plan;
  const int st = make_plan(t, sitehint, datahint, cb, params, &plan);
  if (st != FIT_STATUS_OK) return st;
  for (int64_t j = 0; j < nsite; j += kCallBackBlock) {
    const int64_t n = nsite - j < kCallBackBlock ? nsite - j : kCallBackBlock;
    const int bst = run_plan(plan, n, site + j, cell + j);
    if (bst < 0) return bst;
  }
  return FIT_STATUS_OK;
}

template <class T>
int user_search(int64_t nx, const T* x, int64_t nsite, const T* site, SearchCallBack<T> cb,
                void* params, bool uniform, T step, int32_t* cell) {
  SearchPlan<T> p{};
  p.nx = nx;
  p.x = x;
  p.a = x[0];
  p.last = uniform ? x[1] : x[nx - 1];
  p.step = step;
  p.kind = uniform ? SearchKind::kUniUserDef : SearchKind::kUserDef;
  p.cb = cb;
  p.params = params;
  for (int64_t j = 0; j < nsite; j += kCallBackBlock) {
    const int64_t n = nsite - j < kCallBackBlock ? nsite - j : kCallBackBlock;
    const int st = run_plan(p, n, site + j, cell + j);
    if (st < 0) return st;
  }
  return FIT_STATUS_OK;
}

template <class T>
int uniform_search(int64_t nx, const T* x, int64_t nsite, const T* site, T step, int32_t* cell) {
  int64_t j = 0;
  for (; j + 4 <= nsite; j += 4)
    for (int k = 0; k < 4; ++k) cell[j + k] = uniform_cell(nx, x[0], x[1], step, site[j + k]);
  for (; j < nsite; ++j) cell[j] = uniform_cell(nx, x[0], x[1], step, site[j]);
  return FIT_STATUS_OK;
}

template <class T>
int sorted_search(int64_t nx, const T* x, int64_t nsite, const T* site, int32_t* start,
                  int32_t* cell) {
  int64_t current = start ? *start : 0;
  for (int64_t j = 0; j < nsite; ++j) cell[j] = sorted_cell(nx, x, site[j], &current);
  if (start) *start = static_cast<int32_t>(current);
  return FIT_STATUS_OK;
}

}  // namespace
}  // namespace nex::fit

using namespace nex::fit;

NEX_EXPORT int nex_df_kernel_dDFSearch1D(DfTask* task, int64_t nsite, const double* site,
                                         int64_t sitehint, const double* datahint, int32_t* cell,
                                         DfdSearchCallBack search_cb, void* search_params,
                                         int32_t) {
  return task_search(task, nsite, site, sitehint, datahint, cell, search_cb, search_params);
}
NEX_EXPORT int nex_df_kernel_sDFSearch1D(DfTask* task, int64_t nsite, const float* site,
                                         int64_t sitehint, const double* datahint, int32_t* cell,
                                         DfsSearchCallBack search_cb, void* search_params,
                                         int32_t) {
  return task_search(task, nsite, site, sitehint, datahint, cell, search_cb, search_params);
}

// The plain and the 32 forms of a pair are alike: cells are 32-bit here.
#define NEX_FIT_DEFINE_SEARCH(p, T, CB, suffix)                                                   \
  NEX_EXPORT int nex_df_kernel_##p##DFUniformSearch1D##suffix(                                    \
      int64_t nx, const T* x, int64_t nsite, const T* site, T step, int32_t* cell) {              \
    return uniform_search(nx, x, nsite, site, step, cell);                                        \
  }                                                                                               \
  NEX_EXPORT int nex_df_kernel_##p##DFUniUserDefSearch1D##suffix(                                 \
      int64_t nx, const T* x, int64_t nsite, const T* site, CB cb, void* params, T step,          \
      int32_t* cell) {                                                                            \
    return user_search(nx, x, nsite, site, cb, params, true, step, cell);                         \
  }                                                                                               \
  NEX_EXPORT int nex_df_kernel_##p##DFUserDefSearch1D##suffix(                                    \
      int64_t nx, const T* x, int64_t nsite, const T* site, CB cb, void* params, int32_t* cell) { \
    return user_search(nx, x, nsite, site, cb, params, false, T(0), cell);                        \
  }
NEX_FIT_DEFINE_SEARCH(d, double, DfdSearchCallBack, )
NEX_FIT_DEFINE_SEARCH(d, double, DfdSearchCallBack, 32)
NEX_FIT_DEFINE_SEARCH(s, float, DfsSearchCallBack, )
NEX_FIT_DEFINE_SEARCH(s, float, DfsSearchCallBack, 32)
#undef NEX_FIT_DEFINE_SEARCH

#define NEX_FIT_DEFINE_PLAIN_SEARCH(p, T)                                                          \
  NEX_EXPORT int nex_df_kernel_##p##DFQuasiUniformSearch1D(int64_t nx, const T* x, int64_t nsite,  \
                                                           const T* site, T step, int32_t* cell) { \
    for (int64_t j = 0; j < nsite; ++j) cell[j] = quasi_uniform_cell(nx, x, step, site[j]);        \
    return FIT_STATUS_OK;                                                                          \
  }                                                                                                \
  NEX_EXPORT int nex_df_kernel_##p##DFSortedSearch1D(                                              \
      int64_t nx, const T* x, int64_t nsite, const T* site, int32_t* start, int32_t* cell) {       \
    return sorted_search(nx, x, nsite, site, start, cell);                                         \
  }                                                                                                \
  NEX_EXPORT int nex_df_kernel_##p##DFPeakSearch1D(int64_t nx, const T* x, int64_t nsite,          \
                                                   const T* site, int32_t* cell) {                 \
    for (int64_t j = 0; j < nsite; ++j) cell[j] = peak_cell(nx, x, site[j]);                       \
    return FIT_STATUS_OK;                                                                          \
  }                                                                                                \
  NEX_EXPORT int nex_df_kernel_##p##DFHybridSearch1D(int64_t nx, const T* x, int64_t nsite,        \
                                                     const T* site, int32_t* cell) {               \
    for (int64_t j = 0; j < nsite; ++j) cell[j] = hybrid_cell(nx, x, site[j]);                     \
    return FIT_STATUS_OK;                                                                          \
  }
NEX_FIT_DEFINE_PLAIN_SEARCH(d, double)
NEX_FIT_DEFINE_PLAIN_SEARCH(s, float)
#undef NEX_FIT_DEFINE_PLAIN_SEARCH
