// Statistics task: creation, deletion and the parameter editors.
//
// The task stores the caller's pointers and never dereferences them here,
// except p, n and x_storage at creation. All value checks of the arrays are
// left to the compute kernels.
#include <cstddef>
#include <cstdint>

#include "nex_stats.h"
#include "service/export.hpp"
#include "service/services.hpp"
#include "statistics/task.hpp"

namespace {

using nex::stats::read_int;

enum class Kind : uint8_t { kNone, kArray, kInt };

struct ParamEntry {
  Kind kind;
  uint16_t offset;
  int16_t null_status;
};

// The parameter table: identifier, editor kind (d/s arrays or integers),
// field, and the status returned when the pointer given is null. Identifier
// 67 (sum) answers with the mean's status; the compute kernel reports a
// missing sum with its own code.
#define NEX_SS_PARAM_TABLE(X)             \
  X(1, kInt, p, -4001)                    \
  X(2, kInt, n, -4002)                    \
  X(3, kArray, x, -4032)                  \
  X(4, kInt, x_storage, -4044)            \
  X(5, kInt, indices, -4004)              \
  X(6, kArray, weights, -4005)            \
  X(7, kArray, mean, -4006)               \
  X(8, kArray, raw2, -4007)               \
  X(9, kArray, raw3, -4008)               \
  X(10, kArray, raw4, -4009)              \
  X(11, kArray, central2, -4010)          \
  X(12, kArray, central3, -4011)          \
  X(13, kArray, central4, -4012)          \
  X(14, kArray, kurtosis, -4013)          \
  X(15, kArray, skewness, -4014)          \
  X(16, kArray, min, -4015)               \
  X(17, kArray, max, -4016)               \
  X(18, kArray, variation, -4017)         \
  X(19, kArray, cov, -4018)               \
  X(20, kInt, cov_storage, -4044)         \
  X(21, kArray, cor, -4019)               \
  X(22, kInt, cor_storage, -4044)         \
  X(23, kArray, accum_weight, -4020)      \
  X(24, kInt, quant_order_n, -4022)       \
  X(25, kArray, quant_order, -4021)       \
  X(26, kArray, quant, -4023)             \
  X(27, kArray, order_stats, -4024)       \
  X(28, kInt, group_indices, -4038)       \
  X(29, kInt, pooled_storage, -4044)      \
  X(30, kArray, pooled_mean, -4035)       \
  X(31, kArray, pooled_cov, -4034)        \
  X(32, kInt, group_cov_indices, -4038)   \
  X(33, kArray, group_means, -4037)       \
  X(34, kInt, group_cov_storage, -4044)   \
  X(35, kArray, group_cov, -4036)         \
  X(36, kInt, robust_storage, -4044)      \
  X(37, kInt, robust_param_n, -4043)      \
  X(38, kArray, robust_params, -4042)     \
  X(39, kArray, robust_mean, -4028)       \
  X(40, kArray, robust_cov, -4027)        \
  X(41, kInt, outlier_param_n, -4040)     \
  X(42, kArray, outlier_params, -4039)    \
  X(43, kArray, outlier_weights, -4041)   \
  X(44, kInt, order_stats_storage, -4044) \
  X(45, kInt, partial_indices, -4045)     \
  X(46, kArray, partial_cov, -4046)       \
  X(47, kInt, partial_cov_storage, -4044) \
  X(48, kArray, partial_cor, -4047)       \
  X(49, kInt, partial_cor_storage, -4044) \
  X(50, kInt, missing_param_n, -4049)     \
  X(51, kArray, missing_params, -4048)    \
  X(52, kInt, init_n, -4052)              \
  X(53, kArray, init, -4053)              \
  X(54, kInt, simul_n, -4055)             \
  X(55, kArray, simul, -4054)             \
  X(56, kInt, estimates_n, -4056)         \
  X(57, kArray, estimates, -4057)         \
  X(58, kInt, prior_n, -4061)             \
  X(59, kArray, prior, -4062)             \
  X(60, kArray, param_cor, -4071)         \
  X(61, kInt, param_cor_storage, -4044)   \
  X(62, kInt, stream_param_n, -4066)      \
  X(63, kArray, stream_params, -4065)     \
  X(64, kInt, stream_order_n, -4069)      \
  X(65, kArray, stream_order, -4068)      \
  X(66, kArray, stream_quant, -4070)      \
  X(67, kArray, sum, -4006)               \
  X(68, kArray, raw2_sum, -4075)          \
  X(69, kArray, raw3_sum, -4076)          \
  X(70, kArray, raw4_sum, -4077)          \
  X(71, kArray, central2_sum, -4078)      \
  X(72, kArray, central3_sum, -4079)      \
  X(73, kArray, central4_sum, -4080)      \
  X(74, kArray, cp, -4081)                \
  X(75, kInt, cp_storage, -4044)          \
  X(76, kArray, median_abs_dev, -4082)    \
  X(77, kArray, mean_abs_dev, -4083)      \
  X(78, kArray, sorted, -4084)            \
  X(79, kInt, sorted_storage, -4044)

constexpr int kParamCount = 80;  // identifiers 1 .. 79; slot 0 unused

constexpr auto make_param_table() {
  struct Table {
    ParamEntry e[kParamCount];
  } t{};
#define NEX_SS_PARAM_ROW(id, kind, field, status) \
  t.e[id] = ParamEntry{Kind::kind, static_cast<uint16_t>(offsetof(SSTask, field)), status};
  NEX_SS_PARAM_TABLE(NEX_SS_PARAM_ROW)
#undef NEX_SS_PARAM_ROW
  return t;
}

constexpr auto kParams = make_param_table();

int edit(SSTask* task, int64_t id, const void* value, Kind kind) {
  if (task == nullptr) return VRS_SS_ERROR_NULL_TASK;
  if (id <= 0 || id >= kParamCount || kParams.e[id].kind != kind) return VRS_SS_ERROR_BAD_PARAM_ID;
  const ParamEntry& e = kParams.e[id];
  if (value == nullptr) return e.null_status;
  *reinterpret_cast<const void**>(reinterpret_cast<char*>(task) + e.offset) = value;
  return 0;
}

template <class T>
int new_task(SSTask** out, const void* p, const void* n, const void* x_storage, const T* x,
             const T* weights, const void* indices, int wide_ints, int is_double) {
  if (out == nullptr) return VRS_SS_ERROR_NULL_TASK;
  if (p == nullptr) return VRS_SS_ERROR_BAD_P;
  const int64_t pv = wide_ints ? *static_cast<const int64_t*>(p) : *static_cast<const int32_t*>(p);
  if (pv <= 0) return VRS_SS_ERROR_BAD_P;
  if (x != nullptr) {
    if (x_storage == nullptr) return VRS_SS_ERROR_NO_STORAGE;
    const int64_t sv = wide_ints ? *static_cast<const int64_t*>(x_storage)
                                 : *static_cast<const int32_t*>(x_storage);
    if (sv != VRS_SS_STORAGE_ROWS && sv != VRS_SS_STORAGE_COLS) return VRS_SS_ERROR_BAD_STORAGE;
    if (n == nullptr) return VRS_SS_ERROR_BAD_N;
    const int64_t nv =
        wide_ints ? *static_cast<const int64_t*>(n) : *static_cast<const int32_t*>(n);
    if (nv <= 0) return VRS_SS_ERROR_BAD_N;
  }
  auto* task = static_cast<SSTask*>(nex::service::allocate(sizeof(SSTask)));
  if (task == nullptr) return VRS_SS_ERROR_ALLOCATION;
  *task = SSTask{};
  task->wide_ints = wide_ints;
  task->task_kind = 2;
  task->is_double = is_double;
  task->p = const_cast<void*>(p);
  task->n = const_cast<void*>(n);
  task->x_storage = const_cast<void*>(x_storage);
  task->x = const_cast<T*>(x);
  task->weights = const_cast<T*>(weights);
  task->indices = const_cast<void*>(indices);
  *out = task;
  return 0;
}

// Typed editors: store each non-null argument into its field.
template <class... Fields>
int store(SSTask* task, Fields... pairs) {
  if (task == nullptr) return VRS_SS_ERROR_NULL_TASK;
  auto put = [](void*& field, const void* v) {
    if (v != nullptr) field = const_cast<void*>(v);
  };
  (put(task->*(pairs.first), pairs.second), ...);
  return 0;
}

struct F {
  void* SSTask::*first;
  const void* second;
};

}  // namespace

