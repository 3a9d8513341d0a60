// The "bgp" module: the switch as a BGP speaker, its neighbours, the networks it originates and
// what it redistributes.
#pragma once

#include "httpd/httpd.h"
#include "platform/openapi_types.h"

int bgp_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_bgp_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_bgp_update_hold_time(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_bgp_update_keep_alive_time(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
int api_bgp_update_local_AS(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_bgp_update_router_id(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_bgp_update_local_pref(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_bgp_update_log_neighbor_changes(openapiClientHandle_t* client_handle,
                                        struct mg_connection* conn);

int api_bgp_create_originated_network(openapiClientHandle_t* client_handle,
                                      struct mg_connection* conn);
int api_bgp_delete_originated_network(openapiClientHandle_t* client_handle,
                                      struct mg_connection* conn);

int api_bgp_create_ipv4_neighbor(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_bgp_create_ipv6_neighbor(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_bgp_get_ipv4_neighbor_info(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
int api_bgp_get_ipv6_neighbor_info(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
int api_bgp_update_ipv4_neighbor_activate(openapiClientHandle_t* client_handle,
                                          struct mg_connection* conn);
int api_bgp_update_ipv6_neighbor_activate(openapiClientHandle_t* client_handle,
                                          struct mg_connection* conn);
int api_bgp_update_ipv4_neighbor_next_hop_self_mode(openapiClientHandle_t* client_handle,
                                                    struct mg_connection* conn);
int api_bgp_update_ipv6_neighbor_next_hop_self_mode(openapiClientHandle_t* client_handle,
                                                    struct mg_connection* conn);
int api_bgp_update_ipv4_neighbor_update_source(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn);
int api_bgp_update_ipv6_neighbor_update_source(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn);

int api_bgp_create_ipv4_redistribution(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn);
int api_bgp_create_ipv6_redistribution(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn);
int api_bgp_delete_ipv4_redistribution(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn);
int api_bgp_delete_ipv6_redistribution(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn);
