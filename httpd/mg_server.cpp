#include <arpa/inet.h>
#include <ctype.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <time.h>
#include <unistd.h>

#include "httpd/mg_acl.h"
#include "httpd/mg_body.h"
#include "httpd/mg_builtin.h"
#include "httpd/mg_cgi.h"
#include "httpd/mg_dav.h"
#include "httpd/mg_limits.h"
#include "httpd/mg_options.h"
#include "httpd/mg_parse.h"
#include "httpd/mg_proxy.h"
#include "httpd/mg_request.h"
#include "httpd/mg_response.h"
#include "httpd/mg_websocket.h"

static_assert(offsetof(mg_server, mgr) == 0, "a manager's address is its server's");

static constexpr size_t WAKEUP_TEXT_SIZE = 8192;

static mg_server* server_of(ns_mgr* mgr)
{
  return reinterpret_cast<mg_server*>(mgr);
}

// --- a new connection ---

static void set_address(int sock, int which, char (&ip)[48], uint16_t* port)
{
  char text[64];
  ns_sock_to_str(sock, text, sizeof text, NS_SOCK_IP | NS_SOCK_PORT | which);
  sscanf(text, "%47[^:]:%hu", ip, port);
}

static void set_addresses(connection* conn)
{
  mg_connection* c = &conn->mg_conn;
  set_address(conn->ns_conn->sock, NS_SOCK_PEER, c->remote_ip, &c->remote_port);
  set_address(conn->ns_conn->sock, 0, c->local_ip, &c->local_port);
}

static void init_connection(connection* conn, ns_connection* nc)
{
  conn->ns_conn = nc;
  conn->server = server_of(nc->mgr);
  conn->mg_conn.server_param = nc->mgr->user_data;
  conn->idle_since_ms = nc->mgr->now_ms;
}

// Links a fresh record with the socket; null when memory is short.
static connection* new_connection(ns_connection* nc)
{
  connection* conn = static_cast<connection*>(calloc(1, sizeof *conn));
  if (conn)
    init_connection(conn, nc);
  nc->user_data = conn;
  return conn;
}

// Only an explicit refusal counts: a malformed list lets everybody in.
static bool is_let_in(const ns_connection* nc)
{
  const char* acl = mg_option_value(server_of(nc->mgr), ACCESS_CONTROL_LIST);
  return check_acl(acl, ntohl(nc->sa.sin.sin_addr.s_addr)) != 0;
}

static void on_accept(ns_connection* nc)
{
  nc->user_data = nullptr;
  connection* conn = is_let_in(nc) ? new_connection(nc) : nullptr;
  if (!conn) {
    nc->flags |= NSF_CLOSE_NOW;
    return;
  }
  set_addresses(conn);
  mg_mark_idle(conn);
}

static void on_connect(connection* conn, int result)
{
  conn->mg_conn.status_code = result;
  if (result == 0)
    set_addresses(conn);
  if (call_user(conn, MG_CONNECT) == MG_FALSE || result != 0)
    conn->ns_conn->flags |= NSF_CLOSE_NOW;
}

// --- reading a request ---

// Takes from the headers what tells where the body ends; `block` is what they were parsed from.
static void read_body_length(connection* conn, const char* block, bool all_parsed)
{
  const mg_connection* c = &conn->mg_conn;
  const char* length = nullptr;
  for (int i = 0; i < c->num_headers; i++) {
    const mg_header& header = c->http_headers[i];
    int initial = header.name[0] | 0x20;
    if (initial == 'c' && !length && strcasecmp(header.name, "Content-Length") == 0)
      length = header.value;
    else if (initial == 't' && strcasecmp(header.name, "Transfer-Encoding") == 0)
      conn->is_encoded = true;
  }
  conn->cl = length ? strtoll(length, nullptr, 10) : 0;
  conn->must_close = (length || conn->is_encoded || !all_parsed) &&
                     !mg_end_is_clear(block, static_cast<size_t>(conn->request_len));
}

