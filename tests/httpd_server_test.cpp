// The HTTP layer: what a handler is called with and what reaches the client.
#include "tests/httpd_support.h"

static string content(const mg_connection* c)
{
  return c->content ? string(c->content, c->content_len) : "";
}

TEST(httpd_server, each_event_sees_the_body_that_has_arrived)
{
  string seen;
  test_server s([&](mg_connection* c, mg_event ev) -> int {
    char a[10] = "";
    if (ev == MG_AUTH)
      mg_get_var(c, "a", a, sizeof a);
    if (ev == MG_REQUEST) {
      EXPECT_EQ(c->connection_param, nullptr) << "the last request's is gone";
      c->connection_param = c;
      mg_printf_data(c, "%s %s:%d", c->remote_ip, c->local_ip, c->local_port);
    }
    if (ev != MG_POLL)
      seen += std::to_string(ev) + a + "[" + content(c) + "]";
    EXPECT_TRUE(c->uri || !c->content) << "between two requests";
    return ev == MG_AUTH || ev == MG_REQUEST;
  });
  client c(s.port);
  const string head = "POST / HTTP/1.1\r\nContent-Length: 7\r\n\r\n",
               done = chunked("127.0.0.1 127.0.0.1:" + std::to_string(s.port));
  for (const string& body : {string("a=1&b=2"), string("a=3&b=4")}) {
    c.received.clear();
    c.send(head + body.substr(0, 3));
    s.until_received(head.size() + 3);
    c.send(body.substr(3));
    EXPECT_EQ(c.receive(s, done.size()), done);
  }
  shutdown(c.fd, SHUT_WR);
  c.receive(s);
  EXPECT_EQ(seen,
            "1021[a=1]105[a=1]105[a=1&b=2]103[a=1&b=2]"
            "1023[a=3]105[a=3]105[a=3&b=4]103[a=3&b=4]106[]");
}

TEST(httpd_server, a_handler_consumes_the_body_as_it_comes)
{
  int answer = -1;  // to MG_RECV
  test_server s([&](mg_connection* c, mg_event ev) -> int {
    if (ev == MG_REQUEST)
      mg_printf_data(c, "<%s>", content(c).c_str());
    return ev == MG_RECV ? answer : ev == MG_AUTH || ev == MG_REQUEST;
  });
  const string request = "POST / HTTP/1.0\r\nContent-Length: 5\r\n\r\nhello";
  EXPECT_EQ(ask(s, request.substr(0, request.size() - 1)), "") << "a negative answer closes";
  for (const auto& [consumed, left] : {std::pair(0, "<hello>"), std::pair(1, "<ello>"),
                                       std::pair(5, "<>"), std::pair(6, "<hello>")}) {
    answer = consumed;
    EXPECT_EQ(ask(s, request), chunked(left)) << "more than there is consumes nothing";
  }
}

TEST(httpd_server, a_long_running_request_is_ended_by_a_poll)
{
  int requests = 0;
  bool finish = false;
  test_server s([&](mg_connection* c, mg_event ev) -> int {
    if (ev == MG_REQUEST && ++requests)
      return mg_send_data(c, "first", 5) ? MG_MORE : MG_FALSE;
    if (ev == MG_POLL && finish && c->uri)
      return mg_printf_data(c, "%s+%s", c->uri, content(c).c_str()) != 0;
    return ev == MG_AUTH;
  });
  client c(s.port);
  const string more(5000, 'x');  // moves the buffer that the content lies in
  string answer = chunked("first");
  answer.insert(answer.size() - 5, chunk("/+" + more));
  c.send(GET);
  c.receive(s, 1);
  c.send(more);
  s.until_received(GET.size() + more.size());
  finish = true;
  EXPECT_EQ(c.receive(s, answer.size()), answer);
  EXPECT_EQ(requests, 1) << "however many bytes follow";
  c.send(GET);
  s.until([&] { return requests == 2; });
}

