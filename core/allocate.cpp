// Aligned allocation with a failure-injection hook for tests.
//
// A block is over-allocated from malloc by alignment + one header word; the
// header just before the returned address holds the pointer malloc gave, so
// deallocation needs no size and any power-of-two alignment works.
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "nex_core.h"

namespace {

std::atomic<long> g_fail_countdown{0};
std::atomic<long> g_live{0};

bool injected_failure() {
  long k = g_fail_countdown.load(std::memory_order_relaxed);
  while (k > 0) {
    if (g_fail_countdown.compare_exchange_weak(k, k - 1, std::memory_order_relaxed)) {
      return k == 1;
    }
  }
  return false;
}

}  // namespace

extern "C" void* nex_serv_allocate(size_t size, int alignment) {
  size_t align = alignment > 0 ? static_cast<size_t>(alignment) : sizeof(void*);
  if (align < sizeof(void*)) align = sizeof(void*);
  if ((align & (align - 1)) != 0) return nullptr;  // not a power of two
  if (injected_failure()) return nullptr;
  if (size > SIZE_MAX - align - sizeof(void*)) return nullptr;
  void* raw = std::malloc(size + align + sizeof(void*));
  if (raw == nullptr) return nullptr;
  uintptr_t base = reinterpret_cast<uintptr_t>(raw) + sizeof(void*);
  uintptr_t aligned = (base + align - 1) & ~(uintptr_t)(align - 1);
  std::memcpy(reinterpret_cast<void*>(aligned - sizeof(void*)), &raw, sizeof(void*));
  g_live.fetch_add(1, std::memory_order_relaxed);
  return reinterpret_cast<void*>(aligned);
}

extern "C" void nex_serv_deallocate(void* ptr) {
  if (ptr == nullptr) return;
  void* raw;
  std::memcpy(&raw, static_cast<char*>(ptr) - sizeof(void*), sizeof(void*));
  g_live.fetch_sub(1, std::memory_order_relaxed);
  std::free(raw);
}

extern "C" void nex_serv_set_allocation_failure(long k) {
  g_fail_countdown.store(k > 0 ? k : 0, std::memory_order_relaxed);
}

extern "C" long nex_serv_live_allocations(void) { return g_live.load(std::memory_order_relaxed); }

extern "C" int nex_serv_memcpy_s(void* dest, size_t dest_size, const void* src, size_t n) {
  if (n == 0) return 0;
  if (dest == nullptr || src == nullptr) return 22;
  if (n > dest_size) return 34;
  std::memmove(dest, src, n);
  return 0;
}
