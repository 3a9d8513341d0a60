#include "modules/rest_startupcfg.h"

#include <errno.h>
#include <fcntl.h>
#include <libgen.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <memory>

#include "engine/rest_config.h"
#include "engine/rest_file.h"
#include "platform/l7proc.h"

startupcfg_info_t startupcfgInfo = {};

static constexpr char INFO_FILE[] = REST_STARTUPCFG_FILE;
static constexpr char INFO_TEMP_FILE[] = REST_STARTUPCFG_FILE ".tmp";
static constexpr char KEY_TIME[] = "cfg_time";
static constexpr char KEY_UPDATE[] = "cfg_update";

static constexpr mode_t INFO_FILE_MODE = 0644;

using file_ptr = std::unique_ptr<FILE, int (*)(FILE*)>;

static file_ptr file_open(const char* path, int flags, const char* mode)
{
  int fd = rest_open_regular(path, flags, INFO_FILE_MODE);
  FILE* file = fd >= 0 ? fdopen(fd, mode) : nullptr;
  if (fd >= 0 && !file)
    close(fd);
  return file_ptr(file, fclose);
}

static const char* info_folder(void)
{
  static char path[sizeof INFO_FILE];
  memcpy(path, INFO_FILE, sizeof path);
  return dirname(path);
}

struct info_entry_t {
  char key[STARTUPCFG_TIME_SIZE];
  char value[STARTUPCFG_TIME_SIZE];
};

// Reads one line, of which the first 255 characters count; false at the end of the file.
static bool info_line_next(FILE* file, char (&line)[256])
{
  size_t length = 0;
  int c = getc(file);
  bool found = c != EOF;
  for (; c != EOF && c != '\n'; c = getc(file))
    if (length < sizeof line - 1)
      line[length++] = static_cast<char>(c);
  line[length] = '\0';
  return found;
}

// Reads the next line that has a key and a value; false at the end of the file.
static bool info_entry_next(FILE* file, info_entry_t& entry)
{
  char line[256];
  while (info_line_next(file, line))
    if (sscanf(line, "%23[^:]:%23s", entry.key, entry.value) == 2)
      return true;
  return false;
}

static void info_entry_write(FILE* file, const char* key, const char* value)
{
  fprintf(file, "%s:%s\n", key, value);
}

static void time_copy(char (&time)[STARTUPCFG_TIME_SIZE], const char* text)
{
  snprintf(time, sizeof time, "%s", text);
}

RC_t read_startupcfg_info_file(void)
{
  file_ptr file = file_open(INFO_FILE, O_RDONLY, "r");
  if (!file)
    return RC_FALSE;
  info_entry_t entry;
  while (info_entry_next(file.get(), entry))
    if (strcmp(entry.key, KEY_TIME) == 0)
      time_copy(startupcfgInfo.cfgTime, entry.value);
    else if (strcmp(entry.key, KEY_UPDATE) == 0)
      time_copy(startupcfgInfo.cfgUpdateTime, entry.value);
  return ferror(file.get()) ? RC_FALSE : RC_TRUE;
}

// Copies the entries with the times of the record put in. An update time is kept where it equals
// the creation time of the record: clients rely on seeing the configuration as unchanged then.
static void info_copy(FILE* from, FILE* to)
{
  bool time_seen = false;
  bool update_seen = false;
  info_entry_t entry;
  while (info_entry_next(from, entry)) {
    if (strcmp(entry.key, KEY_TIME) == 0) {
      info_entry_write(to, KEY_TIME, startupcfgInfo.cfgTime);
      time_seen = true;
    } else if (strcmp(entry.key, KEY_UPDATE) == 0) {
      bool kept = strcmp(entry.value, startupcfgInfo.cfgTime) == 0;
      info_entry_write(to, KEY_UPDATE, kept ? entry.value : startupcfgInfo.cfgUpdateTime);
      update_seen = true;
    }
  }
  if (!time_seen)
    info_entry_write(to, KEY_TIME, startupcfgInfo.cfgTime);
  if (!update_seen)
    info_entry_write(to, KEY_UPDATE, startupcfgInfo.cfgUpdateTime);
}

