#include "httpd/mg_limits.h"

#include "httpd/mg_body.h"
#include "httpd/mg_response.h"
#include "httpd/mg_websocket.h"

// A connection that holds no more than this is not closed for what all of them hold.
static constexpr size_t SPARED_BUFFER = 64 * 1024;

void mg_set_limits(struct mg_server* server, const mg_limits* limits)
{
  server->limits = *limits;
}

// --- ending a connection ---

static bool is_ending(const ns_connection* nc)
{
  return (nc->flags & (NSF_CLOSE_NOW | NSF_CLOSE_WHEN_SENT)) != 0;
}

// A PUT has its status before it writes anything.
static bool is_being_answered(const connection* conn)
{
  return (conn->ns_conn->flags & MGF_HEADERS_SENT) ||
         (conn->mg_conn.status_code != 0 && conn->endpoint_type != EP_PUT);
}

// Tells the client why, where an answer can still be given, and closes.
static void end_connection(connection* conn, int status)
{
  ns_connection* nc = conn->ns_conn;
  if (conn->mg_conn.is_websocket) {
    mg_close_websocket(conn, WEBSOCKET_CLOSE_TOO_BIG);
    iobuf_free(&nc->recv_iobuf);
  } else if (is_being_answered(conn)) {
    nc->flags |= NSF_CLOSE_NOW;
    iobuf_free(&nc->recv_iobuf);
  } else {
    conn->must_close = true;
    send_http_error(conn, status, "%s", "");
  }
}

// --- memory ---

bool mg_refuse_large_body(connection* conn, int64_t length)
{
  size_t most = conn->server->limits.body_max;
  if (most == 0 || length <= 0 || static_cast<uint64_t>(length) <= most)
    return false;
  end_connection(conn, 413);
  return true;
}

// Closes those that hold the most until all together hold no more than they may. The count in the
// server record is never too low: what came is added to it, and what went is seen when it seems too
// high.
static void bound_buffers(mg_server* server)
{
  size_t most = server->limits.buffer_total_max;
  while (most > 0 && server->received > most) {
    connection* largest = nullptr;
    server->received = 0;
    for (ns_connection* nc = nullptr; (nc = ns_next(&server->mgr, nc));) {
      connection* conn = connection_of(nc);
      server->received += nc->recv_iobuf.size;
      if (conn && nc->listener && nc->recv_iobuf.size > SPARED_BUFFER &&
          (!largest || nc->recv_iobuf.size > largest->ns_conn->recv_iobuf.size))
        largest = conn;
    }
    if (server->received <= most || !largest)
      return;
    end_connection(largest, 413);
  }
}

// --- time ---

// A body's time starts again with every so many bytes of it, a WebSocket's with every byte.
void mg_note_received(connection* conn, size_t count)
{
  int64_t now_ms = conn->ns_conn->mgr->now_ms;
  if (conn->mg_conn.is_websocket) {
    conn->progress_ms = now_ms;
  } else if (conn->request_len == 0) {
    if (conn->progress_ms == 0 && conn->num_bytes_recv > 0)
      conn->progress_ms = now_ms;  // the first byte of a header block
  } else if (conn->progress_bytes == 0 ||
             conn->num_bytes_recv - conn->progress_bytes >= conn->server->limits.body_min) {
    conn->progress_ms = now_ms;
    conn->progress_bytes = conn->num_bytes_recv;
  }
  conn->server->received += count;
  bound_buffers(conn->server);
}

// What the client must do in time: how long it has (0: for ever) and since when.
struct awaited {
  int limit_ms;
  int64_t since_ms;
};

static awaited awaited_of(const connection* conn)
{
  const ns_connection* nc = conn->ns_conn;
  const mg_limits& limits = conn->server->limits;
  if (nc->ssl && !(nc->flags & NSF_TLS_READY))
    return {limits.header_time_ms, conn->idle_since_ms};
  if (conn->mg_conn.is_websocket)
    return {MG_IDLE_TIMEOUT_S * 1000, conn->progress_ms};
  if (conn->request_len == 0)
    return {conn->progress_ms == 0 ? 0 : limits.header_time_ms, conn->progress_ms};
  return {mg_body_is_complete(conn) ? 0 : limits.body_time_ms, conn->progress_ms};
}

// Whether the next thing to happen is that the client sends something.
static bool is_clients_turn(const connection* conn)
{
  switch (conn->endpoint_type) {
    case EP_USER:
      return conn->mg_conn.is_websocket || !conn->handler_called;
    case EP_CGI:
    case EP_PROXY:
      return !mg_body_is_complete(conn);
    case EP_NONE:
    case EP_PUT:
      return true;
    case EP_FILE:
    case EP_PROPFIND:
    case EP_CLIENT:
      break;
  }
  return false;
}

void mg_note_sent(connection* conn)
{
  if (!conn->mg_conn.is_websocket)
    conn->idle_since_ms = conn->ns_conn->mgr->now_ms;
}

void mg_end_hopeless(connection* conn)
{
  ns_connection* nc = conn->ns_conn;
  if (!nc->listener || is_ending(nc))
    return;
  if (conn->request_len > 0 && (nc->flags & NSF_READ_PAUSED))
    conn->progress_ms = nc->mgr->now_ms;  // it is not the client who keeps it waiting
  awaited what = awaited_of(conn);
  bool is_late = what.limit_ms > 0 && nc->mgr->now_ms - what.since_ms > what.limit_ms;
  // One that is watched for writing only, and has nothing to write, would hear nothing ever again.
  bool is_deaf =
      (nc->flags & NSF_TLS_WANT_WRITE) && nc->send_iobuf.len == 0 && is_clients_turn(conn);
  if (is_deaf || (is_late && (conn->mg_conn.is_websocket || conn->num_bytes_recv == 0)))
    nc->flags |= NSF_CLOSE_NOW;
  else if (is_late)
    end_connection(conn, 408);
}

// --- descriptors ---

// Whether a request of the connection is complete, or is served while it comes in.
static bool is_in_progress(const connection* conn)
{
  return conn->endpoint_type != EP_NONE &&
         (conn->endpoint_type != EP_USER || (conn->handler_called && !conn->mg_conn.is_websocket));
}

// Since when the connection has been without a complete request. A body that comes in, and an
// answer that is taken, count as one.
static int64_t without_request_since(const connection* conn)
{
  return conn->request_len > 0 && !conn->mg_conn.is_websocket ? conn->progress_ms
                                                              : conn->idle_since_ms;
}

ns_connection* mg_expendable(ns_mgr* mgr)
{
  connection* oldest = nullptr;  // the list begins with the newest
  for (ns_connection* nc = nullptr; (nc = ns_next(mgr, nc));) {
    connection* conn = connection_of(nc);
    if (conn && nc->listener && !is_in_progress(conn) &&
        (!oldest || without_request_since(conn) <= without_request_since(oldest)))
      oldest = conn;
  }
  return oldest ? oldest->ns_conn : nullptr;
}
