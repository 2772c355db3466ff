// Parameter tables of the WH sets (generated, see wh_tables.cpp).
#pragma once

#include <cstdint>

extern "C" {
extern const uint32_t VrsWhModuli[273][4];
extern const uint8_t VrsWhMultipliers[273][4];
extern const double VrsWhInverseModuli[273][4];
}