TEST(httpd_server, responses_are_written_as_asked)
{
  const string big(10000, 'b');
  // clang-format off
  const std::pair<std::function<size_t(mg_connection*)>, string> rows[] = {
      {[](auto c) { return mg_send_status(c, 201), mg_send_header(c, "A", "b"); },
       "HTTP/1.1 201 Created\r\nA: b\r\n"},
      {[](auto c) { return mg_send_header(c, "A", "b"), mg_send_status(c, 404); },
       "HTTP/1.1 200 OK\r\nA: b\r\n"},
      {[](auto c) { return mg_send_status(c, 299); }, "HTTP/1.1 299 Server Error\r\n"},
      {[&](auto c) { return mg_printf_data(c, "%s", big.c_str()); }, chunked(big)},
      {[](auto c) { return mg_send_data(c, "a\0b", 3); }, chunked("a\0b"s)},
      {[](auto c) { return mg_send_line(c, "line"); }, chunked("line\n")},
      {[](auto c) { return mg_send_data(c, "", 0); }, chunked("")},
      {[](auto c) { return mg_write(c, "raw", 3), mg_printf(c, "%d", 7); }, "raw7"}};
  // clang-format on
  for (const auto& row : rows) {
    size_t queued = 0, at_end = 0;
    test_server s(on_request([&](mg_connection* c) {
      queued = row.first(c);
      at_end = mg_conn_2_conn(c)->ns_conn->send_iobuf.len;
      return MG_TRUE;
    }));
    EXPECT_EQ(ask(s, "GET / HTTP/1.0\r\n\r\n"), row.second);
    EXPECT_EQ(queued, at_end) << "what is queued, not what was written last";
  }
}

TEST(httpd_server, a_refused_request_gets_a_challenge_and_no_body)
{
  int asked = 0, refused = 1;
  test_server s([&](mg_connection*, mg_event ev) { return ev == MG_AUTH && ++asked != refused; });
  mg_set_option(s.server, "auth_domain", "here");
  for (; refused <= 3; refused++) {  // by the handler, for what is built in, not at all
    asked = 0;
    string answer = std::regex_replace(ask(s, GET), std::regex("nonce=\"\\d+\""), "nonce");
    EXPECT_EQ(answer, refused == 3 ? error_answer("404 Not Found")
                                   : "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Digest "
                                     "qop=\"auth\", realm=\"here\", nonce\r\n\r\n");
    EXPECT_EQ(asked, std::min(refused, 2));
  }
}

TEST(httpd_server, an_answer_to_head_has_the_headers_of_the_body_and_no_body)
{
  test_server s(on_request([](mg_connection* c) {
    if (strcmp(c->uri, "/") != 0)
      return MG_FALSE;
    mg_send_header(c, "A", "b");
    mg_printf_data(c, "%s", "one");
    mg_send_data(c, "two", 3);
    return MG_TRUE;
  }));
  for (const char* rest : {"/ HTTP/1.0\r\n\r\n", "/none HTTP/1.0\r\n\r\n", "/ HTTP/1.3\r\n\r\n"}) {
    const string body = ask(s, string("GET ") + rest), none = ask(s, string("HEAD ") + rest);
    EXPECT_EQ(none, body.substr(0, body.find("\r\n\r\n") + 4));
    EXPECT_LT(none.size(), body.size());
  }
}

TEST(httpd_server, errors_go_through_the_hook_and_the_redirects)
{
  const string moved = "HTTP/1.1 302 Moved\r\nLocation: ", gone = error_answer("404 Not Found");
  const string get = "GET /x HTTP/1.1\r\n\r\n";
  // clang-format off
  const string rows[][3] = {
      {"", get, gone}, {"/x=/dir,@h=d,40=/a,404x=/b,4040=/c", get, gone},
      {",405=/a,,404=/e=f,404=/g", "GET /x?q=1 HTTP/1.1\r\n\r\n",
       moved + "/e=f?code=404&orig_uri=/x&query_string=q=1\r\n\r\n"},
      {"400=/bad", "\x01", moved + "/bad?code=400&orig_uri=&query_string=\r\n\r\n"},
      {"404=/e", "GET /a%0d%0aB:c HTTP/1.1\r\n\r\n",
       moved + "/e?code=404&orig_uri=/a%0D%0AB:c&query_string=\r\n\r\n"},
      {"404=/e", "GET /hooked HTTP/1.1\r\n\r\n", "own 404"}};
  // clang-format on
  test_server s([&](mg_connection* c, mg_event ev) -> int {
    if (ev != MG_HTTP_ERROR || !c->uri || strcmp(c->uri, "/hooked") != 0)
      return ev == MG_AUTH;
    return mg_printf(c, "own %d", c->status_code) != 0;
  });
  for (const auto& [rewrites, request, answer] : rows) {
    mg_set_option(s.server, "url_rewrites", rewrites.c_str());
    EXPECT_EQ(ask(s, request), answer) << rewrites;
  }
}

