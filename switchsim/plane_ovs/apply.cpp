#include "switchsim/plane_ovs/apply.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "switchsim/plane_ovs/flows.h"
#include "switchsim/plane_ovs/rows_apply.h"

namespace
{
constexpr uint64_t STEP_MS = 4000;  // the longest that one exchange may take

uint64_t deadline()
{
  return stream_now_ms() + STEP_MS;
}

// The first complaint is the one that counts.
void complain(std::string& why, const std::string& refusal)
{
  if (why.empty())
    why = refusal;
}

// Does a step for each entry of a map, whatever became of those before it, and adds the keys of
// those that went wrong to the faults.
template <class map_t, class step_t>
void each(const map_t& map, std::string& why, std::set<typename map_t::key_type>& faults,
          const step_t& step)
{
  for (const auto& [key, value] : map) {
    std::string refusal;
    if (!step(key, value, refusal)) {
      faults.insert(key);
      complain(why, refusal);
    }
  }
}

// ---- frames ----

// Interfaces that Open vSwitch has to close: those that are gone, and once those whose name another
// one has now. It would go on with what it has opened.
std::set<std::string> absent_netdevs(const apply_hands_t& hands, const wish_t& wish,
                                     const nl_links_t& links)
{
  std::set<std::string> absent;
  for (const auto& entry : wish.ports) {
    const auto link = links.find(entry.second.netdev);
    const auto opened = hands.indices.find(entry.second.netdev);
    if (link == links.end() ||
        (opened != hands.indices.end() && opened->second != link->second.index))
      absent.insert(entry.second.netdev);
  }
  return absent;
}

bool rows_step(apply_hands_t& hands, const wish_t& wish, const std::set<std::string>& absent,
               rows_state_t& state, std::string& why)
{
  if (!stream_connected(hands.db.stream) &&
      !ovsdb_connect(hands.db, hands.places.ovsdb, deadline(), why))
    return false;
  return rows_apply(hands.db, hands.places.bridge, rows_wanted(hands.places.bridge, wish, absent),
                    state, deadline(), why);
}

bool bridge_flows(of_t& of, const std::string& path, const std::set<of_flow_t>& wanted,
                  std::string& why)
{
  std::vector<of_flow_t> read;
  if (!stream_connected(of.stream) && !of_connect(of, path, deadline(), why))
    return false;
  if (!of_flows_read(of, FLOWS_COOKIE, FLOWS_COOKIE_MASK, read, deadline(), why))
    return false;
  const std::set<of_flow_t> held(read.begin(), read.end());
  std::vector<of_flow_t> gone;
  std::vector<of_flow_t> fresh;
  std::set_difference(held.begin(), held.end(), wanted.begin(), wanted.end(),
                      std::back_inserter(gone));
  std::set_difference(wanted.begin(), wanted.end(), held.begin(), held.end(),
                      std::back_inserter(fresh));
  return (gone.empty() && fresh.empty()) || of_flows_change(of, gone, fresh, deadline(), why);
}

void flows_step(apply_hands_t& hands, const wish_t& wish, const rows_state_t& state,
                apply_result_t& result)
{
  std::set<std::string> unreached;
  const flows_t wanted = flows_wanted(hands.places.bridge, wish, state.port_numbers);
  for (auto entry = hands.bridges.begin(); entry != hands.bridges.end();)
    entry = wanted.count(entry->first) == 0 ? hands.bridges.erase(entry) : std::next(entry);
  each(wanted, result.why, unreached,
       [&](const std::string& bridge, const auto& flows, std::string& refusal) {
         const std::string path = hands.places.openflow_folder + "/" + bridge + ".mgmt";
         if (bridge_flows(hands.bridges[bridge], path, flows, refusal))
           return true;
         refusal = bridge + ": " + refusal;
         return false;
       });
  for (const auto& [number, member] : wish.members)
    if (unreached.count(rows_edge(hands.places.bridge, number, member.group)) > 0)
      result.faults.members.insert(number);
}

// ---- links and addresses ----

bool link_up_step(apply_hands_t& hands, const nl_link_t& link, bool up, std::string& why)
{
  return link.up == up || nl_up_set(hands.nl, link.index, up, deadline(), why);
}

// The MTU is Open vSwitch's to set, which does not tell when it cannot.
bool mtu_is(const std::string& name, const nl_link_t& link, uint32_t mtu, std::string& why)
{
  if (link.mtu != mtu)
    why = name + ": does not take an MTU of " + std::to_string(mtu);
  return link.mtu == mtu;
}

bool port_has_link(const wish_t& wish, uint32_t port, const nl_links_t& links)
{
  const auto settings = wish.ports.find(port);
  const auto link =
      settings == wish.ports.end() ? links.end() : links.find(settings->second.netdev);
  return link != links.end() && settings->second.up && link->second.carrier;
}

// Whether a frame of the VLAN could come in or go out anywhere.
bool vlan_has_link(const wish_t& wish, uint32_t vlan, const nl_links_t& links)
{
  return std::any_of(
      wish.members.begin(), wish.members.end(),
      [&](const auto& entry) {
        const wish_member_t& member = entry.second;
        return member.routed == 0 && member.vlans.count(vlan) > 0 &&
               std::any_of(
                   member.ports.begin(), member.ports.end(),
                   [&](uint32_t port) { return port_has_link(wish, port, links); });
      });
}

bool among(const std::vector<open_inet_pfx_t>& addresses, const open_inet_pfx_t& wanted)
{
  return std::any_of(
      addresses.begin(), addresses.end(),
      [&](const open_inet_pfx_t& address) { return address_key(address) == address_key(wanted); });
}

bool addresses_step(apply_hands_t& hands, uint32_t index,
                    const std::vector<open_inet_pfx_t>& wanted, std::string& why)
{
  std::vector<open_inet_pfx_t> held;
  if (!nl_addresses_read(hands.nl, index, held, deadline(), why))
    return false;
  for (const open_inet_pfx_t& address : held)
    if (!among(wanted, address) && !nl_address_remove(hands.nl, index, address, deadline(), why))
      return false;
  // removing a first address takes those of its network along
  if (!nl_addresses_read(hands.nl, index, held, deadline(), why))
    return false;
  for (const open_inet_pfx_t& address : wanted)
    if (!among(held, address) && !nl_address_add(hands.nl, index, address, deadline(), why))
      return false;
  return true;
}

bool router_step(apply_hands_t& hands, const wish_t& wish, uint32_t number,
                 const wish_router_t& router, const nl_links_t& links, std::string& why)
{
  const std::string name = rows_router(hands.places.bridge, number, router);
  const auto link = links.find(name);
  if (link == links.end()) {
    why = name + ": is not there";
    return false;
  }
  const bool carrier = router.vlan != 0 ? vlan_has_link(wish, router.vlan, links)
                                        : port_has_link(wish, number, links);
  const uint32_t index = link->second.index;
  return link_up_step(hands, link->second, router.up, why) &&
         (!router.up || link->second.carrier == carrier ||
          nl_carrier_set(hands.nl, index, carrier, deadline(), why)) &&
         (!router.up || addresses_step(hands, index, router.addresses, why)) &&
         mtu_is(name, link->second, router.mtu, why);
}

// False: nothing could be looked at.
bool links_step(apply_hands_t& hands, const wish_t& wish, apply_result_t& result)
{
  nl_links_t links;
  std::string unread;
  if (!nl_links_read(hands.nl, links, deadline(), unread)) {
    complain(result.why, unread);
    return false;
  }
  each(
      wish.ports, result.why, result.faults.ports,
      [&](uint32_t, const wish_port_t& port, std::string& refusal) {
        const auto link = links.find(port.netdev);
        if (link != links.end())
          return link_up_step(hands, link->second, port.up, refusal) &&
                 mtu_is(port.netdev, link->second, port.mtu, refusal);
        refusal = port.netdev + ": is not there";
        return false;
      });
  each(wish.routers, result.why, result.faults.routers,
       [&](uint32_t number, const wish_router_t& router, std::string& refusal) {
         return router_step(hands, wish, number, router, links, refusal);
       });
  return true;
}

// A switch of the kernel, in the thread's own namespace.
bool kernel_step(const std::string& path, char wanted, std::string& why)
{
  const fd_guard_t file(open(path.c_str(), O_RDWR | O_CLOEXEC));
  char held = '\0';
  if (file.fd < 0 || read(file.fd, &held, 1) != 1 ||
      (held != wanted && pwrite(file.fd, &wanted, 1, 0) != 1)) {
    why = path + ": " + strerror(errno);
    return false;
  }
  return true;
}

// Frames of a port are the switch's alone: the kernel, which sees them too, must not answer for its
// routing interfaces there, nor route past the switch.
bool port_kept_from_kernel(const std::string& netdev, std::string& why)
{
  const std::string ipv6 = "/proc/sys/net/ipv6/conf/" + netdev + "/disable_ipv6";
  return kernel_step("/proc/sys/net/ipv4/conf/" + netdev + "/arp_ignore", '8', why) &&
         kernel_step("/proc/sys/net/ipv4/conf/" + netdev + "/forwarding", '0', why) &&
         (access(ipv6.c_str(), F_OK) != 0 || kernel_step(ipv6, '1', why));
}

// Routing of the whole machine comes first: it sets every interface as it is set itself. A kernel
// without IPv6 has nothing to switch off.
void kernel_steps(const wish_t& wish, apply_result_t& result)
{
  const char* const all_ipv6 = "/proc/sys/net/ipv6/conf/all/forwarding";
  std::string refusal;
  if (!kernel_step("/proc/sys/net/ipv4/ip_forward", wish.forward_ipv4 ? '1' : '0', refusal) ||
      ((wish.forward_ipv6 || access(all_ipv6, F_OK) == 0) &&
       !kernel_step(all_ipv6, wish.forward_ipv6 ? '1' : '0', refusal)))
    complain(result.why, refusal);
  each(wish.ports, result.why, result.faults.ports,
       [](uint32_t, const wish_port_t& port, std::string& unset) {
         return port_kept_from_kernel(port.netdev, unset);
       });
}

// What Open vSwitch has to say against the interfaces that it was given.
void errors_step(const std::string& bridge, const wish_t& wish,
                 const std::map<std::string, std::string>& errors, apply_result_t& result)
{
  const auto is_good = [&](const std::string& interface, std::string& refusal) {
    const auto error = errors.find(interface);
    if (error == errors.end())
      return true;
    refusal = interface + ": " + error->second;
    return false;
  };
  each(
      wish.ports, result.why, result.faults.ports,
      [&](uint32_t, const wish_port_t& port, std::string& refusal) {
        return is_good(port.netdev, refusal);
      });
  each(
      wish.members, result.why, result.faults.members,
      [&](uint32_t number, const wish_member_t&, std::string& refusal) {
        return is_good(rows_inner_patch(bridge, number), refusal) &&
               is_good(rows_edge_patch(bridge, number), refusal);
      });
  each(wish.routers, result.why, result.faults.routers,
       [&](uint32_t number, const wish_router_t& router, std::string& refusal) {
         return is_good(rows_router(bridge, number, router), refusal);
       });
}
}  // namespace

