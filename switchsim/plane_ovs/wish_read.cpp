#include "switchsim/plane_ovs/wish_read.h"

#include <algorithm>

#include "switchsim/model/sim_bgp.h"
#include "switchsim/model/sim_if.h"
#include "switchsim/model/sim_logging.h"
#include "switchsim/model/sim_pml.h"
#include "switchsim/model/sim_ports.h"
#include "switchsim/model/sim_routing.h"
#include "switchsim/model/sim_system.h"
#include "switchsim/model/sim_tcam.h"
#include "switchsim/model/sim_vlan.h"
#include "switchsim/plane_ovs/rows.h"
#include "switchsim/text/sim_address.h"

namespace
{
constexpr uint64_t MAC_LOCAL_BIT = 0x020000000000;
constexpr uint64_t MAC_NUMBER_BITS = 0xffff;

constexpr uint32_t BGP_HOLD_DEFAULT = 180;  // of FRR, which does not write them down
constexpr uint32_t BGP_KEEP_ALIVE_DEFAULT = 60;
constexpr uint32_t BGP_LOCAL_PREF_DEFAULT = 100;

bool enabled(const sim_if_t& intf)
{
  const sim_if_settings_t settings = sim_if_settings(intf);
  return settings.admin == OPEN_ENABLE && settings.soft_shutdown == OPEN_DISABLE;
}

// A port is off with its group, too.
bool port_enabled(const sim_if_t& port)
{
  const sim_if_t* group = sim_if_find(port.group);
  return enabled(port) && (group == nullptr || enabled(*group));
}

void ports_read(wish_t& wish, const std::map<uint32_t, std::string>& netdevs)
{
  for (const auto& [number, netdev] : netdevs) {
    const sim_if_t* intf = sim_port_find(number);
    const sim_if_t* forwarder = sim_if_find(sim_if_forwarder(number));
    if (intf == nullptr || forwarder == nullptr)
      continue;
    wish_port_t& port = wish.ports[number];
    port = {netdev, port_enabled(*intf), sim_if_settings(*forwarder).mtu, {}};
    const auto lock = sim_pml_ports().find(number);
    if (lock != sim_pml_ports().end())
      for (const auto& entry : lock->second.entries)
        port.locked.insert(entry.first);
  }
}

void members_read(wish_t& wish)
{
  for (const auto& entry : wish.ports) {
    const uint32_t number = sim_if_forwarder(entry.first);
    wish_member_t& member = wish.members[number];
    member.group = number != entry.first;
    member.ports.push_back(entry.first);
  }
  for (auto& [number, member] : wish.members) {
    sim_forwarding_t forwarding;
    if (sim_vlan_forwarding(number, forwarding)) {
      member.pvid = forwarding.pvid;
      member.accept_tagged = forwarding.accept != OPEN_DOT1Q_ADMIN_ONLY_VLAN_UNTAGGED;
      member.accept_untagged = forwarding.accept != OPEN_DOT1Q_ADMIN_ONLY_VLAN_TAGGED;
      member.vlans = forwarding.tagged;
      member.vlans.insert(forwarding.untagged.begin(), forwarding.untagged.end());
      member.untagged = std::move(forwarding.untagged);
    }
  }
}

void routers_read(wish_t& wish, uint64_t base_mac)
{
  for (const auto& [number, intf] : sim_ifs()) {
    const auto member = wish.members.find(number);
    const uint32_t vlan = sim_if_vlan(number);
    if (!sim_routing_interface(number) || (vlan == 0 && member == wish.members.end()))
      continue;
    wish_router_t& router = wish.routers[number];
    router = {vlan, enabled(intf), sim_if_settings(intf).mtu, wish_router_mac(base_mac, number),
              sim_routing_addresses(number, OPEN_AF_INET)};
    const std::vector<open_inet_pfx_t> ipv6 = sim_routing_addresses(number, OPEN_AF_INET6);
    router.addresses.insert(router.addresses.end(), ipv6.begin(), ipv6.end());
    if (vlan == 0)
      member->second.routed = number;
  }
  wish.forward_ipv4 = sim_routing_mode(OPEN_AF_INET) == OPEN_ENABLE;
  wish.forward_ipv6 = sim_routing_mode(OPEN_AF_INET6) == OPEN_ENABLE;
}

void policies_read(wish_t& wish)
{
  for (const auto& [id, policy] : sim_policies())
    wish.policies[id] = {policy.record, policy.ports};
}

// ---- BGP, in the words of its daemon ----

std::string interface_name(const wish_t& wish, const std::string& bridge, uint32_t number)
{
  const auto router = wish.routers.find(number);
  return router == wish.routers.end() ? "" : rows_router(bridge, number, router->second);
}

std::string address_text(const sim_bgp_address_t& address)
{
  open_in6_addr_t ipv6 = {};
  std::copy(address.second.begin(), address.second.end(), ipv6.u.addr8);
  uint32_t ipv4 = 0;
  for (size_t i = 0; i < sizeof ipv4; i++)
    ipv4 = ipv4 << 8 | address.second[i];
  return sim_inet_text(address.first, ipv4, ipv6);
}

// The lines of a family.
std::set<std::string>& lines_of(wish_bgp_t& bgp, OPEN_AF_t family)
{
  return family == OPEN_AF_INET6 ? bgp.ipv6 : bgp.ipv4;
}

void route_map_add(wish_bgp_t& bgp, std::string& line, const std::string& route_map)
{
  if (!route_map.empty()) {
    line += " route-map " + route_map;
    bgp.route_maps.insert(route_map);
  }
}

void peer_read(wish_t& wish, const std::string& bridge, const sim_bgp_peer_key_t& key,
               const sim_bgp_peer_t& peer)
{
  wish_bgp_t& bgp = wish.bgp;
  const std::string name = "neighbor " + address_text(key.first);
  if (std::any_of(bgp.lines.begin(), bgp.lines.end(), [&](const std::string& line) {
        return line.compare(0, name.size() + 1, name + " ") == 0;
      }))
    return;  // the daemon knows a neighbour by its address alone: the lowest scope counts
  bgp.lines.insert(name + " remote-as " + std::to_string(peer.remote_as));
  const std::string scope = interface_name(wish, bridge, key.second);
  const std::string source = interface_name(wish, bridge, peer.update_source);
  if (!scope.empty())
    bgp.lines.insert(name + " interface " + scope);
  if (!source.empty())
    bgp.lines.insert(name + " update-source " + source);
  for (const OPEN_AF_t family : {OPEN_AF_INET, OPEN_AF_INET6}) {
    const sim_bgp_family_t& settings = family == OPEN_AF_INET ? peer.ipv4 : peer.ipv6;
    if (settings.active) {
      lines_of(bgp, family).insert(name + " activate");
      if (settings.next_hop_self == OPEN_ENABLE)
        lines_of(bgp, family).insert(name + " next-hop-self");
    }
  }
}

void redistribution_read(wish_bgp_t& bgp, OPEN_AF_t family, std::string protocol,
                         const sim_bgp_redistribution_t& settings)
{
  if (family == OPEN_AF_INET6 && protocol == "ospf")
    protocol = "ospf6";
  else if (family == OPEN_AF_INET6 && protocol == "rip")
    protocol = "ripng";
  std::string line = "redistribute " + protocol;
  if (settings.metric_set)
    line += " metric " + std::to_string(settings.metric);
  route_map_add(bgp, line, settings.route_map);
  lines_of(bgp, family).insert(line);
}

std::set<std::string> globals_lines(const sim_bgp_globals_t& globals)
{
  // what the API does not know is switched off: a neighbour needs a policy for each direction, and
  // a network has to be in the routing table, before anything is told
  std::set<std::string> lines = {"no bgp ebgp-requires-policy", "no bgp default ipv4-unicast",
                                 "no bgp network import-check"};
  if (globals.router_id != 0)
    lines.insert("bgp router-id " + sim_ipv4_text(globals.router_id));
  if (globals.log_neighbor_changes)
    lines.insert("bgp log-neighbor-changes");
  if (globals.local_pref != BGP_LOCAL_PREF_DEFAULT)
    lines.insert("bgp default local-preference " + std::to_string(globals.local_pref));
  // it never waits longer than a third of the hold time
  const uint32_t keep_alive = std::min(globals.keep_alive, globals.hold_time / 3);
  if (globals.hold_time != BGP_HOLD_DEFAULT || keep_alive != BGP_KEEP_ALIVE_DEFAULT) {
    lines.insert("timers bgp " + std::to_string(keep_alive) + " " +
                 std::to_string(globals.hold_time));
  }
  return lines;
}

void bgp_read(wish_t& wish, const std::string& bridge)
{
  const sim_bgp_t& model = sim_bgp();
  wish_bgp_t& bgp = wish.bgp;
  bgp.local_as = model.globals.local_as;
  if (bgp.local_as == 0)
    return;
  bgp.lines = globals_lines(model.globals);
  for (const auto& [key, peer] : model.peers)
    peer_read(wish, bridge, key, peer);
  for (const auto& [key, route_map] : model.networks) {
    std::string line = "network " + address_text(key.first) + "/" + std::to_string(key.second);
    route_map_add(bgp, line, route_map);
    lines_of(bgp, key.first.first).insert(line);
  }
  for (const auto& [key, settings] : model.redistributions)
    redistribution_read(bgp, key.first, key.second, settings);
}

void logging_read(wish_t& wish)
{
  wish.switch_name = sim_system_hostname();
  if (sim_logging().syslog == OPEN_ENABLE) {
    for (const sim_log_host_t& host : sim_logging().hosts) {
      // syslog counts from 0, the API from 1
      wish.log_hosts.push_back({host.address, host.port, host.severity - 1});
    }
  }
}
}  // namespace

uint64_t wish_router_mac(uint64_t base_mac, uint32_t number)
{
  return ((base_mac | MAC_LOCAL_BIT) & ~MAC_NUMBER_BITS) | ((base_mac + number) & MAC_NUMBER_BITS);
}

wish_t wish_read(const std::map<uint32_t, std::string>& netdevs, const std::string& bridge,
                 uint64_t base_mac)
{
  wish_t wish;
  ports_read(wish, netdevs);
  members_read(wish);
  routers_read(wish, base_mac);
  policies_read(wish);
  bgp_read(wish, bridge);
  logging_read(wish);
  return wish;
}