TEST(httpd_server, error_bodies_are_cut_or_left_out)
{
  int code = 0;
  test_server s(on_request([&](mg_connection* c) {
    send_http_error(mg_conn_2_conn(c), code, "%0300d", 1);
    return MG_MORE;
  }));
  for (int status : {204, 299, 300, 304, 399, 400}) {
    code = status;
    const string answer = ask(s, "GET / HTTP/1.0\r\n\r\n");
    const string body = answer.substr(answer.find("\r\n\r\n") + 4);
    EXPECT_EQ(body.size(), status == 204 || status / 100 == 3 ? 0u : 199u) << status;
    EXPECT_EQ(header_of(answer, "Content-Length"), std::to_string(body.size())) << status;
  }
}

TEST(httpd_server, the_access_log_has_a_line_for_each_answer)
{
  const string start = "127.0.0.1 - - [T] \"";
  // clang-format off
  const std::pair<string, string> rows[] = {
      {"GET /a?b=%20 HTTP/1.1\r\n\r\n", start + "GET /a?b=%20 HTTP/1.1\" 200 0 - -\n"},
      {"PUT /%0a HTTP/1.0\r\nUser-Agent: c d\r\nreferer: r\r\n"
       "Authorization: Digest a=b, username=\"joe\"\r\n\r\n",
       "127.0.0.1 - joe [T] \"PUT /%0A HTTP/1.0\" 200 0 \"r\" \"c d\"\n"},
      {"GET / HTTP/1.3\r\n\r\n", start + "GET / HTTP/1.3\" 505 0 - -\n"},
      {string(16500, 'a'), start + "- - HTTP/\" 413 0 - -\n"}, {"GET /\r\n\r\n", ""}};
  // clang-format on
  const std::regex time("\\[\\d\\d/[A-Z][a-z]{2}/\\d{4}:\\d\\d:\\d\\d:\\d\\d [+-]\\d{4}\\]");
  test_server s(on_request([](mg_connection* c) { return mg_send_data(c, "x", 1) != 0; }));
  for (const auto& [request, logged] : rows) {
    temp_folder folder;
    const string path = folder.path + "/log";
    mg_set_option(s.server, "access_log_file", path.c_str());
    ask(s, request, 1);
    EXPECT_EQ(std::regex_replace(file_text(path), time, "[T]"), logged);
  }
}

TEST(httpd_server, curl_keeps_its_connection_over_http_and_https)
{
  const auto echo = [](mg_connection* c, mg_event ev) -> int {
    if (ev == MG_REQUEST)
      return mg_send_data(c, c->content, c->content_len) != 0;
    return ev == MG_AUTH;
  };
  file_server plain("", echo), tls("listening_port=ssl://127.0.0.1:0:" + certificate(), echo);
  for (const string& url : {plain.url, "https" + tls.url.substr(4)}) {
    http_client client;
    for (size_t size : {1u, 2047u, 2048u, 70000u, 2000000u}) {  // big ones wait for "100 Continue"
      string body(size, 'z');
      EXPECT_TRUE(http_request(client, "POST", url, body).body == body) << size;
      EXPECT_EQ(http_connections(client), size == 1) << size;
    }
  }
}

