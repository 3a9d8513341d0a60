// What passes the interfaces of the simulated world.
#pragma once

#include <cstdint>

#include "platform/openapi_if.h"

// As in sim_plane_t.
bool sim_traffic_counter(uint32_t number, OPEN_COUNTER_ID_t id, uint64_t& raw);
