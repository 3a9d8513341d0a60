// The ports of the simulated world, which interfaces have link, and for how long. A port has link
// where it is wired, enabled and not in soft shutdown; a port channel, where one of its members has
// link as well; a VLAN's interface, where one of the VLAN's members has.
#pragma once

#include <cstdint>
#include <vector>

#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_plane.h"

// As in sim_plane_t.
std::vector<sim_port_t> sim_links_ports();
uint32_t sim_links_port_count();

bool sim_link_up(uint32_t number);

// How long there has been link since the switch started, in milliseconds.
uint64_t sim_link_up_ms(uint32_t number);

// The interface has come or gone, or a setting of it, its group or its VLANs have changed: its link
// is looked at again, and those that hang on it.
void sim_links_changed(uint32_t number);

// A VLAN has other members.
void sim_links_vlan_changed(uint32_t vid);

// Everything may have changed.
void sim_links_replaced();

// The switch starts again: links count from now on.
void sim_links_restart();

extern const sim_area_t sim_links_area;
