// The table of all interfaces that exist, how they are numbered, and their settings.
// The areas of port channels and VLAN routing interfaces add theirs; what only one area knows about
// an interface it keeps itself, and forgets when told that the interface is gone.
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
  OPEN_CONTROL_t soft_shutdown = OPEN_DISABLE;
  OPEN_PORT_SPEEDS_t speed = OPEN_PORTCTRL_PORTSPEED_UNKNOWN;
  uint32_t mtu = 1500;
  std::string description = {};
  uint32_t group = 0;  // of a port: the port channel that it is a member of; 0: none
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

// The interface that forwards what this one receives: the group of a port that is a member of one,
// else the interface itself. VLANs, routing and the MTU are those of the former.
uint32_t sim_if_forwarder(uint32_t number);

// Adds an interface, enabled and not wired, in a number of its kind that is free; removes it again.
sim_if_t& sim_if_add(uint32_t number, OPEN_INTF_TYPE_t type, const std::string& name);
void sim_if_remove(uint32_t number);

// The interface has come or gone, or a setting of it has changed: that is not saved, and it may
// take a while to be in force.
void sim_if_changed(uint32_t number);

// ---- settings, with the result codes of the management API ----

open_error_t sim_if_admin_set(uint32_t number, OPEN_CONTROL_t state);
open_error_t sim_if_soft_shutdown_set(uint32_t number, OPEN_CONTROL_t state);
open_error_t sim_if_auto_neg_set(uint32_t number, OPEN_PORT_AUTO_NEG_t mode);
open_error_t sim_if_speed_set(uint32_t number, OPEN_PORT_SPEEDS_t speed);
open_error_t sim_if_mtu_set(uint32_t number, uint32_t mtu);
open_error_t sim_if_description_set(uint32_t number, const std::string& text);
