// A server inside the test program and clients for it, all on one thread: who waits, polls.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "httpd/mg_request.h"
#include "httpd/mg_response.h"
#include "tests/support/file_server.h"

using std::string;
using namespace std::string_literals;

inline const string GET = "GET / HTTP/1.1\r\n\r\n";

struct test_server {
  std::function<int(mg_connection*, mg_event)> on_event;
  mg_server* server = mg_create_server(this, [](mg_connection* c, mg_event ev) {
    return static_cast<test_server*>(c->server_param)->on_event(c, ev);
  });
  int port;

  explicit test_server(decltype(on_event) handler, const string& address = "127.0.0.1:0")
      : on_event(std::move(handler))
  {
    EXPECT_EQ(mg_set_option(server, "listening_port", address.c_str()), nullptr);
    port = atoi(mg_get_option(server, "listening_port"));
  }
  ~test_server()
  {
    mg_destroy_server(&server);
  }
  template <typename Condition>
  void until(Condition condition)
  {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
      ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "what was awaited did not happen";
      mg_poll_server(server, 5);
    }
  }
  // The newest connection, null without one.
  connection* newest()
  {
    mg_connection* c = mg_next(server, nullptr);
    return c ? mg_conn_2_conn(c) : nullptr;
  }
  // Waits until the newest connection has so many bytes of its request.
  void until_received(size_t bytes)
  {
    until([&] { return newest() && newest()->num_bytes_recv >= static_cast<int64_t>(bytes); });
  }
};

// The file with a certificate and its key, for all tests of the program.
inline const string& certificate()
{
  static const temp_folder folder;
  static const string pem = [] {
    make_certificate(folder.path + "/ssl.pem");
    return folder.path + "/ssl.pem";
  }();
  return pem;
}

// Answers MG_AUTH with yes and MG_REQUEST through the procedure.
template <typename Answer>
auto on_request(Answer answer)
{
  return [answer](mg_connection* c, mg_event ev) -> int {
    return ev == MG_REQUEST ? int{answer(c)} : ev == MG_AUTH;
  };
}

// A handler that notes the room of the longest queue there has been.
inline std::atomic<size_t> longest_queue{0};

inline int note_queue(mg_connection* c, mg_event ev)
{
  longest_queue = std::max(longest_queue.load(), mg_conn_2_conn(c)->ns_conn->send_iobuf.size);
  return ev == MG_AUTH;
}

struct client : raw_client {
  bool closed = false;

  explicit client(int server_port, int type = SOCK_STREAM)
      : raw_client(":" + std::to_string(server_port), type)
  {
  }
  void send(const string& bytes)
  {
    raw_send(*this, bytes);
  }
  // Takes what is there; true once the server has closed.
  bool read()
  {
    char bytes[65536];
    ssize_t n;
    while ((n = recv(fd, bytes, sizeof bytes, MSG_DONTWAIT)) > 0)
      received.append(bytes, static_cast<size_t>(n));
    return closed = closed || n == 0 || errno == ECONNRESET;
  }
  // All that came so far, once it is so many bytes or the server has closed.
  string receive(test_server& s, size_t bytes = SIZE_MAX)
  {
    s.until([&] { return read() || received.size() >= bytes; });
    return received;
  }
};

// What a client that sends this gets before the server closes, or first, of so many bytes.
inline string ask(test_server& s, const string& request, size_t bytes = SIZE_MAX)
{
  client c(s.port);
  c.send(request);
  return c.receive(s, bytes);
}

inline string chunk(const string& bytes)
{
  char size[32];
  snprintf(size, sizeof size, "%zX\r\n", bytes.size());
  return size + bytes + "\r\n";
}

inline string chunked(const string& body)
{
  return "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + chunk(body) + "0\r\n\r\n";
}

inline string error_answer(const string& status)
{
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(status.size() + 1) +
         "\r\nContent-Type: text/plain\r\n\r\n" + status + "\n";
}
