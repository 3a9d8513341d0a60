// Connection manager: addresses, buffers, events, TLS, running out of descriptors.
#include <fcntl.h>
#include <openssl/err.h>
#include <sys/resource.h>

#include <string>
#include <thread>
#include <vector>

#include "tests/httpd_support.h"
#include "tests/support/temp_folder.h"

using std::string;

// A manager whose events are counted; what came in is kept, what is to go out is sent on the spot.
struct test_mgr {
  ns_mgr mgr;
  std::vector<ns_event> events;  // without polls
  int polls = 0;
  string received;
  std::function<void(ns_connection*, ns_event, void*)> also;

  test_mgr()
  {
    ns_mgr_init(&mgr, this);
  }
  ~test_mgr()
  {
    ns_mgr_free(&mgr);
  }
  static void on_event(ns_connection* nc, ns_event ev, void* data)
  {
    test_mgr* self = static_cast<test_mgr*>(nc->mgr->user_data);
    if (ev == NS_POLL)
      self->polls++;
    else
      self->events.push_back(ev);
    if (ev == NS_RECV) {
      self->received.append(nc->recv_iobuf.buf, nc->recv_iobuf.len);
      iobuf_remove(&nc->recv_iobuf, nc->recv_iobuf.len);
    }
    if (self->also)
      self->also(nc, ev, data);
  }
  ns_connection* bind(const string& address)
  {
    return ns_bind(&mgr, address.c_str(), on_event, nullptr);
  }
  bool saw(ns_event ev) const
  {
    return std::find(events.begin(), events.end(), ev) != events.end();
  }
  template <typename Condition>
  void poll_until(Condition condition)
  {
    run_until([this] { ns_mgr_poll(&mgr, 5); }, condition);
  }
  ns_connection* accepted()
  {
    poll_until([this] { return mgr.active_connections->listener != nullptr; });
    return mgr.active_connections;
  }
};

static int port_of(const ns_connection* nc)
{
  return ntohs(nc->sa.sin.sin_port);
}

TEST(httpd_net, addresses)
{
  const string path(99, 'p');
  const struct {
    int line;
    string text;
    bool valid;
    const char* ip;
    int port;
    const char* kind;  // tcp, udp or ssl
    string cert, ca;
  } rows[] = {
      {__LINE__,                "8080",                true,"0.0.0.0", 8080, "tcp", "", ""},
      {__LINE__,                   "65534",                                   true,"0.0.0.0", 65534, "tcp", "", ""},
      {__LINE__,                       "65535",                                     false},
      {__LINE__,              "4294975376",                              false},
      {__LINE__,                     "-1",                                          false},
      {__LINE__,                  "",   false},
      {__LINE__,                  "8080x",          false},
      {__LINE__,                  "8080:cert.pem",false},
      {__LINE__,                  "127.0.0.1:9000",                                     true,"127.0.0.1", 9000, "tcp", "", ""},
      {__LINE__,                  "tcp://127.0.0.1:9000",                              true,             "127.0.0.1", 9000, "tcp", "", ""},
      {__LINE__,                  "udp://5353",                                          true,                      "0.0.0.0", 5353, "udp", "", ""},
      {__LINE__,                   "udp://tcp://5353",false},
      {__LINE__,                     "localhost:81",                                        true,"127.0.0.1", 81, "tcp", "", ""},
      {__LINE__,"no-such-host.invalid:81",true,"0.0.0.0", 81, "tcp", "", ""},
      {__LINE__,                  string(200,                                     'h') + ":81",false},
      {__LINE__,                "[::1]:81",        false},
      {__LINE__,                   "ssl://8446",                                   true,"0.0.0.0", 8446, "ssl", "", ""},
      {__LINE__,                       "ssl://8446:/mnt/x/ssl.pem",                                     true,"0.0.0.0", 8446, "ssl", "/mnt/x/ssl.pem", ""},
      {__LINE__,                       "ssl://443:cert.pem:ca.pem",                                     true,   "0.0.0.0", 443, "ssl", "cert.pem", "ca.pem"},
      {__LINE__,            "ssl://443:" + path,                               true,"0.0.0.0", 443, "ssl", path, ""},
      {__LINE__,                     "ssl://443:" + path + "p",                                          false},
      {__LINE__,                   "ssl://443:a:b:c",                                                            false                                                                                                             },
      {__LINE__,                     "ssl://443:",                                        false},
  };
  FOR_EACH_ROW(row, rows)
  {
    ns_socket_address sa;
    int protocol;
    bool use_ssl;
    char cert[100], ca[100];
    int used = ns_parse_address(row.text.c_str(), &sa, &protocol, &use_ssl, cert, ca);
    EXPECT_EQ(used, row.valid ? static_cast<int>(row.text.size()) : 0);
    if (!row.valid)
      continue;
    EXPECT_STREQ(inet_ntoa(sa.sin.sin_addr), row.ip);
    EXPECT_EQ(ntohs(sa.sin.sin_port), row.port);
    EXPECT_STREQ(use_ssl ? "ssl" : protocol == SOCK_DGRAM ? "udp" : "tcp", row.kind);
    EXPECT_EQ(cert, row.cert);
    EXPECT_EQ(ca, row.ca);
  }
}

