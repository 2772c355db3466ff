/* Data fitting: one-dimensional piecewise-polynomial splines.
 *
 * A task keeps pointers to the caller's partition, function values, boundary
 * and internal conditions and coefficient blocks; it copies only scalars.
 * Create it, edit it, build the coefficients with one of the construction
 * entries, then search cells, interpolate or integrate, and delete it.
 *
 * Every operation returns a 32-bit signed status: 0 for success, one of the
 * FIT_STATUS_ codes below for failure. Sizes, hints, codes and indices are
 * 64-bit signed in every build; cell indices are 32-bit signed. */
#ifndef NEX_FIT_H
#define NEX_FIT_H

#include <stdint.h>

#include "nex_api.h"

NEX_EXTERN_C_BEGIN

/* ---- Status codes ------------------------------------------------------- */

#define FIT_STATUS_OK 0
#define FIT_STATUS_NULL_TASK (-1000)
#define FIT_STATUS_MEM_FAILURE (-1001)
#define FIT_STATUS_METHOD_NOT_SUPPORTED (-1002)
#define FIT_STATUS_BAD_NX (-1004)
#define FIT_STATUS_BAD_X (-1005)
#define FIT_STATUS_BAD_X_HINT (-1006)
#define FIT_STATUS_BAD_NY (-1007)
#define FIT_STATUS_BAD_Y (-1008)
#define FIT_STATUS_BAD_Y_HINT (-1009)
#define FIT_STATUS_BAD_SPLINE_ORDER (-1010)
#define FIT_STATUS_BAD_SPLINE_TYPE (-1011)
#define FIT_STATUS_BAD_IC_TYPE (-1012)
#define FIT_STATUS_BAD_IC (-1013)
#define FIT_STATUS_BAD_BC_TYPE (-1014)
#define FIT_STATUS_BAD_BC (-1015)
#define FIT_STATUS_BAD_PP_COEFF (-1016)
#define FIT_STATUS_BAD_PP_COEFF_HINT (-1017)
#define FIT_STATUS_BAD_PERIODIC_VALUES (-1018)
#define FIT_STATUS_BAD_ATTRIBUTE (-1019)
#define FIT_STATUS_BAD_INDEX (-1020)
#define FIT_STATUS_BAD_SITE_CELL (-1022)
#define FIT_STATUS_BAD_DATA_HINT (-1026)
#define FIT_STATUS_BAD_CELL_IDX (-1028)
#define FIT_STATUS_BAD_INTEGR_LIMITS (-1034)
#define FIT_STATUS_BAD_FLAG (-1036)
#define FIT_STATUS_NULL_RESULT_POINTER (-1037)
/* The result layout code of an interpolation or integration is unknown. */
#define FIT_STATUS_BAD_R_HINT (-1038)
#define FIT_STATUS_SOLVER_FAILURE (-1500)

/* ---- Partition forms (xhint) -------------------------------------------- */

#define FIT_NO_HINT 0
#define FIT_NON_UNIFORM_PARTITION 1
#define FIT_QUASI_UNIFORM_PARTITION 2
/* x holds two numbers, the two ends; breakpoints are equally spaced. */
#define FIT_UNIFORM_PARTITION 4

/* ---- Storage forms (yhint, scoeffhint) ---------------------------------- */

/* Function f's values are the row y[f] (row-pointer array of the task). */
#define FIT_MATRIX_STORAGE_ROWS 16
/* Value of function f at breakpoint i is y[i * ny + f]. */
#define FIT_MATRIX_STORAGE_COLS 32
/* One block: function f's values (or coefficients) follow those of f - 1. */
#define FIT_MATRIX_STORAGE_FUNCS_SEPARATE_OFF 128

/* ---- Spline orders and types -------------------------------------------- */

#define FIT_PP_LINEAR 2
#define FIT_PP_QUADRATIC 3
#define FIT_PP_CUBIC 4

