// What the switch's settings need of Open vSwitch's database: bridges, ports and interfaces.
//
// The bridge that the profile names switches: every frame in it carries the tag of its VLAN. A port
// meets it at the edge, a bridge of its own kind: what comes in gets its tag there, and loses it
// again where the port sends the VLAN untagged, so that a port can send any number of VLANs so. All
// single ports share one edge; a group of ports has its own, where the group is one bond.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "switchsim/plane_ovs/wish.h"

// The names that belong to the bridge of this name.
std::string rows_edge(const std::string& bridge, uint32_t member, bool group);
std::string rows_inner_patch(const std::string& bridge, uint32_t member);  // towards the edge
std::string rows_edge_patch(const std::string& bridge, uint32_t member);   // towards the inside
std::string rows_router(const std::string& bridge, uint32_t router, const wish_router_t& settings);

using columns_t = std::map<std::string, std::string>;  // to the value as canonical JSON

struct row_port_t {
  std::string bridge;
  columns_t columns;
  std::map<std::string, columns_t> interfaces;  // by name
};
struct rows_t {
  std::set<std::string> bridges;
  std::map<std::string, row_port_t> ports;  // by name
};

// Everything that is to be there, without the machine's interfaces of these names.
rows_t rows_wanted(const std::string& bridge, const wish_t& wish,
                   const std::set<std::string>& absent);

// Columns of a row that belongs to the bridge's owner: with its mark.
constexpr char ROWS_OWNER[] = "rest-engine";
columns_t rows_owned(const std::string& bridge, columns_t columns);
