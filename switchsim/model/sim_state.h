// Whether the configuration is saved.
#pragma once

#include "platform/openapi_types.h"

// Every call that changed the configuration says so; saving or loading it takes it back.
void sim_config_changed();
void sim_config_saved();
bool sim_config_unsaved();

// Changes a setting of the configuration: most writes end so.
template <class T, class V>
open_error_t sim_change(T& setting, const V& value)
{
  setting = value;
  sim_config_changed();
  return OPEN_E_NONE;
}
