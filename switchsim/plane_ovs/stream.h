// A byte stream to a daemon of this machine over its unix socket: never blocks beyond a deadline,
// and keeps no more than a bound of what the other end sends.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// A descriptor that is closed when it goes out of use.
struct fd_guard_t {
  int fd = -1;
  fd_guard_t() = default;
  explicit fd_guard_t(int opened) : fd(opened)
  {
  }
  fd_guard_t(const fd_guard_t&) = delete;
  fd_guard_t& operator=(const fd_guard_t&) = delete;
  ~fd_guard_t()
  {
    reset(-1);
  }
  void reset(int other)
  {
    if (fd >= 0)
      close(fd);
    fd = other;
  }
};

struct stream_t {
  fd_guard_t socket;
  std::string received;  // and not taken yet
};

// Milliseconds of a clock that only goes forward; deadlines are times of this clock.
uint64_t stream_now_ms();

// Connects to a socket by its path, with or without "unix:" before it. False: why says what is
// wrong. What the stream was connected to before is closed.
bool stream_connect(stream_t& stream, const std::string& path, uint64_t deadline_ms,
                    std::string& why);
bool stream_connected(const stream_t& stream);
void stream_close(stream_t& stream);

// Sends all bytes. False, and the stream closed: the other end is gone or too slow.
bool stream_send(stream_t& stream, std::string_view bytes, uint64_t deadline_ms, std::string& why);

// Waits until at least so many bytes are in received. False, and the stream closed: the other end
// is gone, wanted is more than STREAM_BYTES_MAX, or the deadline is over, even if there is more to
// receive: whoever talks without an end is not listened to for longer than that.
constexpr size_t STREAM_BYTES_MAX = 16 << 20;
bool stream_receive(stream_t& stream, size_t wanted, uint64_t deadline_ms, std::string& why);

// Closes the stream and says why; for replies that are not what they should be. Always false.
bool stream_fail(stream_t& stream, std::string& why, const std::string& text);
