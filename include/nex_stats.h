/* Summary statistics: task record, parameter identifiers, estimate masks,
 * method flags, storage codes, status codes and the exported entries.
 *
 * A task holds pointers to the caller's arrays; compute kernels read and
 * write through them. Integer parameters are pointers to 32-bit integers, or
 * to 64-bit integers when the task was created with wide_ints = 1. */
#ifndef NEX_STATS_H
#define NEX_STATS_H

#include <stdint.h>

#include "nex_api.h"

NEX_EXTERN_C_BEGIN

/* ---- Status codes ------------------------------------------------------ */

#define VRS_SS_ERROR_OK 0
#define VRS_SS_ERROR_BAD_PARAM_ID (-3)
#define VRS_SS_ERROR_ALLOCATION (-4000)
#define VRS_SS_ERROR_BAD_P (-4001)
#define VRS_SS_ERROR_BAD_N (-4002)
#define VRS_SS_ERROR_BAD_STORAGE (-4003)
#define VRS_SS_ERROR_BAD_INDICES (-4004)
#define VRS_SS_ERROR_NO_WEIGHTS (-4005)
#define VRS_SS_ERROR_NO_MEAN (-4006)
#define VRS_SS_ERROR_NO_RAW2 (-4007)
#define VRS_SS_ERROR_NO_RAW3 (-4008)
#define VRS_SS_ERROR_NO_RAW4 (-4009)
#define VRS_SS_ERROR_NO_CENTRAL2 (-4010)
#define VRS_SS_ERROR_NO_CENTRAL3 (-4011)
#define VRS_SS_ERROR_NO_CENTRAL4 (-4012)
#define VRS_SS_ERROR_NO_KURTOSIS (-4013)
#define VRS_SS_ERROR_NO_SKEWNESS (-4014)
#define VRS_SS_ERROR_NO_MIN (-4015)
#define VRS_SS_ERROR_NO_MAX (-4016)
#define VRS_SS_ERROR_NO_VARIATION (-4017)
#define VRS_SS_ERROR_NO_COV (-4018)
#define VRS_SS_ERROR_NO_COR (-4019)
#define VRS_SS_ERROR_NO_ACCUM_WEIGHT (-4020)
#define VRS_SS_ERROR_NO_QUANT_ORDER (-4021)
#define VRS_SS_ERROR_BAD_QUANT_ORDER (-4022)
#define VRS_SS_ERROR_NO_QUANT (-4023)
#define VRS_SS_ERROR_NO_ORDER_STATS (-4024)
#define VRS_SS_ERROR_ROBUST_FAILED (-4026)
#define VRS_SS_ERROR_NO_ROBUST_COV (-4027)
#define VRS_SS_ERROR_NO_ROBUST_MEAN (-4028)
#define VRS_SS_ERROR_BAD_METHOD (-4029)
#define VRS_SS_ERROR_NO_GROUP_INDICES (-4030)
#define VRS_SS_ERROR_NULL_TASK (-4031)
#define VRS_SS_ERROR_NO_X (-4032)
#define VRS_SS_ERROR_BAD_COV (-4033)
#define VRS_SS_ERROR_NO_POOLED_COV (-4034)
#define VRS_SS_ERROR_NO_POOLED_MEAN (-4035)
#define VRS_SS_ERROR_NO_GROUP_COV (-4036)
#define VRS_SS_ERROR_NO_GROUP_MEANS (-4037)
#define VRS_SS_ERROR_BAD_GROUP_INDEX (-4038)
#define VRS_SS_ERROR_NO_OUTLIER_PARAMS (-4039)
#define VRS_SS_ERROR_NO_OUTLIER_PARAM_N (-4040)
#define VRS_SS_ERROR_NO_OUTLIER_WEIGHTS (-4041)
#define VRS_SS_ERROR_NO_ROBUST_PARAMS (-4042)
#define VRS_SS_ERROR_NO_ROBUST_PARAM_N (-4043)
#define VRS_SS_ERROR_NO_STORAGE (-4044)
#define VRS_SS_ERROR_NO_PARTIAL_INDICES (-4045)
#define VRS_SS_ERROR_NO_PARTIAL_COV (-4046)
#define VRS_SS_ERROR_NO_PARTIAL_COR (-4047)
#define VRS_SS_ERROR_NO_MISSING_PARAMS (-4048)
#define VRS_SS_ERROR_NO_MISSING_PARAM_N (-4049)
#define VRS_SS_ERROR_BAD_MISSING_PARAM_N (-4050)
#define VRS_SS_ERROR_BAD_MISSING_COUNT (-4051)
#define VRS_SS_ERROR_NO_INIT_N (-4052)
#define VRS_SS_ERROR_NO_INIT (-4053)
#define VRS_SS_ERROR_NO_SIMUL (-4054)
#define VRS_SS_ERROR_NO_SIMUL_N (-4055)
#define VRS_SS_ERROR_NO_ESTIMATES_N (-4056)
#define VRS_SS_ERROR_NO_ESTIMATES (-4057)
#define VRS_SS_ERROR_BAD_SIMUL_N (-4058)
#define VRS_SS_ERROR_BAD_ESTIMATES_N (-4059)
#define VRS_SS_ERROR_NO_MISSING_OUTPUT (-4060)
#define VRS_SS_ERROR_NO_PRIOR_N (-4061)
#define VRS_SS_ERROR_NO_PRIOR (-4062)
#define VRS_SS_ERROR_MISSING_MISMATCH (-4063)
#define VRS_SS_ERROR_NO_STREAM_PARAM_N (-4064)
#define VRS_SS_ERROR_NO_STREAM_PARAMS (-4065)
#define VRS_SS_ERROR_BAD_STREAM_PARAM_N (-4066)
#define VRS_SS_ERROR_BAD_EPSILON (-4067)
#define VRS_SS_ERROR_NO_STREAM_ORDER (-4068)
#define VRS_SS_ERROR_BAD_STREAM_ORDER (-4069)
#define VRS_SS_ERROR_NO_STREAM_QUANT (-4070)
#define VRS_SS_ERROR_NO_PARAM_COR (-4071)
#define VRS_SS_ERROR_PARAMETRIZE_FAILED (-4072)
#define VRS_SS_ERROR_PARTIAL_BAD_P (-4073)
#define VRS_SS_ERROR_NO_SUM (-4074)
#define VRS_SS_ERROR_NO_RAW2_SUM (-4075)
#define VRS_SS_ERROR_NO_RAW3_SUM (-4076)
#define VRS_SS_ERROR_NO_RAW4_SUM (-4077)
#define VRS_SS_ERROR_NO_CENTRAL2_SUM (-4078)
#define VRS_SS_ERROR_NO_CENTRAL3_SUM (-4079)
#define VRS_SS_ERROR_NO_CENTRAL4_SUM (-4080)
#define VRS_SS_ERROR_NO_CP (-4081)
#define VRS_SS_ERROR_NO_MEDIAN_ABS_DEV (-4082)
#define VRS_SS_ERROR_NO_MEAN_ABS_DEV (-4083)
#define VRS_SS_ERROR_NO_SORTED (-4084)
#define VRS_SS_ERROR_INPLACE_SORT_WITH_INDICES (-4085)
#define VRS_SS_ERROR_EIGEN_FAILED (-5000)
#define VRS_SS_ERROR_PARTIAL_POTRF (-5010)
#define VRS_SS_ERROR_PARTIAL_POTRI (-5011)
#define VRS_SS_ERROR_EM_FIRST (-5021)
#define VRS_SS_ERROR_EM_SECOND (-5022)
#define VRS_SS_ERROR_DA_POTRF (-5023)
#define VRS_SS_ERROR_DA_POTRF2 (-5024)
#define VRS_SS_ERROR_DA_TRTRI (-5025)
#define VRS_SS_ERROR_PARAM_SYEV (-5030)
#define VRS_SS_ERROR_RANK_SYEV (-5040)
#define VRS_SS_ERROR_INV_POTRF (-5041)
#define VRS_SS_ERROR_INV_POTRI (-5042)

