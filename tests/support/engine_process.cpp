#include "tests/support/engine_process.h"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <iterator>
#include <memory>
#include <sstream>
#include <thread>

void program_exec(const std::vector<std::string>& command)
{
  const char* emulator = getenv("EMULATOR");
  std::istringstream text(emulator ? emulator : "");
  std::vector<std::string> words{std::istream_iterator<std::string>(text), {}};
  words.insert(words.end(), command.begin(), command.end());
  std::vector<char*> arguments;
  for (std::string& word : words)
    arguments.push_back(word.data());
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
  _exit(127);
}

engine_process::engine_process(const std::string& profile,
                               const std::map<std::string, std::string>& environment,
                               const std::string& certificate)
{
  if (certificate.empty())
    make_certificate(folder.path + "/ssl.pem");
  else
    file_write(folder.path + "/ssl.pem", certificate);
  if (!profile.empty())
    file_write(folder.path + "/profile.json", profile);
  pid = fork();
  if (pid != 0)
    return;
  auto redirect = [this](const char* name, int fd) {
    int file = open((folder.path + "/" + name).c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(file, fd);
    close(file);
  };
  redirect("stdout", STDOUT_FILENO);
  redirect("stderr", STDERR_FILENO);
  if (!profile.empty())
    setenv("SWITCHSIM_PROFILE", "profile.json", 1);
  for (const auto& [name, value] : environment)
    setenv(name.c_str(), value.c_str(), 1);
  if (chdir(folder.path.c_str()) == 0)
    program_exec({getenv("ENGINE")});
  _exit(127);
}

engine_process::~engine_process()
{
  if (pid > 0) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
  }
}

// The TCP ports that the process listens on, by descriptor.
static std::map<int, unsigned> process_ports(pid_t pid)
{
  std::map<int, unsigned> ports;
  const std::string own = "pid=" + std::to_string(pid) + ",fd=";
  const std::unique_ptr<FILE, int (*)(FILE*)> table(popen("ss -Hltnp", "r"), pclose);
  char line[500];
  while (fgets(line, sizeof line, table.get())) {
    unsigned port = 0;
    const char* const descriptor = strstr(line, own.c_str());
    if (descriptor && sscanf(line, "LISTEN %*d %*d %*[0-9.]:%u", &port) == 1)
      ports[atoi(descriptor + own.size())] = port;
  }
  return ports;
}

// Until then it is a copy of the test process, with whatever that listens on.
static bool process_is_engine(pid_t pid)
{
  return file_text("/proc/" + std::to_string(pid) + "/cmdline").find(getenv("ENGINE")) !=
         std::string::npos;
}

bool engine_process_wait_listening(engine_process& engine)
{
  auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (std::chrono::steady_clock::now() < limit) {
    const bool started = process_is_engine(engine.pid);
    std::map<int, unsigned> ports = process_ports(engine.pid);
    if (started && ports.size() == 2) {
      // Plain HTTP is opened first, so its socket has the lower descriptor.
      engine.url = "http://127.0.0.1:" + std::to_string(ports.begin()->second);
      engine.tls_url = "https://127.0.0.1:" + std::to_string(ports.rbegin()->second);
      return true;
    }
    siginfo_t info = {};
    if (waitid(P_PID, static_cast<id_t>(engine.pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ||
        info.si_pid != 0)
      return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return false;
}

int engine_process_wait_exit(engine_process& engine)
{
  int status = 0;
  if (waitpid(engine.pid, &status, 0) != engine.pid)
    return -1;
  engine.pid = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

long engine_process_descriptors(const engine_process& engine)
{
  std::filesystem::directory_iterator entries("/proc/" + std::to_string(engine.pid) + "/fd");
  return std::distance(begin(entries), end(entries));
}

long engine_process_resident_kib(const engine_process& engine)
{
  const std::string status = file_text("/proc/" + std::to_string(engine.pid) + "/status");
  const size_t at = status.find("VmRSS:");
  return at == status.npos ? -1 : strtol(status.c_str() + at + 6, nullptr, 10);
}
