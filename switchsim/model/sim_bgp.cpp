#include "switchsim/model/sim_bgp.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "platform/openapi_bgp.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/model/sim_plane.h"
#include "switchsim/model/sim_routing.h"
#include "switchsim/text/sim_address.h"

namespace
{
constexpr size_t PEERS_MAX = 256;
constexpr size_t NETWORKS_MAX = 64;
constexpr size_t ROUTE_MAP_NAME_MAX = 32;  // characters
constexpr uint32_t AS_RESERVED = UINT32_MAX;
constexpr uint32_t TIME_MAX = 65535;
constexpr uint32_t HOLD_TIME_MIN = 3;  // or 0: peers never expire
constexpr uint32_t MATCH_BITS_ALL = OPEN_OSPF_METRIC_TYPE_INTERNAL | OPEN_OSPF_METRIC_TYPE_EXT1 |
                                    OPEN_OSPF_METRIC_TYPE_EXT2 | OPEN_OSPF_METRIC_TYPE_NSSA_EXT1 |
                                    OPEN_OSPF_METRIC_TYPE_NSSA_EXT2;

constexpr const char* PROTOCOLS[] = {"connected", "static", "rip", "ospf"};
constexpr const char* PROTOCOL_WITH_MATCH = "ospf";

sim_bgp_t bgp;

bool family_valid(OPEN_AF_t family)
{
  return family == OPEN_AF_INET || family == OPEN_AF_INET6;
}

sim_bgp_address_t key_of(const open_inet_addr_t& address)
{
  return {address.family, sim_address_bytes(address)};
}

// ---- globals ----

open_error_t hold_time_set(uint32_t seconds)
{
  if (seconds > TIME_MAX || (seconds > 0 && seconds < HOLD_TIME_MIN))
    return OPEN_E_PARAM;
  bgp.globals.hold_time = seconds;
  return sim_changed(SIM_BGP);
}

open_error_t keep_alive_set(uint32_t seconds)
{
  if (seconds > TIME_MAX)
    return OPEN_E_PARAM;
  bgp.globals.keep_alive = seconds;
  return sim_changed(SIM_BGP);
}

bool as_valid(uint32_t as)
{
  return as != 0 && as != AS_RESERVED;
}

open_error_t local_as_set(uint32_t as)
{
  if (!as_valid(as))
    return OPEN_E_PARAM;
  bgp.globals.local_as = as;
  return sim_changed(SIM_BGP);
}

open_error_t router_id_set(uint32_t id)
{
  if (!sim_ipv4_is_host(id))
    return OPEN_E_PARAM;
  bgp.globals.router_id = id;
  return sim_changed(SIM_BGP);
}

open_error_t local_pref_set(uint32_t local_pref)
{
  bgp.globals.local_pref = local_pref;
  return sim_changed(SIM_BGP);
}

open_error_t log_neighbor_changes_set(bool on)
{
  bgp.globals.log_neighbor_changes = on;
  return sim_changed(SIM_BGP);
}

// ---- originated networks and redistribution ----

// An empty name is none.
bool route_map_valid(bool used, const std::string& name)
{
  return !used || (!name.empty() && name.size() <= ROUTE_MAP_NAME_MAX);
}

// The network of an address: host bits do not count.
sim_bgp_network_key_t network_of(const open_inet_addr_t& address, uint32_t pfx_len)
{
  sim_bgp_network_key_t network = {key_of(address), pfx_len};
  auto& bytes = network.first.second;
  for (size_t i = 0; i < bytes.size(); i++) {
    const size_t kept = pfx_len <= 8 * i ? 0 : std::min<size_t>(8, pfx_len - 8 * i);
    bytes[i] = static_cast<uint8_t>(bytes[i] & 0xff00 >> kept);
  }
  return network;
}

// A route map that nobody has defined yet may be named.
open_error_t network_set(bool add, bool use_route_map, const open_inet_addr_t& address,
                         uint32_t pfx_len, const std::string& route_map)
{
  if (!family_valid(address.family) || pfx_len > (address.family == OPEN_AF_INET ? 32 : 128) ||
      !route_map_valid(use_route_map, route_map))
    return OPEN_E_PARAM;
  const sim_bgp_network_key_t network = network_of(address, pfx_len);
  const auto held = bgp.networks.find(network);
  const std::string wanted = use_route_map ? route_map : "";
  if (!add) {
    if (held == bgp.networks.end())
      return OPEN_E_NOT_FOUND;
    bgp.networks.erase(held);
    return sim_changed(SIM_BGP);
  }
  if (held != bgp.networks.end() && held->second == wanted)
    return OPEN_E_EXISTS;
  if (held == bgp.networks.end() && bgp.networks.size() == NETWORKS_MAX)
    return OPEN_E_FULL;
  bgp.networks[network] = wanted;
  return sim_changed(SIM_BGP);
}

bool protocol_known(const std::string& name)
{
  return std::find(std::begin(PROTOCOLS), std::end(PROTOCOLS), name) != std::end(PROTOCOLS);
}

// Only routes of one protocol can be told apart by match bits.
open_error_t redistribution_set(bool add, OPEN_AF_t family, const std::string& protocol,
                                const sim_bgp_redistribution_t& wanted, bool match_set)
{
  const bool match_valid =
      !match_set || (protocol == PROTOCOL_WITH_MATCH && (wanted.match_bits & ~MATCH_BITS_ALL) == 0);
  if (!family_valid(family) || !protocol_known(protocol) || !match_valid ||
      wanted.route_map.size() > ROUTE_MAP_NAME_MAX)
    return OPEN_E_PARAM;
  if (!add) {
    return bgp.redistributions.erase({family, protocol}) == 0 ? OPEN_E_NOT_FOUND
                                                              : sim_changed(SIM_BGP);
  }
  const open_error_t room = sim_plane().match_bits_room(wanted.match_bits);
  if (room != OPEN_E_NONE)
    return room;
  bgp.redistributions[{family, protocol}] = wanted;
  return sim_changed(SIM_BGP);
}

// ---- peers ----

sim_bgp_peer_t* peer_find(const open_inet_addr_t& address, uint32_t scope)
{
  const auto found = bgp.peers.find({key_of(address), scope});
  return found == bgp.peers.end() ? nullptr : &found->second;
}

// Only an IPv6 address can need a scope.
bool peer_valid(const open_inet_addr_t& address, uint32_t scope)
{
  if (address.family == OPEN_AF_INET)
    return scope == 0 && sim_ipv4_is_host(address.addr.ipv4);
  return address.family == OPEN_AF_INET6 && sim_ipv6_is_host(address.addr.ipv6);
}

open_error_t peer_as_set(const open_inet_addr_t& address, uint32_t scope, uint32_t as)
{
  if (!peer_valid(address, scope) || !as_valid(as))
    return OPEN_E_PARAM;
  sim_bgp_peer_t* peer = peer_find(address, scope);
  if (peer == nullptr) {
    if (bgp.peers.size() == PEERS_MAX)
      return OPEN_E_FULL;
    peer = &bgp.peers[{key_of(address), scope}];
    peer->ipv4.active = address.family == OPEN_AF_INET;  // IPv6 routes have to be asked for
  }
  peer->remote_as = as;
  return sim_changed(SIM_BGP);
}

sim_bgp_family_t& settings_of(sim_bgp_peer_t& peer, OPEN_AF_t family)
{
  return family == OPEN_AF_INET ? peer.ipv4 : peer.ipv6;
}

// Peers inherit nothing here, so that what is in force is what was given for the peer itself.
bool get_mode_valid(OPEN_BGP_GET_t mode)
{
  return mode == OPEN_BGP_GET_FINAL || mode == OPEN_BGP_GET_PEER;
}

// Reads something of a peer.
template <class Read>
open_error_t peer_get(OPEN_BGP_GET_t mode, const open_inet_addr_t& address, uint32_t scope,
                      Read read)
{
  if (!get_mode_valid(mode))
    return OPEN_E_PARAM;
  sim_bgp_peer_t* peer = peer_find(address, scope);
  return peer == nullptr ? OPEN_E_NOT_FOUND : read(*peer);
}

open_error_t peer_active_set(const open_inet_addr_t& address, uint32_t scope, OPEN_AF_t family,
                             bool active)
{
  sim_bgp_peer_t* peer = peer_find(address, scope);
  if (peer == nullptr)
    return OPEN_E_NOT_FOUND;
  if (!family_valid(family))
    return OPEN_E_PARAM;
  settings_of(*peer, family).active = active;
  return sim_changed(SIM_BGP);
}

open_error_t peer_next_hop_self_set(const open_inet_addr_t& address, uint32_t scope,
                                    OPEN_AF_t family, OPEN_CONTROL_t mode)
{
  sim_bgp_peer_t* peer = peer_find(address, scope);
  if (peer == nullptr)
    return OPEN_E_NOT_FOUND;
  if (!family_valid(family) || !sim_control_ok(mode))
    return OPEN_E_PARAM;
  settings_of(*peer, family).next_hop_self = mode;
  return sim_changed(SIM_BGP);
}

open_error_t peer_update_source_set(const open_inet_addr_t& address, uint32_t scope,
                                    uint32_t number)
{
  sim_bgp_peer_t* peer = peer_find(address, scope);
  if (peer == nullptr || (number != 0 && !sim_routing_interface(number)))
    return OPEN_E_NOT_FOUND;
  peer->update_source = number;
  return sim_changed(SIM_BGP);
}
void bgp_reset()
{
  bgp = {};
}

// No peer can use its address any more.
void bgp_if_unrouted(uint32_t number)
{
  for (auto& entry : bgp.peers)
    if (entry.second.update_source == number)
      entry.second.update_source = 0;
}

// ---- configuration ----

sim_restore_t bgp_keep()
{
  return [kept = bgp] { bgp = kept; };
}

std::string key_text(const sim_bgp_address_t& key)
{
  const sim_address_bytes_t& bytes = key.second;
  open_in6_addr_t ipv6 = {};
  std::copy(bytes.begin(), bytes.end(), ipv6.u.addr8);
  uint32_t ipv4 = 0;
  for (size_t i = 0; i < sizeof ipv4; i++)
    ipv4 = ipv4 << 8 | bytes[i];
  return sim_inet_text(key.first, ipv4, ipv6);
}

const char* family_text(OPEN_AF_t family)
{
  return family == OPEN_AF_INET ? "ipv4" : "ipv6";
}

OPEN_CONTROL_t control_of(bool on)
{
  return on ? OPEN_ENABLE : OPEN_DISABLE;
}

void peer_write(std::string& script, const sim_bgp_peer_key_t& key, const sim_bgp_peer_t& peer)
{
  const auto line = [&](const auto&... words) {
    sim_cli_line(script, "bgp neighbor", key_text(key.first), "scope", key.second, words...);
  };
  const auto family_lines = [&](OPEN_AF_t family, const sim_bgp_family_t& settings) {
    line(family_text(family), "activate", control_of(settings.active));
    line(family_text(family), "next-hop-self", settings.next_hop_self);
  };
  line("remote-as", peer.remote_as);
  family_lines(OPEN_AF_INET, peer.ipv4);
  family_lines(OPEN_AF_INET6, peer.ipv6);
  if (peer.update_source != 0)
    line("update-source", peer.update_source);
}

void bgp_write(std::string& script)
{
  if (bgp.globals.local_as != 0)
    sim_cli_line(script, "bgp local-as", bgp.globals.local_as);
  if (bgp.globals.router_id != 0)
    sim_cli_line(script, "bgp router-id", sim_ipv4_text(bgp.globals.router_id));
  sim_cli_line(script, "bgp hold-time", bgp.globals.hold_time);
  sim_cli_line(script, "bgp keep-alive", bgp.globals.keep_alive);
  sim_cli_line(script, "bgp local-preference", bgp.globals.local_pref);
  sim_cli_line(script, "bgp log-neighbor-changes", control_of(bgp.globals.log_neighbor_changes));
  for (const auto& [key, route_map] : bgp.networks)
    sim_cli_line(script, "bgp network", key_text(key.first), key.second, "route-map", route_map);
  for (const auto& [key, wanted] : bgp.redistributions) {
    sim_cli_line(script, "bgp redistribute", family_text(key.first), key.second, "match",
                 wanted.match_bits, "metric", wanted.metric, control_of(wanted.metric_set),
                 "route-map", wanted.route_map);
  }
  for (const auto& [key, peer] : bgp.peers)
    peer_write(script, key, peer);
}

open_error_t cli_router_id_set(const open_inet_addr_t& id)
{
  return id.family == OPEN_AF_INET ? router_id_set(id.addr.ipv4) : OPEN_E_PARAM;
}

open_error_t cli_network_add(const open_inet_addr_t& address, uint32_t length,
                             const std::string& route_map)
{
  return network_set(true, !route_map.empty(), address, length, route_map);
}

open_error_t cli_network_remove(const open_inet_addr_t& address, uint32_t length)
{
  return network_set(false, false, address, length, "");
}

open_error_t cli_redistribution_add(OPEN_AF_t family, const std::string& protocol,
                                    uint32_t match_bits, uint32_t metric, bool metric_set,
                                    const std::string& route_map)
{
  return redistribution_set(true, family, protocol, {match_bits, metric_set, metric, route_map},
                            match_bits != 0);
}

open_error_t cli_redistribution_remove(OPEN_AF_t family, const std::string& protocol)
{
  return redistribution_set(false, family, protocol, {}, false);
}

open_error_t cli_peer_remove(const open_inet_addr_t& address, uint32_t scope)
{
  return bgp.peers.erase({key_of(address), scope}) == 0 ? OPEN_E_NOT_FOUND : sim_changed(SIM_BGP);
}

constexpr sim_command_t COMMANDS[] = {
    {"bgp local-as {n}",                                                                      sim_cli_run<local_as_set>             },
    {"bgp router-id {t}",                                                                     sim_cli_run<cli_router_id_set>        },
    {"bgp hold-time {n}",                                                                     sim_cli_run<hold_time_set>            },
    {"bgp keep-alive {n}",                                                                    sim_cli_run<keep_alive_set>           },
    {"bgp local-preference {n}",                                                              sim_cli_run<local_pref_set>           },
    {"bgp log-neighbor-changes {disable|enable}",                                             sim_cli_run<log_neighbor_changes_set> },
    {"bgp network {t} {n} route-map {t}",                                                     sim_cli_run<cli_network_add>          },
    {"no bgp network {t} {n}",                                                                sim_cli_run<cli_network_remove>       },
    {"bgp redistribute {|ipv4|ipv6} {t} match {n} metric {n} {disable|enable} route-map {t}",
     sim_cli_run<cli_redistribution_add>                                                                                            },
    {"no bgp redistribute {|ipv4|ipv6} {t}",                                                  sim_cli_run<cli_redistribution_remove>},
    {"bgp neighbor {t} scope {n} remote-as {n}",                                              sim_cli_run<peer_as_set>              },
    {"bgp neighbor {t} scope {n} {|ipv4|ipv6} activate {disable|enable}",
     sim_cli_run<peer_active_set>                                                                                                   },
    {"bgp neighbor {t} scope {n} {|ipv4|ipv6} next-hop-self {disable|enable}",
     sim_cli_run<peer_next_hop_self_set>                                                                                            },
    {"bgp neighbor {t} scope {n} update-source {n}",                                          sim_cli_run<peer_update_source_set>   },
    {"no bgp neighbor {t} scope {n}",                                                         sim_cli_run<cli_peer_remove>          },
};
}  // namespace

