#include "switchsim/plane_ovs/in_force.h"

#include <iterator>
#include <string_view>
#include <vector>

namespace
{
auto settings_of(const wish_port_t& port)
{
  return std::tie(port.netdev, port.up, port.mtu, port.locked);
}

auto settings_of(const wish_member_t& member)
{
  return std::tie(member.group, member.ports, member.routed, member.pvid, member.accept_tagged,
                  member.accept_untagged, member.vlans, member.untagged);
}

auto settings_of(const wish_router_t& router)
{
  std::vector<decltype(address_key({}))> addresses;
  for (const open_inet_pfx_t& address : router.addresses)
    addresses.push_back(address_key(address));
  return std::make_tuple(router.vlan, router.up, router.mtu, router.mac, addresses);
}

auto settings_of(const wish_policy_t& policy)
{
  return std::make_tuple(
      std::string_view(reinterpret_cast<const char*>(&policy.record), sizeof policy.record),
      policy.ports);
}

auto settings_of(const wish_bgp_t& bgp)
{
  return std::tie(bgp.local_as, bgp.lines, bgp.ipv4, bgp.ipv6, bgp.route_maps);
}

bool settings_of(bool tagged)
{
  return tagged;
}

template <class T>
void part_take(std::map<uint32_t, T>& held, const std::map<uint32_t, T>& wished,
               const std::set<uint32_t>& faults)
{
  for (auto entry = held.begin(); entry != held.end();)
    entry = wished.count(entry->first) == 0 ? held.erase(entry) : std::next(entry);
  for (const auto& [number, settings] : wished)
    if (faults.count(number) == 0)
      held[number] = settings;
}

// The keys of what is in one of two only, or in both with other settings.
template <class T>
std::set<uint32_t> differing(const std::map<uint32_t, T>& ones, const std::map<uint32_t, T>& others)
{
  std::set<uint32_t> found;
  for (const auto& [number, one] : ones) {
    const auto other = others.find(number);
    if (other == others.end() || settings_of(one) != settings_of(other->second))
      found.insert(number);
  }
  for (const auto& entry : others)
    if (ones.count(entry.first) == 0)
      found.insert(entry.first);
  return found;
}

// The VLANs of a member, if there is one of this number, and whether it sends them with a tag.
std::map<uint32_t, bool> vlans_of(const std::map<uint32_t, wish_member_t>& members, uint32_t number)
{
  std::map<uint32_t, bool> vlans;
  const auto member = members.find(number);
  if (member != members.end())
    for (const uint32_t vlan : member->second.vlans)
      vlans[vlan] = member->second.untagged.count(vlan) == 0;
  return vlans;
}

void add(std::set<uint32_t>& all, const std::set<uint32_t>& more)
{
  all.insert(more.begin(), more.end());
}
}  // namespace

std::tuple<OPEN_AF_t, std::string, uint32_t> address_key(const open_inet_pfx_t& address)
{
  const bool ipv4 = address.family == OPEN_AF_INET;
  const std::string bytes(ipv4 ? reinterpret_cast<const char*>(&address.addr.ipv4)
                               : reinterpret_cast<const char*>(address.addr.ipv6.u.addr8),
                          ipv4 ? sizeof address.addr.ipv4 : sizeof address.addr.ipv6);
  return std::make_tuple(address.family, bytes, address.pfxLen);
}

bool wish_same(const wish_t& one, const wish_t& other)
{
  return one.forward_ipv4 == other.forward_ipv4 && one.forward_ipv6 == other.forward_ipv6 &&
         settings_of(one.bgp) == settings_of(other.bgp) &&
         differing(one.ports, other.ports).empty() &&
         differing(one.members, other.members).empty() &&
         differing(one.routers, other.routers).empty() &&
         differing(one.policies, other.policies).empty();
}

void in_force_take(in_force_t& held, const wish_t& wish, const faults_t& faults)
{
  part_take(held.ports, wish.ports, faults.ports);
  part_take(held.members, wish.members, faults.members);
  part_take(held.routers, wish.routers, faults.routers);
}

things_t in_force_pending(const in_force_t& held, const wish_t& wish, const faults_t& faults)
{
  things_t pending;
  const std::set<uint32_t> members = differing(held.members, wish.members);
  for (const std::set<uint32_t>& interfaces :
       {faults.ports, faults.routers, members, differing(held.ports, wish.ports),
        differing(held.routers, wish.routers)})
    add(pending[SIM_IF], interfaces);
  for (const uint32_t number : members)
    add(pending[SIM_VLAN],
        differing(vlans_of(held.members, number), vlans_of(wish.members, number)));
  return pending;
}

things_t in_force_things(const in_force_t& held)
{
  // all of it is pending beside nothing
  return in_force_pending(held, {}, {});
}
