#include "switchsim/model/sim_ports.h"

#include <algorithm>

#include "platform/openapi_base.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/model/sim_plane.h"

namespace
{
constexpr uint32_t CPU_LOWEST = 55;
constexpr uint32_t LAG_MAX = 64;
constexpr uint32_t VLAN_FIRST_LOWEST = 226;
constexpr uint32_t VLAN_MAX = 128;

sim_numbering_t numbering;
std::map<uint32_t, sim_if_t> ifs;

void ports_reset()
{
  const std::vector<sim_port_t> built_in = sim_plane().ports();
  const uint32_t highest_port = built_in.back().number;
  numbering.ports = highest_port;
  numbering.cpu = std::max(CPU_LOWEST, highest_port + 1);
  numbering.lag_first = numbering.cpu + 1;
  numbering.lag_max = LAG_MAX;
  numbering.vlan_first = std::max(VLAN_FIRST_LOWEST, numbering.lag_first + LAG_MAX);
  numbering.vlan_max = VLAN_MAX;
  numbering.highest = numbering.vlan_first + VLAN_MAX - 1;

  ifs.clear();
  for (const sim_port_t& port : built_in) {
    sim_if_add(port.number, OPEN_INTF_TYPE_PHY, "0/" + std::to_string(port.number)).connector =
        port.connector;
  }
  sim_if_add(numbering.cpu, OPEN_INTF_TYPE_CPU, "CPU");
}

sim_restore_t ports_keep()
{
  return [kept = ifs] { ifs = kept; };
}

// The first interface of a type from a number on.
open_error_t if_from(std::map<uint32_t, sim_if_t>::const_iterator from, OPEN_INTF_TYPE_t type,
                     uint32_t& number)
{
  if (type < OPEN_INTF_TYPE_PHY || type > OPEN_INTF_TYPE_ANY)
    return OPEN_E_PARAM;
  const auto found = std::find_if(from, ifs.cend(), [&](const auto& entry) {
    return type == OPEN_INTF_TYPE_ANY || entry.second.type == type;
  });
  if (found == ifs.cend())
    return OPEN_E_FAIL;
  return sim_give(number, found->first);
}

}  // namespace

const sim_area_t sim_ports_area = [] {
  sim_area_t area;
  area.reset = ports_reset;
  area.keep = ports_keep;
  return area;
}();

const sim_numbering_t& sim_numbering()
{
  return numbering;
}

const std::map<uint32_t, sim_if_t>& sim_ifs()
{
  return ifs;
}

sim_if_t* sim_if_find(uint32_t number)
{
  const auto found = ifs.find(number);
  return found == ifs.end() ? nullptr : &found->second;
}

sim_if_t* sim_port_find(uint32_t number)
{
  sim_if_t* intf = sim_if_find(number);
  return intf != nullptr && intf->type == OPEN_INTF_TYPE_PHY ? intf : nullptr;
}

sim_if_t& sim_if_add(uint32_t number, OPEN_INTF_TYPE_t type, const std::string& name)
{
  sim_if_t& intf = ifs[number];
  intf = {number, type, name, OPEN_CONNECTOR_NONE};
  return intf;
}

void sim_if_remove(uint32_t number)
{
  ifs.erase(number);
  sim_tell_if_removed(number);
}

std::vector<uint32_t> sim_if_members(uint32_t group)
{
  std::vector<uint32_t> members;
  for (const auto& [number, intf] : ifs)
    if (group != 0 && intf.group == group)
      members.push_back(number);
  return members;
}

uint32_t sim_if_forwarder(uint32_t number)
{
  const sim_if_t* intf = sim_if_find(number);
  return intf == nullptr || intf->group == 0 ? number : intf->group;
}

uint32_t sim_if_vlan(uint32_t number)
{
  const sim_if_t* intf = sim_if_find(number);
  return intf == nullptr ? 0 : intf->vlan;
}

open_error_t openapiIfFirstGet(openapiClientHandle_t* client_handle, OPEN_INTF_TYPE_t type,
                               uint32_t* ifNum)
{
  const auto work = [&] { return if_from(ifs.cbegin(), type, *ifNum); };
  return sim_call(__func__, client_handle, work, type, sim_out(ifNum));
}

open_error_t openapiIfNextGet(openapiClientHandle_t* client_handle, OPEN_INTF_TYPE_t type,
                              uint32_t ifNum, uint32_t* nextIfNum)
{
  const auto work = [&] { return if_from(ifs.upper_bound(ifNum), type, *nextIfNum); };
  return sim_call(__func__, client_handle, work, type, ifNum, sim_out(nextIfNum));
}

open_error_t openapiIfNextChangedGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                     uint32_t* nextIfNum, uint32_t* delete_pending)
{
  const auto work = [&] {
    const open_error_t result = sim_pending_next(SIM_IF, ifNum, *nextIfNum);
    if (result == OPEN_E_NONE)
      *delete_pending = sim_if_find(*nextIfNum) == nullptr ? 1 : 0;
    return result;
  };
  return sim_call(__func__, client_handle, work, ifNum, sim_out(nextIfNum),
                  sim_out(delete_pending));
}

open_error_t openapiMaxInterfaceCountGet(openapiClientHandle_t* client_handle, uint32_t* count)
{
  const auto work = [&] { return sim_give(*count, numbering.highest); };
  return sim_call(__func__, client_handle, work, sim_out(count));
}

open_error_t rpcclt_openapiCpuIntfGet(openapiClientHandle_t* client_handle, uint32_t* cpuIfNum)
{
  const auto work = [&] { return sim_give(*cpuIfNum, numbering.cpu); };
  return sim_call(__func__, client_handle, work, sim_out(cpuIfNum));
}
