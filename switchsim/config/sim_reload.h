// The switch starts again.
#pragma once

#include <cstdint>

#include "platform/openapi_types.h"

// It takes the state it was delivered with, then loads its configuration. Modes as in
// rpcclt_openapiSystemReloadSet.
enum : uint32_t {
  SIM_RELOAD_SWITCH = 1,
  SIM_RELOAD_WITHOUT_CONFIG = 2,
  SIM_RELOAD_SOFTWARE = 3,
};
open_error_t sim_reload(uint32_t mode);