/* ---- Parameter identifiers (64-bit) ------------------------------------ */

#define VRS_SS_PARAM_P 1
#define VRS_SS_PARAM_N 2
#define VRS_SS_PARAM_X 3
#define VRS_SS_PARAM_X_STORAGE 4
#define VRS_SS_PARAM_INDICES 5
#define VRS_SS_PARAM_WEIGHTS 6
#define VRS_SS_PARAM_MEAN 7
#define VRS_SS_PARAM_RAW2 8
#define VRS_SS_PARAM_RAW3 9
#define VRS_SS_PARAM_RAW4 10
#define VRS_SS_PARAM_CENTRAL2 11
#define VRS_SS_PARAM_CENTRAL3 12
#define VRS_SS_PARAM_CENTRAL4 13
#define VRS_SS_PARAM_KURTOSIS 14
#define VRS_SS_PARAM_SKEWNESS 15
#define VRS_SS_PARAM_MIN 16
#define VRS_SS_PARAM_MAX 17
#define VRS_SS_PARAM_VARIATION 18
#define VRS_SS_PARAM_COV 19
#define VRS_SS_PARAM_COV_STORAGE 20
#define VRS_SS_PARAM_COR 21
#define VRS_SS_PARAM_COR_STORAGE 22
#define VRS_SS_PARAM_ACCUM_WEIGHT 23
#define VRS_SS_PARAM_QUANT_ORDER_N 24
#define VRS_SS_PARAM_QUANT_ORDER 25
#define VRS_SS_PARAM_QUANT 26
#define VRS_SS_PARAM_ORDER_STATS 27
#define VRS_SS_PARAM_GROUP_INDICES 28
#define VRS_SS_PARAM_POOLED_STORAGE 29
#define VRS_SS_PARAM_POOLED_MEAN 30
#define VRS_SS_PARAM_POOLED_COV 31
#define VRS_SS_PARAM_GROUP_COV_INDICES 32
#define VRS_SS_PARAM_GROUP_MEANS 33
#define VRS_SS_PARAM_GROUP_COV_STORAGE 34
#define VRS_SS_PARAM_GROUP_COV 35
#define VRS_SS_PARAM_ROBUST_STORAGE 36
#define VRS_SS_PARAM_ROBUST_PARAM_N 37
#define VRS_SS_PARAM_ROBUST_PARAMS 38
#define VRS_SS_PARAM_ROBUST_MEAN 39
#define VRS_SS_PARAM_ROBUST_COV 40
#define VRS_SS_PARAM_OUTLIER_PARAM_N 41
#define VRS_SS_PARAM_OUTLIER_PARAMS 42
#define VRS_SS_PARAM_OUTLIER_WEIGHTS 43
#define VRS_SS_PARAM_ORDER_STATS_STORAGE 44
#define VRS_SS_PARAM_PARTIAL_INDICES 45
#define VRS_SS_PARAM_PARTIAL_COV 46
#define VRS_SS_PARAM_PARTIAL_COV_STORAGE 47
#define VRS_SS_PARAM_PARTIAL_COR 48
#define VRS_SS_PARAM_PARTIAL_COR_STORAGE 49
#define VRS_SS_PARAM_MISSING_PARAM_N 50
#define VRS_SS_PARAM_MISSING_PARAMS 51
#define VRS_SS_PARAM_INIT_N 52
#define VRS_SS_PARAM_INIT 53
#define VRS_SS_PARAM_SIMUL_N 54
#define VRS_SS_PARAM_SIMUL 55
#define VRS_SS_PARAM_ESTIMATES_N 56
#define VRS_SS_PARAM_ESTIMATES 57
#define VRS_SS_PARAM_PRIOR_N 58
#define VRS_SS_PARAM_PRIOR 59
#define VRS_SS_PARAM_PARAM_COR 60
#define VRS_SS_PARAM_PARAM_COR_STORAGE 61
#define VRS_SS_PARAM_STREAM_PARAM_N 62
#define VRS_SS_PARAM_STREAM_PARAMS 63
#define VRS_SS_PARAM_STREAM_ORDER_N 64
#define VRS_SS_PARAM_STREAM_ORDER 65
#define VRS_SS_PARAM_STREAM_QUANT 66
#define VRS_SS_PARAM_SUM 67
#define VRS_SS_PARAM_RAW2_SUM 68
#define VRS_SS_PARAM_RAW3_SUM 69
#define VRS_SS_PARAM_RAW4_SUM 70
#define VRS_SS_PARAM_CENTRAL2_SUM 71
#define VRS_SS_PARAM_CENTRAL3_SUM 72
#define VRS_SS_PARAM_CENTRAL4_SUM 73
#define VRS_SS_PARAM_CP 74
#define VRS_SS_PARAM_CP_STORAGE 75
#define VRS_SS_PARAM_MEDIAN_ABS_DEV 76
#define VRS_SS_PARAM_MEAN_ABS_DEV 77
#define VRS_SS_PARAM_SORTED 78
#define VRS_SS_PARAM_SORTED_STORAGE 79

