#include "switchsim/text/sim_address.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <cstring>

#include "platform/openapi_inet.h"
#include "switchsim/call/sim_call.h"

open_error_t sim_inet_parse(const std::string& text, open_inet_addr_t& address)
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

std::string sim_inet_text(OPEN_AF_t family, uint32_t ipv4, const open_in6_addr_t& ipv6)
{
  char text[INET6_ADDRSTRLEN] = "";
  if (family == OPEN_AF_INET) {
    const uint32_t network = htonl(ipv4);
    inet_ntop(AF_INET, &network, text, sizeof text);
  } else if (family == OPEN_AF_INET6) {
    inet_ntop(AF_INET6, &ipv6, text, sizeof text);
  }
  return text;
}

std::string sim_ipv4_text(uint32_t address)
{
  return sim_inet_text(OPEN_AF_INET, address, {});
}

open_inet_addr_t sim_ipv4(uint32_t address)
{
  open_inet_addr_t record = {};
  record.family = OPEN_AF_INET;
  record.addr.ipv4 = address;
  return record;
}

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

// Family and address as text; the address of no known family is left out.
static std::string inet_text(OPEN_AF_t family, uint32_t ipv4, const open_in6_addr_t& ipv6)
{
  return std::to_string(family) + ",\"" + sim_inet_text(family, ipv4, ipv6) + "\"";
}

void sim_put(std::string& line, const open_inet_addr_t& address)
{
  line += "{" + inet_text(address.family, address.addr.ipv4, address.addr.ipv6) + "}";
}

void sim_put(std::string& line, const open_inet_pfx_t& address)
{
  line += "{" + inet_text(address.family, address.addr.ipv4, address.addr.ipv6) + "," +
          std::to_string(address.pfxLen) + "}";
}

open_error_t rpcclt_openapiInetAddrGet(openapiClientHandle_t* client_handle, open_buffdesc* text,
                                       open_inet_addr_t* address)
{
  const auto work = [&] { return sim_inet_parse(sim_text(text), *address); };
  return sim_call(__func__, client_handle, work, text, sim_out(address));
}