#define FIT_PP_DEFAULT 0
#define FIT_PP_KNOTS_QUADRATIC 1
#define FIT_PP_NATURAL 2
#define FIT_PP_HERMITE 3
#define FIT_PP_BESSEL 4
#define FIT_PP_AKIMA 5
#define FIT_PP_HYMAN 9

/* ---- Internal conditions (ic_type) -------------------------------------- */

#define FIT_NO_IC 0
/* ic holds the first derivatives at the nx - 2 inner breakpoints. */
#define FIT_IC_1ST_DER 1
/* Second derivatives at inner breakpoints (stored; no kind reads them). */
#define FIT_IC_2ND_DER 2
/* ic holds the nx - 1 knots of a quadratic spline with additional knots:
 * ic[i - 1] lies strictly between x[i - 1] and x[i]. */
#define FIT_IC_Q_KNOT 8

/* ---- Boundary conditions (bc_type bits) --------------------------------- */

#define FIT_NO_BC 0
#define FIT_BC_NOT_A_KNOT 1
#define FIT_BC_FREE_END 2
#define FIT_BC_1ST_LEFT_DER 4
#define FIT_BC_1ST_RIGHT_DER 8
#define FIT_BC_2ND_LEFT_DER 16
#define FIT_BC_2ND_RIGHT_DER 32
#define FIT_BC_PERIODIC 64
/* Quadratic default kind only: bc[0] is the spline's value at the middle of
 * the first cell. */
#define FIT_BC_Q_VAL 128

/* ---- Attribute codes of the editors and queries ------------------------- */

#define FIT_X 1
#define FIT_Y 2
#define FIT_IC 3
#define FIT_BC 4
#define FIT_PP_SCOEFF 5
#define FIT_NX 14
#define FIT_XHINT 15
#define FIT_NY 16
#define FIT_YHINT 17
#define FIT_SPLINE_ORDER 18
#define FIT_SPLINE_TYPE 19
#define FIT_IC_TYPE 20
#define FIT_BC_TYPE 21
#define FIT_PP_COEFF_HINT 22
#define FIT_EXTRA_FLAG 23

/* ---- Search hints ------------------------------------------------------- */

/* sitehint: the sites are sorted in ascending order (compared for equality). */
#define FIT_SORTED_DATA 64
/* datahint[1] kinds; datahint[4] is the peak cell for FIT_PEAK_HINT. */
#define FIT_NO_DATA_HINT 0
#define FIT_PEAK_HINT 1

/* ---- Interpolation and integration options ------------------------------ */

/* cellhint of the interpolation: search the sites (cell, if not null,
 * receives the cells found), or take the cells given in `cell`. */
#define FIT_SEARCH_CELLS 0
#define FIT_CELLS_GIVEN 1

/* rhint, the result layout, for nf functions, n sites (or limit pairs) and
 * nd wanted derivative orders (1 for integration); q counts the wanted
 * orders in ascending order:
 *   FIT_RESULT_FUNCS_SITES_DERS (and 0): r[(f * n + j) * nd + q]
 *   FIT_RESULT_SITES_FUNCS_DERS:         r[(j * nf + f) * nd + q] */
#define FIT_RESULT_FUNCS_SITES_DERS 1
#define FIT_RESULT_SITES_FUNCS_DERS 2

/* ---- Records ------------------------------------------------------------ */

/* One bucket of the quasi-uniform lookup table: the breakpoint indices a
 * site of the bucket can lie between. */
typedef struct DfCellTable {
  int32_t lo;
  int32_t hi;
} DfCellTable;

#define FIT_CELL_TABLE_BYTES 8208

typedef struct DfTask {
  int32_t int64_api;   /* integer queries write 64 bits when non-zero */
  int8_t kind;         /* 4: one-dimensional */
  int32_t double_task; /* 1 double precision, 0 single */
  int32_t alive;       /* 1 while the task is valid */
  int64_t nx;
  const void* x; /* caller's partition, float or double */
  int64_t xhint;
  int64_t ny;
  const void** y; /* task's array of the caller's function pointers */
  int64_t yhint;
  int64_t s_order;
  int64_t s_type;
  int64_t ic_type;
  const void* ic;
  int64_t bc_type;
  const void* bc;
  void** scoeff; /* task's array of the caller's coefficient pointers */
  int64_t scoeffhint;
  int32_t extra_flag;
  int64_t cell_table_size; /* buckets m; the table holds m + 1 pairs */
  DfCellTable* cell_table;
  float cell_scale_s;
  double cell_scale_d;
} DfTask;

