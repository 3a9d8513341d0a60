// Reading JSON values of a profile. A value knows where it stands in the profile, so that whatever
// is wrong with it is told with its key. Every procedure returns false after having told; the
// caller passes that on.
#pragma once

#include <json-c/json_types.h>

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>

struct sim_json_t {
  json_object* value;
  std::string path;    // "accounts[0].user"
  std::string* error;  // where the first complaint goes
};

// A parsed text, owned.
struct sim_json_free_t {
  void operator()(json_object* json) const;
};
using sim_json_owner_t = std::unique_ptr<json_object, sim_json_free_t>;

// Null and a complaint in error when the text is not JSON.
sim_json_owner_t sim_json_read(const std::string& text, std::string& error);

// Complains about a value and returns false.
bool sim_json_refuse(const sim_json_t& json, const std::string& why);

bool sim_json_uint(const sim_json_t& json, uint32_t min, uint32_t max, uint32_t& out);
bool sim_json_int(const sim_json_t& json, int32_t min, int32_t max, int32_t& out);
bool sim_json_bool(const sim_json_t& json, bool& out);
// A text of min to max bytes without a zero in it.
bool sim_json_text(const sim_json_t& json, size_t min, size_t max, std::string& out);

// One of several texts; out becomes the value that stands beside it (a number or an enumeration).
struct sim_choice_t {
  const char* text;
  int value;
};
bool sim_json_chosen(const sim_json_t& json, std::initializer_list<sim_choice_t> choices, int& out);
template <class T>
bool sim_json_choice(const sim_json_t& json, std::initializer_list<sim_choice_t> choices, T& out)
{
  int value = 0;
  if (!sim_json_chosen(json, choices, value))
    return false;
  out = static_cast<T>(value);
  return true;
}

// Every item of a list; every member of a record whose members may have any name.
bool sim_json_list(const sim_json_t& json,
                   const std::function<bool(const sim_json_t& item)>& parse);
bool sim_json_each(const sim_json_t& json,
                   const std::function<bool(const char* name, const sim_json_t& value)>& parse);

// A record with these members and no others, parsed in this order.
struct sim_field_t {
  const char* name;
  bool required;
  std::function<bool(const sim_json_t& value)> parse;
};
bool sim_json_record(const sim_json_t& json, std::initializer_list<sim_field_t> fields);

// The value of a record's member, with its place.
sim_json_t sim_json_member(const sim_json_t& record, const char* name, json_object* value);
