#include "switchsim/model/sim_routing.h"

#include <algorithm>
#include <map>
#include <vector>

#include "platform/openapi_routing.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/model/sim_plane.h"
#include "switchsim/model/sim_ports.h"
#include "switchsim/model/sim_tcam.h"
#include "switchsim/model/sim_vlan.h"
#include "switchsim/text/sim_address.h"

namespace
{
constexpr size_t SECONDARY_MAX = 31;
constexpr size_t IPV6_MAX = 16;
constexpr uint32_t IF_NAME_SIZE = 64;

// A port keeps its addresses while routing is off there.
struct rtr_if_t {
  bool routing = false;  // on a port
  bool dhcp_ipv4 = false;
  bool dhcp_ipv6 = false;
  std::vector<open_inet_pfx_t> ipv4;  // the primary one, then the secondary ones
  std::vector<open_inet_pfx_t> ipv6;
};

OPEN_CONTROL_t ipv4_mode;
OPEN_CONTROL_t ipv6_mode;
std::map<uint32_t, rtr_if_t> rtr_ifs;

// ---- modes ----

OPEN_CONTROL_t* mode_of(OPEN_AF_t family)
{
  if (family == OPEN_AF_INET)
    return &ipv4_mode;
  return family == OPEN_AF_INET6 ? &ipv6_mode : nullptr;
}

open_error_t mode_get(OPEN_AF_t family, OPEN_CONTROL_t& mode)
{
  return mode_of(family) == nullptr ? OPEN_E_PARAM : sim_give(mode, sim_routing_mode(family));
}

// ---- interfaces ----

bool routes(uint32_t number, const rtr_if_t& rtr)
{
  return rtr.routing || sim_if_vlan(number) != 0;
}

// The routing interface of this number, or null.
const rtr_if_t* rtr_find(uint32_t number)
{
  const auto found = rtr_ifs.find(number);
  return found != rtr_ifs.end() && routes(number, found->second) ? &found->second : nullptr;
}

// The record to configure of a port or of a VLAN's interface.
open_error_t rtr_configure(uint32_t number, rtr_if_t*& rtr)
{
  const sim_if_t* intf = sim_if_find(number);
  if (intf == nullptr)
    return OPEN_E_NOT_FOUND;
  if ((intf->type != OPEN_INTF_TYPE_PHY && intf->type != OPEN_INTF_TYPE_VLAN) || intf->group != 0)
    return OPEN_E_UNAVAIL;
  rtr = &rtr_ifs[number];
  return OPEN_E_NONE;
}

open_error_t vlan_intf_number(uint32_t vlan, uint32_t& number)
{
  const uint32_t found = sim_vlan_routing(vlan);
  return found == 0 ? OPEN_E_NOT_FOUND : sim_give(number, found);
}

open_error_t intf_next(uint32_t number, uint32_t& next)
{
  const auto found =
      std::find_if(rtr_ifs.upper_bound(number), rtr_ifs.end(),
                   [](const auto& entry) { return routes(entry.first, entry.second); });
  return found == rtr_ifs.end() ? OPEN_E_FAIL : sim_give(next, found->first);
}

open_error_t intf_type(uint32_t number, OPEN_INTF_TYPE_t& type)
{
  const rtr_if_t* rtr = rtr_find(number);
  if (rtr == nullptr)
    return OPEN_E_NOT_FOUND;
  return sim_give(type, sim_if_find(number)->type);
}

open_error_t intf_vlan(uint32_t number, uint32_t& vlan)
{
  const uint32_t found = sim_if_vlan(number);
  return found == 0 ? OPEN_E_NOT_FOUND : sim_give(vlan, found);
}

open_error_t intf_name(uint32_t number, open_buffdesc* name)
{
  return rtr_find(number) == nullptr ? OPEN_E_NOT_FOUND
                                     : sim_text_put(name, sim_if_find(number)->name);
}

void vlan_intf_remove(uint32_t number)
{
  sim_tell_if_unrouted(number);
  sim_vlan_routing_set(sim_if_vlan(number), 0);
  rtr_ifs.erase(number);
  sim_if_remove(number);
}

// ---- addresses ----

bool same_address(const open_inet_pfx_t& a, const open_inet_pfx_t& b)
{
  return a.family == b.family && sim_address_bytes(a) == sim_address_bytes(b);
}

// Whether one of the two networks holds the other.
bool overlap(const open_inet_pfx_t& a, const open_inet_pfx_t& b)
{
  const uint32_t bits = std::min(a.pfxLen, b.pfxLen);
  const sim_address_bytes_t x = sim_address_bytes(a);
  const sim_address_bytes_t y = sim_address_bytes(b);
  const size_t whole = bits / 8;
  if (!std::equal(x.begin(), x.begin() + whole, y.begin()))
    return false;
  return bits % 8 == 0 || (x[whole] ^ y[whole]) >> (8 - bits % 8) == 0;
}

// Link-local networks are those of one link each, whatever their number.
bool overlaps_another(uint32_t number, const open_inet_pfx_t& pfx)
{
  const bool ipv4 = pfx.family == OPEN_AF_INET;
  if (!ipv4 && sim_ipv6_is_link_local(pfx.addr.ipv6))
    return false;
  return std::any_of(rtr_ifs.begin(), rtr_ifs.end(), [&](const auto& entry) {
    const auto& others = ipv4 ? entry.second.ipv4 : entry.second.ipv6;
    return entry.first != number &&
           std::any_of(others.begin(), others.end(), [&](const open_inet_pfx_t& other) {
             return (ipv4 || !sim_ipv6_is_link_local(other.addr.ipv6)) && overlap(pfx, other);
           });
  });
}

std::vector<open_inet_pfx_t>::const_iterator find_address(const std::vector<open_inet_pfx_t>& list,
                                                          const open_inet_pfx_t& pfx)
{
  return std::find_if(
      list.begin(), list.end(),
      [&](const open_inet_pfx_t& held) { return same_address(held, pfx); });
}

// A host in a network: where a network has room for more than two, the first and the last address
// are the network's own.
bool ipv4_assignable(const open_inet_pfx_t& pfx)
{
  if (pfx.family != OPEN_AF_INET || pfx.pfxLen < 1 || pfx.pfxLen > 32 ||
      !sim_ipv4_is_host(pfx.addr.ipv4))
    return false;
  const uint32_t host_bits = pfx.pfxLen == 32 ? 0 : UINT32_MAX >> pfx.pfxLen;
  const uint32_t host = pfx.addr.ipv4 & host_bits;
  return pfx.pfxLen >= 31 || (host != 0 && host != host_bits);
}

bool ipv6_assignable(const open_inet_pfx_t& pfx)
{
  return pfx.family == OPEN_AF_INET6 && pfx.pfxLen >= 1 && pfx.pfxLen <= 128 &&
         sim_ipv6_is_host(pfx.addr.ipv6);
}

constexpr uint64_t EUI64_MIDDLE = 0xfffe000000;
constexpr uint64_t EUI64_UNIVERSAL = 0x0200000000000000;

// The lower half becomes the interface's MAC address with ff:fe in its middle and the bit for a
// universal address turned over. Only networks of up to 64 bits leave it that room.
bool eui64_fill(uint32_t number, open_inet_pfx_t& pfx)
{
  const uint64_t mac = sim_plane().mac(number);
  uint64_t id = mac >> 24 << 40 | EUI64_MIDDLE | (mac & 0xffffff);
  id ^= EUI64_UNIVERSAL;
  for (size_t i = sizeof pfx.addr.ipv6; i-- > sizeof pfx.addr.ipv6 / 2; id >>= 8)
    pfx.addr.ipv6.u.addr8[i] = static_cast<uint8_t>(id);
  return pfx.pfxLen <= 64;
}

open_error_t primary_add(uint32_t number, rtr_if_t& rtr, const open_inet_pfx_t& pfx)
{
  if (!ipv4_assignable(pfx))
    return OPEN_E_PARAM;
  const auto held = find_address(rtr.ipv4, pfx);
  if (held != rtr.ipv4.end() && (held != rtr.ipv4.begin() || held->pfxLen == pfx.pfxLen))
    return OPEN_E_EXISTS;
  if (overlaps_another(number, pfx))
    return OPEN_E_FAIL;
  rtr.ipv4.resize(std::max<size_t>(rtr.ipv4.size(), 1));
  rtr.ipv4.front() = pfx;  // a new one takes the place of the old one, and that of DHCP
  rtr.dhcp_ipv4 = false;
  return OPEN_E_NONE;
}

open_error_t secondary_add(uint32_t number, rtr_if_t& rtr, const open_inet_pfx_t& pfx)
{
  if (!ipv4_assignable(pfx))
    return OPEN_E_PARAM;
  if (find_address(rtr.ipv4, pfx) != rtr.ipv4.end())
    return OPEN_E_EXISTS;
  if (rtr.ipv4.empty() || overlaps_another(number, pfx))
    return OPEN_E_FAIL;
  if (rtr.ipv4.size() > SECONDARY_MAX)
    return OPEN_E_FULL;
  rtr.ipv4.push_back(pfx);
  return OPEN_E_NONE;
}

open_error_t ipv6_add(uint32_t number, rtr_if_t& rtr, open_inet_pfx_t pfx, bool eui64)
{
  if (!ipv6_assignable(pfx) || (eui64 && !eui64_fill(number, pfx)))
    return OPEN_E_PARAM;
  if (find_address(rtr.ipv6, pfx) != rtr.ipv6.end())
    return OPEN_E_EXISTS;
  if (overlaps_another(number, pfx))
    return OPEN_E_FAIL;
  if (rtr.ipv6.size() == IPV6_MAX)
    return OPEN_E_FULL;
  rtr.ipv6.push_back(pfx);
  return OPEN_E_NONE;
}

open_error_t dhcp_set(bool& dhcp, bool on)
{
  if (dhcp == on)
    return on ? OPEN_E_EXISTS : OPEN_E_NOT_FOUND;
  dhcp = on;
  return OPEN_E_NONE;
}

// The interface waits for an address. DHCP takes the place of addresses that
// were set by hand.
open_error_t dhcp_ipv4_set(rtr_if_t& rtr, bool on)
{
  const open_error_t result = dhcp_set(rtr.dhcp_ipv4, on);
  if (result == OPEN_E_NONE)
    rtr.ipv4.clear();
  return result;
}

// Removes the address with this very prefix from a range of a list.
open_error_t address_remove(std::vector<open_inet_pfx_t>& list, size_t first,
                            const open_inet_pfx_t& pfx)
{
  const auto held = find_address(list, pfx);
  if (held == list.end() || held->pfxLen != pfx.pfxLen ||
      static_cast<size_t>(held - list.begin()) < first)
    return OPEN_E_NOT_FOUND;
  list.erase(held);
  return OPEN_E_NONE;
}

open_error_t primary_remove(rtr_if_t& rtr, const open_inet_pfx_t& pfx)
{
  if (rtr.ipv4.empty() || !same_address(rtr.ipv4.front(), pfx))
    return OPEN_E_NOT_FOUND;
  // the secondary addresses have to go first
  return rtr.ipv4.size() > 1 ? OPEN_E_FAIL : address_remove(rtr.ipv4, 0, pfx);
}

open_error_t ipv6_remove(uint32_t number, rtr_if_t& rtr, open_inet_pfx_t pfx, bool eui64)
{
  if (pfx.family != OPEN_AF_INET6 || (eui64 && !eui64_fill(number, pfx)))
    return OPEN_E_PARAM;
  return address_remove(rtr.ipv6, 0, pfx);
}

open_error_t rtr_change(uint32_t number, rtr_if_t& rtr, const sim_address_change_t& change)
{
  const bool eui64 = change.ext_arg == OPEN_ENABLE;
  const bool ipv6 = change.family == OPEN_AF_INET6;
  switch (change.type) {
    case OPEN_IP_ADDR_TYPE_STATIC_PRIMARY:
      if (ipv6) {
        return change.add ? ipv6_add(number, rtr, change.pfx, eui64)
                          : ipv6_remove(number, rtr, change.pfx, eui64);
      }
      return change.add ? primary_add(number, rtr, change.pfx) : primary_remove(rtr, change.pfx);
    case OPEN_IP_ADDR_TYPE_STATIC_SECONDARY:
      if (ipv6)
        return OPEN_E_PARAM;
      return change.add ? secondary_add(number, rtr, change.pfx)
                        : address_remove(rtr.ipv4, 1, change.pfx);
    case OPEN_IP_ADDR_TYPE_DHCP:
      return ipv6 ? dhcp_set(rtr.dhcp_ipv6, change.add) : dhcp_ipv4_set(rtr, change.add);
  }
  return OPEN_E_PARAM;
}

// The address behind the one in the record, or the first one from there on.
open_error_t address_next(const std::vector<open_inet_pfx_t>& list, size_t first,
                          open_inet_pfx_t& pfx, size_t& index)
{
  const auto held = find_address(list, pfx);
  index = held == list.end() ? first : static_cast<size_t>(held - list.begin()) + 1;
  return index < list.size() ? sim_give(pfx, list[index]) : OPEN_E_NOT_FOUND;
}

// Those set by hand, then the one that a server has given.
std::vector<open_inet_pfx_t> addresses_of(uint32_t number, OPEN_AF_t family)
{
  std::vector<open_inet_pfx_t> list = sim_routing_addresses(number, family);
  open_inet_pfx_t leased = {};
  if (sim_routing_dhcp(number, family) && sim_plane().lease(number, family, leased) == OPEN_E_NONE)
    list.push_back(leased);
  return list;
}

open_error_t address_get(OPEN_AF_t family, uint32_t number, open_inet_pfx_t& pfx)
{
  const auto list = addresses_of(number, family);
  if (family == OPEN_AF_INET)
    return list.empty() ? OPEN_E_NOT_FOUND : sim_give(pfx, list.front());
  size_t index = 0;
  return address_next(list, 0, pfx, index);
}

open_error_t secondary_get(OPEN_AF_t family, uint32_t number, open_inet_pfx_t& pfx,
                           uint32_t& position)
{
  if (family != OPEN_AF_INET)
    return OPEN_E_PARAM;
  size_t index = 0;
  const open_error_t result = address_next(addresses_of(number, family), 1, pfx, index);
  return result == OPEN_E_NONE ? sim_give(position, static_cast<uint32_t>(index)) : result;
}
}  // namespace

