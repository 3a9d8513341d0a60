// The "logging" module: CLI, console and syslog logging, and the hosts that the switch logs to.
#pragma once

#include <stdint.h>

#include "engine/rest_types.h"
#include "httpd/httpd.h"
#include "platform/openapi_logging.h"
#include "platform/openapi_types.h"

int logging_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_logging_create_host_specified_addr(openapiClientHandle_t* client_handle,
                                           struct mg_connection* conn);
int api_logging_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_logging_get_host_list(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_logging_get_host_specified_addr(openapiClientHandle_t* client_handle,
                                        struct mg_connection* conn);
int api_logging_update_cli_mode(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_logging_update_console_mode(openapiClientHandle_t* client_handle,
                                    struct mg_connection* conn);
int api_logging_update_console_severity_level(openapiClientHandle_t* client_handle,
                                              struct mg_connection* conn);
int api_logging_update_syslog_mode(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
int api_logging_update_syslog_port(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
int api_logging_update_host_specified_addr_port(openapiClientHandle_t* client_handle,
                                                struct mg_connection* conn);
int api_logging_update_host_specified_addr_severity_level(openapiClientHandle_t* client_handle,
                                                          struct mg_connection* conn);
int api_logging_delete_host_specified_addr(openapiClientHandle_t* client_handle,
                                           struct mg_connection* conn);

// Bytes of the longest host address, its terminator included; 0 when the switch does not tell.
uint32_t get_logging_host_addr_len_max(openapiClientHandle_t* client_handle);

// The level's display text into text (36 bytes); RC_FALSE, and nothing written, for a level that
// has none and for null.
RC_t get_log_severity_level_string_by_eum(OPEN_LOG_SEVERITY_t level, char* text);
