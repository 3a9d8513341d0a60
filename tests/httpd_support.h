// A server inside the test program and clients for it, all on one thread: who waits, polls.
#pragma once

#include <arpa/inet.h>
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <openssl/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>

#include "httpd/mg_internal.h"

// One row is one case; a failure names the row's line.
#define FOR_EACH_ROW(row, rows) \
  for (const auto& row : rows)  \
    if (::testing::ScopedTrace trace(__FILE__, row.line, "this row"); true)

using event_handler = std::function<int(mg_connection*, mg_event)>;

struct test_server {
  event_handler on_event;
  mg_server* server;
  int port;

  explicit test_server(event_handler handler, const std::string& address = "127.0.0.1:0")
      : on_event(std::move(handler))
  {
    server = mg_create_server(this, [](mg_connection* c, mg_event ev) {
      return static_cast<test_server*>(c->server_param)->on_event(c, ev);
    });
    EXPECT_EQ(mg_set_option(server, "listening_port", address.c_str()), nullptr);
    port = atoi(mg_get_option(server, "listening_port"));
  }
  ~test_server()
  {
    mg_destroy_server(&server);
  }
};

// Runs the step until it tells that the awaited condition holds.
template <typename Step, typename Condition>
void run_until(Step step, Condition condition)
{
  auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!condition()) {
    ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "what was awaited did not happen";
    step();
  }
}

template <typename Condition>
void poll_until(test_server& s, Condition condition)
{
  run_until([&s] { mg_poll_server(s.server, 5); }, condition);
}

struct client {
  int fd;
  std::string got;  // all that came so far
  bool closed = false;

  explicit client(int port, int type = SOCK_STREAM) : fd(socket(AF_INET, type | SOCK_CLOEXEC, 0))
  {
    connect_to(port);
  }
  ~client()
  {
    close(fd);
  }
  client(const client&) = delete;
  client& operator=(const client&) = delete;

  void connect_to(int port)
  {
    sockaddr_in sin = {};
    sin.sin_family = AF_INET;
    sin.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    sin.sin_port = htons(static_cast<uint16_t>(port));
    EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&sin), sizeof sin), 0);
  }
  void send(const std::string& bytes)
  {
    ::send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  }
  // Takes what is there; true once the server has closed.
  bool read()
  {
    char bytes[65536];
    ssize_t n;
    while ((n = recv(fd, bytes, sizeof bytes, MSG_DONTWAIT)) > 0)
      got.append(bytes, static_cast<size_t>(n));
    closed = closed || n == 0 || errno == ECONNRESET;
    return closed;
  }
};

inline void wait_for(test_server& s, client& c, size_t bytes)
{
  poll_until(s, [&] { return c.read() || c.got.size() >= bytes; });
}

inline void wait_for_close(test_server& s, client& c)
{
  poll_until(s, [&] { return c.read(); });
}

// The newest connection of the server, null without one.
inline connection* newest(test_server& s)
{
  mg_connection* c = mg_next(s.server, nullptr);
  return c ? mg_conn_2_conn(c) : nullptr;
}

// Waits until the server has so many bytes of a request.
inline void wait_received(test_server& s, int64_t bytes)
{
  poll_until(s, [&] { return newest(s) && newest(s)->num_bytes_recv >= bytes; });
}

inline std::string chunk(const std::string& bytes)
{
  char size[32];
  snprintf(size, sizeof size, "%zX\r\n", bytes.size());
  return size + bytes + "\r\n";
}

inline std::string chunked(const std::string& body)
{
  return "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + chunk(body) + "0\r\n\r\n";
}

inline std::string error_answer(const std::string& status)
{
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(status.size() + 1) +
         "\r\nContent-Type: text/plain\r\n\r\n" + status + "\n";
}

// Runs a libcurl transfer against the server and returns its body.
inline std::string transfer(test_server& s, CURL* curl)
{
  std::string body;
  CURLM* multi = curl_multi_init();
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &body);
  curl_easy_setopt(
      curl, CURLOPT_WRITEFUNCTION, +[](char* data, size_t size, size_t count, std::string* out) {
        out->append(data, size * count);
        return size * count;
      });
  curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L);
  curl_multi_add_handle(multi, curl);
  poll_until(s, [multi] {
    int running = 0;
    curl_multi_perform(multi, &running);
    return running == 0;
  });
  int left;
  CURLMsg* message = curl_multi_info_read(multi, &left);
  EXPECT_TRUE(message && message->data.result == CURLE_OK)
      << (message ? curl_easy_strerror(message->data.result) : "no result");
  curl_multi_remove_handle(multi, curl);
  curl_multi_cleanup(multi);
  return body;
}
