#include "switchsim/model/sim_lag.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "platform/openapi_lag.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/model/sim_ports.h"
#include "switchsim/model/sim_routing.h"
#include "switchsim/model/sim_tcam.h"

namespace
{
constexpr uint32_t MEMBERS_MAX = 8;
constexpr uint32_t NAME_MAX_LENGTH = 15;

std::map<uint32_t, std::string> lags;  // names, by interface number

uint32_t channel_id_of(uint32_t number)
{
  return number - sim_numbering().lag_first + 1;
}

std::string* lag_find(uint32_t number)
{
  const auto found = lags.find(number);
  return found == lags.end() ? nullptr : &found->second;
}

std::string name_when_new(uint32_t number)
{
  return "ch" + std::to_string(channel_id_of(number));
}

void lag_add(uint32_t number)
{
  lags[number] = name_when_new(number);
  const std::string id = std::to_string(channel_id_of(number));
  sim_if_add(number, OPEN_INTF_TYPE_LAG, "lag " + id);
}

// What stands in the way of a port's joining the group: a port that routes would stop to do so.
open_error_t port_add_check(uint32_t number, uint32_t port)
{
  const sim_if_t* intf = sim_port_find(port);
  if (intf == nullptr)
    return OPEN_E_NOT_FOUND;
  if (intf->group == number)
    return OPEN_E_EXISTS;
  if (intf->group != 0 || sim_routing_configured(port))
    return OPEN_E_FAIL;
  return sim_if_members(number).size() < MEMBERS_MAX ? OPEN_E_NONE : OPEN_E_FULL;
}

// The port joins a group, or leaves its own (0).
void group_set(uint32_t port, uint32_t number)
{
  sim_if_t* intf = sim_port_find(port);
  const uint32_t group = std::max(number, intf->group);
  intf->group = number;
  sim_changed(SIM_GROUP, port);
  sim_changed(SIM_IF, group);
}

open_error_t name_get(uint32_t number, open_buffdesc* name)
{
  const std::string* held = lag_find(number);
  return held == nullptr ? OPEN_E_NOT_FOUND : sim_text_put(name, *held);
}

open_error_t members_get(uint32_t number, uint32_t& count, open_buffdesc* members)
{
  if (lag_find(number) == nullptr)
    return OPEN_E_NOT_FOUND;
  const std::vector<uint32_t> ports = sim_if_members(number);
  if (ports.size() > std::min(count, static_cast<uint32_t>(members->size / sizeof count)))
    return OPEN_E_PARAM;
  char* slot = static_cast<char*>(members->pstart);
  for (const uint32_t port : ports) {
    memcpy(slot, &port, sizeof port);
    slot += sizeof port;
  }
  count = static_cast<uint32_t>(ports.size());
  members->size = static_cast<uint32_t>(count * sizeof count);
  return OPEN_E_NONE;
}

void members_release(uint32_t number)
{
  for (const uint32_t port : sim_if_members(number)) {
    sim_port_find(port)->group = 0;
    sim_changed(SIM_GROUP, port);
  }
}

void all_remove()
{
  for (const auto& entry : lags) {
    members_release(entry.first);
    sim_if_remove(entry.first);
  }
  lags.clear();
}

bool member_parse(const sim_json_t& json, uint32_t number)
{
  uint32_t port = 0;
  if (!sim_json_uint(json, 1, sim_numbering().ports, port))
    return false;
  if (port_add_check(number, port) != OPEN_E_NONE)
    return sim_json_refuse(json, "is in a group already, or one too many");
  sim_port_find(port)->group = number;
  return true;
}

bool lag_parse(const sim_json_t& json)
{
  uint32_t number = 0;
  const auto parse_id = [&](const sim_json_t& j) {
    uint32_t id = 0;
    if (!sim_json_uint(j, 1, sim_numbering().lag_max, id))
      return false;
    number = sim_lag_if_num(id);
    if (lag_find(number) != nullptr)
      return sim_json_refuse(j, "is there twice");
    lag_add(number);
    return true;
  };
  const auto parse_name = [&](const sim_json_t& j) {
    return sim_json_text(j, 0, NAME_MAX_LENGTH, lags[number]);
  };
  const auto parse_members = [&](const sim_json_t& j) {
    return sim_json_list(j, [&](const sim_json_t& item) { return member_parse(item, number); });
  };
  return sim_json_record(json, {
                                   {"id",      true,  parse_id     },
                                   {"name",    false, parse_name   },
                                   {"members", false, parse_members},
  });
}
// The built-in groups; a switch with fewer ports has them without the ports that it lacks.
void lag_reset()
{
  lags.clear();
  lag_add(sim_lag_if_num(1));
  for (const uint32_t port : {47, 48})
    if (sim_port_find(port) != nullptr)
      sim_port_find(port)->group = sim_lag_if_num(1);
  lag_add(sim_lag_if_num(2));
}

bool lags_parse(const sim_json_t& json)
{
  all_remove();
  return sim_json_list(json, lag_parse);
}

}  // namespace

