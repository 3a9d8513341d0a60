// Small things that all calls are made of: the texts of descriptors, and values given and judged.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>

#include "platform/openapi_types.h"

// Text of a descriptor: up to its size or the terminating zero, whichever comes first.
std::string sim_text(const open_buffdesc* desc);
// Writes a text with its terminating zero and sets the size to both; OPEN_E_PARAM and nothing
// written when the room is too small.
open_error_t sim_text_put(open_buffdesc* desc, std::string_view text);

// The text on one line: line breaks as \n and \r.
std::string sim_one_line(std::string_view text);

// Fills an output: most reads end so.
template <class T, class V>
open_error_t sim_give(T& out, const V& value)
{
  out = value;
  return OPEN_E_NONE;
}

// Whether a number that stands for a control is one.
inline bool sim_control_ok(OPEN_CONTROL_t control)
{
  return control == OPEN_DISABLE || control == OPEN_ENABLE;
}

template <class T>
bool sim_among(const T& value, std::initializer_list<T> values)
{
  return std::find(values.begin(), values.end(), value) != values.end();
}
