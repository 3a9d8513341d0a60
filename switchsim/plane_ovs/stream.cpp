#include "switchsim/plane_ovs/stream.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

namespace
{
constexpr std::string_view UNIX_PREFIX = "unix:";
constexpr size_t CHUNK = 65536;

// Waits until the descriptor can be read or written. False: not before the deadline.
bool wait_for(int fd, short events, uint64_t deadline_ms)
{
  for (;;) {
    const uint64_t now = stream_now_ms();
    if (now >= deadline_ms)
      return false;
    pollfd waiting = {fd, events, 0};
    const int ready =
        poll(&waiting, 1, static_cast<int>(std::min<uint64_t>(deadline_ms - now, 60000)));
    if (ready > 0)
      return true;
    if (ready < 0 && errno != EINTR)
      return false;
  }
}

bool again(ssize_t result)
{
  return result < 0 && (errno == EAGAIN || errno == EINTR);
}
}  // namespace

uint64_t stream_now_ms()
{
  using namespace std::chrono;
  const auto now = steady_clock::now().time_since_epoch();
  return static_cast<uint64_t>(duration_cast<milliseconds>(now).count());
}

bool stream_connected(const stream_t& stream)
{
  return stream.socket.fd >= 0;
}

void stream_close(stream_t& stream)
{
  stream.socket.reset(-1);
  stream.received.clear();
}

bool stream_fail(stream_t& stream, std::string& why, const std::string& text)
{
  stream_close(stream);
  why = text;
  return false;
}

bool stream_connect(stream_t& stream, const std::string& path, uint64_t deadline_ms,
                    std::string& why)
{
  const bool prefixed = path.compare(0, UNIX_PREFIX.size(), UNIX_PREFIX) == 0;
  const std::string bare = prefixed ? path.substr(UNIX_PREFIX.size()) : path;
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (bare.empty() || bare.size() >= sizeof address.sun_path)
    return stream_fail(stream, why, "is no path of a socket: " + bare);
  memcpy(address.sun_path, bare.data(), bare.size());
  stream_close(stream);
  stream.socket.reset(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  for (;;) {
    if (connect(stream.socket.fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0)
      return true;
    // a listener with a full queue is not there to be waited for with poll
    if (errno != EAGAIN || stream_now_ms() >= deadline_ms)
      return stream_fail(stream, why, bare + ": " + strerror(errno));
    poll(nullptr, 0, 5);
  }
}

bool stream_send(stream_t& stream, std::string_view bytes, uint64_t deadline_ms, std::string& why)
{
  while (!bytes.empty()) {
    const ssize_t sent = send(stream.socket.fd, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent > 0)
      bytes.remove_prefix(static_cast<size_t>(sent));
    else if (!again(sent))
      return stream_fail(stream, why, std::string("cannot send: ") + strerror(errno));
    else if (!wait_for(stream.socket.fd, POLLOUT, deadline_ms))
      return stream_fail(stream, why, "does not take what is sent to it");
  }
  return true;
}

bool stream_receive(stream_t& stream, size_t wanted, uint64_t deadline_ms, std::string& why)
{
  if (wanted > STREAM_BYTES_MAX)
    return stream_fail(stream, why, "sends too much");
  if (stream_now_ms() >= deadline_ms)
    return stream_fail(stream, why, "does not answer in time");
  while (stream.received.size() < wanted) {
    char chunk[CHUNK];
    const ssize_t got = recv(stream.socket.fd, chunk, sizeof chunk, 0);
    if (got > 0)
      stream.received.append(chunk, static_cast<size_t>(got));
    else if (got == 0)
      return stream_fail(stream, why, "has closed the connection");
    else if (!again(got))
      return stream_fail(stream, why, std::string("cannot receive: ") + strerror(errno));
    else if (!wait_for(stream.socket.fd, POLLIN, deadline_ms))
      return stream_fail(stream, why, "does not answer");
  }
  return true;
}