// A fault's number becomes the prefix length.
bool sim_number_set(open_inet_pfx_t& address, const sim_fault_value_t& value)
{
  return sim_number_set(address.pfxLen, value);
}

bool sim_routing_configured(uint32_t number)
{
  const auto found = rtr_ifs.find(number);
  if (found == rtr_ifs.end())
    return false;
  const rtr_if_t& rtr = found->second;
  return routes(number, rtr) || rtr.dhcp_ipv4 || rtr.dhcp_ipv6 || !rtr.ipv4.empty() ||
         !rtr.ipv6.empty();
}

bool sim_routing_interface(uint32_t number)
{
  return rtr_find(number) != nullptr;
}

OPEN_CONTROL_t sim_routing_mode(OPEN_AF_t family)
{
  return *mode_of(family);
}

bool sim_routing_dhcp(uint32_t number, OPEN_AF_t family)
{
  const auto found = rtr_ifs.find(number);
  return found != rtr_ifs.end() &&
         (family == OPEN_AF_INET ? found->second.dhcp_ipv4 : found->second.dhcp_ipv6);
}

std::vector<open_inet_pfx_t> sim_routing_addresses(uint32_t number, OPEN_AF_t family)
{
  const auto found = rtr_ifs.find(number);
  if (found == rtr_ifs.end() || mode_of(family) == nullptr)
    return {};
  return family == OPEN_AF_INET ? found->second.ipv4 : found->second.ipv6;
}

