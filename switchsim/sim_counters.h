// Traffic counters of the interfaces, as other areas see them.
#pragma once

#include <cstdint>

void sim_counters_if_removed(uint32_t number);
