// What an area of the switch gives of itself: one row, that its source defines and that the table
// in sim_areas.cpp names. What it has nothing for stays null.
#pragma once

#include <stddef.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "switchsim/text/sim_cli.h"
#include "switchsim/text/sim_profile.h"

// A key that an area takes from a profile.
struct sim_key_t {
  const char* name;
  bool (*parse)(const sim_json_t& json);
};

// Puts back what was kept.
using sim_restore_t = std::function<void()>;

struct sim_area_t {
  void (*reset)() = nullptr;  // back to the built-in profile
  std::vector<sim_key_t> keys;

  // of an area with configuration
  sim_restore_t (*keep)() = nullptr;             // copies the area's state
  void (*clear)() = nullptr;                     // leaves nothing configured
  void (*write)(std::string& script) = nullptr;  // the commands that lead from there to what is
  const sim_command_t* commands = nullptr;
  size_t command_count = 0;

  void (*if_removed)(uint32_t number) = nullptr;   // an interface is gone
  void (*if_unrouted)(uint32_t number) = nullptr;  // an interface does not route any more
  void (*restarted)() = nullptr;                   // the switch starts again
};

// The row of an area, with its keys, and that of one with configuration; the rest is set in it.
inline sim_area_t sim_area(void (*reset)())
{
  sim_area_t area;
  area.reset = reset;
  return area;
}
template <size_t N>
sim_area_t sim_area(void (*reset)(), const sim_key_t (&keys)[N])
{
  sim_area_t area = sim_area(reset);
  area.keys.assign(keys, keys + N);
  return area;
}
template <size_t N>
sim_area_t sim_area_with_config(const sim_area_t& start, sim_restore_t (*keep)(), void (*clear)(),
                                void (*write)(std::string& script),
                                const sim_command_t (&commands)[N])
{
  sim_area_t area = start;
  area.keep = keep;
  area.clear = clear;
  area.write = write;
  area.commands = commands;
  area.command_count = N;
  return area;
}

// The areas of the switch, in the order of the table: an area may rely on those before it.
void sim_areas_use(const std::vector<const sim_area_t*>& areas);
const std::vector<const sim_area_t*>& sim_areas();

// Tells all areas.
void sim_tell_if_removed(uint32_t number);
void sim_tell_if_unrouted(uint32_t number);
void sim_tell_restarted();

// The rows of the areas in this folder.
extern const sim_area_t sim_auth_area;
extern const sim_area_t sim_bgp_area;
extern const sim_area_t sim_change_area;
extern const sim_area_t sim_counters_area;
extern const sim_area_t sim_if_area;
extern const sim_area_t sim_lag_area;
extern const sim_area_t sim_lag_members_area;
extern const sim_area_t sim_logging_area;
extern const sim_area_t sim_pml_area;
extern const sim_area_t sim_ports_area;
extern const sim_area_t sim_routing_area;
extern const sim_area_t sim_ssh_area;
extern const sim_area_t sim_system_area;
extern const sim_area_t sim_tcam_area;
extern const sim_area_t sim_vlan_area;