NEX_EXPORT int __vrsdSSNewTask(SSTask** task, const void* p, const void* n, const void* x_storage,
                               const double* x, const double* weights, const void* indices,
                               int wide_ints) {
  return new_task(task, p, n, x_storage, x, weights, indices, wide_ints, 1);
}
NEX_EXPORT int __vrssSSNewTask(SSTask** task, const void* p, const void* n, const void* x_storage,
                               const float* x, const float* weights, const void* indices,
                               int wide_ints) {
  return new_task(task, p, n, x_storage, x, weights, indices, wide_ints, 0);
}

NEX_EXPORT int __vrsSSDeleteTask(SSTask** task) {
  if (task == nullptr) return VRS_SS_ERROR_NULL_TASK;
  SSTask* t = *task;
  if (t == nullptr) return 0;
  if (t->saved_mean != nullptr) {
    nex::service::deallocate(t->saved_mean);
    t->saved_mean = nullptr;
  }
  for (int32_t i = 0; i < t->cleanup_count && i < 1; ++i)
    if (t->cleanup_hook != nullptr) t->cleanup_hook(t);
  nex::service::deallocate(t);
  *task = nullptr;
  return 0;
}

NEX_EXPORT int __vrsdSSEditTask(SSTask* task, int64_t param, const void* value) {
  return edit(task, param, value, Kind::kArray);
}
NEX_EXPORT int __vrssSSEditTask(SSTask* task, int64_t param, const void* value)
    __attribute__((alias("__vrsdSSEditTask")));