open_error_t sim_routing_mode_set(OPEN_AF_t family, OPEN_CONTROL_t mode)
{
  OPEN_CONTROL_t* current = mode_of(family);
  if (current == nullptr || !sim_control_ok(mode))
    return OPEN_E_PARAM;
  *current = mode;
  return sim_changed(SIM_ROUTING);
}

open_error_t sim_routing_intf_mode_set(uint32_t number, OPEN_CONTROL_t mode)
{
  rtr_if_t* rtr = nullptr;
  const open_error_t result = rtr_configure(number, rtr);
  if (result != OPEN_E_NONE)
    return result;
  if (!sim_control_ok(mode))
    return OPEN_E_PARAM;
  if (sim_if_vlan(number) != 0)
    return OPEN_E_UNAVAIL;
  rtr->routing = mode == OPEN_ENABLE;
  if (!rtr->routing)
    sim_tell_if_unrouted(number);
  return sim_changed(SIM_ROUTING, number);
}

open_error_t sim_routing_vlan_intf_create(uint32_t vlan)
{
  uint32_t number = sim_numbering().vlan_first;
  while (sim_if_find(number) != nullptr)
    number++;
  return sim_routing_vlan_intf_create_as(vlan, number);
}

open_error_t sim_routing_vlan_intf_create_as(uint32_t vlan, uint32_t number)
{
  const sim_numbering_t& numbers = sim_numbering();
  if (!sim_vlan_exists(vlan))
    return OPEN_E_NOT_FOUND;
  if (sim_vlan_routing(vlan) != 0)
    return OPEN_E_EXISTS;
  if (number < numbers.vlan_first || number >= numbers.vlan_first + numbers.vlan_max ||
      sim_if_find(number) != nullptr)
    return OPEN_E_FULL;
  rtr_ifs[number] = {};
  sim_if_add(number, OPEN_INTF_TYPE_VLAN, "vlan " + std::to_string(vlan)).vlan = vlan;
  sim_vlan_routing_set(vlan, number);
  return sim_changed(SIM_IF, number);
}

