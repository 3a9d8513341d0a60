#include "switchsim/config/sim_archive.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <ctime>

#include "switchsim/config/sim_config.h"
#include "switchsim/config/sim_store.h"

namespace
{
std::string octal(uint64_t number, int digits)
{
  char text[24];
  snprintf(text, sizeof text, "%0*" PRIo64, digits, number);
  return text;
}

// One file of a tar archive: header and content, each filled up to whole blocks.
void archive_add(std::string& archive, const std::string& name, const std::string& content)
{
  constexpr size_t BLOCK = 512;
  constexpr size_t SUM_AT = 148;
  std::string header(BLOCK, '\0');
  const auto put = [&](size_t at, const std::string& text) {
    header.replace(at, text.size(), text);
  };
  put(0, name);
  put(100, octal(0644, 7));  // mode, user, group
  put(108, octal(0, 7));
  put(116, octal(0, 7));
  put(124, octal(content.size(), 11));
  put(136, octal(static_cast<uint64_t>(time(nullptr)), 11));
  put(SUM_AT, std::string(8, ' '));  // counts as blanks in the sum itself
  put(156, "0");                     // a file
  put(257, std::string("ustar\00000", 8));
  uint64_t sum = 0;
  for (const char c : header)
    sum += static_cast<unsigned char>(c);
  put(SUM_AT, octal(sum, 6) + '\0');
  archive += header + content;
  archive.append((BLOCK - content.size() % BLOCK) % BLOCK, '\0');
}
}  // namespace

bool sim_config_file_text(const std::string& name, std::string& text)
{
  if (name == SIM_RUNNING_CONFIG) {
    text = sim_config_text();
    return true;
  }
  if (sim_store().read(name, text))
    return true;
  if (name == SIM_STARTUP_CONFIG)
    return sim_config_file_text(SIM_FACTORY_DEFAULTS, text);
  if (name == SIM_FACTORY_DEFAULTS) {
    text = sim_config_delivered_text();
    return true;
  }
  return false;
}

std::string sim_archive_text()
{
  constexpr size_t END = 1024;
  std::string archive;
  for (const char* name :
       {SIM_STARTUP_CONFIG, SIM_BACKUP_CONFIG, SIM_FACTORY_DEFAULTS, SIM_RUNNING_CONFIG}) {
    std::string content;
    if (sim_config_file_text(name, content))
      archive_add(archive, name, content);
  }
  return archive.append(END, '\0');
}
