#include "httpd/mg_response.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <charconv>
#include <initializer_list>
#include <string_view>

#include "httpd/mg_parse.h"
#include "httpd/mg_request.h"

// What a usual answer's header block and document take.
static constexpr size_t USUAL_ANSWER = 1024;

static size_t mg_queued(const connection* conn)
{
  return conn->ns_conn->send_iobuf.len;
}

size_t mg_write(struct mg_connection* c, const void* data, size_t len)
{
  connection* conn = mg_conn_2_conn(c);
  ns_send(conn->ns_conn, data, len);
  return mg_queued(conn);
}

size_t mg_printf(struct mg_connection* c, const char* format, ...)
{
  connection* conn = mg_conn_2_conn(c);
  va_list args;
  va_start(args, format);
  ns_vprintf(conn->ns_conn, format, args);
  va_end(args);
  return mg_queued(conn);
}

void mg_break_connection(struct mg_connection* c)
{
  ns_break_conn(mg_conn_2_conn(c)->ns_conn);
}

// Queues texts one behind the other, without a formatter: this is done for every answer.
static void write_texts(connection* conn, std::initializer_list<std::string_view> texts)
{
  for (std::string_view text : texts)
    ns_send(conn->ns_conn, text.data(), text.size());
}

void write_server_headers(connection* conn, bool is_file)
{
  const mg_answer_headers& headers = conn->server->headers;
  for (const char* lines : {headers.all, is_file ? nullptr : headers.documents,
                            conn->ns_conn->ssl ? headers.tls : nullptr})
    if (lines)
      write_texts(conn, {lines});
}

// Makes room once for what is about to be queued piece by piece.
static void reserve(connection* conn, size_t len)
{
  iobuf& io = conn->ns_conn->send_iobuf;
  if (io.size - io.len < len)
    iobuf_resize(&io, io.len + len);
}

size_t mg_send_status(struct mg_connection* c, int status)
{
  connection* conn = mg_conn_2_conn(c);
  if (c->status_code == 0) {
    c->status_code = status;
    char digits[sizeof "-2147483648"];
    size_t length =
        static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, status).ptr - digits);
    reserve(conn, USUAL_ANSWER);
    write_texts(conn, {
                          "HTTP/1.1 ", {digits, length},
                           " ", status_code_to_str(status), "\r\n"
    });
    write_server_headers(conn, false);
  }
  return mg_queued(conn);
}

size_t mg_send_header(struct mg_connection* c, const char* name, const char* value)
{
  mg_send_status(c, 200);
  write_texts(mg_conn_2_conn(c), {name, ": ", value ? value : "(null)", "\r\n"});
  return mg_queued(mg_conn_2_conn(c));
}

void terminate_headers(connection* conn)
{
  if (conn->ns_conn->flags & MGF_HEADERS_SENT)
    return;
  mg_send_status(&conn->mg_conn, 200);
  write_texts(conn, {"Transfer-Encoding: chunked\r\n\r\n"});
  conn->ns_conn->flags |= MGF_HEADERS_SENT;
}

// Frames a chunk around the bytes and what is to stand behind them.
static void write_chunk(connection* conn, std::string_view bytes, std::string_view behind)
{
  if (is_head(&conn->mg_conn))
    return;
  size_t len = bytes.size() + behind.size();
  char digits[2 * sizeof len];
  char* first = digits + sizeof digits;
  size_t rest = len;
  do
    *--first = "0123456789ABCDEF"[rest & 15];
  while ((rest >>= 4) != 0);
  size_t digits_len = static_cast<size_t>(digits + sizeof digits - first);
  reserve(conn, digits_len + len + sizeof "\r\n\r\n0\r\n\r\n");
  write_texts(conn, {
                        {first, digits_len},
                        "\r\n", bytes, behind, "\r\n"
  });
}

void write_terminating_chunk(connection* conn)
{
  if (!is_head(&conn->mg_conn))
    ns_send(conn->ns_conn, "0\r\n\r\n", 5);
}

size_t mg_send_data(struct mg_connection* c, const void* data, size_t len)
{
  connection* conn = mg_conn_2_conn(c);
  terminate_headers(conn);
  write_chunk(conn, {static_cast<const char*>(data), len}, "");
  return mg_queued(conn);
}

