// The least that a server on one select loop can do: one read, one look for the end of the header
// block, one write of the same answer. What the engine takes above this is its own work.
//
//   select_loop PORT ANSWER_FILE
#include <arpa/inet.h>
#include <errno.h>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/select.h>
#include <unistd.h>

static char answer[65536];
static size_t answer_length;

static bool read_answer(const char* name)
{
  FILE* file = fopen(name, "rb");
  if (!file)
    return false;
  answer_length = fread(answer, 1, sizeof answer, file);
  fclose(file);
  return answer_length > 0;
}

static int listen_on(const char* port)
{
  int sock = socket(AF_INET, SOCK_STREAM, 0);
  int on = 1;
  sockaddr_in address = {};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(static_cast<uint16_t>(atoi(port)));
  setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  if (bind(sock, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      listen(sock, 1024) != 0)
    return -1;
  return sock;
}

// False when the client has gone.
static bool serve(int sock)
{
  char request[16384];
  ssize_t got = recv(sock, request, sizeof request - 1, 0);
  if (got <= 0)
    return got < 0 && errno == EAGAIN;
  request[got] = '\0';
  return !strstr(request, "\r\n\r\n") ||
         send(sock, answer, answer_length, 0) == static_cast<ssize_t>(answer_length);
}

int main(int argc, char** argv)
{
  int listener = argc == 3 && read_answer(argv[2]) ? listen_on(argv[1]) : -1;
  if (listener < 0)
    return 1;
  signal(SIGPIPE, SIG_IGN);
  fd_set open_set;
  FD_ZERO(&open_set);
  FD_SET(listener, &open_set);
  int last = listener;
  for (;;) {
    fd_set ready = open_set;
    int left = select(last + 1, &ready, nullptr, nullptr, nullptr);
    for (int sock = 0; sock <= last && left > 0; sock++) {
      if (!FD_ISSET(sock, &ready))
        continue;
      left--;
      if (sock != listener) {
        if (!serve(sock)) {
          FD_CLR(sock, &open_set);
          close(sock);
        }
        continue;
      }
      int client = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
      if (client < 0)
        continue;
      if (client >= FD_SETSIZE) {
        close(client);
        continue;
      }
      int on = 1;
      setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
      FD_SET(client, &open_set);
      last = client > last ? client : last;
    }
  }
}
