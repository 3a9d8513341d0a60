#include "switchsim/config/sim_reload.h"

#include <iterator>

#include "platform/openapi_system.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/call/sim_clock.h"
#include "switchsim/config/sim_config.h"
#include "switchsim/config/sim_store.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/model/sim_plane.h"

namespace
{
// How long the switch is away, by reload mode.
constexpr uint32_t RELOAD_MS[] = {0, 2000, 2000, 500};
static_assert(std::size(RELOAD_MS) == SIM_RELOAD_SOFTWARE + 1);
}  // namespace

open_error_t sim_reload(uint32_t mode)
{
  if (mode < SIM_RELOAD_SWITCH || mode > SIM_RELOAD_SOFTWARE)
    return OPEN_E_PARAM;
  if (mode == SIM_RELOAD_WITHOUT_CONFIG)
    sim_store().remove(SIM_STARTUP_CONFIG);
  sim_config_take_delivered();
  sim_tell_restarted();
  sim_plane().restart();
  sim_config_load();
  sim_ready_after(RELOAD_MS[mode]);
  return OPEN_E_NONE;
}

open_error_t rpcclt_openapiSystemReloadSet(openapiClientHandle_t* client_handle, uint32_t mode)
{
  return sim_set(__func__, client_handle, mode, sim_reload);
}

open_error_t rpcclt_openapiSystemUnsavedConfigStatusGet(openapiClientHandle_t* client_handle,
                                                        OPEN_BOOL_t* hasChanged)
{
  const auto work = [&] { return sim_give(*hasChanged, sim_unsaved() ? OPEN_TRUE : OPEN_FALSE); };
  return sim_call(__func__, client_handle, work, sim_out(hasChanged));
}
