// CLI scripts among the files of the switch.
#pragma once

#include <string>

#include "switchsim/model/sim_area.h"

// Whether a file is a script by its name: at most 32 characters, ".scr" at the end.
bool sim_script_name_ok(const std::string& name);

extern const sim_area_t sim_script_area;
