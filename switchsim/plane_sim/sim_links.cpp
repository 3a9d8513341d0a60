#include "switchsim/plane_sim/sim_links.h"

#include <algorithm>
#include <map>
#include <set>
#include <vector>

#include "switchsim/call/sim_clock.h"
#include "switchsim/model/sim_if.h"
#include "switchsim/model/sim_ports.h"
#include "switchsim/model/sim_vlan.h"

namespace
{
constexpr uint32_t PORTS = 54;
constexpr uint32_t PORTS_MAX = 4000;

struct link_t {
  bool up = false;
  uint64_t since_ms = 0;          // it is so
  uint64_t up_ms = 0;             // how long there was link until then
  std::set<uint32_t> carried;     // VLANs' interfaces that have link by this one
  std::set<uint32_t> carried_by;  // the other way round, of a VLAN's interface
};

uint32_t port_count;
std::set<uint32_t>
    wired_ports;  // somebody answers at the other end, as far as the switch lets them
std::map<uint32_t, link_t> links;
bool started;  // the model is whole

OPEN_IF_CONNECTOR_TYPE_t connector_of(uint32_t port)
{
  if (port >= 49 && port <= 52)
    return OPEN_SFPPLUS;
  return port == 53 || port == 54 ? OPEN_QSFP : OPEN_RJ45;
}

void port_count_set(uint32_t count)
{
  port_count = count;
  wired_ports.clear();
  for (const uint32_t port : {1, 2, 3, 4, 5, 6, 7, 8, 49, 53})
    if (port <= count)
      wired_ports.insert(port);
}

void links_reset()
{
  started = false;
  port_count_set(PORTS);
}

bool ports_parse(const sim_json_t& json)
{
  uint32_t count = 0;
  const bool parsed = sim_json_uint(json, 1, PORTS_MAX, count);
  if (parsed)
    port_count_set(count);
  return parsed;
}

bool link_up_parse(const sim_json_t& json)
{
  wired_ports.clear();
  return sim_json_list(json, [](const sim_json_t& item) {
    uint32_t port = 0;
    const bool parsed = sim_json_uint(item, 1, port_count, port);
    if (parsed)
      wired_ports.insert(port);
    return parsed;
  });
}

bool wired(const sim_if_t& intf, const link_t& link)
{
  switch (intf.type) {
    case OPEN_INTF_TYPE_LAG:
      return std::any_of(sim_ifs().begin(), sim_ifs().end(), [&](const auto& entry) {
        return entry.second.group == intf.number && sim_link_up(entry.first);
      });
    case OPEN_INTF_TYPE_CPU:
      return true;
    case OPEN_INTF_TYPE_VLAN:
      return !link.carried_by.empty();
    default:
      return wired_ports.count(intf.number) > 0;
  }
}

void up_set(link_t& link, bool up)
{
  if (up == link.up)
    return;
  const uint64_t now_ms = sim_uptime_ms();
  link.up_ms += link.up ? now_ms - link.since_ms : 0;
  link.since_ms = now_ms;
  link.up = up;
}

// Whether a VLAN's interface has link by another interface; members of a group count as the group.
bool carries(const sim_if_t& intf, uint32_t vlan_intf)
{
  return intf.group == 0 && sim_link_up(intf.number) &&
         sim_vlan_member(sim_if_vlan(vlan_intf), intf.number);
}

void carry_set(uint32_t number, uint32_t vlan_intf, bool carried)
{
  if (carried) {
    links[number].carried.insert(vlan_intf);
    links[vlan_intf].carried_by.insert(number);
  } else {
    links[number].carried.erase(vlan_intf);
    links[vlan_intf].carried_by.erase(number);
  }
}

void link_remove(uint32_t number)
{
  const auto found = links.find(number);
  if (found == links.end())
    return;
  const link_t gone = found->second;
  for (const uint32_t vlan_intf : gone.carried) {
    carry_set(number, vlan_intf, false);
    sim_links_changed(vlan_intf);
  }
  for (const uint32_t carrier : gone.carried_by)
    carry_set(carrier, number, false);
  links.erase(number);
}

// Those that a VLAN's interface has link by are looked for among all.
void carriers_find(uint32_t vlan_intf)
{
  const std::set<uint32_t> before = links[vlan_intf].carried_by;
  for (const auto& entry : sim_ifs()) {
    const bool carried = carries(entry.second, vlan_intf);
    if (carried != (before.count(entry.first) > 0))
      carry_set(entry.first, vlan_intf, carried);
  }
}

void carried_find(const sim_if_t& intf)
{
  for (auto entry = sim_ifs().lower_bound(sim_numbering().vlan_first); entry != sim_ifs().end();
       ++entry) {
    const bool carried = carries(intf, entry->first);
    if (carried != (links[intf.number].carried.count(entry->first) > 0)) {
      carry_set(intf.number, entry->first, carried);
      sim_links_changed(entry->first);
    }
  }
}
}  // namespace

constexpr sim_key_t KEYS[] = {
    {"ports",   ports_parse  },
    {"link_up", link_up_parse},
};

const sim_area_t sim_links_area = sim_area(links_reset, KEYS);

std::vector<sim_port_t> sim_links_ports()
{
  std::vector<sim_port_t> ports;
  for (uint32_t port = 1; port <= port_count; port++)
    ports.push_back({port, connector_of(port)});
  return ports;
}

uint32_t sim_links_port_count()
{
  return port_count;
}

bool sim_link_up(uint32_t number)
{
  const auto found = links.find(number);
  return found != links.end() && found->second.up;
}

uint64_t sim_link_up_ms(uint32_t number)
{
  const auto found = links.find(number);
  if (found == links.end())
    return 0;
  const link_t& link = found->second;
  return link.up_ms + (link.up ? sim_uptime_ms() - link.since_ms : 0);
}

void sim_links_changed(uint32_t number)
{
  if (!started)
    return;
  const sim_if_t* intf = sim_if_find(number);
  if (intf == nullptr) {
    link_remove(number);
    return;
  }
  const bool is_new = links.count(number) == 0;
  link_t& link = links[number];
  if (is_new && intf->type == OPEN_INTF_TYPE_VLAN)
    carriers_find(number);
  const sim_if_settings_t settings = sim_if_settings(*intf);
  up_set(link, wired(*intf, link) && settings.admin == OPEN_ENABLE &&
                   settings.soft_shutdown == OPEN_DISABLE);
  if (intf->type == OPEN_INTF_TYPE_VLAN)
    return;
  carried_find(*intf);
  if (intf->group != 0)
    sim_links_changed(intf->group);
}

// The VLAN's interface is carried by others than before, if it has one.
void sim_links_vlan_changed(uint32_t vid)
{
  const uint32_t vlan_intf = sim_vlan_routing(vid);
  if (!started || vlan_intf == 0)
    return;
  carriers_find(vlan_intf);
  sim_links_changed(vlan_intf);
}

// Interfaces of VLANs come first, since they may be those of other VLANs than before.
void sim_links_replaced()
{
  std::vector<uint32_t> numbers;
  for (const auto& entry : links)
    numbers.push_back(entry.first);
  for (const uint32_t number : numbers) {
    const sim_if_t* intf = sim_if_find(number);
    if (intf == nullptr || intf->type == OPEN_INTF_TYPE_VLAN)
      link_remove(number);
  }
  for (const auto& entry : sim_ifs())
    sim_links_changed(entry.first);
}

void sim_links_restart()
{
  started = true;
  links.clear();
  sim_links_replaced();
}
