// Environment, spin locks and process exit.
#include <cstdlib>
#include <cstring>

#include "nex_core.h"

extern "C" int nex_serv_getenv(const char* name, char* buffer, int size) {
  if (name == nullptr || buffer == nullptr || size <= 0) return -1;
  const char* value = std::getenv(name);
  if (value == nullptr) {
    buffer[0] = '\0';
    return 0;
  }
  size_t len = std::strlen(value);
  if (len >= static_cast<size_t>(size)) return -1;
  std::memcpy(buffer, value, len + 1);
  return static_cast<int>(len);
}

extern "C" void nex_serv_lock(volatile int* lock) {
  // Test-and-test-and-set: spin on plain reads so that waiting threads do not
  // bounce the cache line, and pause to yield the core's pipeline.
  for (;;) {
    if (__atomic_exchange_n(lock, 1, __ATOMIC_ACQUIRE) == 0) return;
    while (__atomic_load_n(lock, __ATOMIC_RELAXED) != 0) __builtin_ia32_pause();
  }
}

extern "C" void nex_serv_unlock(volatile int* lock) { __atomic_store_n(lock, 0, __ATOMIC_RELEASE); }

extern "C" void nex_serv_exit(int code) { std::exit(code); }
