#include "modules/rest_module_bgp.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <iterator>

#include "engine/rest_common.h"
#include "engine/rest_operation.h"
#include "engine/rest_path.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "platform/openapi_bgp.h"
#include "platform/openapi_if.h"
#include "platform/openapi_routing.h"

// clang-format off
static constexpr rest_route_t bgp_routes[] = {
    {REQUEST_METHOD_POST,   "/bgp/originatedNetwork",                           api_bgp_create_originated_network              },
    {REQUEST_METHOD_POST,   "/bgp/ipv4/neighbor/{s}",                           api_bgp_create_ipv4_neighbor                   },
    {REQUEST_METHOD_POST,   "/bgp/ipv4/redistribution/{s}",                     api_bgp_create_ipv4_redistribution             },
    {REQUEST_METHOD_POST,   "/bgp/ipv6/neighbor/{s}/scope/{n}",                 api_bgp_create_ipv6_neighbor                   },
    {REQUEST_METHOD_POST,   "/bgp/ipv6/redistribution/{s}",                     api_bgp_create_ipv6_redistribution             },
    {REQUEST_METHOD_GET,    "/bgp",                                             api_bgp_get_info                               },
    {REQUEST_METHOD_GET,    "/bgp/ipv4/neighbor/{s}",                           api_bgp_get_ipv4_neighbor_info                 },
    {REQUEST_METHOD_GET,    "/bgp/ipv6/neighbor/{s}/scope/{n}",                 api_bgp_get_ipv6_neighbor_info                 },
    {REQUEST_METHOD_PUT,    "/bgp/holdTime",                                    api_bgp_update_hold_time                       },
    {REQUEST_METHOD_PUT,    "/bgp/keepAliveTime",                               api_bgp_update_keep_alive_time                 },
    {REQUEST_METHOD_PUT,    "/bgp/localAS",                                     api_bgp_update_local_AS                        },
    {REQUEST_METHOD_PUT,    "/bgp/routerId",                                    api_bgp_update_router_id                       },
    {REQUEST_METHOD_PUT,    "/bgp/localPref",                                   api_bgp_update_local_pref                      },
    {REQUEST_METHOD_PUT,    "/bgp/logNeighborChanges",                          api_bgp_update_log_neighbor_changes            },
    {REQUEST_METHOD_PUT,    "/bgp/ipv4/neighbor/{s}/activate",                  api_bgp_update_ipv4_neighbor_activate          },
    {REQUEST_METHOD_PUT,    "/bgp/ipv4/neighbor/{s}/nextHopSelfMode",           api_bgp_update_ipv4_neighbor_next_hop_self_mode},
    {REQUEST_METHOD_PUT,    "/bgp/ipv4/neighbor/{s}/updateSource",              api_bgp_update_ipv4_neighbor_update_source     },
    {REQUEST_METHOD_PUT,    "/bgp/ipv6/neighbor/{s}/scope/{n}/activate",        api_bgp_update_ipv6_neighbor_activate          },
    {REQUEST_METHOD_PUT,    "/bgp/ipv6/neighbor/{s}/scope/{n}/nextHopSelfMode", api_bgp_update_ipv6_neighbor_next_hop_self_mode},
    {REQUEST_METHOD_PUT,    "/bgp/ipv6/neighbor/{s}/scope/{n}/updateSource",    api_bgp_update_ipv6_neighbor_update_source     },
    {REQUEST_METHOD_DELETE, "/bgp/originatedNetwork",                           api_bgp_delete_originated_network              },
    {REQUEST_METHOD_DELETE, "/bgp/ipv4/redistribution/{s}",                     api_bgp_delete_ipv4_redistribution             },
    {REQUEST_METHOD_DELETE, "/bgp/ipv6/redistribution/{s}",                     api_bgp_delete_ipv6_redistribution             },
};
// clang-format on

int bgp_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, bgp_routes);
}

// How the operations of the two address families differ: in paths by the segment behind "bgp".
struct bgp_family_t {
  OPEN_AF_t family;
  const char* name;
  bool scoped;  // the path of a neighbour goes on with "/scope/{n}"
};
static constexpr bgp_family_t BGP_IPV4 = {OPEN_AF_INET, "IPv4", false};
static constexpr bgp_family_t BGP_IPV6 = {OPEN_AF_INET6, "IPv6", true};

// ---- the switch as a speaker ----

