// Who serves a request that the application does not handle.
#pragma once

#include "httpd/mg_internal.h"

void mg_open_builtin_endpoint(connection* conn);

// The share of a built-in endpoint in every pass.
void mg_poll_endpoint(connection* conn, time_t now);
