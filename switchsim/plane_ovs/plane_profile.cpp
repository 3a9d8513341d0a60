#include "switchsim/plane_ovs/plane_profile.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

namespace
{
constexpr uint32_t PORT_NUMBER_MAX = 4000;
constexpr size_t BRIDGE_NAME_MAX = 8;  // interfaces are named after it, in 15 characters
constexpr size_t NETDEV_NAME_MAX = 15;
constexpr size_t PATH_MAX_BYTES = 200;

bool path_parse(const sim_json_t& json, std::string& path)
{
  return sim_json_text(json, 1, PATH_MAX_BYTES, path);
}

bool type_parse(const sim_json_t& json)
{
  int ignored = 0;
  return sim_json_chosen(json,
                         {
                             {"ovs", 1}
  },
                         ignored);
}

bool bridge_parse(const sim_json_t& json, std::string& bridge)
{
  const auto allowed = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); };
  return sim_json_text(json, 1, BRIDGE_NAME_MAX, bridge) &&
         (std::all_of(bridge.begin(), bridge.end(), allowed) ||
          sim_json_refuse(json, "may have small letters and digits only"));
}

// Open vSwitch names the socket after the bridge; those of the other bridges are beside it.
bool openflow_parse(const sim_json_t& json, apply_places_t& places)
{
  std::string path;
  if (!path_parse(json, path))
    return false;
  const std::string_view prefix = "unix:";
  path.erase(0, path.compare(0, prefix.size(), prefix) == 0 ? prefix.size() : 0);
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos || path.substr(slash + 1) != places.bridge + ".mgmt")
    return sim_json_refuse(json, "is no path of the bridge's management socket");
  places.openflow_folder = path.substr(0, slash);
  return true;
}

// Whether the interface is one that is made for the bridge.
bool belongs_to_bridge(const std::string& netdev, const std::string& bridge)
{
  return netdev == bridge || netdev.compare(0, bridge.size() + 1, bridge + "-") == 0;
}

bool netdev_parse(const char* name, const sim_json_t& json, plane_profile_t& profile)
{
  uint32_t number = 0;
  std::string netdev;
  const char* end = name + strlen(name);
  const auto read_number = std::from_chars(name, end, number);
  if (read_number.ec != std::errc() || read_number.ptr != end || number < 1 ||
      number > PORT_NUMBER_MAX || profile.netdevs.count(number) > 0)
    return sim_json_refuse(json, "is no number of a port, or one of two that are the same");
  if (!sim_json_text(json, 1, NETDEV_NAME_MAX, netdev))
    return false;
  const bool taken = std::any_of(profile.netdevs.begin(), profile.netdevs.end(),
                                 [&](const auto& entry) { return entry.second == netdev; });
  if (taken || belongs_to_bridge(netdev, profile.places.bridge))
    return sim_json_refuse(json, "is another port already, or the bridge's own");
  profile.netdevs[number] = netdev;
  return true;
}
}  // namespace

bool plane_profile_parse(const sim_json_t& json, plane_profile_t& profile)
{
  apply_places_t& places = profile.places;
  const auto path = [](std::string& out) {
    return [&out](const sim_json_t& j) { return path_parse(j, out); };
  };
  const auto bridge = [&](const sim_json_t& j) { return bridge_parse(j, places.bridge); };
  const auto openflow = [&](const sim_json_t& j) { return openflow_parse(j, places); };
  const auto netdev = [&](const char* name, const sim_json_t& j) {
    return netdev_parse(name, j, profile);
  };
  const auto ports = [&](const sim_json_t& j) {
    return sim_json_each(j, netdev) &&
           (!profile.netdevs.empty() || sim_json_refuse(j, "names no port"));
  };
  return sim_json_record(json, {
                                   {"type",     true,  type_parse        },
                                   {"ovsdb",    true,  path(places.ovsdb)},
                                   {"bridge",   true,  bridge            },
                                   {"openflow", true,  openflow          },
                                   {"frr",      false, path(places.frr)  },
                                   {"netns",    false, path(places.netns)},
                                   {"ports",    true,  ports             },
  });
}
