#include "modules/rest_module_base.h"

#include "engine/rest_operation.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "platform/openapi_base.h"

static constexpr char REST_API_VERSION[] = "0.0.00.20";

static constexpr rest_route_t base_routes[] = {
    {REQUEST_METHOD_GET, "/base",        api_base_get_info       },
    {REQUEST_METHOD_GET, "/base/idname", api_base_idname_get_info},
};

int base_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, base_routes);
}

int api_base_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  char os_revision[256] = "";
  char storage[256] = "";
  open_buffdesc os_revision_desc = rest_buffer_desc(os_revision);
  open_buffdesc storage_desc = rest_buffer_desc(storage);
  open_revision_data_t api_version = {};
  uint32_t cpu_if_num = 0;
  uint32_t if_count_max = 0;  // asked for as a check only
  uint32_t ospf_paths_max = 0;
  uint32_t is_ready = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiNetworkOSVersionGet(client_handle, &os_revision_desc));
  OPEN_OR_ANSWER(conn, rpcclt_openapiSwStorageGet(client_handle, &storage_desc));
  OPEN_OR_ANSWER(conn, rpcclt_openapiApiVersionGet(client_handle, &api_version));
  OPEN_OR_ANSWER(conn, rpcclt_openapiCpuIntfGet(client_handle, &cpu_if_num));
  OPEN_OR_ANSWER(conn, openapiMaxInterfaceCountGet(client_handle, &if_count_max));
  OPEN_OR_ANSWER(conn, rpcclt_openapiOspfEqualCostRoutesMax(client_handle, &ospf_paths_max));
  OPEN_OR_ANSWER(conn, openapiSystemReadyStateGet(client_handle, &is_ready));

  tree_ptr tree(new_tree());
  node_t* info = append_tree_group(tree.get(), "infomation");
  append_tree_field(info, "VEMO_version", os_revision);
  append_tree_field(info, "software_storage", storage);
  append_tree_field(info, "RESTful_API_version", REST_API_VERSION);
  node_t* version = append_tree_group(info, "OPEN_API_version");
  append_tree_field(version, "build_num", api_version.build_num);
  append_tree_field(version, "maint_level", api_version.maint_level);
  append_tree_field(version, "release", api_version.release);
  append_tree_field(version, "version", api_version.version);
  append_tree_field(info, "cpu_interface", static_cast<int>(cpu_if_num));
  append_tree_field(info, "max_equal_cost_routes", static_cast<int>(ospf_paths_max));
  append_tree_field(info, "system_is_ready", is_ready == 1 ? "Yes" : "No");
  return answer_data(conn, std::move(tree));
}

int api_base_idname_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  char serial[256] = "";
  char mac[256] = "";
  char model[256] = "";
  char description[256] = "";
  open_buffdesc serial_desc = rest_buffer_desc(serial);
  open_buffdesc mac_desc = rest_buffer_desc(mac);
  open_buffdesc model_desc = rest_buffer_desc(model);
  open_buffdesc description_desc = rest_buffer_desc(description);
  OPEN_OR_ANSWER(conn, rpcclt_openapiSwDevInfoSerialNumGet(client_handle, &serial_desc));
  OPEN_OR_ANSWER(conn, rpcclt_openapiBurnedInMacAddrGet(client_handle, &mac_desc));
  OPEN_OR_ANSWER(conn, rpcclt_openapiMachineModelNameGet(client_handle, &model_desc));
  OPEN_OR_ANSWER(conn, rpcclt_openapiSystemDescrGet(client_handle, &description_desc));

  tree_ptr tree(new_tree());
  node_t* idname = append_tree_group(tree.get(), "idname");
  append_tree_field(idname, "sn", serial);
  append_tree_field(idname, "mac", mac);
  append_tree_field(idname, "blade_idx", 0);
  append_tree_field(idname, "product_type", model);
  append_tree_field(idname, "sys_desc", description);
  return answer_data(conn, std::move(tree));
}