const sim_area_t sim_bgp_area = [] {
  sim_area_t area =
      sim_area_with_config(sim_area(bgp_reset), bgp_keep, bgp_reset, bgp_write, COMMANDS);
  area.if_unrouted = bgp_if_unrouted;
  return area;
}();

const sim_bgp_t& sim_bgp()
{
  return bgp;
}

open_error_t rpcclt_openapiBgpGlobalHoldTimeConfiguredGet(openapiClientHandle_t* client_handle,
                                                          uint32_t* holdTime)
{
  const auto work = [&] { return sim_give(*holdTime, bgp.globals.hold_time); };
  return sim_call(__func__, client_handle, work, sim_out(holdTime));
}

open_error_t rpcclt_openapiBgpGlobalHoldTimeConfiguredSet(openapiClientHandle_t* client_handle,
                                                          uint32_t holdTime)
{
  const auto work = [&] { return hold_time_set(holdTime); };
  return sim_call(__func__, client_handle, work, holdTime);
}

open_error_t rpcclt_openapiBgpGlobalKeepAliveConfiguredGet(openapiClientHandle_t* client_handle,
                                                           uint32_t* keepAlive)
{
  const auto work = [&] { return sim_give(*keepAlive, bgp.globals.keep_alive); };
  return sim_call(__func__, client_handle, work, sim_out(keepAlive));
}

