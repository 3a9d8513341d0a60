// Frames of RFC 6455.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "httpd/mg_internal.h"

constexpr size_t WEBSOCKET_MAX_FRAME = 16 * 1024 * 1024;  // a longer frame ends the connection

// Why a connection is closed.
constexpr int WEBSOCKET_CLOSE_NORMAL = 1000;
constexpr int WEBSOCKET_CLOSE_PROTOCOL_ERROR = 1002;
constexpr int WEBSOCKET_CLOSE_NO_TEXT = 1007;
constexpr int WEBSOCKET_CLOSE_POLICY = 1008;
constexpr int WEBSOCKET_CLOSE_TOO_BIG = 1009;

struct websocket_frame {
  int bits;           // first byte: whether it is the last fragment, and the opcode
  size_t header_len;  // of the header, mask included
  size_t payload_len;
  unsigned char mask[4];
};

// Reads the header of a client's frame at the start of the bytes. Returns 1 when the whole frame is
// there, 0 when it is not, or the reason to close the connection. `in_message` tells whether a
// fragmented message is under way.
int parse_websocket_frame(const char* bytes, size_t len, bool in_message, websocket_frame* frame);

// Makes the connection a WebSocket when the request's headers ask for it.
void mg_upgrade_if_requested(connection* conn);

// Serves the complete frames that have arrived.
void mg_deliver_websocket_frames(connection* conn);

void mg_ping_idle_websocket(connection* conn, time_t now);

// Sends a CLOSE with a reason of RFC 6455 and closes behind it.
void mg_close_websocket(connection* conn, int reason);