// Writes the new file beside the old one, down to the flash.
static bool info_temp_file_write(void)
{
  file_ptr from = file_open(INFO_FILE, O_RDONLY, "r");
  if (!from)
    return false;
  file_ptr to = file_open(INFO_TEMP_FILE, O_RDWR | O_CREAT | O_TRUNC, "w+");
  if (!to)
    return false;
  info_copy(from.get(), to.get());
  bool copied = !ferror(from.get()) && !ferror(to.get());
  bool flushed = fflush(to.get()) == 0 && fsync(fileno(to.get())) == 0;
  return fclose(to.release()) == 0 && copied && flushed;
}

// Only then does the new name in the folder survive a power cut.
static bool info_folder_flush(void)
{
  int folder = open(info_folder(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (folder < 0)
    return false;
  bool flushed = fsync(folder) == 0;
  return close(folder) == 0 && flushed;
}

RC_t write_startupcfg_info_file(void)
{
  if (!file_open(INFO_FILE, O_WRONLY | O_CREAT | O_APPEND, "a"))  // creates it
    return RC_FALSE;
  if (!info_temp_file_write() || rename(INFO_TEMP_FILE, INFO_FILE) != 0) {
    int cause = errno;
    unlink(INFO_TEMP_FILE);
    errno = cause;
    return RC_FALSE;
  }
  return info_folder_flush() ? RC_TRUE : RC_FALSE;
}

RC_t initialize_transfer_variables(void)
{
  startupcfgInfo = {};
  startupcfgInfo.hasUpdated = RC_FALSE;
  if (read_startupcfg_info_file() == RC_TRUE)
    return RC_TRUE;
  mkdir(info_folder(), 0755);  // what matters is whether the file can be written
  errno = 0;
  RC_t written = write_startupcfg_info_file();
  if (written != RC_TRUE)
    l7proc_logf(L7PROC_LOG_SEVERITY_WARNING, 0, "rest_startupcfg.cpp", __LINE__,
                "RESTful API Engine: cannot write %s: %s", INFO_FILE, strerror(errno));
  return written;
}

RC_t set_startup_config_has_updated_flag(RC_t flag)
{
  startupcfgInfo.hasUpdated = flag;
  return RC_TRUE;
}

RC_t get_startup_config_has_updated_flag(RC_t* flag)
{
  if (!flag)
    return RC_FALSE;
  *flag = startupcfgInfo.hasUpdated;
  return RC_TRUE;
}

RC_t set_startup_config_serial_number(uint32_t sn)
{
  startupcfgInfo.serialNum = sn;
  return RC_TRUE;
}

RC_t get_startup_config_serial_number(uint32_t* sn)
{
  if (!sn)
    return RC_FALSE;
  *sn = startupcfgInfo.serialNum;
  return RC_TRUE;
}

static RC_t time_set(char (&stored)[STARTUPCFG_TIME_SIZE], const char* time)
{
  if (!time || !time[0] || strpbrk(time, "\r\n"))  // further lines would be entries of their own
    return RC_FALSE;
  if (strcmp(stored, time) == 0)
    return RC_TRUE;
  time_copy(stored, time);
  return write_startupcfg_info_file();
}

static RC_t time_get(const char (&stored)[STARTUPCFG_TIME_SIZE], char* buf)
{
  if (!buf)
    return RC_FALSE;
  buf[0] = '\0';
  if (read_startupcfg_info_file() != RC_TRUE)
    return RC_FALSE;
  memcpy(buf, stored, sizeof stored);
  return RC_TRUE;
}

RC_t set_startup_config_time(const char* time)
{
  return time_set(startupcfgInfo.cfgTime, time);
}

RC_t get_startup_config_time(char* buf)
{
  return time_get(startupcfgInfo.cfgTime, buf);
}

RC_t set_startup_config_update_time(const char* time)
{
  return time_set(startupcfgInfo.cfgUpdateTime, time);
}

RC_t get_startup_config_update_time(char* buf)
{
  return time_get(startupcfgInfo.cfgUpdateTime, buf);
}
