// The "base" module: versions and identity of the switch. The smallest module; copy it to start a
// new one.
#pragma once

#include "httpd/httpd.h"
#include "platform/openapi_types.h"

int base_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_base_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_base_idname_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn);
