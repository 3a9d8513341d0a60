#include "switchsim/text/sim_profile_faults.h"

#include <json-c/json.h>

#include <limits>

#include "switchsim/call/sim_fault.h"

namespace
{
constexpr uint32_t DELAY_MAX_MS = 600000;
constexpr size_t TEXT_MAX = 65536;
}  // namespace

static bool fault_value_parse(const sim_json_t& json, sim_fault_value_t& value)
{
  if (json_object_get_type(json.value) == json_type_string) {
    value.kind = sim_fault_value_t::TEXT;
    return sim_json_text(json, 0, TEXT_MAX, value.text);
  }
  if (json_object_get_type(json.value) != json_type_int)
    return sim_json_refuse(json, "must be a number or a text");
  const int64_t number = json_object_get_int64(json.value);
  value.kind = sim_fault_value_t::NUMBER;
  value.negative = number < 0;
  value.bits = number < 0 ? static_cast<uint64_t>(number) : json_object_get_uint64(json.value);
  return true;
}

bool sim_fault_parse(const char* name, const sim_json_t& json)
{
  if (!sim_fault_call_exists(name))
    return sim_json_refuse(json, "no such call");
  constexpr uint32_t UINT_MAX32 = std::numeric_limits<uint32_t>::max();
  constexpr int32_t INT_MIN32 = std::numeric_limits<int32_t>::min();
  constexpr int32_t INT_MAX32 = std::numeric_limits<int32_t>::max();
  sim_fault_t fault;
  const auto parse_value = [&](const sim_json_t& j) { return fault_value_parse(j, fault.value); };
  const auto parse_result = [&](const sim_json_t& j) {
    fault.has_result = true;
    return sim_json_int(j, INT_MIN32, INT_MAX32, fault.result);
  };
  const auto parse_after = [&](const sim_json_t& j) {
    return sim_json_uint(j, 0, UINT_MAX32, fault.after);
  };
  const auto parse_times = [&](const sim_json_t& j) {
    return sim_json_uint(j, 1, UINT_MAX32, fault.times);
  };
  const auto parse_output = [&](const sim_json_t& j) {
    return sim_json_uint(j, 1, UINT_MAX32, fault.value.output);
  };
  const auto parse_delay = [&](const sim_json_t& j) {
    return sim_json_uint(j, 0, DELAY_MAX_MS, fault.delay_ms);
  };
  const bool parsed = sim_json_record(json, {
                                                {"value",    false, parse_value },
                                                {"output",   false, parse_output},
                                                {"result",   false, parse_result},
                                                {"after",    false, parse_after },
                                                {"times",    false, parse_times },
                                                {"delay_ms", false, parse_delay },
  });
  if (parsed)
    sim_fault_set(name, fault);
  return parsed;
}

bool sim_faults_parse(const sim_json_t& json)
{
  return sim_json_each(json, sim_fault_parse);
}

bool sim_rpc_delay_parse(const sim_json_t& json)
{
  uint32_t ms = 0;
  const bool parsed = sim_json_uint(json, 0, DELAY_MAX_MS, ms);
  if (parsed)
    sim_rpc_delay_set(ms);
  return parsed;
}
