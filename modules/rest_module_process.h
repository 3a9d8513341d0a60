// The "process" module: memory and CPU use of the switch.
#pragma once

#include "httpd/httpd.h"
#include "platform/openapi_types.h"

int process_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_process_get_memory(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_process_get_cpu(openapiClientHandle_t* client_handle, struct mg_connection* conn);
