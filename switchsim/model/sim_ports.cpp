#include "switchsim/model/sim_ports.h"

#include <algorithm>

#include "platform/openapi_base.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/config/sim_config.h"
#include "switchsim/model/sim_pending.h"
#include "switchsim/model/sim_state.h"
#include "switchsim/model/sim_vlan.h"
#include "switchsim/plane_sim/sim_links.h"
#include "switchsim/sim_areas.h"

namespace
{
constexpr uint32_t PORTS = 54;
constexpr uint32_t PORTS_MAX = 4000;
constexpr uint32_t CPU_LOWEST = 55;
constexpr uint32_t LAG_MAX = 64;
constexpr uint32_t VLAN_FIRST_LOWEST = 226;
constexpr uint32_t VLAN_MAX = 128;

sim_numbering_t numbering;
std::map<uint32_t, sim_if_t> ifs;
sim_pending_list_t pending;

OPEN_IF_CONNECTOR_TYPE_t connector_of(uint32_t port)
{
  if (port >= 49 && port <= 52) {
    return OPEN_SFPPLUS;
  }
  return port == 53 || port == 54 ? OPEN_QSFP : OPEN_RJ45;
}

OPEN_PORT_SPEEDS_t speed_when_new(OPEN_IF_CONNECTOR_TYPE_t connector)
{
  switch (connector) {
    case OPEN_SFPPLUS:
      return OPEN_PORTCTRL_PORTSPEED_FULL_10GSX;
    case OPEN_QSFP:
      return OPEN_PORTCTRL_PORTSPEED_FULL_40GSX;
    default:
      return OPEN_PORTCTRL_PORTSPEED_AUTO_NEG;
  }
}

bool wired_when_new(uint32_t port)
{
  return port <= 8 || port == 49 || port == 53;
}

void ports_build(uint32_t ports)
{
  numbering.ports = ports;
  numbering.cpu = std::max(CPU_LOWEST, ports + 1);
  numbering.lag_first = numbering.cpu + 1;
  numbering.lag_max = LAG_MAX;
  numbering.vlan_first = std::max(VLAN_FIRST_LOWEST, numbering.lag_first + LAG_MAX);
  numbering.vlan_max = VLAN_MAX;
  numbering.highest = numbering.vlan_first + VLAN_MAX - 1;

  ifs.clear();
  pending.clear();
  for (uint32_t port = 1; port <= ports; port++) {
    sim_if_t& intf = sim_if_add(port, OPEN_INTF_TYPE_PHY, "0/" + std::to_string(port));
    intf.connector = connector_of(port);
    intf.speed = speed_when_new(intf.connector);
    intf.wired = wired_when_new(port);
  }
  sim_if_add(numbering.cpu, OPEN_INTF_TYPE_CPU, "CPU").wired = true;
}

// The first interface of a type from a number on.
open_error_t if_from(std::map<uint32_t, sim_if_t>::const_iterator from, OPEN_INTF_TYPE_t type,
                     uint32_t& number)
{
  if (type < OPEN_INTF_TYPE_PHY || type > OPEN_INTF_TYPE_ANY) {
    return OPEN_E_PARAM;
  }
  const auto found = std::find_if(from, ifs.cend(), [&](const auto& entry) {
    return type == OPEN_INTF_TYPE_ANY || entry.second.type == type;
  });
  if (found == ifs.cend()) {
    return OPEN_E_FAIL;
  }
  return sim_give(number, found->first);
}

}  // namespace

void sim_ports_reset()
{
  ports_build(PORTS);
}

bool sim_ports_ports_parse(const sim_json_t& json)
{
  uint32_t ports = 0;
  if (!sim_json_uint(json, 1, PORTS_MAX, ports)) {
    return false;
  }
  ports_build(ports);
  return true;
}

bool sim_ports_link_up_parse(const sim_json_t& json)
{
  for (auto& entry : ifs) {
    entry.second.wired = entry.second.type == OPEN_INTF_TYPE_CPU;
  }
  return sim_json_list(json, [](const sim_json_t& item) {
    uint32_t port = 0;
    if (!sim_json_uint(item, 1, numbering.ports, port)) {
      return false;
    }
    ifs.at(port).wired = true;
    return true;
  });
}

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
  intf = {number, type, name, OPEN_CONNECTOR_NONE, OPEN_ENABLE, false};
  return intf;
}

void sim_if_remove(uint32_t number)
{
  ifs.erase(number);
  sim_vlan_if_removed(number);
}

void sim_if_changed(uint32_t number)
{
  sim_pending_note(pending, number, sim_if_find(number) == nullptr);
  sim_links_changed(number);
}

uint32_t sim_if_forwarder(uint32_t number)
{
  const sim_if_t* intf = sim_if_find(number);
  return intf == nullptr || intf->group == 0 ? number : intf->group;
}

// ---- configuration ----

namespace
{
sim_restore_t if_keep()
{
  return [kept_ifs = ifs, kept_pending = pending] {
    ifs = kept_ifs;
    pending = kept_pending;
  };
}

// The settings of a new interface of the same kind.
sim_if_t if_when_new(const sim_if_t& intf)
{
  sim_if_t fresh = {intf.number, intf.type, intf.name, intf.connector, OPEN_ENABLE, intf.wired};
  fresh.speed = intf.type == OPEN_INTF_TYPE_PHY ? speed_when_new(intf.connector) : intf.speed;
  fresh.group = intf.group;
  return fresh;
}

void if_clear()
{
  for (auto& entry : ifs) {
    entry.second = if_when_new(entry.second);
  }
}

void if_write(std::string& script)
{
  for (const auto& [number, intf] : ifs) {
    const sim_if_t fresh = if_when_new(intf);
    if (intf.speed != fresh.speed) {
      sim_cli_line(script, "interface", number, "speed", static_cast<int>(intf.speed));
    }
    if (intf.mtu != fresh.mtu) {
      sim_cli_line(script, "interface", number, "mtu", intf.mtu);
    }
    if (intf.description != fresh.description) {
      sim_cli_line(script, "interface", number, "description", intf.description);
    }
    if (intf.soft_shutdown != fresh.soft_shutdown) {
      sim_cli_line(script, "interface", number, "soft-shutdown", intf.soft_shutdown);
    }
    if (intf.admin != fresh.admin) {
      sim_cli_line(script, "interface", number, "admin", intf.admin);
    }
  }
}

constexpr sim_command_t COMMANDS[] = {
    {"interface {n} speed {n}",                         sim_cli_run<sim_if_speed_set>        },
    {"interface {n} auto-negotiation {enable|disable}", sim_cli_run<sim_if_auto_neg_set>     },
    {"interface {n} mtu {n}",                           sim_cli_run<sim_if_mtu_set>          },
    {"interface {n} description {t}",                   sim_cli_run<sim_if_description_set>  },
    {"interface {n} soft-shutdown {disable|enable}",    sim_cli_run<sim_if_soft_shutdown_set>},
    {"interface {n} admin {disable|enable}",            sim_cli_run<sim_if_admin_set>        },
};
}  // namespace

sim_config_area_t sim_if_config()
{
  return sim_config_area(if_keep, if_clear, if_write, COMMANDS);
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
  const auto work = [&] { return sim_pending_next(pending, ifNum, *nextIfNum, *delete_pending); };
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