/* ---- Call-backs (d and s forms) ----------------------------------------- */

/* Search call-back: on entry every cell of the block is -1; the call-back
 * writes the cells it knows (convention of the search entries) and leaves
 * the others negative; those are then searched by the library. A negative
 * return ends the call with that status. */
typedef int (*DfdSearchCallBack)(int64_t n, const double* site, int32_t* cell, void* params);
typedef int (*DfsSearchCallBack)(int64_t n, const float* site, int32_t* cell, void* params);

/* Extrapolation call-back of the interpolation, called once per block for the
 * sites left of x[0] (left call-back) or right of the last breakpoint (right
 * call-back): n sites, `nd` derivative orders `der` (ascending), results
 * r[(j * ny + f) * nd + q] for site j, function f, order der[q]. */
typedef int (*DfdInterpCallBack)(int64_t n, const double* site, int64_t nd, const int32_t* der,
                                 int64_t ny, double* r, void* params);
typedef int (*DfsInterpCallBack)(int64_t n, const float* site, int64_t nd, const int32_t* der,
                                 int64_t ny, float* r, void* params);

/* Integration call-back for the part of an integral outside the partition:
 * n intervals [a[j], b[j]] (a[j] < b[j]) that lie left of x[0] (left
 * call-back) or right of the last breakpoint (right call-back); it writes the
 * integral of function f over interval j to r[j * ny + f]. */
typedef int (*DfdIntegrCallBack)(int64_t n, const double* a, const double* b, int64_t ny, double* r,
                                 void* params);
typedef int (*DfsIntegrCallBack)(int64_t n, const float* a, const float* b, int64_t ny, float* r,
                                 void* params);

/* ---- Task, editors and queries ------------------------------------------ */

NEX_API int nex_df_kernel_dNewTask1D(DfTask** task_out, int64_t nx, const double* x, int64_t xhint,
                                     int64_t ny, const double* y, int64_t yhint, int32_t int64_api);
NEX_API int nex_df_kernel_sNewTask1D(DfTask** task_out, int64_t nx, const float* x, int64_t xhint,
                                     int64_t ny, const float* y, int64_t yhint, int32_t int64_api);
NEX_API int nex_df_kernel_DeleteTask(DfTask** task_in_out);

/* scoeff must be writable: construction fills it. */
NEX_API int nex_df_kernel_dEditPPSpline1D(DfTask* task, int64_t s_order, int64_t s_type,
                                          int64_t bc_type, const double* bc, int64_t ic_type,
                                          const double* ic, double* scoeff, int64_t scoeffhint);
NEX_API int nex_df_kernel_sEditPPSpline1D(DfTask* task, int64_t s_order, int64_t s_type,
                                          int64_t bc_type, const float* bc, int64_t ic_type,
                                          const float* ic, float* scoeff, int64_t scoeffhint);
/* Attribute FIT_PP_SCOEFF takes a writable block. */
NEX_API int nex_df_kernel_dEditPtr(DfTask* task, int64_t attr, const double* ptr);
NEX_API int nex_df_kernel_sEditPtr(DfTask* task, int64_t attr, const float* ptr);
NEX_API int nex_df_kernel_iEditVal(DfTask* task, int64_t attr, int64_t value);
NEX_API int nex_df_kernel_dEditIdxPtr(DfTask* task, int64_t attr, int64_t idx, const double* ptr);
NEX_API int nex_df_kernel_sEditIdxPtr(DfTask* task, int64_t attr, int64_t idx, const float* ptr);
NEX_API int nex_df_kernel_dQueryPtr(DfTask* task, int64_t attr, const double** result_out);
NEX_API int nex_df_kernel_sQueryPtr(DfTask* task, int64_t attr, const float** result_out);
/* Writes an int64_t if the task was made with int64_api non-zero, else an
 * int32_t. */
