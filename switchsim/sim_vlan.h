// VLANs of the simulated switch, as other areas see them.
#pragma once

#include <cstdint>

// The highest VLAN number.
uint32_t sim_vlan_max();
