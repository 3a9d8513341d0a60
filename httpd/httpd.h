// The embedded HTTP server, as an application sees it.
//
// One thread: everything, the handler included, runs inside mg_poll_server. The handler sees one
// mg_connection for each request; its strings point into the server's copy of the request and are
// valid until the request ends.
#pragma once

#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

struct mg_server;

constexpr int MG_MAX_HEADERS = 30;            // further header lines are not parsed
constexpr size_t MG_MAX_HEADER_SIZE = 16384;  // a longer header block is refused with 413
constexpr int MG_IDLE_TIMEOUT_S = 300;        // a connection idle for longer is closed

struct mg_header {
  const char* name;
  const char* value;
};

// One request. In a connection between two requests the strings are null and the counts 0.
struct mg_connection {
  const char* request_method;  // "GET"; of a response: the protocol token of its status line
  const char* uri;             // decoded and normalised path, without the query
  const char* http_version;    // text behind "HTTP/"
  const char* query_string;    // text behind the first "?", not decoded, or null
  char remote_ip[48];
  char local_ip[48];
  uint16_t remote_port;
  uint16_t local_port;
  int num_headers;
  mg_header* http_headers;  // in order of arrival
  char* content;            // body bytes that have arrived
  size_t content_len;       // how many there are
  int is_websocket;         // 1 after a WebSocket upgrade
  int status_code;         // of the response being written, 0 before its status line; of a response
                           // that was received: its status
  int wsbits;              // first byte of the current WebSocket frame
  void* server_param;      // as given to mg_create_server
  void* connection_param;  // free for the handler; null again when the request ends
  void* callback_param;    // text of a wake-up; null again when the request ends
};

enum mg_event {
  MG_POLL = 100,          // every pass of the loop; MG_TRUE ends the request
  MG_CONNECT = 101,       // an outbound connection is made or has failed (status_code not 0)
  MG_AUTH = 102,          // may the request proceed? MG_FALSE sends a digest challenge
  MG_REQUEST = 103,       // a request, with its whole body, is to be answered
  MG_REPLY = 104,         // a response arrived on an outbound connection
  MG_RECV = 105,          // bytes of a body arrived; the answer is how many were consumed
  MG_CLOSE = 106,         // the connection is about to go away
  MG_WS_HANDSHAKE = 107,  // an upgrade to WebSocket; not 0: the handler has answered it itself
  MG_WS_CONNECT = 108,    // a WebSocket connection is open
  MG_HTTP_ERROR = 109  // an error (status_code) is about to be sent; MG_TRUE: handler has done so
};

// Answers of a handler.
enum mg_result {
  MG_FALSE = 0,  // not handled: the server goes on by itself
  MG_TRUE = 1,   // handled: the request ends
  MG_MORE = 2    // handled later: MG_POLL comes until the handler answers MG_TRUE to it
};

using mg_handler_t = int (*)(struct mg_connection* conn, enum mg_event ev);

// --- the server ---

// A new server that does not listen yet, or null when memory is short. The handler may be null.
struct mg_server* mg_create_server(void* server_param, mg_handler_t handler);

// Closes all connections, frees the server and sets the pointer to null.
void mg_destroy_server(struct mg_server** server);

// One pass of the loop, waiting at most so long; returns its time in seconds since the epoch.
int mg_poll_server(struct mg_server* server, int milliseconds);

// Sets an option; the value is copied, null or "" unsets it. Returns null or an error text.
// "listening_port" opens listeners and then reads as the port of the last one; at an address that
// it cannot listen on it stops, with errno as of the failure (0: the address is invalid, or there
// is no usable certificate).
const char* mg_set_option(struct mg_server* server, const char* name, const char* value);

// What clients may cost. 0 is no limit, which is what each is until it is set.
struct mg_limits {
  // Bytes of a request's body, or of a WebSocket frame. A longer one is refused with 413, or with
  // 1009, and the connection closed.
  size_t body_max;
  // Received bytes that wait in all connections together. Beyond it the one that holds the most,
  // and more than 64 KiB, is refused likewise.
  size_t buffer_total_max;
  // A header block must be complete so long after its first byte, a TLS handshake after the
  // connection; a body must bring body_min bytes, or its end, in every body_time_ms. Else 408.
  int header_time_ms;
  int body_time_ms;
  int body_min;
  // MG_POLL comes for a connection without a request not in every pass, but now and then.
  bool idle_unpolled;
};
void mg_set_limits(struct mg_server* server, const struct mg_limits* limits);

// Header lines, each with its line end, that come behind the status line of the handler's answers,
// of errors and of files. The texts stay the caller's; null: none.
struct mg_answer_headers {
  const char* all;
  const char* documents;  // not with files: who may keep a copy of one is told by what serves it
  const char* tls;        // only over TLS
};
void mg_set_answer_headers(struct mg_server* server, const struct mg_answer_headers* headers);

// Reads the certificates of the TLS listeners and what belongs to them anew. Connections that are
// open go on with the old ones. Returns null, or the path of a certificate that cannot be used: its
// listener keeps what it has.
const char* mg_renew_certificates(struct mg_server* server);

// The certificate that a TLS listener shows to new connections; false when there is none.
struct mg_certificate {
  char subject[256];     // "CN=localhost"
  char end[32];          // "2026-11-21 12:00:00 UTC"
  int64_t seconds_left;  // until then; negative when that has passed
  bool is_self_signed;
};
bool mg_get_certificate(struct mg_server* server, struct mg_certificate* certificate);

