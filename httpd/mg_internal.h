// The records that the files of the HTTP layer share.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include "httpd/httpd.h"
#include "httpd/ns_net.h"

// What serves the request.
enum endpoint_type {
  EP_NONE = 0,
  EP_FILE = 1,
  EP_CGI = 2,
  EP_USER = 3,
  EP_PUT = 4,
  EP_CLIENT = 5,
  EP_PROXY = 6,
  EP_PROPFIND = 7
};

// Options, in the order of the option table.
enum mg_option {
  ACCESS_CONTROL_LIST,
  ACCESS_LOG_FILE,
  AUTH_DOMAIN,
  CGI_INTERPRETER,
  CGI_PATTERN,
  DAV_AUTH_FILE,
  DOCUMENT_ROOT,
  ENABLE_DIRECTORY_LISTING,
  ENABLE_PROXY,
  EXTRA_MIME_TYPES,
  GLOBAL_AUTH_FILE,
  HIDE_FILES_PATTERN,
  HEXDUMP_FILE,
  INDEX_FILES,
  LISTENING_PORT,
  RUN_AS_USER,
  SSI_PATTERN,
  URL_REWRITES,
  NUM_OPTIONS
};

struct mg_put;
struct mg_propfind;

// How far the bytes of a text have been checked to be UTF-8; all zero between two characters.
struct utf8_state {
  int missing;                // bytes of the character that are still to come
  unsigned char first, last;  // the range that the next one must lie in
};

// One HTTP connection, from accept to close; the socket's user_data points to it.
struct connection {
  ns_connection* ns_conn;
  mg_connection mg_conn;
  mg_server* server;
  union {
    int fd;                 // EP_FILE
    ns_connection* nc;      // EP_CGI, EP_PROXY: the peer
    mg_put* put;            // EP_PUT, owned
    mg_propfind* propfind;  // EP_PROPFIND, owned
  } endpoint;
  enum endpoint_type endpoint_type;
  void (*release_endpoint)(connection* conn);  // frees what the endpoint holds, or null
  char* path_info;                             // owned
  char* written_target;    // the request's target as it came, where its headers are
  int64_t num_bytes_recv;  // received for this request, header block included
  int64_t cl;              // Content-Length; of a file: bytes left to send
  int request_len;         // length of the header block; 0 incomplete, negative malformed
  char* proxy_request;     // owned copy of the header block as it came, when proxying is on
  bool is_in_message;      // a fragmented WebSocket message is under way
  bool is_in_text;         // the WebSocket message is a text
  utf8_state text_state;   // of that text
  bool handler_called;     // with MG_REQUEST, for this request
  bool is_encoded;         // the request has a Transfer-Encoding
  bool must_close;         // where this request ends is not clear, or it is not read to its end
  bool is_over;            // a request has ended while what had been received was looked at
  // By the manager's clock: when the client last brought the request on as it should (0: nothing of
  // one has come), and since when the connection has been without one.
  int64_t progress_ms;
  int64_t idle_since_ms;
  int64_t progress_bytes;  // num_bytes_recv at that time, 0 in a header block
};

struct cgi_child;

struct mg_server {
  ns_mgr mgr;  // the first member: a manager's address is its server's
  ns_socket_address lsa;
  mg_handler_t event_handler;
  ns_callback_t listener_callback;    // of the listeners that an option opens
  char* config_options[NUM_OPTIONS];  // owned
  cgi_child* children;                // CGI programs that have not been waited for
  mg_limits limits;
  mg_answer_headers headers;
  size_t received;  // bytes that wait in the connections' receive buffers, or more: see mg_limits
};

// The record that the handler's view is part of.
inline connection* mg_conn_2_conn(const mg_connection* conn)
{
  const char* member = reinterpret_cast<const char*>(conn);
  return const_cast<connection*>(
      reinterpret_cast<const connection*>(member - offsetof(connection, mg_conn)));
}

// Whether the socket is the far side of a request that is served elsewhere; its user_data is then
// the connection that waits for it.
inline bool is_peer(const ns_connection* nc)
{
  return (nc->flags & (MGF_CGI_PEER | MGF_PROXY_PEER)) != 0;
}

// The connection's own record; a peer of a CGI or proxied request has none.
inline connection* connection_of(const ns_connection* nc)
{
  return is_peer(nc) ? nullptr : static_cast<connection*>(nc->user_data);
}

inline bool is_head(const mg_connection* conn)
{
  return conn->request_method && strcmp(conn->request_method, "HEAD") == 0;
}

// The option's value or null.
inline const char* mg_option_value(const mg_server* server, mg_option option)
{
  return server->config_options[option];
}