TEST(httpd_server, a_client_that_stops_reading_is_closed_when_idle_and_others_are_served)
{
  int closed = 0;
  const string big(32 << 20, 'b');
  test_server s([&](mg_connection* c, mg_event ev) -> int {
    closed += ev == MG_CLOSE;
    if (ev == MG_REQUEST)
      mg_send_data(c, big.data(), strcmp(c->uri, "/big") == 0 ? big.size() : 1);
    return ev == MG_AUTH || ev == MG_REQUEST;
  });
  client stuck(s.port);
  stuck.send("GET /big HTTP/1.1\r\n\r\n");
  s.until([&] { return s.newest() && s.newest()->ns_conn->send_iobuf.len > 0; });
  ns_connection* nc = s.newest()->ns_conn;
  client other(s.port);
  other.send(GET);
  EXPECT_EQ(other.receive(s, chunked("b").size()), chunked("b"));
  mg_poll_server(s.server, 0);
  nc->last_io_time = ns_clock() - MG_IDLE_TIMEOUT_S + 60;
  mg_poll_server(s.server, 0);
  EXPECT_EQ(closed, 0) << "a minute before the limit";
  nc->last_io_time = ns_clock() - MG_IDLE_TIMEOUT_S - 1;
  s.until([&] { return closed == 1; });
  EXPECT_LT(stuck.receive(s).size(), big.size());
  EXPECT_FALSE(other.read());
}

TEST(httpd_server, a_client_that_leaves_its_answers_unread_is_not_read_either)
{
  const string answer(100000, 'a');
  test_server s(on_request(
      [&](mg_connection* c) { return mg_send_data(c, answer.data(), answer.size()) != 0; }));
  client c(s.port);
  size_t requests = 0;
  s.until([&] {
    c.send(GET);
    requests++;
    mg_poll_server(s.server, 1);
    return s.newest() && s.newest()->ns_conn->flags & NSF_READ_PAUSED;
  });
  EXPECT_LT(s.newest()->ns_conn->send_iobuf.len, 4 * answer.size());
  const size_t all = requests * chunked(answer).size();
  EXPECT_EQ(c.receive(s, all).size(), all) << "when it takes them, it is served again";
}

TEST(httpd_server, outbound_requests_bring_replies)
{
  std::vector<string> replies;
  string path;
  test_server s([&](mg_connection* c, mg_event ev) -> int {
    if (ev == MG_CONNECT && c->status_code == 0)
      return mg_printf(c, "GET %s HTTP/1.%d\r\n\r\n", path.c_str(), path != "/close") != 0;
    if (ev == MG_CONNECT || ev == MG_REPLY)
      replies.push_back(path + (ev == MG_REPLY ? std::to_string(c->status_code) + content(c) : ""));
    const string length = path == "/close" ? "" : "Content-Length: 5\r\n";
    if (ev == MG_REQUEST && path == "/chunks")
      mg_printf_data(c, "%s", "some"), mg_printf_data(c, "%s", "thing");
    else if (ev == MG_REQUEST)
      mg_printf(c, "HTTP/1.1 201 x\r\n%s\r\nbytes", length.c_str());
    return ev == MG_AUTH || ev == MG_REQUEST;
  });
  for (const char* next : {"/length", "/chunks", "/close", "/refused"}) {
    path = next;
    const size_t before = replies.size();
    const string port = path == "/refused" ? "1" : std::to_string(s.port);
    ASSERT_NE(mg_connect(s.server, ("127.0.0.1:" + port).c_str()), nullptr);
    s.until([&] { return replies.size() > before; });
  }
  EXPECT_EQ(replies, (std::vector<string>{"/length201bytes", "/chunks200something",
                                          "/close201bytes", "/refused"}));
  EXPECT_EQ(mg_connect(s.server, "nonsense"), nullptr);
}

TEST(httpd_server, a_datagram_is_a_request)
{
  temp_folder folder;
  const auto tell = [](mg_connection* c) {
    return mg_printf(c, "%s %s:%d", c->remote_ip, c->local_ip, c->local_port) == 0;
  };
  test_server s(on_request(tell), "udp://127.0.0.1:0");
  const string path = folder.path + "/trace", own = "127.0.0.1:" + std::to_string(s.port);
  client c(s.port, SOCK_DGRAM), refused(s.port, SOCK_DGRAM);
  mg_set_option(s.server, "access_control_list", "+127.0.0.2");
  refused.send("\x01");
  mg_poll_server(s.server, 1000);
  mg_set_option(s.server, "access_control_list", "");
  mg_set_option(s.server, "hexdump_file", path.c_str());
  c.send("\x01");
  c.send("GET /u HTTP/1.0\r\n\r\n");
  const string expected = error_answer("400 Bad Request") + "127.0.0.1 " + own;
  EXPECT_EQ(c.receive(s, expected.size()), expected);
  EXPECT_FALSE(refused.read() || !refused.received.empty());
  EXPECT_NE(file_text(path).find(own + " <- 127.0.0.1:"), string::npos);
}

