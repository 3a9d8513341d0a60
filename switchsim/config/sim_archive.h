// Configurations as the files that are transferred.
#pragma once

#include <string>

constexpr char SIM_BACKUP_CONFIG[] = "backup-config";
constexpr char SIM_RUNNING_CONFIG[] = "running-config";

// What a configuration is as text: that of a file, or what stands for one that was never saved.
// False when there is none.
bool sim_config_file_text(const std::string& name, std::string& text);

// A tar archive of all of them.
std::string sim_archive_text();