NEX_API int nex_df_kernel_iQueryVal(DfTask* task, int64_t attr, void* result_out);
NEX_API int nex_df_kernel_dQueryIdxPtr(DfTask* task, int64_t attr, int64_t idx,
                                       const double** result_out);
NEX_API int nex_df_kernel_sQueryIdxPtr(DfTask* task, int64_t attr, int64_t idx,
                                       const float** result_out);

/* ---- Construction ------------------------------------------------------- */

/* Each entry: task, method (0, else -1002), a parameter handed through
 * (unused). The task's s_order must be that of the entry (2 linear, 3
 * quadratic, 4 cubic; else -1010), and ny, y and the coefficient blocks must
 * be set (-1007, -1008, -1016).
 *
 * Coefficients: s_order numbers per cell, ascending powers of t - left end.
 * Cubic kinds compute breakpoint derivatives m[i] and store the cubic
 * Hermite form of each cell:
 *   Default, Natural  C2 interpolant (one tridiagonal system per task; the
 *                     two entries build the same spline; Natural admits nx 2)
 *   Hermite           m at the nx - 2 inner breakpoints from ic
 *                     (ic_type FIT_IC_1ST_DER), ends from the boundary class
 *   Bessel            m[i] = slope at x[i] of the parabola through i-1, i, i+1
 *   Akima             Akima's weighted slopes (limit 1e-10 on the weights),
 *                     outer slopes extended linearly
 *   Hyman             Bessel's m passed through Hyman's monotonicity filter
 * bc_type, for the cubic kinds (bc[0] left value, bc[1] right value):
 *   1 not-a-knot     S''' continuous at x[1] and x[nx-2] (C2 kinds with
 *                    nx = 3: the parabola through the three points)
 *   2 free end       S'' = 0 at both ends
 *   12, 36, 24, 48   first (4 left, 8 right) or second (16 left, 32 right)
 *                    derivatives given
 *   64 periodic      first and last values must agree (else -1018 after
 *                    building); Hermite takes the common end derivative
 *                    from bc[0]; Default requires bc but reads no value
 *   anything else    -1014 (0 included)
 * The local kinds' end derivatives: not-a-knot from the continuity of S'''
 * with m[1], m[2] given; free end m0 = 1.5 s0 - 0.5 m1; second derivative
 * m0 = 1.5 s0 - 0.5 m1 - 0.25 h0 bc[0]; mirrored at the right.
 * Quadratic default (s_type 0): C1 quadratic with knots at the breakpoints,
 * fixed by one condition: 0/1 S'' continuous at x[1], 2 S''(x0) = 0,
 * 4 / 16 first / second derivative bc[0] at the left, 8 / 32 the same at the
 * right, 128 value bc[0] at the middle of the first cell; others -1014.
 * Quadratic with additional knots (s_type 1, ic_type with bit value 8): ic
 * holds nx - 1 knots, ic[i-1] strictly inside (x[i-1], x[i]) (else -1013);
 * the spline interpolates at the breakpoints, is C1 at the knots and
 * straight on the two end cells; its nx cells run between consecutive knots
 * (x[0], ic[0], ..., ic[nx-2], x[nx-1]), each in powers of t - its knot. */
#define NEX_FIT_CONSTRUCTION_ENTRIES(X) \
  X(LinearSpline1D)                     \
  X(QuadraticSpline1D)                  \
  X(DefaultCubicSpline1D)               \
  X(NaturalCubicSpline1D)               \
  X(HermiteCubicSpline1D)               \
  X(BesselCubicSpline1D)                \
  X(HymanCubicSpline1D)                 \
  X(AkimaCubicSpline1D)

#define NEX_FIT_DECLARE_CONSTRUCTION(name)                                         \
  NEX_API int nex_df_kernel_dDF##name(DfTask* task, int64_t method, void* params); \
  NEX_API int nex_df_kernel_sDF##name(DfTask* task, int64_t method, void* params);
