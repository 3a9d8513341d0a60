#include "switchsim/text/sim_address.h"

#include <netinet/in.h>

#include <cstring>

static in6_addr in6_of(const open_in6_addr_t& address)
{
  in6_addr in6;
  memcpy(&in6, &address, sizeof in6);
  return in6;
}

bool sim_ipv4_is_host(uint32_t address)
{
  // everything from the first multicast address on is none of a host
  return address != INADDR_ANY && address >> IN_CLASSA_NSHIFT != IN_LOOPBACKNET &&
         address < INADDR_UNSPEC_GROUP;
}

bool sim_ipv6_is_host(const open_in6_addr_t& address)
{
  const in6_addr in6 = in6_of(address);
  return !IN6_IS_ADDR_UNSPECIFIED(&in6) && !IN6_IS_ADDR_LOOPBACK(&in6) &&
         !IN6_IS_ADDR_MULTICAST(&in6) && !IN6_IS_ADDR_V4MAPPED(&in6);
}

bool sim_ipv6_is_link_local(const open_in6_addr_t& address)
{
  const in6_addr in6 = in6_of(address);
  return IN6_IS_ADDR_LINKLOCAL(&in6);
}
