// A task with every output of the basic estimates registered, over blocks of
// a data set in either layout.
#pragma once

#include <vector>

#include "nex_stats.h"
#include "statistics/reference.hpp"

namespace stats_test {

template <class T>
int basic(SSTask* t, uint64_t mask, uint64_t method, const SSThreader* thr);
template <>
inline int basic<double>(SSTask* t, uint64_t mask, uint64_t method, const SSThreader* thr) {
  return vrsdSSBasic(t, uint32_t(mask), uint32_t(mask >> 32), uint32_t(method),
                     uint32_t(method >> 32), thr);
}
template <>
inline int basic<float>(SSTask* t, uint64_t mask, uint64_t method, const SSThreader* thr) {
  return vrssSSBasic(t, uint32_t(mask), uint32_t(mask >> 32), uint32_t(method),
                     uint32_t(method >> 32), thr);
}

template <class T>
int new_task(SSTask** t, const void* p, const void* n, const void* st, const T* x, const T* w,
             const void* idx, int wide);
template <>
inline int new_task<double>(SSTask** t, const void* p, const void* n, const void* st,
                            const double* x, const double* w, const void* idx, int wide) {
  return __vrsdSSNewTask(t, p, n, st, x, w, idx, wide);
}
template <>
inline int new_task<float>(SSTask** t, const void* p, const void* n, const void* st, const float* x,
                           const float* w, const void* idx, int wide) {
  return __vrssSSNewTask(t, p, n, st, x, w, idx, wide);
}

// Everything the basic estimates can write.
constexpr uint64_t kAllBasic =
    VRS_SS_EST_MEAN | VRS_SS_EST_RAW2 | VRS_SS_EST_RAW3 | VRS_SS_EST_RAW4 | VRS_SS_EST_CENTRAL2 |
    VRS_SS_EST_CENTRAL3 | VRS_SS_EST_CENTRAL4 | VRS_SS_EST_KURTOSIS | VRS_SS_EST_SKEWNESS |
    VRS_SS_EST_VARIATION | VRS_SS_EST_COV | VRS_SS_EST_COR | VRS_SS_EST_SUM | VRS_SS_EST_RAW2_SUM |
    VRS_SS_EST_RAW3_SUM | VRS_SS_EST_RAW4_SUM | VRS_SS_EST_CENTRAL2_SUM | VRS_SS_EST_CENTRAL3_SUM |
    VRS_SS_EST_CENTRAL4_SUM | VRS_SS_EST_CP;

template <class T>
struct Outputs {
  int64_t p;
  std::vector<T> mean, raw2, raw3, raw4, c2, c3, c4, kurt, skew, var;
  std::vector<T> sum, raw2s, raw3s, raw4s, c2s, c3s, c4s;
  std::vector<T> cov, cor, cp;
  T accum[2] = {0, 0};
  int32_t cov_st = VRS_SS_MATRIX_FULL, cor_st = VRS_SS_MATRIX_FULL, cp_st = VRS_SS_MATRIX_FULL;
  explicit Outputs(int64_t p_, T fill = T(0)) : p(p_) {
    for (auto* v : {&mean, &raw2, &raw3, &raw4, &c2, &c3, &c4, &kurt, &skew, &var, &sum, &raw2s,
                    &raw3s, &raw4s, &c2s, &c3s, &c4s})
      v->assign(p, fill);
    for (auto* v : {&cov, &cor, &cp}) v->assign(p * p, fill);
  }
  void attach(SSTask* t) {
    __vrsdSSEditMoments(t, mean.data(), raw2.data(), raw3.data(), raw4.data(), c2.data(), c3.data(),
                        c4.data());
    __vrsdSSEditSums(t, sum.data(), raw2s.data(), raw3s.data(), raw4s.data(), c2s.data(),
                     c3s.data(), c4s.data());
    __vrsdSSEditCovCor(t, nullptr, cov.data(), &cov_st, cor.data(), &cor_st);
    __vrsdSSEditCP(t, nullptr, nullptr, cp.data(), &cp_st);
    __vrsdSSEditTask(t, VRS_SS_PARAM_KURTOSIS, kurt.data());
    __vrsdSSEditTask(t, VRS_SS_PARAM_SKEWNESS, skew.data());
    __vrsdSSEditTask(t, VRS_SS_PARAM_VARIATION, var.data());
    __vrsdSSEditTask(t, VRS_SS_PARAM_ACCUM_WEIGHT, accum);
  }
};

// One block of a data set, laid out for the task.
template <class T>
struct Block {
  int32_t p, n, storage;
  std::vector<T> x, w;
  Block(const Data& d, int64_t first, int64_t count, bool cols) {
    p = int32_t(d.p);
    n = int32_t(count);
    storage = cols ? VRS_SS_STORAGE_COLS : VRS_SS_STORAGE_ROWS;
    x.resize(d.p * count);
    for (int64_t j = 0; j < count; ++j)
      for (int64_t i = 0; i < d.p; ++i)
        x[cols ? j * d.p + i : i * count + j] = T(d.at(i, first + j));
    if (!d.w.empty())
      for (int64_t j = 0; j < count; ++j) w.push_back(T(d.w[first + j]));
  }
  const T* weights() const { return w.empty() ? nullptr : w.data(); }
};

}  // namespace stats_test
