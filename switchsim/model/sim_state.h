// What all areas of the simulated switch share. Everything here, and the state of every area, is
// used under the switch's lock only: inside sim_call (sim_call.h), or holding sim_lock().
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/openapi_types.h"

// For threads of an area that work beside the API calls.
std::unique_lock<std::mutex> sim_lock();

// Milliseconds since the switch was started or reset.
uint64_t sim_uptime_ms();

// Every call that changed the configuration says so; saving or loading it takes it back.
void sim_config_changed();
void sim_config_saved();
bool sim_config_unsaved();

// A switch that restarts is not ready for a while.
void sim_ready_after(uint32_t ms);
bool sim_ready();

// Text of a descriptor: up to its size or the terminating zero, whichever comes first.
std::string sim_text(const open_buffdesc* desc);
// Writes a text with its terminating zero and sets the size to both; OPEN_E_PARAM and nothing
// written when the room is too small.
open_error_t sim_text_put(open_buffdesc* desc, std::string_view text);

// Fills an output: most reads end so.
template <class T, class V>
open_error_t sim_give(T& out, const V& value)
{
  out = value;
  return OPEN_E_NONE;
}

// Changes a setting of the configuration: most writes end so.
template <class T, class V>
open_error_t sim_change(T& setting, const V& value)
{
  setting = value;
  sim_config_changed();
  return OPEN_E_NONE;
}

// Whether a number that stands for a mode is one.
inline bool sim_mode_ok(OPEN_CONTROL_t mode)
{
  return mode == OPEN_DISABLE || mode == OPEN_ENABLE;
}

// The text on one line: line breaks as \n and \r.
std::string sim_one_line(std::string_view text);
