// The kinds of change.
#pragma once

// What a change is about, and what its number says.
enum sim_kind_t {
  SIM_IF,       // an interface: come or gone, its settings, switchport or members; its number
  SIM_GROUP,    // the name of a port channel, or a port that has joined or left one; its number
  SIM_VLAN,     // a VLAN: come or gone, its name or interfaces; its id
  SIM_ROUTING,  // modes (0), or routing and addresses of an interface; its number
  SIM_BGP,
  SIM_POLICY,   // a policy: come or gone, its fields or ports; its id, 0: all
  SIM_LOCKING,  // MAC locking of a port; its number
  SIM_SYSTEM,
  SIM_LOGGING,
  SIM_SSH,
};
