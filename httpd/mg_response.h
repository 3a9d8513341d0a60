// Writing responses.
#pragma once

#include "httpd/mg_escape.h"
#include "httpd/mg_internal.h"

void terminate_headers(connection* conn);
void write_terminating_chunk(connection* conn);

// What the server's settings put behind a status line.
void write_server_headers(connection* conn, bool is_file);

// Sends an error (through the handler, as a redirect, or as plain text) and ends the request. The
// text behind the status is cut to what 200 bytes of body hold.
void send_http_error(connection* conn, int code, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The same with headers of its own, complete lines.
void send_http_error_with(connection* conn, int code, const char* headers, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

// Answers with a status, headers ("" or complete lines) and no body, and ends the request.
void mg_send_empty(connection* conn, int status, const char* headers);

// Answers 401 with a digest challenge and ends the request.
void mg_send_digest_auth_request(connection* conn);

// The text for an answer; without one, for want of memory, the answer is given up.
inline const char* mg_chars(const connection* conn, const mg_text& text)
{
  if (!text)
    ns_break_conn(conn->ns_conn);
  return text ? text.get() : "";
}
