// WebSocket connections, byte for byte.
#include "httpd/mg_websocket.h"
#include "tests/httpd_support.h"

// The example of RFC 6455.
static const string UPGRADE =
    "GET /chat HTTP/1.1\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n"
    "Sec-WebSocket-Extensions: permessage-deflate; client_max_window_bits\r\n";
static const string SWITCHING =
    "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
    "Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n";

static const size_t MAX_FRAME = 16 << 20;

static string header(int first, size_t length, bool masked)
{
  size_t size_bytes = length < 126 ? 0 : length < 65536 ? 2 : 8;
  size_t size = size_bytes == 0 ? length : size_bytes == 2 ? 126 : 127;
  string bytes(1, static_cast<char>(first));
  bytes += static_cast<char>((masked ? 0x80u : 0u) | size);
  for (size_t i = size_bytes; i-- > 0;)
    bytes += static_cast<char>(static_cast<uint64_t>(length) >> (8 * i));
  return bytes;
}

static string from_client(int first, const string& payload)
{
  static const char mask[] = {'\x37', '\xfa', '\x21', '\x3d'};
  string bytes = header(first, payload.size(), true) + string(mask, 4);
  for (size_t i = 0; i < payload.size(); i++)
    bytes += static_cast<char>(payload[i] ^ mask[i % 4]);
  return bytes;
}

static string from_server(int opcode, const string& payload)
{
  return header(0x80 | opcode, payload.size(), false) + payload;
}

static const string CLOSE_1000 = from_server(8, "\x03\xe8"),
                    CLOSE_1002 = from_server(8, "\x03\xea"),
                    CLOSE_1007 = from_server(8, "\x03\xef"),
                    CLOSE_1009 = from_server(8, "\x03\xf1");

// Sends data back as one message per frame, its first byte in front; leaves the rest to the server.
static int echo(mg_connection* conn, mg_event event)
{
  if (event == MG_WS_CONNECT)
    mg_websocket_write(conn, WEBSOCKET_OPCODE_TEXT, "hi", 2);
  if (event != MG_REQUEST || !conn->is_websocket || conn->wsbits & 8)
    return event == MG_AUTH;
  const string text = static_cast<char>(conn->wsbits) + string(conn->content, conn->content_len);
  mg_websocket_write(conn, WEBSOCKET_OPCODE_BINARY, text.data(), text.size());
  return MG_TRUE;
}

static string talk(const file_server& server, const string& frames)
{
  raw_client client(server.url);
  raw_send(client, UPGRADE + "\r\n");
  raw_send(client, frames);
  return raw_receive_all(client);
}

