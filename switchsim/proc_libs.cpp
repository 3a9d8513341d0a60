// The platform's process library where there is no switch: logging through syslog, and crash logs
// in a file.
#include <elf.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <signal.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <string>

#include "platform/l7proc.h"
#include "switchsim/call/sim_log_tap.h"

namespace
{
// Everything, however often the kernel takes only a part. Async-signal-safe.
void write_all(int fd, const char* text, size_t length)
{
  while (length > 0) {
    const ssize_t n = write(fd, text, length);
    if (n < 0 && errno != EINTR)
      return;
    const size_t written = n > 0 ? static_cast<size_t>(n) : 0;
    text += written;
    length -= written;
  }
}

// ---- logging ----

std::atomic<log_tap_t> log_tap{nullptr};

bool log_to_stderr()
{
  const char* wanted = getenv("L7PROC_LOG_STDERR");
  return (wanted != nullptr && strcmp(wanted, "1") == 0) || isatty(STDERR_FILENO) != 0;
}

// "source:line: " and the text on one line: what clients sent cannot start a line of its own.
__attribute__((format(printf, 3, 0))) std::string log_text(const char* source, int line,
                                                           const char* format, va_list args)
{
  char* formatted = nullptr;
  const int length = vasprintf(&formatted, format, args);
  const std::unique_ptr<char, void (*)(void*)> owner(length < 0 ? nullptr : formatted, free);
  std::string text = std::string(source) + ":" + std::to_string(line) + ": ";
  for (const char* c = owner.get(); c != nullptr && *c != '\0'; c++)
    if (*c == '\n')
      text += "\\n";
    else if (*c == '\r')
      text += "\\r";
    else
      text += *c;
  return text;
}

void log_write(int priority, const std::string& text)
{
  syslog(LOG_USER | priority, "%s", text.c_str());
  if (const log_tap_t tap = log_tap)
    tap(priority, text.c_str());
  if (log_to_stderr()) {
    const std::string whole = text + "\n";
    write_all(STDERR_FILENO, whole.data(), whole.size());
  }
}

// ---- crash log ----

constexpr int SIGNALS[] = {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT};
constexpr const char* SIGNAL_NAMES[] = {"SIGSEGV", "SIGBUS", "SIGFPE", "SIGILL", "SIGABRT"};
constexpr size_t SIGNAL_COUNT = std::size(SIGNALS);
static_assert(SIGNAL_COUNT == std::size(SIGNAL_NAMES), "each signal has its name");

constexpr int FRAMES_MAX = 64;
constexpr size_t STACK_BYTES = 65536;

// All that the handler needs is laid ready: nothing may be allocated in a process that crashed.
struct sigaction earlier_actions[SIGNAL_COUNT];
char crashlog_path[4096];
char crashlog_head[512];  // the lines that are known before a crash
char build_id[129] = "unknown";

// The build id that the linker gave the executable, as hexadecimal digits.
int build_id_find(struct dl_phdr_info* info, size_t, void*)
{
  for (size_t i = 0; i < info->dlpi_phnum; i++) {
    const auto& segment = info->dlpi_phdr[i];
    if (segment.p_type != PT_NOTE)
      continue;
    const char* note = reinterpret_cast<const char*>(info->dlpi_addr + segment.p_vaddr);
    const char* end = note + segment.p_memsz;
    ElfW(Nhdr) head;
    while (note + sizeof head <= end) {
      memcpy(&head, note, sizeof head);
      const char* name = note + sizeof head;
      const char* id = name + ((head.n_namesz + 3u) & ~3u);
      if (head.n_type == NT_GNU_BUILD_ID && head.n_namesz == 4 && memcmp(name, "GNU", 4) == 0) {
        const size_t bytes = std::min<size_t>(head.n_descsz, sizeof build_id / 2);
        for (size_t b = 0; b < bytes; b++)
          snprintf(build_id + 2 * b, 3, "%02x", static_cast<unsigned char>(id[b]));
        return 1;
      }
      note = id + ((head.n_descsz + 3u) & ~3u);
    }
  }
  return 1;  // the first one is the executable; no other counts
}

void crashlog_write(size_t signal_index)
{
  const int fd = open(crashlog_path, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600);
  if (fd < 0)
    return;
  const auto put = [fd](const char* text) { write_all(fd, text, strlen(text)); };
  put("signal: ");
  put(SIGNAL_NAMES[signal_index]);
  put("\n");
  put(crashlog_head);
  put("backtrace:\n");
  void* frames[FRAMES_MAX];
  backtrace_symbols_fd(frames, backtrace(frames, FRAMES_MAX), fd);
  close(fd);
}

void crash_handler(int signal, siginfo_t* info, void*)
{
  const size_t index =
      static_cast<size_t>(std::find(std::begin(SIGNALS), std::end(SIGNALS), signal) - SIGNALS);
  if (index == SIGNAL_COUNT)
    return;
  // all of them: a second crash, while this one is written down, must not take its place
  for (size_t i = 0; i < SIGNAL_COUNT; i++)
    sigaction(SIGNALS[i], &earlier_actions[i], nullptr);
  crashlog_write(index);
  if (info->si_code <= 0)
    raise(signal);  // somebody sent it; a faulting instruction faults again by itself
}
}  // namespace

void l7proc_logf(L7PROC_LOG_SEVERITY_t severity, int, const char* source, int line,
                 const char* format, ...)
{
  const int priority = std::clamp<int>(severity, LOG_EMERG, LOG_DEBUG);
  va_list args;
  va_start(args, format);
  try {
    log_write(priority, log_text(source, line, format, args));
  } catch (const std::bad_alloc&) {
    syslog(LOG_USER | priority, "%s:%d: memory is too short for the text", source, line);
  }
  va_end(args);
}

void switchsim_log_tap(log_tap_t tap)
{
  log_tap = tap;
}

void l7proc_crashlog_register(void)
{
  static bool registered;
  if (registered)
    return;  // the handler must not become its own earlier action
  registered = true;

  const char* path = getenv("L7PROC_CRASHLOG");
  const int pid = static_cast<int>(getpid());
  if (path != nullptr && path[0] != '\0') {
    snprintf(crashlog_path, sizeof crashlog_path, "%s", path);
  } else {
    snprintf(crashlog_path, sizeof crashlog_path, "/tmp/%s.%d.crashlog",
             program_invocation_short_name, pid);
  }
  dl_iterate_phdr(build_id_find, nullptr);
  snprintf(crashlog_head, sizeof crashlog_head, "process: %s %d\nbuild: %s\n",
           program_invocation_short_name, pid, build_id);

  void* frames[1];
  backtrace(frames, 1);  // its first call loads a library, which a handler must not do

  // an overrun stack leaves no room for the handler, so it gets its own
  static char stack[STACK_BYTES];
  stack_t current = {};
  if (sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) != 0) {
    stack_t own = {};
    own.ss_sp = stack;
    own.ss_size = sizeof stack;
    sigaltstack(&own, nullptr);
  }

  struct sigaction action = {};
  action.sa_sigaction = crash_handler;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigemptyset(&action.sa_mask);
  for (size_t i = 0; i < SIGNAL_COUNT; i++)
    sigaction(SIGNALS[i], &action, &earlier_actions[i]);
}
