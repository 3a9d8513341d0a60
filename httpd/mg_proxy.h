// Requests for other servers.
#pragma once

#include "httpd/mg_internal.h"

void mg_open_proxy_endpoint(connection* conn);

// Sends on what has arrived for an EP_PROXY request.
void mg_forward_to_upstream(connection* conn);
