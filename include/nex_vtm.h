/* nexkernel vector math: mode word, status, error record, dispatch tables and
 * the exported entries of the element-wise functions. Plain C. */
#ifndef NEX_VTM_H
#define NEX_VTM_H

#include <stdint.h>

#include "nex_api.h"

NEX_EXTERN_C_BEGIN

/* ---- Element types ------------------------------------------------------
 * Complex elements are pairs, real part first. */
typedef struct VtmComplex8 {
  float real;
  float imag;
} VtmComplex8;
typedef struct VtmComplex16 {
  double real;
  double imag;
} VtmComplex16;

/* ---- Mode word ------------------------------------------------------------
 * Accuracy (mask 0xF): selects the dispatch slot, index = accuracy - 1. */
#define VTM_ACCURACY_MASK 0x0000000Fu
#define VTM_LA 0x00000001u
#define VTM_HA 0x00000002u
#define VTM_EP 0x00000003u
/* Consistency (mask 0xF0): set only from the environment, read by no kernel. */
#define VTM_CONSISTENCY_MASK 0x000000F0u
#define VTM_DEFAULT_PRECISION 0x00000000u
#define VTM_FLOAT_CONSISTENT 0x00000010u
#define VTM_DOUBLE_CONSISTEN 0x00000020u /* sic: 16 letters, as the keyword */
#define VTM_RESTORE 0x00000030u
/* Error mode (mask 0xFF00): a set of flags. */
#define VTM_ERRMODE_MASK 0x0000FF00u
#define VTM_ERRMODE_IGNORE 0x00000100u
#define VTM_ERRMODE_ERRNO 0x00000200u
#define VTM_ERRMODE_STDERR 0x00000400u
#define VTM_ERRMODE_EXCEPT 0x00000800u
#define VTM_ERRMODE_CALLBACK 0x00001000u
#define VTM_ERRMODE_NOERR 0x00002000u
#define VTM_ERRMODE_DEFAULT 0x00001A00u /* errno, exception and callback */
/* Denormal handling (mask 0x3C0000): only this exact value means "on". */
#define VTM_DENORMAL_MASK 0x003C0000u
#define VTM_FLUSH_ZERO_ON 0x00280000u
/* Traps (mask 0x0F000000), read by the exception route only. */
#define VTM_TRAP_MASK 0x0F000000u
#define VTM_TRAP_INVALID 0x01000000u
#define VTM_TRAP_DIVBYZERO 0x02000000u
#define VTM_TRAP_OVERFLOW 0x04000000u
#define VTM_TRAP_UNDERFLOW 0x08000000u
/* The word a thread starts with when the environment gives nothing. */
#define VTM_DEFAULT_MODE 0x00001A02u

/* Name of the environment variable that sets each thread's initial mode: a
 * comma-separated list of the names above without blanks, for example
 * NEX_VTM_MODE=VTM_EP,VTM_ERRMODE_ERRNO. One bad token voids the whole list. */
#define VTM_MODE_ENVIRONMENT "NEX_VTM_MODE"

/* ---- Status -------------------------------------------------------------- */
#define VTM_STATUS_OK 0
#define VTM_STATUS_DOMAIN 1
#define VTM_STATUS_SINGULARITY 2
#define VTM_STATUS_OVERFLOW 3
#define VTM_STATUS_UNDERFLOW 4
#define VTM_STATUS_BAD_ARGUMENT (-1)
#define VTM_STATUS_BAD_MEMORY (-2)

/* ---- Error record and callback ---------------------------------------------
 * Handed to the callback for each reported element. 144 bytes; every
 * floating-point field is 8 bytes wide at an 8-byte offset. */
typedef struct VtmErrorRecord {
  int32_t code;      /* the status */
  int32_t index;     /* element index in the interface's input array */
  double a1;         /* first argument (real part) */
  double a2;         /* second argument; a1 again for one argument */
  double r1;         /* first result, as stored; the callback may change it */
  double r2;         /* second result; r1 again for one result */
  char name[64];     /* function name, at most 47 characters + terminator */
  int32_t name_len;  /* characters copied into name */
  int32_t reserved;  /* alignment, never written */
  double a1_im;
  double a2_im;
  double r1_im;
  double r2_im;
} VtmErrorRecord;

/* Returns 0 to let the library go on (routes run, the record's results are
 * stored), nonzero when the callback has dealt with the element. */
typedef int32_t (*VtmErrorCallBack)(VtmErrorRecord* record);

/* ---- Per-thread state -------------------------------------------------------
 * One block per thread, reached only through the operations below. */
typedef struct VtmThreadState {
  uint32_t mode;
  int32_t err_status;
  VtmErrorCallBack err_callback;
  uint32_t reserved0;
  uint32_t reserved1;
  const void* interf_input_vector;
} VtmThreadState;

