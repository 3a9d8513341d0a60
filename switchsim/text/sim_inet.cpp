#include "switchsim/text/sim_inet.h"

#include <arpa/inet.h>

#include "platform/openapi_inet.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_state.h"

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

open_error_t rpcclt_openapiInetAddrGet(openapiClientHandle_t* client_handle, open_buffdesc* text,
                                       open_inet_addr_t* address)
{
  const auto work = [&] { return sim_inet_parse(sim_text(text), *address); };
  return sim_call(__func__, client_handle, work, text, sim_out(address));
}
