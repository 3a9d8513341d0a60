// What lies in a folder of this machine.
#pragma once

#include <string>
#include <vector>

// The names in it, in no order; none when there is no such folder. Throws std::bad_alloc when
// memory is short, where the library's own iterator would end the process.
std::vector<std::string> sim_folder_names(const std::string& folder);