// The option's value, "" when it is unset, null for an unknown name.
const char* mg_get_option(const struct mg_server* server, const char* name);

// Name and default (null: unset) of each option in turn, ended by a null name.
const char* const* mg_get_valid_option_names(void);

// Lets a second server accept from the first one's listeners; the sockets are shared.
void mg_copy_listeners(struct mg_server* from, struct mg_server* to);

// The connection after this one, the first one for null; null at the end.
struct mg_connection* mg_next(struct mg_server* server, struct mg_connection* conn);

// Starts an outbound connection ("IPV4:PORT", see the listening addresses): MG_CONNECT tells how it
// ended, MG_REPLY brings the response. Null when it cannot be started.
struct mg_connection* mg_connect(struct mg_server* server, const char* address);

// From another thread: calls the handler with MG_POLL for every connection, the formatted text (at
// most 8191 characters) in callback_param, and waits until that has been done. The first uses the
// server's own handler and an empty text.
void mg_wakeup_server(struct mg_server* server);
void mg_wakeup_server_ex(struct mg_server* server, mg_handler_t handler, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Starts a detached thread.
void mg_start_thread(void* (*procedure)(void*), void* parameter);

// --- writing a response; each returns the bytes that are now queued ---

// Writes the status line, unless one was written.
size_t mg_send_status(struct mg_connection* conn, int status);

// Writes a header, behind a status line for 200 when there is none yet.
size_t mg_send_header(struct mg_connection* conn, const char* name, const char* value);

// Writes one chunk of the body and, before the first one, ends the headers. An empty chunk would
// end the body: do not send one.
size_t mg_send_data(struct mg_connection* conn, const void* data, size_t len);
size_t mg_send_line(struct mg_connection* conn, const char* text);  // and a line end behind it
size_t mg_printf_data(struct mg_connection* conn, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// Write bytes as they are, without status line, headers or framing.
size_t mg_write(struct mg_connection* conn, const void* data, size_t len);
size_t mg_printf(struct mg_connection* conn, const char* format, ...)
    __attribute__((format(printf, 2, 3)));

// For an answer that cannot be made for want of memory: discards what of it is queued and closes
// the connection. The functions above do the same when they run out of memory themselves.
void mg_break_connection(struct mg_connection* conn);

// Answers the request with a file, as if its name had been asked for; extra_headers (null allowed)
// are complete lines. The file is sent on later passes: the handler answers MG_MORE, not MG_TRUE.
void mg_send_file(struct mg_connection* conn, const char* file_name, const char* extra_headers);

// --- WebSocket ---
//
// Each frame of a client is a MG_REQUEST: wsbits holds its first byte (the last fragment's has bit
// 0x80 set, the opcode is in the low four bits), content its unmasked payload. For MG_FALSE the
// server answers PING and CLOSE itself and drops data.

enum {
  WEBSOCKET_OPCODE_CONTINUATION = 0,
  WEBSOCKET_OPCODE_TEXT = 1,
  WEBSOCKET_OPCODE_BINARY = 2,
  WEBSOCKET_OPCODE_CONNECTION_CLOSE = 8,
  WEBSOCKET_OPCODE_PING = 9,
  WEBSOCKET_OPCODE_PONG = 10
};

// Sends one whole frame; returns the bytes that are now queued.
size_t mg_websocket_write(struct mg_connection* conn, int opcode, const void* data, size_t len);

// --- reading a request ---

// Value of the first header of that name, in any letter case, or null.
const char* mg_get_header(const struct mg_connection* conn, const char* name);

// Decoded value of a variable of the query string or, failing that, of a form body; letter case of
// the name does not count. Returns its length, -1 when there is none, -2 when it does not fit (dst
// then holds its start) or there is no buffer. dst is always terminated.
int mg_get_var(const struct mg_connection* conn, const char* name, char* dst, size_t dst_len);

// Copies a parameter of a header value (username="joe") into buf. Returns its length, 0 when there
// is none or it does not fit; buf is then not to be used.
int mg_parse_header(const char* header_value, const char* var_name, char* buf, size_t buf_size);

// Reads one part of a multipart body: its name and file name (each "" when it has none) and where
// its data lies. Returns the offset of the next boundary, 0 when the part is incomplete or
// malformed. data and data_len may be null.
int mg_parse_multipart(const char* buf, int buf_len, char* var_name, int var_name_len,
                       char* file_name, int file_name_len, const char** data, int* data_len);

// Decodes percent escapes, and "+" when is_form is not 0. dst is always terminated. Returns the
// length, -1 when dst was too small.
int mg_url_decode(const char* src, int src_len, char* dst, int dst_len, int is_form);

// --- MD5 ---

struct MD5_CTX {
  uint32_t state[4];
  uint64_t length;  // bytes hashed so far
  unsigned char block[64];
};

void MD5Init(MD5_CTX* ctx);
void MD5Update(MD5_CTX* ctx, const unsigned char* data, size_t length);
void MD5Final(unsigned char digest[16], MD5_CTX* ctx);

// MD5 of the joined texts (the list ends with a null pointer) as 32 lower-case hexadecimal digits
// and a terminator; returns buf.
char* mg_md5(char buf[33], ...);