NEX_FIT_CONSTRUCTION_ENTRIES(NEX_FIT_DECLARE_CONSTRUCTION)
#undef NEX_FIT_DECLARE_CONSTRUCTION

/* ---- Cell search -------------------------------------------------------- */

/* cell[j] for site[j]: 0 below x[0]; i for x[i-1] <= s < x[i] (1 <= i <=
 * nx - 2); nx - 1 for x[nx-2] <= s <= x[nx-1]; nx above x[nx-1].
 * cell_width is accepted for compatibility: cells are 32-bit in this build. */
NEX_API int nex_df_kernel_dDFSearch1D(DfTask* task, int64_t nsite, const double* site,
                                      int64_t sitehint, const double* datahint, int32_t* cell,
                                      DfdSearchCallBack search_cb, void* search_params,
                                      int32_t cell_width);
NEX_API int nex_df_kernel_sDFSearch1D(DfTask* task, int64_t nsite, const float* site,
                                      int64_t sitehint, const double* datahint, int32_t* cell,
                                      DfsSearchCallBack search_cb, void* search_params,
                                      int32_t cell_width);

/* Stand-alone kinds. The Uniform kinds read x[0] and x[1] as the two ends. */
#define NEX_FIT_DECLARE_SEARCH(p, T, CB, suffix)                                                  \
  NEX_API int nex_df_kernel_##p##DFUniformSearch1D##suffix(int64_t nx, const T* x, int64_t nsite, \
                                                           const T* site, T step, int32_t* cell); \
  NEX_API int nex_df_kernel_##p##DFUniUserDefSearch1D##suffix(                                    \
      int64_t nx, const T* x, int64_t nsite, const T* site, CB search_cb, void* search_params,    \
      T step, int32_t* cell);                                                                     \
  NEX_API int nex_df_kernel_##p##DFUserDefSearch1D##suffix(int64_t nx, const T* x, int64_t nsite, \
                                                           const T* site, CB search_cb,           \
                                                           void* search_params, int32_t* cell);
NEX_FIT_DECLARE_SEARCH(d, double, DfdSearchCallBack, )
NEX_FIT_DECLARE_SEARCH(d, double, DfdSearchCallBack, 32)
NEX_FIT_DECLARE_SEARCH(s, float, DfsSearchCallBack, )
NEX_FIT_DECLARE_SEARCH(s, float, DfsSearchCallBack, 32)
#undef NEX_FIT_DECLARE_SEARCH

NEX_API int nex_df_kernel_dDFQuasiUniformSearch1D(int64_t nx, const double* x, int64_t nsite,
                                                  const double* site, double step, int32_t* cell);
NEX_API int nex_df_kernel_sDFQuasiUniformSearch1D(int64_t nx, const float* x, int64_t nsite,
                                                  const float* site, float step, int32_t* cell);
/* start: the cell to start from (0 to nx); holds the last cell on return. */
NEX_API int nex_df_kernel_dDFSortedSearch1D(int64_t nx, const double* x, int64_t nsite,
                                            const double* site, int32_t* start, int32_t* cell);
NEX_API int nex_df_kernel_sDFSortedSearch1D(int64_t nx, const float* x, int64_t nsite,
                                            const float* site, int32_t* start, int32_t* cell);
NEX_API int nex_df_kernel_dDFPeakSearch1D(int64_t nx, const double* x, int64_t nsite,
                                          const double* site, int32_t* cell);
NEX_API int nex_df_kernel_sDFPeakSearch1D(int64_t nx, const float* x, int64_t nsite,
                                          const float* site, int32_t* cell);
NEX_API int nex_df_kernel_dDFHybridSearch1D(int64_t nx, const double* x, int64_t nsite,
                                            const double* site, int32_t* cell);
NEX_API int nex_df_kernel_sDFHybridSearch1D(int64_t nx, const float* x, int64_t nsite,
                                            const float* site, int32_t* cell);

/* ---- Interpolation ------------------------------------------------------ */