open_error_t sim_routing_vlan_intf_delete(uint32_t vlan)
{
  const uint32_t number = sim_vlan_routing(vlan);
  if (number == 0)
    return OPEN_E_NOT_FOUND;
  if (sim_tcam_redirects_to(number))
    return OPEN_E_FAIL;
  vlan_intf_remove(number);
  return sim_changed(SIM_IF, number);
}

open_error_t sim_routing_address_change(uint32_t number, const sim_address_change_t& change)
{
  rtr_if_t* rtr = nullptr;
  open_error_t result = rtr_configure(number, rtr);
  if (result != OPEN_E_NONE)
    return result;
  if (mode_of(change.family) == nullptr || !sim_control_ok(change.ext_arg))
    return OPEN_E_PARAM;
  result = rtr_change(number, *rtr, change);
  return result == OPEN_E_NONE ? sim_changed(SIM_ROUTING, number) : result;
}

// ---- configuration ----

namespace
{
sim_restore_t routing_keep()
{
  return [kept_ipv4 = ipv4_mode, kept_ipv6 = ipv6_mode, kept_ifs = rtr_ifs] {
    ipv4_mode = kept_ipv4;
    ipv6_mode = kept_ipv6;
    rtr_ifs = kept_ifs;
  };
}

void routing_reset()
{
  ipv4_mode = ipv6_mode = OPEN_DISABLE;
  rtr_ifs.clear();
}

void routing_clear()
{
  std::vector<uint32_t> numbers;
  for (const auto& entry : rtr_ifs)
    numbers.push_back(entry.first);
  for (const uint32_t number : numbers)
    if (sim_if_vlan(number) != 0)
      vlan_intf_remove(number);
  routing_reset();
}

template <class... More>
void address_write(std::string& script, uint32_t number, const char* command,
                   const open_inet_pfx_t& pfx, const More&... more)
{
  sim_cli_line(script, "interface", number, command,
               sim_inet_text(pfx.family, pfx.addr.ipv4, pfx.addr.ipv6), pfx.pfxLen, more...);
}

void addresses_write(std::string& script, uint32_t number, const rtr_if_t& rtr)
{
  if (rtr.dhcp_ipv4)
    sim_cli_line(script, "interface", number, "ip dhcp");
  if (rtr.dhcp_ipv6)
    sim_cli_line(script, "interface", number, "ipv6 dhcp");
  for (const open_inet_pfx_t& pfx : rtr.ipv4)
    if (&pfx == &rtr.ipv4.front())
      address_write(script, number, "ip address", pfx);
    else
      address_write(script, number, "ip address", pfx, "secondary");
  for (const open_inet_pfx_t& pfx : rtr.ipv6)
    address_write(script, number, "ipv6 address", pfx);
}

void routing_write(std::string& script)
{
  sim_cli_line(script, "routing ip", ipv4_mode);
  sim_cli_line(script, "routing ipv6", ipv6_mode);
  for (const auto& [number, rtr] : rtr_ifs) {
    if (sim_if_vlan(number) != 0)
      sim_cli_line(script, "vlan", sim_if_vlan(number), "routing", number);
    if (rtr.routing)
      sim_cli_line(script, "interface", number, "routing enable");
    addresses_write(script, number, rtr);
  }
}

open_inet_pfx_t prefix_of(const open_inet_addr_t& address, uint32_t length)
{
  open_inet_pfx_t pfx = {};
  pfx.family = address.family;
  if (address.family == OPEN_AF_INET)
    pfx.addr.ipv4 = address.addr.ipv4;
  else
    pfx.addr.ipv6 = address.addr.ipv6;
  pfx.pfxLen = length;
  return pfx;
}

template <bool add, OPEN_AF_t family, OPEN_INTF_IP_ADDR_TYPE_t type,
          OPEN_CONTROL_t ext_arg = OPEN_DISABLE>
open_error_t cli_address(uint32_t number, const open_inet_addr_t& address, uint32_t length)
{
  return sim_routing_address_change(number,
                                    {add, family, type, prefix_of(address, length), ext_arg});
}

template <bool add, OPEN_AF_t family>
open_error_t cli_dhcp(uint32_t number)
{
  return cli_address<add, family, OPEN_IP_ADDR_TYPE_DHCP>(number, {}, 0);
}

template <OPEN_AF_t family>
open_error_t cli_mode(OPEN_CONTROL_t mode)
{
  return sim_routing_mode_set(family, mode);
}

constexpr OPEN_INTF_IP_ADDR_TYPE_t PRIMARY = OPEN_IP_ADDR_TYPE_STATIC_PRIMARY;
constexpr OPEN_INTF_IP_ADDR_TYPE_t SECONDARY = OPEN_IP_ADDR_TYPE_STATIC_SECONDARY;

constexpr auto primary_add_run = sim_cli_run<cli_address<true, OPEN_AF_INET, PRIMARY>>;
constexpr auto secondary_add_run = sim_cli_run<cli_address<true, OPEN_AF_INET, SECONDARY>>;
constexpr auto ipv6_add_run = sim_cli_run<cli_address<true, OPEN_AF_INET6, PRIMARY>>;
constexpr auto eui64_add_run = sim_cli_run<cli_address<true, OPEN_AF_INET6, PRIMARY, OPEN_ENABLE>>;
constexpr auto primary_remove_run = sim_cli_run<cli_address<false, OPEN_AF_INET, PRIMARY>>;
constexpr auto secondary_remove_run = sim_cli_run<cli_address<false, OPEN_AF_INET, SECONDARY>>;
constexpr auto ipv6_remove_run = sim_cli_run<cli_address<false, OPEN_AF_INET6, PRIMARY>>;
constexpr auto dhcp_run = sim_cli_run<cli_dhcp<true, OPEN_AF_INET>>;
constexpr auto dhcp_ipv6_run = sim_cli_run<cli_dhcp<true, OPEN_AF_INET6>>;
constexpr auto no_dhcp_run = sim_cli_run<cli_dhcp<false, OPEN_AF_INET>>;
constexpr auto no_dhcp_ipv6_run = sim_cli_run<cli_dhcp<false, OPEN_AF_INET6>>;

constexpr sim_command_t COMMANDS[] = {
    {"routing ip {disable|enable}",                   sim_cli_run<cli_mode<OPEN_AF_INET>>         },
    {"routing ipv6 {disable|enable}",                 sim_cli_run<cli_mode<OPEN_AF_INET6>>        },
    {"vlan {n} routing",                              sim_cli_run<sim_routing_vlan_intf_create>   },
    {"vlan {n} routing {n}",                          sim_cli_run<sim_routing_vlan_intf_create_as>},
    {"no vlan {n} routing",                           sim_cli_run<sim_routing_vlan_intf_delete>   },
    {"interface {n} routing {disable|enable}",        sim_cli_run<sim_routing_intf_mode_set>      },
    {"interface {n} ip dhcp",                         dhcp_run                                    },
    {"interface {n} ipv6 dhcp",                       dhcp_ipv6_run                               },
    {"interface {n} ip address {t} {n}",              primary_add_run                             },
    {"interface {n} ip address {t} {n} secondary",    secondary_add_run                           },
    {"interface {n} ipv6 address {t} {n}",            ipv6_add_run                                },
    {"interface {n} ipv6 address {t} {n} eui64",      eui64_add_run                               },
    {"no interface {n} ip dhcp",                      no_dhcp_run                                 },
    {"no interface {n} ipv6 dhcp",                    no_dhcp_ipv6_run                            },
    {"no interface {n} ip address {t} {n}",           primary_remove_run                          },
    {"no interface {n} ip address {t} {n} secondary", secondary_remove_run                        },
    {"no interface {n} ipv6 address {t} {n}",         ipv6_remove_run                             },
};
}  // namespace

