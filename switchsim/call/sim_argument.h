// The arguments of a call behind the client handle: inputs as they are, outputs (and what is both)
// in sim_out.
#pragma once

#include <cstdint>
#include <type_traits>

#include "platform/openapi_types.h"

template <class T>
struct sim_out_t {
  T* at;
  uint32_t room;  // of a descriptor: bytes at the start of the call
};
template <class T>
sim_out_t<T> sim_out(T* at)
{
  if constexpr (std::is_same_v<T, open_buffdesc>)
    return {at, at == nullptr ? 0 : at->size};
  else
    return {at, 0};
}

// A descriptor that is filled with 32-bit numbers instead of text.
struct sim_out_list_t {
  open_buffdesc* at;
};
inline sim_out_list_t sim_out_list(open_buffdesc* at)
{
  return {at};
}

// What can be worked with.
template <class T>
bool sim_usable(const T& argument)
{
  if constexpr (std::is_same_v<T, open_buffdesc*>)
    return argument != nullptr && (argument->pstart != nullptr || argument->size == 0);
  else if constexpr (std::is_pointer_v<T>)
    return argument != nullptr;
  else
    return true;
}
template <class T>
bool sim_usable(const sim_out_t<T>& out)
{
  return sim_usable(out.at);
}
inline bool sim_usable(const sim_out_list_t& out)
{
  return sim_usable(out.at);
}
