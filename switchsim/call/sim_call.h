// How a call of the management API is made: under the switch's lock, late or wrong where a fault
// says so, and told in the trace. A call is one line beyond its signature:
//
//   open_error_t openapiVlanNextGet(openapiClientHandle_t* h, uint32_t vid, uint32_t* nextVid)
//   {
//     return sim_call(__func__, h, [&] { return vlan_next(vid, *nextVid); }, vid,
//     sim_out(nextVid));
//   }
//
// After the work come the arguments behind the client handle, in their order: inputs as they are,
// outputs (and what is both) in sim_out. A null output or record, or a descriptor without memory,
// is answered with OPEN_E_PARAM before the work is done, so the work never sees one.
//
// A record other than those below needs a sim_put of its own, and a sim_number_set when a fault's
// "value" is to reach a count in it.
#pragma once

#include <cstdint>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <string>
#include <type_traits>

#include "platform/openapi_base.h"
#include "platform/openapi_types.h"
#include "switchsim/model/sim_state.h"

// ---- what a fault does to one call ----

struct sim_fault_value_t {
  enum { NONE, NUMBER, TEXT } kind = NONE;
  bool negative = false;  // bits is then the two's complement
  uint64_t bits = 0;
  std::string text;
};

struct sim_turn_t {
  std::unique_lock<std::mutex> lock;  // the switch's, held for the length of the work and the trace
  bool has_result = false;
  int32_t result = 0;
  sim_fault_value_t value;
};

// Waits as long as the call is to take, then takes the lock.
sim_turn_t sim_turn_take(const char* name);
// A fault's value suits none of the call's outputs: says so on standard error.
void sim_turn_misfit(const char* name);

bool sim_registered(const openapiClientHandle_t* handle);
// OPEN_E_RPC without registration, away while the switch starts again.
open_error_t sim_answerable(const openapiClientHandle_t* handle, open_error_t away);

// Opens the trace file that the environment names, if any; false and a line on standard error when
// it cannot.
bool sim_trace_open();
bool sim_tracing();
void sim_trace_line(const std::string& line);

// ---- arguments ----