TEST(httpd_net, a_listener_that_cannot_work_leaves_nothing_behind)
{
  test_mgr m;
  ns_connection* first = m.bind("127.0.0.1:0");
  for (const string& address :
       {string("ssl://127.0.0.1:0"), string("ssl://127.0.0.1:0:missing.pem"), string("65535"),
        "127.0.0.1:" + std::to_string(port_of(first)), string("192.0.2.1:0")})
    EXPECT_EQ(m.bind(address), nullptr) << address;
  EXPECT_EQ(m.mgr.active_connections, first);
  EXPECT_EQ(first->next, nullptr);
  EXPECT_TRUE(m.events.empty());
}

TEST(httpd_net, buffers_grow_to_what_is_needed)
{
  iobuf io;
  iobuf_init(&io, 10);
  EXPECT_EQ(io.size, 10u);
  EXPECT_EQ(iobuf_append(&io, "", 0), 0u);
  EXPECT_EQ(iobuf_append(&io, "0123456789ab", 12), 12u);
  EXPECT_EQ(io.size, 12u);
  iobuf_remove(&io, 13);
  iobuf_remove(&io, 2);
  EXPECT_EQ(string(io.buf, io.len), "23456789ab");
  EXPECT_EQ(io.size, 12u);
  iobuf_resize(&io, 9);
  EXPECT_EQ(io.size, 12u);
  EXPECT_EQ(iobuf_append(&io, io.buf, SIZE_MAX - 5), 0u);
  iobuf_resize(&io, 10);
  EXPECT_EQ(io.size, 10u);
  iobuf_remove(&io, 10);
  iobuf_resize(&io, 0);
  EXPECT_EQ(io.buf, nullptr);
}

TEST(httpd_net, events_of_a_connection_from_accept_to_close)
{
  test_mgr m;
  ns_connection* listener = m.bind("127.0.0.1:0");
  listener->proto_data = &m;
  client c(port_of(listener));
  ns_connection* nc = m.accepted();
  EXPECT_EQ(nc->proto_data, &m);
  c.send(string(5000, 'x'));
  m.poll_until([&] { return m.received.size() == 5000; });
  int polls = m.polls;
  ns_mgr_poll(&m.mgr, 0);
  EXPECT_EQ(m.polls, polls + 1) << "one poll per pass, none for the listener";

  nc->flags |= NSF_HOLD_SEND;
  EXPECT_EQ(ns_printf(nc, "%0600d", 7), 600);
  ns_mgr_poll(&m.mgr, 0);
  EXPECT_FALSE(m.saw(NS_SEND));
  nc->flags &= ~NSF_HOLD_SEND;
  nc->flags |= NSF_CLOSE_WHEN_SENT;
  m.poll_until([&] { return c.read(); });
  EXPECT_EQ(c.got, string(599, '0') + "7");
  EXPECT_EQ(m.events,
            (std::vector<ns_event>{NS_ACCEPT, NS_RECV, NS_RECV, NS_RECV, NS_SEND, NS_CLOSE}));
}