const sim_area_t sim_routing_area = sim_area_with_config(sim_area(routing_reset), routing_keep,
                                                         routing_clear, routing_write, COMMANDS);

open_error_t rpcclt_openapiRtrAdminModeGet(openapiClientHandle_t* client_handle, OPEN_AF_t family,
                                           OPEN_CONTROL_t* mode)
{
  const auto work = [&] { return mode_get(family, *mode); };
  return sim_call(__func__, client_handle, work, family, sim_out(mode));
}

open_error_t rpcclt_openapiRtrAdminModeSet(openapiClientHandle_t* client_handle, OPEN_AF_t family,
                                           OPEN_CONTROL_t mode)
{
  const auto work = [&] { return sim_routing_mode_set(family, mode); };
  return sim_call(__func__, client_handle, work, family, mode);
}

open_error_t rpcclt_openapiRtrIntfRtrAdminModeSet(openapiClientHandle_t* client_handle,
                                                  uint32_t ifNum, OPEN_CONTROL_t mode)
{
  const auto work = [&] { return sim_routing_intf_mode_set(ifNum, mode); };
  return sim_call(__func__, client_handle, work, ifNum, mode);
}

open_error_t rpcclt_openapiRtrVlanIntfCreate(openapiClientHandle_t* client_handle, uint32_t vlanId)
{
  const auto work = [&] { return sim_routing_vlan_intf_create(vlanId); };
  return sim_call(__func__, client_handle, work, vlanId);
}

