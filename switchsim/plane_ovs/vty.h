// A daemon of FRR over its vty socket: a line ended by a zero byte, an answer ended by three of
// them and a status byte.
#pragma once

#include <string>
#include <vector>

#include "switchsim/plane_ovs/stream.h"

struct vty_t {
  stream_t stream;
};

// Connects and enters the mode in which everything may be asked.
bool vty_connect(vty_t& vty, const std::string& path, uint64_t deadline_ms, std::string& why);

// Runs a line. False: why says what the daemon has against it, or that it is gone; the connection
// stays open in the first case only.
bool vty_run(vty_t& vty, const std::string& line, std::string& answer, uint64_t deadline_ms,
             std::string& why);

// Runs lines of the configuration, from its top level, and leaves it. Goes on behind a line that
// the daemon refuses, so that one wrong setting does not keep the others from being in force: false
// then, with the first refusal.
bool vty_configure(vty_t& vty, const std::vector<std::string>& lines, uint64_t deadline_ms,
                   std::string& why);
