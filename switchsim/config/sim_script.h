// CLI scripts on the flash of the simulated switch.
#pragma once

#include <string>

// Whether a file of the flash is a script by its name: at most 32 characters, ".scr" at the end.
bool sim_script_name_ok(const std::string& name);