int api_bgp_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  uint32_t hold_time = 0;
  uint32_t keep_alive = 0;
  uint32_t local_as = 0;
  uint32_t router_id = 0;
  uint32_t local_pref = 0;
  bool is_allow_log = false;
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpGlobalHoldTimeConfiguredGet(client_handle, &hold_time));
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpGlobalKeepAliveConfiguredGet(client_handle, &keep_alive));
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpLocalASGet(client_handle, &local_as));
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpLocalIdGet(client_handle, &router_id));
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpLocalPrefGet(client_handle, &local_pref));
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpLogNeighborChangesGet(client_handle, &is_allow_log));

  char router_id_text[REST_ADDRESS_TEXT_SIZE] = "";
  convert_ipv4_with_uint32_to_ip_string(router_id, router_id_text);
  tree_ptr tree(new_tree());
  node_t* info = append_tree_group(tree.get(), "infomation");
  append_tree_field(info, "hold_time", static_cast<int>(hold_time));
  append_tree_field(info, "keep_alive_time", static_cast<int>(keep_alive));
  append_tree_field(info, "local_AS_number", static_cast<int>(local_as));
  append_tree_field(info, "local_router_id", router_id_text);
  append_tree_field(info, "local_preference", static_cast<int>(local_pref));
  append_tree_field(info, "log_neighbor_changes", is_allow_log ? "Enable" : "Disable");
  return answer_data(conn, std::move(tree));
}

static int update_number(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                         open_error_t (*set)(openapiClientHandle_t*, uint32_t), const char* what)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, set(client_handle, static_cast<uint32_t>(value)));
  return answer_success(conn, "Update %s successfully.", what);
}

int api_bgp_update_hold_time(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return update_number(client_handle, conn, rpcclt_openapiBgpGlobalHoldTimeConfiguredSet,
                       "hold time for all peers");
}

int api_bgp_update_keep_alive_time(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return update_number(client_handle, conn, rpcclt_openapiBgpGlobalKeepAliveConfiguredSet,
                       "keep alive time for all peers");
}

int api_bgp_update_local_AS(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return update_number(client_handle, conn, rpcclt_openapiBgpLocalASSet,
                       "local Autonomous System (AS) number");
}

int api_bgp_update_router_id(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  char value[256];
  open_inet_addr_t address = {};
  if (rest_get_var(conn, "value", value) <= 0 ||
      convert_ip_string_to_inet_addr(client_handle, value, &address) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpLocalIdSet(client_handle, rest_ipv4_member(address)));
  return answer_success(conn, "Update BGP router ID successfully.");
}

int api_bgp_update_local_pref(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  char value[256];
  uint32_t local_pref = 0;
  if (rest_get_var(conn, "value", value) <= 0 ||
      convert_to_32bit_uint(value, &local_pref) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpLocalPrefSet(client_handle, local_pref));
  return answer_success(conn, "Update the value of local preference attribute successfully.");
}

int api_bgp_update_log_neighbor_changes(openapiClientHandle_t* client_handle,
                                        struct mg_connection* conn)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpLogNeighborChangesSet(client_handle, value != 0));
  return answer_success(conn, "Update the log neighbor changes parameter successfully.");
}

// ---- originated networks ----

static int change_originated_network(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn, bool create)
{
  char address_text[256];
  int32_t prefix_length = 0;
  char route_map[32] = "";  // the longest name a route map has; a longer one is refused
  open_inet_addr_t address = {};
  if (rest_get_var(conn, "addr", address_text) <= 0 ||
      !rest_get_number(conn, "pfxLen", prefix_length) ||
      (create && rest_get_var(conn, "routeMap", route_map) <= 0) ||
      convert_ip_string_to_inet_addr(client_handle, address_text, &address) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_PARAM);

  open_buffdesc route_map_name = rest_text_desc(route_map);
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpNetworkAddDelete(client_handle, create, create, address,
                                                         static_cast<uint32_t>(prefix_length),
                                                         &route_map_name));
  return answer_success(
      conn, "%s BGP originated network (ip address: %s, prefix length: %d) successfully.",
      create ? "Set" : "Delete", address_text, prefix_length);
}

int api_bgp_create_originated_network(openapiClientHandle_t* client_handle,
                                      struct mg_connection* conn)
{
  return change_originated_network(client_handle, conn, true);
}

