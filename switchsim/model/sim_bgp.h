// BGP on the simulated switch, as other areas see it.
#pragma once

#include <cstdint>

// A routing interface goes away: no peer can use its address any more.
void sim_bgp_interface_removed(uint32_t number);