open_error_t rpcclt_openapiBgpGlobalKeepAliveConfiguredSet(openapiClientHandle_t* client_handle,
                                                           uint32_t keepAlive)
{
  const auto work = [&] { return keep_alive_set(keepAlive); };
  return sim_call(__func__, client_handle, work, keepAlive);
}

open_error_t rpcclt_openapiBgpLocalASGet(openapiClientHandle_t* client_handle, uint32_t* localAS)
{
  const auto work = [&] { return sim_give(*localAS, bgp.globals.local_as); };
  return sim_call(__func__, client_handle, work, sim_out(localAS));
}

open_error_t rpcclt_openapiBgpLocalASSet(openapiClientHandle_t* client_handle, uint32_t localAS)
{
  const auto work = [&] { return local_as_set(localAS); };
  return sim_call(__func__, client_handle, work, localAS);
}

open_error_t rpcclt_openapiBgpLocalIdGet(openapiClientHandle_t* client_handle, uint32_t* routerId)
{
  const auto work = [&] { return sim_give(*routerId, bgp.globals.router_id); };
  return sim_call(__func__, client_handle, work, sim_out(routerId));
}

open_error_t rpcclt_openapiBgpLocalIdSet(openapiClientHandle_t* client_handle, uint32_t routerId)
{
  const auto work = [&] { return router_id_set(routerId); };
  return sim_call(__func__, client_handle, work, routerId);
}

