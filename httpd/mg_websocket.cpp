#include "httpd/mg_websocket.h"

#include <string.h>

#include <algorithm>

#include "httpd/mg_digest.h"
#include "httpd/mg_request.h"

static constexpr int FINAL_FRAGMENT = 0x80;
static constexpr int RESERVED_BITS = 0x70;
static constexpr int OPCODE_BITS = 0x0f;
static constexpr int CONTROL_OPCODE = 0x08;
static constexpr int MASKED = 0x80;
static constexpr size_t MAX_CONTROL_PAYLOAD = 125;
static constexpr time_t PING_AFTER_S = 6;
static constexpr size_t MAX_UNUSED = 64 * 1024;  // room that a connection may keep for nothing

// --- reading frames ---

// Which of the frames may stand where.
static bool is_known_opcode(int bits, bool in_message)
{
  switch (bits & OPCODE_BITS) {
    case WEBSOCKET_OPCODE_CONTINUATION:
      return in_message;
    case WEBSOCKET_OPCODE_TEXT:
    case WEBSOCKET_OPCODE_BINARY:
      return !in_message;
    case WEBSOCKET_OPCODE_CONNECTION_CLOSE:
    case WEBSOCKET_OPCODE_PING:
    case WEBSOCKET_OPCODE_PONG:
      return bits & FINAL_FRAGMENT;
    default:
      return false;
  }
}

static uint64_t big_endian(const unsigned char* bytes, size_t count)
{
  uint64_t value = 0;
  for (size_t i = 0; i < count; i++)
    value = value << 8 | bytes[i];
  return value;
}

int parse_websocket_frame(const char* bytes, size_t len, bool in_message, websocket_frame* frame)
{
  const unsigned char* p = reinterpret_cast<const unsigned char*>(bytes);
  *frame = {};
  if (len < 2)
    return 0;
  frame->bits = p[0];
  bool is_control = frame->bits & CONTROL_OPCODE;
  uint64_t payload_len = p[1] & ~MASKED;
  if ((frame->bits & RESERVED_BITS) || !(p[1] & MASKED) ||
      !is_known_opcode(frame->bits, in_message) ||
      (is_control && payload_len > MAX_CONTROL_PAYLOAD))
    return WEBSOCKET_CLOSE_PROTOCOL_ERROR;
  size_t size_len = payload_len == 126 ? 2 : payload_len == 127 ? 8 : 0;
  frame->header_len = 2 + size_len + sizeof frame->mask;
  if (len < frame->header_len)
    return 0;
  if (size_len > 0) {
    payload_len = big_endian(p + 2, size_len);
    // The shortest form is the only one.
    if (payload_len <= (size_len == 2 ? MAX_CONTROL_PAYLOAD : UINT16_MAX) || payload_len >> 63)
      return WEBSOCKET_CLOSE_PROTOCOL_ERROR;
  }
  if (payload_len > WEBSOCKET_MAX_FRAME)
    return WEBSOCKET_CLOSE_TOO_BIG;
  frame->payload_len = static_cast<size_t>(payload_len);
  memcpy(frame->mask, p + 2 + size_len, sizeof frame->mask);
  return len - frame->header_len >= frame->payload_len;
}

// --- writing frames ---

size_t mg_websocket_write(struct mg_connection* c, int opcode, const void* data, size_t len)
{
  unsigned char header[10] = {static_cast<unsigned char>(FINAL_FRAGMENT | (opcode & OPCODE_BITS))};
  size_t size_len = len <= MAX_CONTROL_PAYLOAD ? 0 : len <= UINT16_MAX ? 2 : 8;
  header[1] = static_cast<unsigned char>(size_len == 0 ? len : size_len == 2 ? 126 : 127);
  for (size_t i = 0; i < size_len; i++)
    header[2 + i] =
        static_cast<unsigned char>(static_cast<uint64_t>(len) >> (8 * (size_len - 1 - i)));
  mg_write(c, header, 2 + size_len);
  return mg_write(c, data, len);
}

