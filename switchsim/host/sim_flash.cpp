#include "switchsim/host/sim_flash.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <limits>

#include "switchsim/config/sim_store.h"
#include "switchsim/host/sim_folder.h"

namespace fs = std::filesystem;

namespace
{
constexpr char PART_MARK = '~';  // in the name of a file that is being written, and in no other
constexpr uint32_t SIZE_DEFAULT = 1u << 30;

// Opens a temporary folder and takes it for this process; -1 when another one has it. The lock goes
// with the process, however it ends.
int folder_take(const std::string& path)
{
  const int fd = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  struct stat taken = {};
  struct stat there = {};
  // who takes a folder for a stale one may have removed it in between
  if (fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) == 0 && fstat(fd, &taken) == 0 &&
      stat(path.c_str(), &there) == 0 && taken.st_ino == there.st_ino && taken.st_uid == geteuid())
    return fd;
  if (fd >= 0)
    close(fd);
  return -1;
}

constexpr char FOLDER_NAME[] = "switchsim-";
constexpr char FOLDER_RANDOM[] = "XXXXXX";

// "switchsim-PID-" and six letters or digits.
bool folder_name_ok(const std::string& name)
{
  const size_t start = sizeof FOLDER_NAME - 1;
  const size_t dash = name.rfind('-');
  const auto all = [&](size_t from, size_t to, int (*is)(int)) {
    return std::all_of(name.begin() + from, name.begin() + to,
                       [&](unsigned char c) { return is(c) != 0; });
  };
  return name.compare(0, start, FOLDER_NAME) == 0 && dash > start &&
         name.size() - dash == sizeof FOLDER_RANDOM && all(start, dash, isdigit) &&
         all(dash + 1, name.size(), isalnum);
}

// Of processes that were killed and could not clean up.
void stale_folders_remove(const fs::path& where)
{
  for (const std::string& name : sim_folder_names(where.string())) {
    if (!folder_name_ok(name))
      continue;
    const int fd = folder_take((where / name).string());
    if (fd >= 0) {
      std::error_code ignored;
      fs::remove_all(where / name, ignored);
      close(fd);
    }
  }
}

// A folder of this process alone, gone with it.
struct temporary_folder_t {
  std::string path;
  int fd = -1;

  temporary_folder_t()
  {
    std::error_code error;
    const fs::path where = fs::temp_directory_path(error);
    stale_folders_remove(where);
    const std::string name = FOLDER_NAME + std::to_string(getpid()) + "-" + FOLDER_RANDOM;
    while (fd < 0) {
      path = (where / name).string();
      if (mkdtemp(path.data()) == nullptr) {
        perror("switchsim: flash");
        return;
      }
      fd = folder_take(path);
    }
  }
  ~temporary_folder_t()
  {
    std::error_code error;
    fs::remove_all(path, error);
    close(fd);
  }
};

std::string folder;
uint32_t flash_size;  // bytes
uint32_t parts;       // begun so far: no two share a name

const std::string& temporary_folder()
{
  static const temporary_folder_t temporary;
  return temporary.path;
}

std::string path_of(const std::string& name)
{
  return folder + "/" + name;
}

// Calls visit with each entry of the folder that is a file and no link.
template <class Visit>
void each_file(Visit visit)
{
  for (const std::string& name : sim_folder_names(folder)) {
    std::error_code ignored;
    const fs::directory_entry entry(path_of(name), ignored);
    if (entry.symlink_status(ignored).type() == fs::file_type::regular)
      visit(entry);
  }
}

// "NAME~number"
bool is_part(const std::string& name)
{
  const size_t mark = name.find(PART_MARK);
  return mark != name.npos && mark + 1 < name.size() && sim_file_name_ok(name.substr(0, mark)) &&
         name.find_first_not_of("0123456789", mark + 1) == name.npos;
}

// What a stop in the middle of a transfer has left.
void parts_remove()
{
  each_file([](const fs::directory_entry& entry) {
    std::error_code ignored;
    if (is_part(entry.path().filename().string()))
      fs::remove(entry.path(), ignored);
  });
}

std::vector<std::string> names()
{
  std::vector<std::string> names;
  each_file([&](const fs::directory_entry& entry) {
    const std::string name = entry.path().filename().string();
    if (sim_file_name_ok(name))
      names.push_back(name);
  });
  std::sort(names.begin(), names.end());
  return names;
}

