// WebDAV: PROPFIND, MKCOL, DELETE and PUT.
#pragma once

#include "httpd/mg_target.h"

bool mg_is_dav_method(const char* method);
void mg_open_dav_endpoint(connection* conn, const mg_target* target);

// Writes the body bytes that have arrived to the file of an EP_PUT request.
void mg_put_data(connection* conn);

// Queues the next piece of an EP_PROPFIND request.
void mg_continue_propfind(connection* conn);