int api_bgp_delete_originated_network(openapiClientHandle_t* client_handle,
                                      struct mg_connection* conn)
{
  return change_originated_network(client_handle, conn, false);
}

// ---- neighbours ----

struct bgp_neighbor_t {
  char text[REST_PATH_SEGMENT_SIZE];  // the address as the path has it
  uint32_t scope;
  open_inet_addr_t address;  // not before neighbor_address_read
  char title[REST_PATH_SEGMENT_SIZE + sizeof "ip address: , scope: -2147483648"];
};

// What the path says of a neighbour.
static bgp_neighbor_t neighbor_of_path(const struct mg_connection* conn, const bgp_family_t& family)
{
  bgp_neighbor_t neighbor = {};
  rest_path_segment(conn->uri, 3, neighbor.text);
  if (family.scoped) {
    int32_t scope = rest_path_number(conn->uri, 5);
    neighbor.scope = static_cast<uint32_t>(scope);
    snprintf(neighbor.title, sizeof neighbor.title, "ip address: %s, scope: %d", neighbor.text,
             scope);
  } else {
    snprintf(neighbor.title, sizeof neighbor.title, "ip address: %s", neighbor.text);
  }
  return neighbor;
}

static bool neighbor_address_read(openapiClientHandle_t* client_handle, bgp_neighbor_t& neighbor)
{
  return convert_ip_string_to_inet_addr(client_handle, neighbor.text, &neighbor.address) == RC_TRUE;
}

// The updates of a neighbour, unlike its creation and its read, have an answer of their own for
// what is wrong with a request.
static int answer_invalid_value(struct mg_connection* conn)
{
  return answer_failure(conn, 1, "The value of parameter is invalid.");
}

static int create_neighbor(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                           const bgp_family_t& family)
{
  bgp_neighbor_t neighbor = neighbor_of_path(conn, family);
  int32_t as_number = 0;
  if (!rest_get_number(conn, "asn", as_number) || !neighbor_address_read(client_handle, neighbor))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn,
                 rpcclt_openapiBgpPeerRemoteASSet(client_handle, neighbor.address, neighbor.scope,
                                                  static_cast<uint32_t>(as_number)));
  return answer_success(conn, "Set BGP %s neighbor (%s, AS number: %d) successfully.", family.name,
                        neighbor.title, as_number);
}

static int get_neighbor_info(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                             const bgp_family_t& family)
{
  bgp_neighbor_t neighbor = neighbor_of_path(conn, family);
  if (!neighbor_address_read(client_handle, neighbor))
    return answer_open_error(conn, OPEN_E_PARAM);
  uint32_t remote_as = 0;
  bool is_activate = false;
  OPEN_CONTROL_t next_hop_self = OPEN_DISABLE;
  uint32_t source = 0;
  char source_name[256] = "none";
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpPeerRemoteASGet(client_handle, neighbor.address,
                                                        neighbor.scope, &remote_as));
  OPEN_OR_ANSWER(
      conn, rpcclt_openapiBgpPeerActivateGet(client_handle, OPEN_BGP_GET_FINAL, neighbor.address,
                                             neighbor.scope, &is_activate));
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpPeerNextHopSelfModeGet(client_handle, OPEN_BGP_GET_FINAL,
                                                               neighbor.address, neighbor.scope,
                                                               &next_hop_self));
  OPEN_OR_ANSWER(conn,
                 rpcclt_openapiBgpPeerUpdateSourceGet(client_handle, OPEN_BGP_GET_FINAL,
                                                      neighbor.address, neighbor.scope, &source));
  if (source != 0) {
    open_buffdesc desc = rest_buffer_desc(source_name);
    memset(source_name, 0, sizeof source_name);
    OPEN_OR_ANSWER(conn, openapiIfNameGet(client_handle, source, &desc));
    source_name[sizeof source_name - 1] = '\0';
  }

  char mode[256] = "";
  get_control_string_by_eum(next_hop_self, mode);
  tree_ptr tree(new_tree());
  node_t* info = append_tree_group(tree.get(), "neighbor_info");
  append_tree_field(info, "remote_address", neighbor.text);
  append_tree_field(info, "remote_as", static_cast<int>(remote_as));
  append_tree_field(info, "activate", is_activate ? "Yes" : "No");
  append_tree_field(info, "next_hop_self_mode", mode);
  append_tree_field(info, "update_source", source_name);
  return answer_data(conn, std::move(tree));
}

