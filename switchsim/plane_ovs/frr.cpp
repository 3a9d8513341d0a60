#include "switchsim/plane_ovs/frr.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <sstream>

namespace
{
constexpr char ROUTE_MAP_END[] = " permit 65535";  // what makes a route map ours
constexpr std::string_view ROUTER = "router bgp ";
constexpr std::string_view ROUTE_MAP = "route-map ";
constexpr std::string_view FAMILY = "address-family ";
constexpr std::string_view NEIGHBOR = "neighbor ";
constexpr std::string_view NO = "no ";

using lines_t = std::set<std::string>;

bool begins(std::string_view line, std::string_view with)
{
  return line.substr(0, with.size()) == with;
}

// The line up to the end of this many words.
std::string words(const std::string& line, int count)
{
  size_t end = 0;
  while (count-- > 0 && end != std::string::npos)
    end = line.find(' ', end + 1);
  return line.substr(0, end);
}

// Two lines with the same key are the same setting with two values.
std::string key_of(const std::string& line)
{
  if (begins(line, NEIGHBOR) || begins(line, "bgp default "))
    return words(line, 3);
  return words(line, begins(line, "network ") || begins(line, "bgp ") || begins(line, "timers ") ||
                             begins(line, "redistribute ")
                         ? 2
                         : 99);
}

std::string peer_of(const std::string& line)
{
  return begins(line, NEIGHBOR) ? words(line, 2) : "";
}

lines_t minus(const lines_t& from, const lines_t& what)
{
  lines_t left;
  std::set_difference(from.begin(), from.end(), what.begin(), what.end(),
                      std::inserter(left, left.end()));
  return left;
}

// A neighbour is there where something is said about whom it belongs to.
bool peer_wanted(const wish_bgp_t& wanted, const std::string& peer)
{
  return std::any_of(
      wanted.lines.begin(), wanted.lines.end(),
      [&](const std::string& line) { return begins(line, peer + " remote-as "); });
}

constexpr int RANK_LAST = 2;
int rank_of(const std::string& line)
{
  if (!begins(line, NEIGHBOR))
    return 0;
  return line.find(" remote-as ") != std::string::npos ? 1 : RANK_LAST;
}

std::string negated(const std::string& line)
{
  return begins(line, NO) ? line.substr(NO.size()) : std::string(NO) + line;
}

// The lines of one part of the configuration: first what goes, then what comes.
std::vector<std::string> part_change(const lines_t& running, const lines_t& wanted,
                                     const wish_bgp_t& all_wanted, bool in_family)
{
  const lines_t gone = minus(running, wanted);
  const lines_t fresh = minus(wanted, running);
  std::vector<std::string> lines;
  std::set<std::string> peers_gone;
  for (const std::string& line : gone) {
    const std::string peer = peer_of(line);
    const bool replaced = std::any_of(fresh.begin(), fresh.end(), [&](const std::string& other) {
      return key_of(other) == key_of(line) && !begins(line, "redistribute ");
    });
    if (!peer.empty() && !peer_wanted(all_wanted, peer))
      peers_gone.insert(peer);
    else if (!replaced)
      lines.push_back(negated(line));
  }
  if (in_family)
    peers_gone.clear();  // they go with the router's own lines
  for (const std::string& peer : peers_gone)
    lines.push_back(std::string(NO) + peer);
  // what neighbours begin with comes before them, and a neighbour is made by its AS number, before
  // anything else is said about it
  for (int rank = 0; rank <= RANK_LAST; rank++)
    std::copy_if(fresh.begin(), fresh.end(), std::back_inserter(lines),
                 [=](const std::string& line) { return rank_of(line) == rank; });
  return lines;
}

void append(std::vector<std::string>& lines, const std::vector<std::string>& more)
{
  lines.insert(lines.end(), more.begin(), more.end());
}

uint32_t number_of(std::string_view text)
{
  uint32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}
}  // namespace