/* ---- Mode, status and callback operations ---------------------------------- */
NEX_API uint32_t _vtmGetMode(void);
NEX_API uint32_t nex_vtm_kernel_GetMode(void);
NEX_API uint32_t _vtmSetMode(uint32_t mode);
NEX_API uint32_t nex_vtm_kernel_SetMode(uint32_t mode);
NEX_API int32_t nex_vtm_kernel_GetTTableIndex(void);
NEX_API int32_t nex_vtm_kernel_GetTTableIndexM(const void* ignored, uint32_t mode);
NEX_API const void* _vtmSetInterfInputVectorPointer(const void* p);
NEX_API const void* nex_vtm_kernel_SetInterfInputVectorPointer(const void* p);
NEX_API int32_t dll_cpu_version(void);

/* Status word: Set stores a status and returns the previous word, Clear
 * stores 0 and returns the previous word. Each report overwrites the word. */
NEX_API int32_t _vtmSetErrStatus(int32_t status);
NEX_API int32_t nex_vtm_kernel_SetErrStatus(int32_t status);
NEX_API int32_t _vtmGetErrStatus(void);
NEX_API int32_t nex_vtm_kernel_GetErrStatus(void);
NEX_API int32_t _vtmClearErrStatus(void);
NEX_API int32_t nex_vtm_kernel_ClearErrStatus(void);
/* Error callback: Set installs a callback (or null) and sets (or clears) the
 * callback flag of the mode word; each returns the previous callback. */
NEX_API VtmErrorCallBack _vtmSetErrorCallBack(VtmErrorCallBack callback);
NEX_API VtmErrorCallBack nex_vtm_kernel_SetErrorCallBack(VtmErrorCallBack callback);
NEX_API VtmErrorCallBack _vtmGetErrorCallBack(void);
NEX_API VtmErrorCallBack nex_vtm_kernel_GetErrorCallBack(void);
NEX_API VtmErrorCallBack _vtmClearErrorCallBack(void);
NEX_API VtmErrorCallBack nex_vtm_kernel_ClearErrorCallBack(void);

/* ---- Dispatch records ---------------------------------------------------------
 * Slot 0 VTM_LA, slot 1 VTM_HA, slot 2 VTM_EP. Kernel pointers are stored
 * untyped; cast to the function's shape (NEX_VTM_KERNEL_TYPE below). */
typedef void (*nex_vtm_kernel_fn)(void);
typedef struct nex_vtm_ttab {
  nex_vtm_kernel_fn slot[3];
} nex_vtm_ttab;
typedef struct nex_vtm_ctab {
  float cost[3];
} nex_vtm_ctab;

/* Cost rows (bit patterns of the three floats). */
#define NEX_VTM_COST_C1 0x3F800000u, 0x3F800000u, 0x3F800000u
#define NEX_VTM_COST_C3 0x40400000u, 0x40400000u, 0x40400000u
#define NEX_VTM_COST_C111 0x42DE999Au, 0x42DE999Au, 0x42DE999Au
#define NEX_VTM_COST_C111_THREE 0x42DE6666u, 0x42DE999Au, 0x42DE3333u
#define NEX_VTM_COST_C_SPOW 0x41A83D71u, 0x41A83D71u, 0x41A83D71u
#define NEX_VTM_COST_C_SPOWR 0x41A83B64u, 0x41A83B64u, 0x41A83B64u
#define NEX_VTM_COST_C_DPOW 0x42101AA0u, 0x42101AA0u, 0x42101AA0u
#define NEX_VTM_COST_C_DPOWR 0x4210051Fu, 0x4210051Fu, 0x4210051Fu

/* ---- Argument shapes ------------------------------------------------------------
 * E is the table's element type, R its real type. Pack/unpack counts and
 * strides are 64-bit; their kernels take one more argument, a flag (1: the
 * index/mask arrays hold 32-bit integers, otherwise 64-bit), which the
 * exported entries set to 1. */
#define NEX_VTM_E_s float
#define NEX_VTM_E_d double
#define NEX_VTM_E_c VtmComplex8
#define NEX_VTM_E_z VtmComplex16
#define NEX_VTM_R_s float
#define NEX_VTM_R_d double
#define NEX_VTM_R_c float
#define NEX_VTM_R_z double
#define NEX_VTM_E(t) NEX_VTM_E_##t
#define NEX_VTM_R(t) NEX_VTM_R_##t

#define NEX_VTM_ARGS_ONE(E, R) int n, const E* a, E* r
#define NEX_VTM_ARGS_TWO(E, R) int n, const E* a, const E* b, E* r
#define NEX_VTM_ARGS_POWX(E, R) int n, const E* a, E b, E* r
#define NEX_VTM_ARGS_TWO_OUT(E, R) int n, const E* a, E* r1, E* r2
#define NEX_VTM_ARGS_LINFRAC(E, R) \
  int n, const E* a, const E* b, E scale_a, E shift_a, E scale_b, E shift_b, E* r
