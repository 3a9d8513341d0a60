// A fault's "value" in the place of an output. A record takes a number only where its area gives it
// a sim_number_set of its own.
#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <type_traits>

#include "switchsim/call/sim_argument.h"
#include "switchsim/call/sim_fault.h"

// Each of these answers false when the value does not suit the output, which then stays as it is.

template <class T>
std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>, bool> sim_number_set(
    T& out, const sim_fault_value_t& value)
{
  if constexpr (std::is_enum_v<T>) {
    std::underlying_type_t<T> number;
    if (!sim_number_set(number, value))
      return false;
    out = static_cast<T>(number);
    return true;
  } else {
    using limits = std::numeric_limits<T>;
    const bool fits = value.negative ? limits::is_signed && static_cast<int64_t>(value.bits) >=
                                                                static_cast<int64_t>(limits::min())
                                     : value.bits <= static_cast<uint64_t>(limits::max());
    if (fits)
      out = static_cast<T>(value.bits);
    return fits;
  }
}
// A record takes no number unless its area says where.
template <class T>
std::enable_if_t<std::is_class_v<T>, bool> sim_number_set(T&, const sim_fault_value_t&)
{
  return false;
}
bool sim_text_set(const sim_out_t<open_buffdesc>& out, const std::string& text);

// place counts the outputs.
template <class T>
bool sim_replace(const T&, const sim_fault_value_t&, uint32_t&)
{
  return false;
}
template <class T>
bool sim_replace(const sim_out_t<T>& out, const sim_fault_value_t& value, uint32_t& place)
{
  place++;
  if (value.output != 0 && value.output != place)
    return false;
  if constexpr (std::is_same_v<T, open_buffdesc>)
    return value.kind == sim_fault_value_t::TEXT && sim_text_set(out, value.text);
  else
    return value.kind == sim_fault_value_t::NUMBER && sim_number_set(*out.at, value);
}
