#include "switchsim/host/sim_folder.h"

#include <dirent.h>

#include <cerrno>
#include <memory>
#include <new>

std::vector<std::string> sim_folder_names(const std::string& folder)
{
  struct folder_close_t {
    void operator()(DIR* open) const
    {
      closedir(open);
    }
  };
  errno = 0;
  const std::unique_ptr<DIR, folder_close_t> open(opendir(folder.c_str()));
  if (!open && errno == ENOMEM)
    throw std::bad_alloc();
  std::vector<std::string> names;
  while (const dirent* entry = open ? readdir(open.get()) : nullptr) {
    const std::string name = entry->d_name;
    if (name != "." && name != "..")
      names.push_back(name);
  }
  return names;
}