TEST(httpd_server, a_wake_up_calls_the_handler_for_each_connection)
{
  static string texts;
  test_server s([](mg_connection*, mg_event ev) -> int { return ev == MG_AUTH; });
  client one(s.port), two(s.port);
  s.until([&] { return s.newest() && mg_next(s.server, &s.newest()->mg_conn); });
  std::thread other([&] {
    mg_wakeup_server(s.server);
    const auto handler = [](mg_connection* c, mg_event ev) -> int {
      texts += std::to_string(ev) + static_cast<char*>(c->callback_param) + " ";
      return MG_FALSE;
    };
    mg_wakeup_server_ex(s.server, handler, "%s %d", "wake", 7);
  });
  s.until([&] { return texts == "100wake 7 100wake 7 "; });
  other.join();
}

TEST(httpd_server, shared_listeners_outlive_their_server_and_need_no_handler)
{
  auto s = std::make_unique<test_server>(on_request([](mg_connection*) { return MG_TRUE; }));
  mg_server* bare = mg_create_server(nullptr, nullptr);
  mg_copy_listeners(s->server, bare);
  std::swap(s->server, bare);
  mg_destroy_server(&bare);
  mg_destroy_server(&bare);
  EXPECT_EQ(ask(*s, GET), error_answer("404 Not Found"));
}

TEST(httpd_server, idle_connections_stand_aside_until_there_is_something_for_them)
{
  int polls = 0;
  mg_connection* other = nullptr;
  test_server s([&](mg_connection* c, mg_event ev) -> int {
    polls += ev == MG_POLL;
    if (ev == MG_REQUEST && c->query_string)
      mg_write(other, "pushed", 6);
    else if (ev == MG_REQUEST)
      other = c;
    return ev == MG_AUTH || (ev == MG_REQUEST && mg_printf_data(c, "%s", "yes") > 0);
  });
  mg_limits limits = {};
  limits.idle_unpolled = true;
  mg_set_limits(s.server, &limits);
  client busy(s.port), idle(s.port);
  const int REQUESTS = 1000;
  const string answer = chunked("yes");
  for (int i = 1; i <= REQUESTS; i++) {
    busy.send(GET);
    busy.receive(s, i * answer.size());
  }
  EXPECT_LT(polls, REQUESTS) << "each takes a pass, which would poll both";
  idle.send(GET);
  EXPECT_EQ(idle.receive(s, answer.size()), answer);
  busy.send("GET /?push HTTP/1.1\r\n\r\n");
  EXPECT_EQ(idle.receive(s, answer.size() + 6), answer + "pushed");
}

TEST(httpd_server, few_busy_clients_do_not_keep_idle_and_new_ones_waiting)
{
  test_server s(on_request([](mg_connection* c) { return mg_printf_data(c, "%s", "yes") > 0; }));
  const string answer = chunked("yes");
  std::vector<std::unique_ptr<client>> clients;
  for (int i = 0; i < 60; i++) {
    clients.push_back(std::make_unique<client>(s.port));
    clients.back()->send(GET);
    clients.back()->receive(s, answer.size());
  }
  size_t rounds = 0;
  auto keep_six_busy = [&] {
    rounds++;
    for (int i = 0; i < 6; i++)
      clients[i]->send(GET);
    for (int i = 0; i < 6; i++)
      clients[i]->receive(s, (rounds + 1) * answer.size());
  };
  keep_six_busy();
  client& idle = *clients.back();
  client late(s.port);
  idle.send(GET);
  late.send(GET);
  while (idle.received != answer + answer || late.received != answer) {
    ASSERT_LT(rounds, 20000u) << "every pass has something for the busy ones";
    keep_six_busy();
    idle.read();
    late.read();
  }
}