size_t mg_send_line(struct mg_connection* c, const char* text)
{
  connection* conn = mg_conn_2_conn(c);
  terminate_headers(conn);
  write_chunk(conn, text, "\n");
  return mg_queued(conn);
}

size_t mg_printf_data(struct mg_connection* c, const char* format, ...)
{
  connection* conn = mg_conn_2_conn(c);
  terminate_headers(conn);
  char memory[8192];
  char* text = memory;
  va_list args;
  va_start(args, format);
  int length = ns_avprintf(&text, sizeof memory, format, args);
  va_end(args);
  if (length >= 0)
    write_chunk(conn, {text, static_cast<size_t>(length)}, "");
  else
    ns_break_conn(conn->ns_conn);
  if (text != memory)
    free(text);
  return mg_queued(conn);
}

// The target of the "url_rewrites" entry code=uri for this code; false when there is none.
static bool error_redirect_of(const mg_server* server, int code, mg_vec* target)
{
  const char* list = mg_option_value(server, URL_REWRITES);
  mg_vec key;
  while ((list = next_option(list, &key, target)) != nullptr)
    if (target->ptr && key.len > 0 && strspn(key.ptr, "0123456789") >= key.len &&
        atoi(key.ptr) == code)
      return true;
  return false;
}

__attribute__((format(printf, 4, 0))) static void send_error(connection* conn, int code,
                                                             const char* headers,
                                                             const char* format, va_list args)
{
  mg_connection* c = &conn->mg_conn;
  c->status_code = code;
  if (call_user(conn, MG_HTTP_ERROR) == MG_TRUE) {
    close_local_endpoint(conn);
    return;
  }
  mg_vec target;
  if (error_redirect_of(conn->server, code, &target)) {
    c->status_code = 302;
    mg_printf(c, "HTTP/1.1 %d Moved\r\n", 302);
    write_server_headers(conn, false);
    mg_printf(c, "Location: %.*s?code=%d&orig_uri=", static_cast<int>(target.len), target.ptr,
              code);
    escape_controls(c->uri ? c->uri : "",
                    [c](const char* text, size_t len) { mg_write(c, text, len); });
    mg_printf(c, "&query_string=%s\r\n\r\n", c->query_string ? c->query_string : "");
    close_local_endpoint(conn);
    return;
  }

  const char* reason = status_code_to_str(code);
  char body[200] = "";
  if (code != 204 && (code < 300 || code > 399)) {
    int used = snprintf(body, sizeof body, "%d %s\n", code, reason);
    vsnprintf(body + used, sizeof body - static_cast<size_t>(used), format, args);
  }
  mg_printf(c, "HTTP/1.1 %d %s\r\n", code, reason);
  write_server_headers(conn, false);
  mg_printf(c, "Content-Length: %d\r\nContent-Type: text/plain\r\n%s\r\n%s",
            static_cast<int>(strlen(body)), headers, is_head(c) ? "" : body);
  close_local_endpoint(conn);
}

void send_http_error(connection* conn, int code, const char* format, ...)
{
  va_list args;
  va_start(args, format);
  send_error(conn, code, "", format, args);
  va_end(args);
}

void send_http_error_with(connection* conn, int code, const char* headers, const char* format, ...)
{
  va_list args;
  va_start(args, format);
  send_error(conn, code, headers, format, args);
  va_end(args);
}

void mg_send_digest_auth_request(connection* conn)
{
  mg_connection* c = &conn->mg_conn;
  c->status_code = 401;
  const char* realm = mg_option_value(conn->server, AUTH_DOMAIN);
  mg_printf(c, "HTTP/1.1 401 Unauthorized\r\n");
  write_server_headers(conn, false);
  mg_printf(c, "WWW-Authenticate: Digest qop=\"auth\", realm=\"%s\", nonce=\"%lu\"\r\n\r\n",
            realm ? realm : "", static_cast<unsigned long>(time(nullptr)));
  close_local_endpoint(conn);
}

void mg_send_empty(connection* conn, int status, const char* headers)
{
  conn->mg_conn.status_code = status;
  mg_printf(&conn->mg_conn, "HTTP/1.1 %d %s\r\n", status, status_code_to_str(status));
  write_server_headers(conn, false);
  mg_printf(&conn->mg_conn, "%s\r\n", headers);
  close_local_endpoint(conn);
}
