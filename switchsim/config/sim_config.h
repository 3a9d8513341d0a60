// The configuration of the switch as a whole: kept and put back, written as a CLI script and run
// from one, saved, and loaded when the switch starts again.
#pragma once

#include <cstdint>
#include <string>

#include "platform/openapi_types.h"
#include "switchsim/model/sim_area.h"

// Files of the flash that hold configurations.
constexpr char SIM_STARTUP_CONFIG[] = "startup-config";
constexpr char SIM_FACTORY_DEFAULTS[] = "factory-defaults";

// Copies the state of all areas, and whether it is saved.
sim_restore_t sim_config_keep();

// The running configuration as a script. Its first command clears the configuration, so that it
// leads to the same one whatever was there before.
std::string sim_config_text();

// Runs a script. When a line is wrong nothing has changed, and error says which and why.
bool sim_config_run(const std::string& script, std::string& error);

// Saves the running configuration as the one to start with. OPEN_E_FULL: it could not be written.
open_error_t sim_config_save();

// From now on the present state is the one that the switch had when it was delivered.
void sim_config_deliver();
// Takes that state again.
void sim_config_take_delivered();
// That configuration as a script.
std::string sim_config_delivered_text();

// Runs the configuration that was saved, else the factory defaults if the flash has any; a wrong
// one is told and left out.
void sim_config_load();

extern const sim_area_t sim_config_area;
