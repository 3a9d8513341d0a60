#include "modules/rest_module_lag.h"

#include <algorithm>
#include <memory>
#include <new>

#include "engine/rest_operation.h"
#include "engine/rest_path.h"
#include "engine/rest_route.h"
#include "engine/rest_walk.h"
#include "platform/openapi_lag.h"

static constexpr rest_route_t lag_routes[] = {
    {REQUEST_METHOD_POST,   "/lag/{n}/port/{n}", api_lag_create_specified_id_member},
    {REQUEST_METHOD_GET,    "/lag/{n}",          api_lag_get_specified_id          },
    {REQUEST_METHOD_GET,    "/lag",              api_lag_get_list                  },
    {REQUEST_METHOD_DELETE, "/lag/{n}/port/{n}", api_lag_delete_specified_id_member},
};

int lag_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, lag_routes);
}

int get_port_channel_id_by_lag_interface_num(openapiClientHandle_t* client_handle,
                                             uint32_t lagIfNum)
{
  uint32_t channel_id = 0;
  rpcclt_openapiLagIfNumToPortChannelIdZRT(client_handle, lagIfNum, &channel_id);
  return static_cast<int>(channel_id);
}

int get_lag_interface_num_by_port_channel_id(openapiClientHandle_t* client_handle,
                                             uint32_t channelId)
{
  uint32_t if_num = 0;
  open_error_t result = rpcclt_openapiLagPortChannelIdToIfNumZRT(client_handle, channelId, &if_num);
  return result == OPEN_E_NONE ? static_cast<int>(if_num) : 0;
}

int api_lag_get_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* groups = append_tree_group(tree.get(), "lag_interfaces");
  uint32_t first = 0;
  if (openapiIfFirstGet(client_handle, OPEN_INTF_TYPE_LAG, &first) != OPEN_E_NONE)
    return answer_data(conn, std::move(tree));
  const auto append_group = [&](uint32_t if_num, uint32_t position) {
    node_t* entry = append_tree_entry(groups, position, "lag_interface");
    int id = get_port_channel_id_by_lag_interface_num(client_handle, if_num);
    if (id == 0)
      return OPEN_E_PARAM;
    append_tree_field(entry, "id", id);
    return OPEN_E_NONE;
  };
  OPEN_OR_ANSWER(conn,
                 walk_interfaces_from(client_handle, OPEN_INTF_TYPE_LAG, first, append_group));
  return answer_data(conn, std::move(tree));
}

// Appends the group's members, as many as the switch says a group can have.
static open_error_t append_lag_members(openapiClientHandle_t* client_handle, node_t* list,
                                       uint32_t lag_if_num)
{
  uint32_t slots = 0;
  open_error_t result = rpcclt_openapiLagMaxMemberCountGet(client_handle, &slots);
  if (result != OPEN_E_NONE)
    return result;
  slots = std::min(slots, REST_WALK_MAX);
  std::unique_ptr<uint32_t[]> ports(new (std::nothrow) uint32_t[slots]());
  if (!ports)
    return OPEN_E_INTERNAL;

  uint32_t count = slots;
  open_buffdesc ports_desc = {static_cast<uint32_t>(slots * sizeof ports[0]), ports.get()};
  result = rpcclt_openapiLagMembersGet(client_handle, lag_if_num, &count, &ports_desc);
  if (result != OPEN_E_NONE)
    return result;
  for (uint32_t i = 0; i < std::min(count, slots); i++)
    append_tree_field(append_tree_entry(list, i + 1, "member"), "portNum",
                      static_cast<int>(ports[i]));
  return OPEN_E_NONE;
}

int api_lag_get_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int if_num =
      get_lag_interface_num_by_port_channel_id(client_handle, rest_path_number(conn->uri, 1));
  if (if_num == 0)
    return answer_open_error(conn, OPEN_E_PARAM);
  uint32_t name_size = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiLagNameMaxLengthGet(client_handle, &name_size));
  switch_text name = switch_text_new(name_size);
  if (!name.text)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  OPEN_OR_ANSWER(conn, rpcclt_openapiLagNameGet(client_handle, if_num, &name.desc));

  int id = get_port_channel_id_by_lag_interface_num(client_handle, if_num);
  if (id == 0)
    return answer_open_error(conn, OPEN_E_PARAM);
  tree_ptr tree(new_tree());
  node_t* group = append_tree_group(tree.get(), "lag_interface");
  append_tree_field(group, "id", id);
  append_tree_field(group, "name", name.text.get());
  OPEN_OR_ANSWER(conn,
                 append_lag_members(client_handle, append_tree_group(group, "members"), if_num));
  return answer_data(conn, std::move(tree));
}

// A whole update of a group's members: the call is made for the group and port of the path.
static int lag_member_update(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                             open_error_t (*update)(openapiClientHandle_t* client_handle,
                                                    uint32_t lagIfNum, uint32_t ifNum),
                             const char* verb, const char* preposition)
{
  int port = rest_path_number(conn->uri, 3);
  int if_num =
      get_lag_interface_num_by_port_channel_id(client_handle, rest_path_number(conn->uri, 1));
  if (if_num == 0)
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, update(client_handle, if_num, port));
  int id = get_port_channel_id_by_lag_interface_num(client_handle, if_num);
  if (id == 0)
    return answer_open_error(conn, OPEN_E_PARAM);
  return answer_success(conn, "%s port %d %s LAG %d successfully.", verb, port, preposition, id);
}

int api_lag_create_specified_id_member(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn)
{
  return lag_member_update(client_handle, conn, rpcclt_openapiLagPortAdd, "Configure", "to");
}

int api_lag_delete_specified_id_member(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn)
{
  return lag_member_update(client_handle, conn, rpcclt_openapiLagPortDelete, "Delete", "from");
}

// A whole update of the group of the path itself.
static int lag_update(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                      open_error_t (*update)(openapiClientHandle_t* client_handle,
                                             uint32_t lagIfNum),
                      const char* verb)
{
  int id = rest_path_number(conn->uri, 1);
  int if_num = get_lag_interface_num_by_port_channel_id(client_handle, id);
  if (if_num == 0)
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, update(client_handle, if_num));
  return answer_success(conn, "%s LAG %d successfully.", verb, id);
}

int api_lag_create_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return lag_update(client_handle, conn, rpcclt_openapiLagCreateZRT, "Create");
}

int api_lag_delete_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return lag_update(client_handle, conn, rpcclt_openapiLagDeleteZRT, "Delete");
}
