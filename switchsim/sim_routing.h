// Routing interfaces of the simulated switch, as other areas see them.
#pragma once

#include <cstdint>

// Whether the interface routes: that of a VLAN, or a port with routing switched on.
bool sim_routing_interface(uint32_t number);

// Number of the routing interface of a VLAN; 0: it has none.
uint32_t sim_routing_vlan_interface(uint32_t vlan);

// The other way round; 0: not the routing interface of a VLAN.
uint32_t sim_routing_interface_vlan(uint32_t number);
