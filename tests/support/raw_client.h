// A plain socket, for requests that no well-behaved client would send.
#pragma once

#include <stdint.h>
#include <sys/socket.h>

#include <string>

struct raw_client {
  int fd;
  uint16_t port;         // of the server
  std::string received;  // not yet taken
  // The URL is "http://127.0.0.1:PORT", or anything else that ends with a port.
  explicit raw_client(const std::string& url, int type = SOCK_STREAM);
  ~raw_client();
  raw_client(const raw_client&) = delete;
  raw_client& operator=(const raw_client&) = delete;
};

void raw_send(raw_client& client, const std::string& bytes);

// Waits until the server has read all that was sent.
void raw_wait_consumed(raw_client& client);

// One whole response (chunked, with Content-Length, or up to the close), as it came; what follows
// it stays in the client. Empty when the server closed without one.
std::string raw_receive_response(raw_client& client);

// All bytes up to the server's close.
std::string raw_receive_all(raw_client& client);

// The body of a response, chunks joined.
std::string raw_body(const std::string& response);
