#include "switchsim/switchsim.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <new>
#include <sstream>

#include "platform/openapi_client.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/call/sim_clock.h"
#include "switchsim/sim_areas.h"
#include "switchsim/text/sim_profile_faults.h"

namespace
{
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
    if (!file.is_open())
      return profile_refused(path, std::string("cannot be read: ") + strerror(errno));
    profile = text.str();
    if (profile.empty())
      return profile_refused(path, "not JSON: the file is empty");
  } else if (started) {
    return true;
  }
  const std::string error = sim_areas_reset(profile);
  started = error.empty();
  return started || profile_refused(path, error);
}
}  // namespace

// The first client starts the switch.
open_error_t openapiClientRegister(const char* name, openapiClientHandle_t* client_handle)
{
  open_error_t ready = OPEN_E_INTERNAL;
  try {
    ready = sim_trace_open() && sim_start() ? OPEN_E_NONE : OPEN_E_FAIL;
  } catch (const std::bad_alloc&) {
    fprintf(stderr, "switchsim: out of memory\n");
  }
  const auto work = [&] {
    if (client_handle == nullptr)
      return OPEN_E_PARAM;
    if (ready != OPEN_E_NONE)
      return ready;
    sim_client_mark(*client_handle);
    return OPEN_E_NONE;
  };
  return sim_run(__func__, work, name);
}

open_error_t rpcclt_openapiConnectivityCheck(openapiClientHandle_t* client_handle)
{
  return sim_call(
      __func__, client_handle, [] { return OPEN_E_NONE; });
}

// ---- steering from tests ----

std::string switchsim_reset(const char* profile_json)
{
  const auto lock = sim_lock();
  started = true;
  return sim_areas_reset(profile_json == nullptr ? "" : profile_json);
}

bool switchsim_fault_set(const char* call, const char* json, std::string* error)
{
  std::string why;
  const sim_json_owner_t value = sim_json_read(json, why);
  const auto lock = sim_lock();
  const bool set =
      value != nullptr && sim_fault_parse(call, {value.get(), std::string("faults.") + call, &why});
  if (error != nullptr)
    *error = why;
  return set;
}

void switchsim_faults_clear()
{
  const auto lock = sim_lock();
  sim_faults_clear();
}

void switchsim_trace_start()
{
  const auto lock = sim_lock();
  sim_trace_start();
}

std::string switchsim_trace_take()
{
  const auto lock = sim_lock();
  return sim_trace_take();
}
