// Connection manager: addresses, buffers, closing, tracing, TLS, running out of descriptors.
#include <arpa/inet.h>

#include "tests/httpd_support.h"

static int say_hello(mg_connection* c)
{
  return mg_printf_data(c, "%s", "hello") != 0;
}

// What an address was read as: "PROTOCOL IP:PORT CERTIFICATE CA", "" for an invalid one.
static string read_address(const string& text)
{
  ns_socket_address sa;
  int protocol;
  bool use_ssl;
  char cert[100], ca[100];
  if (ns_parse_address(text.c_str(), &sa, &protocol, &use_ssl, cert, ca) == 0)
    return "";
  const string kind = use_ssl ? "ssl " : protocol == SOCK_DGRAM ? "udp " : "tcp ";
  return kind + inet_ntoa(sa.sin.sin_addr) + ":" + std::to_string(ntohs(sa.sin.sin_port)) + " " +
         cert + " " + ca;
}

TEST(httpd_net, addresses)
{
  const string path(99, 'p'), long_host(200, 'h');
  // clang-format off
  const std::pair<string, string> rows[] = {
      {"8080", "tcp 0.0.0.0:8080  "}, {"65534", "tcp 0.0.0.0:65534  "}, {"65535", ""},
      {"4294975376", ""}, {"", ""}, {"8080:cert.pem", ""},
      {"127.0.0.1:9000", "tcp 127.0.0.1:9000  "}, {"udp://5353", "udp 0.0.0.0:5353  "},
      {"udp://tcp://5353", ""}, {"localhost:81", "tcp 127.0.0.1:81  "},
      {"999.1.1.1:80", ""}, {"255.1.1.256:80", ""},
      {"no-such-host.invalid:81", "tcp 0.0.0.0:81  "}, {long_host + ":81", ""}, {"[::1]:81", ""},
      {"ssl://8446", "ssl 0.0.0.0:8446  "},
      {"ssl://443:cert.pem:ca.pem", "ssl 0.0.0.0:443 cert.pem ca.pem"},
      {"ssl://443:" + path, "ssl 0.0.0.0:443 " + path + " "}, {"ssl://443:" + path + "p", ""},
      {"ssl://443:", ""}};
  // clang-format on
  for (const auto& [text, read] : rows)
    EXPECT_EQ(read_address(text), read) << text;
}

TEST(httpd_net, listening_port_reads_as_the_last_port_and_keeps_listeners)
{
  mg_server* server = mg_create_server(nullptr, nullptr);
  const auto listen = [&](const string& addresses, int listeners) -> string {
    const char* error = mg_set_option(server, "listening_port", addresses.c_str());
    for (ns_connection* nc = nullptr; (nc = ns_next(&server->mgr, nc));)
      listeners -= (nc->flags & NSF_LISTENING) != 0;
    EXPECT_EQ(listeners, 0) << addresses;
    return error ? error : mg_get_option(server, "listening_port");
  };
  const string port = listen("127.0.0.1:0", 1);
  EXPECT_EQ(listen(port, 1), port) << "nothing to do for the port it already has";
  const string last = listen("127.0.0.1:0,ssl://127.0.0.1:0:" + certificate(), 3);
  EXPECT_EQ(last, std::to_string(ntohs(ns_next(&server->mgr, nullptr)->sa.sin.sin_port)));
  EXPECT_EQ(listen("127.0.0.1:0,127.0.0.1:" + port + ",127.0.0.1:0", 4), "Cannot bind to port")
      << "those before the failure stay";
  mg_destroy_server(&server);
}