TEST(httpd_net, a_peer_that_closes_is_closed_in_the_same_pass_with_its_output)
{
  test_mgr m;
  client c(port_of(m.bind("127.0.0.1:0")));
  ns_connection* nc = m.accepted();
  m.also = [](ns_connection* conn, ns_event ev, void*) {
    if (ev == NS_RECV)
      ns_send(conn, "late", 4);
  };
  c.send("x");
  shutdown(c.fd, SHUT_WR);
  nc->flags |= NSF_HOLD_SEND;
  m.poll_until([&] { return m.saw(NS_CLOSE); });
  m.poll_until([&] { return c.read(); });
  EXPECT_EQ(c.got, "");
  EXPECT_EQ(m.events, (std::vector<ns_event>{NS_ACCEPT, NS_RECV, NS_CLOSE}));
}

TEST(httpd_net, outbound_connections_tell_how_they_ended)
{
  test_mgr m;
  std::vector<int> results;
  m.also = [&](ns_connection*, ns_event ev, void* data) {
    if (ev == NS_CONNECT)
      results.push_back(*static_cast<int*>(data));
  };
  int port = port_of(m.bind("127.0.0.1:0"));
  EXPECT_TRUE(
      ns_connect(&m.mgr, ("127.0.0.1:" + std::to_string(port)).c_str(), m.on_event, nullptr));
  m.poll_until([&] { return results.size() == 1; });
  ns_connect(&m.mgr, "127.0.0.1:1", m.on_event, nullptr);
  m.poll_until([&] { return m.saw(NS_CLOSE); });
  EXPECT_EQ(results, (std::vector<int>{0, ECONNREFUSED}));
  EXPECT_EQ(ns_connect(&m.mgr, "65535", m.on_event, nullptr), nullptr);
}

TEST(httpd_net, datagrams_are_answered_at_once)
{
  test_mgr m;
  m.also = [](ns_connection* nc, ns_event ev, void*) {
    if (ev != NS_RECV)
      return;
    EXPECT_EQ(nc->flags, NSF_UDP);
    EXPECT_EQ(ns_printf(nc, "answer"), 6);
  };
  client c(port_of(m.bind("udp://127.0.0.1:0")), SOCK_DGRAM);
  c.send("question");
  m.poll_until([&] { return c.read() || !c.got.empty(); });
  EXPECT_EQ(m.received + " " + c.got, "question answer");
  EXPECT_EQ(m.mgr.active_connections->next, nullptr);
}

TEST(httpd_net, a_wake_up_reaches_every_connection_and_returns)
{
  test_mgr m;
  m.bind("127.0.0.1:0");
  m.bind("127.0.0.1:0");
  static string seen;
  std::atomic<bool> returned{false};
  std::thread other([&] {
    auto take = [](ns_connection*, ns_event ev, void* data) {
      seen += std::to_string(ev) + static_cast<char*>(data);
    };
    char too_long[8192] = "";
    ns_wakeup(&m.mgr, take, too_long, sizeof too_long);
    ns_wakeup(&m.mgr, take, "hi", sizeof "hi");
    returned = true;
  });
  m.poll_until([&] { return returned.load(); });
  other.join();
  EXPECT_EQ(seen, "0hi0hi");
}

