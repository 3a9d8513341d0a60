// Each stage has slices of equal size, and a slice holds policies of one type as long as it holds
// any. A slice is what the group statistics call a group.
#include "switchsim/plane_sim/sim_slices.h"

#include <algorithm>
#include <vector>

#include "switchsim/model/sim_tcam.h"

namespace
{
constexpr uint32_t SLICE_SIZE = 256;
constexpr uint32_t INGRESS_SLICES = 8;
constexpr uint32_t EGRESS_SLICES = 4;
static_assert(INGRESS_SLICES <= OPEN_TCAM_GROUPS_MAX && EGRESS_SLICES <= OPEN_TCAM_GROUPS_MAX);

struct slice_t {
  uint32_t type = 0;
  uint32_t entries = 0;  // 0: free for any type
};

uint32_t slice_size;

bool is_egress(const open_tcamApiPolicy_t& policy)
{
  return policy.policyType == OPEN_TCAM_POLICY_TYPE_EGRESS;
}

// The slices of a stage as the policies fill them, all but one.
std::vector<slice_t> slices_of(bool at_egress, uint32_t without_id)
{
  std::vector<slice_t> slices(at_egress ? EGRESS_SLICES : INGRESS_SLICES);
  for (const auto& [id, policy] : sim_policies()) {
    if (id != without_id && is_egress(policy.record) == at_egress) {
      slice_t& slice = slices[policy.place];
      slice.type = static_cast<uint32_t>(policy.record.policyType);
      slice.entries++;
    }
  }
  return slices;
}

bool has_room(const slice_t& slice, uint32_t type)
{
  return slice.entries == 0 || (slice.type == type && slice.entries < slice_size);
}

void slices_reset()
{
  slice_size = SLICE_SIZE;
}

bool slice_size_parse(const sim_json_t& json)
{
  return sim_json_uint(json, 1, SLICE_SIZE, slice_size);
}
}  // namespace

constexpr sim_key_t KEYS[] = {
    {"tcam_slice_size", slice_size_parse},
};

const sim_area_t sim_slices_area = sim_area(slices_reset, KEYS);

// A slice of this type with room or, failing that, a free one.
open_error_t sim_slices_room(uint32_t id, const open_tcamApiPolicy_t& policy, uint32_t& place)
{
  const std::vector<slice_t> slices = slices_of(is_egress(policy), id);
  const uint32_t type = static_cast<uint32_t>(policy.policyType);
  if (place != SIM_PLACE_ANY) {
    if (place >= slices.size())
      return OPEN_E_PARAM;
    return has_room(slices[place], type) ? OPEN_E_NONE : OPEN_E_FULL;
  }
  auto found = std::find_if(slices.begin(), slices.end(), [&](const slice_t& slice) {
    return slice.entries > 0 && has_room(slice, type);
  });
  if (found == slices.end()) {
    found = std::find_if(
        slices.begin(), slices.end(), [](const slice_t& slice) { return slice.entries == 0; });
  }
  if (found == slices.end())
    return OPEN_E_FULL;
  place = static_cast<uint32_t>(found - slices.begin());
  return OPEN_E_NONE;
}

sim_policy_use_t sim_slices_use(bool at_egress)
{
  const std::vector<slice_t> slices = slices_of(at_egress, 0);
  sim_policy_use_t use = {};
  use.slices = static_cast<uint32_t>(slices.size());
  use.total = use.slices * slice_size;
  for (uint32_t i = 0; i < use.slices; i++) {
    const slice_t& slice = slices[i];
    if (slice.entries == 0)
      continue;
    use.used_slices++;
    use.entries += slice.entries;
    open_tcam_group_t& group = use.groups.group[i];
    group.used = 1;
    group.gid = i + 1 + (at_egress ? INGRESS_SLICES : 0);
    group.policy_type = slice.type;
    group.entry_count = slice.entries;
    group.entries_free = slice_size - slice.entries;
    group.entries_total = slice_size;
    group.slice_width_physical = 1;
    group.natural_depth = slice_size;
  }
  use.free = use.total - use.entries;
  return use;
}
