// The real executable, run as a child process in a temporary folder of its own.
#pragma once

#include <sys/types.h>

#include <map>
#include <string>
#include <vector>

#include "tests/support/temp_folder.h"

// Becomes the program whose file and arguments are given; on another processor than the program's,
// an emulator runs it.
[[noreturn]] void program_exec(const std::vector<std::string>& command);

struct engine_process {
  temp_folder folder;  // working folder, document root; holds "stdout" and "stderr"
  pid_t pid = -1;
  std::string url;      // http://127.0.0.1:PORT, once it listens
  std::string tls_url;  // https://127.0.0.1:PORT

  // Starts the engine with these environment variables added. A profile is the JSON text that
  // SWITCHSIM_PROFILE shall name; "" for none. A certificate is the text of ssl.pem; "" for one
  // that can be used.
  explicit engine_process(const std::string& profile = "",
                          const std::map<std::string, std::string>& environment = {},
                          const std::string& certificate = "");
  ~engine_process();  // kills it
  engine_process(const engine_process&) = delete;
  engine_process& operator=(const engine_process&) = delete;
};

// Waits until the engine listens on both ports; false when it ended instead or within 30 seconds
// did not.
bool engine_process_wait_listening(engine_process& engine);

// Waits for the engine to end; its exit status, or -1 when a signal ended it.
int engine_process_wait_exit(engine_process& engine);

// The descriptors that the engine has open.
long engine_process_descriptors(const engine_process& engine);

// The resident memory in KiB.
long engine_process_resident_kib(const engine_process& engine);