NEX_EXPORT int __vrsiSSEditTask(SSTask* task, int64_t param, const void* value) {
  return edit(task, param, value, Kind::kInt);
}

// Each typed editor is one function reached by its d and s names.
#define NEX_SS_EDITOR(name, params, ...) \
  NEX_EXPORT int __vrsdSS##name params { \
    return store(task, __VA_ARGS__);     \
  }                                      \
  NEX_EXPORT int __vrssSS##name params __attribute__((alias("__vrsdSS" #name)));

NEX_SS_EDITOR(EditMoments,
              (SSTask * task, const void* mean, const void* raw2, const void* raw3,
               const void* raw4, const void* central2, const void* central3, const void* central4),
              F{&SSTask::mean, mean}, F{&SSTask::raw2, raw2}, F{&SSTask::raw3, raw3},
              F{&SSTask::raw4, raw4}, F{&SSTask::central2, central2},
              F{&SSTask::central3, central3}, F{&SSTask::central4, central4})
NEX_SS_EDITOR(EditSums,
              (SSTask * task, const void* sum, const void* raw2_sum, const void* raw3_sum,
               const void* raw4_sum, const void* central2_sum, const void* central3_sum,
               const void* central4_sum),
              F{&SSTask::sum, sum}, F{&SSTask::raw2_sum, raw2_sum}, F{&SSTask::raw3_sum, raw3_sum},
              F{&SSTask::raw4_sum, raw4_sum}, F{&SSTask::central2_sum, central2_sum},
              F{&SSTask::central3_sum, central3_sum}, F{&SSTask::central4_sum, central4_sum})
NEX_SS_EDITOR(EditCovCor,
              (SSTask * task, const void* mean, const void* cov, const void* cov_storage,
               const void* cor, const void* cor_storage),
              F{&SSTask::mean, mean}, F{&SSTask::cov, cov}, F{&SSTask::cov_storage, cov_storage},
              F{&SSTask::cor, cor}, F{&SSTask::cor_storage, cor_storage})
NEX_SS_EDITOR(EditCP,
              (SSTask * task, const void* mean, const void* sum, const void* cp,
               const void* cp_storage),
              F{&SSTask::mean, mean}, F{&SSTask::sum, sum}, F{&SSTask::cp, cp},
              F{&SSTask::cp_storage, cp_storage})
