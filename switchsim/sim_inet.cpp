// Addresses from text: the C library's own reading of both families, and nothing else.
#include <arpa/inet.h>

#include "platform/openapi_inet.h"
#include "switchsim/sim_call.h"
#include "switchsim/sim_state.h"

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
