#include "switchsim/plane_ovs/wish_read.h"

#include <algorithm>

#include "switchsim/model/sim_ports.h"
#include "switchsim/model/sim_view.h"
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
  return intf.admin == OPEN_ENABLE && intf.soft_shutdown == OPEN_DISABLE;
}

// A port is off with its group, too.
bool port_enabled(const sim_if_t& port)
{
  const sim_if_t* group = sim_if_find(port.group);
  return enabled(port) && (group == nullptr || enabled(*group));
}

void ports_read(wish_t& wish, const std::map<uint32_t, std::string>& netdevs)
{
  const auto locked = sim_view_locked();
  for (const auto& [number, netdev] : netdevs) {
    const sim_if_t* intf = sim_port_find(number);
    const sim_if_t* forwarder = sim_if_find(sim_if_forwarder(number));
    if (intf == nullptr || forwarder == nullptr) {
      continue;
    }
    wish_port_t& port = wish.ports[number];
    port = {netdev, port_enabled(*intf), forwarder->mtu, {}};
    const auto lock = locked.find(number);
    if (lock != locked.end()) {
      port.locked = lock->second;
    }
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
    sim_switchport_view_t view = sim_view_switchport(number);
    member.pvid = view.pvid;
    member.accept_tagged = view.accept != OPEN_DOT1Q_ADMIN_ONLY_VLAN_UNTAGGED;
    member.accept_untagged = view.accept != OPEN_DOT1Q_ADMIN_ONLY_VLAN_TAGGED;
    member.vlans = std::move(view.vlans);
    member.untagged = std::move(view.untagged);
  }
}

void routers_read(wish_t& wish, uint64_t base_mac)
{
  for (auto& [number, view] : sim_view_routers()) {
    const sim_if_t* intf = sim_if_find(number);
    const auto member = wish.members.find(number);
    if (intf == nullptr || (view.vlan == 0 && member == wish.members.end())) {
      continue;
    }
    wish.routers[number] = {view.vlan, enabled(*intf), intf->mtu, wish_router_mac(base_mac, number),
                            std::move(view.addresses)};
    if (view.vlan == 0) {
      member->second.routed = number;
    }
  }
  wish.forward_ipv4 = sim_view_routing(OPEN_AF_INET);
  wish.forward_ipv6 = sim_view_routing(OPEN_AF_INET6);
}

void policies_read(wish_t& wish)
{
  for (auto& [id, view] : sim_view_policies()) {
    wish.policies[id] = {view.record, std::move(view.ports)};
  }
}

// ---- BGP, in the words of its daemon ----

std::string interface_name(const wish_t& wish, const std::string& bridge, uint32_t number)
{
  const auto router = wish.routers.find(number);
  return router == wish.routers.end() ? "" : rows_router(bridge, number, router->second);
}

void peer_read(wish_bgp_t& bgp, const wish_t& wish, const std::string& bridge,
               const sim_bgp_peer_view_t& peer)
{
  const std::string name = "neighbor " + peer.address;
  bgp.lines.insert(name + " remote-as " + std::to_string(peer.remote_as));
  const std::string scope = interface_name(wish, bridge, peer.scope);
  const std::string source = interface_name(wish, bridge, peer.update_source);
  if (!scope.empty()) {
    bgp.lines.insert(name + " interface " + scope);
  }
  if (!source.empty()) {
    bgp.lines.insert(name + " update-source " + source);
  }
  for (const bool ipv6 : {false, true}) {
    std::set<std::string>& lines = ipv6 ? bgp.ipv6 : bgp.ipv4;
    if (peer.families[ipv6].active) {
      lines.insert(name + " activate");
      if (peer.families[ipv6].next_hop_self) {
        lines.insert(name + " next-hop-self");
      }
    }
  }
}

void redistribution_read(wish_bgp_t& bgp, const sim_bgp_redistribution_view_t& view)
{
  std::string protocol = view.protocol;
  if (view.ipv6 && protocol == "ospf") {
    protocol = "ospf6";
  } else if (view.ipv6 && protocol == "rip") {
    protocol = "ripng";
  }
  std::string line = "redistribute " + protocol;
  if (view.metric_set) {
    line += " metric " + std::to_string(view.metric);
  }
  if (!view.route_map.empty()) {
    line += " route-map " + view.route_map;
    bgp.route_maps.insert(view.route_map);
  }
  (view.ipv6 ? bgp.ipv6 : bgp.ipv4).insert(line);
}

void bgp_read(wish_t& wish, const std::string& bridge)
{
  const sim_bgp_view_t view = sim_view_bgp();
  wish_bgp_t& bgp = wish.bgp;
  bgp.local_as = view.local_as;
  if (bgp.local_as == 0) {
    return;
  }
  // what the API does not know is switched off: a neighbour needs a policy for each direction, and
  // a network has to be in the routing table, before anything is told
  bgp.lines = {"no bgp ebgp-requires-policy", "no bgp default ipv4-unicast",
               "no bgp network import-check"};
  if (view.router_id != 0) {
    bgp.lines.insert("bgp router-id " + sim_ipv4_text(view.router_id));
  }
  if (view.log_neighbor_changes) {
    bgp.lines.insert("bgp log-neighbor-changes");
  }
  if (view.local_pref != BGP_LOCAL_PREF_DEFAULT) {
    bgp.lines.insert("bgp default local-preference " + std::to_string(view.local_pref));
  }
  if (view.hold_time != BGP_HOLD_DEFAULT || view.keep_alive != BGP_KEEP_ALIVE_DEFAULT) {
    bgp.lines.insert("timers bgp " + std::to_string(view.keep_alive) + " " +
                     std::to_string(view.hold_time));
  }
  for (const sim_bgp_peer_view_t& peer : view.peers) {
    peer_read(bgp, wish, bridge, peer);
  }
  for (const sim_bgp_network_view_t& network : view.networks) {
    std::string line = "network " + network.network;
    if (!network.route_map.empty()) {
      line += " route-map " + network.route_map;
      bgp.route_maps.insert(network.route_map);
    }
    (network.ipv6 ? bgp.ipv6 : bgp.ipv4).insert(line);
  }
  for (const sim_bgp_redistribution_view_t& redistribution : view.redistributions) {
    redistribution_read(bgp, redistribution);
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
  wish.switch_name = sim_view_hostname();
  for (const sim_log_host_view_t& host : sim_view_log_hosts()) {
    // syslog counts from 0, the API from 1
    wish.log_hosts.push_back({host.address, host.port, host.severity - 1});
  }
  return wish;
}
