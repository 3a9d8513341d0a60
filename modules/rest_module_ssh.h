// The "ssh" module: settings of the switch's SSH server.
#pragma once

#include "httpd/httpd.h"
#include "platform/openapi_types.h"

int ssh_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_ssh_get_global_settings(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_ssh_update_admin_mode(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_ssh_update_max_sessions(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_ssh_update_protocol_version(openapiClientHandle_t* client_handle,
                                    struct mg_connection* conn);
int api_ssh_update_session_timeout(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