TEST(httpd_net, a_connection_closes_when_sent_or_with_its_output)
{
  test_server s(on_request(say_hello));
  client drained(s.port);
  drained.send("GET / HTTP/1.0\r\n\r\n");
  s.until([&] { return s.newest() && s.newest()->mg_conn.remote_port; });
  s.newest()->ns_conn->flags |= NSF_HOLD_SEND;
  EXPECT_EQ(drained.receive(s), chunked("hello"));

  client half(s.port);
  s.until([&] { return s.newest() != nullptr; });
  half.send(GET);
  shutdown(half.fd, SHUT_WR);  // arrives with the request, and is seen behind the answer
  EXPECT_EQ(half.receive(s), chunked("hello"));

  const string text = string(599, '0') + "7";  // more than fits on the stack
  for (bool is_gone : {true, false}) {
    client held(s.port);
    s.until([&] { return s.newest() != nullptr; });
    ns_connection* nc = s.newest()->ns_conn;
    nc->flags |= NSF_HOLD_SEND | (is_gone ? 0 : NSF_CLOSE_WHEN_SENT);
    EXPECT_EQ(ns_printf(nc, "%0600d", 7), 600);
    if (is_gone)
      shutdown(held.fd, SHUT_WR);
    else
      held.send(GET);  // behind the last answer
    mg_poll_server(s.server, is_gone ? 1000 : 0);
    EXPECT_EQ(held.read(), is_gone) << "what is queued goes with the client";
    EXPECT_EQ(held.received, "");
    if (!is_gone)
      nc->flags &= ~NSF_HOLD_SEND;
    EXPECT_EQ(held.receive(s), is_gone ? "" : text);
  }
}

TEST(httpd_net, trace)
{
  temp_folder folder;
  const string path = folder.path + "/trace";
  test_server s(on_request([](mg_connection* c) { return mg_printf(c, "%s", "ho") != 0; }));
  mg_set_option(s.server, "hexdump_file", path.c_str());
  ask(s, "GET / HTTP/1.0\r\n\r\n");
  const string text = file_text(path);
  const string dump =
      " 18\n0000  47 45 54 20 2f 20 48 54 54 50 2f 31 2e 30 0d 0a  GET / HTTP/1.0..\n0010  0d 0a" +
      string(14 * 3 + 2, ' ') + "..\n\n";
  for (const string& part : {" <A 127.0.0.1:"s, " <- 127.0.0.1:"s, dump, " -> 127.0.0.1:"s,
                             " 2\n0000  68 6f   "s, " XX "s})
    EXPECT_NE(text.find(part), string::npos) << part << " in\n" << text;
  mg_set_option(s.server, "hexdump_file", "");
  ask(s, "GET / HTTP/1.0\r\n\r\n");
  EXPECT_EQ(file_text(path), text) << "nothing is added once the option is unset";
}

// --- TLS ---

static int hello(mg_connection* c, mg_event ev)
{
  return ev == MG_REQUEST ? say_hello(c) : ev == MG_AUTH;
}

struct tls_server {
  file_server server;
  string url = "https" + server.url.substr(4);

  explicit tls_server(const string& authority = "")
      : server("listening_port=ssl://127.0.0.1:0:" + certificate() + authority, hello)
  {
    // The library's own idea of what is too old is not what refuses it here.
    SSL_CTX_set_security_level(ns_next(&server.server->mgr, nullptr)->ssl_ctx, 0);
  }
  // What the client gets, "" without an answer.
  string get(http_client& client)
  {
    return http_request(client, "GET", url).body;
  }
};

// A client that can wait with its reading, on the thread that polls the server.
struct tls_client : client {
  std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> ctx{SSL_CTX_new(TLS_client_method()),
                                                        SSL_CTX_free};
  std::unique_ptr<SSL, decltype(&SSL_free)> ssl{SSL_new(ctx.get()), SSL_free};
  size_t taken = 0;
  int error = SSL_ERROR_NONE;  // of the last read

  explicit tls_client(test_server& s) : client(s.port)
  {
    int little = 65536;
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &little, sizeof little);
    fcntl(fd, F_SETFL, O_NONBLOCK);
    SSL_set_fd(ssl.get(), fd);
    s.until([&] { return SSL_connect(ssl.get()) == 1; });
  }
  // Each request is a record of its own; false when the socket is full.
  bool ask(const string& request = GET)
  {
    return SSL_write(ssl.get(), request.data(), static_cast<int>(request.size())) > 0;
  }
  // Takes what is there; true when all is taken, or the server has closed.
  bool take(size_t all)
  {
    char bytes[16384];
    int n;
    while ((n = SSL_read(ssl.get(), bytes, sizeof bytes)) > 0)
      taken += static_cast<size_t>(n);
    error = SSL_get_error(ssl.get(), n);
    return taken >= all || error != SSL_ERROR_WANT_READ;
  }
};

