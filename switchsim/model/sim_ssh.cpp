// The switch's SSH server: its settings; nobody is ever logged in.
#include <iterator>

#include "platform/openapi_ssh.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_change.h"

namespace
{
constexpr uint32_t SESSIONS_MAX = 5;
constexpr uint32_t TIMEOUT_DEFAULT = 5;
constexpr uint32_t TIMEOUT_MAX = 160;

struct ssh_t {
  OPEN_CONTROL_t mode = OPEN_DISABLE;
  OPEN_SSH_PROTO_VERSION_t version = OPEN_SSH_PROTO_VERSION_2;
  uint32_t max_sessions = SESSIONS_MAX;
  uint32_t timeout = TIMEOUT_DEFAULT;
};

ssh_t settings;

open_error_t mode_set(OPEN_CONTROL_t mode)
{
  return sim_control_ok(mode) ? sim_assign(SIM_SSH, settings.mode, mode) : OPEN_E_PARAM;
}

open_error_t version_set(OPEN_SSH_PROTO_VERSION_t version)
{
  const bool known = version >= OPEN_SSH_PROTO_VERSION_1 && version <= OPEN_SSH_PROTO_VERSION_BOTH;
  return known ? sim_assign(SIM_SSH, settings.version, version) : OPEN_E_PARAM;
}

open_error_t max_sessions_set(uint32_t count)
{
  return count >= 1 && count <= SESSIONS_MAX ? sim_assign(SIM_SSH, settings.max_sessions, count)
                                             : OPEN_E_PARAM;
}

open_error_t timeout_set(uint32_t minutes)
{
  return minutes <= TIMEOUT_MAX
             ? sim_assign(SIM_SSH, settings.timeout, minutes == 0 ? TIMEOUT_DEFAULT : minutes)
             : OPEN_E_PARAM;
}

// ---- configuration ----

sim_restore_t ssh_keep()
{
  return [kept = settings] { settings = kept; };
}

void ssh_clear()
{
  settings = {};
}

constexpr const char* VERSIONS[] = {"1", "2", "both"};
static_assert(std::size(VERSIONS) == OPEN_SSH_PROTO_VERSION_BOTH + 1);

void ssh_write(std::string& script)
{
  sim_cli_line(script, "ssh server", settings.mode);
  sim_cli_line(script, "ssh protocol", VERSIONS[settings.version]);
  sim_cli_line(script, "ssh max-sessions", settings.max_sessions);
  sim_cli_line(script, "ssh timeout", settings.timeout);
}

constexpr sim_command_t COMMANDS[] = {
    {"ssh server {disable|enable}", sim_cli_run<mode_set>        },
    {"ssh protocol {1|2|both}",     sim_cli_run<version_set>     },
    {"ssh max-sessions {n}",        sim_cli_run<max_sessions_set>},
    {"ssh timeout {n}",             sim_cli_run<timeout_set>     },
};
}  // namespace

const sim_area_t sim_ssh_area =
    sim_area_with_config(sim_area(ssh_clear), ssh_keep, ssh_clear, ssh_write, COMMANDS);

open_error_t rpcclt_openapiSSHAdminModeGet(openapiClientHandle_t* client_handle,
                                           OPEN_CONTROL_t* mode)
{
  return sim_read(__func__, client_handle, mode, settings.mode);
}

open_error_t rpcclt_openapiSSHAdminModeSet(openapiClientHandle_t* client_handle,
                                           OPEN_CONTROL_t mode)
{
  return sim_set(__func__, client_handle, mode, mode_set);
}

open_error_t rpcclt_openapiSSHProtocolVersionGet(openapiClientHandle_t* client_handle,
                                                 OPEN_SSH_PROTO_VERSION_t* version)
{
  return sim_read(__func__, client_handle, version, settings.version);
}

open_error_t rpcclt_openapiSSHProtocolVersionSet(openapiClientHandle_t* client_handle,
                                                 OPEN_SSH_PROTO_VERSION_t version)
{
  return sim_set(__func__, client_handle, version, version_set);
}

open_error_t rpcclt_openapiSSHActiveSessionsGet(openapiClientHandle_t* client_handle,
                                                uint32_t* count)
{
  return sim_read(__func__, client_handle, count, 0u);
}

open_error_t rpcclt_openapiSSHMaxSessionsGet(openapiClientHandle_t* client_handle, uint32_t* count)
{
  return sim_read(__func__, client_handle, count, settings.max_sessions);
}

open_error_t rpcclt_openapiSSHMaxSessionsSet(openapiClientHandle_t* client_handle, uint32_t count)
{
  return sim_set(__func__, client_handle, count, max_sessions_set);
}

open_error_t rpcclt_openapiSSHMaxSessionsDefaultSet(openapiClientHandle_t* client_handle)
{
  return sim_call(
      __func__, client_handle, [] { return max_sessions_set(SESSIONS_MAX); });
}

open_error_t rpcclt_openapiSSHSessionTimeoutGet(openapiClientHandle_t* client_handle,
                                                uint32_t* timeout)
{
  return sim_read(__func__, client_handle, timeout, settings.timeout);
}

open_error_t rpcclt_openapiSSHSessionTimeoutSet(openapiClientHandle_t* client_handle,
                                                uint32_t timeout)
{
  return sim_set(__func__, client_handle, timeout, timeout_set);
}