open_error_t rpcclt_openapiRtrVlanIntfDelete(openapiClientHandle_t* client_handle, uint32_t vlanId)
{
  const auto work = [&] { return sim_routing_vlan_intf_delete(vlanId); };
  return sim_call(__func__, client_handle, work, vlanId);
}

open_error_t rpcclt_openapiRtrVlanIntfNumGetZRT(openapiClientHandle_t* client_handle,
                                                uint32_t vlanId, uint32_t* ifNum)
{
  const auto work = [&] { return vlan_intf_number(vlanId, *ifNum); };
  return sim_call(__func__, client_handle, work, vlanId, sim_out(ifNum));
}

open_error_t rpcclt_openapiRtrIntfNextGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                          uint32_t* nextIfNum)
{
  const auto work = [&] { return intf_next(ifNum, *nextIfNum); };
  return sim_call(__func__, client_handle, work, ifNum, sim_out(nextIfNum));
}

open_error_t rpcclt_openapiRtrIntfTypeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                          OPEN_INTF_TYPE_t* type)
{
  const auto work = [&] { return intf_type(ifNum, *type); };
  return sim_call(__func__, client_handle, work, ifNum, sim_out(type));
}

open_error_t rpcclt_openapiRtrIntfVlanIdGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                            uint32_t* vlanId)
{
  const auto work = [&] { return intf_vlan(ifNum, *vlanId); };
  return sim_call(__func__, client_handle, work, ifNum, sim_out(vlanId));
}

