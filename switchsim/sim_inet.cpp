// Addresses from text: the C library's own reading of both families, and nothing else.
#include "switchsim/sim_inet.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstring>

#include "platform/openapi_inet.h"
#include "switchsim/sim_call.h"
#include "switchsim/sim_state.h"

static in6_addr in6_of(const open_in6_addr_t& address)
{
  in6_addr in6;
  memcpy(&in6, &address, sizeof in6);
  return in6;
}

bool sim_ipv4_is_host(uint32_t address)
{
  constexpr uint32_t LOOPBACK_NET = 127;
  constexpr uint32_t MULTICAST_FIRST = 0xe0000000;  // everything above it is none of a host, either
  return address != 0 && address >> 24 != LOOPBACK_NET && address < MULTICAST_FIRST;
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

static open_error_t inet_parse(const std::string& text, open_inet_addr_t& address)
{
  open_inet_addr_t parsed = {};
  uint32_t network = 0;
  if (inet_pton(AF_INET, text.c_str(), &network) == 1) {
    parsed.family = OPEN_AF_INET;
    parsed.addr.ipv4 = ntohl(network);
  } else if (inet_pton(AF_INET6, text.c_str(), &parsed.addr.ipv6) == 1) {
    parsed.family = OPEN_AF_INET6;
  } else {
    return OPEN_E_FAIL;
  }
  return sim_give(address, parsed);
}

open_error_t rpcclt_openapiInetAddrGet(openapiClientHandle_t* client_handle, open_buffdesc* text,
                                       open_inet_addr_t* address)
{
  const auto work = [&] { return inet_parse(sim_text(text), *address); };
  return sim_call(__func__, client_handle, work, text, sim_out(address));
}
