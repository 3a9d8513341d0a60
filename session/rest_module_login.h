// The "login" module: opens, lists and closes sessions and sets their idle timeout.
#pragma once

#include "engine/rest_types.h"
#include "httpd/httpd.h"
#include "platform/openapi_auth.h"

int login_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

// Asks the switch for the user; at most 255 characters of name and password count. RC_TRUE when it
// accepts them. What the account may do goes to *access, unless that is null.
RC_t authenticate_user(openapiClientHandle_t* client_handle, const char* userName,
                       const char* password, OPEN_LOGIN_ACCESS_LEVELS_t* access = nullptr);

int api_login(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_login_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_login_get_rest_session_list(openapiClientHandle_t* client_handle,
                                    struct mg_connection* conn);
int api_login_update_rest_session_timeout(openapiClientHandle_t* client_handle,
                                          struct mg_connection* conn);
int api_logout(openapiClientHandle_t* client_handle, struct mg_connection* conn);
