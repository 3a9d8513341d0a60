// Traffic counters of the interfaces: what the world counts, less what was there when a counter was
// reset.
#pragma once

#include "platform/openapi_if.h"

// A rate is a reading and not a sum.
bool sim_counter_is_rate(OPEN_COUNTER_ID_t id);

// Whether the counter is one of those that port channels and the CPU interface keep, too.
bool sim_counter_is_total(OPEN_COUNTER_ID_t id);