void mg_close_websocket(connection* conn, int reason)
{
  const unsigned char payload[2] = {static_cast<unsigned char>(reason >> 8),
                                    static_cast<unsigned char>(reason & 0xff)};
  mg_websocket_write(&conn->mg_conn, WEBSOCKET_OPCODE_CONNECTION_CLOSE, payload, sizeof payload);
  conn->ns_conn->flags |= NSF_CLOSE_WHEN_SENT;
}

// --- texts ---

// Checks further bytes of a text; false when no UTF-8 begins like this. The text is whole when no
// byte is missing.
static bool check_utf8(utf8_state* state, const char* bytes, size_t len)
{
  for (size_t i = 0; i < len; i++) {
    unsigned char byte = static_cast<unsigned char>(bytes[i]);
    if (state->missing > 0) {
      if (byte < state->first || byte > state->last)
        return false;
      *state = {state->missing - 1, 0x80, 0xbf};
    } else if (byte >= 0xc2 && byte <= 0xdf) {
      *state = {1, 0x80, 0xbf};
    } else if (byte >= 0xe0 && byte <= 0xef) {  // no longer than needed, and no surrogates
      *state = {2, static_cast<unsigned char>(byte == 0xe0 ? 0xa0 : 0x80),
                static_cast<unsigned char>(byte == 0xed ? 0x9f : 0xbf)};
    } else if (byte >= 0xf0 && byte <= 0xf4) {  // the same, and nothing above 10FFFF
      *state = {3, static_cast<unsigned char>(byte == 0xf0 ? 0x90 : 0x80),
                static_cast<unsigned char>(byte == 0xf4 ? 0x8f : 0xbf)};
    } else if (byte >= 0x80) {
      return false;
    }
  }
  return true;
}

// Whether the frame that the handler is to see holds no text, or right text: of a message that is
// one, or the reason behind the number of a CLOSE.
static bool holds_valid_text(connection* conn, int opcode)
{
  const mg_connection* c = &conn->mg_conn;
  if (opcode == WEBSOCKET_OPCODE_CONNECTION_CLOSE) {
    utf8_state state = {};
    return c->content_len <= 2 ||
           (check_utf8(&state, c->content + 2, c->content_len - 2) && state.missing == 0);
  }
  if (opcode & CONTROL_OPCODE)
    return true;
  if (opcode != WEBSOCKET_OPCODE_CONTINUATION) {
    conn->is_in_text = opcode == WEBSOCKET_OPCODE_TEXT;
    conn->text_state = {};
  }
  return !conn->is_in_text || (check_utf8(&conn->text_state, c->content, c->content_len) &&
                               (conn->text_state.missing == 0 || !(c->wsbits & FINAL_FRAGMENT)));
}

// --- serving frames ---

// Answers a CLOSE with its own reason.
static void answer_close(connection* conn)
{
  const mg_connection* c = &conn->mg_conn;
  const unsigned char* payload = reinterpret_cast<const unsigned char*>(c->content);
  int reason = c->content_len == 0   ? WEBSOCKET_CLOSE_NORMAL
               : c->content_len == 1 ? 0
                                     : static_cast<int>(big_endian(payload, 2));
  // 1004 to 1006 and 1015 are never sent; below 3000 nothing else is defined.
  bool is_valid = (reason >= 1000 && reason <= 1014 && (reason < 1004 || reason > 1006)) ||
                  (reason >= 3000 && reason <= 4999);
  mg_close_websocket(conn, is_valid ? reason : WEBSOCKET_CLOSE_PROTOCOL_ERROR);
}

// What the handler leaves to the server: PING and CLOSE are answered, data is dropped.
static void serve_frame(connection* conn, int opcode)
{
  mg_connection* c = &conn->mg_conn;
  // Not by call_user, which shows all that has been received.
  mg_handler_t handler = conn->server->event_handler;
  if (!handler || handler(c, MG_REQUEST) == MG_FALSE) {
    if (opcode == WEBSOCKET_OPCODE_PING)
      mg_websocket_write(c, WEBSOCKET_OPCODE_PONG, c->content, c->content_len);
    else if (opcode == WEBSOCKET_OPCODE_CONNECTION_CLOSE)
      answer_close(conn);
  }
  if (opcode == WEBSOCKET_OPCODE_CONNECTION_CLOSE)
    conn->ns_conn->flags |= NSF_CLOSE_WHEN_SENT;
}