// Writes the target of a header block, which is terminated, as the client wrote it behind the
// block.
static char* copy_target(char* block, size_t length)
{
  const char* target = block + strspn(block, " \r\n");
  target += strcspn(target, " \r\n");
  target += strspn(target, " ");
  size_t target_length = strcspn(target, " \r\n");
  char* copy = static_cast<char*>(memcpy(block + length, target, target_length));
  copy[target_length] = '\0';
  return copy;
}

// Only a connection with a request has room for headers: an idle one is to be small. The copy of
// the block, split in place, and its target stand behind them.
static constexpr size_t HEADERS_SIZE = MG_MAX_HEADERS * sizeof(mg_header);

static void try_parse(connection* conn)
{
  iobuf* io = &conn->ns_conn->recv_iobuf;
  if (conn->request_len != REQUEST_INCOMPLETE ||
      (conn->request_len = get_request_len(io->buf, io->len)) <= 0)
    return;
  size_t length = static_cast<size_t>(conn->request_len);
  mg_header* headers = static_cast<mg_header*>(malloc(HEADERS_SIZE + 2 * length));
  if (!headers) {
    conn->request_len = REQUEST_INCOMPLETE;
    ns_break_conn(conn->ns_conn);
    return;
  }
  conn->mg_conn.http_headers = headers;
  char* block = static_cast<char*>(static_cast<void*>(headers)) + HEADERS_SIZE;
  memcpy(block, io->buf, length);
  block[length - 1] = '\0';
  conn->written_target = copy_target(block, length);
  if (mg_option_value(conn->server, ENABLE_PROXY))
    if (!(conn->proxy_request = strndup(io->buf, length)))
      ns_break_conn(conn->ns_conn);
  bool all_parsed;
  conn->request_len = parse_http_message(block, length, &conn->mg_conn, &all_parsed);
  if (conn->request_len > 0)
    read_body_length(conn, io->buf, all_parsed);
  iobuf_remove(io, length);
}

// Asks the handler, then gives the request to it or, with skip_user, to the built-in endpoints.
static void open_local_endpoint(connection* conn, bool skip_user)
{
  // Behind the handshake of a WebSocket no HTTP may follow, from whomever.
  bool is_websocket = conn->mg_conn.is_websocket;
  conn->endpoint_type = is_websocket ? EP_USER : EP_NONE;
  if (conn->server->event_handler) {
    if (call_user(conn, MG_AUTH) == MG_FALSE) {
      if (is_websocket)
        mg_close_websocket(conn, WEBSOCKET_CLOSE_POLICY);
      else
        mg_send_digest_auth_request(conn);
      return;
    }
    if (!skip_user) {
      conn->endpoint_type = EP_USER;
      return;
    }
  }
  if (!is_websocket)
    mg_open_builtin_endpoint(conn);
}

static void send_continue_if_expected(connection* conn)
{
  const char* expect = mg_get_header(&conn->mg_conn, "Expect");
  if (expect && strcasecmp(expect, "100-continue") == 0 &&
      strcmp(conn->mg_conn.http_version, "1.1") == 0)
    mg_printf(&conn->mg_conn, "HTTP/1.1 100 Continue\r\n\r\n");
}

static int call_request_handler(connection* conn)
{
  conn->handler_called = true;  // once: more bytes may come while the answer is being prepared
  int answer = call_user(conn, MG_REQUEST);
  if (answer == MG_TRUE) {
    if (conn->ns_conn->flags & MGF_HEADERS_SENT)
      write_terminating_chunk(conn);
    close_local_endpoint(conn);
  }
  return answer;
}

static void call_request_handler_if_data_is_buffered(connection* conn)
{
  // Subtracted, since a client may announce any 64-bit length.
  if (conn->mg_conn.is_websocket)
    mg_deliver_websocket_frames(conn);
  else if (!conn->handler_called && conn->num_bytes_recv - conn->request_len >= conn->cl &&
           call_request_handler(conn) == MG_FALSE)
    open_local_endpoint(conn, true);
}