open_error_t rpcclt_openapiBgpLocalPrefGet(openapiClientHandle_t* client_handle,
                                           uint32_t* localPref)
{
  const auto work = [&] { return sim_give(*localPref, bgp.globals.local_pref); };
  return sim_call(__func__, client_handle, work, sim_out(localPref));
}

open_error_t rpcclt_openapiBgpLocalPrefSet(openapiClientHandle_t* client_handle, uint32_t localPref)
{
  const auto work = [&] { return local_pref_set(localPref); };
  return sim_call(__func__, client_handle, work, localPref);
}

open_error_t rpcclt_openapiBgpLogNeighborChangesGet(openapiClientHandle_t* client_handle,
                                                    bool* isAllowLog)
{
  const auto work = [&] { return sim_give(*isAllowLog, bgp.globals.log_neighbor_changes); };
  return sim_call(__func__, client_handle, work, sim_out(isAllowLog));
}

open_error_t rpcclt_openapiBgpLogNeighborChangesSet(openapiClientHandle_t* client_handle,
                                                    bool isAllowLog)
{
  const auto work = [&] { return log_neighbor_changes_set(isAllowLog); };
  return sim_call(__func__, client_handle, work, isAllowLog);
}

open_error_t rpcclt_openapiBgpNetworkAddDelete(openapiClientHandle_t* client_handle,
                                               bool normalMode, bool useRm,
                                               open_inet_addr_t address, uint32_t pfxLen,
                                               open_buffdesc* routeMapName)
{
  const auto work = [&] {
    return network_set(normalMode, useRm, address, pfxLen, sim_text(routeMapName));
  };
  return sim_call(__func__, client_handle, work, normalMode, useRm, address, pfxLen, routeMapName);
}

