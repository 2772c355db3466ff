// Read access to the shared read-only table, for tests and diagnostics.
#pragma once

#include <cstdint>

#include "nex_rng.h"

namespace nex::streams {

// Number of entries in use.
int32_t glob_table_count();
// Copy of entry `i` (under the table's lock); false when i is out of range.
bool glob_table_entry(int32_t i, VrsGlobRODataEntry* out);

}  // namespace nex::streams
