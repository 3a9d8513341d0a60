#include "switchsim/model/sim_pml.h"

#include "platform/openapi_pml.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/model/sim_ports.h"
#include "switchsim/model/sim_vlan.h"
#include "switchsim/text/sim_mac.h"

namespace
{
constexpr size_t ENTRIES_MAX = 48;  // of a port
constexpr uint64_t MAC_GROUP_BIT = 0x010000000000;

std::map<uint32_t, sim_pml_port_t> ports;  // those that were ever set up

open_error_t sticky_get(uint32_t number, OPEN_CONTROL_t& sticky)
{
  if (sim_port_find(number) == nullptr)
    return OPEN_E_NOT_FOUND;
  const auto port = ports.find(number);
  return sim_give(sticky, port == ports.end() ? OPEN_DISABLE : port->second.sticky);
}

open_error_t sticky_set(uint32_t number, OPEN_CONTROL_t sticky)
{
  if (sim_port_find(number) == nullptr)
    return OPEN_E_NOT_FOUND;
  return sim_control_ok(sticky) ? sim_assign(SIM_LOCKING, ports[number].sticky, sticky, number)
                                : OPEN_E_PARAM;
}

// Reads a unicast address into the key of an entry.
bool key_read(const std::string& mac, uint32_t vlan, sim_pml_entry_t& key)
{
  key.second = vlan;
  return sim_mac_parse(mac, key.first) && key.first != 0 && (key.first & MAC_GROUP_BIT) == 0;
}

open_error_t entry_add(uint32_t number, const std::string& mac, uint32_t vlan, bool sticky)
{
  sim_pml_entry_t key;
  if (sim_port_find(number) == nullptr)
    return OPEN_E_NOT_FOUND;
  if (!key_read(mac, vlan, key) || vlan < 1 || vlan > sim_vlan_max())
    return OPEN_E_PARAM;
  auto& entries = ports[number].entries;
  if (entries.count(key) > 0)
    return OPEN_E_EXISTS;
  return entries.size() < ENTRIES_MAX ? sim_assign(SIM_LOCKING, entries[key], sticky, number)
                                      : OPEN_E_FULL;
}

open_error_t entry_delete(uint32_t number, const std::string& mac, uint32_t vlan)
{
  sim_pml_entry_t key;
  if (sim_port_find(number) == nullptr)
    return OPEN_E_NOT_FOUND;
  if (!key_read(mac, vlan, key))
    return OPEN_E_PARAM;
  if (ports[number].entries.erase(key) == 0)
    return OPEN_E_NOT_FOUND;
  return sim_changed(SIM_LOCKING, number);
}

// The lowest entry of a port above a key.
open_error_t entry_above(uint32_t number, const sim_pml_entry_t& key, open_buffdesc* mac,
                         uint32_t& vlan, bool& sticky)
{
  const auto port = ports.find(number);
  if (port == ports.end())
    return sim_port_find(number) == nullptr ? OPEN_E_NOT_FOUND : OPEN_E_FAIL;
  const auto entry = port->second.entries.upper_bound(key);
  if (entry == port->second.entries.end())
    return OPEN_E_FAIL;
  const open_error_t put = sim_text_put(mac, sim_mac_text(entry->first.first));
  if (put == OPEN_E_NONE) {
    vlan = entry->first.second;
    sticky = entry->second;
  }
  return put;
}

open_error_t entry_next(uint32_t number, open_buffdesc* mac, uint32_t& vlan, bool& sticky)
{
  sim_pml_entry_t key;
  return key_read(sim_text(mac), vlan, key) ? entry_above(number, key, mac, vlan, sticky)
                                            : OPEN_E_PARAM;
}

// ---- configuration ----

sim_restore_t pml_keep()
{
  return [kept = ports] { ports = kept; };
}

void pml_clear()
{
  ports.clear();
}

void pml_write(std::string& script)
{
  for (const auto& [number, port] : ports) {
    if (port.sticky != OPEN_DISABLE)
      sim_cli_line(script, "interface", number, "mac-locking sticky", port.sticky);
    for (const auto& [key, sticky] : port.entries) {
      sim_cli_line(script, "interface", number, "mac-locking static", sim_mac_text(key.first),
                   "vlan", key.second, sticky ? "sticky" : "fixed");
    }
  }
}

constexpr sim_command_t COMMANDS[] = {
    {"interface {n} mac-locking sticky {disable|enable}",            sim_cli_run<sticky_set>  },
    {"interface {n} mac-locking static {t} vlan {n} {fixed|sticky}", sim_cli_run<entry_add>   },
    {"no interface {n} mac-locking static {t} vlan {n}",             sim_cli_run<entry_delete>},
};
}  // namespace

const sim_area_t sim_pml_area =
    sim_area_with_config(sim_area(pml_clear), pml_keep, pml_clear, pml_write, COMMANDS);

const std::map<uint32_t, sim_pml_port_t>& sim_pml_ports()
{
  return ports;
}

open_error_t rpcclt_openapiPmlIntfStickyModeGet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, OPEN_CONTROL_t* sticky)
{
  const auto work = [&] { return sticky_get(ifNum, *sticky); };
  return sim_call(__func__, client_handle, work, ifNum, sim_out(sticky));
}

open_error_t rpcclt_openapiPmlIntfStickyModeSet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, OPEN_CONTROL_t sticky)
{
  const auto work = [&] { return sticky_set(ifNum, sticky); };
  return sim_call(__func__, client_handle, work, ifNum, sticky);
}

open_error_t rpcclt_openapiPmlIntfStaticEntryGetFirst(openapiClientHandle_t* client_handle,
                                                      uint32_t ifNum, open_buffdesc* macAddr,
                                                      uint32_t* vlanId, bool* sticky)
{
  const auto work = [&] { return entry_above(ifNum, {0, 0}, macAddr, *vlanId, *sticky); };
  return sim_call(__func__, client_handle, work, ifNum, sim_out(macAddr), sim_out(vlanId),
                  sim_out(sticky));
}

open_error_t rpcclt_openapiPmlIntfStaticEntryGetNext(openapiClientHandle_t* client_handle,
                                                     uint32_t ifNum, open_buffdesc* macAddr,
                                                     uint32_t* vlanId, bool* sticky)
{
  const auto work = [&] { return entry_next(ifNum, macAddr, *vlanId, *sticky); };
  return sim_call(__func__, client_handle, work, ifNum, sim_out(macAddr), sim_out(vlanId),
                  sim_out(sticky));
}

open_error_t rpcclt_openapiPmlIntfStaticEntryAdd(openapiClientHandle_t* client_handle,
                                                 uint32_t ifNum, open_buffdesc* macAddr,
                                                 uint32_t vlanId, bool sticky)
{
  const auto work = [&] { return entry_add(ifNum, sim_text(macAddr), vlanId, sticky); };
  return sim_call(__func__, client_handle, work, ifNum, macAddr, vlanId, sticky);
}

open_error_t rpcclt_openapiPmlIntfStaticEntryDelete(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum, open_buffdesc* macAddr,
                                                    uint32_t vlanId)
{
  const auto work = [&] { return entry_delete(ifNum, sim_text(macAddr), vlanId); };
  return sim_call(__func__, client_handle, work, ifNum, macAddr, vlanId);
}
