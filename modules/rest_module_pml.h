// The "pml" module: port MAC locking. Sticky mode of an interface and its static MAC entries.
#pragma once

#include "httpd/httpd.h"
#include "platform/openapi_types.h"

int pml_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_pml_create_static_mac(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_pml_get_sticky(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_pml_get_static_mac(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_pml_update_sticky(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_pml_delete_static_mac(openapiClientHandle_t* client_handle, struct mg_connection* conn);
