#include "switchsim/plane_ovs/rows_json.h"

#include <algorithm>
#include <cstring>
#include <iterator>

std::string number_json(uint64_t number)
{
  return std::to_string(number);
}

std::string text_json(const std::string& text)
{
  return plain_json(json_ptr_t(json_object_new_string(text.c_str())).get());
}

static std::string collection_json(const char* kind, std::vector<std::string> elements)
{
  std::sort(elements.begin(), elements.end());
  std::string json = std::string("[\"") + kind + "\",[";
  for (const std::string& element : elements)
    json += (&element == &elements.front() ? "" : ",") + element;
  return json + "]]";
}

std::string set_json(const std::vector<std::string>& elements)
{
  return elements.size() == 1 ? elements[0] : collection_json("set", elements);
}

std::string numbers_json(const std::set<uint32_t>& numbers)
{
  std::vector<std::string> elements;
  std::transform(numbers.begin(), numbers.end(), std::back_inserter(elements), number_json);
  return set_json(elements);
}

std::string map_json(const std::map<std::string, std::string>& map)
{
  std::vector<std::string> elements;
  for (const auto& [key, value] : map)
    elements.push_back("[" + text_json(key) + "," + text_json(value) + "]");
  return collection_json("map", elements);
}

std::string plain_json(json_object* value)
{
  return json_object_to_json_string_ext(value,
                                        JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
}

std::string canonical_json(json_object* value)
{
  if (!json_object_is_type(value, json_type_array) || json_object_array_length(value) != 2)
    return plain_json(value);
  const char* kind = json_object_get_string(json_object_array_get_idx(value, 0));
  json_object* list = json_object_array_get_idx(value, 1);
  if (kind == nullptr || !json_object_is_type(list, json_type_array))
    return plain_json(value);
  std::vector<std::string> elements;
  for (size_t i = 0; i < json_object_array_length(list); i++)
    elements.push_back(plain_json(json_object_array_get_idx(list, i)));
  return strcmp(kind, "map") == 0 ? collection_json(kind, elements) : set_json(elements);
}
