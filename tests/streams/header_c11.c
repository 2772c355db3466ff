/* The public header must compile as plain C11. */
#include "nex_rng.h"

_Static_assert(sizeof(VrsStream) == VRS_STREAM_HEAD_SIZE, "16-byte stream head");
_Static_assert(VRS_ERROR_GLOB_RODATA_TABLE_FULL == -3001, "codes visible from C");

int nex_rng_header_c_probe(void) { return VRS_BRNG_WH + VRS_WH_SET_COUNT - 1; }
