#include "switchsim/plane_ovs/policies.h"

#include <algorithm>

#include "switchsim/model/sim_tcam.h"
#include "switchsim/plane_ovs/flow_policies.h"

namespace
{
constexpr uint32_t POLICIES_MAX = 1024;  // of a type
constexpr uint32_t TYPES_IN = 3;         // incoming: types 0 to 2, outgoing: type 3

bool is_egress(const open_tcamApiPolicy_t& policy)
{
  return policy.policyType == OPEN_TCAM_POLICY_TYPE_EGRESS;
}
}  // namespace

open_error_t policies_room(uint32_t id, const open_tcamApiPolicy_t& policy, uint32_t& place)
{
  const uint32_t own = is_egress(policy) ? 0 : static_cast<uint32_t>(policy.policyType);
  if (place != SIM_PLACE_ANY && place != own)
    return OPEN_E_PARAM;
  const auto& policies = sim_policies();
  const auto same_type = [&](const auto& entry) {
    return entry.first != id && entry.second.record.policyType == policy.policyType;
  };
  if (std::count_if(policies.begin(), policies.end(), same_type) >= POLICIES_MAX)
    return OPEN_E_FULL;
  place = own;
  return flow_policy_room(policy);
}

sim_policy_use_t policies_use(bool at_egress)
{
  sim_policy_use_t use = {};
  use.slices = at_egress ? 1 : TYPES_IN;
  for (const auto& entry : sim_policies()) {
    const open_tcamApiPolicy_t& policy = entry.second.record;
    if (is_egress(policy) == at_egress) {
      const auto type = static_cast<uint32_t>(policy.policyType);
      open_tcam_group_t& group = use.groups.group[at_egress ? 0 : type];
      group.used = 1;
      group.gid = type + 1;
      group.policy_type = type;
      group.entry_count++;
    }
  }
  for (open_tcam_group_t& group : use.groups.group) {
    if (group.used != 0) {
      group.entries_free = POLICIES_MAX - group.entry_count;
      group.entries_total = POLICIES_MAX;
      group.slice_width_physical = 1;
      group.natural_depth = POLICIES_MAX;
      use.used_slices++;
      use.entries += group.entry_count;
    }
  }
  use.total = use.slices * POLICIES_MAX;
  use.free = use.total - use.entries;
  return use;
}
