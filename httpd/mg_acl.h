// The access control list of the listeners.
#pragma once

#include <stdint.h>

// Looks an IPv4 address (host byte order) up in a comma-separated list of "+" or "-" and a network,
// "+10.0.0.0/8,-10.1.2.3". The last matching entry decides, an address without one is denied; a
// null list allows everybody. Returns 1 when allowed, 0 when denied, -1 when the list is malformed.
int check_acl(const char* acl, uint32_t remote_ip_host_order);