TEST(httpd_net, hex_dump_and_trace)
{
  char out[500];
  EXPECT_EQ(ns_hexdump("ABCDEFGHIJKLMNO\x01\x7f", 17, out, sizeof out), 72 + 58);
  EXPECT_EQ(out,
            "0000  41 42 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 01  ABCDEFGHIJKLMNO.\n0010  7f" +
                string(15 * 3 + 2, ' ') + ".\n\n");
  EXPECT_EQ(ns_hexdump("ABCDEFGH", 8, out, 10), 9) << "cut at the end of the buffer";

  temp_folder folder;
  string path = folder.path + "/trace";
  {
    test_mgr m;
    m.mgr.hexdump_file = path.c_str();
    client c(port_of(m.bind("127.0.0.1:0")));
    m.accepted();
    m.also = [](ns_connection* nc, ns_event ev, void*) {
      if (ev == NS_RECV)
        ns_printf(nc, "%s", "ho");
    };
    c.send("hi");
    m.poll_until([&] { return c.read() || c.got == "ho"; });
  }
  string text = file_text(path);
  for (const char* part : {" <A 127.0.0.1:", " <- 127.0.0.1:", " 2\n0000  68 69   ",
                           " -> 127.0.0.1:", " 2\n0000  68 6f   ", " XX "})
    EXPECT_NE(text.find(part), string::npos) << part << " in\n" << text;
}

// --- TLS ---

struct tls_client : client {
  SSL_CTX* ctx = SSL_CTX_new(TLS_client_method());
  SSL* ssl;
  explicit tls_client(int port, int max_version = 0, const char* cert = nullptr) : client(port)
  {
    SSL_CTX_set_max_proto_version(ctx, max_version);
    if (max_version == TLS1_1_VERSION)
      SSL_CTX_set_cipher_list(ctx, "DEFAULT:@SECLEVEL=0");
    if (cert) {
      SSL_CTX_use_certificate_file(ctx, cert, SSL_FILETYPE_PEM);
      SSL_CTX_use_PrivateKey_file(ctx, cert, SSL_FILETYPE_PEM);
    }
    fcntl(fd, F_SETFL, O_NONBLOCK);
    ssl = SSL_new(ctx);
    SSL_set_fd(ssl, fd);
  }
  ~tls_client()
  {
    SSL_free(ssl);
    SSL_CTX_free(ctx);
  }
  // The result of a TLS call once it neither waits for reading nor for writing.
  template <typename Call>
  int finish(test_mgr& m, Call call)
  {
    int result = 0, error = 0;
    m.poll_until([&] {
      result = call();
      error = SSL_get_error(ssl, result);
      ERR_clear_error();
      return error != SSL_ERROR_WANT_READ && error != SSL_ERROR_WANT_WRITE;
    });
    return error == SSL_ERROR_ZERO_RETURN ? 0 : result > 0 ? result : -1;
  }
  int handshake(test_mgr& m)
  {
    return finish(m, [this] { return SSL_connect(ssl); });
  }
  int read_tls(test_mgr& m, char* buf, int size)
  {
    return finish(m, [=] { return SSL_read(ssl, buf, size); });
  }
};

TEST(httpd_net, tls_handshakes_good_half_and_bad)
{
  temp_folder folder;
  string pem = folder.path + "/ssl.pem";
  make_certificate(pem);
  test_mgr m;
  ns_connection* listener = m.bind("ssl://127.0.0.1:0:" + pem);
  ASSERT_NE(listener, nullptr);
  m.also = [](ns_connection* nc, ns_event ev, void*) {
    if (ev == NS_RECV && (nc->flags |= NSF_CLOSE_WHEN_SENT))
      ns_printf(nc, "%s", "answer");
  };

  client half(port_of(listener));  // begins a handshake and leaves it at that
  half.send("\x16\x03\x01");
  tls_client good(port_of(listener));
  EXPECT_EQ(good.handshake(m), 1);
  client bad(port_of(listener));
  bad.send("GET / HTTP/1.1\r\n\r\n");
  m.poll_until([&] { return bad.read(); });
  EXPECT_EQ(tls_client(port_of(listener), TLS1_1_VERSION).handshake(m), -1);
  EXPECT_EQ(tls_client(port_of(listener), TLS1_2_VERSION).handshake(m), 1);

  EXPECT_EQ(SSL_write(good.ssl, "question", 8), 8) << "the others' errors are not this one's";
  char answer[10] = "";
  EXPECT_EQ(good.read_tls(m, answer, sizeof answer), 6);
  EXPECT_STREQ(answer, "answer");
  EXPECT_EQ(good.read_tls(m, answer, sizeof answer), 0) << "a close notification, not a cut";
  EXPECT_EQ(m.received, "question");
  EXPECT_FALSE(half.read());
}

