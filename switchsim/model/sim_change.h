// The one place through which every change of the configuration goes: it is not saved then, it may
// not be in force yet, and the world behind the model has to follow.
#pragma once

#include <cstdint>

#include "platform/openapi_types.h"

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

// Every call and command that changed something ends so, with what it answers: OPEN_E_NONE.
open_error_t sim_changed(sim_kind_t kind, uint32_t number = 0);

// The same for a setting that takes a value.
template <class T, class V>
open_error_t sim_assign(sim_kind_t kind, T& setting, const V& value, uint32_t number = 0)
{
  setting = value;
  return sim_changed(kind, number);
}

// The areas have another state as a whole: one that was kept is back, or nothing is configured.
void sim_replaced();

// Whether something changed since it was saved or loaded.
bool sim_unsaved();
void sim_saved();

// The next interface or VLAN above this number whose latest change is not in force yet; OPEN_E_FAIL
// past the last.
open_error_t sim_pending_next(sim_kind_t kind, uint32_t number, uint32_t& next);