// Reads "value" as a switch, then the address; false when one of them is wrong.
static bool neighbor_switch_read(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                                 bgp_neighbor_t& neighbor, int32_t& value)
{
  char text[256];
  return rest_get_var(conn, "value", text) >= 0 &&
         check_string_is_number_within_rest_control(text, &value) == RC_TRUE &&
         neighbor_address_read(client_handle, neighbor);
}

static int update_neighbor_activate(openapiClientHandle_t* client_handle,
                                    struct mg_connection* conn, const bgp_family_t& family)
{
  bgp_neighbor_t neighbor = neighbor_of_path(conn, family);
  int32_t value = 0;
  if (!neighbor_switch_read(client_handle, conn, neighbor, value))
    return answer_invalid_value(conn);
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpPeerActivateSet(client_handle, neighbor.address,
                                                        neighbor.scope, family.family, value == 1));
  return answer_success(conn, "Update activate state of BGP %s neighbor (%s) successfully.",
                        family.name, neighbor.title);
}

static int update_neighbor_next_hop_self_mode(openapiClientHandle_t* client_handle,
                                              struct mg_connection* conn,
                                              const bgp_family_t& family)
{
  bgp_neighbor_t neighbor = neighbor_of_path(conn, family);
  int32_t value = 0;
  if (!neighbor_switch_read(client_handle, conn, neighbor, value))
    return answer_invalid_value(conn);
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpPeerNextHopSelfModeSet(client_handle, neighbor.address,
                                                               neighbor.scope, family.family,
                                                               static_cast<OPEN_CONTROL_t>(value)));
  return answer_success(conn, "Update next-hop-self mode of BGP %s neighbor (%s) successfully.",
                        family.name, neighbor.title);
}

// What "type" says that "value" is.
enum update_source_t { UPDATE_SOURCE_VLAN = 1, UPDATE_SOURCE_INTERFACE = 2 };

static int update_neighbor_update_source(openapiClientHandle_t* client_handle,
                                         struct mg_connection* conn, const bgp_family_t& family)
{
  bgp_neighbor_t neighbor = neighbor_of_path(conn, family);
  char text[256];
  int32_t type = 0;
  int32_t value = 0;
  if (rest_get_var(conn, "type", text) < 0 || check_string_is_number(text, &type) != RC_TRUE ||
      (type != UPDATE_SOURCE_VLAN && type != UPDATE_SOURCE_INTERFACE) ||
      rest_get_var(conn, "value", text) < 0 || check_string_is_number(text, &value) != RC_TRUE ||
      !neighbor_address_read(client_handle, neighbor))
    return answer_invalid_value(conn);

  uint32_t if_num = static_cast<uint32_t>(value);
  if (type == UPDATE_SOURCE_VLAN)
    OPEN_OR_ANSWER(conn, rpcclt_openapiRtrVlanIntfNumGetZRT(client_handle,
                                                            static_cast<uint32_t>(value), &if_num));
  OPEN_OR_ANSWER(conn, rpcclt_openapiBgpPeerUpdateSourceSet(client_handle, neighbor.address,
                                                            neighbor.scope, if_num));
  return answer_success(conn, "Update update-source of BGP %s neighbor (%s) successfully.",
                        family.name, neighbor.title);
}

int api_bgp_create_ipv4_neighbor(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return create_neighbor(client_handle, conn, BGP_IPV4);
}

int api_bgp_create_ipv6_neighbor(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return create_neighbor(client_handle, conn, BGP_IPV6);
}

int api_bgp_get_ipv4_neighbor_info(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return get_neighbor_info(client_handle, conn, BGP_IPV4);
}

int api_bgp_get_ipv6_neighbor_info(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return get_neighbor_info(client_handle, conn, BGP_IPV6);
}

int api_bgp_update_ipv4_neighbor_activate(openapiClientHandle_t* client_handle,
                                          struct mg_connection* conn)
{
  return update_neighbor_activate(client_handle, conn, BGP_IPV4);
}

int api_bgp_update_ipv6_neighbor_activate(openapiClientHandle_t* client_handle,
                                          struct mg_connection* conn)
{
  return update_neighbor_activate(client_handle, conn, BGP_IPV6);
}

int api_bgp_update_ipv4_neighbor_next_hop_self_mode(openapiClientHandle_t* client_handle,
                                                    struct mg_connection* conn)
{
  return update_neighbor_next_hop_self_mode(client_handle, conn, BGP_IPV4);
}

