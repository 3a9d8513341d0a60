// Request entry: the session check and the choice of the module that answers.
#pragma once

#include "httpd/httpd.h"
#include "platform/openapi_types.h"

// The one handle of the management API's client, filled at start-up.
extern openapiClientHandle_t client_handle;

// The server's event callback. Everything but MG_AUTH and MG_REQUEST is left to the server.
int evt_handler(struct mg_connection* conn, enum mg_event ev);

// On MG_AUTH: decides whether the request may proceed and notes that on the connection. Always
// MG_TRUE, so that the server itself never refuses a request.
int auth_session(struct mg_connection* conn);

// On MG_REQUEST: answers the request. Always MG_TRUE.
int api_access_handler(struct mg_connection* conn);
