// What the error reporter needs from the platform and the service library:
// the calling thread's errno, numbered messages on standard error, and an
// x87 floating-point exception that traps when the caller unmasked it.
#pragma once

#include <cstdint>

namespace nex::service {

// Stores `value` in the calling thread's C errno.
void set_errno(int value);

// Numbered messages through the service library (texts live there).
void print_name(int number, const char* name);
void print_name_index(int number, const char* name, int32_t index);
void print_index_value(int number, int32_t index, double value);

// Raises x87 exception flags `flag` (status-word bits 0..5). Bits of
// `unmask` (same positions) are unmasked for the instant of raising, so an
// exception that is both raised and unmasked is taken as the operating
// system's floating-point signal; otherwise only the flag stays set.
// Afterwards all x87 exceptions are masked.
void raise_x87_exception(uint32_t flag, uint32_t unmask);

}  // namespace nex::service
