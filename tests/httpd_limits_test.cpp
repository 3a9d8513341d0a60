// What a client may cost when the server's limits are set.
#include "tests/httpd_support.h"

static const string LATE = error_answer("408 Request Timeout");
static const string TOO_LARGE = error_answer("413 Payload Too Large");
static const string UPGRADE =
    "GET / HTTP/1.1\r\nSec-WebSocket-Key: x\r\nSec-WebSocket-Version: 13\r\n\r\n";

static string post(size_t announced, size_t sent)
{
  return "POST / HTTP/1.1\r\nContent-Length: " + std::to_string(announced) + "\r\n\r\n" +
         string(sent, 'b');
}

static int tell_length(mg_connection* c)
{
  return mg_printf_data(c, "%zu", c->content_len) != 0;
}

// What follows the 101.
static string behind_upgrade(const string& received)
{
  size_t end = received.find("\r\n\r\n");
  return end == string::npos ? received : received.substr(end + 4);
}

TEST(httpd_limits, a_body_or_frame_that_is_too_long_is_refused_and_the_connection_closed)
{
  // clang-format off
  const std::tuple<string, string, bool> rows[] = {
      {post(1000, 1000), chunked("1000"), false}, {post(1001, 0), TOO_LARGE, true},
      {"PUT / HTTP/1.1\r\nExpect: 100-continue\r\nContent-Length: 9999999999999999999999\r\n\r\n",
       TOO_LARGE, true},
      {UPGRADE + "\x82\xfe\x03\xe9mask", "\x88\x02\x03\xf1", true},
      {UPGRADE + "\x82\xfe\x03\xe8mask" + string(1000, 'f') + "\x89\x80mask", "\x8a\0"s, false}};
  // clang-format on
  test_server s([](mg_connection* c, mg_event ev) -> int {
    return ev == MG_REQUEST && !c->is_websocket ? tell_length(c) : ev == MG_AUTH;
  });
  const mg_limits limits = {1000, 0, 0, 0, 0};
  mg_set_limits(s.server, &limits);
  for (const auto& [request, answer, closed] : rows) {
    client c(s.port);
    c.send(request);
    s.until([&] { return c.read() || behind_upgrade(c.received) != ""; });
    bool is_websocket = request.find("WebSocket") != string::npos;
    c.receive(s, closed ? SIZE_MAX : answer.size());
    EXPECT_EQ(is_websocket ? behind_upgrade(c.received) : c.received, answer) << request;
    EXPECT_EQ(c.closed, closed) << request;
  }
}

TEST(httpd_limits, of_all_that_waits_the_largest_goes_and_little_never)
{
  test_server s(on_request(tell_length));
  const mg_limits limits = {0, 400000, 0, 0, 0};
  mg_set_limits(s.server, &limits);
  std::vector<std::unique_ptr<client>> clients;
  const size_t sizes[] = {90000, 60000, 60001, 130000, 60002, 60003, 60004, 60005, 60006, 60007};
  for (size_t size : sizes) {  // 400000 are exceeded three times
    clients.push_back(std::make_unique<client>(s.port));
    const string request = post(size + 1, size);
    clients.back()->send(request);
    size_t header = request.size() - size;
    s.until([&] {
      return s.newest() && (clients.back()->read() ||
                            s.newest()->num_bytes_recv == static_cast<int64_t>(size + header));
    });
  }
  for (size_t i = 0; i < clients.size(); i++) {
    clients[i]->send("b");
    const string answer = sizes[i] > 65536 ? TOO_LARGE : chunked(std::to_string(sizes[i] + 1));
    EXPECT_EQ(clients[i]->receive(s, answer.size()), answer) << i;
  }
}

TEST(httpd_limits, what_takes_too_long_is_ended_and_what_goes_on_is_not)
{
  test_server s(on_request(tell_length));
  const mg_limits limits = {0, 0, 400, 400, 10};
  mg_set_limits(s.server, &limits);
  client idle(s.port), steady(s.port), socket(s.port);
  steady.send(post(4000, 0));
  socket.send(UPGRADE);
  // One byte now and then does not help; in a body they would have to be ten at a time.
  for (const string& start : {"GE"s, post(40, 0)}) {
    client c(s.port);
    c.send(start);
    int64_t next_ms = 0;
    s.until([&] {
      if (s.server->mgr.now_ms >= next_ms) {
        next_ms = s.server->mgr.now_ms + 80;
        c.send("b");
        steady.send(string(10, 'b'));
      }
      return c.read() || !c.received.empty();
    });
    EXPECT_EQ(c.received, LATE);
  }
  EXPECT_FALSE(steady.read() || idle.read() || socket.read());
  EXPECT_EQ(steady.received, "") << "its body is still coming";
  idle.send(GET);
  EXPECT_EQ(idle.receive(s, 1).substr(0, 15), "HTTP/1.1 200 OK");
}

TEST(httpd_limits, a_tls_handshake_must_end)
{
  test_server s(on_request(tell_length), "ssl://127.0.0.1:0:" + certificate());
  const mg_limits limits = {0, 0, 100, 0, 0};
  mg_set_limits(s.server, &limits);
  EXPECT_EQ(ask(s, "\x16\x03\x01"), "");
}

TEST(httpd_limits, a_websocket_is_kept_open_by_what_the_client_sends_alone)
{
  test_server s([](mg_connection*, mg_event ev) -> int { return ev == MG_AUTH; });
  client c(s.port);
  c.send(UPGRADE);
  c.receive(s, 1);
  connection* conn = s.newest();
  const auto age = [&] {
    conn->ns_conn->last_io_time -= 6;
    conn->progress_ms -= MG_IDLE_TIMEOUT_S * 1000 - 10000;
  };
  age();
  c.send("\x8a\x80mask");
  s.until([&] { return conn->progress_ms == conn->ns_conn->mgr->now_ms; });
  age();
  s.until([&] { return c.read() || behind_upgrade(c.received) == "\x89\0"s; });
  EXPECT_FALSE(c.closed);
  conn->progress_ms -= 10000;
  c.receive(s);
}