/* ---- Estimate mask bits (64-bit word) ---------------------------------- */

#define VRS_SS_EST_MEAN 0x1ULL
#define VRS_SS_EST_RAW2 0x2ULL
#define VRS_SS_EST_RAW3 0x4ULL
#define VRS_SS_EST_RAW4 0x8ULL
#define VRS_SS_EST_CENTRAL2 0x10ULL
#define VRS_SS_EST_CENTRAL3 0x20ULL
#define VRS_SS_EST_CENTRAL4 0x40ULL
#define VRS_SS_EST_KURTOSIS 0x80ULL
#define VRS_SS_EST_SKEWNESS 0x100ULL
#define VRS_SS_EST_VARIATION 0x200ULL
#define VRS_SS_EST_MIN 0x400ULL
#define VRS_SS_EST_MAX 0x800ULL
#define VRS_SS_EST_COV 0x1000ULL
#define VRS_SS_EST_COR 0x2000ULL
#define VRS_SS_EST_POOLED_COV 0x4000ULL
#define VRS_SS_EST_GROUP_COV 0x8000ULL
#define VRS_SS_EST_QUANTILES 0x10000ULL
#define VRS_SS_EST_ORDER_STATS 0x20000ULL
#define VRS_SS_EST_PARTIAL_COV 0x100000ULL
#define VRS_SS_EST_PARTIAL_COR 0x200000ULL
#define VRS_SS_EST_SUM 0x2000000ULL
#define VRS_SS_EST_RAW2_SUM 0x4000000ULL
#define VRS_SS_EST_RAW3_SUM 0x8000000ULL
#define VRS_SS_EST_RAW4_SUM 0x10000000ULL
#define VRS_SS_EST_CENTRAL2_SUM 0x20000000ULL
#define VRS_SS_EST_CENTRAL3_SUM 0x40000000ULL
#define VRS_SS_EST_CENTRAL4_SUM 0x80000000ULL
#define VRS_SS_EST_CP 0x100000000ULL
#define VRS_SS_EST_MEDIAN_ABS_DEV 0x200000000ULL
#define VRS_SS_EST_MEAN_ABS_DEV 0x400000000ULL
#define VRS_SS_EST_POOLED_MEAN 0x800000000ULL
#define VRS_SS_EST_GROUP_MEAN 0x1000000000ULL

