// Log lines to the switch's logging hosts, by syslog over UDP. A thread of its own sends them,
// since the name of a host may take long to look up; lines that come faster than they go are lost.
#pragma once

#include <string>
#include <vector>

#include "switchsim/plane_ovs/wish.h"

// From now on lines go to these hosts, each those that are urgent enough for it, under the switch's
// name; out of the namespace at this path, or the process's own when it is empty. No hosts:
// nowhere.
void syslog_hosts_set(const std::vector<wish_log_host_t>& hosts, const std::string& switch_name,
                      const std::string& netns);

// Ends the thread.
void syslog_stop();
