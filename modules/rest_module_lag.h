// The "lag" module: link aggregation groups and their member ports. Clients name a group by its
// port-channel number, the switch by its interface number.
#pragma once

#include <stdint.h>

#include "httpd/httpd.h"
#include "platform/openapi_types.h"

int lag_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_lag_get_list(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_lag_get_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_lag_create_specified_id_member(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn);
int api_lag_delete_specified_id_member(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn);

// Create and delete a whole group, for a path like that of GET /lag/{id}. No route leads here.
int api_lag_create_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_lag_delete_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn);

// From one number of a group to the other; 0 when there is no such group.
int get_port_channel_id_by_lag_interface_num(openapiClientHandle_t* client_handle,
                                             uint32_t lagIfNum);
int get_lag_interface_num_by_port_channel_id(openapiClientHandle_t* client_handle,
                                             uint32_t channelId);
