// The TCAM: each stage has slices of equal size, and a slice holds policies of one type as long as
// it holds any. A slice is what the group statistics call a group.
#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "platform/openapi_tcam.h"
#include "switchsim/sim_areas.h"
#include "switchsim/sim_base.h"
#include "switchsim/sim_call.h"
#include "switchsim/sim_ports.h"
#include "switchsim/sim_state.h"

namespace
{
constexpr uint32_t SLICE_SIZE = 256;
constexpr uint32_t INGRESS_SLICES = 8;
constexpr uint32_t EGRESS_SLICES = 4;
static_assert(INGRESS_SLICES <= OPEN_TCAM_GROUPS_MAX && EGRESS_SLICES <= OPEN_TCAM_GROUPS_MAX);

constexpr uint32_t ACTIONS_ALL = 0xff;

// By policy type.
constexpr const char* TYPE_NAMES[] = {nullptr, "OpenFlow", "Gen (IPv6)", "Egress"};

struct slice_t {
  uint32_t type = 0;
  uint32_t entries = 0;  // 0: free for any type
};

struct policy_t {
  open_tcamApiPolicy_t record;
  slice_t* slice;
  std::set<uint32_t> ports;
};

struct stage_figures_t {
  uint32_t slices, used_slices, entries, free, total;
};

bool initialised;
uint32_t slice_size;
std::array<slice_t, INGRESS_SLICES> ingress;
std::array<slice_t, EGRESS_SLICES> egress;
std::map<uint32_t, policy_t> policies;
uint32_t last_id;

// ---- slices ----

// Runs a procedure with the slices of a stage.
template <class Work>
auto with_slices(bool at_egress, Work work) -> decltype(work(ingress.data(), ingress.size()))
{
  return at_egress ? work(egress.data(), egress.size()) : work(ingress.data(), ingress.size());
}

// A slice of this type with room or, failing that, a free one; null when there is neither.
slice_t* slice_for(OPEN_TCAM_POLICY_TYPE_t type)
{
  const uint32_t wanted = static_cast<uint32_t>(type);
  return with_slices(
      type == OPEN_TCAM_POLICY_TYPE_EGRESS, [&](slice_t* slices, size_t count) -> slice_t* {
        slice_t* end = slices + count;
        slice_t* found = std::find_if(slices, end, [&](const slice_t& slice) {
          return slice.entries > 0 && slice.entries < slice_size && slice.type == wanted;
        });
        if (found == end) {
          found =
              std::find_if(slices, end, [](const slice_t& slice) { return slice.entries == 0; });
        }
        return found == end ? nullptr : found;
      });
}

stage_figures_t stage_figures(bool at_egress)
{
  return with_slices(at_egress, [](const slice_t* slices, size_t count) {
    stage_figures_t figures = {};
    figures.slices = static_cast<uint32_t>(count);
    figures.total = figures.slices * slice_size;
    for (const slice_t* slice = slices; slice < slices + count; slice++) {
      figures.used_slices += slice->entries > 0 ? 1 : 0;
      figures.entries += slice->entries;
    }
    figures.free = figures.total - figures.entries;
    return figures;
  });
}

open_error_t group_stats(OPEN_TCAM_POLICY_STAGE_t stage, open_tcam_group_stats_t& stats)
{
  if (stage != OPEN_TCAM_POLICY_STAGE_INGRESS && stage != OPEN_TCAM_POLICY_STAGE_EGRESS) {
    return OPEN_E_PARAM;
  }
  const bool at_egress = stage == OPEN_TCAM_POLICY_STAGE_EGRESS;
  stats = {};
  with_slices(at_egress, [&](const slice_t* slices, size_t count) {
    for (uint32_t i = 0; i < count; i++) {
      if (slices[i].entries == 0) {
        continue;
      }
      open_tcam_group_t& group = stats.group[i];
      group.used = 1;
      group.gid = i + 1 + (at_egress ? INGRESS_SLICES : 0);
      group.policy_type = slices[i].type;
      group.entry_count = slices[i].entries;
      group.entries_free = slice_size - slices[i].entries;
      group.entries_total = slice_size;
      group.slice_width_physical = 1;
      group.natural_depth = slice_size;
    }
  });
  return OPEN_E_NONE;
}

// ---- policies ----

bool policy_valid(const open_tcamApiPolicy_t& policy)
{
  const bool redirects = (policy.actionType & OPEN_TCAM_POLICY_ACTION_REDIRECT) != 0;
  return policy.policyType >= 0 && policy.policyType < OPEN_TCAM_POLICY_TYPE_LAST &&
         (policy.actionType & ~ACTIONS_ALL) == 0 &&
         (!redirects || sim_if_find(policy.actionVal.redirIntfNum) != nullptr);
}

open_error_t policy_create(const open_tcamApiPolicy_t& record, uint32_t& id)
{
  if (!policy_valid(record)) {
    return OPEN_E_PARAM;
  }
  slice_t* slice = slice_for(record.policyType);
  if (slice == nullptr) {
    return OPEN_E_FULL;
  }
  slice->type = static_cast<uint32_t>(record.policyType);
  slice->entries++;
  policies[++last_id] = {record, slice, {}};
  id = last_id;
  sim_config_changed();
  return OPEN_E_NONE;
}

open_error_t policy_get(uint32_t id, open_tcamApiPolicy_t& record)
{
  const auto found = policies.find(id);
  return found == policies.end() ? OPEN_E_NOT_FOUND : sim_give(record, found->second.record);
}

open_error_t policy_destroy(uint32_t id)
{
  const auto found = policies.find(id);
  if (found == policies.end()) {
    return OPEN_E_NOT_FOUND;
  }
  found->second.slice->entries--;
  policies.erase(found);
  sim_config_changed();
  return OPEN_E_NONE;
}

void policies_clear()
{
  ingress = {};
  egress = {};
  policies.clear();
}

open_error_t policy_delete_all()
{
  policies_clear();
  sim_config_changed();
  return OPEN_E_NONE;
}

open_error_t policy_from(std::map<uint32_t, policy_t>::const_iterator from, uint32_t& id)
{
  return from == policies.cend() ? OPEN_E_FAIL : sim_give(id, from->first);
}

open_error_t policy_attach(uint32_t id, uint32_t port)
{
  const auto found = policies.find(id);
  if (found == policies.end() || sim_port_find(port) == nullptr) {
    return OPEN_E_NOT_FOUND;
  }
  if (!found->second.ports.insert(port).second) {
    return OPEN_E_EXISTS;
  }
  sim_config_changed();
  return OPEN_E_NONE;
}

open_error_t policy_detach(uint32_t id, uint32_t port)
{
  const auto found = policies.find(id);
  if (found == policies.end() || found->second.ports.erase(port) == 0) {
    return OPEN_E_NOT_FOUND;
  }
  sim_config_changed();
  return OPEN_E_NONE;
}

open_error_t type_name(uint32_t type, open_buffdesc* name)
{
  if (type >= std::size(TYPE_NAMES) || TYPE_NAMES[type] == nullptr) {
    return OPEN_E_NOT_FOUND;
  }
  return sim_text_put(name, TYPE_NAMES[type]);
}

// All calls but the first one need that one.
template <class Work, class... Args>
open_error_t tcam_call(const char* name, const openapiClientHandle_t* handle, Work work,
                       Args... args)
{
  return sim_call(
      name, handle, [&] { return initialised ? work() : OPEN_E_UNAVAIL; }, args...);
}

uint64_t mac_of(const uint8_t (&bytes)[6])
{
  uint64_t mac = 0;
  for (const uint8_t byte : bytes) {
    mac = mac << 8 | byte;
  }
  return mac;
}
}  // namespace

