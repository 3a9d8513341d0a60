#include "switchsim/model/sim_state.h"

namespace
{
bool config_unsaved;
}  // namespace

void sim_config_changed()
{
  config_unsaved = true;
}

void sim_config_saved()
{
  config_unsaved = false;
}

bool sim_config_unsaved()
{
  return config_unsaved;
}
