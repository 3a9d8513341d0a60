// Routing interfaces of the simulated switch, as other areas see them. What changes the state
// answers with the result codes of the management API.
#pragma once

#include <cstdint>
#include <vector>

#include "platform/openapi_routing.h"

// Whether routing is switched on, or an address wanted, on this interface.
bool sim_routing_configured(uint32_t number);

// Whether the interface routes: that of a VLAN, or a port with routing switched on.
bool sim_routing_interface(uint32_t number);

// What is configured: routing of a family, whether an interface waits for an address of a server,
// and those that were set by hand, of IPv4 the primary one first.
OPEN_CONTROL_t sim_routing_mode(OPEN_AF_t family);
bool sim_routing_dhcp(uint32_t number, OPEN_AF_t family);
std::vector<open_inet_pfx_t> sim_routing_addresses(uint32_t number, OPEN_AF_t family);

open_error_t sim_routing_mode_set(OPEN_AF_t family, OPEN_CONTROL_t mode);
// Of a port; a VLAN's interface routes in any case, and a member of a group leaves it to the group.
open_error_t sim_routing_intf_mode_set(uint32_t number, OPEN_CONTROL_t mode);

open_error_t sim_routing_vlan_intf_create(uint32_t vlan);
// With this interface number, which must be free and one of its kind.
open_error_t sim_routing_vlan_intf_create_as(uint32_t vlan, uint32_t number);
// One to which a policy redirects stays.
open_error_t sim_routing_vlan_intf_delete(uint32_t vlan);

struct sim_address_change_t {
  bool add;
  OPEN_AF_t family;
  OPEN_INTF_IP_ADDR_TYPE_t type;
  open_inet_pfx_t pfx;
  OPEN_CONTROL_t ext_arg;  // EUI-64; client-id option of DHCP
};
open_error_t sim_routing_address_change(uint32_t number, const sim_address_change_t& change);
