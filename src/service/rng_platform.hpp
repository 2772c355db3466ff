// Platform pieces of the random streams: the spin word of the shared
// read-only table and a 64-bit value that differs between calls.
#pragma once

#include <cstdint>

namespace nex::service {

// Acquire: compare-exchange 0 -> 1 until it succeeds (waiting on plain reads
// so that spinners do not bounce the line); release: a plain store of 0.
inline void spin_acquire(volatile int32_t* word) {
  for (;;) {
    int32_t expected = 0;
    if (__atomic_compare_exchange_n(word, &expected, 1, false, __ATOMIC_ACQUIRE, __ATOMIC_RELAXED))
      return;
    while (__atomic_load_n(word, __ATOMIC_RELAXED) != 0) __builtin_ia32_pause();
  }
}
inline void spin_release(volatile int32_t* word) {
  __atomic_store_n(word, 0, __ATOMIC_RELEASE);
}

// The processor's time stamp counter.
inline uint64_t timestamp() {
  return __builtin_ia32_rdtsc();
}

}  // namespace nex::service
