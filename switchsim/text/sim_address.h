// IPv4 and IPv6 addresses: from text and to text, their bytes, and what kind of address they are.
#pragma once

#include <stddef.h>

#include <array>
#include <cstdint>
#include <string>

#include "platform/openapi_types.h"

// Dotted decimal or the colon form, and nothing else; OPEN_E_FAIL when it is neither.
open_error_t sim_inet_parse(const std::string& text, open_inet_addr_t& address);

// The text of an address; empty for one of no known family.
std::string sim_inet_text(OPEN_AF_t family, uint32_t ipv4, const open_in6_addr_t& ipv6);
std::string sim_ipv4_text(uint32_t address);

// The record of an IPv4 address.
open_inet_addr_t sim_ipv4(uint32_t address);

// Neither zero nor loopback nor multicast: an address that a host can have.
bool sim_ipv4_is_host(uint32_t address);
bool sim_ipv6_is_host(const open_in6_addr_t& address);
bool sim_ipv6_is_link_local(const open_in6_addr_t& address);

// In network order; an IPv4 address is the first four, and the others are zero.
using sim_address_bytes_t = std::array<uint8_t, 16>;

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

// In the trace: family and address, that of no known family left out, and the prefix length.
void sim_put(std::string& line, const open_inet_addr_t& address);
void sim_put(std::string& line, const open_inet_pfx_t& address);
