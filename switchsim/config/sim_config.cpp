#include "switchsim/config/sim_config.h"

#include <algorithm>
#include <cstdio>
#include <new>
#include <vector>

#include "switchsim/call/sim_value.h"
#include "switchsim/config/sim_store.h"
#include "switchsim/model/sim_change.h"

namespace
{
bool save_asked;  // by the script that runs
sim_restore_t delivered;

open_error_t clear_run(const sim_cli_args_t&);

open_error_t save_run(const sim_cli_args_t&)
{
  save_asked = true;
  return OPEN_E_NONE;
}

void clear_write(std::string& script)
{
  sim_cli_line(script, "clear config");
}

constexpr sim_command_t WHOLE_COMMANDS[] = {
    {"clear config", clear_run},
    {"write memory", save_run },
};

open_error_t clear_run(const sim_cli_args_t&)
{
  const auto& areas = sim_areas();
  std::for_each(areas.rbegin(), areas.rend(), [](const sim_area_t* area) {
    if (area->clear != nullptr)
      area->clear();
  });
  sim_replaced();
  return sim_changed(SIM_SYSTEM);
}

open_error_t words_run(const std::vector<sim_cli_word_t>& words, std::string& why)
{
  sim_cli_args_t args;
  for (const sim_area_t* area : sim_areas()) {
    for (size_t i = 0; i < area->command_count; i++) {
      if (sim_cli_match(area->commands[i].pattern, words, args)) {
        open_error_t result = area->commands[i].run(args);
        if (result == OPEN_E_EXISTS)
          result = OPEN_E_NONE;  // what is asked for is there
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

const sim_area_t sim_config_area =
    sim_area_with_config(sim_area(nullptr), nullptr, nullptr, clear_write, WHOLE_COMMANDS);

sim_restore_t sim_config_keep()
{
  std::vector<sim_restore_t> kept;
  for (const sim_area_t* area : sim_areas())
    if (area->keep != nullptr)
      kept.insert(kept.begin(), area->keep());
  return [kept] {
    for (const sim_restore_t& restore : kept)
      restore();
    sim_replaced();
  };
}

std::string sim_config_text()
{
  std::string script;
  for (const sim_area_t* area : sim_areas())
    if (area->write != nullptr)
      area->write(script);
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
  if (!done)
    restore();
  return done;
}

open_error_t sim_config_save()
{
  if (!sim_store().write(SIM_STARTUP_CONFIG, sim_config_text()))
    return OPEN_E_FULL;
  sim_saved();
  return OPEN_E_NONE;
}

void sim_config_deliver()
{
  delivered = sim_config_keep();
}

void sim_config_take_delivered()
{
  delivered();
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
  if (!sim_store().read(name, script)) {
    name = SIM_FACTORY_DEFAULTS;
    sim_store().read(name, script);
  }
  if (!sim_config_run(script, error))
    fprintf(stderr, "switchsim: %s: %s\n", name, error.c_str());
  sim_saved();
}