NEX_SS_EDITOR(EditPartialCovCor,
              (SSTask * task, const void* partial_indices, const void* cov, const void* cov_storage,
               const void* cor, const void* cor_storage, const void* partial_cov,
               const void* partial_cov_storage, const void* partial_cor,
               const void* partial_cor_storage),
              F{&SSTask::partial_indices, partial_indices}, F{&SSTask::cov, cov},
              F{&SSTask::cov_storage, cov_storage}, F{&SSTask::cor, cor},
              F{&SSTask::cor_storage, cor_storage}, F{&SSTask::partial_cov, partial_cov},
              F{&SSTask::partial_cov_storage, partial_cov_storage},
              F{&SSTask::partial_cor, partial_cor},
              F{&SSTask::partial_cor_storage, partial_cor_storage})
NEX_SS_EDITOR(EditQuantiles,
              (SSTask * task, const void* quant_order_n, const void* quant_order, const void* quant,
               const void* order_stats, const void* order_stats_storage),
              F{&SSTask::quant_order_n, quant_order_n}, F{&SSTask::quant_order, quant_order},
              F{&SSTask::quant, quant}, F{&SSTask::order_stats, order_stats},
              F{&SSTask::order_stats_storage, order_stats_storage})
NEX_SS_EDITOR(EditStreamQuantiles,
              (SSTask * task, const void* stream_order_n, const void* stream_order,
               const void* stream_quant, const void* stream_param_n, const void* stream_params),
              F{&SSTask::stream_order_n, stream_order_n}, F{&SSTask::stream_order, stream_order},
              F{&SSTask::stream_quant, stream_quant}, F{&SSTask::stream_param_n, stream_param_n},
              F{&SSTask::stream_params, stream_params})
NEX_SS_EDITOR(EditPooledCovariance,
              (SSTask * task, const void* group_indices, const void* pooled_mean,
               const void* pooled_cov, const void* group_cov_indices, const void* group_means,
               const void* group_cov),
              F{&SSTask::group_indices, group_indices}, F{&SSTask::pooled_mean, pooled_mean},
              F{&SSTask::pooled_cov, pooled_cov}, F{&SSTask::group_cov_indices, group_cov_indices},
              F{&SSTask::group_means, group_means}, F{&SSTask::group_cov, group_cov})
NEX_SS_EDITOR(EditRCov,
              (SSTask * task, const void* robust_storage, const void* robust_param_n,
               const void* robust_params, const void* robust_mean, const void* robust_cov),
              F{&SSTask::robust_storage, robust_storage},
              F{&SSTask::robust_param_n, robust_param_n}, F{&SSTask::robust_params, robust_params},
              F{&SSTask::robust_mean, robust_mean}, F{&SSTask::robust_cov, robust_cov})
NEX_SS_EDITOR(EditOutDetect,
              (SSTask * task, const void* outlier_param_n, const void* outlier_params,
               const void* outlier_weights),
              F{&SSTask::outlier_param_n, outlier_param_n},
              F{&SSTask::outlier_params, outlier_params},
              F{&SSTask::outlier_weights, outlier_weights})
NEX_SS_EDITOR(EditMissingVals,
              (SSTask * task, const void* missing_param_n, const void* missing_params,
               const void* init_n, const void* init, const void* prior_n, const void* prior,
               const void* simul_n, const void* simul, const void* estimates_n,
               const void* estimates),
              F{&SSTask::missing_param_n, missing_param_n},
              F{&SSTask::missing_params, missing_params}, F{&SSTask::init_n, init_n},
              F{&SSTask::init, init}, F{&SSTask::prior_n, prior_n}, F{&SSTask::prior, prior},
              F{&SSTask::simul_n, simul_n}, F{&SSTask::simul, simul},
              F{&SSTask::estimates_n, estimates_n}, F{&SSTask::estimates, estimates})
NEX_SS_EDITOR(EditMtxParametrz,
              (SSTask * task, const void* cor, const void* cor_storage, const void* param_cor,
               const void* param_cor_storage),
              F{&SSTask::cor, cor}, F{&SSTask::cor_storage, cor_storage},
              F{&SSTask::param_cor, param_cor}, F{&SSTask::param_cor_storage, param_cor_storage})