TEST(websocket, frames)
{
  const string bye = from_client(0x88, "\x03\xe8 bye"), text = from_client(0x81, "Hello");
  // clang-format off
  // What is sent behind the handshake, and what is answered without a handler.
  const std::pair<string, string> rows[] = {
      {text + bye, CLOSE_1000},  // data is dropped
      {from_client(0x89, "ping") + bye, from_server(10, "ping") + CLOSE_1000},
      {from_client(0x89, "") + bye, from_server(10, "") + CLOSE_1000},
      {from_client(0x8a, "pong") + bye, CLOSE_1000},
      {from_client(0x01, "a") + from_client(0x89, "p") + from_client(0x80, "b") + bye,
       from_server(10, "p") + CLOSE_1000},
      {bye + from_client(0x89, "late"), CLOSE_1000}, {from_client(0x88, ""), CLOSE_1000},
      {from_client(0x88, "\x0f\xa0"), from_server(8, "\x0f\xa0")},
      {from_client(0x88, "\x03\xe8\xc3\xa9"), CLOSE_1000},
      {from_client(0x81, "\xc3\xa9\xe2\x82\xac\xed\x9f\xbf\xf4\x8f\xbf\xbf") + bye, CLOSE_1000},
      {from_client(0x01, "\xe2\x82") + from_client(0x89, "\xff") + from_client(0x80, "\xac") + bye,
       from_server(10, "\xff") + CLOSE_1000},
      {from_client(0x02, "\xff") + from_client(0x80, "\xff") + bye, CLOSE_1000},  // no text
      {"\x82\xff\0\0\0\x01\0\0\0\0mask"s, CLOSE_1009},
      {header(0x82, MAX_FRAME + 1, true) + "mask", CLOSE_1009}};
  const string malformed[] = {
      from_client(0x88, "\x03\xee"), from_client(0x88, "\x03\xf7"),  // 1006 and 1015 are never sent
      from_client(0x88, "x"), "\x81\x05Hello", from_client(0xc1, "Hello"),  // no mask; reserved
      from_client(0x83, "Hello"), from_client(0x8b, ""), from_client(0x09, "p"),  // a PING in parts
      from_client(0x89, string(126, 'p')), from_client(0x80, "b"),  // continues nothing
      from_client(0x01, "a") + text, "\x82\xfe\x00\x7d"s + "mask",  // not the shortest size
      "\x82\xff\x80\0\0\0\0\0\0\0mask"s};
  const string no_utf8[] = {
      from_client(0x81, "\xc1\xbf"), from_client(0x81, "\xe0\x9f\xbf"),  // longer than needed
      from_client(0x81, "\xf0\x8f\xbf\xbf"), from_client(0x81, "\xed\xa0\x80"),  // a surrogate
      from_client(0x81, "\xf4\x90\x80\x80"), from_client(0x81, "\x80"),  // above 10FFFF
      from_client(0x81, "a\xe2\x82") + bye, from_client(0x88, "\x03\xe8\xc3"),  // cut off
      from_client(0x01, "\xe2") + from_client(0x00, "") + from_client(0x80, "x"),
      from_client(0x01, "\xe2") + from_client(0x80, "")};
  // clang-format on
  file_server server;
  for (const auto& [sent, answered] : rows)
    EXPECT_EQ(talk(server, sent), SWITCHING + answered) << testing::PrintToString(sent);
  for (const string& sent : malformed)
    EXPECT_EQ(talk(server, sent), SWITCHING + CLOSE_1002) << testing::PrintToString(sent);
  for (const string& sent : no_utf8)
    EXPECT_EQ(talk(server, sent), SWITCHING + CLOSE_1007) << testing::PrintToString(sent);
  websocket_frame frame;
  string largest = header(0x82, MAX_FRAME, true) + "mask";
  EXPECT_EQ(parse_websocket_frame(largest.data(), largest.size(), false, &frame), 0)
      << "its payload is waited for";
}

TEST(websocket, handler_gets_each_frame)
{
  file_server server("", echo);
  string start = SWITCHING + from_server(1, "hi"), bye = from_client(0x88, "\x03\xe8");
  EXPECT_EQ(talk(server, from_client(0x01, "a") + from_client(0x80, "b") + bye),
            start + from_server(2, "\x01"s + "a") + from_server(2, "\x80"s + "b") + CLOSE_1000);
  for (size_t size : {0, 124, 125, 126, 65534, 65535, 65536, 1024 * 1024}) {
    string payload(size, 'p');
    for (size_t i = 0; i < size; i += 999)
      payload[i] = static_cast<char>(i);
    EXPECT_TRUE(talk(server, from_client(0x82, payload) + bye) ==
                start + from_server(2, "\x82"s + payload) + CLOSE_1000)
        << size;
  }
  EXPECT_EQ(status_of(raw_get(server, "GET /none")), 404) << "other requests are not affected";
}

TEST(websocket, handshakes_and_idle_connections)
{
  // Refuses whoever asks for "/no", shakes hands itself for "/own", and makes the others look idle.
  test_server s([](mg_connection* c, mg_event ev) -> int {
    if (ev == MG_AUTH)
      return strcmp(c->uri, "/no") != 0;
    if (ev == MG_WS_HANDSHAKE && strcmp(c->uri, "/own") == 0)
      return mg_printf(c, "own handshake\r\n\r\n") != 0;
    if (ev == MG_POLL && c->is_websocket)
      mg_conn_2_conn(c)->ns_conn->last_io_time -= 6;
    return MG_FALSE;
  });
  // A PING without payload, and 1008.
  for (const auto& [target, answer] :
       {std::pair("/own"s, "own handshake\r\n\r\n\x89\0"s), std::pair("/x"s, SWITCHING + "\x89\0"s),
        std::pair("/no"s, SWITCHING + "\x88\x02\x03\xf0")}) {
    string request = UPGRADE + "Expect: 100-continue\r\n\r\n";
    request.replace(4, strlen("/chat"), target);
    EXPECT_EQ(ask(s, request, answer.size()).substr(0, answer.size()), answer);
  }
}
