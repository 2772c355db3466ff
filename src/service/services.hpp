// The kernels' only way to the service library: allocation, copies, messages.
// Kernel code calls these, never nex_core or the C library's allocator.
#pragma once

#include <cstddef>

#include "nex_core.h"

namespace nex::service {

inline constexpr int kAlignment = 128;

// Aligned block for kernel work and records; null on failure.
inline void* allocate(size_t bytes) { return nex_serv_allocate(bytes, kAlignment); }
template <class T>
inline T* allocate_array(size_t count) {
  if (count > static_cast<size_t>(-1) / sizeof(T)) return nullptr;
  return static_cast<T*>(allocate(count * sizeof(T)));
}
inline void deallocate(void* p) { nex_serv_deallocate(p); }

// Bounded copy; 0 on success.
inline int copy(void* dest, size_t dest_size, const void* src, size_t n) {
  return nex_serv_memcpy_s(dest, dest_size, src, n);
}

}  // namespace nex::service
