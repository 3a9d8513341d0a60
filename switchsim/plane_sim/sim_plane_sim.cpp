#include "switchsim/plane_sim/sim_plane_sim.h"

#include <map>
#include <utility>

#include "switchsim/call/sim_clock.h"
#include "switchsim/plane_sim/sim_hardware.h"
#include "switchsim/plane_sim/sim_links.h"
#include "switchsim/plane_sim/sim_slices.h"
#include "switchsim/plane_sim/sim_traffic.h"

namespace
{
constexpr uint32_t PENDING_MAX_MS = 86400000;
constexpr uint64_t BURNED_IN_MAC = 0x025458A00000;  // the interfaces' follow it, one by one

uint32_t pending_ms;
std::map<std::pair<sim_kind_t, uint32_t>, uint64_t> in_force_ms;  // since when a change is

void plane_reset()
{
  pending_ms = 0;
  in_force_ms.clear();
}

sim_restore_t pending_keep()
{
  return [kept = in_force_ms] { in_force_ms = kept; };
}

bool pending_ms_parse(const sim_json_t& json)
{
  return sim_json_uint(json, 0, PENDING_MAX_MS, pending_ms);
}

bool start(std::string&)
{
  sim_links_restart();
  return true;
}

void changed(sim_kind_t kind, uint32_t number)
{
  if (pending_ms > 0)
    in_force_ms[{kind, number}] = sim_uptime_ms() + pending_ms;
  if (kind == SIM_IF || kind == SIM_GROUP)
    sim_links_changed(number);
  else if (kind == SIM_VLAN)
    sim_links_vlan_changed(number);
}

bool pending_next(sim_kind_t kind, uint32_t number, uint32_t& next)
{
  auto found = in_force_ms.upper_bound({kind, number});
  while (found != in_force_ms.end() && found->second <= sim_uptime_ms())
    found = in_force_ms.erase(found);
  if (found == in_force_ms.end() || found->first.first != kind)
    return false;
  next = found->first.second;
  return true;
}

// Everybody speaks what the interface speaks best; the speed that was set says that already.
bool negotiated(uint32_t number, OPEN_PORT_SPEEDS_t&, OPEN_PORT_DUPLEX_t& duplex)
{
  if (!sim_link_up(number))
    return false;
  duplex = OPEN_PORT_DUPLEX_FULL;
  return true;
}

uint64_t mac(uint32_t number)
{
  return BURNED_IN_MAC + number;
}

bool joins(uint32_t, uint32_t)
{
  return false;
}

open_error_t lease(uint32_t, OPEN_AF_t, open_inet_pfx_t&)
{
  return OPEN_E_NOT_FOUND;
}

open_error_t match_bits_room(uint32_t)
{
  return OPEN_E_NONE;
}
}  // namespace

constexpr sim_key_t KEYS[] = {
    {"pending_ms", pending_ms_parse},
};

const sim_area_t sim_plane_sim_area = [] {
  sim_area_t area = sim_area(plane_reset, KEYS);
  area.keep = pending_keep;
  return area;
}();

const sim_plane_t sim_plane_sim = {
    start,
    sim_links_restart,
    sim_links_ports,
    changed,
    sim_links_replaced,
    pending_next,
    sim_link_up,
    negotiated,
    sim_traffic_counter,
    mac,
    joins,
    lease,
    sim_slices_room,
    sim_slices_use,
    match_bits_room,
    sim_hardware_sensors,
    sim_hardware_transceiver,
};
