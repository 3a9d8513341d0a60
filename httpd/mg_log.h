// The access log.
#pragma once

#include "httpd/mg_internal.h"

// Appends the request's line to the access log, if there is one.
void log_access(const connection* conn);