static void deliver_frame(connection* conn, const websocket_frame& frame)
{
  mg_connection* c = &conn->mg_conn;
  c->wsbits = frame.bits;
  c->content = conn->ns_conn->recv_iobuf.buf + frame.header_len;
  c->content_len = frame.payload_len;
  for (size_t i = 0; i < frame.payload_len; i++)
    c->content[i] = static_cast<char>(c->content[i] ^ frame.mask[i % sizeof frame.mask]);
  int opcode = frame.bits & OPCODE_BITS;
  if (!(opcode & CONTROL_OPCODE))
    conn->is_in_message = !(frame.bits & FINAL_FRAGMENT);
  if (holds_valid_text(conn, opcode))
    serve_frame(conn, opcode);
  else
    mg_close_websocket(conn, WEBSOCKET_CLOSE_NO_TEXT);
  c->content = nullptr;
  c->content_len = 0;
}

// A long frame that is done with must not keep its room while the next one begins.
static void give_back_unused(iobuf* io)
{
  if (io->size > MAX_UNUSED && io->len < io->size / 2)
    iobuf_resize(io, io->len);
}

void mg_deliver_websocket_frames(connection* conn)
{
  ns_connection* nc = conn->ns_conn;
  iobuf* io = &nc->recv_iobuf;
  websocket_frame frame;
  while (io->len > 0 && !(nc->flags & (NSF_CLOSE_NOW | NSF_CLOSE_WHEN_SENT))) {
    int result = parse_websocket_frame(io->buf, io->len, conn->is_in_message, &frame);
    size_t most = conn->server->limits.body_max;
    if (most > 0 && frame.payload_len > most)
      result = WEBSOCKET_CLOSE_TOO_BIG;
    if (result == 0) {
      give_back_unused(io);
      return;
    }
    if (result != 1) {
      mg_close_websocket(conn, result);
      break;
    }
    deliver_frame(conn, frame);
    iobuf_remove(io, std::min(frame.header_len + frame.payload_len, io->len));
  }
  // All is served, or behind the end: an idle connection keeps no buffer.
  iobuf_free(io);
}

void mg_ping_idle_websocket(connection* conn, time_t now)
{
  ns_connection* nc = conn->ns_conn;
  if (now - nc->last_io_time >= PING_AFTER_S && nc->send_iobuf.len == 0 &&
      !(nc->flags & (NSF_CLOSE_NOW | NSF_CLOSE_WHEN_SENT)))
    mg_websocket_write(&conn->mg_conn, WEBSOCKET_OPCODE_PING, "", 0);
}

// --- the handshake ---

static void send_handshake(connection* conn, const char* key)
{
  static const char guid[] = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
  unsigned char digest[MG_SHA1_SIZE];
  char accept[mg_base64_size(sizeof digest)];
  mg_sha1_ctx sha1;
  mg_sha1_init(&sha1);
  mg_sha1_update(&sha1, key, strlen(key));
  mg_sha1_update(&sha1, guid, sizeof guid - 1);
  mg_sha1_final(digest, &sha1);
  mg_base64_encode(digest, sizeof digest, accept, sizeof accept);
  conn->mg_conn.status_code = 101;
  mg_printf(&conn->mg_conn,
            "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
            "Sec-WebSocket-Accept: %s\r\n\r\n",
            accept);
}

void mg_upgrade_if_requested(connection* conn)
{
  mg_connection* c = &conn->mg_conn;
  const char* key = mg_get_header(c, "Sec-WebSocket-Key");
  if (!key || !mg_get_header(c, "Sec-WebSocket-Version"))
    return;
  c->is_websocket = 1;
  if (call_user(conn, MG_WS_HANDSHAKE) == MG_FALSE)
    send_handshake(conn, key);
  call_user(conn, MG_WS_CONNECT);
}
