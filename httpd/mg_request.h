// What a request is, and how it ends.
#pragma once

#include "httpd/mg_internal.h"

constexpr int REQUEST_INCOMPLETE = 0;

// Calls the application's handler; MG_FALSE when there is none.
int call_user(connection* conn, mg_event ev);

// Whether the connection is to stay open behind this request.
bool should_keep_alive(const mg_connection* conn);
const char* suggest_connection_header(const mg_connection* conn);

// Frees what belongs to the request, its endpoint first.
void release_request(connection* conn);

// Lets a connection that waits for its next request stand aside, where the application agrees.
void mg_mark_idle(connection* conn);

// Ends the request: logs it, frees what belonged to it, and keeps or closes the connection.
void close_local_endpoint(connection* conn);
