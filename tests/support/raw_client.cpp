#include "tests/support/raw_client.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <linux/sockios.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <fstream>

raw_client::raw_client(const std::string& url, int type)
    : fd(socket(AF_INET, type | SOCK_CLOEXEC, 0)),
      port(static_cast<uint16_t>(atoi(url.c_str() + url.rfind(':') + 1)))
{
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  int on = 1;
  setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

raw_client::~raw_client()
{
  close(fd);
}

void raw_send(raw_client& client, const std::string& bytes)
{
  for (size_t sent = 0; sent < bytes.size();) {
    ssize_t n = send(client.fd, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
    if (n <= 0)
      return;  // the server has closed; what it answered tells
    sent += static_cast<size_t>(n);
  }
}

// Whether the server's end of the connection holds unread bytes, by the system's socket table.
static bool raw_server_has_unread(const raw_client& client)
{
  int unsent = 0;
  ioctl(client.fd, SIOCOUTQ, &unsent);
  sockaddr_in own = {};
  socklen_t length = sizeof own;
  getsockname(client.fd, reinterpret_cast<sockaddr*>(&own), &length);
  std::ifstream table("/proc/net/tcp");
  for (std::string line; std::getline(table, line);) {
    unsigned local = 0, remote = 0, unread = 0;
    sscanf(line.c_str(), "%*d: %*x:%x %*x:%x %*x %*x:%x", &local, &remote, &unread);
    if (local == client.port && remote == ntohs(own.sin_port) && unread > 0)
      return true;
  }
  return unsent > 0;
}

void raw_wait_consumed(raw_client& client)
{
  while (raw_server_has_unread(client))
    poll(nullptr, 0, 1);
}

// Receives once more; false at the end of the connection, or when nothing comes for a minute.
static bool raw_receive_more(raw_client& client)
{
  pollfd ready = {client.fd, POLLIN, 0};
  char bytes[16384];
  if (poll(&ready, 1, 60000) != 1) {
    ADD_FAILURE() << "no answer within a minute";
    return false;
  }
  ssize_t n = recv(client.fd, bytes, sizeof bytes, 0);
  if (n <= 0)
    return false;
  client.received.append(bytes, static_cast<size_t>(n));
  return true;
}

// Takes the response at the start of the text apart: its body, and the length of the whole of it, 0
// while something is missing.
static size_t raw_split(const std::string& text, std::string* body)
{
  body->clear();
  size_t at = text.find("\r\n\r\n");
  if (at == std::string::npos)
    return 0;
  std::string head = text.substr(0, at);
  at += 4;
  if (head.find("Transfer-Encoding: chunked") == std::string::npos) {
    size_t header = head.find("Content-Length: ");
    size_t length =
        header == std::string::npos ? SIZE_MAX : strtoul(&head[header + 16], nullptr, 10);
    *body = text.substr(at, length);
    return body->size() == length ? at + length : 0;
  }
  for (size_t line; (line = text.find("\r\n", at)) != std::string::npos;) {
    size_t chunk = strtoul(&text[at], nullptr, 16);
    *body += text.substr(line + 2, chunk);
    at = line + 2 + chunk + 2;
    if (at > text.size() || chunk == 0)
      return at > text.size() ? 0 : at;
  }
  return 0;
}

std::string raw_receive_response(raw_client& client)
{
  std::string body;
  size_t length = 0;
  while ((length = raw_split(client.received, &body)) == 0 && raw_receive_more(client)) {
  }
  std::string response = client.received.substr(0, length > 0 ? length : std::string::npos);
  client.received.erase(0, response.size());
  return response;
}

std::string raw_receive_all(raw_client& client)
{
  while (raw_receive_more(client)) {
  }
  std::string all;
  all.swap(client.received);
  return all;
}

std::string raw_body(const std::string& response)
{
  std::string body;
  raw_split(response, &body);
  return body;
}
