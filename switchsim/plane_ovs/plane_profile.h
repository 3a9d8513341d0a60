// What the profile says of real ports: {"type": "ovs", "ovsdb": "unix:...", "bridge": "br0",
// "openflow": "unix:...", "frr": "/run/frr", "netns": "/run/netns/...", "ports": {"1": "eth1"}}.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "switchsim/plane_ovs/apply.h"
#include "switchsim/text/sim_profile.h"

struct plane_profile_t {
  apply_places_t places;
  std::map<uint32_t, std::string> netdevs;  // by port number
};

bool plane_profile_parse(const sim_json_t& json, plane_profile_t& profile);
