#include "modules/rest_module_script.h"

#include <stdio.h>

#include <algorithm>

#include "engine/rest_operation.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "platform/openapi_script.h"

static constexpr rest_route_t script_routes[] = {
    {REQUEST_METHOD_POST,   "/script/apply", api_script_apply        },
    {REQUEST_METHOD_GET,    "/script/list",  api_script_get_file_list},
    {REQUEST_METHOD_DELETE, "/script",       api_script_delete_file  },
};

int script_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, script_routes);
}

// Reads the script's name from the request and makes one call with it.
static open_error_t script_call(openapiClientHandle_t* client_handle,
                                const struct mg_connection* conn,
                                decltype(rpcclt_openapiTxtCfgFileDelete)* call)
{
  OPEN_CLI_SCRIPT_FILENAME_t name;
  if (rest_get_var(conn, "scr", name) <= 0)
    return OPEN_E_PARAM;
  open_buffdesc desc = rest_text_desc(name);
  return call(client_handle, &desc);
}

int api_script_apply(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  OPEN_OR_ANSWER(conn, script_call(client_handle, conn, rpcclt_openapiTxtCfgValidateAndApply));
  return answer_success_with(conn, tree_ptr(new_tree()), "Apply script successfully.");
}

int api_script_delete_file(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  OPEN_OR_ANSWER(conn, script_call(client_handle, conn, rpcclt_openapiTxtCfgFileDelete));
  return answer_success(conn, "Delete the script file successfully.");
}

int api_script_get_file_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* files = append_tree_group(tree.get(), "script_files");
  OPEN_CLI_SCRIPT_FILE_LIST_t list = {};
  OPEN_OR_ANSWER(conn, rpcclt_openapiTxtCfgFilesListGet(client_handle, &list));
  const uint32_t count = std::min(list.count, OPEN_CLI_SCRIPT_FILES_MAX);
  append_tree_field(files, "count_of_files", static_cast<int>(count));
  for (uint32_t i = 0; i < count; i++) {
    char name[sizeof list.filelist[i] + 1] = "";  // one without a terminator is ended here
    snprintf(name, sizeof name, "%.*s", static_cast<int>(sizeof list.filelist[i]),
             list.filelist[i]);
    append_tree_field(append_tree_entry(files, i + 1, "script_file"), "filename", name);
  }
  return answer_success_with(conn, std::move(tree), "Get script file list successfully.");
}
