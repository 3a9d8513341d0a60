// Changes that are made but not in force yet. How long they take is the profile's to say; the
// built-in switch is done at once and never has any pending.
#pragma once

#include <cstdint>
#include <map>

#include "platform/openapi_types.h"

struct sim_pending_t {
  uint64_t until_ms;  // in force when the switch has been up for so long
  bool deletion;
};
typedef std::map<uint32_t, sim_pending_t> sim_pending_list_t;

// What stands under this number has changed, or is gone; a later change replaces an earlier one.
// The configuration is unsaved from then on.
void sim_pending_note(sim_pending_list_t& list, uint32_t number, bool deletion);

// The next number above this one that is pending; OPEN_E_FAIL past the last.
open_error_t sim_pending_next(const sim_pending_list_t& list, uint32_t number, uint32_t& next,
                              uint32_t& delete_pending);
