#include "switchsim/call/sim_client.h"

#include <cstdint>

#include "switchsim/call/sim_clock.h"

namespace
{
constexpr uint64_t REGISTERED = 0x53574954434853ull;  // what a handle holds after registration
}  // namespace

void sim_client_mark(openapiClientHandle_t& handle)
{
  handle = {};
  handle.opaque[0] = REGISTERED;
}

bool sim_registered(const openapiClientHandle_t* handle)
{
  return handle != nullptr && handle->opaque[0] == REGISTERED;
}

open_error_t sim_answerable(const openapiClientHandle_t* handle, open_error_t away)
{
  if (!sim_registered(handle))
    return OPEN_E_RPC;
  return sim_ready() ? OPEN_E_NONE : away;
}
