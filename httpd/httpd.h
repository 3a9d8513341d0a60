// The embedded HTTP server, as an application sees it.
//
// One thread: everything, the handler included, runs inside mg_poll_server. A handler sees one
// mg_connection per request; its strings point into the server's copy of the request and are valid
// until the request ends.
#pragma once

#include <stddef.h>
#include <stdint.h>

struct mg_server;

constexpr int MG_MAX_HEADERS = 30;            // further header lines are not parsed
constexpr size_t MG_MAX_HEADER_SIZE = 16384;  // a longer header block is refused with 413
constexpr int MG_IDLE_TIMEOUT_S = 300;        // idle connections are closed after that

struct mg_header {
  const char* name;
  const char* value;
};

struct mg_connection {
  const char* request_method;  // "GET"; of a response: the protocol
  const char* uri;             // decoded and normalised path, without the query
  const char* http_version;    // "1.1"
  const char* query_string;    // text after "?", not decoded, or null
  char remote_ip[48];
  char local_ip[48];
  uint16_t remote_port;
  uint16_t local_port;
  int num_headers;
  mg_header http_headers[MG_MAX_HEADERS];
  char* content;       // the body's bytes that have arrived
  size_t content_len;  // how many
  int is_websocket;
  int status_code;  // of the response being written; 0 before its status line
  int wsbits;       // first byte of the current WebSocket frame
  void* server_param;
  void* connection_param;  // free for the handler; null at the start of each request
  void* callback_param;
};

enum mg_event {
  MG_POLL = 100,
  MG_CONNECT = 101,
  MG_AUTH = 102,
  MG_REQUEST = 103,
  MG_REPLY = 104,
  MG_RECV = 105,
  MG_CLOSE = 106,
  MG_WS_HANDSHAKE = 107,
  MG_WS_CONNECT = 108,
  MG_HTTP_ERROR = 109
};

enum mg_result { MG_FALSE = 0, MG_TRUE = 1, MG_MORE = 2 };

using mg_handler_t = int (*)(struct mg_connection* conn, enum mg_event ev);

struct mg_server* mg_create_server(void* server_param, mg_handler_t handler);
void mg_destroy_server(struct mg_server** server);
int mg_poll_server(struct mg_server* server, int milliseconds);
const char* mg_set_option(struct mg_server* server, const char* name, const char* value);
const char* mg_get_option(const struct mg_server* server, const char* name);

size_t mg_send_header(struct mg_connection* conn, const char* name, const char* value);
size_t mg_printf_data(struct mg_connection* conn, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

const char* mg_get_header(const struct mg_connection* conn, const char* name);
int mg_get_var(const struct mg_connection* conn, const char* name, char* dst, size_t dst_len);

struct MD5_CTX {
  uint32_t state[4];
  uint64_t length;
  unsigned char block[64];
};
void MD5Init(MD5_CTX* ctx);
void MD5Update(MD5_CTX* ctx, const unsigned char* data, size_t length);
void MD5Final(unsigned char digest[16], MD5_CTX* ctx);