frr_running_t frr_running(const std::string& configuration)
{
  frr_running_t running;
  lines_t* part = nullptr;
  std::istringstream text(configuration);
  for (std::string line; std::getline(text, line);) {
    const bool top = !line.empty() && line[0] != ' ';
    const std::string bare = line.substr(std::min(line.find_first_not_of(' '), line.size()));
    if (top && begins(bare, ROUTER) && bare.find(' ', ROUTER.size()) == std::string::npos) {
      running.bgp.local_as = number_of(std::string_view(bare).substr(ROUTER.size()));
      part = &running.bgp.lines;
    } else if (top && begins(bare, ROUTE_MAP)) {
      const size_t end = bare.find(' ', ROUTE_MAP.size());
      const std::string name = bare.substr(ROUTE_MAP.size(), end - ROUTE_MAP.size());
      const bool ours = end != std::string::npos && bare.substr(end) == ROUTE_MAP_END;
      (ours ? running.bgp.route_maps : running.foreign_route_maps).insert(name);
      part = nullptr;
    } else if (top || bare.empty()) {
      part = top && bare[0] == '!' ? part : nullptr;
    } else if (part != nullptr && begins(bare, FAMILY)) {
      part = begins(bare, "address-family ipv6 unicast") ? &running.bgp.ipv6 : &running.bgp.ipv4;
    } else if (part != nullptr && bare == "exit-address-family") {
      part = &running.bgp.lines;
    } else if (part != nullptr && bare[0] != '!') {
      part->insert(bare);
    }
  }
  return running;
}

std::vector<std::string> frr_change(const frr_running_t& running, const wish_bgp_t& wanted)
{
  std::vector<std::string> lines;
  const lines_t needed = minus(wanted.route_maps, running.foreign_route_maps);
  for (const std::string& name : minus(needed, running.bgp.route_maps))
    append(lines, {std::string(ROUTE_MAP) + name + ROUTE_MAP_END, "exit"});
  const bool again = running.bgp.local_as != wanted.local_as;
  if (again && running.bgp.local_as != 0)
    lines.push_back("no router bgp " + std::to_string(running.bgp.local_as));
  const wish_bgp_t before = again ? wish_bgp_t{} : running.bgp;
  if (wanted.local_as != 0) {
    const struct {
      const char* family;
      const lines_t& running;
      const lines_t& wanted;
    } parts[] = {
        {nullptr,        before.lines, wanted.lines},
        {"ipv4 unicast", before.ipv4,  wanted.ipv4 },
        {"ipv6 unicast", before.ipv6,  wanted.ipv6 },
    };
    std::vector<std::string> inner;
    for (const auto& part : parts) {
      const std::vector<std::string> change =
          part_change(part.running, part.wanted, wanted, part.family != nullptr);
      if (part.family == nullptr) {
        append(inner, change);
      } else if (!change.empty()) {
        inner.push_back(std::string(FAMILY) + part.family);
        append(inner, change);
        inner.push_back("exit-address-family");
      }
    }
    if (again || !inner.empty()) {
      lines.push_back(std::string(ROUTER) + std::to_string(wanted.local_as));
      append(lines, inner);
      lines.push_back("exit");
    }
  }
  for (const std::string& name : minus(running.bgp.route_maps, needed))
    lines.push_back(std::string(NO) + std::string(ROUTE_MAP) + name + ROUTE_MAP_END);
  return lines;
}

bool frr_apply(vty_t& bgpd, const wish_bgp_t& wanted, uint64_t deadline_ms, std::string& why)
{
  std::string configuration;
  const auto lines_left = [&](std::vector<std::string>& lines) {
    if (!vty_run(bgpd, "show running-config", configuration, deadline_ms, why))
      return false;
    lines = frr_change(frr_running(configuration), wanted);
    return true;
  };
  std::vector<std::string> lines;
  if (!lines_left(lines))
    return false;
  if (lines.empty())
    return true;
  if (!vty_configure(bgpd, lines, deadline_ms, why) || !lines_left(lines))
    return false;
  if (lines.empty())
    return true;
  const auto setting = std::find_if(lines.begin(), lines.end(), [](const std::string& line) {
    return !begins(line, ROUTER) && !begins(line, FAMILY);
  });
  why = "does not take \"" + (setting == lines.end() ? lines.front() : *setting) + "\"";
  return false;
}
