#include "switchsim/model/sim_change.h"

#include "switchsim/call/sim_value.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_plane.h"

namespace
{
bool unsaved;

void change_reset()
{
  unsaved = false;
}

sim_restore_t change_keep()
{
  return [kept = unsaved] { unsaved = kept; };
}
}  // namespace

// Put back behind all others: that is no change.
const sim_area_t sim_change_area = [] {
  sim_area_t area;
  area.reset = change_reset;
  area.keep = change_keep;
  return area;
}();

open_error_t sim_changed(sim_kind_t kind, uint32_t number)
{
  unsaved = true;
  sim_plane().changed(kind, number);
  return OPEN_E_NONE;
}

void sim_replaced()
{
  sim_plane().replaced();
}

bool sim_unsaved()
{
  return unsaved;
}

void sim_saved()
{
  unsaved = false;
}

open_error_t sim_pending_next(sim_kind_t kind, uint32_t number, uint32_t& next)
{
  return sim_plane().pending_next(kind, number, next) ? OPEN_E_NONE : OPEN_E_FAIL;
}