TEST(httpd_net, tls_handshakes_good_half_and_bad)
{
  tls_server tls;
  raw_client half(tls.url), bad(tls.url);
  raw_send(half, "\x16\x03\x01");
  http_client good;
  EXPECT_EQ(tls.get(good), "hello");
  raw_send(bad, GET);
  raw_receive_all(bad);
  EXPECT_EQ(tls.get(good), "hello");
  EXPECT_EQ(http_connections(good), 0) << "the others' errors are not this one's";

  test_server s(on_request(say_hello), "ssl://127.0.0.1:0:" + certificate());
  tls_client strict(s);
  strict.ask("GET / HTTP/1.0\r\n\r\n");
  s.until([&] { return strict.take(SIZE_MAX); });
  EXPECT_EQ(strict.error, SSL_ERROR_ZERO_RETURN) << "cut, not ended";
}

// Forward secrecy and authenticated encryption, and no version before 1.2.
TEST(httpd_net, tls_takes_only_strong_versions_and_suites)
{
  tls_server tls;
  const long old = CURL_SSLVERSION_TLSv1_0 | CURL_SSLVERSION_MAX_TLSv1_1,
             last = CURL_SSLVERSION_MAX_TLSv1_2;
  for (const auto& [version, suites, answer] :
       {std::tuple(old, "DEFAULT@SECLEVEL=0", ""), std::tuple(last, "DEFAULT", "hello"),
        std::tuple(last, "ECDHE+AESGCM", "hello"), std::tuple(last, "ECDHE+CHACHA20", "hello"),
        std::tuple(last, "ECDHE:!AESGCM:!CHACHA20", ""), std::tuple(last, "kRSA:DHE", "")}) {
    http_client client(CURLOPT_SSL_CIPHER_LIST, suites);
    curl_easy_setopt(client.curl.get(), CURLOPT_SSLVERSION, version);
    EXPECT_EQ(tls.get(client), answer) << suites;
  }
}

TEST(httpd_net, a_tls_client_that_reads_late_is_served_or_closed_and_costs_no_more_than_another)
{
  for (size_t size : {2000u, 100000u, 12000000u}) {
    const string answer(size, 'a');
    size_t answered = 0;
    test_server s(on_request([&](mg_connection* c) {
                    answered += chunked(answer).size();
                    return mg_send_data(c, answer.data(), answer.size()) != 0;
                  }),
                  "ssl://127.0.0.1:0:" + certificate());
    tls_client c(s);
    for (int i = 0; i < 300 && c.ask(); i++) {
    }
    const ns_connection* nc = s.newest()->ns_conn;
    s.until([&] { return c.ask(), nc->send_iobuf.len > 0; });
    for (int i = 0; i < 1000; i++) {
      c.ask();
      mg_poll_server(s.server, 0);
      EXPECT_LT(nc->send_iobuf.len, 4 * size + 300000);
    }
    // When it has taken all, it is not left waiting.
    s.until([&] { return c.take(answered); });
    const size_t all = answered;
    s.until([&] {
      c.ask();
      return c.take(all + 1);
    });
  }
}

TEST(httpd_net, tls_clients_without_the_demanded_certificate_are_refused)
{
  tls_server tls(":" + certificate());
  http_client without, with(CURLOPT_SSLCERT, certificate().c_str());
  EXPECT_EQ(tls.get(without), "");
  EXPECT_EQ(tls.get(with), "hello");
  bool connected = false;
  const string files = ":" + certificate() + ":" + certificate();
  const auto note = [&](mg_connection* c, mg_event ev) -> int {
    return connected |= ev == MG_CONNECT && c->status_code == 0;
  };
  test_server s(note, "ssl://127.0.0.1:0" + files);
  const string own = "ssl://127.0.0.1:" + std::to_string(s.port) + files;
  ASSERT_NE(mg_connect(s.server, own.c_str()), nullptr);
  s.until([&] { return connected; });
}

// --- descriptors ---

struct descriptor_limit {
  rlimit before;
  explicit descriptor_limit(int limit)
  {
    getrlimit(RLIMIT_NOFILE, &before);
    rlimit now = {static_cast<rlim_t>(limit), before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &now), 0);
  }
  ~descriptor_limit()
  {
    setrlimit(RLIMIT_NOFILE, &before);
  }
};

