// The per-thread state of the vector math and the mode word.
#pragma once

#include <cstdint>

#include "nex_vtm.h"

namespace nex::vtm {

// The calling thread's block, created on first use. Null only if the process
// could not be ended after a fatal failure.
VtmThreadState* GetThreadState();

uint32_t GetMode();
uint32_t SetMode(uint32_t mode);

// The parsed environment setting, or all ones when there is none usable.
uint64_t ReadDefaultMode();
// The parser behind it, on a given value (exposed for tests).
uint64_t ParseModeSetting(const char* value, int length);

inline int32_t TTableIndexOf(uint32_t mode) { return static_cast<int32_t>(mode & 0xF) - 1; }

// Process entry, mapped to the library's constructor and destructor. Return
// true on success (attach) as the loader's entry would.
bool ProcessAttach();
void ThreadDetach();
void ProcessDetach(bool terminating);

}  // namespace nex::vtm
