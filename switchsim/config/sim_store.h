// The files that the switch keeps: where configurations and scripts are saved.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// 1 to 64 letters, digits and "._-", the first one no "." and no "-": such a name leads to no other
// folder.
bool sim_file_name_ok(const std::string& name);

struct sim_store_t {
  // The files' names, ascending.
  std::vector<std::string> (*names)();
  // Reads a whole file; false when there is none.
  bool (*read)(const std::string& name, std::string& content);
  // Writes a file so that the old or the new content is there, never half of it. False when it
  // could not be written, or there is no room for it.
  bool (*write)(const std::string& name, std::string_view content);
  // False when there is none.
  bool (*remove)(const std::string& name);
};

void sim_store_use(const sim_store_t& store);
const sim_store_t& sim_store();
