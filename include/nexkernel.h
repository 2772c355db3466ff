/* nexkernel: every public header of the library. */
#ifndef NEXKERNEL_H
#define NEXKERNEL_H

#include "nex_api.h"
#include "nex_fit.h"
#include "nex_rng_dist.h"
#include "nex_rng.h"
#include "nex_stats.h"
#include "nex_vtm.h"

#endif /* NEXKERNEL_H */
