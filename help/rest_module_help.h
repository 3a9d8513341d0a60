// The "help" module: serves the help document, whole or one module's part, as XML, JSON or HTML.
#pragma once

#include "engine/rest_tree_obj.h"
#include "httpd/httpd.h"
#include "platform/openapi_types.h"

int help_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_help_get_list(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_help_get_specified_module_name(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn);

// Render a page into a new heap string that the caller frees: the list of modules, from the parsed
// document; and one module, from its node or a tree that begins with it. A null tree gives an empty
// page. *out_str is left untouched when memory is short.
void print_help_doc_html_for_list(node_t* dataN1_ptr, char** out_str);
void print_help_doc_html_for_specified_module_name(node_t* dataN1_ptr, char** out_str);
