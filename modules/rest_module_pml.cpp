#include "modules/rest_module_pml.h"

#include <stdio.h>
#include <string.h>

#include "engine/rest_common.h"
#include "engine/rest_operation.h"
#include "engine/rest_path.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "platform/openapi_pml.h"

static constexpr uint32_t MAC_TEXT_SIZE = 256;

static constexpr rest_route_t pml_routes[] = {
    {REQUEST_METHOD_POST,   "/pml/if/{n}/vlan/{n}/sticky/{b}/mac", api_pml_create_static_mac},
    {REQUEST_METHOD_GET,    "/pml/if/{n}/sticky",                  api_pml_get_sticky       },
    {REQUEST_METHOD_GET,    "/pml/if/{n}/mac",                     api_pml_get_static_mac   },
    {REQUEST_METHOD_PUT,    "/pml/if/{n}/sticky",                  api_pml_update_sticky    },
    {REQUEST_METHOD_DELETE, "/pml/if/{n}/vlan/{n}/mac",            api_pml_delete_static_mac},
};

int pml_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, pml_routes);
}

static uint32_t pml_interface(const struct mg_connection* conn)
{
  return static_cast<uint32_t>(rest_path_number(conn->uri, 2));
}

// Unlike most modules this one answers with a tree even where there is nothing in it.
static tree_ptr pml_empty_tree()
{
  return tree_ptr(new_tree());
}

int api_pml_get_sticky(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  OPEN_CONTROL_t sticky = OPEN_DISABLE;
  OPEN_OR_ANSWER(conn,
                 rpcclt_openapiPmlIntfStickyModeGet(client_handle, pml_interface(conn), &sticky));
  char text[sizeof "disable"] = "";
  get_control_string_by_eum(sticky, text);
  tree_ptr tree = pml_empty_tree();
  append_tree_field(tree.get(), "sticky", text);
  return answer_success_with(conn, std::move(tree), "Get interface sticky mode successfully.");
}

int api_pml_update_sticky(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, rpcclt_openapiPmlIntfStickyModeSet(client_handle, pml_interface(conn),
                                                          static_cast<OPEN_CONTROL_t>(value)));
  return answer_success_with(conn, pml_empty_tree(),
                             "Update interface sticky mode to %s successfully.",
                             value == OPEN_ENABLE ? "enable" : "disable");
}

// A static entry as the switch lists it; also the cursor of the walk over them.
struct pml_entry {
  char mac[MAC_TEXT_SIZE + 1];  // the switch may fill its room to the last byte
  uint32_t vlan;
  bool sticky;
};

static open_error_t pml_read_entry(decltype(rpcclt_openapiPmlIntfStaticEntryGetFirst)* read,
                                   openapiClientHandle_t* client_handle, uint32_t if_num,
                                   pml_entry& entry)
{
  open_buffdesc mac = {};
  mac.size = MAC_TEXT_SIZE;
  mac.pstart = entry.mac;
  return read(client_handle, if_num, &mac, &entry.vlan, &entry.sticky);
}

int api_pml_get_static_mac(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  uint32_t if_num = pml_interface(conn);
  pml_entry entry = {};
  OPEN_OR_ANSWER(
      conn, pml_read_entry(rpcclt_openapiPmlIntfStaticEntryGetFirst, client_handle, if_num, entry));
  tree_ptr tree = pml_empty_tree();
  node_t* list = append_tree_group(tree.get(), "interface");
  for (uint32_t position = 1; position <= REST_WALK_MAX; position++) {
    node_t* item = append_tree_entry(list, position, "mac");
    append_tree_field(item, "macAddr", entry.mac);
    append_tree_field(item, "vlan", static_cast<int>(entry.vlan));
    append_tree_field(item, "sticky", entry.sticky ? "enable" : "disable");
    pml_entry next = entry;
    if (pml_read_entry(rpcclt_openapiPmlIntfStaticEntryGetNext, client_handle, if_num, next) !=
        OPEN_E_NONE)
      break;
    if (next.vlan == entry.vlan && strcmp(next.mac, entry.mac) == 0)
      break;  // a walk that stands still has no end
    entry = next;
  }
  return answer_success_with(conn, std::move(tree), "Get interface static mac successfully.");
}

int api_pml_create_static_mac(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int32_t vlan = rest_path_number(conn->uri, 4);
  bool sticky = rest_path_number(conn->uri, 6) != 0;
  char value[256];
  if (rest_get_var(conn, "value", value) <= 0)
    return answer_open_error(conn, OPEN_E_PARAM);
  open_buffdesc mac = rest_unterminated_desc(value);
  OPEN_OR_ANSWER(conn, rpcclt_openapiPmlIntfStaticEntryAdd(client_handle, pml_interface(conn), &mac,
                                                           static_cast<uint32_t>(vlan), sticky));
  return answer_success_with(conn, pml_empty_tree(),
                             "Create interface static mac %s vlan %d successfully.", value, vlan);
}

int api_pml_delete_static_mac(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int32_t vlan = rest_path_number(conn->uri, 4);
  char value[256];
  if (rest_get_var(conn, "value", value) <= 0)
    return answer_open_error(conn, OPEN_E_PARAM);
  open_buffdesc mac = rest_unterminated_desc(value);
  OPEN_OR_ANSWER(conn, rpcclt_openapiPmlIntfStaticEntryDelete(client_handle, pml_interface(conn),
                                                              &mac, static_cast<uint32_t>(vlan)));
  return answer_success_with(conn, pml_empty_tree(),
                             "Delete interface static mac %s vlan %d successfully.", value, vlan);
}
