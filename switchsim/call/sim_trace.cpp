#include "switchsim/call/sim_trace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "switchsim/call/sim_value.h"

namespace
{
int trace_fd = -1;
bool trace_collected;
std::string trace_text;
}  // namespace

bool sim_trace_open()
{
  const char* path = getenv("SWITCHSIM_TRACE");
  if (path == nullptr || path[0] == '\0' || trace_fd >= 0)
    return true;
  constexpr mode_t OWNER_ONLY = S_IRUSR | S_IWUSR;  // accounts' passwords are among the arguments
  const int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY, OWNER_ONLY);
  struct stat status = {};
  if (fd < 0 || fstat(fd, &status) != 0 ||
      (S_ISREG(status.st_mode) && fchmod(fd, OWNER_ONLY) != 0)) {
    fprintf(stderr, "switchsim: SWITCHSIM_TRACE: cannot write %s: %s\n", path, strerror(errno));
    if (fd >= 0)
      close(fd);
    return false;
  }
  trace_fd = fd;
  return true;
}

bool sim_tracing()
{
  return trace_fd >= 0 || trace_collected;
}

void sim_trace_line(const std::string& line)
{
  const std::string whole = line + "\n";
  if (trace_collected)
    trace_text += whole;
  size_t written = 0;
  while (trace_fd >= 0 && written < whole.size()) {
    const ssize_t n = write(trace_fd, whole.data() + written, whole.size() - written);
    if (n < 0 && errno != EINTR)
      return;
    written += n > 0 ? static_cast<size_t>(n) : 0;
  }
}

void sim_put(std::string& line, const char* text)
{
  line += text == nullptr ? "null" : "\"" + sim_one_line(text) + "\"";
}

// The size of a descriptor is told as it is, the text read from no more than the room it has.
static void put_text(std::string& line, open_buffdesc* desc, uint32_t room)
{
  if (!sim_usable(desc)) {
    line += "null";
    return;
  }
  open_buffdesc bounded = {std::min(desc->size, room), desc->pstart};
  line += "{" + std::to_string(desc->size) + ",\"" + sim_one_line(sim_text(&bounded)) + "\"}";
}

void sim_put(std::string& line, open_buffdesc* desc)
{
  put_text(line, desc, std::numeric_limits<uint32_t>::max());
}

void sim_put(std::string& line, const sim_out_t<open_buffdesc>& out)
{
  line += '>';
  put_text(line, out.at, out.room);
}

void sim_put(std::string& line, const sim_out_list_t& out)
{
  if (!sim_usable(out)) {
    line += ">null";
    return;
  }
  line += ">{" + std::to_string(out.at->size) + ",\"";
  const unsigned char* bytes = static_cast<const unsigned char*>(out.at->pstart);
  for (size_t i = 0; i + sizeof(uint32_t) <= out.at->size; i += sizeof(uint32_t)) {
    uint32_t number;
    memcpy(&number, bytes + i, sizeof number);
    line += (i > 0 ? "," : "") + std::to_string(number);
  }
  line += "\"}";
}

void sim_trace_start()
{
  trace_collected = true;
  trace_text.clear();
}

std::string sim_trace_take()
{
  std::string taken;
  taken.swap(trace_text);
  return taken;
}