TEST(httpd_net, tls_clients_without_the_demanded_certificate_are_refused)
{
  temp_folder folder;
  string pem = folder.path + "/ssl.pem";
  make_certificate(pem);
  test_mgr m;
  ns_connection* listener = m.bind("ssl://127.0.0.1:0:" + pem + ":" + pem);
  ASSERT_NE(listener, nullptr);
  for (const char* cert : {pem.c_str(), static_cast<const char*>(nullptr)}) {
    tls_client c(port_of(listener), TLS1_2_VERSION, cert);
    EXPECT_EQ(c.handshake(m), cert ? 1 : -1);
  }
  // The client side presents its certificate and verifies the server's.
  string target = "ssl://127.0.0.1:" + std::to_string(port_of(listener)) + ":" + pem + ":" + pem;
  m.received.clear();
  m.also = [](ns_connection* nc, ns_event ev, void* data) {
    if (ev == NS_CONNECT && *static_cast<int*>(data) == 0)
      ns_printf(nc, "%s", "over TLS");
  };
  ASSERT_NE(ns_connect(&m.mgr, target.c_str(), m.on_event, nullptr), nullptr);
  m.poll_until([&] { return m.received == "over TLS"; });
}

// --- descriptors ---

TEST(httpd_net, a_client_beyond_the_descriptors_is_refused_and_the_next_one_served)
{
  test_mgr m;
  ns_connection* listener = m.bind("127.0.0.1:0");
  int sock = socket(AF_INET, SOCK_STREAM, 0);
  rlimit before;
  getrlimit(RLIMIT_NOFILE, &before);
  rlimit low = before;
  low.rlim_cur = static_cast<rlim_t>(dup(sock)) + 20;
  setrlimit(RLIMIT_NOFILE, &low);
  std::vector<int> fill;
  for (int fd; (fd = dup(sock)) >= 0;)
    fill.push_back(fd);

  client* refused[2];  // they take the descriptors of two that were in the way
  for (client*& c : refused) {
    close(fill.back());
    fill.pop_back();
    c = new client(port_of(listener));
  }
  m.poll_until([&] { return refused[0]->read() && refused[1]->read(); });
  EXPECT_TRUE(m.events.empty());
  delete refused[0];
  delete refused[1];
  client served(port_of(listener));
  m.accepted();
  for (int fd : fill)
    close(fd);
  close(sock);
  setrlimit(RLIMIT_NOFILE, &before);
}

TEST(httpd_net, clients_up_to_the_select_set_are_served_and_those_beyond_refused)
{
  rlimit limit, before;
  getrlimit(RLIMIT_NOFILE, &before);
  limit = before;
  limit.rlim_cur = FD_SETSIZE + 1200;
  if (setrlimit(RLIMIT_NOFILE, &limit) != 0)
    GTEST_SKIP() << "cannot have so many descriptors";
  {
    test_mgr m;
    int port = port_of(m.bind("127.0.0.1:0"));
    std::vector<std::unique_ptr<client>> clients;
    size_t accepted = 0;
    m.also = [&](ns_connection*, ns_event ev, void*) { accepted += ev == NS_ACCEPT; };
    while (clients.size() < 1050) {
      auto c = std::make_unique<client>(port);
      int high = fcntl(c->fd, F_DUPFD_CLOEXEC, FD_SETSIZE);  // the low ones are the server's
      close(c->fd);
      c->fd = high;
      clients.push_back(std::move(c));
      size_t served = accepted;
      m.poll_until([&] { return accepted > served || clients.back()->read(); });
    }
    EXPECT_GE(accepted, 1000u);
    EXPECT_LT(accepted, 1024u);
    for (size_t i = 0; i < clients.size(); i++)
      EXPECT_EQ(clients[i]->read(), i >= accepted) << i;
  }
  setrlimit(RLIMIT_NOFILE, &before);
}