/* ---- Method flags (64-bit word) ---------------------------------------- */

#define VRS_SS_METHOD_RAW 0x1ULL
#define VRS_SS_METHOD_ONE_PASS 0x2ULL
#define VRS_SS_METHOD_PARAMETRIZE 0x4ULL
#define VRS_SS_METHOD_ROBUST 0x8ULL
#define VRS_SS_METHOD_MISSING 0x10ULL
#define VRS_SS_METHOD_OUTLIERS 0x20ULL
#define VRS_SS_METHOD_STREAM_FINAL 0x40ULL
#define VRS_SS_METHOD_STREAM_UPDATE 0x80ULL
#define VRS_SS_METHOD_USER_MEAN 0x100ULL
#define VRS_SS_METHOD_FROM_SUMS 0x200ULL
#define VRS_SS_METHOD_FROM_SUMS_ALT 0x400ULL
#define VRS_SS_METHOD_SORT 0x100000ULL

/* ---- Storage codes ----------------------------------------------------- */

/* Observation layouts: rows puts x[i*n + j] (variable i, observation j),
 * columns puts x[j*p + i]. */
#define VRS_SS_STORAGE_ROWS 0x10000
#define VRS_SS_STORAGE_COLS 0x20000
/* Symmetric matrix layouts. */
#define VRS_SS_MATRIX_FULL 0
#define VRS_SS_MATRIX_LOWER_PACKED 1
#define VRS_SS_MATRIX_UPPER_PACKED 2