// A well-formed request line; the parser also takes the status line of a response.
static bool is_request(const connection* conn)
{
  const mg_connection* c = &conn->mg_conn;
  return strncmp(c->request_method, "HTTP/", sizeof "HTTP/" - 1) != 0 && is_valid_uri(c->uri);
}

// A proxied request goes on as it came, if the handler does not want it.
static bool is_for_handler(const connection* conn)
{
  return conn->server->event_handler && !conn->proxy_request;
}

// Answers what cannot be served, or chooses what serves it; false when the request has ended or its
// header block is still incomplete.
static bool accept_request(connection* conn)
{
  const mg_connection* c = &conn->mg_conn;
  if (conn->request_len < 0 || (conn->request_len > 0 && !is_request(conn))) {
    send_http_error(conn, 400, "%s", "");
    return false;
  }
  if (conn->request_len == REQUEST_INCOMPLETE) {
    if (conn->ns_conn->recv_iobuf.len > MG_MAX_HEADER_SIZE)
      send_http_error(conn, 413, "%s", "");
    return false;
  }
  if (strcmp(c->http_version, "1.0") != 0 && strcmp(c->http_version, "1.1") != 0) {
    send_http_error(conn, 505, "%s", "");
    return false;
  }
  if (conn->endpoint_type == EP_NONE) {
    if (mg_refuse_large_body(conn, conn->cl))
      return false;
    if (is_for_handler(conn) && conn->is_encoded) {
      send_http_error(conn, 411, "%s", "");
      return false;
    }
    mg_upgrade_if_requested(conn);
    if (!c->is_websocket)
      send_continue_if_expected(conn);
    open_local_endpoint(conn, false);
  }
  return conn->request_len > 0;
}

// Hands newly arrived body bytes to the handler, and the request once it is complete.
static void serve_user(connection* conn)
{
  iobuf* io = &conn->ns_conn->recv_iobuf;
  if (!conn->mg_conn.is_websocket && mg_refuse_large_body(conn, static_cast<int64_t>(io->len)))
    return;
  int consumed = call_user(conn, MG_RECV);
  if (consumed < 0)
    conn->ns_conn->flags |= NSF_CLOSE_WHEN_SENT;
  else if (static_cast<size_t>(consumed) <= io->len)
    iobuf_remove(io, static_cast<size_t>(consumed));
  call_request_handler_if_data_is_buffered(conn);
}

static void on_recv_data(connection* conn)
{
  ns_connection* nc = conn->ns_conn;
  if (conn->request_len == REQUEST_INCOMPLETE &&
      (nc->flags & (NSF_CLOSE_WHEN_SENT | NSF_CLOSE_NOW))) {
    // The last answer has been given; what still comes is not a request.
    iobuf_free(&nc->recv_iobuf);
    return;
  }
  if (conn->endpoint_type == EP_PROXY) {
    mg_forward_to_upstream(conn);
    return;
  }
  try_parse(conn);
  if (!accept_request(conn))
    return;
  if (conn->endpoint_type == EP_CGI)
    mg_forward_to_cgi(conn);
  if (conn->endpoint_type == EP_USER)
    serve_user(conn);
  if (conn->endpoint_type == EP_PUT)
    mg_put_data(conn);
  if (conn->endpoint_type == EP_FILE || conn->endpoint_type == EP_PROPFIND)
    iobuf_free(&nc->recv_iobuf);  // it would be discarded at the answer's end
}

