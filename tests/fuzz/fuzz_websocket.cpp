// The frames of a client, in pieces, as the server answers them without a handler.
#include "httpd/mg_internal.h"
#include "httpd/mg_websocket.h"
#include "tests/fuzz/fuzz.h"

// What the server sends is whole, unmasked control frames, and nothing behind a CLOSE.
static void check_answers(const iobuf& io, bool is_closed)
{
  bool has_close = false;
  for (size_t at = 0; at < io.len;) {
    require(!has_close && io.len - at >= 2);
    unsigned char first = static_cast<unsigned char>(io.buf[at]);
    unsigned char length = static_cast<unsigned char>(io.buf[at + 1]);
    require((first == 0x8a || first == 0x88) && length <= 125);
    has_close = first == 0x88;
    at += 2u + length;
    require(at <= io.len);
  }
  require(has_close == is_closed);
}

static void fuzz(const std::string& input)
{
  static mg_server* server = mg_create_server(nullptr, nullptr);
  ns_connection nc = {};
  connection conn = {};
  nc.mgr = &server->mgr;
  conn.ns_conn = &nc;
  conn.server = server;
  conn.mg_conn.is_websocket = 1;
  const size_t size = input.size(), step = size > 0 ? static_cast<uint8_t>(input[0]) % 64 + 1u : 1;
  for (size_t at = 1; at < size; at += step) {
    iobuf_append(&nc.recv_iobuf, &input[at], std::min(step, size - at));
    mg_deliver_websocket_frames(&conn);
  }
  check_answers(nc.send_iobuf, nc.flags & NSF_CLOSE_WHEN_SENT);
  iobuf_free(&nc.recv_iobuf);
  iobuf_free(&nc.send_iobuf);
}