/* ---- Records ----------------------------------------------------------- */

/* Threader slots. A body of parallel_for is called once per item; a body of
 * parallel_region once per thread, with 0 as its second argument. */
typedef void (*SSForBody)(int item, int thread, int threads, void* context);
typedef void (*SSRegionBody)(int thread, int unused, int threads, void* context);

typedef struct SSThreader {
  void (*parallel_for)(int items, int threads, void* context, SSForBody body);
  void (*parallel_for_alt)(int items, int threads, void* context, SSForBody body);
  void (*parallel_region)(int threads, void* context, SSRegionBody body);
  void* reserved;
  int (*max_threads)(void);
} SSThreader;

struct SSTask;
typedef void (*SSCleanupHook)(struct SSTask* task);

/* Integer parameters ("iparam") point to int32_t, or to int64_t when
 * wide_ints is 1. Arrays point to double in a d task and float in an s task.
 * Only stream_state and saved_mean are owned by the task. */
typedef struct SSTask {
  int32_t wide_ints;
  int32_t task_kind;
  int32_t is_double;
  void* p;
  void* n;
  void* indices;
  void* x;
  void* weights;
  void* accum_weight;
  void* x_storage;
  void* param_cor;
  void* param_cor_storage;
  void* mean;
  void* raw2;
  void* raw3;
  void* raw4;
  void* central2;
  void* central3;
  void* central4;
  void* sum;
  void* raw2_sum;
  void* raw3_sum;
  void* raw4_sum;
  void* central2_sum;
  void* central3_sum;
  void* central4_sum;
  void* kurtosis;
  void* skewness;
  void* variation;
  void* min;
  void* max;
  void* cov_storage;
  void* cov;
  void* cor_storage;
  void* cor;
  void* cp_storage;
  void* cp;
  void* group_indices;
  void* group_cov_indices;
  void* group_means;
  void* group_cov;
  void* group_cov_storage;
  void* pooled_mean;
  void* pooled_cov;
  void* pooled_storage;
  void* quant_order_n;
  void* quant_order;
  void* quant;
  void* order_stats;
  void* order_stats_storage;
  void* stream_order_n;
  void* stream_order;
  void* stream_quant;
  void* stream_state;
  void* stream_param_n;
  void* stream_params;
  void* mean_abs_dev;
  void* median_abs_dev;
  void* robust_param_n;
  void* robust_params;
  void* robust_mean;
  void* robust_cov;
  void* robust_storage;
  void* outlier_param_n;
  void* outlier_params;
  void* outlier_weights;
  void* partial_indices;
  void* partial_cov;
  void* partial_cov_storage;
  void* partial_cor;
  void* partial_cor_storage;
  void* missing_param_n;
  void* missing_params;
  void* init_n;
  void* init;
  void* prior_n;
  void* prior;
  void* simul_n;
  void* simul;
  void* estimates_n;
  void* estimates;
  intptr_t mah_first;
  intptr_t mah_last;
  void* mah_mean;
  void* mah_inv_cov;
  void* mah_dist;
  void* mah_reserved;
  void* mah_work;
  intptr_t mah_work_n;
  int32_t cleanup_count;
  SSCleanupHook cleanup_hook;
  void* sorted;
  void* sorted_storage;
  void* saved_mean;
} SSTask;

/* ---- Task life and editors --------------------------------------------- */

NEX_API int __vrsdSSNewTask(SSTask** task, const void* p, const void* n, const void* x_storage,
                            const double* x, const double* weights, const void* indices,
                            int wide_ints);
NEX_API int __vrssSSNewTask(SSTask** task, const void* p, const void* n, const void* x_storage,
                            const float* x, const float* weights, const void* indices,
                            int wide_ints);
NEX_API int __vrsSSDeleteTask(SSTask** task);

NEX_API int __vrsdSSEditTask(SSTask* task, int64_t param, const void* value);
NEX_API int __vrssSSEditTask(SSTask* task, int64_t param, const void* value);
NEX_API int __vrsiSSEditTask(SSTask* task, int64_t param, const void* value);

