// Content types of files.
#pragma once

#include "httpd/mg_internal.h"
#include "httpd/mg_parse.h"

// The type that the option "extra_mime_types" or else the built-in table has for the path.
mg_vec mg_mime_type(const connection* conn, const char* path);
