// Files: what is served for a name, whole or in part, piece by piece on each pass.
#pragma once

#include "httpd/mg_target.h"

// Answers with the file, or tells that the client has it already; extra_headers are complete lines.
void mg_open_file_endpoint(connection* conn, const mg_target* target, const char* extra_headers);

// Queues the next piece of an EP_FILE request.
void mg_transfer_file_data(connection* conn);

// Whether "If-Match" and "If-None-Match" let a request change the file (null: there is none).
bool mg_may_change(const connection* conn, const struct stat* st);
