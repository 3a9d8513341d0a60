// What kind of address an IPv4 or IPv6 address is, and its bytes.
#pragma once

#include <stddef.h>

#include <array>
#include <cstdint>

#include "platform/openapi_types.h"

// Neither zero nor loopback nor multicast: an address that a host can have.
bool sim_ipv4_is_host(uint32_t address);
bool sim_ipv6_is_host(const open_in6_addr_t& address);
bool sim_ipv6_is_link_local(const open_in6_addr_t& address);

// In network order; an IPv4 address is the first four, and the others are zero.
typedef std::array<uint8_t, 16> sim_address_bytes_t;

// Of an open_inet_addr_t or open_inet_pfx_t.
template <class Record>
sim_address_bytes_t sim_address_bytes(const Record& record)
{
  sim_address_bytes_t bytes = {};
  for (size_t i = 0; i < (record.family == OPEN_AF_INET ? 4 : bytes.size()); i++) {
    bytes[i] = record.family == OPEN_AF_INET
                   ? static_cast<uint8_t>(record.addr.ipv4 >> (24 - 8 * i))
                   : record.addr.ipv6.u.addr8[i];
  }
  return bytes;
}
