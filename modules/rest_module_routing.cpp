#include "modules/rest_module_routing.h"

#include <stddef.h>
#include <string.h>

#include <iterator>

#include "engine/rest_address.h"
#include "engine/rest_common.h"
#include "engine/rest_operation.h"
#include "engine/rest_path.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "platform/openapi_if.h"
#include "platform/openapi_routing.h"

// Where VLAN routing interfaces begin when the switch does not say.
static constexpr uint32_t VLAN_INTERFACE_FIRST = 226;

static constexpr char INTERFACE_ADMIN_MODE_PATH[] = "/routing/if/{n}/adminMode";

// Address paths match loosely: scripts are served that leave out "/ip". The admin mode of an
// interface judges its path itself, so that a wrong ending is a failure of the operation.
// clang-format off
static constexpr rest_route_t routing_routes[] = {
    {REQUEST_METHOD_POST,   "/routing/vlanRtrIf",        api_routing_create_vlan_interface_specified_id, REST_MATCH_EXACT},
    {REQUEST_METHOD_POST,   "/routing/if/{n}/ip",        api_routing_create_interface_ip_address,        REST_MATCH_LOOSE},
    {REQUEST_METHOD_POST,   "/routing/vlanRtrIf/{n}/ip", api_routing_create_vlan_interface_ip_address,   REST_MATCH_LOOSE},
    {REQUEST_METHOD_GET,    "/routing",                  api_routing_get_info,                           REST_MATCH_EXACT},
    {REQUEST_METHOD_GET,    "/routing/vlanRtrIf/{n}",    api_routing_get_vlan_interface_specified_id,    REST_MATCH_EXACT},
    {REQUEST_METHOD_GET,    "/routing/vlanRtrIf",        api_routing_get_vlan_interface_list,            REST_MATCH_EXACT},
    {REQUEST_METHOD_GET,    "/routing/if",               api_routing_get_interface_list,                 REST_MATCH_EXACT},
    {REQUEST_METHOD_PUT,    "/routing/ipv4/adminMode",   api_routing_update_ipv4_admin_mode,             REST_MATCH_EXACT},
    {REQUEST_METHOD_PUT,    "/routing/ipv6/adminMode",   api_routing_update_ipv6_admin_mode,             REST_MATCH_EXACT},
    {REQUEST_METHOD_PUT,    INTERFACE_ADMIN_MODE_PATH,   api_routing_update_interface_admin_mode,        REST_MATCH_OPEN },
    {REQUEST_METHOD_DELETE, "/routing/vlanRtrIf",        api_routing_delete_vlan_interface_specified_id, REST_MATCH_EXACT},
    {REQUEST_METHOD_DELETE, "/routing/if/{n}/ip",        api_routing_delete_interface_ip_address,        REST_MATCH_LOOSE},
    {REQUEST_METHOD_DELETE, "/routing/vlanRtrIf/{n}/ip", api_routing_delete_vlan_interface_ip_address,   REST_MATCH_LOOSE},
};
// clang-format on

int routing_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, routing_routes);
}

// ---- interface numbers ----

static uint32_t first_vlan_interface(openapiClientHandle_t* client_handle)
{
  uint32_t first = 0;
  if (openapiIfFirstGet(client_handle, OPEN_INTF_TYPE_VLAN, &first) != OPEN_E_NONE)
    first = VLAN_INTERFACE_FIRST;
  return first;
}

// The position of an interface counted from 1. Numbers from outside may be anything: they wrap.
static int logical_id(uint32_t if_num, uint32_t first)
{
  return static_cast<int>(if_num - first + 1);
}

int get_logical_id_by_vlan_routing_interface_num(openapiClientHandle_t* client_handle,
                                                 uint32_t rtrIfNum)
{
  OPEN_INTF_TYPE_t type = OPEN_INTF_TYPE_ANY;
  if (rpcclt_openapiRtrIntfTypeGet(client_handle, rtrIfNum, &type) != OPEN_E_NONE)
    return -1;
  if (type != OPEN_INTF_TYPE_VLAN)
    return -2;
  return logical_id(rtrIfNum, first_vlan_interface(client_handle));
}

int get_vlan_routing_interface_num_by_logical_id(openapiClientHandle_t* client_handle,
                                                 int logicalIntfId)
{
  uint32_t first = first_vlan_interface(client_handle);
  return static_cast<int>(first + static_cast<uint32_t>(logicalIntfId) - 1);
}

// ---- modes ----

