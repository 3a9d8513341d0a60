// Any bytes in the place of the file about the startup configuration.
#include "engine/rest_config.h"
#include "modules/rest_startupcfg.h"
#include "tests/fuzz/fuzz.h"

static void fuzz(const std::string& input)
{
  static fuzz_folder folder;
  std::filesystem::create_directory(std::filesystem::path(REST_STARTUPCFG_FILE).parent_path());
  write_file(REST_STARTUPCFG_FILE, input);
  char time[STARTUPCFG_TIME_SIZE], update[STARTUPCFG_TIME_SIZE], again[STARTUPCFG_TIME_SIZE];
  require(initialize_transfer_variables() == RC_TRUE);
  require(get_startup_config_time(time) == RC_TRUE);
  require(get_startup_config_update_time(update) == RC_TRUE);
  require(strnlen(time, sizeof time) < sizeof time && strnlen(update, sizeof update) < sizeof time);

  // What the file said is still there when the engine has rewritten it and starts again.
  require(write_startupcfg_info_file() == RC_TRUE);
  std::string written = read_file(REST_STARTUPCFG_FILE);
  require(!std::filesystem::exists(REST_STARTUPCFG_FILE ".tmp"));
  require(initialize_transfer_variables() == RC_TRUE);
  require(get_startup_config_time(again) == RC_TRUE && strcmp(time, again) == 0);
  require(written == read_file(REST_STARTUPCFG_FILE));

  // A client's text is stored, cut or refused; the file keeps its first word.
  std::string text = input.substr(0, sizeof time - 1), word;
  if (set_startup_config_time(text.c_str()) == RC_TRUE) {
    require(get_startup_config_time(again) == RC_TRUE);
    std::istringstream(text.c_str()) >> word;
    require(again == (word.empty() ? std::string(text.c_str()) : word));
  }
}
