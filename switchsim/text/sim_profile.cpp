#include "switchsim/text/sim_profile.h"

#include <json-c/json.h>

#include <cstring>

#include "switchsim/call/sim_value.h"

void sim_json_free_t::operator()(json_object* json) const
{
  json_object_put(json);
}

sim_json_owner_t sim_json_read(const std::string& text, std::string& error)
{
  const std::unique_ptr<json_tokener, void (*)(json_tokener*)> tokener(json_tokener_new(),
                                                                       json_tokener_free);
  if (tokener == nullptr) {
    error = "out of memory";
    return nullptr;
  }
  json_tokener_set_flags(tokener.get(), JSON_TOKENER_STRICT | JSON_TOKENER_VALIDATE_UTF8);
  // the terminating zero goes with the text: it ends a number that stands alone
  sim_json_owner_t json(
      json_tokener_parse_ex(tokener.get(), text.c_str(), static_cast<int>(text.size() + 1)));
  const json_tokener_error failure = json_tokener_get_error(tokener.get());
  if (failure == json_tokener_success && json == nullptr) {
    error = "must be a record";
  } else if (failure != json_tokener_success) {
    error = std::string("not JSON: ") + json_tokener_error_desc(failure) + " at offset " +
            std::to_string(json_tokener_get_parse_end(tokener.get()));
  }
  return json;
}

bool sim_json_refuse(const sim_json_t& json, const std::string& why)
{
  *json.error = sim_one_line(json.path.empty() ? why : json.path + ": " + why);
  return false;
}

static bool sim_json_is_number(const sim_json_t& json, int64_t min, int64_t max)
{
  if (json_object_get_type(json.value) == json_type_int) {
    const int64_t number = json_object_get_int64(json.value);
    if (number >= min && number <= max)
      return true;
  }
  return sim_json_refuse(
      json, "must be a number from " + std::to_string(min) + " to " + std::to_string(max));
}

bool sim_json_uint(const sim_json_t& json, uint32_t min, uint32_t max, uint32_t& out)
{
  if (!sim_json_is_number(json, min, max))
    return false;
  out = static_cast<uint32_t>(json_object_get_int64(json.value));
  return true;
}

bool sim_json_int(const sim_json_t& json, int32_t min, int32_t max, int32_t& out)
{
  if (!sim_json_is_number(json, min, max))
    return false;
  out = static_cast<int32_t>(json_object_get_int64(json.value));
  return true;
}

bool sim_json_bool(const sim_json_t& json, bool& out)
{
  if (json_object_get_type(json.value) != json_type_boolean)
    return sim_json_refuse(json, "must be true or false");
  out = json_object_get_boolean(json.value);
  return true;
}

bool sim_json_text(const sim_json_t& json, size_t min, size_t max, std::string& out)
{
  if (json_object_get_type(json.value) == json_type_string) {
    const size_t length = static_cast<size_t>(json_object_get_string_len(json.value));
    const char* text = json_object_get_string(json.value);
    if (length >= min && length <= max && strlen(text) == length) {
      out.assign(text, length);
      return true;
    }
  }
  return sim_json_refuse(json, "must be a text of " + std::to_string(min) + " to " +
                                   std::to_string(max) + " characters");
}

bool sim_json_chosen(const sim_json_t& json, std::initializer_list<sim_choice_t> choices, int& out)
{
  std::string all;
  for (const sim_choice_t& choice : choices) {
    if (json_object_get_type(json.value) == json_type_string &&
        strcmp(json_object_get_string(json.value), choice.text) == 0) {
      out = choice.value;
      return true;
    }
    all += std::string(all.empty() ? "\"" : ", \"") + choice.text + '"';
  }
  return sim_json_refuse(json, "must be one of " + all);
}

bool sim_json_list(const sim_json_t& json, const std::function<bool(const sim_json_t& item)>& parse)
{
  if (json_object_get_type(json.value) != json_type_array)
    return sim_json_refuse(json, "must be a list");
  for (size_t i = 0; i < json_object_array_length(json.value); i++)
    if (!parse({json_object_array_get_idx(json.value, i), json.path + "[" + std::to_string(i) + "]",
                json.error}))
      return false;
  return true;
}

bool sim_json_each(const sim_json_t& json,
                   const std::function<bool(const char* name, const sim_json_t& value)>& parse)
{
  if (json_object_get_type(json.value) != json_type_object)
    return sim_json_refuse(json, "must be a record");
  json_object_object_foreach(json.value, name, value)
  {
    if (!parse(name, sim_json_member(json, name, value)))
      return false;
  }
  return true;
}

bool sim_json_record(const sim_json_t& json, std::initializer_list<sim_field_t> fields)
{
  const auto known = [&](const char* name, const sim_json_t& value) {
    for (const sim_field_t& field : fields)
      if (strcmp(field.name, name) == 0)
        return true;
    return sim_json_refuse(value, "no such key");
  };
  if (!sim_json_each(json, known))
    return false;
  for (const sim_field_t& field : fields) {
    json_object* value = nullptr;
    if (json_object_object_get_ex(json.value, field.name, &value)) {
      if (!field.parse(sim_json_member(json, field.name, value)))
        return false;
    } else if (field.required) {
      return sim_json_refuse(sim_json_member(json, field.name, nullptr), "is missing");
    }
  }
  return true;
}

sim_json_t sim_json_member(const sim_json_t& record, const char* name, json_object* value)
{
  return {value, record.path.empty() ? name : record.path + "." + name, record.error};
}
