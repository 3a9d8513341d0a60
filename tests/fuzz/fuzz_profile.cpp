// Any text as the profile of the simulated switch, and the configuration of the switch it makes.
#include <json-c/json.h>

#include "switchsim/config/sim_config.h"
#include "switchsim/switchsim.h"
#include "switchsim/text/sim_profile.h"
#include "tests/fuzz/fuzz.h"

static void fuzz(const std::string& input)
{
  std::string profile = input, error;
  // No input chooses a folder of this machine as the flash.
  const sim_json_owner_t json = sim_json_read(profile, error);
  if (json_object_get_type(json.get()) == json_type_object) {
    json_object_object_del(json.get(), "flash");
    profile = json_object_to_json_string(json.get());
  }
  const std::string refused = switchsim_reset(profile.c_str());
  require(refused.find('\n') == std::string::npos);
  const std::string config = sim_config_text();
  if (!refused.empty()) {
    require(switchsim_reset("").empty());
    require(sim_config_text() == config);  // the built-in one
  }
  require(sim_config_run(config, error));
  require(sim_config_text() == config);
}
