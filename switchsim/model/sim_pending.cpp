#include "switchsim/model/sim_pending.h"

#include <algorithm>

#include "switchsim/call/sim_clock.h"
#include "switchsim/call/sim_value.h"
#include "switchsim/model/sim_state.h"
#include "switchsim/sim_areas.h"

namespace
{
constexpr uint32_t PENDING_MAX_MS = 86400000;

uint32_t pending_ms;
}  // namespace

void sim_pending_reset()
{
  pending_ms = 0;
}

bool sim_pending_pending_ms_parse(const sim_json_t& json)
{
  return sim_json_uint(json, 0, PENDING_MAX_MS, pending_ms);
}

void sim_pending_note(sim_pending_list_t& list, uint32_t number, bool deletion)
{
  sim_config_changed();
  list[number] = {sim_uptime_ms() + pending_ms, deletion};
}

open_error_t sim_pending_next(const sim_pending_list_t& list, uint32_t number, uint32_t& next,
                              uint32_t& delete_pending)
{
  const uint64_t now = sim_uptime_ms();
  const auto found = std::find_if(list.upper_bound(number), list.end(),
                                  [&](const auto& entry) { return entry.second.until_ms > now; });
  if (found == list.end()) {
    return OPEN_E_FAIL;
  }
  delete_pending = found->second.deletion ? 1 : 0;
  return sim_give(next, found->first);
}