int api_routing_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  static constexpr struct {
    OPEN_AF_t family;
    const char* name;
  } modes[] = {
      {OPEN_AF_INET,  "ipv4_admin_mode"},
      {OPEN_AF_INET6, "ipv6_admin_mode"},
  };
  tree_ptr tree(new_tree());
  node_t* info = append_tree_group(tree.get(), "infomation");
  for (const auto& row : modes) {
    OPEN_CONTROL_t mode = OPEN_DISABLE;
    char text[256] = "";
    OPEN_OR_ANSWER(conn, rpcclt_openapiRtrAdminModeGet(client_handle, row.family, &mode));
    get_control_string_by_eum(mode, text);
    append_tree_field(info, row.name, text);
  }
  return answer_data(conn, std::move(tree));
}

static int update_admin_mode(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                             OPEN_AF_t family, const char* family_name)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_CONTROL_t mode = static_cast<OPEN_CONTROL_t>(value);
  OPEN_OR_ANSWER(conn, rpcclt_openapiRtrAdminModeSet(client_handle, family, mode));
  return answer_success(conn, "Update routing admin mode for %s successfully.", family_name);
}

int api_routing_update_ipv4_admin_mode(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn)
{
  return update_admin_mode(client_handle, conn, OPEN_AF_INET, "IPv4");
}

int api_routing_update_ipv6_admin_mode(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn)
{
  return update_admin_mode(client_handle, conn, OPEN_AF_INET6, "IPv6");
}

int api_routing_update_interface_admin_mode(openapiClientHandle_t* client_handle,
                                            struct mg_connection* conn)
{
  if (!rest_route_matches(INTERFACE_ADMIN_MODE_PATH, conn->uri, REST_MATCH_EXACT))
    return answer_open_error(conn, OPEN_E_PARAM);
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value))
    return answer_open_error(conn, OPEN_E_PARAM);
  uint32_t if_num = static_cast<uint32_t>(rest_path_number(conn->uri, 2));
  OPEN_CONTROL_t mode = static_cast<OPEN_CONTROL_t>(value);
  OPEN_OR_ANSWER(conn, rpcclt_openapiRtrIntfRtrAdminModeSet(client_handle, if_num, mode));
  return answer_success(conn, "Update routing admin mode for this interface successfully.");
}

// ---- VLAN routing interfaces ----

int api_routing_create_vlan_interface_specified_id(openapiClientHandle_t* client_handle,
                                                   struct mg_connection* conn)
{
  int32_t vlan = 0;
  if (!rest_get_number(conn, "vlanId", vlan))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, rpcclt_openapiRtrVlanIntfCreate(client_handle, static_cast<uint32_t>(vlan)));
  return answer_success(conn, "Create Vlan Routing Interface with VLAN %d successfully.", vlan);
}

int api_routing_delete_vlan_interface_specified_id(openapiClientHandle_t* client_handle,
                                                   struct mg_connection* conn)
{
  int32_t vlan = 0;
  if (!rest_get_number(conn, "vlanId", vlan))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, rpcclt_openapiRtrVlanIntfDelete(client_handle, static_cast<uint32_t>(vlan)));
  return answer_success(conn, "Delete Vlan Routing Interface with VLAN %d successfully.", vlan);
}

// What both lists show of an interface's addresses.
static void append_addresses(openapiClientHandle_t* client_handle, node_t* list, uint32_t if_num)
{
  open_inet_pfx_t prefix;
  if (rest_primary_ipv4(client_handle, if_num, prefix)) {
    char text[REST_ADDRESS_TEXT_SIZE];
    rest_prefix_address_text(client_handle, prefix, text);
    append_tree_field(list, "ipv4_address", text);
    rest_mask_text(prefix.pfxLen, text);
    append_tree_field(list, "subnet_mask", text);
  }
  append_tree_ipv6(client_handle, list, if_num);
}

// Steps to the next routing interface; false at the end of those of this type, which the switch
// lists one behind the other. Numbers ascend: a step that does not is an end, too.
static bool next_interface(openapiClientHandle_t* client_handle, OPEN_INTF_TYPE_t type,
                           uint32_t& if_num)
{
  uint32_t next = 0;
  OPEN_INTF_TYPE_t next_type = OPEN_INTF_TYPE_ANY;
  if (rpcclt_openapiRtrIntfNextGet(client_handle, if_num, &next) != OPEN_E_NONE || next <= if_num)
    return false;
  if_num = next;
  return rpcclt_openapiRtrIntfTypeGet(client_handle, next, &next_type) == OPEN_E_NONE &&
         next_type == type;
}

// A list without entries is a failure of its own that still shows the empty list.
static int answer_list(struct mg_connection* conn, tree_ptr tree, uint32_t count,
                       const char* empty_message)
{
  if (count > 0)
    return answer_data(conn, std::move(tree));
  send_response(conn, 1, empty_message, tree.release());
  return 1;
}

