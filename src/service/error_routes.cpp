// Linux mapping of the error routes.
#include "service/error_routes.hpp"

#include <cerrno>
#include <cstring>

#include "nex_core.h"

namespace nex::service {

void set_errno(int value) {
  errno = value;
}

void print_name(int number, const char* name) {
  nex_serv_print(1, number, 1, name);
}

void print_name_index(int number, const char* name, int32_t index) {
  nex_serv_print(1, number, 2, name, static_cast<int>(index));
}

void print_index_value(int number, int32_t index, double value) {
  nex_serv_print(1, number, 2, static_cast<int>(index), value);
}

namespace {

// The protected-mode x87 environment as fnstenv stores it (28 bytes in both
// 32-bit and 64-bit mode): control word, status word, then tag word and the
// last instruction and operand pointers, which are reloaded unchanged.
struct X87Environment {
  uint32_t control;
  uint32_t status;
  uint32_t rest[5];
};
static_assert(sizeof(X87Environment) == 28);

}  // namespace

void raise_x87_exception(uint32_t flag, uint32_t unmask) {
  // The first copy is what the caller had; the second unmasks the requested
  // exceptions and holds only the new flag. Loading the second leaves an
  // exception pending exactly when the flag is unmasked; fldenv is a waiting
  // instruction, so loading the first copy after it delivers that pending
  // exception before it masks everything again and keeps the flag.
  X87Environment first, second;
  __asm__ volatile("fnstenv %0" : "=m"(first));
  std::memcpy(&second, &first, sizeof first);
  second.control &= ~(unmask & 0x3Fu);
  second.status = (second.status & ~0x3Fu) | (flag & 0x3Fu);
  __asm__ volatile("fldenv %0" : : "m"(second) : "memory");
  first.control |= 0x3Fu;
  first.status |= flag & 0x3Fu;
  __asm__ volatile("fldenv %0" : : "m"(first) : "memory");
}

}  // namespace nex::service
