// Digest authentication.
#pragma once

#include "httpd/mg_target.h"

bool mg_is_authorized(const connection* conn, const mg_target* target);
bool mg_is_dav_authorized(const connection* conn);