int api_routing_get_vlan_interface_list(openapiClientHandle_t* client_handle,
                                        struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* interfaces = append_tree_group(tree.get(), "vlan_routing_interfaces");
  uint32_t count = 0;
  uint32_t first = 0;
  bool more = openapiIfFirstGet(client_handle, OPEN_INTF_TYPE_VLAN, &first) == OPEN_E_NONE;
  uint32_t if_num = first;
  for (uint32_t step = 0; more && step < REST_WALK_MAX; step++) {
    uint32_t vlan = 0;
    if (rpcclt_openapiRtrIntfVlanIdGet(client_handle, if_num, &vlan) == OPEN_E_NONE) {
      node_t* entry = append_tree_entry(interfaces, ++count, "vlan_routing_interface");
      append_tree_field(entry, "logical_interface_id", logical_id(if_num, first));
      append_tree_field(entry, "vlan_routing_interface_num", static_cast<int>(if_num));
      append_addresses(client_handle, entry, if_num);
    }
    more = next_interface(client_handle, OPEN_INTF_TYPE_VLAN, if_num);
  }
  return answer_list(conn, std::move(tree), count, "VLAN Routing interface doesn't exist.");
}

int api_routing_get_interface_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* interfaces = append_tree_group(tree.get(), "interfaces");
  uint32_t count = 0;
  uint32_t if_num = 0;
  OPEN_INTF_TYPE_t type = OPEN_INTF_TYPE_ANY;
  OPEN_OR_ANSWER(conn, rpcclt_openapiRtrIntfNextGet(client_handle, 0, &if_num));
  bool more = rpcclt_openapiRtrIntfTypeGet(client_handle, if_num, &type) == OPEN_E_NONE &&
              type == OPEN_INTF_TYPE_PHY;
  while (more && count < REST_WALK_MAX) {
    node_t* entry = append_tree_entry(interfaces, ++count, "interface");
    append_tree_field(entry, "ifNum", static_cast<int>(if_num));
    append_addresses(client_handle, entry, if_num);
    more = next_interface(client_handle, OPEN_INTF_TYPE_PHY, if_num);
  }
  return answer_list(conn, std::move(tree), count, "Physical routing interface doesn't exist.");
}

int api_routing_get_vlan_interface_specified_id(openapiClientHandle_t* client_handle,
                                                struct mg_connection* conn)
{
  int logical = rest_path_number(conn->uri, 2);
  int if_num = get_vlan_routing_interface_num_by_logical_id(client_handle, logical);
  uint32_t rtr_if = static_cast<uint32_t>(if_num);
  uint32_t name_size = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiIntfNameSizeGet(client_handle, &name_size));
  switch_text name = switch_text_new(name_size);
  if (!name.text)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  OPEN_OR_ANSWER(conn, rpcclt_openapiRtrIntfNameGet(client_handle, rtr_if, &name.desc));

  tree_ptr tree(new_tree());
  node_t* entry = append_tree_group(tree.get(), "vlan_routing_interface");
  append_tree_field(entry, "logical_interface_id",
                    get_logical_id_by_vlan_routing_interface_num(client_handle, rtr_if));
  append_tree_field(entry, "vlan_routing_interface_num", if_num);
  append_tree_field(entry, "vlan_routing_interface_name", name.text.get());
  uint32_t vlan = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiRtrIntfVlanIdGet(client_handle, rtr_if, &vlan));
  append_tree_field(entry, "vlan_id", static_cast<int>(vlan));
  open_inet_pfx_t primary;
  if (rest_primary_ipv4(client_handle, rtr_if, primary)) {
    append_tree_ipv4(client_handle, entry, "primary_ipv4_address", "primary_ipv4_address", primary);
    append_tree_secondary_ipv4(client_handle, entry, rtr_if, "secondary_ipv4_addresses");
  }
  append_tree_ipv6(client_handle, entry, rtr_if);
  return answer_data(conn, std::move(tree));
}

// ---- adding and removing addresses ----

// What an "addrType" of 0, 1, ... stands for.
static constexpr struct {
  OPEN_INTF_IP_ADDR_TYPE_t type;
  OPEN_AF_t family;
} address_types[] = {
    {OPEN_IP_ADDR_TYPE_STATIC_PRIMARY,   OPEN_AF_INET },
    {OPEN_IP_ADDR_TYPE_STATIC_SECONDARY, OPEN_AF_INET },
    {OPEN_IP_ADDR_TYPE_DHCP,             OPEN_AF_INET },
    {OPEN_IP_ADDR_TYPE_STATIC_PRIMARY,   OPEN_AF_INET6},
    {OPEN_IP_ADDR_TYPE_DHCP,             OPEN_AF_INET6},
};

// How the four address operations differ.
struct address_operation_t {
  bool vlan;        // the path holds a logical id, not an interface number
  bool needs_type;  // an empty addrType is missing instead of reading as 0
  decltype(&rpcclt_openapiRtrIntfIpAddrAdd) change;
  const char* verb;     // of the answer
  const char* subject;  // of the answer
};