bool apply_begin(apply_hands_t& hands, std::string& why)
{
  const std::string& netns = hands.places.netns;
  if (!netns.empty()) {
    const fd_guard_t file(open(netns.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.fd < 0 || setns(file.fd, CLONE_NEWNET) != 0) {
      why = netns + ": " + strerror(errno);
      return false;
    }
  }
  return nl_open(hands.nl, why);
}

apply_result_t apply_frames(apply_hands_t& hands, const wish_t& wish)
{
  apply_result_t result;
  rows_state_t state;
  nl_links_t links;
  if (!nl_links_read(hands.nl, links, deadline(), result.why))
    return result;
  const std::set<std::string> absent = absent_netdevs(hands, wish, links);
  if (!rows_step(hands, wish, absent, state, result.why))
    return result;
  hands.indices.clear();
  for (const auto& entry : wish.ports)
    if (absent.count(entry.second.netdev) == 0)
      hands.indices[entry.second.netdev] = links.at(entry.second.netdev).index;
  for (const std::string& netdev : absent)
    state.errors[netdev] = "is not there";
  flows_step(hands, wish, state, result);
  result.looked = links_step(hands, wish, result);
  kernel_steps(wish, result);
  errors_step(hands.places.bridge, wish, state.errors, result);
  return result;
}

bool apply_routing(apply_hands_t& hands, const wish_t& wish, std::string& why)
{
  if (hands.places.frr.empty())
    return true;
  if (!stream_connected(hands.bgpd.stream) &&
      !vty_connect(hands.bgpd, hands.places.frr + "/bgpd.vty", deadline(), why))
    return false;
  return frr_apply(hands.bgpd, wish.bgp, deadline(), why);
}
