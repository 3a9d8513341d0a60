#include "switchsim/plane_ovs/vty.h"

namespace
{
constexpr std::string_view END("\0\0\0", 3);  // and the status behind it
constexpr char STATUS_DONE = 0;
constexpr char STATUS_WARNING = 1;

bool refused(char status)
{
  return status != STATUS_DONE && status != STATUS_WARNING;
}
}  // namespace

bool vty_connect(vty_t& vty, const std::string& path, uint64_t deadline_ms, std::string& why)
{
  std::string answer;
  return stream_connect(vty.stream, path, deadline_ms, why) &&
         (vty_run(vty, "enable", answer, deadline_ms, why) ||
          stream_fail(vty.stream, why, std::string(why)));
}

bool vty_run(vty_t& vty, const std::string& line, std::string& answer, uint64_t deadline_ms,
             std::string& why)
{
  stream_t& stream = vty.stream;
  stream.received.clear();
  if (!stream_send(stream, std::string_view(line.c_str(), line.size() + 1), deadline_ms, why))
    return false;
  size_t end = 0;
  for (size_t searched = 0;; searched = stream.received.size()) {
    if (!stream_receive(stream, searched + 1, deadline_ms, why))
      return false;
    end = stream.received.find(END, searched < END.size() ? 0 : searched - END.size());
    if (end != std::string::npos)
      break;
  }
  if (!stream_receive(stream, end + END.size() + 1, deadline_ms, why))
    return false;
  answer = stream.received.substr(0, end);
  if (refused(stream.received[end + END.size()])) {
    why = line + ": " + answer.substr(0, answer.find('\n'));
    return false;
  }
  return true;
}

bool vty_configure(vty_t& vty, const std::vector<std::string>& lines, uint64_t deadline_ms,
                   std::string& why)
{
  std::string answer;
  if (lines.empty())
    return true;
  if (!vty_run(vty, "configure terminal", answer, deadline_ms, why))
    return false;
  bool done = true;
  for (const std::string& line : lines) {
    std::string refusal;
    if (!vty_run(vty, line, answer, deadline_ms, refusal)) {
      why = done ? refusal : why;
      done = false;
      if (!stream_connected(vty.stream))
        return false;
    }
  }
  std::string ignored;
  return vty_run(vty, "end", answer, deadline_ms, done ? why : ignored) && done;
}
