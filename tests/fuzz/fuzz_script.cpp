// Any text as a CLI script: it is run as a whole or not at all, and what it leaves is a
// configuration that leads to itself.
#include "switchsim/config/sim_config.h"
#include "switchsim/switchsim.h"
#include "tests/fuzz/fuzz.h"

static void fuzz(const std::string& input)
{
  static const bool is_reset = switchsim_reset("").empty();
  static const sim_restore_t restore = sim_config_keep();
  static const std::string at_first = sim_config_text();
  require(is_reset);
  std::string error;
  if (sim_config_run(input, error)) {
    const std::string config = sim_config_text();
    require(sim_config_run(config, error));
    require(sim_config_text() == config);
  } else {
    require(!error.empty() && error.find('\n') == std::string::npos);
    require(sim_config_text() == at_first);
  }
  restore();
}
