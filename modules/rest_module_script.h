// The "script" module: CLI scripts stored on the switch.
#pragma once

#include "httpd/httpd.h"
#include "platform/openapi_types.h"

int script_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_script_apply(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_script_get_file_list(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_script_delete_file(openapiClientHandle_t* client_handle, struct mg_connection* conn);
