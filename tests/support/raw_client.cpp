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

raw_client::raw_client(const std::string& url)
{
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(atoi(url.c_str() + url.rfind(':') + 1)));
  fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
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

// The bytes that the server's end of the connection holds unread, from the system's socket table.
static bool raw_server_has_unread(int fd)
{
  int unsent = 0;
  if (ioctl(fd, SIOCOUTQ, &unsent) == 0 && unsent > 0)
    return true;
  sockaddr_in own = {}, peer = {};
  socklen_t length = sizeof own;
  getsockname(fd, reinterpret_cast<sockaddr*>(&own), &length);
  length = sizeof peer;
  getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &length);
  FILE* table = fopen("/proc/net/tcp", "re");
  char line[512];
  bool unread = false;
  while (table && fgets(line, sizeof line, table)) {
    unsigned local = 0, remote = 0, queued = 0;
    if (sscanf(line, "%*d: %*x:%x %*x:%x %*x %*x:%x", &local, &remote, &queued) == 3 &&
        local == ntohs(peer.sin_port) && remote == ntohs(own.sin_port))
      unread = queued > 0;
  }
  if (table)
    fclose(table);
  return unread;
}

void raw_wait_consumed(raw_client& client)
{
  while (raw_server_has_unread(client.fd))
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

// The length of the complete response at the start of the text, or 0.
static size_t raw_response_length(const std::string& text)
{
  size_t head = text.find("\r\n\r\n");
  if (head == std::string::npos)
    return 0;
  size_t body = head + 4;
  size_t length_header = text.find("Content-Length: ");
  if (length_header < head) {
    size_t length = strtoul(text.c_str() + length_header + 16, nullptr, 10);
    return text.size() >= body + length ? body + length : 0;
  }
  if (text.find("Transfer-Encoding: chunked") < head) {
    size_t end = text.find("0\r\n\r\n", body);
    // The end mark may stand inside a chunk: walk them.
    for (size_t at = body; end != std::string::npos && at < text.size();) {
      size_t line = text.find("\r\n", at);
      if (line == std::string::npos)
        return 0;
      size_t chunk = strtoul(text.c_str() + at, nullptr, 16);
      at = line + 2 + chunk + 2;
      if (chunk == 0)
        return at <= text.size() ? at : 0;
    }
    return 0;
  }
  return 0;
}

std::string raw_receive_response(raw_client& client)
{
  size_t length = 0;
  while ((length = raw_response_length(client.received)) == 0)
    if (!raw_receive_more(client)) {
      length = client.received.size();
      break;
    }
  std::string response = client.received.substr(0, length);
  client.received.erase(0, length);
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
  size_t head = response.find("\r\n\r\n");
  if (head == std::string::npos)
    return "";
  if (response.find("Transfer-Encoding: chunked") > head)
    return response.substr(head + 4);
  std::string body;
  for (size_t at = head + 4; at < response.size();) {
    size_t chunk = strtoul(response.c_str() + at, nullptr, 16);
    size_t line = response.find("\r\n", at);
    if (chunk == 0 || line == std::string::npos)
      break;
    body += response.substr(line + 2, chunk);
    at = line + 2 + chunk + 2;
  }
  return body;
}
