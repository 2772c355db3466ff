// Declarations of every built kernel, from the function list. A kernel is
// named nex_vtm_k_<type><name>, with _la/_ha/_ep for functions with a kernel
// per slot; the c tables that share the d kernel declare nothing.
#pragma once

#include "nex_vtm.h"
#include "service/export.hpp"

#define NEX_VTM_KDECL_ONE(t, name, shape) \
  extern "C" NEX_HIDDEN void nex_vtm_k_##t##name(NEX_VTM_KERNEL_PARAMS(t, shape));
#define NEX_VTM_KDECL_THREE(t, name, shape)                                              \
  extern "C" NEX_HIDDEN void nex_vtm_k_##t##name##_la(NEX_VTM_KERNEL_PARAMS(t, shape)); \
  extern "C" NEX_HIDDEN void nex_vtm_k_##t##name##_ha(NEX_VTM_KERNEL_PARAMS(t, shape)); \
  extern "C" NEX_HIDDEN void nex_vtm_k_##t##name##_ep(NEX_VTM_KERNEL_PARAMS(t, shape));
#define NEX_VTM_KDECL_AS_D(t, name, shape)

#define NEX_VTM_FUNCTION(t, name, shape, kernels, cost, built) \
  NEX_VTM_IF_BUILT(built, NEX_VTM_KDECL_##kernels(t, name, shape))
#include "nex_vtm_functions.h"
#undef NEX_VTM_FUNCTION