open_error_t rpcclt_openapiRtrIntfNameGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                          open_buffdesc* name)
{
  const auto work = [&] { return intf_name(ifNum, name); };
  return sim_call(__func__, client_handle, work, ifNum, sim_out(name));
}

open_error_t rpcclt_openapiIntfNameSizeGet(openapiClientHandle_t* client_handle, uint32_t* size)
{
  const auto work = [&] { return sim_give(*size, IF_NAME_SIZE); };
  return sim_call(__func__, client_handle, work, sim_out(size));
}

open_error_t rpcclt_openapiRtrIntfIpAddrGet(openapiClientHandle_t* client_handle, OPEN_AF_t family,
                                            uint32_t ifNum, open_inet_pfx_t* address)
{
  const auto work = [&] { return address_get(family, ifNum, *address); };
  return sim_call(__func__, client_handle, work, family, ifNum, sim_out(address));
}

open_error_t rpcclt_openapiRtrIntfSecIpAddrGet(openapiClientHandle_t* client_handle,
                                               OPEN_AF_t family, uint32_t ifNum,
                                               open_inet_pfx_t* address, uint32_t* secIpIndex)
{
  const auto work = [&] { return secondary_get(family, ifNum, *address, *secIpIndex); };
  return sim_call(__func__, client_handle, work, family, ifNum, sim_out(address),
                  sim_out(secIpIndex));
}

open_error_t rpcclt_openapiRtrIntfIpAddrAdd(openapiClientHandle_t* client_handle, OPEN_AF_t family,
                                            uint32_t ifNum, OPEN_INTF_IP_ADDR_TYPE_t addrType,
                                            open_inet_pfx_t address, OPEN_CONTROL_t extArg)
{
  const sim_address_change_t change = {true, family, addrType, address, extArg};
  const auto work = [&] { return sim_routing_address_change(ifNum, change); };
  return sim_call(__func__, client_handle, work, family, ifNum, addrType, address, extArg);
}

open_error_t rpcclt_openapiRtrIntfIpAddrDel(openapiClientHandle_t* client_handle, OPEN_AF_t family,
                                            uint32_t ifNum, OPEN_INTF_IP_ADDR_TYPE_t addrType,
                                            open_inet_pfx_t address, OPEN_CONTROL_t extArg)
{
  const sim_address_change_t change = {false, family, addrType, address, extArg};
  const auto work = [&] { return sim_routing_address_change(ifNum, change); };
  return sim_call(__func__, client_handle, work, family, ifNum, addrType, address, extArg);
}
