// BGP as it is configured.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "platform/openapi_types.h"
#include "switchsim/text/sim_address.h"

struct sim_bgp_globals_t {
  uint32_t hold_time = 90;
  uint32_t keep_alive = 30;
  uint32_t local_as = 0;   // 0: not set
  uint32_t router_id = 0;  // 0: not set
  uint32_t local_pref = 100;
  bool log_neighbor_changes = false;
};

using sim_bgp_address_t = std::pair<OPEN_AF_t, sim_address_bytes_t>;
using sim_bgp_peer_key_t = std::pair<sim_bgp_address_t, uint32_t>;     // with the scope id
using sim_bgp_network_key_t = std::pair<sim_bgp_address_t, uint32_t>;  // with the prefix length

struct sim_bgp_family_t {
  bool active = false;
  OPEN_CONTROL_t next_hop_self = OPEN_DISABLE;
};

struct sim_bgp_peer_t {
  uint32_t remote_as = 0;
  sim_bgp_family_t ipv4;
  sim_bgp_family_t ipv6;
  uint32_t update_source = 0;
};

struct sim_bgp_redistribution_t {
  uint32_t match_bits = 0;  // 0: all routes
  bool metric_set = false;
  uint32_t metric = 0;
  std::string route_map;  // empty: none
};

struct sim_bgp_t {
  sim_bgp_globals_t globals;
  std::map<sim_bgp_peer_key_t, sim_bgp_peer_t> peers;
  std::map<sim_bgp_network_key_t, std::string> networks;  // to the route map's name
  std::map<std::pair<OPEN_AF_t, std::string>, sim_bgp_redistribution_t> redistributions;
};
const sim_bgp_t& sim_bgp();
