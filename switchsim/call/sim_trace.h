// One line a call: its name, its arguments and its result.
#pragma once

#include <cstring>
#include <string>
#include <type_traits>

#include "switchsim/call/sim_argument.h"

// Opens the trace file that the environment names, if any; false and a line on standard error when
// it cannot.
bool sim_trace_open();
bool sim_tracing();
void sim_trace_line(const std::string& line);

// Collects the lines in memory from now on, starting with nothing.
void sim_trace_start();
// What was collected since then or since the last take.
std::string sim_trace_take();

// ---- arguments in the trace ----

template <class T>
std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>> sim_put(std::string& line, T value)
{
  if constexpr (std::is_enum_v<T>)
    line += std::to_string(static_cast<std::underlying_type_t<T>>(value));
  else
    line += std::to_string(value);
}
void sim_put(std::string& line, const char* text);
void sim_put(std::string& line, open_buffdesc* desc);
void sim_put(std::string& line, const sim_out_list_t& out);
void sim_put(std::string& line, const sim_out_t<open_buffdesc>& out);

template <class T>
std::enable_if_t<std::is_class_v<T>> sim_put(std::string& line, const T* record)
{
  if (record == nullptr)
    line += "null";
  else
    sim_put(line, *record);
}
template <class T>
void sim_put(std::string& line, const sim_out_t<T>& out)
{
  line += '>';
  if (out.at == nullptr) {
    line += "null";
  } else if constexpr (std::is_same_v<T, bool>) {
    unsigned char byte;  // the caller may not have set it, and then it need not be a bool
    memcpy(&byte, out.at, sizeof byte);
    line += byte != 0 ? '1' : '0';
  } else {
    sim_put(line, *out.at);
  }
}