// A datagram is a whole request; its record lives for this call.
static void process_udp(ns_connection* datagram)
{
  if (!is_let_in(datagram))
    return;
  ns_connection nc = *datagram;
  nc.recv_iobuf = {};
  iobuf_append(&nc.recv_iobuf, datagram->recv_iobuf.buf, datagram->recv_iobuf.len);
  connection conn = {};
  init_connection(&conn, &nc);
  nc.user_data = &conn;
  inet_ntop(AF_INET, &nc.sa.sin.sin_addr, conn.mg_conn.remote_ip, sizeof conn.mg_conn.remote_ip);
  conn.mg_conn.remote_port = ntohs(nc.sa.sin.sin_port);
  set_address(nc.sock, 0, conn.mg_conn.local_ip, &conn.mg_conn.local_port);
  conn.num_bytes_recv = static_cast<int64_t>(nc.recv_iobuf.len);
  on_recv_data(&conn);
  if (nc.send_iobuf.len > 0)
    ns_send(&nc, nc.send_iobuf.buf, nc.send_iobuf.len);  // the start of a file
  release_request(&conn);
  iobuf_free(&nc.recv_iobuf);
  iobuf_free(&nc.send_iobuf);
}

// --- responses on outbound connections ---

// Reads the size line of the chunk at that offset; the offset of the chunk's bytes, or 0 when the
// line is malformed or incomplete.
static size_t read_chunk_size(const iobuf* io, size_t offset, size_t* size)
{
  const char* line = io->buf + offset;
  const char* end = static_cast<const char*>(memchr(line, '\n', io->len - offset));
  char digits[9] = "";
  for (size_t i = 0; end && i < sizeof digits - 1 && isxdigit(static_cast<unsigned char>(line[i]));
       i++)
    digits[i] = line[i];
  *size = strtoul(digits, nullptr, 16);
  return digits[0] ? static_cast<size_t>(end - io->buf) + 1 : 0;
}

// Whether all chunks of a body are there; with `join` they are put together in place.
static bool walk_chunks(iobuf* io, bool join)
{
  for (size_t from = 0, to = 0;;) {
    size_t size;
    size_t start = read_chunk_size(io, from, &size);
    if (start == 0 || size > io->len - start || io->len - start - size < sizeof "\r\n" - 1)
      return false;
    if (join)
      memmove(io->buf + to, io->buf + start, size);
    to += size;
    from = start + size + sizeof "\r\n" - 1;
    if (size == 0) {
      io->len = join ? to : io->len;
      return true;
    }
  }
}

static bool response_is_complete(connection* conn)
{
  const mg_connection* c = &conn->mg_conn;
  if (mg_get_header(c, "Content-Length"))
    return conn->num_bytes_recv - conn->request_len >= conn->cl;
  const char* encoding = mg_get_header(c, "Transfer-Encoding");
  if (encoding && strcasecmp(encoding, "chunked") == 0)
    return walk_chunks(&conn->ns_conn->recv_iobuf, false) &&
           walk_chunks(&conn->ns_conn->recv_iobuf, true);
  return false;  // the body runs to the close
}

static void deliver_reply(connection* conn)
{
  call_user(conn, MG_REPLY);
  iobuf_free(&conn->ns_conn->recv_iobuf);
  release_request(conn);
}

static void process_response(connection* conn)
{
  try_parse(conn);
  if (conn->request_len < 0 || (conn->request_len == REQUEST_INCOMPLETE &&
                                conn->ns_conn->recv_iobuf.len > MG_MAX_HEADER_SIZE))
    conn->ns_conn->flags |= NSF_CLOSE_NOW;
  else if (conn->request_len > 0 && response_is_complete(conn))
    deliver_reply(conn);
}

// --- events ---

static void on_recv(ns_connection* nc, connection* conn, int count)
{
  if (nc->flags & NSF_BROKEN)
    return;  // what is left of the request is not what the client sent
  if (nc->listener && (nc->flags & NSF_UDP)) {
    process_udp(nc);
    return;
  }
  if (!conn)
    return;
  conn->num_bytes_recv += count;
  if (nc->listener) {
    conn->is_over = false;
    on_recv_data(conn);
    mg_note_received(conn, static_cast<size_t>(count));
    if (conn->is_over)
      nc->flags |= NSF_DISCARD_INPUT;
    mg_pace_client(conn);
  } else {
    process_response(conn);
  }
}

