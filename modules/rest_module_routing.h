// The "routing" module: routing modes, VLAN routing interfaces and the addresses of interfaces.
//
// A path names the routing interface of a VLAN by its logical id, which counts from 1, and a
// physical interface by its interface number.
#pragma once

#include <stdint.h>

#include "httpd/httpd.h"
#include "platform/openapi_types.h"

int routing_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

// Logical id of a VLAN routing interface; -1 for what is no routing interface, -2 for one that does
// not belong to a VLAN.
int get_logical_id_by_vlan_routing_interface_num(openapiClientHandle_t* client_handle,
                                                 uint32_t rtrIfNum);

// Interface number that a logical id stands for, whether there is such an interface or not.
int get_vlan_routing_interface_num_by_logical_id(openapiClientHandle_t* client_handle,
                                                 int logicalIntfId);

int api_routing_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_routing_update_ipv4_admin_mode(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn);
int api_routing_update_ipv6_admin_mode(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn);
int api_routing_get_interface_list(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
int api_routing_update_interface_admin_mode(openapiClientHandle_t* client_handle,
                                            struct mg_connection* conn);
int api_routing_create_interface_ip_address(openapiClientHandle_t* client_handle,
                                            struct mg_connection* conn);
int api_routing_delete_interface_ip_address(openapiClientHandle_t* client_handle,
                                            struct mg_connection* conn);
int api_routing_get_vlan_interface_list(openapiClientHandle_t* client_handle,
                                        struct mg_connection* conn);
int api_routing_get_vlan_interface_specified_id(openapiClientHandle_t* client_handle,
                                                struct mg_connection* conn);
int api_routing_create_vlan_interface_specified_id(openapiClientHandle_t* client_handle,
                                                   struct mg_connection* conn);
int api_routing_delete_vlan_interface_specified_id(openapiClientHandle_t* client_handle,
                                                   struct mg_connection* conn);
int api_routing_create_vlan_interface_ip_address(openapiClientHandle_t* client_handle,
                                                 struct mg_connection* conn);
int api_routing_delete_vlan_interface_ip_address(openapiClientHandle_t* client_handle,
                                                 struct mg_connection* conn);
