// The configuration of the switch as a whole: kept and put back, written as a CLI script and run
// from one, saved, and loaded when the switch starts again.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/openapi_types.h"
#include "switchsim/text/sim_cli.h"

// Files of the flash that hold configurations.
constexpr char SIM_STARTUP_CONFIG[] = "startup-config";
constexpr char SIM_FACTORY_DEFAULTS[] = "factory-defaults";

// Puts back what was kept.
typedef std::function<void()> sim_restore_t;

// What an area with configuration gives, as one row of the table in sim_config.cpp.
struct sim_config_area_t {
  sim_restore_t (*keep)();             // copies the area's state
  void (*clear)();                     // leaves nothing configured
  void (*write)(std::string& script);  // the commands that lead from there to what is configured
  const sim_command_t* commands;
  size_t command_count;
};
template <size_t N>
constexpr sim_config_area_t sim_config_area(sim_restore_t (*keep)(), void (*clear)(),
                                            void (*write)(std::string& script),
                                            const sim_command_t (&commands)[N])
{
  return {keep, clear, write, commands, N};
}

// For rows without a state of their own.
sim_restore_t sim_nothing_keep();
void sim_nothing_clear();

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
// That configuration as a script.
std::string sim_config_delivered_text();

// Runs the configuration that was saved, else the factory defaults if the flash has any; a wrong
// one is told and left out.
void sim_config_load();

// Starts the switch again: it takes the state it was delivered with, then loads its configuration.
// Modes as in rpcclt_openapiSystemReloadSet.
enum : uint32_t {
  SIM_RELOAD_SWITCH = 1,
  SIM_RELOAD_WITHOUT_CONFIG = 2,
  SIM_RELOAD_SOFTWARE = 3,
};
open_error_t sim_reload(uint32_t mode);
