// The table of all interfaces that exist, and how they are numbered. The areas of port channels and
// VLAN routing interfaces add theirs; what else there is to say of an interface is kept by the
// areas.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/openapi_if.h"
#include "platform/openapi_types.h"

struct sim_if_t {
  uint32_t number;
  OPEN_INTF_TYPE_t type;
  std::string name;
  OPEN_IF_CONNECTOR_TYPE_t connector;
  uint32_t group = 0;  // of a port: the port channel that it is a member of; 0: none
  uint32_t vlan = 0;   // of a VLAN's routing interface: the VLAN
};

// The numbers that each kind of interface can have.
struct sim_numbering_t {
  uint32_t ports;       // physical interfaces: 1 to this
  uint32_t cpu;         // the CPU interface
  uint32_t lag_first;   // port channels, in the order of their port-channel numbers
  uint32_t lag_max;     // how many there can be
  uint32_t vlan_first;  // VLAN routing interfaces
  uint32_t vlan_max;    // how many there can be
  uint32_t highest;     // of them all
};
const sim_numbering_t& sim_numbering();

// All interfaces, ascending.
const std::map<uint32_t, sim_if_t>& sim_ifs();
// Null when there is none of this number. A pointer is good until the interface is removed.
sim_if_t* sim_if_find(uint32_t number);
// The same for physical interfaces only.
sim_if_t* sim_port_find(uint32_t number);

// The ports in a group, ascending.
std::vector<uint32_t> sim_if_members(uint32_t group);

// The interface that forwards what this one receives: the group of a port that is a member of one,
// else the interface itself. VLANs, routing and the MTU are those of the former.
uint32_t sim_if_forwarder(uint32_t number);

// The VLAN of a VLAN's routing interface; 0: it is none.
uint32_t sim_if_vlan(uint32_t number);

// Adds an interface in a number of its kind that is free; removes it again, and tells all areas.
sim_if_t& sim_if_add(uint32_t number, OPEN_INTF_TYPE_t type, const std::string& name);
void sim_if_remove(uint32_t number);
