// The "vlans" module: VLANs with their names and members. The helpers are open to other modules.
#pragma once

#include <stdint.h>

#include "engine/rest_types.h"
#include "httpd/httpd.h"
#include "platform/openapi_types.h"
#include "platform/openapi_vlan.h"

int vlan_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_vlan_get_list(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_vlan_get_list_pending(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_vlan_get_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_vlan_create_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_vlan_update_name(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_vlan_delete_specified_id(openapiClientHandle_t* client_handle, struct mg_connection* conn);

// RC_TRUE when the switch knows the VLAN.
RC_t check_vlan_exist(openapiClientHandle_t* client_handle, uint32_t vid);

// The highest VLAN number that the switch accepts; 0 when it does not say.
uint32_t get_vlan_num_max(openapiClientHandle_t* client_handle);

// The highest interface number; 0 unless the result is OPEN_E_NONE.
open_error_t get_interface_num_max(openapiClientHandle_t* client_handle, uint32_t* if_num);

// "Include", "Autodetect" or "Exclude"; null for any other mode.
const char* get_participation_mode_text(OPEN_VLAN_PARTICIPATION_MODE_t mode);
