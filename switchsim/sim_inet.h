// Which IPv4 and IPv6 addresses can be those of a host: neither zero nor loopback nor multicast.
#pragma once

#include <cstdint>

#include "platform/openapi_types.h"

bool sim_ipv4_is_host(uint32_t address);
bool sim_ipv6_is_host(const open_in6_addr_t& address);
bool sim_ipv6_is_link_local(const open_in6_addr_t& address);