bool file_read(const std::string& name, std::string& content)
{
  uint64_t size = 0;
  const sim_file_t file = sim_flash_open(name, size);
  if (file == nullptr)
    return false;
  content.resize(static_cast<size_t>(size));
  content.resize(fread(content.data(), 1, content.size(), file.get()));
  return ferror(file.get()) == 0;
}

bool file_write(const std::string& name, std::string_view content)
{
  sim_flash_part_t part;
  return content.size() <= sim_flash_free() && sim_flash_part_open(name, part) &&
         fwrite(content.data(), 1, content.size(), part.file.get()) == content.size() &&
         sim_flash_part_keep(part);
}

bool file_remove(const std::string& name)
{
  return sim_file_name_ok(name) && unlink(path_of(name).c_str()) == 0;
}

void flash_reset()
{
  folder = temporary_folder();
  flash_size = SIZE_DEFAULT;
  parts_remove();
  for (const std::string& name : names())
    file_remove(name);
}

bool folder_parse(const sim_json_t& json)
{
  std::string path;
  if (!sim_json_text(json, 1, PATH_MAX - 1, path))
    return false;
  std::error_code error;
  fs::path chosen = fs::absolute(path, error).lexically_normal();
  if (!chosen.has_filename())
    chosen = chosen.parent_path();  // it ended with a slash
  fs::create_directories(chosen, error);
  if (!fs::is_directory(chosen, error) || access(chosen.c_str(), R_OK | W_OK | X_OK) != 0)
    return sim_json_refuse(json, "is no folder that can be written");
  folder = chosen.string();
  parts_remove();
  return true;
}

bool size_parse(const sim_json_t& json)
{
  return sim_json_uint(json, 0, std::numeric_limits<uint32_t>::max(), flash_size);
}

}  // namespace

const sim_store_t sim_flash_store = {names, file_read, file_write, file_remove};

constexpr sim_key_t KEYS[] = {
    {"flash",      folder_parse},
    {"flash_size", size_parse  },
};

const sim_area_t sim_flash_area = sim_area(flash_reset, KEYS);

const std::string& sim_flash_folder()
{
  return folder;
}

void sim_file_close_t::operator()(FILE* file) const
{
  fclose(file);
}

sim_file_t sim_flash_open(const std::string& name, uint64_t& size)
{
  if (!sim_file_name_ok(name))
    return nullptr;
  const int fd = open(path_of(name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  struct stat status = {};
  if (fd < 0 || fstat(fd, &status) != 0 || !S_ISREG(status.st_mode)) {
    if (fd >= 0)
      close(fd);
    return nullptr;
  }
  size = static_cast<uint64_t>(status.st_size);
  return sim_file_t(fdopen(fd, "rb"));
}

uint64_t sim_flash_free()
{
  uint64_t used = 0;
  each_file([&](const fs::directory_entry& entry) {
    std::error_code error;
    const uint64_t size = entry.file_size(error);
    used += error ? 0 : size;
  });
  std::error_code error;
  const uint64_t available = fs::space(folder, error).available;
  return used >= flash_size ? 0 : std::min<uint64_t>(flash_size - used, available);
}

sim_flash_part_t::~sim_flash_part_t()
{
  sim_flash_part_drop(*this);
}

bool sim_flash_part_open(const std::string& name, sim_flash_part_t& part)
{
  if (!sim_file_name_ok(name))
    return false;
  part.target = path_of(name);
  part.path = part.target + PART_MARK + std::to_string(parts++);
  part.file.reset(fopen(part.path.c_str(), "wbxe"));
  if (part.file == nullptr)
    part.path.clear();
  return part.file != nullptr;
}

bool sim_flash_part_keep(sim_flash_part_t& part)
{
  const bool written = ferror(part.file.get()) == 0 && fclose(part.file.release()) == 0;
  if (!written || rename(part.path.c_str(), part.target.c_str()) != 0) {
    sim_flash_part_drop(part);
    return false;
  }
  part.path.clear();
  return true;
}

void sim_flash_part_drop(sim_flash_part_t& part)
{
  part.file.reset();
  if (!part.path.empty()) {
    unlink(part.path.c_str());
    part.path.clear();
  }
}
