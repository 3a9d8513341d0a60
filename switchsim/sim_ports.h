// The table of all interfaces that exist, and how they are numbered. The areas of port channels and
// VLAN routing interfaces add theirs; what only one area knows about an interface it keeps itself.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "platform/openapi_if.h"
#include "platform/openapi_types.h"

struct sim_if_t {
  uint32_t number;
  OPEN_INTF_TYPE_t type;
  std::string name;
  OPEN_IF_CONNECTOR_TYPE_t connector;
  OPEN_CONTROL_t admin;
  bool wired;  // somebody answers at the other end, as far as this switch lets them
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

// Adds an interface, enabled and not wired, in a number of its kind that is free; removes it again.
sim_if_t& sim_if_add(uint32_t number, OPEN_INTF_TYPE_t type, const std::string& name);
void sim_if_remove(uint32_t number);

// Wired and enabled.
bool sim_if_link_up(const sim_if_t& intf);
