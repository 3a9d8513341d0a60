// VLANs of the simulated switch, and the interfaces in them: physical ones and port channels. What
// changes the state answers with the result codes of the management API.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "platform/openapi_vlan.h"

// The highest VLAN number.
uint32_t sim_vlan_max();

bool sim_vlan_exists(uint32_t vid);

// Whether the interface is a member of the VLAN now; false where there is no such VLAN or
// interface.
bool sim_vlan_member(uint32_t vid, uint32_t number);

// How an interface forwards now, in its switchport mode.
struct sim_forwarding_t {
  uint32_t pvid;
  OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t accept;
  std::set<uint32_t> untagged, tagged;  // the VLANs that it is a member of
};
// Of a port, its group where it is in one, or of a port channel; false for any other.
bool sim_vlan_forwarding(uint32_t number, sim_forwarding_t& forwarding);

// The number of the VLAN's routing interface, kept with the VLAN, which has to stay as long; 0:
// none.
uint32_t sim_vlan_routing(uint32_t vid);
void sim_vlan_routing_set(uint32_t vid, uint32_t number);

open_error_t sim_vlan_create(uint32_t vid);
// A VLAN with a routing interface stays, and so does VLAN 1. Interfaces that had the deleted VLAN
// for untagged frames fall back to VLAN 1.
open_error_t sim_vlan_delete(uint32_t vid);
open_error_t sim_vlan_name_set(uint32_t vid, const std::string& name);

// An interface keeps the settings of each switchport mode; those of the mode that it is in are in
// force. A member of a group takes none of these settings. These are those of mode general, and of
// no use in another...
open_error_t sim_vlan_participation_set(uint32_t vid, uint32_t number,
                                        OPEN_VLAN_PARTICIPATION_MODE_t mode);
open_error_t sim_vlan_tagging_set(uint32_t vid, uint32_t number, uint32_t tagging);
open_error_t sim_vlan_pvid_set(uint32_t number, uint32_t vid);
// ...these of mode access and mode trunk, which can be laid ready in any mode...
open_error_t sim_vlan_access_set(uint32_t number, uint32_t vid);
open_error_t sim_vlan_native_set(uint32_t number, uint32_t vid);
// What happens to the VLANs that a trunk carries beside its native one, with a list like "5,7-9".
enum sim_vlan_trunk_change_t { SIM_VLAN_TRUNK_ADD, SIM_VLAN_TRUNK_REPLACE, SIM_VLAN_TRUNK_REMOVE };
open_error_t sim_vlan_trunk_set(uint32_t number, sim_vlan_trunk_change_t change,
                                const std::string& list);
// ...and these of all modes.
open_error_t sim_vlan_accept_set(uint32_t number, OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t type);
open_error_t sim_vlan_switchport_mode_set(uint32_t number, OPEN_VLAN_INTF_SWITCHPORT_MODE_t mode);
