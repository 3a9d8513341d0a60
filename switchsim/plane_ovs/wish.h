// What the switch's settings mean for real ports: copied from the model in one go, so that putting
// it in force holds nobody up.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/openapi_tcam.h"
#include "platform/openapi_types.h"

struct wish_port_t {
  std::string netdev;
  bool up = true;
  uint32_t mtu = 1500;
  std::set<std::pair<uint64_t, uint32_t>> locked;  // MAC address and VLAN; empty: all may send
};

// What takes part in VLANs: a port on its own, or a group of ports.
struct wish_member_t {
  bool group = false;
  std::vector<uint32_t> ports;  // by number; those that are there
  uint32_t routed = 0;          // a port that routes, and takes part in no VLAN: its own number
  uint32_t pvid = 1;
  bool accept_tagged = true;
  bool accept_untagged = true;
  std::set<uint32_t> vlans;     // all that it is in
  std::set<uint32_t> untagged;  // those of them that it sends without a tag
};

// An interface with addresses: that of a VLAN, or of a port that routes.
struct wish_router_t {
  uint32_t vlan = 0;  // 0: of a port
  bool up = true;
  uint32_t mtu = 1500;
  uint64_t mac = 0;
  std::vector<open_inet_pfx_t> addresses;
};

struct wish_policy_t {
  open_tcamApiPolicy_t record = {};
  std::set<uint32_t> ports;
};

// BGP as the lines of the router's configuration: those of the router itself, and of each of its
// address families.
struct wish_bgp_t {
  uint32_t local_as = 0;  // 0: no BGP
  std::set<std::string> lines;
  std::set<std::string> ipv4;
  std::set<std::string> ipv6;
  std::set<std::string> route_maps;  // named, and to let everything pass unless somebody defines it
};

// Where log lines go.
struct wish_log_host_t {
  std::string address;
  uint16_t port = 514;
  int severity = 0;  // the least urgent one that is sent, as syslog counts
};

struct wish_t {
  std::map<uint32_t, wish_port_t> ports;      // by interface number, as the others
  std::map<uint32_t, wish_member_t> members;  // those with at least one port
  std::map<uint32_t, wish_router_t> routers;
  std::map<uint32_t, wish_policy_t> policies;  // by policy id
  bool forward_ipv4 = false;
  bool forward_ipv6 = false;
  wish_bgp_t bgp;
  std::string switch_name;
  std::vector<wish_log_host_t> log_hosts;
};