TEST(httpd_net, a_client_beyond_the_descriptors_is_refused_and_the_next_one_served)
{
  test_server s(on_request(say_hello));
  descriptor_limit limit(64);
  std::vector<int> fill;
  for (int fd; (fd = dup(0)) >= 0;)
    fill.push_back(fd);
  for (size_t room = 1; room <= 2; room++) {  // for the client, then for the server's side too
    for (size_t i = 0; i < room; i++) {
      close(fill.back());
      fill.pop_back();
    }
    client c(s.port);
    c.send(GET);
    EXPECT_EQ(c.receive(s, 1), room == 2 ? chunked("hello") : "");
    shutdown(c.fd, SHUT_RDWR);
    s.until([&] { return s.newest() == nullptr; });
    fill.push_back(dup(0));
  }
  for (int fd : fill)
    close(fd);
}

// The first client's request stays in progress, the second becomes a WebSocket, the third stops in
// the middle of a request: it has been without a complete one for longest.
TEST(httpd_net, beyond_the_descriptors_a_newcomer_is_served_instead_of_the_longest_without_request)
{
  const auto answer = [](mg_connection* c) {
    return strcmp(c->uri, "/more") == 0 ? MG_MORE : say_hello(c) ? MG_TRUE : MG_FALSE;
  };
  // Limits of the process when the server starts, and the bounds of its connections.
  for (const auto& [few, bound, count] :
       {std::tuple(64, 48, 80u), std::tuple(FD_SETSIZE + 64, FD_SETSIZE, 1050u)}) {
    auto small = std::make_unique<descriptor_limit>(few);
    test_server s(on_request(answer));
    small.reset();
    descriptor_limit limit(FD_SETSIZE + 1200);
    std::vector<std::unique_ptr<client>> clients;
    while (clients.size() < count) {
      auto c = std::make_unique<client>(s.port);
      int high = fcntl(c->fd, F_DUPFD_CLOEXEC, FD_SETSIZE + 64);  // the low ones are the server's
      close(c->fd);
      c->fd = high;
      if (clients.size() == 0) {
        c->send("GET /more HTTP/1.1\r\n\r\n");
        s.until([&] { return s.newest() && s.newest()->handler_called; });
      } else if (clients.size() == 1) {
        c->send("GET / HTTP/1.1\r\nSec-WebSocket-Key: x\r\nSec-WebSocket-Version: 13\r\n\r\n");
        c->receive(s, 1);
      } else if (clients.size() == 2) {
        c->send("GET / HT");
        s.until_received(8);
      } else {
        c->send(GET);
        EXPECT_EQ(c->receive(s, chunked("hello").size()), chunked("hello"));
        EXPECT_LT(s.newest()->ns_conn->sock, bound);
      }
      clients.push_back(std::move(c));
    }
    size_t closed = 0;
    while (closed + 1 < clients.size() && clients[closed + 1]->read())
      closed++;
    EXPECT_GT(closed, count - static_cast<size_t>(bound));
    EXPECT_LT(closed, count - static_cast<size_t>(bound) + 30) << "not more than needed";
    EXPECT_FALSE(clients[0]->read()) << "a request in progress";
    for (size_t i = closed + 1; i < clients.size(); i++)
      EXPECT_FALSE(clients[i]->read()) << i;
  }
}

TEST(httpd_net, a_pass_takes_a_share_of_each_and_many_newcomers)
{
  test_server s(on_request(say_hello));
  std::vector<std::unique_ptr<client>> clients;
  while (clients.size() < 40)
    clients.push_back(std::make_unique<client>(s.port));
  const auto connections = [&] {
    size_t count = 0;
    for (mg_connection* c = nullptr; (c = mg_next(s.server, c));)
      count++;
    return count;
  };
  mg_poll_server(s.server, 0);
  EXPECT_EQ(connections(), 32u);
  mg_poll_server(s.server, 0);
  EXPECT_EQ(connections(), 40u);
  for (size_t i = 0; i < 4; i++) {
    int size = 1 << 20;
    setsockopt(clients[i]->fd, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    fcntl(clients[i]->fd, F_SETFL, O_NONBLOCK);
    clients[i]->send("POST / HTTP/1.1\r\nContent-Length: 9999999\r\n\r\n" + string(1 << 20, 'b'));
  }
  mg_poll_server(s.server, 0);
  int readers = 0;
  for (mg_connection* c = nullptr; (c = mg_next(s.server, c));) {
    EXPECT_LT(mg_conn_2_conn(c)->num_bytes_recv, 256 * 1024 + 2048);
    readers += mg_conn_2_conn(c)->num_bytes_recv > 0;
  }
  EXPECT_EQ(readers, 4) << "nobody is left out";
}
