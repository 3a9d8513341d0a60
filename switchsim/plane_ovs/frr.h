// BGP in FRR: its configuration read back, compared, and changed line by line.
#pragma once

#include <string>
#include <vector>

#include "switchsim/plane_ovs/vty.h"
#include "switchsim/plane_ovs/wish.h"

// What of a running configuration concerns BGP: the router of the default instance, and route maps
// that let everything pass, which are known by their sequence number. foreign_route_maps are those
// that somebody else has defined.
struct frr_running_t {
  wish_bgp_t bgp;
  std::set<std::string> foreign_route_maps;
};
frr_running_t frr_running(const std::string& configuration);

// The lines that lead from one configuration to the other; none when nothing has to change. What
// only changes its value is not taken away first, so that sessions stay.
std::vector<std::string> frr_change(const frr_running_t& running, const wish_bgp_t& wanted);

// Puts BGP in force, and reads back whether it is.
bool frr_apply(vty_t& bgpd, const wish_bgp_t& wanted, uint64_t deadline_ms, std::string& why);
