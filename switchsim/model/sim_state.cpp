#include "switchsim/model/sim_state.h"

#include <chrono>
#include <cstring>

#include "switchsim/sim_areas.h"

namespace
{
uint64_t started_ms;
uint64_t ready_ms;
bool config_unsaved;

uint64_t sim_clock_ms()
{
  using namespace std::chrono;
  const auto now = steady_clock::now().time_since_epoch();
  return static_cast<uint64_t>(duration_cast<milliseconds>(now).count());
}
}  // namespace

void sim_state_reset()
{
  started_ms = ready_ms = sim_clock_ms();
  config_unsaved = false;
}

uint64_t sim_uptime_ms()
{
  return sim_clock_ms() - started_ms;
}

void sim_config_changed()
{
  config_unsaved = true;
}

void sim_config_saved()
{
  config_unsaved = false;
}

bool sim_config_unsaved()
{
  return config_unsaved;
}

void sim_ready_after(uint32_t ms)
{
  ready_ms = sim_clock_ms() + ms;
}

bool sim_ready()
{
  return sim_clock_ms() >= ready_ms;
}

std::string sim_text(const open_buffdesc* desc)
{
  const char* text = static_cast<const char*>(desc->pstart);
  return desc->size == 0 ? std::string() : std::string(text, strnlen(text, desc->size));
}

open_error_t sim_text_put(open_buffdesc* desc, std::string_view text)
{
  if (text.size() >= desc->size) {
    return OPEN_E_PARAM;
  }
  char* room = static_cast<char*>(desc->pstart);
  memcpy(room, text.data(), text.size());
  room[text.size()] = '\0';
  desc->size = static_cast<uint32_t>(text.size() + 1);
  return OPEN_E_NONE;
}

std::string sim_one_line(std::string_view text)
{
  std::string line;
  for (const char c : text) {
    if (c == '\n') {
      line += "\\n";
    } else if (c == '\r') {
      line += "\\r";
    } else {
      line += c;
    }
  }
  return line;
}
