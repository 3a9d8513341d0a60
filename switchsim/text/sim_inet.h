// Addresses from text and to text, as all areas do it.
#pragma once

#include <string>

#include "platform/openapi_types.h"

// Dotted decimal or the colon form, and nothing else; OPEN_E_FAIL when it is neither.
open_error_t sim_inet_parse(const std::string& text, open_inet_addr_t& address);

// The text of an address; empty for one of no known family.
std::string sim_inet_text(OPEN_AF_t family, uint32_t ipv4, const open_in6_addr_t& ipv6);
std::string sim_ipv4_text(uint32_t address);

// The record of an IPv4 address.
open_inet_addr_t sim_ipv4(uint32_t address);