uint32_t sim_lag_if_num(uint32_t channel_id)
{
  const sim_numbering_t& numbering = sim_numbering();
  return channel_id >= 1 && channel_id <= numbering.lag_max ? numbering.lag_first + channel_id - 1
                                                            : 0;
}

open_error_t sim_lag_create(uint32_t number)
{
  const sim_numbering_t& numbering = sim_numbering();
  if (number < numbering.lag_first || number >= numbering.lag_first + numbering.lag_max)
    return OPEN_E_PARAM;
  if (lag_find(number) != nullptr)
    return OPEN_E_EXISTS;
  lag_add(number);
  return sim_changed(SIM_IF, number);
}

open_error_t sim_lag_delete(uint32_t number)
{
  if (lag_find(number) == nullptr)
    return OPEN_E_NOT_FOUND;
  if (sim_tcam_redirects_to(number))
    return OPEN_E_FAIL;
  members_release(number);
  lags.erase(number);
  sim_if_remove(number);
  return sim_changed(SIM_IF, number);
}

open_error_t sim_lag_port_add(uint32_t number, uint32_t port)
{
  if (lag_find(number) == nullptr)
    return OPEN_E_NOT_FOUND;
  const open_error_t result = port_add_check(number, port);
  if (result == OPEN_E_NONE)
    group_set(port, number);
  return result;
}

open_error_t sim_lag_port_delete(uint32_t number, uint32_t port)
{
  const sim_if_t* intf = sim_port_find(port);
  if (lag_find(number) == nullptr || intf == nullptr || intf->group != number)
    return OPEN_E_NOT_FOUND;
  group_set(port, 0);
  return OPEN_E_NONE;
}

// ---- configuration ----

namespace
{
sim_restore_t lag_keep()
{
  return [kept = lags] { lags = kept; };
}

void lag_write(std::string& script)
{
  for (const auto& [number, name] : lags) {
    const uint32_t id = channel_id_of(number);
    sim_cli_line(script, "port-channel", id);
    if (name != name_when_new(number))
      sim_cli_line(script, "port-channel", id, "name", name);
  }
}

// Behind the settings of the ports: those that are left to a group can be set before they join it.
void members_write(std::string& script)
{
  for (const auto& entry : lags)
    for (const uint32_t port : sim_if_members(entry.first))
      sim_cli_line(script, "port-channel", channel_id_of(entry.first), "member", port);
}

open_error_t cli_create(uint32_t id)
{
  return sim_lag_create(sim_lag_if_num(id));
}

open_error_t cli_delete(uint32_t id)
{
  return sim_lag_delete(sim_lag_if_num(id));
}

open_error_t cli_port_add(uint32_t id, uint32_t port)
{
  return sim_lag_port_add(sim_lag_if_num(id), port);
}

open_error_t cli_port_delete(uint32_t id, uint32_t port)
{
  return sim_lag_port_delete(sim_lag_if_num(id), port);
}

open_error_t cli_name_set(uint32_t id, const std::string& name)
{
  std::string* held = lag_find(sim_lag_if_num(id));
  if (held == nullptr)
    return OPEN_E_NOT_FOUND;
  return name.size() <= NAME_MAX_LENGTH ? sim_assign(SIM_GROUP, *held, name, sim_lag_if_num(id))
                                        : OPEN_E_PARAM;
}

constexpr sim_command_t COMMANDS[] = {
    {"port-channel {n}",          sim_cli_run<cli_create>  },
    {"port-channel {n} name {t}", sim_cli_run<cli_name_set>},
    {"no port-channel {n}",       sim_cli_run<cli_delete>  },
};
constexpr sim_command_t MEMBER_COMMANDS[] = {
    {"port-channel {n} member {n}",    sim_cli_run<cli_port_add>   },
    {"no port-channel {n} member {n}", sim_cli_run<cli_port_delete>},
};
}  // namespace

