#include "switchsim/sim_flash.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "switchsim/sim_areas.h"

namespace fs = std::filesystem;

namespace
{
constexpr size_t NAME_MAX_LENGTH = 64;
constexpr char PART_SUFFIX[] = "~";  // of a file that is being written; part of no name

// A folder of this process alone, gone with it.
struct temporary_folder_t {
  std::string path;

  temporary_folder_t()
  {
    std::error_code error;
    path = (fs::temp_directory_path(error) / "switchsim-XXXXXX").string();
    if (mkdtemp(path.data()) == nullptr) {
      perror("switchsim: flash");
    }
  }
  ~temporary_folder_t()
  {
    std::error_code error;
    fs::remove_all(path, error);
  }
};

std::string folder;

const std::string& temporary_folder()
{
  static const temporary_folder_t temporary;
  return temporary.path;
}

std::string path_of(const std::string& name)
{
  return folder + "/" + name;
}
}  // namespace

void sim_flash_reset()
{
  folder = temporary_folder();
  for (const std::string& name : sim_flash_names()) {
    sim_flash_remove(name);
  }
}

bool sim_flash_name_ok(const std::string& name)
{
  const auto allowed = [](unsigned char c) {
    return c < 0x80 && (isalnum(c) || c == '.' || c == '_' || c == '-');
  };
  return !name.empty() && name.size() <= NAME_MAX_LENGTH && name[0] != '.' && name[0] != '-' &&
         std::all_of(name.begin(), name.end(), allowed);
}

const std::string& sim_flash_folder()
{
  return folder;
}

std::vector<std::string> sim_flash_names()
{
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (sim_flash_name_ok(name) && entry->is_regular_file(error)) {
      names.push_back(name);
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

bool sim_flash_read(const std::string& name, std::string& content)
{
  if (!sim_flash_name_ok(name)) {
    return false;
  }
  std::ifstream file(path_of(name), std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  content = text.str();
  return file.is_open();
}

bool sim_flash_write(const std::string& name, std::string_view content)
{
  if (!sim_flash_name_ok(name)) {
    return false;
  }
  const std::string part = path_of(name) + PART_SUFFIX;
  std::ofstream file(part, std::ios::binary | std::ios::trunc);
  file.write(content.data(), static_cast<std::streamsize>(content.size()));
  file.close();
  return !file.fail() && rename(part.c_str(), path_of(name).c_str()) == 0;
}

bool sim_flash_remove(const std::string& name)
{
  return sim_flash_name_ok(name) && unlink(path_of(name).c_str()) == 0;
}
