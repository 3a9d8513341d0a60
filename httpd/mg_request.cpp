#include "httpd/mg_request.h"

#include <stdlib.h>
#include <strings.h>

#include "httpd/mg_log.h"

// Lets the handler see the body bytes that have arrived, and no others: the buffer moves and
// shrinks, and holds the header block until that is complete.
static void show_content(connection* conn)
{
  const iobuf& io = conn->ns_conn->recv_iobuf;
  bool is_body = conn->request_len > 0 || conn->endpoint_type == EP_CLIENT;
  conn->mg_conn.content = is_body ? io.buf : nullptr;
  conn->mg_conn.content_len = is_body ? io.len : 0;
}

int call_user(connection* conn, mg_event ev)
{
  if (!conn || !conn->server || !conn->server->event_handler)
    return MG_FALSE;
  show_content(conn);
  return conn->server->event_handler(&conn->mg_conn, ev);
}

const char* suggest_connection_header(const mg_connection* conn)
{
  return should_keep_alive(conn) ? "keep-alive" : "close";
}

bool should_keep_alive(const mg_connection* conn)
{
  const char* method = conn->request_method;
  if (!method || (strcmp(method, "GET") != 0 && mg_conn_2_conn(conn)->endpoint_type != EP_USER))
    return false;
  if (conn->is_websocket || mg_conn_2_conn(conn)->must_close)
    return false;
  if (const char* header = mg_get_header(conn, "Connection"))
    return strcasecmp(header, "keep-alive") == 0;
  return conn->http_version && strcmp(conn->http_version, "1.1") == 0;
}

static void release_endpoint(connection* conn)
{
  if (conn->release_endpoint)
    conn->release_endpoint(conn);
  conn->release_endpoint = nullptr;
  conn->endpoint.nc = nullptr;
  conn->endpoint_type = EP_NONE;
}

void release_request(connection* conn)
{
  release_endpoint(conn);
  free(conn->mg_conn.http_headers);
  free(conn->path_info);
  free(conn->proxy_request);
  conn->path_info = conn->written_target = conn->proxy_request = nullptr;
  conn->is_in_message = false;
  conn->num_bytes_recv = conn->cl = 0;
  conn->request_len = REQUEST_INCOMPLETE;
  conn->handler_called = conn->is_encoded = conn->must_close = false;
  conn->progress_ms = conn->progress_bytes = 0;

  mg_connection* c = &conn->mg_conn;
  c->http_headers = nullptr;
  c->request_method = c->uri = c->http_version = c->query_string = nullptr;
  c->content = nullptr;
  c->content_len = 0;
  c->num_headers = c->is_websocket = c->status_code = 0;
  c->connection_param = c->callback_param = nullptr;
}

void mg_mark_idle(connection* conn)
{
  const mg_server* server = conn->server;
  if (!server->event_handler || server->limits.idle_unpolled)
    conn->ns_conn->flags |= NSF_IDLE;
}

void close_local_endpoint(connection* conn)
{
  ns_connection* nc = conn->ns_conn;
  int status = conn->mg_conn.status_code;
  bool keep_alive = !(nc->flags & NSF_BROKEN) && should_keep_alive(&conn->mg_conn) &&
                    (conn->endpoint_type == EP_FILE || conn->endpoint_type == EP_USER);
  if (status > 0 && status != 400 && conn->endpoint_type != EP_CLIENT)
    log_access(conn);

  // What is left of the body, or came of a next request, goes too: a kept connection starts afresh.
  release_request(conn);
  iobuf_free(&nc->recv_iobuf);
  conn->idle_since_ms = nc->mgr->now_ms;
  conn->is_over = true;
  nc->flags &=
      ~(NSF_CLOSE_WHEN_SENT | NSF_HOLD_SEND | NSF_CLOSE_NOW | MGF_HEADERS_SENT | MGF_UNNAMED);
  if (keep_alive)
    mg_mark_idle(conn);
  else
    nc->flags |= nc->send_iobuf.len > 0 ? NSF_CLOSE_WHEN_SENT : NSF_CLOSE_NOW;
}
