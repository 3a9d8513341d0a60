// The "tcam" module: classification policies and what they take up in the TCAM.
#pragma once

#include <stdint.h>

#include "engine/rest_types.h"
#include "httpd/httpd.h"
#include "platform/openapi_tcam.h"
#include "platform/openapi_types.h"

int tcam_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

// Text of a policy type; RC_FALSE, and out left alone, for a type without one. out takes 32 bytes.
RC_t get_tcam_policy_type_string_by_eum(OPEN_TCAM_POLICY_TYPE_t policyType, char* out);

// RC_TRUE when every bit of action is set in actionType; action 0 asks for no action at all.
RC_t get_if_tcam_action_type_contain_specified_action(uint32_t actionType, uint32_t action);

int api_tcam_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_tcam_get_group_stats(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_tcam_get_policy_list(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_tcam_get_policy_specified_id(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn);
int api_tcam_create_new_policy(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_tcam_delete_policy_specified_id(openapiClientHandle_t* client_handle,
                                        struct mg_connection* conn);
int api_tcam_delete_policy_all(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_tcam_create_policy_specified_id_to_port(openapiClientHandle_t* client_handle,
                                                struct mg_connection* conn);
int api_tcam_delete_policy_specified_id_from_port(openapiClientHandle_t* client_handle,
                                                  struct mg_connection* conn);
