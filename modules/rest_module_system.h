// The "system" module: host name, serial console, telnet server, service port, reload. The prompt
// and the network port have operations here that no route leads to.
#pragma once

#include "engine/rest_types.h"
#include "httpd/httpd.h"
#include "platform/openapi_system.h"
#include "platform/openapi_types.h"

int system_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_system_reload(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_system_get_global_settings(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
int api_system_update_hostname(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_system_update_serial_timeout(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn);
int api_system_update_telnet_server_admin_mode(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn);

int api_system_update_prompt(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_system_get_networkport_ipv4(openapiClientHandle_t* client_handle,
                                    struct mg_connection* conn);
int api_system_update_networkport_ipv4_parameters(openapiClientHandle_t* client_handle,
                                                  struct mg_connection* conn);
int api_system_update_networkport_ipv4_protocol_mode(openapiClientHandle_t* client_handle,
                                                     struct mg_connection* conn);
int api_system_delete_networkport_ipv4_parameters(openapiClientHandle_t* client_handle,
                                                  struct mg_connection* conn);

// "Invalid", "None", "BOOTP" or "DHCP" into text (8 bytes); RC_FALSE, and nothing written, for any
// other value and for null.
RC_t get_protocol_mode_string_by_eum(OPEN_PROTOCOL_MODE_t mode, char* text);
