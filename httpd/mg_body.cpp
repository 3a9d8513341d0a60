#include "httpd/mg_body.h"

#include <algorithm>

// An answer that does not look at the request's body waits for one of this size at most: a client
// that is still sending when the connection closes would lose the answer.
static constexpr int64_t MAX_AWAITED_BODY = 1024 * 1024;
// A relay's reading side pauses while this much is queued on the other. Most bodies for a program
// are read to their end: only there can it be seen that the client has gone.
static constexpr size_t MAX_RELAY_QUEUE = 65536;
static constexpr size_t MAX_PROGRAM_QUEUE = 1024 * 1024;
// A client that has left so much of its answers unread is not read: each request adds to it.
static constexpr size_t MAX_ANSWER_QUEUE = 262144;

size_t mg_body_bytes(const connection* conn)
{
  int64_t behind = conn->num_bytes_recv - conn->request_len - std::max<int64_t>(conn->cl, 0);
  size_t buffered = conn->ns_conn->recv_iobuf.len;
  size_t excess = static_cast<size_t>(std::max<int64_t>(behind, 0));
  return buffered > excess ? buffered - excess : 0;
}

bool mg_body_is_complete(const connection* conn)
{
  return conn->num_bytes_recv - conn->request_len >= conn->cl;
}

bool mg_must_wait_for_body(connection* conn)
{
  if (mg_body_is_complete(conn) || conn->cl > MAX_AWAITED_BODY)
    return false;
  conn->endpoint_type = EP_USER;
  return true;
}

static void pause_reading(ns_connection* nc, bool paused)
{
  if (paused)
    nc->flags |= NSF_READ_PAUSED;
  else
    nc->flags &= ~NSF_READ_PAUSED;
}

void mg_pace(ns_connection* reader, const ns_connection* writer)
{
  bool is_program = writer->flags & MGF_CGI_PEER;
  pause_reading(reader,
                writer->send_iobuf.len > (is_program ? MAX_PROGRAM_QUEUE : MAX_RELAY_QUEUE));
}

void mg_pace_client(connection* conn)
{
  ns_connection* nc = conn->ns_conn;
  if ((conn->endpoint_type == EP_CGI || conn->endpoint_type == EP_PROXY) && conn->endpoint.nc)
    mg_pace(nc, conn->endpoint.nc);
  else
    pause_reading(nc, nc->send_iobuf.len > MAX_ANSWER_QUEUE);
}
