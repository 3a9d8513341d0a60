#include "modules/rest_module_vlan.h"

#include <string.h>

#include "engine/rest_operation.h"
#include "engine/rest_path.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "engine/rest_walk.h"
#include "platform/openapi_base.h"

// Result codes of this module besides success.
static constexpr uint16_t VLAN_CODE_EXISTENCE = 1;  // it exists, or it does not
static constexpr uint16_t VLAN_CODE_INVALID = 2;

static constexpr size_t VLAN_NAME_MAX = 32;
static constexpr uint32_t VLAN_DEFAULT = 1;

static constexpr rest_route_t vlan_routes[] = {
    {REQUEST_METHOD_GET,    "/vlans/{n}",            api_vlan_get_specified_id   },
    {REQUEST_METHOD_GET,    "/vlans",                api_vlan_get_list           },
    {REQUEST_METHOD_GET,    "/vlans/pendingChanges", api_vlan_get_list_pending   },
    {REQUEST_METHOD_POST,   "/vlans/{n}",            api_vlan_create_specified_id},
    {REQUEST_METHOD_PUT,    "/vlans/{n}/name",       api_vlan_update_name        },
    {REQUEST_METHOD_DELETE, "/vlans/{n}",            api_vlan_delete_specified_id},
};

int vlan_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, vlan_routes);
}

RC_t check_vlan_exist(openapiClientHandle_t* client_handle, uint32_t vid)
{
  return openapiVlanCreatedCheck(client_handle, vid) == OPEN_E_NONE ? RC_TRUE : RC_FALSE;
}

uint32_t get_vlan_num_max(openapiClientHandle_t* client_handle)
{
  uint32_t vlan_max = 0;
  return rpcclt_openapiDot1VlanMaxGet(client_handle, &vlan_max) == OPEN_E_NONE ? vlan_max : 0;
}

open_error_t get_interface_num_max(openapiClientHandle_t* client_handle, uint32_t* if_num)
{
  *if_num = 0;
  return openapiMaxInterfaceCountGet(client_handle, if_num);
}

const char* get_participation_mode_text(OPEN_VLAN_PARTICIPATION_MODE_t mode)
{
  static constexpr const char* texts[] = {"Include", "Autodetect", "Exclude"};
  return rest_enum_text(texts, mode);
}

static int answer_no_vlan(struct mg_connection* conn, int vid)
{
  return answer_failure(conn, VLAN_CODE_EXISTENCE, "VLAN %d does not exist.", vid);
}

int api_vlan_create_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int vid = rest_path_number(conn->uri, 1);
  if (check_vlan_exist(client_handle, vid) == RC_TRUE)
    return answer_failure(conn, VLAN_CODE_EXISTENCE, "VLAN %d exist.", vid);
  if (vid == 0 || static_cast<uint32_t>(vid) > get_vlan_num_max(client_handle))
    return answer_failure(conn, VLAN_CODE_INVALID, "VLAN ID not valid.");
  OPEN_OR_ANSWER(conn, rpcclt_openapiVlanCreate(client_handle, vid));
  return answer_success(conn, "Create VLAN %d successfully.", vid);
}

int api_vlan_delete_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int vid = rest_path_number(conn->uri, 1);
  if (check_vlan_exist(client_handle, vid) != RC_TRUE)
    return answer_no_vlan(conn, vid);
  OPEN_OR_ANSWER(conn, rpcclt_openapiVlanDelete(client_handle, vid));
  return answer_success(conn, "Delete VLAN %d successfully.", vid);
}

int api_vlan_update_name(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int vid = rest_path_number(conn->uri, 1);
  if (check_vlan_exist(client_handle, vid) != RC_TRUE)
    return answer_no_vlan(conn, vid);
  char name[256];
  rest_get_var(conn, "value", name);
  if (name[0] == '\0' || strlen(name) > VLAN_NAME_MAX)
    return answer_failure(conn, VLAN_CODE_INVALID, "The value of parameter is invalid.");
  open_buffdesc name_desc = rest_text_desc(name);
  OPEN_OR_ANSWER(conn, rpcclt_openapiVlanNameSet(client_handle, vid, &name_desc));
  return answer_success(conn, "Update name of VLAN %d successfully.", vid);
}

int api_vlan_get_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* vlans = append_tree_group(tree.get(), "vlans");
  // The default VLAN always exists, and the walk names what comes after it.
  uint32_t vid = VLAN_DEFAULT;
  for (uint32_t position = 1; vid != 0; position++) {
    append_tree_field(append_tree_entry(vlans, position, "vlan"), "id", static_cast<int>(vid));
    vid = walk_next_vlan(client_handle, vid);
  }
  return answer_data(conn, std::move(tree));
}

int api_vlan_get_list_pending(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  append_pending_changes(append_tree_group(tree.get(), "pending_vlans"), "vlan", "id",
                         client_handle, openapiVlanNextChangedGet, VLAN_DEFAULT);
  return answer_data(conn, std::move(tree));
}

// Appends the interface when it is a member of the VLAN, keyed by its position among all physical
// interfaces.
static open_error_t append_vlan_member(openapiClientHandle_t* client_handle, node_t* interfaces,
                                       uint32_t vid, uint32_t if_num, uint32_t position)
{
  uint32_t status = 0;
  open_error_t result = openapiVlanIfParticipationStatusGet(client_handle, vid, if_num, &status);
  if (result != OPEN_E_NONE || status != 1)
    return result;
  OPEN_VLAN_PARTICIPATION_MODE_t mode = OPEN_VLAN_PARTICIPATION_MODE_INCLUDE;
  result = rpcclt_openapiVlanIfParticipationGet(client_handle, vid, if_num, &mode);
  if (result != OPEN_E_NONE)
    return result;
  uint32_t tagging = 0;
  result = openapiVlanIfTaggingGet(client_handle, if_num, vid, &tagging);
  if (result != OPEN_E_NONE)
    return result;
  node_t* entry = append_tree_entry(interfaces, position, "interface");
  append_tree_field(entry, "ifNum", static_cast<int>(if_num));
  append_tree_field(entry, "participationMode", get_participation_mode_text(mode));
  append_tree_field(entry, "isTagging", static_cast<int>(tagging));
  return OPEN_E_NONE;
}

int api_vlan_get_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int vid = rest_path_number(conn->uri, 1);
  if (check_vlan_exist(client_handle, vid) != RC_TRUE)
    return answer_no_vlan(conn, vid);
  uint32_t name_size = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiVlanNameLenGet(client_handle, &name_size));
  switch_text name = switch_text_new(name_size);
  if (!name.text)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  OPEN_OR_ANSWER(conn, rpcclt_openapiVlanNameGet(client_handle, vid, &name.desc));
  bool is_static = openapiVlanIsStatic(client_handle, vid) == 1;

  tree_ptr tree(new_tree());
  node_t* vlan = append_tree_group(tree.get(), "vlan");
  append_tree_field(vlan, "id", vid);
  append_tree_field(vlan, "name", name.text.get());
  append_tree_field(vlan, "type", is_static ? "static" : "dynamic");
  node_t* interfaces = append_tree_group(vlan, "interfaces");
  OPEN_OR_ANSWER(
      conn,
      walk_interfaces(client_handle, OPEN_INTF_TYPE_PHY, [&](uint32_t if_num, uint32_t position) {
        return append_vlan_member(client_handle, interfaces, vid, if_num, position);
      }));
  return answer_data(conn, std::move(tree));
}
