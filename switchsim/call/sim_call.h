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

#include <new>
#include <string>
#include <type_traits>

#include "switchsim/call/sim_argument.h"
#include "switchsim/call/sim_client.h"
#include "switchsim/call/sim_fault.h"
#include "switchsim/call/sim_replace.h"
#include "switchsim/call/sim_trace.h"
#include "switchsim/call/sim_value.h"

// The result may be an open_error_t or, for the calls that return it, a plain value: a fault's
// "value" replaces that one.
template <class Work, class... Args>
auto sim_run_or_throw(const char* name, Work work, Args... args) -> decltype(work())
{
  using result_t = decltype(work());
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
    if (turn.has_result)
      result = OPEN_E_NONE;
  }
  if (usable && has_value) {
    bool replaced = false;
    uint32_t place = 0;
    if constexpr (returns_value)
      replaced = sim_replace(sim_out(&result), turn.value, place);
    else
      replaced = (sim_replace(args, turn.value, place) || ...);
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
