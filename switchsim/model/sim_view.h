// The switch's settings as a plane reads them to put them in force: copies, made under the switch's
// lock. Each area gives those of its own.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/openapi_logging.h"
#include "platform/openapi_tcam.h"
#include "platform/openapi_types.h"
#include "platform/openapi_vlan.h"

// An interface in VLANs, in the switchport mode that it is in.
struct sim_switchport_view_t {
  uint32_t pvid = 0;
  OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t accept = OPEN_DOT1Q_ADMIT_ALL;
  std::set<uint32_t> vlans;     // that exist
  std::set<uint32_t> untagged;  // those of them whose frames it sends without a tag
};
sim_switchport_view_t sim_view_switchport(uint32_t number);

// The interfaces that route, by number.
struct sim_router_view_t {
  uint32_t vlan;  // 0: a port
  std::vector<open_inet_pfx_t> addresses;
};
std::map<uint32_t, sim_router_view_t> sim_view_routers();
bool sim_view_routing(OPEN_AF_t family);

struct sim_bgp_peer_view_t {
  std::string address;
  bool ipv6;
  uint32_t scope;  // interface number of a link-local address; 0: none
  uint32_t remote_as;
  uint32_t update_source;  // interface number; 0: none
  struct {
    bool active;
    bool next_hop_self;
  } families[2];  // IPv4, IPv6
};
struct sim_bgp_network_view_t {
  bool ipv6;
  std::string network;    // 10.0.0.0/8
  std::string route_map;  // empty: none
};
struct sim_bgp_redistribution_view_t {
  bool ipv6;
  std::string protocol;
  bool metric_set;
  uint32_t metric;
  std::string route_map;  // empty: none
};
struct sim_bgp_view_t {
  uint32_t hold_time, keep_alive, local_as, router_id, local_pref;
  bool log_neighbor_changes;
  std::vector<sim_bgp_peer_view_t> peers;
  std::vector<sim_bgp_network_view_t> networks;
  std::vector<sim_bgp_redistribution_view_t> redistributions;
};
sim_bgp_view_t sim_view_bgp();

struct sim_policy_view_t {
  open_tcamApiPolicy_t record;
  std::set<uint32_t> ports;
};
std::map<uint32_t, sim_policy_view_t> sim_view_policies();

// MAC addresses and VLANs that may send into a port, for ports that are locked to any.
std::map<uint32_t, std::set<std::pair<uint64_t, uint32_t>>> sim_view_locked();

struct sim_log_host_view_t {
  std::string address;
  uint16_t port;
  OPEN_LOG_SEVERITY_t severity;
};
// None while syslog is off.
std::vector<sim_log_host_view_t> sim_view_log_hosts();

std::string sim_view_hostname();
