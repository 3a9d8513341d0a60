// The flash of the simulated switch: one folder of this machine, with files and nothing else in it.
#pragma once

#include <string>
#include <string_view>
#include <vector>

// 1 to 64 letters, digits and "._-", the first one no "." and no "-": such a name leads to no other
// folder.
bool sim_flash_name_ok(const std::string& name);

// The folder, without a slash at its end. A temporary one that lasts as long as the process, unless
// another was chosen.
const std::string& sim_flash_folder();

// The files' names, ascending.
std::vector<std::string> sim_flash_names();

// Reads a whole file; false when there is none.
bool sim_flash_read(const std::string& name, std::string& content);

// Writes a file so that the old or the new content is there, never half of it. False when it could
// not be written.
bool sim_flash_write(const std::string& name, std::string_view content);

// False when there is none.
bool sim_flash_remove(const std::string& name);