// What tells policies apart; the rest is read back with the policy.
void sim_put(std::string& line, const open_tcamApiPolicy_t& policy)
{
  line += "{" + std::to_string(policy.policyType) + "," + std::to_string(policy.policyPrio) + "," +
          sim_mac_text(mac_of(policy.matchDstMac)) + "," +
          sim_mac_text(mac_of(policy.matchSrcMac)) + "," + std::to_string(policy.actionType) + "}";
}

// The groups in use, as id:entries.
void sim_put(std::string& line, const open_tcam_group_stats_t& stats)
{
  const char* separator = "";
  line += "{";
  for (const open_tcam_group_t& group : stats.group) {
    if (group.used != 0) {
      line += separator + std::to_string(group.gid) + ":" + std::to_string(group.entry_count);
      separator = ",";
    }
  }
  line += "}";
}

// A fault's number becomes the type of a policy.
bool sim_number_set(open_tcamApiPolicy_t& policy, const sim_fault_value_t& value)
{
  return sim_number_set(policy.policyType, value);
}

void sim_tcam_reset()
{
  policies_clear();
  initialised = false;
  slice_size = SLICE_SIZE;
  last_id = 0;
}

bool sim_tcam_slice_size_parse(const sim_json_t& json)
{
  return sim_json_uint(json, 1, SLICE_SIZE, slice_size);
}

open_error_t rpcclt_openapiTcamApiInit(openapiClientHandle_t* client_handle)
{
  return sim_call(__func__, client_handle, [] { return sim_give(initialised, true); });
}