open_error_t rpcclt_openapiBgpRedistributionSet(openapiClientHandle_t* client_handle, bool isAdd,
                                                open_buffdesc* protoName, bool matchSet,
                                                uint32_t matchBits, bool metricSet,
                                                bool metricValueSet, uint32_t metricValue,
                                                bool routeMapSet, OPEN_AF_t family,
                                                open_buffdesc* routeMapName)
{
  const auto work = [&] {
    const std::string route_map = sim_text(routeMapName);
    if (routeMapSet && route_map.empty())
      return OPEN_E_PARAM;
    const sim_bgp_redistribution_t wanted = {matchSet ? matchBits : 0, metricSet && metricValueSet,
                                             metricValue, routeMapSet ? route_map : ""};
    return redistribution_set(isAdd, family, sim_text(protoName), wanted, matchSet);
  };
  return sim_call(__func__, client_handle, work, isAdd, protoName, matchSet, matchBits, metricSet,
                  metricValueSet, metricValue, routeMapSet, family, routeMapName);
}

open_error_t rpcclt_openapiBgpPeerRemoteASGet(openapiClientHandle_t* client_handle,
                                              open_inet_addr_t remoteAddr, uint32_t scopeId,
                                              uint32_t* remoteAS)
{
  const auto read = [&](const sim_bgp_peer_t& peer) { return sim_give(*remoteAS, peer.remote_as); };
  const auto work = [&] { return peer_get(OPEN_BGP_GET_PEER, remoteAddr, scopeId, read); };
  return sim_call(__func__, client_handle, work, remoteAddr, scopeId, sim_out(remoteAS));
}