struct address_request_t {
  OPEN_INTF_IP_ADDR_TYPE_t type;
  OPEN_AF_t family;
  char address_text[256];
  open_inet_pfx_t prefix;
  OPEN_CONTROL_t ext_arg;
};

static open_error_t read_address_type(struct mg_connection* conn, const address_operation_t& op,
                                      address_request_t& request)
{
  char text[256];
  int length = rest_get_var(conn, "addrType", text);
  if (length < 0 || (length == 0 && op.needs_type))
    return OPEN_E_NOT_FOUND;
  int32_t value = rest_atoi(text);
  if (value < 0 || static_cast<size_t>(value) >= std::size(address_types))
    return OPEN_E_PARAM;
  request.type = address_types[value].type;
  request.family = address_types[value].family;
  return OPEN_E_NONE;
}

// DHCP needs no address, but one that is given must be an address.
static open_error_t read_address(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                                 address_request_t& request)
{
  bool dhcp = request.type == OPEN_IP_ADDR_TYPE_DHCP;
  if (rest_get_var(conn, "addr", request.address_text) <= 0)
    return dhcp ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
  open_inet_addr_t address = {};
  if (convert_ip_string_to_inet_addr(client_handle, request.address_text, &address) != RC_TRUE)
    return OPEN_E_FAIL;
  if (address.family != request.family && !dhcp)
    return OPEN_E_PARAM;
  request.prefix.family = address.family;
  memcpy(&request.prefix.addr, &address.addr, sizeof request.prefix.addr);
  return OPEN_E_NONE;
}

static open_error_t read_prefix_length(struct mg_connection* conn, address_request_t& request)
{
  bool dhcp = request.type == OPEN_IP_ADDR_TYPE_DHCP;
  int32_t value = 0;
  if (!rest_get_number(conn, "pfxLen", value))
    return dhcp ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
  uint32_t length = static_cast<uint32_t>(value);  // a negative number is too large
  if (length > (request.family == OPEN_AF_INET ? 32 : 128) || (length == 0 && !dhcp))
    return OPEN_E_PARAM;
  request.prefix.pfxLen = length;
  return OPEN_E_NONE;
}

static open_error_t read_ext_arg(struct mg_connection* conn, address_request_t& request)
{
  char text[256];
  if (rest_get_var(conn, "extArg", text) < 0)
    return OPEN_E_NOT_FOUND;
  request.ext_arg = static_cast<OPEN_CONTROL_t>(rest_atoi(text));
  return request.ext_arg == OPEN_DISABLE || request.ext_arg == OPEN_ENABLE ? OPEN_E_NONE
                                                                           : OPEN_E_PARAM;
}

static int change_address(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                          const address_operation_t& op)
{
  int number = rest_path_number(conn->uri, 2);
  if (op.vlan)
    number = get_vlan_routing_interface_num_by_logical_id(client_handle, number);
  address_request_t request = {};
  OPEN_OR_ANSWER(conn, read_address_type(conn, op, request));
  OPEN_OR_ANSWER(conn, read_address(client_handle, conn, request));
  OPEN_OR_ANSWER(conn, read_prefix_length(conn, request));
  OPEN_OR_ANSWER(conn, read_ext_arg(conn, request));
  OPEN_OR_ANSWER(conn, op.change(client_handle, request.family, static_cast<uint32_t>(number),
                                 request.type, request.prefix, request.ext_arg));
  return answer_success(
      conn, "%s Routing %s IP address (address: %s, prefix length: %d) successfully.", op.verb,
      op.subject, request.address_text, static_cast<int>(request.prefix.pfxLen));
}

int api_routing_create_interface_ip_address(openapiClientHandle_t* client_handle,
                                            struct mg_connection* conn)
{
  return change_address(client_handle, conn,
                        {false, true, rpcclt_openapiRtrIntfIpAddrAdd, "Create", "Interface"});
}

int api_routing_delete_interface_ip_address(openapiClientHandle_t* client_handle,
                                            struct mg_connection* conn)
{
  return change_address(client_handle, conn,
                        {false, false, rpcclt_openapiRtrIntfIpAddrDel, "Delete", "Interface"});
}

int api_routing_create_vlan_interface_ip_address(openapiClientHandle_t* client_handle,
                                                 struct mg_connection* conn)
{
  return change_address(client_handle, conn,
                        {true, false, rpcclt_openapiRtrIntfIpAddrAdd, "Create", "Vlan Interface"});
}

int api_routing_delete_vlan_interface_ip_address(openapiClientHandle_t* client_handle,
                                                 struct mg_connection* conn)
{
  return change_address(client_handle, conn,
                        {true, false, rpcclt_openapiRtrIntfIpAddrDel, "Delete", "Vlan Interface"});
}
