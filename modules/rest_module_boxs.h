// The "boxs" module: fans, power supplies, temperature sensors and transceivers.
#pragma once

#include <stdint.h>

#include "engine/rest_types.h"
#include "httpd/httpd.h"
#include "platform/openapi_boxs.h"
#include "platform/openapi_types.h"

int boxs_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_boxs_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_boxs_get_fan_list(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_boxs_get_power_supply_list(openapiClientHandle_t* client_handle,
                                   struct mg_connection* conn);
int api_boxs_get_temp_sensor_list(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_boxs_get_sfp_list(openapiClientHandle_t* client_handle, struct mg_connection* conn);

// Each writes the value's display text, cut to size bytes with its terminator; a value that has
// none is "Unknown". RC_FALSE only for a null buffer.
RC_t get_open_boxs_item_type_string_by_enum(OPEN_BOXS_ITEM_TYPE_t type, char* text, uint32_t size);
RC_t get_open_boxs_item_state_string_by_enum(OPEN_BOXS_ITEM_STATE_t state, char* text,
                                             uint32_t size);
RC_t get_open_boxs_tempsensor_state_string_by_enum(OPEN_BOXS_TEMPSENSOR_STATE_t state, char* text,
                                                   uint32_t size);
RC_t get_open_sfp_module_type_string_by_enum(OPEN_SFP_MODULE_TYPE_t type, char* text,
                                             uint32_t size);
