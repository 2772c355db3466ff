// Internal view of the statistics task: integer parameters at the width the
// task was created with, and the identifiers of the parameter table.
#pragma once

#include <cstdint>

#include "nex_stats.h"

namespace nex::stats {

// Value of an integer parameter (32- or 64-bit by wide_ints). The pointer
// must not be null.
inline int64_t read_int(const SSTask* task, const void* ptr) {
  return task->wide_ints ? *static_cast<const int64_t*>(ptr) : *static_cast<const int32_t*>(ptr);
}

// Entry i of an index array; with wide integers the array is stepped two
// 32-bit words at a time and the low (first, little-endian) word is used.
inline int32_t read_index(const SSTask* task, const void* array, int64_t i) {
  const auto* w = static_cast<const int32_t*>(array);
  return task->wide_ints ? w[2 * i] : w[i];
}

}  // namespace nex::stats