open_error_t rpcclt_openapiBgpPeerRemoteASSet(openapiClientHandle_t* client_handle,
                                              open_inet_addr_t remoteAddr, uint32_t scopeId,
                                              uint32_t remoteAS)
{
  const auto work = [&] { return peer_as_set(remoteAddr, scopeId, remoteAS); };
  return sim_call(__func__, client_handle, work, remoteAddr, scopeId, remoteAS);
}

open_error_t rpcclt_openapiBgpPeerActivateGet(openapiClientHandle_t* client_handle,
                                              OPEN_BGP_GET_t getMode, open_inet_addr_t remoteAddr,
                                              uint32_t scopeId, bool* isActivate)
{
  const auto read = [&](sim_bgp_peer_t& peer) {
    return sim_give(*isActivate, settings_of(peer, remoteAddr.family).active);
  };
  const auto work = [&] { return peer_get(getMode, remoteAddr, scopeId, read); };
  return sim_call(__func__, client_handle, work, getMode, remoteAddr, scopeId, sim_out(isActivate));
}

open_error_t rpcclt_openapiBgpPeerActivateSet(openapiClientHandle_t* client_handle,
                                              open_inet_addr_t remoteAddr, uint32_t scopeId,
                                              OPEN_AF_t family, bool isActivate)
{
  const auto work = [&] { return peer_active_set(remoteAddr, scopeId, family, isActivate); };
  return sim_call(__func__, client_handle, work, remoteAddr, scopeId, family, isActivate);
}

open_error_t rpcclt_openapiBgpPeerNextHopSelfModeGet(openapiClientHandle_t* client_handle,
                                                     OPEN_BGP_GET_t getMode,
                                                     open_inet_addr_t remoteAddr, uint32_t scopeId,
                                                     OPEN_CONTROL_t* mode)
{
  const auto read = [&](sim_bgp_peer_t& peer) {
    return sim_give(*mode, settings_of(peer, remoteAddr.family).next_hop_self);
  };
  const auto work = [&] { return peer_get(getMode, remoteAddr, scopeId, read); };
  return sim_call(__func__, client_handle, work, getMode, remoteAddr, scopeId, sim_out(mode));
}

open_error_t rpcclt_openapiBgpPeerNextHopSelfModeSet(openapiClientHandle_t* client_handle,
                                                     open_inet_addr_t remoteAddr, uint32_t scopeId,
                                                     OPEN_AF_t family, OPEN_CONTROL_t mode)
{
  const auto work = [&] { return peer_next_hop_self_set(remoteAddr, scopeId, family, mode); };
  return sim_call(__func__, client_handle, work, remoteAddr, scopeId, family, mode);
}

open_error_t rpcclt_openapiBgpPeerUpdateSourceGet(openapiClientHandle_t* client_handle,
                                                  OPEN_BGP_GET_t getMode,
                                                  open_inet_addr_t remoteAddr, uint32_t scopeId,
                                                  uint32_t* ifNum)
{
  const auto read = [&](const sim_bgp_peer_t& peer) {
    return sim_give(*ifNum, peer.update_source);
  };
  const auto work = [&] { return peer_get(getMode, remoteAddr, scopeId, read); };
  return sim_call(__func__, client_handle, work, getMode, remoteAddr, scopeId, sim_out(ifNum));
}

open_error_t rpcclt_openapiBgpPeerUpdateSourceSet(openapiClientHandle_t* client_handle,
                                                  open_inet_addr_t remoteAddr, uint32_t scopeId,
                                                  uint32_t ifNum)
{
  const auto work = [&] { return peer_update_source_set(remoteAddr, scopeId, ifNum); };
  return sim_call(__func__, client_handle, work, remoteAddr, scopeId, ifNum);
}
