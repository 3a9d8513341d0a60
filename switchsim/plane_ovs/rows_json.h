// Values of the database as canonical JSON, so that two are the same when their texts are: sets of
// one element are that element, sets and maps are sorted.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "switchsim/plane_ovs/ovsdb.h"

std::string number_json(uint64_t number);
std::string text_json(const std::string& text);
std::string set_json(const std::vector<std::string>& elements);
std::string numbers_json(const std::set<uint32_t>& numbers);
std::string map_json(const std::map<std::string, std::string>& map);

// A value that was read, as it came and in canonical form.
std::string plain_json(json_object* value);
std::string canonical_json(json_object* value);