/* Evaluates the task's splines (or only searches, with s_order 0).
 *   nsite, site, sitehint, datahint: the sites and their hints (as search).
 *   ndorder, dorder: dorder[k] non-zero asks for derivative k, k below
 *     ndorder; a null dorder or ndorder 0 asks for values alone. Orders at
 *     or above s_order give 0.
 *   r, rhint: results, layout FIT_RESULT_... (see above); r may be null with
 *     s_order 0.
 *   cell, cellhint: FIT_SEARCH_CELLS writes the cells found to cell unless it
 *     is null; FIT_CELLS_GIVEN reads them (each 0 to nx, -1028 otherwise, and
 *     the site must lie in its cell, ends included, -1022 otherwise).
 *   le_cb, re_cb: extrapolation call-backs for sites left of x[0] and right
 *     of the last breakpoint; null extends the first or last polynomial.
 *   search_cb: search call-back, as in the search. */
NEX_API int nex_df_kernel_dDFInterpolate1D(DfTask* task, int64_t nsite, const double* site,
                                           int64_t sitehint, const double* datahint,
                                           int64_t ndorder, const int64_t* dorder, double* r,
                                           int64_t rhint, int32_t* cell, int64_t cellhint,
                                           DfdInterpCallBack le_cb, void* le_params,
                                           DfdInterpCallBack re_cb, void* re_params,
                                           DfdSearchCallBack search_cb, void* search_params);
NEX_API int nex_df_kernel_sDFInterpolate1D(DfTask* task, int64_t nsite, const float* site,
                                           int64_t sitehint, const double* datahint,
                                           int64_t ndorder, const int64_t* dorder, float* r,
                                           int64_t rhint, int32_t* cell, int64_t cellhint,
                                           DfsInterpCallBack le_cb, void* le_params,
                                           DfsInterpCallBack re_cb, void* re_params,
                                           DfsSearchCallBack search_cb, void* search_params);

/* ---- Integration -------------------------------------------------------- */

/* Integrates every function of the task from llim[j] to rlim[j], j below
 * nlim; swapped limits give the exactly negated result. llimhint, rlimhint
 * and the data hints steer the search of each limit array as in the search.
 * Results by rhint, with nd = 1. Parts of an interval outside the partition
 * go to le_cb / re_cb when given, else extend the first / last polynomial.
 * Null llim or rlim gives -1034, null r -1037.
 *
 * Cost. A pair costs the search of its two limits, O(log nx), and one
 * closed-form cell integral for each of the d whole cells between them,
 * summed two at a time: O(log nx + d). A single pair can't be had in O(log nx) soundly: that
 * needs running sums of the cell integrals, and the task keeps only pointers
 * to the caller's coefficients, which the caller may rewrite between calls
 * without telling the task, so sums kept from an earlier call can't be
 * trusted and rebuilding them reads every cell. Within one call the sums
 * are tabulated once the pairs' whole cells add up to more than two sweeps
 * of the partition; every pair then costs O(log nx). */
NEX_API int nex_df_kernel_dDFIntegrate1D(DfTask* task, int64_t nlim, const double* llim,
                                         int64_t llimhint, const double* rlim, int64_t rlimhint,
                                         const double* ldatahint, const double* rdatahint,
                                         double* r, int64_t rhint, DfdIntegrCallBack le_cb,
                                         void* le_params, DfdIntegrCallBack re_cb, void* re_params,
                                         DfdSearchCallBack search_cb, void* search_params);
NEX_API int nex_df_kernel_sDFIntegrate1D(DfTask* task, int64_t nlim, const float* llim,
                                         int64_t llimhint, const float* rlim, int64_t rlimhint,
                                         const double* ldatahint, const double* rdatahint, float* r,
                                         int64_t rhint, DfsIntegrCallBack le_cb, void* le_params,
                                         DfsIntegrCallBack re_cb, void* re_params,
                                         DfsSearchCallBack search_cb, void* search_params);

NEX_EXTERN_C_END

#endif /* NEX_FIT_H */
