// A task with every output of the basic estimates registered, over blocks of
// a data set in either layout.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <string>
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

template <class T>
struct Checker {
  const Reference& r;
  long double tol;
  int failures = 0;
  long double scale(int64_t i) const { return std::fabs(r.mean[i]) + std::sqrt(r.central2(i)); }
  void near(T got, long double want, long double s, const std::string& what) {
    const long double err = std::fabs(static_cast<long double>(got) - want);
    if (!(err <= tol * s)) {
      if (++failures <= 10)
        ADD_FAILURE() << what << ": got " << static_cast<double>(got) << " want "
                      << static_cast<double>(want) << " (error/scale "
                      << static_cast<double>(err / s) << ")";
    }
  }
  // Every vector and matrix estimate of `o`, assumed in full storage.
  void all(const Outputs<T>& o, bool sums = true) {
    const int64_t p = r.p;
    for (int64_t i = 0; i < p; ++i) {
      const long double s = scale(i), sd = std::sqrt(r.central2(i)), W = r.W;
      const std::string v = "[" + std::to_string(i) + "]";
      near(o.mean[i], r.mean[i], s, "mean" + v);
      near(o.raw2[i], r.raw2[i], s * s, "raw2" + v);
      near(o.raw3[i], r.raw3[i], s * s * s, "raw3" + v);
      near(o.raw4[i], r.raw4[i], s * s * s * s, "raw4" + v);
      near(o.c2[i], r.central2(i), s * s, "central2" + v);
      near(o.c3[i], r.central3(i), s * s * s, "central3" + v);
      near(o.c4[i], r.central4(i), s * s * s * s, "central4" + v);
      near(o.kurt[i], r.kurtosis(i), std::pow(s / sd, 4), "kurtosis" + v);
      near(o.skew[i], r.skewness(i), std::pow(s / sd, 3), "skewness" + v);
      near(o.var[i], r.variation(i), s / std::fabs(r.mean[i]), "variation" + v);
      if (sums) {
        near(o.sum[i], r.mean[i] * W, s * W, "sum" + v);
        near(o.raw2s[i], r.raw2[i] * W, s * s * W, "raw2_sum" + v);
        near(o.raw3s[i], r.raw3[i] * W, s * s * s * W, "raw3_sum" + v);
        near(o.raw4s[i], r.raw4[i] * W, s * s * s * s * W, "raw4_sum" + v);
        near(o.c2s[i], r.c2s[i], s * s * W, "central2_sum" + v);
        near(o.c3s[i], r.c3s[i], s * s * s * W, "central3_sum" + v);
        near(o.c4s[i], r.c4s[i], s * s * s * s * W, "central4_sum" + v);
      }
      for (int64_t k = 0; k < p; ++k) {
        const std::string e = "[" + std::to_string(i) + "," + std::to_string(k) + "]";
        const long double sik = s * scale(k);
        near(o.cov[i * p + k], r.cov(i, k), sik, "cov" + e);
        near(o.cor[i * p + k], r.cor(i, k), i == k ? sik : sik / (sd * std::sqrt(r.central2(k))),
             "cor" + e);
        if (sums) near(o.cp[i * p + k], r.cp[i * p + k], sik * W, "cp" + e);
      }
    }
    EXPECT_NEAR(static_cast<double>(o.accum[0]), static_cast<double>(r.W),
                static_cast<double>(tol * r.W));
    EXPECT_NEAR(static_cast<double>(o.accum[1]), static_cast<double>(r.W2),
                static_cast<double>(tol * r.W2));
  }
};

// Feeds the data set in `blocks` parts through one task and returns the
// status of the first failing call.
template <class T>
inline int run_blocks(const Data& d, Outputs<T>& o, uint64_t method, bool cols, int blocks,
                      const SSThreader* thr, uint64_t mask = kAllBasic) {
  const int64_t cuts[4] = {0, blocks == 1 ? d.n : d.n / 5, blocks == 1 ? d.n : d.n / 2, d.n};
  SSTask* t = nullptr;
  int32_t p = int32_t(d.p);
  int status = new_task<T>(&t, &p, nullptr, nullptr, nullptr, nullptr, nullptr, 0);
  if (status) return status;
  o.attach(t);
  for (int b = 0; b < 3 && status == 0; ++b) {
    if (cuts[b + 1] == cuts[b]) continue;
    Block<T> blk(d, cuts[b], cuts[b + 1] - cuts[b], cols);
    __vrsiSSEditTask(t, VRS_SS_PARAM_N, &blk.n);
    __vrsiSSEditTask(t, VRS_SS_PARAM_X_STORAGE, &blk.storage);
    __vrsdSSEditTask(t, VRS_SS_PARAM_X, blk.x.data());
    t->weights = const_cast<T*>(blk.weights());
    status = basic<T>(t, mask, method, thr);
  }
  __vrsSSDeleteTask(&t);
  return status;
}

}  // namespace stats_test
