#include "switchsim/call/sim_client.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>

#include "platform/openapi_client.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_state.h"
#include "switchsim/sim_areas.h"

namespace
{
constexpr uint64_t REGISTERED = 0x53574954434853ull;  // what a handle holds after registration

bool started;

bool profile_refused(const char* path, const std::string& why)
{
  fprintf(stderr, "switchsim: profile %s: %s\n", path, why.c_str());
  return false;
}

// Reads the environment's profile; a switch that runs already stays as it is when there is none.
bool sim_start()
{
  const auto lock = sim_lock();
  const char* path = getenv("SWITCHSIM_PROFILE");
  std::string profile;
  if (path != nullptr && path[0] != '\0') {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file.is_open()) {
      return profile_refused(path, std::string("cannot be read: ") + strerror(errno));
    }
    profile = text.str();
    if (profile.empty()) {
      return profile_refused(path, "not JSON: the file is empty");
    }
  } else if (started) {
    return true;
  }
  const std::string error = sim_areas_reset(profile);
  started = error.empty();
  return started || profile_refused(path, error);
}
}  // namespace

void sim_client_started()
{
  started = true;
}

bool sim_registered(const openapiClientHandle_t* handle)
{
  return handle != nullptr && handle->opaque[0] == REGISTERED;
}

open_error_t sim_answerable(const openapiClientHandle_t* handle, open_error_t away)
{
  if (!sim_registered(handle)) {
    return OPEN_E_RPC;
  }
  return sim_ready() ? OPEN_E_NONE : away;
}

open_error_t openapiClientRegister(const char* name, openapiClientHandle_t* client_handle)
{
  open_error_t ready = OPEN_E_INTERNAL;
  try {
    ready = sim_trace_open() && sim_start() ? OPEN_E_NONE : OPEN_E_FAIL;
  } catch (const std::bad_alloc&) {
    fprintf(stderr, "switchsim: out of memory\n");
  }
  const auto work = [&] {
    if (client_handle == nullptr) {
      return OPEN_E_PARAM;
    }
    if (ready != OPEN_E_NONE) {
      return ready;
    }
    *client_handle = {};
    client_handle->opaque[0] = REGISTERED;
    return OPEN_E_NONE;
  };
  return sim_run(__func__, work, name);
}

open_error_t rpcclt_openapiConnectivityCheck(openapiClientHandle_t* client_handle)
{
  return sim_call(__func__, client_handle, [] { return OPEN_E_NONE; });
}
