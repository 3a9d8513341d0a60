// What the files of the HTTP layer share.
#pragma once

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include "httpd/httpd.h"
#include "httpd/mg_escape.h"
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
  char* path_info;         // owned
  char* request;           // owned copy of the header block, split in place
  char* written_target;    // behind it: the request's target as it came
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
  char* config_options[NUM_OPTIONS];  // owned
  cgi_child* children;                // CGI programs that have not been waited for
  mg_limits limits;
  size_t received;  // bytes that wait in the connections' receive buffers, or more
};

// The record that the handler's view is part of.
connection* mg_conn_2_conn(const mg_connection* conn);

// --- mg_server.cpp ---

// The callback of every listener and connection.
void mg_ev_handler(ns_connection* nc, ns_event ev, void* data);

// Calls the application's handler; MG_FALSE when there is none.
int call_user(connection* conn, mg_event ev);

// Asks the handler, then gives the request to it or, with skip_user, to the built-in endpoints.
void open_local_endpoint(connection* conn, bool skip_user);

// Ends the request: logs it, frees what belonged to it, and keeps or closes the connection.
void close_local_endpoint(connection* conn);

// Whether the connection is to stay open behind this request.
bool should_keep_alive(const mg_connection* conn);
const char* suggest_connection_header(const mg_connection* conn);

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

// --- mg_limits.cpp ---

// Refuses a request whose body of that length is longer than it may be; true when it was.
bool mg_refuse_large_body(connection* conn, int64_t length);

// To be told of all that is received, when it has been looked at: bounds what is kept of it.
void mg_note_received(connection* conn, size_t count);

// To be told when output has been written.
void mg_note_sent(connection* conn);

// Ends a connection whose client takes too long, or can no longer be heard.
void mg_end_hopeless(connection* conn);

// The connection that has been without a complete request for longest, null when there is none.
ns_connection* mg_expendable(ns_mgr* mgr);

// --- mg_response.cpp ---

void terminate_headers(connection* conn);
void write_terminating_chunk(connection* conn);

// Sends an error (through the handler, as a redirect, or as plain text) and ends the request. The
// text behind the status is cut to what 200 bytes of body hold.
void send_http_error(connection* conn, int code, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// The same with headers of its own, complete lines.
void send_http_error_with(connection* conn, int code, const char* headers, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

// Answers 401 with a digest challenge and ends the request.
void mg_send_digest_auth_request(connection* conn);

// --- mg_options.cpp ---

// Gives the options that have no value their defaults; false when memory is short.
bool set_default_option_values(char** options);

// The option's value or null.
inline const char* mg_option_value(const mg_server* server, mg_option option)
{
  return server->config_options[option];
}

// --- mg_log.cpp ---

// Appends the request's line to the access log, if there is one.
void log_access(const connection* conn);

// --- mg_builtin.cpp ---

// Serves a request that the application does not handle.
void mg_open_builtin_endpoint(connection* conn);

// The share of a built-in endpoint in every pass.
void mg_poll_endpoint(connection* conn, time_t now);

// Stops reading a client whose request goes to a relay that has not taken the last of it, or that
// leaves long answers unread while it asks for more.
void mg_pace_client(connection* conn);

// --- mg_dav.cpp ---

// Writes the body bytes that have arrived to the file of an EP_PUT request.
void mg_put_data(connection* conn);

// Ends an EP_PUT request: what it made goes away, unless it has become the file. Ends an
// EP_PROPFIND request.
void mg_release_put(mg_put* put);
void mg_release_propfind(mg_propfind* propfind);

// --- mg_cgi.cpp ---

// Hands the body bytes that have arrived to the program of an EP_CGI request.
void mg_forward_to_cgi(connection* conn);

// Waits for the programs that have ended; ends all of them.
void mg_reap_children(mg_server* server);
void mg_end_children(mg_server* server);

// --- mg_proxy.cpp ---

// Leaves the far side of a request whose client has gone: what is queued for it still goes there.
void mg_leave_upstream(ns_connection* peer);

// Sends on what has arrived for an EP_PROXY request.
void mg_forward_to_upstream(connection* conn);

// --- mg_websocket.cpp ---

// Makes the connection a WebSocket when the request's headers ask for it.
void mg_upgrade_if_requested(connection* conn);

// Serves the complete frames that have arrived.
void mg_deliver_websocket_frames(connection* conn);

void mg_ping_idle_websocket(connection* conn, time_t now);

// Sends a CLOSE with a reason of RFC 6455 and closes behind it.
void mg_close_websocket(connection* conn, int reason);
