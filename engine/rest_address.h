// The addresses of a routing interface in a result tree, as the routing and interface modules show
// them. A read that fails ends a walk and is no error: the interface has no (more) addresses.
#pragma once

#include <stdint.h>

#include "engine/rest_tree_obj.h"
#include "engine/rest_util.h"
#include "platform/openapi_types.h"

// "10.1.2.3" of an address with prefix; empty for an unknown family.
void rest_prefix_address_text(openapiClientHandle_t* client_handle, const open_inet_pfx_t& prefix,
                              char (&text)[REST_ADDRESS_TEXT_SIZE]);

// "255.255.0.0" of a prefix length.
void rest_mask_text(uint32_t prefix_length, char (&text)[REST_ADDRESS_TEXT_SIZE]);

// Reads the primary IPv4 address; false when the interface has none.
bool rest_primary_ipv4(openapiClientHandle_t* client_handle, uint32_t if_num,
                       open_inet_pfx_t& prefix);

// Appends an IPv4 address as "address/mask".
void append_tree_ipv4(openapiClientHandle_t* client_handle, node_t* list, const char* key,
                      const char* tagname, const open_inet_pfx_t& prefix);

// Appends a group with the secondary IPv4 addresses, keyed by the switch's own index; nothing when
// there are none.
void append_tree_secondary_ipv4(openapiClientHandle_t* client_handle, node_t* list, uint32_t if_num,
                                const char* group);

// Appends a group "ipv6_addresses" with the IPv6 addresses, keyed from 1 on; nothing when there are
// none.
void append_tree_ipv6(openapiClientHandle_t* client_handle, node_t* list, uint32_t if_num);