static void on_close(ns_connection* nc, connection* conn)
{
  nc->user_data = nullptr;
  if (!conn)
    return;
  if (conn->endpoint_type == EP_CLIENT && (nc->recv_iobuf.len > 0 || conn->request_len > 0))
    deliver_reply(conn);
  call_user(conn, MG_CLOSE);
  close_local_endpoint(conn);
  free(conn);
}

static void on_poll(ns_connection* nc, connection* conn, time_t now)
{
  if (conn && call_user(conn, MG_POLL) == MG_TRUE) {
    if (nc->flags & MGF_HEADERS_SENT)
      write_terminating_chunk(conn);
    close_local_endpoint(conn);
  }
  if (conn) {
    mg_poll_endpoint(conn, now);
    mg_end_hopeless(conn);
  }
  if (nc->listener && now - nc->last_io_time > MG_IDLE_TIMEOUT_S) {
    on_close(nc, conn);
    nc->flags |= NSF_CLOSE_NOW;
  }
}

// The callback of every listener and connection.
static void mg_ev_handler(ns_connection* nc, ns_event ev, void* data)
{
  connection* conn = connection_of(nc);
  switch (ev) {
    case NS_POLL:
      on_poll(nc, conn, *static_cast<time_t*>(data));
      break;
    case NS_ACCEPT:
      on_accept(nc);
      break;
    case NS_CONNECT:
      if (conn)
        on_connect(conn, *static_cast<int*>(data));
      break;
    case NS_RECV:
      on_recv(nc, conn, *static_cast<int*>(data));
      break;
    case NS_CLOSE:
      on_close(nc, conn);
      break;
    case NS_SEND:
      if (conn && *static_cast<int*>(data) > 0)
        mg_note_sent(conn);
      break;
  }
}

// --- the server ---

struct mg_server* mg_create_server(void* server_param, mg_handler_t handler)
{
  mg_server* server = static_cast<mg_server*>(calloc(1, sizeof *server));
  if (!server)
    return nullptr;
  ns_mgr_init(&server->mgr, server_param);
  server->event_handler = handler;
  server->listener_callback = mg_ev_handler;
  server->mgr.expendable = mg_expendable;
  if (!set_default_option_values(server->config_options))
    mg_destroy_server(&server);
  return server;
}

void mg_destroy_server(struct mg_server** server)
{
  if (!server || !*server)
    return;
  ns_mgr_free(&(*server)->mgr);
  mg_end_children(*server);
  for (char* option : (*server)->config_options)
    free(option);
  free(*server);
  *server = nullptr;
}

int mg_poll_server(struct mg_server* server, int milliseconds)
{
  time_t now = ns_mgr_poll(&server->mgr, milliseconds);
  mg_reap_children(server);
  return static_cast<int>(now);
}

struct mg_connection* mg_next(struct mg_server* server, struct mg_connection* c)
{
  ns_connection* nc = c ? mg_conn_2_conn(c)->ns_conn : nullptr;
  do {
    nc = ns_next(&server->mgr, nc);
  } while (nc && !connection_of(nc));
  return nc ? &connection_of(nc)->mg_conn : nullptr;
}

struct mg_connection* mg_connect(struct mg_server* server, const char* address)
{
  ns_connection* nc = ns_connect(&server->mgr, address, mg_ev_handler, nullptr);
  if (!nc)
    return nullptr;
  connection* conn = new_connection(nc);
  if (!conn) {
    ns_close_conn(nc);
    return nullptr;
  }
  conn->endpoint_type = EP_CLIENT;
  nc->flags = NSF_CONNECTING;
  return &conn->mg_conn;
}

void mg_copy_listeners(struct mg_server* from, struct mg_server* to)
{
  for (ns_connection* nc = ns_next(&from->mgr, nullptr); nc; nc = ns_next(&from->mgr, nc)) {
    if (!(nc->flags & NSF_LISTENING))
      continue;
    int sock = fcntl(nc->sock, F_DUPFD_CLOEXEC, 0);  // each server closes its own descriptor
    ns_connection* copy = ns_add_sock(&to->mgr, sock, nc->callback, nc->user_data);
    if (!copy) {
      if (sock >= 0)
        close(sock);
      continue;
    }
    copy->sa = nc->sa;
    copy->flags = nc->flags;
    copy->proto_data = nc->proto_data;
    copy->ssl_ctx = nc->ssl_ctx;  // and no files: it keeps this certificate
    if (copy->ssl_ctx)
      SSL_CTX_up_ref(copy->ssl_ctx);
  }
}