open_error_t rpcclt_openapiTcamPolicyCreate(openapiClientHandle_t* client_handle,
                                            const open_tcamApiPolicy_t* policy, uint32_t* policyId)
{
  const auto work = [&] { return policy_create(*policy, *policyId); };
  return tcam_call(__func__, client_handle, work, policy, sim_out(policyId));
}

open_error_t rpcclt_openapiTcamPolicyGet(openapiClientHandle_t* client_handle, uint32_t policyId,
                                         open_tcamApiPolicy_t* policy)
{
  const auto work = [&] { return policy_get(policyId, *policy); };
  return tcam_call(__func__, client_handle, work, policyId, sim_out(policy));
}

open_error_t rpcclt_openapiTcamPolicyDestroy(openapiClientHandle_t* client_handle,
                                             uint32_t policyId)
{
  const auto work = [&] { return policy_destroy(policyId); };
  return tcam_call(__func__, client_handle, work, policyId);
}

open_error_t rpcclt_openapiTcamPolicyDeleteAll(openapiClientHandle_t* client_handle)
{
  return tcam_call(__func__, client_handle, policy_delete_all);
}

open_error_t rpcclt_openapiTcamPolicyGetFirst(openapiClientHandle_t* client_handle,
                                              uint32_t* policyId)
{
  const auto work = [&] { return policy_from(policies.cbegin(), *policyId); };
  return tcam_call(__func__, client_handle, work, sim_out(policyId));
}

open_error_t rpcclt_openapiTcamPolicyGetNext(openapiClientHandle_t* client_handle,
                                             uint32_t policyId, uint32_t* nextPolicyId)
{
  const auto work = [&] { return policy_from(policies.upper_bound(policyId), *nextPolicyId); };
  return tcam_call(__func__, client_handle, work, policyId, sim_out(nextPolicyId));
}

open_error_t rpcclt_openapiTcamPolicyIntfAdd(openapiClientHandle_t* client_handle,
                                             uint32_t policyId, uint32_t ifNum)
{
  const auto work = [&] { return policy_attach(policyId, ifNum); };
  return tcam_call(__func__, client_handle, work, policyId, ifNum);
}

open_error_t rpcclt_openapiTcamPolicyIntfRem(openapiClientHandle_t* client_handle,
                                             uint32_t policyId, uint32_t ifNum)
{
  const auto work = [&] { return policy_detach(policyId, ifNum); };
  return tcam_call(__func__, client_handle, work, policyId, ifNum);
}

open_error_t rpcclt_openapiTcamGroupStatsGetZRT(openapiClientHandle_t* client_handle,
                                                OPEN_TCAM_POLICY_STAGE_t stage,
                                                open_tcam_group_stats_t* groups)
{
  const auto work = [&] { return group_stats(stage, *groups); };
  return tcam_call(__func__, client_handle, work, stage, sim_out(groups));
}

open_error_t rpcclt_openapiTcamGroupStatsIngressSlicesCountGetZRT(
    openapiClientHandle_t* client_handle, uint32_t* groupCount, uint32_t* entryCount,
    uint32_t* entryFree, uint32_t* entryTotal, uint32_t* slice256Count, uint32_t* slice256Free)
{
  const auto work = [&] {
    const stage_figures_t figures = stage_figures(false);
    *groupCount = figures.slices;
    *entryCount = figures.entries;
    *entryFree = figures.free;
    *entryTotal = figures.total;
    *slice256Count = figures.used_slices;
    *slice256Free = figures.slices - figures.used_slices;
    return OPEN_E_NONE;
  };
  return tcam_call(__func__, client_handle, work, sim_out(groupCount), sim_out(entryCount),
                   sim_out(entryFree), sim_out(entryTotal), sim_out(slice256Count),
                   sim_out(slice256Free));
}

open_error_t rpcclt_openapiTcamGroupStatsEgressSlicesCountGetZRT(
    openapiClientHandle_t* client_handle, uint32_t* groupCount, uint32_t* entryCount,
    uint32_t* entryFree)
{
  const auto work = [&] {
    const stage_figures_t figures = stage_figures(true);
    *groupCount = figures.slices;
    *entryCount = figures.entries;
    *entryFree = figures.free;
    return OPEN_E_NONE;
  };
  return tcam_call(__func__, client_handle, work, sim_out(groupCount), sim_out(entryCount),
                   sim_out(entryFree));
}

open_error_t rpcclt_openapiTcamHapiBroadPolicyTypeNameGetZRT(openapiClientHandle_t* client_handle,
                                                             uint32_t policyType,
                                                             open_buffdesc* name)
{
  const auto work = [&] { return type_name(policyType, name); };
  return tcam_call(__func__, client_handle, work, policyType, sim_out(name));
}
