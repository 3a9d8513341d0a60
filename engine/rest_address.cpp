#include "engine/rest_address.h"

#include <stdio.h>
#include <string.h>

#include "engine/rest_operation.h"
#include "platform/openapi_routing.h"

// More than any interface has: a walk that the switch never ended would never end here either.
static constexpr uint32_t ADDRESSES_MAX = 4096;

void rest_prefix_address_text(openapiClientHandle_t* client_handle, const open_inet_pfx_t& prefix,
                              char (&text)[REST_ADDRESS_TEXT_SIZE])
{
  open_inet_addr_t address = {};
  address.family = prefix.family;
  static_assert(sizeof address.addr == sizeof prefix.addr, "the same views of the same 16 bytes");
  memcpy(&address.addr, &prefix.addr, sizeof address.addr);
  if (convert_inet_addr_to_ip_string(client_handle, &address, text) != RC_TRUE)
    text[0] = '\0';
}

void rest_mask_text(uint32_t prefix_length, char (&text)[REST_ADDRESS_TEXT_SIZE])
{
  convert_ipv4_with_uint32_to_ip_string(rest_ipv4_mask(prefix_length), text);
}

bool rest_primary_ipv4(openapiClientHandle_t* client_handle, uint32_t if_num,
                       open_inet_pfx_t& prefix)
{
  prefix = {};
  return rpcclt_openapiRtrIntfIpAddrGet(client_handle, OPEN_AF_INET, if_num, &prefix) ==
         OPEN_E_NONE;
}

// Whether the list has this text already: a switch that names an address twice would never come to
// an end.
static bool address_is_listed(node_t* list, const char* text)
{
  for (node_t* node = get_next_node(list); node; node = get_next_node(node))
    if (strcmp(node->val_data.val_s, text) == 0)
      return true;
  return false;
}

static void ipv4_text(openapiClientHandle_t* client_handle, const open_inet_pfx_t& prefix,
                      char (&text)[2 * REST_ADDRESS_TEXT_SIZE])
{
  char address[REST_ADDRESS_TEXT_SIZE];
  char mask[REST_ADDRESS_TEXT_SIZE];
  rest_prefix_address_text(client_handle, prefix, address);
  rest_mask_text(prefix.pfxLen, mask);
  snprintf(text, sizeof text, "%s/%s", address, mask);
}

void append_tree_ipv4(openapiClientHandle_t* client_handle, node_t* list, const char* key,
                      const char* tagname, const open_inet_pfx_t& prefix)
{
  char text[2 * REST_ADDRESS_TEXT_SIZE];
  ipv4_text(client_handle, prefix, text);
  append_tree_string(list, key, tagname, text);
}

void append_tree_secondary_ipv4(openapiClientHandle_t* client_handle, node_t* list, uint32_t if_num,
                                const char* group)
{
  node_t* addresses = nullptr;
  open_inet_pfx_t prefix = {};
  uint32_t index = 0;
  for (uint32_t count = 0; count < ADDRESSES_MAX; count++) {
    if (rpcclt_openapiRtrIntfSecIpAddrGet(client_handle, OPEN_AF_INET, if_num, &prefix, &index) !=
        OPEN_E_NONE)
      return;
    if (!addresses)
      addresses = append_tree_group(list, group);
    char key[sizeof "4294967295"];
    char text[2 * REST_ADDRESS_TEXT_SIZE];
    snprintf(key, sizeof key, "%u", index);
    ipv4_text(client_handle, prefix, text);
    if (address_is_listed(addresses, text))
      return;
    append_tree_string(addresses, key, "secondary_ipv4_address", text);
  }
}

void append_tree_ipv6(openapiClientHandle_t* client_handle, node_t* list, uint32_t if_num)
{
  node_t* addresses = nullptr;
  open_inet_pfx_t prefix = {};
  for (uint32_t count = 1; count <= ADDRESSES_MAX; count++) {
    if (rpcclt_openapiRtrIntfIpAddrGet(client_handle, OPEN_AF_INET6, if_num, &prefix) !=
        OPEN_E_NONE)
      return;
    if (!addresses)
      addresses = append_tree_group(list, "ipv6_addresses");
    char key[sizeof "4294967295"];
    char address[REST_ADDRESS_TEXT_SIZE];
    char text[sizeof address + sizeof "/-2147483648"];
    snprintf(key, sizeof key, "%u", count);
    rest_prefix_address_text(client_handle, prefix, address);
    snprintf(text, sizeof text, "%s/%d", address, static_cast<int>(prefix.pfxLen));
    if (address_is_listed(addresses, text))
      return;
    append_tree_string(addresses, key, "prefix/prefix_length", text);
  }
}