int api_bgp_update_ipv6_neighbor_next_hop_self_mode(openapiClientHandle_t* client_handle,
                                                    struct mg_connection* conn)
{
  return update_neighbor_next_hop_self_mode(client_handle, conn, BGP_IPV6);
}

int api_bgp_update_ipv4_neighbor_update_source(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn)
{
  return update_neighbor_update_source(client_handle, conn, BGP_IPV4);
}

int api_bgp_update_ipv6_neighbor_update_source(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn)
{
  return update_neighbor_update_source(client_handle, conn, BGP_IPV6);
}

// ---- redistribution ----

struct bgp_redistribution_t {
  bool metric_set;
  uint32_t metric;
  bool route_map_set;
  char route_map[256];
  bool match_set;
  uint32_t match_bits;
};

// In the order of their result codes, which count from 1.
static constexpr struct {
  const char* name;
  OPEN_OSPF_METRIC_TYPE_t bit;
} match_parameters[] = {
    {"matchInternal", OPEN_OSPF_METRIC_TYPE_INTERNAL },
    {"matchExt1",     OPEN_OSPF_METRIC_TYPE_EXT1     },
    {"matchExt2",     OPEN_OSPF_METRIC_TYPE_EXT2     },
    {"matchNssaExt1", OPEN_OSPF_METRIC_TYPE_NSSA_EXT1},
    {"matchNssaExt2", OPEN_OSPF_METRIC_TYPE_NSSA_EXT2},
};

static open_error_t set_redistribution(openapiClientHandle_t* client_handle, bool add,
                                       const bgp_family_t& family,
                                       char (&protocol)[REST_PATH_SEGMENT_SIZE],
                                       bgp_redistribution_t& wanted)
{
  open_buffdesc protocol_name = rest_text_desc(protocol);
  open_buffdesc route_map_name = rest_text_desc(wanted.route_map);
  return rpcclt_openapiBgpRedistributionSet(
      client_handle, add, &protocol_name, wanted.match_set, wanted.match_bits, wanted.metric_set,
      wanted.metric_set, wanted.metric, wanted.route_map_set, family.family, &route_map_name);
}

static int create_redistribution(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                                 const bgp_family_t& family)
{
  char protocol[REST_PATH_SEGMENT_SIZE];
  rest_path_segment(conn->uri, 3, protocol);
  bgp_redistribution_t wanted = {};
  char text[256];
  wanted.metric_set = rest_get_var(conn, "metric", text) >= 0;
  wanted.metric = static_cast<uint32_t>(strtoll(text, nullptr, 10));
  wanted.route_map_set = rest_get_var(conn, "routeMap", wanted.route_map) >= 0;
  for (size_t i = 0; i < std::size(match_parameters); i++) {
    if (rest_get_var(conn, match_parameters[i].name, text) < 0)
      continue;
    if (rest_atoi(text) != 1)
      return answer_failure(conn, static_cast<uint16_t>(i + 1),
                            "The value of parameter %s is invalid.", match_parameters[i].name);
    wanted.match_set = true;
    wanted.match_bits |= static_cast<uint32_t>(match_parameters[i].bit);
  }
  OPEN_OR_ANSWER(conn, set_redistribution(client_handle, true, family, protocol, wanted));
  return answer_success(conn, "Create BGP %s Redistribution for %s successfully.", family.name,
                        protocol);
}

static int delete_redistribution(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                                 const bgp_family_t& family)
{
  char protocol[REST_PATH_SEGMENT_SIZE];
  rest_path_segment(conn->uri, 3, protocol);
  bgp_redistribution_t nothing = {};
  OPEN_OR_ANSWER(conn, set_redistribution(client_handle, false, family, protocol, nothing));
  return answer_success(conn, "Delete BGP %s Redistribution for %s successfully.", family.name,
                        protocol);
}

int api_bgp_create_ipv4_redistribution(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn)
{
  return create_redistribution(client_handle, conn, BGP_IPV4);
}

int api_bgp_create_ipv6_redistribution(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn)
{
  return create_redistribution(client_handle, conn, BGP_IPV6);
}

int api_bgp_delete_ipv4_redistribution(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn)
{
  return delete_redistribution(client_handle, conn, BGP_IPV4);
}

int api_bgp_delete_ipv6_redistribution(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn)
{
  return delete_redistribution(client_handle, conn, BGP_IPV6);
}
