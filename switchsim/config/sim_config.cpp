#include "switchsim/config/sim_config.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <new>
#include <vector>

#include "platform/openapi_system.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/call/sim_clock.h"
#include "switchsim/host/sim_flash.h"
#include "switchsim/host/sim_transfer.h"
#include "switchsim/model/sim_state.h"
#include "switchsim/model/sim_tcam.h"
#include "switchsim/plane_sim/sim_links.h"
#include "switchsim/sim_areas.h"

namespace
{
// How long the switch is away, by reload mode.
constexpr uint32_t RELOAD_MS[] = {0, 2000, 2000, 500};
static_assert(std::size(RELOAD_MS) == SIM_RELOAD_SOFTWARE + 1);

bool save_asked;  // by the script that runs
sim_restore_t delivered;

open_error_t clear_run(const sim_cli_args_t&);

open_error_t save_run(const sim_cli_args_t&)
{
  save_asked = true;
  return OPEN_E_NONE;
}

sim_restore_t save_state_keep()
{
  return [unsaved = sim_config_unsaved()] { unsaved ? sim_config_changed() : sim_config_saved(); };
}

void clear_write(std::string& script)
{
  sim_cli_line(script, "clear config");
}

constexpr sim_command_t WHOLE_COMMANDS[] = {
    {"clear config", clear_run},
    {"write memory", save_run },
};

// In the order in which configuration is written; each relies on those before it. What is kept of
// the save state comes last, so that putting back the others does not count as a change.
const sim_config_area_t CONFIG_AREAS[] = {
    sim_config_area(save_state_keep, sim_nothing_clear, clear_write, WHOLE_COMMANDS),
    sim_lag_config(),
    sim_vlan_config(),
    sim_routing_config(),
    sim_if_config(),
    sim_lag_members_config(),
    sim_bgp_config(),
    sim_tcam_config(),
    sim_system_config(),
    sim_logging_config(),
    sim_ssh_config(),
    sim_pml_config(),
};

open_error_t clear_run(const sim_cli_args_t&)
{
  std::for_each(std::rbegin(CONFIG_AREAS), std::rend(CONFIG_AREAS),
                [](const sim_config_area_t& area) { area.clear(); });
  sim_links_replaced();
  sim_config_changed();
  return OPEN_E_NONE;
}

open_error_t words_run(const std::vector<sim_cli_word_t>& words, std::string& why)
{
  sim_cli_args_t args;
  for (const sim_config_area_t& area : CONFIG_AREAS) {
    for (size_t i = 0; i < area.command_count; i++) {
      if (sim_cli_match(area.commands[i].pattern, words, args)) {
        open_error_t result = area.commands[i].run(args);
        if (result == OPEN_E_EXISTS) {
          result = OPEN_E_NONE;  // what is asked for is there
        }
        why = "refused with " + std::to_string(result);
        return result;
      }
    }
  }
  why = "no such command";
  return OPEN_E_PARAM;
}

bool lines_run(const std::string& script, std::string& error)
{
  size_t number = 1;
  for (size_t start = 0; start < script.size(); number++) {
    const size_t end = std::min(script.find('\n', start), script.size());
    const std::string line = script.substr(start, end - start);
    start = end + 1;
    std::vector<sim_cli_word_t> words;
    std::string why = "a quote is not closed or an escape is wrong";
    const bool split = sim_cli_split(line, words);
    if (!split || (!words.empty() && words_run(words, why) != OPEN_E_NONE)) {
      error = "line " + std::to_string(number) + ": " + why + ": " + sim_one_line(line);
      return false;
    }
  }
  return true;
}
}  // namespace

sim_restore_t sim_nothing_keep()
{
  return [] {};
}

void sim_nothing_clear()
{
}

sim_restore_t sim_config_keep()
{
  std::vector<sim_restore_t> kept;
  for (const sim_config_area_t& area : CONFIG_AREAS) {
    kept.insert(kept.begin(), area.keep());
  }
  return [kept] {
    for (const sim_restore_t& restore : kept) {
      restore();
    }
    sim_links_replaced();
  };
}

std::string sim_config_text()
{
  std::string script;
  for (const sim_config_area_t& area : CONFIG_AREAS) {
    area.write(script);
  }
  return script;
}

bool sim_config_run(const std::string& script, std::string& error)
{
  const sim_restore_t restore = sim_config_keep();
  save_asked = false;
  bool done = false;
  try {
    done = lines_run(script, error);
    if (done && save_asked && sim_config_save() != OPEN_E_NONE) {
      error = "the configuration cannot be saved";
      done = false;
    }
  } catch (const std::bad_alloc&) {
    error = "out of memory";
    done = false;
  }
  if (!done) {
    restore();
  }
  return done;
}

open_error_t sim_config_save()
{
  if (!sim_flash_write(SIM_STARTUP_CONFIG, sim_config_text())) {
    return OPEN_E_FULL;
  }
  sim_config_saved();
  return OPEN_E_NONE;
}

void sim_config_deliver()
{
  delivered = sim_config_keep();
}

std::string sim_config_delivered_text()
{
  const sim_restore_t present = sim_config_keep();
  delivered();
  const std::string script = sim_config_text();
  present();
  return script;
}

void sim_config_load()
{
  std::string script;
  std::string error;
  const char* name = SIM_STARTUP_CONFIG;
  if (!sim_flash_read(name, script)) {
    name = SIM_FACTORY_DEFAULTS;
    sim_flash_read(name, script);
  }
  if (!sim_config_run(script, error)) {
    fprintf(stderr, "switchsim: %s: %s\n", name, error.c_str());
  }
  sim_config_saved();
}

open_error_t sim_reload(uint32_t mode)
{
  if (mode < SIM_RELOAD_SWITCH || mode > SIM_RELOAD_SOFTWARE) {
    return OPEN_E_PARAM;
  }
  if (mode == SIM_RELOAD_WITHOUT_CONFIG) {
    sim_flash_remove(SIM_STARTUP_CONFIG);
  }
  sim_transfer_cut();
  delivered();
  sim_links_restart();
  sim_counters_reset();
  sim_tcam_restart();
  sim_config_load();
  sim_ready_after(RELOAD_MS[mode]);
  return OPEN_E_NONE;
}

open_error_t rpcclt_openapiSystemReloadSet(openapiClientHandle_t* client_handle, uint32_t mode)
{
  return sim_set(__func__, client_handle, mode, sim_reload);
}

open_error_t rpcclt_openapiSystemUnsavedConfigStatusGet(openapiClientHandle_t* client_handle,
                                                        OPEN_BOOL_t* hasChanged)
{
  const auto work = [&] {
    return sim_give(*hasChanged, sim_config_unsaved() ? OPEN_TRUE : OPEN_FALSE);
  };
  return sim_call(__func__, client_handle, work, sim_out(hasChanged));
}
