// The "if" module: physical interfaces, their settings, state, counters and VLAN membership.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "engine/rest_types.h"
#include "httpd/httpd.h"
#include "platform/openapi_if.h"
#include "platform/openapi_types.h"

int interface_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

// ---- queries ----

int api_interface_get_list(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_interface_get_list_pending(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
int api_interface_get_specified_num(openapiClientHandle_t* client_handle,
                                    struct mg_connection* conn);
int api_interface_get_to_vlan(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_interface_get_to_vlan_list(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
int api_interface_get_counters(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_interface_get_switchport_mode(openapiClientHandle_t* client_handle,
                                      struct mg_connection* conn);

// ---- updates ----

int api_interface_update_pvid(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_interface_update_accept_frame_type(openapiClientHandle_t* client_handle,
                                           struct mg_connection* conn);
int api_interface_update_admin_state(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn);
int api_interface_update_auto_neg_mode(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn);
int api_interface_update_description(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn);
int api_interface_update_mtu_size(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_interface_update_speed(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_interface_update_counters_reset(openapiClientHandle_t* client_handle,
                                        struct mg_connection* conn);
// No route leads here.
int api_interface_update_soft_shutdown_state(openapiClientHandle_t* client_handle,
                                             struct mg_connection* conn);

// ---- membership in VLANs ----

int api_interface_create_specified_num_to_vlan(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn);
int api_interface_delete_specified_num_from_vlan(openapiClientHandle_t* client_handle,
                                                 struct mg_connection* conn);
int api_interface_update_to_vlan_tagging_mode(openapiClientHandle_t* client_handle,
                                              struct mg_connection* conn);
int api_interface_update_switchport_mode(openapiClientHandle_t* client_handle,
                                         struct mg_connection* conn);
// These two return 1 also after having refused a VLAN number.
int api_interface_update_switchport_access_vlan(openapiClientHandle_t* client_handle,
                                                struct mg_connection* conn);
int api_interface_update_switchport_trunk_pvid(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn);
int api_interface_create_switchport_trunk_vlan(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn);
int api_interface_update_switchport_trunk_vlan(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn);
int api_interface_delete_switchport_trunk_vlan(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn);

// ---- texts ----

// Bytes of a buffer for the name of any counter and of any speed, the terminator included.
constexpr size_t INTERFACE_COUNTER_NAME_SIZE = 32;
constexpr size_t INTERFACE_SPEED_TEXT_SIZE = 16;

// The counter's name into out_counterName (INTERFACE_COUNTER_NAME_SIZE bytes), which is empty for
// an unknown counter. Always RC_TRUE.
RC_t get_counter_name_by_id(uint32_t counterId, char* out_counterName);

// The speed's text into out_speedStr (INTERFACE_SPEED_TEXT_SIZE bytes), "-" for an unknown speed.
// Always RC_TRUE.
RC_t get_speed_string_by_eum(OPEN_PORT_SPEEDS_t speedEnum, char* out_speedStr);
