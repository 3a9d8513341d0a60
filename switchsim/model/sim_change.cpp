#include "switchsim/model/sim_change.h"

#include <map>
#include <set>

#include "switchsim/call/sim_value.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_plane.h"

namespace
{
struct changes_t {
  bool unsaved = false;
  std::map<sim_kind_t, std::set<uint32_t>> pending;  // those that may not be in force
};

changes_t changes;

void change_reset()
{
  changes = {};
}

sim_restore_t change_keep()
{
  return [kept = changes] { changes = kept; };
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
  changes.unsaved = true;
  if (kind == SIM_IF || kind == SIM_VLAN)
    changes.pending[kind].insert(number);
  sim_plane().changed(kind, number);
  return OPEN_E_NONE;
}

void sim_replaced()
{
  sim_plane().replaced();
}

bool sim_unsaved()
{
  return changes.unsaved;
}

void sim_saved()
{
  changes.unsaved = false;
}

open_error_t sim_pending_next(sim_kind_t kind, uint32_t number, uint32_t& next)
{
  std::set<uint32_t>& pending = changes.pending[kind];
  auto found = pending.upper_bound(number);
  while (found != pending.end() && sim_plane().in_force(kind, *found))
    found = pending.erase(found);
  return found == pending.end() ? OPEN_E_FAIL : sim_give(next, *found);
}