template <class T>
struct sim_out_t {
  T* at;
  uint32_t room;  // of a descriptor: bytes at the start of the call
};
template <class T>
sim_out_t<T> sim_out(T* at)
{
  if constexpr (std::is_same_v<T, open_buffdesc>) {
    return {at, at == nullptr ? 0 : at->size};
  } else {
    return {at, 0};
  }
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
  if constexpr (std::is_same_v<T, open_buffdesc*>) {
    return argument != nullptr && (argument->pstart != nullptr || argument->size == 0);
  } else if constexpr (std::is_pointer_v<T>) {
    return argument != nullptr;
  } else {
    return true;
  }
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

// ---- arguments in the trace ----

template <class T>
std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>> sim_put(std::string& line, T value)
{
  if constexpr (std::is_enum_v<T>) {
    line += std::to_string(static_cast<std::underlying_type_t<T>>(value));
  } else {
    line += std::to_string(value);
  }
}
void sim_put(std::string& line, const char* text);
void sim_put(std::string& line, open_buffdesc* desc);
void sim_put(std::string& line, const open_inet_addr_t& address);
void sim_put(std::string& line, const open_inet_pfx_t& address);
void sim_put(std::string& line, const open_revision_data_t& revision);
void sim_put(std::string& line, const sim_out_list_t& out);
void sim_put(std::string& line, const sim_out_t<open_buffdesc>& out);

template <class T>
std::enable_if_t<std::is_class_v<T>> sim_put(std::string& line, const T* record)
{
  if (record == nullptr) {
    line += "null";
  } else {
    sim_put(line, *record);
  }
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

// ---- outputs replaced by a fault's value; false: not here ----

template <class T>
std::enable_if_t<std::is_integral_v<T> || std::is_enum_v<T>, bool> sim_number_set(
    T& out, const sim_fault_value_t& value)
{
  if constexpr (std::is_enum_v<T>) {
    std::underlying_type_t<T> number;
    if (!sim_number_set(number, value)) {
      return false;
    }
    out = static_cast<T>(number);
    return true;
  } else {
    typedef std::numeric_limits<T> limits;
    const bool fits = value.negative ? limits::is_signed && static_cast<int64_t>(value.bits) >=
                                                                static_cast<int64_t>(limits::min())
                                     : value.bits <= static_cast<uint64_t>(limits::max());
    if (fits) {
      out = static_cast<T>(value.bits);
    }
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

template <class T>
bool sim_replace(const T&, const sim_fault_value_t&)
{
  return false;
}
template <class T>
bool sim_replace(const sim_out_t<T>& out, const sim_fault_value_t& value)
{
  if constexpr (std::is_same_v<T, open_buffdesc>) {
    return value.kind == sim_fault_value_t::TEXT && sim_text_set(out, value.text);
  } else {
    return value.kind == sim_fault_value_t::NUMBER && sim_number_set(*out.at, value);
  }
}

// ---- the call ----

// The result may be an open_error_t or, for the calls that return it, a plain value: a fault's
// "value" replaces that one.
template <class Work, class... Args>
auto sim_run_or_throw(const char* name, Work work, Args... args) -> decltype(work())
{
  typedef decltype(work()) result_t;
  constexpr bool returns_value = !std::is_same_v<result_t, open_error_t>;
  const sim_turn_t turn = sim_turn_take(name);
  const bool usable = (sim_usable(args) && ...);
  const bool has_value = turn.value.kind != sim_fault_value_t::NONE;

  result_t result;
  if (!usable) {
    result = static_cast<result_t>(OPEN_E_PARAM);
  } else if (turn.has_result && (turn.result != OPEN_E_NONE || !has_value)) {
    result = static_cast<result_t>(turn.result);
  } else {
    result = work();
    if (turn.has_result) {
      result = OPEN_E_NONE;
    }
  }
  if (usable && has_value) {
    bool replaced = false;
    if constexpr (returns_value) {
      replaced = sim_replace(sim_out(&result), turn.value);
    } else {
      replaced = (sim_replace(args, turn.value) || ...);
    }
    if (!replaced) {
      sim_turn_misfit(name);
      result = static_cast<result_t>(OPEN_E_INTERNAL);
    }
  }

  if (sim_tracing()) {
    std::string line = std::string(name) + "(";
    [[maybe_unused]] const char* separator = "";
    ((line += separator, separator = ", ", sim_put(line, args)), ...);
    line += ") = ";
    sim_put(line, result);
    sim_trace_line(line);
  }
  return result;
}

// For calls that have no registered client yet; everything else uses sim_call. Memory that runs out
// is the switch's own trouble, and no end of the process.
template <class Work, class... Args>
auto sim_run(const char* name, Work work, Args... args) -> decltype(work())
{
  try {
    return sim_run_or_throw(name, work, args...);
  } catch (const std::bad_alloc&) {
    return static_cast<decltype(work())>(OPEN_E_INTERNAL);
  }
}

// With another answer than OPEN_E_UNAVAIL while the switch starts again.
template <class Work, class... Args>
auto sim_call_or(open_error_t away, const char* name, const openapiClientHandle_t* handle,
                 Work work, Args... args) -> decltype(work())
{
  const auto registered_work = [&] {
    const open_error_t answerable = sim_answerable(handle, away);
    return answerable == OPEN_E_NONE ? work() : static_cast<decltype(work())>(answerable);
  };
  return sim_run(name, registered_work, args...);
}
template <class Work, class... Args>
auto sim_call(const char* name, const openapiClientHandle_t* handle, Work work, Args... args)
    -> decltype(work())
{
  return sim_call_or(OPEN_E_UNAVAIL, name, handle, work, args...);
}

// The calls that do nothing but read one value, or hand one value to a procedure.
template <class T, class V>
open_error_t sim_read(const char* name, const openapiClientHandle_t* handle, T* out, const V& value)
{
  return sim_call(
      name, handle, [&] { return sim_give(*out, value); }, sim_out(out));
}
template <class V>
open_error_t sim_set(const char* name, const openapiClientHandle_t* handle, V value,
                     open_error_t (*set)(V value))
{
  return sim_call(
      name, handle, [&] { return set(value); }, value);
}
