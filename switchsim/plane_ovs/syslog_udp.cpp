#include "switchsim/plane_ovs/syslog_udp.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <sched.h>
#include <sys/socket.h>

#include <condition_variable>
#include <ctime>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "switchsim/call/sim_log_tap.h"
#include "switchsim/plane_ovs/stream.h"

namespace
{
constexpr size_t LINES_MAX = 1000;
constexpr size_t LINE_MAX_BYTES = 2048;  // what every receiver takes
constexpr int FACILITY_USER = 1;

struct line_t {
  int severity;
  std::string text;
  time_t at;
};

struct sender_t {
  std::mutex mutex;
  std::condition_variable wake;
  std::deque<line_t> lines;
  std::vector<wish_log_host_t> hosts;
  std::string name;
  std::string netns;
  bool stop = false;
  std::thread thread;
};

// Never freed: a line may be logged while the process ends.
sender_t& sender()
{
  static sender_t* one = new sender_t;
  return *one;
}

using tap_setter_t = void (*)(log_tap_t);

void line_take(int severity, const char* text)
{
  sender_t& s = sender();
  const std::lock_guard<std::mutex> lock(s.mutex);
  if (!s.hosts.empty() && s.lines.size() < LINES_MAX) {
    s.lines.push_back({severity, text, time(nullptr)});
    s.wake.notify_one();
  }
}

void tap_set(log_tap_t tap)
{
  if (const auto setter = reinterpret_cast<tap_setter_t>(dlsym(RTLD_DEFAULT, "switchsim_log_tap")))
    setter(tap);
}

std::string datagram(const line_t& line, const std::string& name)
{
  char stamp[sizeof "Mmm dd hh:mm:ss"];
  tm local = {};
  localtime_r(&line.at, &local);
  strftime(stamp, sizeof stamp, "%b %e %H:%M:%S", &local);
  std::string text = "<" + std::to_string(FACILITY_USER * 8 + line.severity) + ">" + stamp + " " +
                     name + " " + program_invocation_short_name + ": " + line.text;
  text.resize(std::min(text.size(), LINE_MAX_BYTES));
  return text;
}

void datagram_send(const wish_log_host_t& host, const std::string& text)
{
  addrinfo hints = {};
  hints.ai_socktype = SOCK_DGRAM;
  addrinfo* found = nullptr;
  const std::string port = std::to_string(host.port);
  if (getaddrinfo(host.address.c_str(), port.c_str(), &hints, &found) != 0)
    return;
  const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(found, freeaddrinfo);
  const fd_guard_t socket_of_family(
      socket(found->ai_family, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  sendto(socket_of_family.fd, text.data(), text.size(), MSG_NOSIGNAL, found->ai_addr,
         found->ai_addrlen);
}

void send_lines()
{
  sender_t& s = sender();
  std::unique_lock<std::mutex> lock(s.mutex);
  const fd_guard_t space(s.netns.empty() ? -1 : open(s.netns.c_str(), O_RDONLY | O_CLOEXEC));
  if (!s.netns.empty() && setns(space.fd, CLONE_NEWNET) != 0)
    return;
  while (true) {
    s.wake.wait(lock, [&] { return s.stop || !s.lines.empty(); });
    if (s.stop)
      return;
    const line_t line = s.lines.front();
    s.lines.pop_front();
    const std::vector<wish_log_host_t> hosts = s.hosts;
    const std::string name = s.name;
    lock.unlock();
    for (const wish_log_host_t& host : hosts)
      if (line.severity <= host.severity)
        datagram_send(host, datagram(line, name));
    lock.lock();
  }
}
}  // namespace

void syslog_hosts_set(const std::vector<wish_log_host_t>& hosts, const std::string& switch_name,
                      const std::string& netns)
{
  sender_t& s = sender();
  const std::lock_guard<std::mutex> lock(s.mutex);
  s.hosts = hosts;
  s.name = switch_name;
  s.netns = netns;
  if (!hosts.empty() && !s.thread.joinable()) {
    s.stop = false;
    s.thread = std::thread(send_lines);
    tap_set(line_take);
  }
}

void syslog_stop()
{
  sender_t& s = sender();
  tap_set(nullptr);
  {
    const std::lock_guard<std::mutex> lock(s.mutex);
    s.stop = true;
    s.hosts.clear();
    s.lines.clear();
    s.wake.notify_one();
  }
  if (s.thread.joinable())
    s.thread.join();
}
