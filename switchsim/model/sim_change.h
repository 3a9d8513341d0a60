// The one place through which every change of the configuration goes: it is not saved then, it may
// not be in force yet, and the world behind the model has to follow.
#pragma once

#include <cstdint>

#include "platform/openapi_types.h"
#include "switchsim/model/sim_kind.h"

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

// The next interface or VLAN above this number whose settings are not in force; OPEN_E_FAIL past
// the last.
open_error_t sim_pending_next(sim_kind_t kind, uint32_t number, uint32_t& next);