constexpr sim_key_t KEYS[] = {
    {"lags", lags_parse},
};

const sim_area_t sim_lag_area =
    sim_area_with_config(sim_area(lag_reset, KEYS), lag_keep, all_remove, lag_write, COMMANDS);

// Which port is a member of which group is kept and cleared with the interfaces and the groups.
const sim_area_t sim_lag_members_area =
    sim_area_with_config(sim_area(nullptr), nullptr, nullptr, members_write, MEMBER_COMMANDS);

open_error_t rpcclt_openapiLagIfNumToPortChannelIdZRT(openapiClientHandle_t* client_handle,
                                                      uint32_t lagIfNum, uint32_t* channelId)
{
  const auto work = [&] {
    return lag_find(lagIfNum) == nullptr ? OPEN_E_NOT_FOUND
                                         : sim_give(*channelId, channel_id_of(lagIfNum));
  };
  return sim_call(__func__, client_handle, work, lagIfNum, sim_out(channelId));
}

open_error_t rpcclt_openapiLagPortChannelIdToIfNumZRT(openapiClientHandle_t* client_handle,
                                                      uint32_t channelId, uint32_t* lagIfNum)
{
  const auto work = [&] {
    const uint32_t number = sim_lag_if_num(channelId);
    return lag_find(number) == nullptr ? OPEN_E_NOT_FOUND : sim_give(*lagIfNum, number);
  };
  return sim_call(__func__, client_handle, work, channelId, sim_out(lagIfNum));
}

open_error_t rpcclt_openapiLagCreateZRT(openapiClientHandle_t* client_handle, uint32_t lagIfNum)
{
  return sim_call(
      __func__, client_handle, [&] { return sim_lag_create(lagIfNum); }, lagIfNum);
}

open_error_t rpcclt_openapiLagDeleteZRT(openapiClientHandle_t* client_handle, uint32_t lagIfNum)
{
  return sim_call(
      __func__, client_handle, [&] { return sim_lag_delete(lagIfNum); }, lagIfNum);
}

open_error_t rpcclt_openapiLagNameMaxLengthGet(openapiClientHandle_t* client_handle,
                                               uint32_t* length)
{
  const auto work = [&] { return sim_give(*length, NAME_MAX_LENGTH + 1); };
  return sim_call(__func__, client_handle, work, sim_out(length));
}

open_error_t rpcclt_openapiLagNameGet(openapiClientHandle_t* client_handle, uint32_t lagIfNum,
                                      open_buffdesc* name)
{
  const auto work = [&] { return name_get(lagIfNum, name); };
  return sim_call(__func__, client_handle, work, lagIfNum, sim_out(name));
}

open_error_t rpcclt_openapiLagMaxMemberCountGet(openapiClientHandle_t* client_handle,
                                                uint32_t* count)
{
  const auto work = [&] { return sim_give(*count, MEMBERS_MAX); };
  return sim_call(__func__, client_handle, work, sim_out(count));
}

open_error_t rpcclt_openapiLagMembersGet(openapiClientHandle_t* client_handle, uint32_t lagIfNum,
                                         uint32_t* count, open_buffdesc* members)
{
  const auto work = [&] { return members_get(lagIfNum, *count, members); };
  return sim_call(__func__, client_handle, work, lagIfNum, sim_out(count), sim_out_list(members));
}

open_error_t rpcclt_openapiLagPortAdd(openapiClientHandle_t* client_handle, uint32_t lagIfNum,
                                      uint32_t ifNum)
{
  const auto work = [&] { return sim_lag_port_add(lagIfNum, ifNum); };
  return sim_call(__func__, client_handle, work, lagIfNum, ifNum);
}

open_error_t rpcclt_openapiLagPortDelete(openapiClientHandle_t* client_handle, uint32_t lagIfNum,
                                         uint32_t ifNum)
{
  const auto work = [&] { return sim_lag_port_delete(lagIfNum, ifNum); };
  return sim_call(__func__, client_handle, work, lagIfNum, ifNum);
}
