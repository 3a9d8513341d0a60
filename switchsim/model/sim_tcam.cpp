#include "switchsim/model/sim_tcam.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "platform/openapi_tcam.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/model/sim_plane.h"
#include "switchsim/model/sim_ports.h"
#include "switchsim/text/sim_address.h"
#include "switchsim/text/sim_mac.h"

namespace
{
constexpr uint32_t ACTIONS_ALL = 0xff;

// By policy type.
constexpr const char* TYPE_NAMES[] = {nullptr, "OpenFlow", "Gen (IPv6)", "Egress"};

bool initialised;
std::map<uint32_t, sim_policy_t> policies;
uint32_t last_id;

bool policy_redirects(const open_tcamApiPolicy_t& policy)
{
  return (policy.actionType & OPEN_TCAM_POLICY_ACTION_REDIRECT) != 0;
}

bool policy_valid(const open_tcamApiPolicy_t& policy)
{
  return policy.policyType >= 0 && policy.policyType < OPEN_TCAM_POLICY_TYPE_LAST &&
         (policy.actionType & ~ACTIONS_ALL) == 0 &&
         (!policy_redirects(policy) || sim_if_find(policy.actionVal.redirIntfNum) != nullptr);
}

// Takes a policy, at the place where the world has room for it.
open_error_t policy_add(uint32_t id, const open_tcamApiPolicy_t& record, uint32_t place)
{
  const open_error_t result = sim_plane().policy_room(0, record, place);
  if (result != OPEN_E_NONE)
    return result;
  policies[id] = {record, place, {}};
  last_id = std::max(last_id, id);
  return sim_changed(SIM_POLICY, id);
}

open_error_t policy_create(const open_tcamApiPolicy_t& record, uint32_t& id)
{
  if (!policy_valid(record))
    return OPEN_E_PARAM;
  const open_error_t result = policy_add(last_id + 1, record, SIM_PLACE_ANY);
  return result == OPEN_E_NONE ? sim_give(id, last_id) : result;
}

open_error_t policy_get(uint32_t id, open_tcamApiPolicy_t& record)
{
  const auto found = policies.find(id);
  return found == policies.end() ? OPEN_E_NOT_FOUND : sim_give(record, found->second.record);
}

open_error_t policy_destroy(uint32_t id)
{
  return policies.erase(id) == 0 ? OPEN_E_NOT_FOUND : sim_changed(SIM_POLICY, id);
}

void policies_clear()
{
  policies.clear();
}

open_error_t policy_delete_all()
{
  policies_clear();
  return sim_changed(SIM_POLICY);
}

open_error_t policy_from(std::map<uint32_t, sim_policy_t>::const_iterator from, uint32_t& id)
{
  return from == policies.cend() ? OPEN_E_FAIL : sim_give(id, from->first);
}

open_error_t policy_attach(uint32_t id, uint32_t port)
{
  const auto found = policies.find(id);
  if (found == policies.end() || sim_port_find(port) == nullptr)
    return OPEN_E_NOT_FOUND;
  if (!found->second.ports.insert(port).second)
    return OPEN_E_EXISTS;
  return sim_changed(SIM_POLICY, id);
}

open_error_t policy_detach(uint32_t id, uint32_t port)
{
  const auto found = policies.find(id);
  if (found == policies.end() || found->second.ports.erase(port) == 0)
    return OPEN_E_NOT_FOUND;
  return sim_changed(SIM_POLICY, id);
}

open_error_t type_name(uint32_t type, open_buffdesc* name)
{
  if (type >= std::size(TYPE_NAMES) || TYPE_NAMES[type] == nullptr)
    return OPEN_E_NOT_FOUND;
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
  for (const uint8_t byte : bytes)
    mac = mac << 8 | byte;
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

const std::map<uint32_t, sim_policy_t>& sim_policies()
{
  return policies;
}

bool sim_tcam_redirects_to(uint32_t number)
{
  return std::any_of(
      policies.begin(), policies.end(),
      [&](const auto& entry) {
        const open_tcamApiPolicy_t& record = entry.second.record;
        return policy_redirects(record) && record.actionVal.redirIntfNum == number;
      });
}

// ---- configuration ----

namespace
{
sim_restore_t tcam_keep()
{
  return [kept_policies = policies, kept_id = last_id] {
    policies = kept_policies;
    last_id = kept_id;
  };
}

void tcam_restarted()
{
  initialised = false;
}

void tcam_reset()
{
  policies_clear();
  tcam_restarted();
  last_id = 0;
}

// The fields of a policy as commands name them; an action's values come before the action.
enum field_kind_t { NUMBER, IPV4, IPV6, MAC };
struct field_t {
  const char* name;
  field_kind_t kind;
  size_t offset;
  size_t size;
};
#define FIELD(name, kind, member)                           \
  {                                                         \
    name, kind, offsetof(open_tcamApiPolicy_t, member),     \
        sizeof(std::declval<open_tcamApiPolicy_t>().member) \
  }
constexpr field_t FIELDS[] = {
    FIELD("version-major", NUMBER, policyHeader.versionInfo.versionMajor),
    FIELD("version-minor", NUMBER, policyHeader.versionInfo.versionMinor),
    FIELD("header-length", NUMBER, policyHeader.headerLen),
    FIELD("priority", NUMBER, policyPrio),
    FIELD("rule", NUMBER, ruleNum),
    FIELD("rule-priority", NUMBER, rulePrio),
    FIELD("match-dst-mac", MAC, matchDstMac),
    FIELD("match-src-mac", MAC, matchSrcMac),
    FIELD("match-vlan", NUMBER, matchVlanVal),
    FIELD("match-vlan-priority", NUMBER, matchVlanPrio),
    FIELD("match-ether-type", NUMBER, matchEthType),
    FIELD("match-dst-ip", IPV4, matchDstIp),
    FIELD("match-dst-ip-mask", IPV4, matchDstIpMask),
    FIELD("match-src-ip", IPV4, matchSrcIp),
    FIELD("match-src-ip-mask", IPV4, matchSrcIpMask),
    FIELD("match-ip-protocol", NUMBER, matchIpProto),
    FIELD("match-ip-protocol-mask", NUMBER, matchIpProtoMask),
    FIELD("match-ip-dscp", NUMBER, matchIpDscp),
    FIELD("match-ip-dscp-mask", NUMBER, matchIpDscpMask),
    FIELD("match-src-port", NUMBER, matchSrcPortIcmpType),
    FIELD("match-src-port-mask", NUMBER, matchSrcPortIcmpTypeMask),
    FIELD("match-dst-port", NUMBER, matchDstPortIcmpCode),
    FIELD("match-dst-port-mask", NUMBER, matchDstPortIcmpCodeMask),
    FIELD("match-src-ipv6", IPV6, matchSrcIpv6Addr),
    FIELD("match-src-ipv6-mask", IPV6, matchSrcIpv6Mask),
    FIELD("match-dst-ipv6", IPV6, matchDstIpv6Addr),
    FIELD("match-dst-ipv6-mask", IPV6, matchDstIpv6Mask),
    FIELD("redirect-interface", NUMBER, actionVal.redirIntfNum),
    FIELD("new-src-mac", MAC, actionVal.srcAddr),
    FIELD("new-dst-mac", MAC, actionVal.dstMac),
    FIELD("new-ether-type", NUMBER, actionVal.etherType),
    FIELD("new-vlan", NUMBER, actionVal.vlanId),
    FIELD("new-vlan-priority", NUMBER, actionVal.vlanPrio),
    FIELD("new-dscp", NUMBER, actionVal.dscp),
    FIELD("actions", NUMBER, actionType),
};
#undef FIELD

// A field as a number: of its own size, or of the six bytes of a MAC address.
template <class T>
uint64_t number_load(const char* at)
{
  T number;
  memcpy(&number, at, sizeof number);
  return number;
}

template <class T>
bool number_store(char* at, uint64_t number)
{
  const T stored = static_cast<T>(number);
  memcpy(at, &stored, sizeof stored);
  return stored == number;
}

uint64_t field_load(const field_t& field, const char* at)
{
  switch (field.size) {
    case sizeof(uint8_t):
      return number_load<uint8_t>(at);
    case sizeof(uint16_t):
      return number_load<uint16_t>(at);
    case sizeof(uint32_t):
      return number_load<uint32_t>(at);
    default:
      return number_load<uint64_t>(at);
  }
}

bool field_store(const field_t& field, char* at, uint64_t number)
{
  switch (field.size) {
    case sizeof(uint8_t):
      return number_store<uint8_t>(at, number);
    case sizeof(uint16_t):
      return number_store<uint16_t>(at, number);
    case sizeof(uint32_t):
      return number_store<uint32_t>(at, number);
    default:
      return number_store<uint64_t>(at, number);
  }
}

std::string field_text(const field_t& field, const open_tcamApiPolicy_t& record)
{
  const char* at = reinterpret_cast<const char*>(&record) + field.offset;
  uint8_t mac[6];
  open_in6_addr_t ipv6;
  switch (field.kind) {
    case IPV4:
      return sim_ipv4_text(static_cast<uint32_t>(field_load(field, at)));
    case IPV6:
      memcpy(&ipv6, at, sizeof ipv6);
      return sim_inet_text(OPEN_AF_INET6, 0, ipv6);
    case MAC:
      memcpy(mac, at, sizeof mac);
      return sim_mac_text(mac_of(mac));
    default:
      return std::to_string(field_load(field, at));
  }
}

bool field_read(const field_t& field, const std::string& text, open_tcamApiPolicy_t& record)
{
  char* at = reinterpret_cast<char*>(&record) + field.offset;
  open_inet_addr_t address = {};
  uint64_t number = 0;
  switch (field.kind) {
    case IPV4:
      return sim_inet_parse(text, address) == OPEN_E_NONE && address.family == OPEN_AF_INET &&
             field_store(field, at, address.addr.ipv4);
    case IPV6:
      if (sim_inet_parse(text, address) != OPEN_E_NONE || address.family != OPEN_AF_INET6)
        return false;
      memcpy(at, &address.addr.ipv6, field.size);
      return true;
    case MAC:
      if (!sim_mac_parse(text, number))
        return false;
      for (size_t i = field.size; i-- > 0; number >>= 8)
        at[i] = static_cast<char>(number);
      return true;
    default:
      return sim_cli_number_read(text, number) && field_store(field, at, number);
  }
}

void tcam_write(std::string& script)
{
  const open_tcamApiPolicy_t empty = {};
  for (const auto& [id, policy] : policies) {
    sim_cli_line(script, "tcam policy", id, "type", static_cast<uint32_t>(policy.record.policyType),
                 "slice", policy.place);
    for (const field_t& field : FIELDS) {
      const std::string text = field_text(field, policy.record);
      if (text != field_text(field, empty))
        sim_cli_line(script, "tcam policy", id, "set", field.name, text);
    }
    for (const uint32_t port : policy.ports)
      sim_cli_line(script, "tcam policy", id, "interface", port);
  }
}

// Slices hold policies of one type, so an empty policy takes its place in one of them at once.
open_error_t cli_policy_create(uint32_t id, OPEN_TCAM_POLICY_TYPE_t type, uint32_t slice)
{
  open_tcamApiPolicy_t record = {};
  record.policyType = type;
  if (id == 0 || !policy_valid(record))
    return OPEN_E_PARAM;
  if (policies.count(id) > 0)
    return OPEN_E_EXISTS;
  return slice == SIM_PLACE_ANY ? OPEN_E_PARAM : policy_add(id, record, slice);
}

open_error_t cli_policy_set(uint32_t id, const std::string& name, const std::string& text)
{
  const auto policy = policies.find(id);
  const auto field = std::find_if(std::begin(FIELDS), std::end(FIELDS),
                                  [&](const field_t& row) { return name == row.name; });
  if (policy == policies.end())
    return OPEN_E_NOT_FOUND;
  open_tcamApiPolicy_t record = policy->second.record;
  if (field == std::end(FIELDS) || !field_read(*field, text, record) || !policy_valid(record))
    return OPEN_E_PARAM;
  const open_error_t result = sim_plane().policy_room(id, record, policy->second.place);
  return result == OPEN_E_NONE ? sim_assign(SIM_POLICY, policy->second.record, record, id) : result;
}

constexpr sim_command_t COMMANDS[] = {
    {"tcam policy {n} type {n} slice {n}", sim_cli_run<cli_policy_create>},
    {"tcam policy {n} set {t} {t}",        sim_cli_run<cli_policy_set>   },
    {"tcam policy {n} interface {n}",      sim_cli_run<policy_attach>    },
    {"no tcam policy {n}",                 sim_cli_run<policy_destroy>   },
    {"no tcam policy {n} interface {n}",   sim_cli_run<policy_detach>    },
};
}  // namespace

const sim_area_t sim_tcam_area = [] {
  sim_area_t area =
      sim_area_with_config(sim_area(tcam_reset), tcam_keep, policies_clear, tcam_write, COMMANDS);
  area.restarted = tcam_restarted;
  return area;
}();

open_error_t rpcclt_openapiTcamApiInit(openapiClientHandle_t* client_handle)
{
  return sim_call(
      __func__, client_handle, [] { return sim_give(initialised, true); });
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
  const auto work = [&] {
    if (stage != OPEN_TCAM_POLICY_STAGE_INGRESS && stage != OPEN_TCAM_POLICY_STAGE_EGRESS)
      return OPEN_E_PARAM;
    return sim_give(*groups, sim_plane().policy_use(stage == OPEN_TCAM_POLICY_STAGE_EGRESS).groups);
  };
  return tcam_call(__func__, client_handle, work, stage, sim_out(groups));
}

open_error_t rpcclt_openapiTcamGroupStatsIngressSlicesCountGetZRT(
    openapiClientHandle_t* client_handle, uint32_t* groupCount, uint32_t* entryCount,
    uint32_t* entryFree, uint32_t* entryTotal, uint32_t* slice256Count, uint32_t* slice256Free)
{
  const auto work = [&] {
    const sim_policy_use_t figures = sim_plane().policy_use(false);
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
    const sim_policy_use_t figures = sim_plane().policy_use(true);
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