#define NEX_VTM_ARGS_C2R(E, R) int n, const E* a, R* r
#define NEX_VTM_ARGS_R2C(E, R) int n, const R* a, E* r
#define NEX_VTM_ARGS_PACKI(E, R) int64_t n, const E* a, int64_t inc, E* y
#define NEX_VTM_ARGS_PACKV(E, R) int64_t n, const E* a, const int32_t* ix, E* y
#define NEX_VTM_ARGS_PACKM(E, R) int64_t n, const E* a, const int32_t* mask, E* y
#define NEX_VTM_ARGS_UNPACKI(E, R) int64_t n, const E* a, E* y, int64_t inc
#define NEX_VTM_ARGS_UNPACKV(E, R) int64_t n, const E* a, E* y, const int32_t* ix
#define NEX_VTM_ARGS_UNPACKM(E, R) int64_t n, const E* a, E* y, const int32_t* mask
#define NEX_VTM_KARGS_ONE NEX_VTM_ARGS_ONE
#define NEX_VTM_KARGS_TWO NEX_VTM_ARGS_TWO
#define NEX_VTM_KARGS_POWX NEX_VTM_ARGS_POWX
#define NEX_VTM_KARGS_TWO_OUT NEX_VTM_ARGS_TWO_OUT
#define NEX_VTM_KARGS_LINFRAC NEX_VTM_ARGS_LINFRAC
#define NEX_VTM_KARGS_C2R NEX_VTM_ARGS_C2R
#define NEX_VTM_KARGS_R2C NEX_VTM_ARGS_R2C
#define NEX_VTM_KARGS_PACKI(E, R) int64_t n, const E* a, int64_t inc, E* y, int flag
#define NEX_VTM_KARGS_PACKV(E, R) int64_t n, const E* a, const void* ix, E* y, int flag
#define NEX_VTM_KARGS_PACKM(E, R) int64_t n, const E* a, const void* mask, E* y, int flag
#define NEX_VTM_KARGS_UNPACKI(E, R) int64_t n, const E* a, E* y, int64_t inc, int flag
#define NEX_VTM_KARGS_UNPACKV(E, R) int64_t n, const E* a, E* y, const void* ix, int flag
#define NEX_VTM_KARGS_UNPACKM(E, R) int64_t n, const E* a, E* y, const void* mask, int flag

/* The entries' parameter list and the kernels' (as stored in the slots). */
#define NEX_VTM_ENTRY_PARAMS(t, shape) NEX_VTM_ARGS_##shape(NEX_VTM_E(t), NEX_VTM_R(t))
#define NEX_VTM_KERNEL_PARAMS(t, shape) NEX_VTM_KARGS_##shape(NEX_VTM_E(t), NEX_VTM_R(t))

/* Entry suffixes of the two fixed non-default slots: _21/_11 for s and c,
 * _50/_26 for d and z. */
#define NEX_VTM_SUFFIX_LA_s _21
#define NEX_VTM_SUFFIX_LA_c _21
#define NEX_VTM_SUFFIX_LA_d _50
#define NEX_VTM_SUFFIX_LA_z _50
#define NEX_VTM_SUFFIX_EP_s _11
#define NEX_VTM_SUFFIX_EP_c _11
#define NEX_VTM_SUFFIX_EP_d _26
#define NEX_VTM_SUFFIX_EP_z _26

#define NEX_VTM_CAT_(a, b) a##b
#define NEX_VTM_CAT(a, b) NEX_VTM_CAT_(a, b)
#define NEX_VTM_CAT3(a, b, c) NEX_VTM_CAT(NEX_VTM_CAT(a, b), c)

/* Expands its arguments only for rows whose built column is Y. */
#define NEX_VTM_IF_BUILT_Y(...) __VA_ARGS__
#define NEX_VTM_IF_BUILT_N(...)
#define NEX_VTM_IF_BUILT(built, ...) NEX_VTM_IF_BUILT_##built(__VA_ARGS__)

/* ---- Declarations of every built table and entry ------------------------- */
#define NEX_VTM_DECLARE(t, name, shape, kernels, cost, built)                            \
  NEX_VTM_IF_BUILT(                                                                       \
      built, NEX_API extern nex_vtm_ttab nex_vtm_kernel_##t##name##_ttab;                 \
      NEX_API extern nex_vtm_ctab nex_vtm_kernel_##t##name##_ctab;                        \
      NEX_API void _vtm##t##name(NEX_VTM_ENTRY_PARAMS(t, shape));                         \
      NEX_API void _vtm##t##name##_HA(NEX_VTM_ENTRY_PARAMS(t, shape));                    \
      NEX_API void NEX_VTM_CAT3(_vtm##t, name, NEX_VTM_SUFFIX_LA_##t)(                    \
          NEX_VTM_ENTRY_PARAMS(t, shape));                                                \
      NEX_API void NEX_VTM_CAT3(_vtm##t, name, NEX_VTM_SUFFIX_EP_##t)(                    \
          NEX_VTM_ENTRY_PARAMS(t, shape));)
#define NEX_VTM_FUNCTION NEX_VTM_DECLARE
#include "nex_vtm_functions.h"
#undef NEX_VTM_FUNCTION

NEX_EXTERN_C_END

#endif /* NEX_VTM_H */
