// Host name, prompt, serial console, telnet server, service port and network port, as they are
// configured.
#pragma once

#include <string>

const std::string& sim_system_hostname();
