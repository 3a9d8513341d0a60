// CGI programs.
#pragma once

#include "httpd/mg_target.h"

void mg_open_cgi_endpoint(connection* conn, const mg_target* target);

// Hands the body bytes that have arrived to the program of an EP_CGI request.
void mg_forward_to_cgi(connection* conn);

// Waits for the programs that have ended; ends all of them.
void mg_reap_children(mg_server* server);
void mg_end_children(mg_server* server);

// What the headers in front of a CGI program's output say.
struct cgi_headers {
  int status;
  mg_vec reason;  // "" when the program gave none
  bool has_content_type;
};

// Reads a header block of that length; false when it is malformed.
bool mg_parse_cgi_headers(const char* block, size_t len, cgi_headers* headers);
