// Reciprocal square roots for the statistics kernels.
//
// Every inverse square root of this subsystem goes through this one function.
// It runs under the accuracy mode 0x140000 that the statistics ask of the
// vector functions and restores the caller's mode afterwards. The body is a
// plain 1/sqrt loop (correctly rounded sqrt, then one rounded division: under
// one ulp). SWITCH-POINT: once the vector InvSqrt kernels are in, replace the
// loop by a call through their dispatch table entry; the signature is theirs.
#pragma once

#include <cmath>
#include <cstdint>

#include "nex_vtm.h"

namespace nex::stats {

inline constexpr uint32_t kStatsVectorMode = 0x140000u;

template <class T>
void inv_sqrt(int64_t n, const T* a, T* r) {
  const uint32_t saved = nex_vtm_kernel_SetMode(kStatsVectorMode);
  for (int64_t i = 0; i < n; ++i) r[i] = T(1) / std::sqrt(a[i]);
  nex_vtm_kernel_SetMode(saved);
}

}  // namespace nex::stats