void mg_set_answer_headers(struct mg_server* server, const struct mg_answer_headers* headers)
{
  server->headers = *headers;
}

// --- certificates ---

// The TLS listener behind this one in the list; the first one for null.
static ns_connection* next_tls_listener(mg_server* server, ns_connection* nc)
{
  do {
    nc = ns_next(&server->mgr, nc);
  } while (nc && !((nc->flags & NSF_LISTENING) && nc->files));
  return nc;
}

const char* mg_renew_certificates(struct mg_server* server)
{
  const char* unusable = nullptr;
  for (ns_connection* nc = nullptr; (nc = next_tls_listener(server, nc)) != nullptr;)
    if (!ns_renew_tls(nc))
      unusable = nc->files->cert;
  return unusable;
}

// The subject on one line: its control characters are escaped.
static void write_subject(const X509* certificate, char* text, size_t size)
{
  BIO* memory = BIO_new(BIO_s_mem());
  int length = 0;
  if (memory &&
      X509_NAME_print_ex(memory, X509_get_subject_name(certificate), 0, XN_FLAG_RFC2253) >= 0)
    length = BIO_read(memory, text, static_cast<int>(size - 1));
  text[length > 0 ? length : 0] = '\0';
  BIO_free(memory);
}

bool mg_get_certificate(struct mg_server* server, struct mg_certificate* certificate)
{
  *certificate = {};
  const ns_connection* nc = next_tls_listener(server, nullptr);
  X509* served = nc ? SSL_CTX_get0_certificate(nc->ssl_ctx) : nullptr;
  int days = 0;
  int seconds = 0;
  tm end = {};
  if (!served || ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(served)) != 1 ||
      ASN1_TIME_to_tm(X509_get0_notAfter(served), &end) != 1)
    return false;
  write_subject(served, certificate->subject, sizeof certificate->subject);
  strftime(certificate->end, sizeof certificate->end, "%Y-%m-%d %H:%M:%S UTC", &end);
  certificate->seconds_left = int64_t{days} * 24 * 60 * 60 + seconds;
  certificate->is_self_signed = X509_self_signed(served, 0) == 1;
  return true;
}

// --- wake-up ---

static void on_wakeup(ns_connection* nc, ns_event, void* data)
{
  connection* conn = connection_of(nc);
  char* text = static_cast<char*>(data);
  void* pointer = nullptr;
  int used = 0;
  if (!conn || sscanf(text, "%p %n", &pointer, &used) != 1)
    return;
  conn->mg_conn.callback_param = text + used;
  reinterpret_cast<mg_handler_t>(pointer)(&conn->mg_conn, MG_POLL);
  conn->mg_conn.callback_param = nullptr;  // the text does not outlive this call
}

void mg_wakeup_server_ex(struct mg_server* server, mg_handler_t handler, const char* format, ...)
{
  char text[WAKEUP_TEXT_SIZE - 1];
  int used = snprintf(text, sizeof text, "%p ", reinterpret_cast<void*>(handler));
  va_list args;
  va_start(args, format);
  vsnprintf(text + used, sizeof text - static_cast<size_t>(used), format, args);
  va_end(args);
  if (handler)
    ns_wakeup(&server->mgr, on_wakeup, text, strlen(text) + 1);
}

void mg_wakeup_server(struct mg_server* server)
{
  mg_wakeup_server_ex(server, server->event_handler, "%s", "");
}

void mg_start_thread(void* (*procedure)(void*), void* parameter)
{
  ns_start_thread(procedure, parameter);
}