/* Typed editors: a null argument leaves its field as it is. The d and s
 * names are one function each pair (they only store pointers). */
#define NEX_SS_TYPED_EDITORS(X)                                                                   \
  X(EditMoments,                                                                                  \
    (SSTask * task, const void* mean, const void* raw2, const void* raw3, const void* raw4,       \
     const void* central2, const void* central3, const void* central4))                           \
  X(EditSums, (SSTask * task, const void* sum, const void* raw2_sum, const void* raw3_sum,        \
               const void* raw4_sum, const void* central2_sum, const void* central3_sum,          \
               const void* central4_sum))                                                         \
  X(EditCovCor, (SSTask * task, const void* mean, const void* cov, const void* cov_storage,       \
                 const void* cor, const void* cor_storage))                                       \
  X(EditCP,                                                                                       \
    (SSTask * task, const void* mean, const void* sum, const void* cp, const void* cp_storage))   \
  X(EditPartialCovCor,                                                                            \
    (SSTask * task, const void* partial_indices, const void* cov, const void* cov_storage,        \
     const void* cor, const void* cor_storage, const void* partial_cov,                           \
     const void* partial_cov_storage, const void* partial_cor, const void* partial_cor_storage))  \
  X(EditQuantiles, (SSTask * task, const void* quant_order_n, const void* quant_order,            \
                    const void* quant, const void* order_stats, const void* order_stats_storage)) \
  X(EditStreamQuantiles,                                                                          \
    (SSTask * task, const void* stream_order_n, const void* stream_order,                         \
     const void* stream_quant, const void* stream_param_n, const void* stream_params))            \
  X(EditPooledCovariance,                                                                         \
    (SSTask * task, const void* group_indices, const void* pooled_mean, const void* pooled_cov,   \
     const void* group_cov_indices, const void* group_means, const void* group_cov))              \
  X(EditRCov, (SSTask * task, const void* robust_storage, const void* robust_param_n,             \
               const void* robust_params, const void* robust_mean, const void* robust_cov))       \
  X(EditOutDetect, (SSTask * task, const void* outlier_param_n, const void* outlier_params,       \
                    const void* outlier_weights))                                                 \
  X(EditMissingVals,                                                                              \
    (SSTask * task, const void* missing_param_n, const void* missing_params, const void* init_n,  \
     const void* init, const void* prior_n, const void* prior, const void* simul_n,               \
     const void* simul, const void* estimates_n, const void* estimates))                          \
  X(EditMtxParametrz, (SSTask * task, const void* cor, const void* cor_storage,                   \
                       const void* param_cor, const void* param_cor_storage))

#define NEX_SS_DECLARE_EDITOR(name, args) \
  NEX_API int __vrsdSS##name args;        \
  NEX_API int __vrssSS##name args;
NEX_SS_TYPED_EDITORS(NEX_SS_DECLARE_EDITOR)
#undef NEX_SS_DECLARE_EDITOR

/* ---- Compute kernels --------------------------------------------------- */

/* Estimate mask and method word are passed as low and high 32-bit halves. */
NEX_API int vrsdSSBasic(SSTask* task, uint32_t mask_low, uint32_t mask_high, uint32_t method_low,
                        uint32_t method_high, const SSThreader* threader);
NEX_API int vrssSSBasic(SSTask* task, uint32_t mask_low, uint32_t mask_high, uint32_t method_low,
                        uint32_t method_high, const SSThreader* threader);

/* ---- Ready threaders --------------------------------------------------- */

/* Runs every body on the calling thread; max_threads returns 1. */
NEX_API const SSThreader* __vrsSSThreaderSerial(void);
/* Starts the threads of each region per call; max_threads returns the limit
 * set below (initially the number of online processors, at least 1). If a
 * thread cannot be started, its bodies run on the calling thread. */
NEX_API const SSThreader* __vrsSSThreaderParallel(void);
/* Sets that limit (values below 1 are taken as 1) and returns the old one. */
NEX_API int __vrsSSThreaderParallelSetMax(int threads);

NEX_EXTERN_C_END

#endif /* NEX_STATS_H */
