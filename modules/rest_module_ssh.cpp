#include "modules/rest_module_ssh.h"

#include <iterator>

#include "engine/rest_common.h"
#include "engine/rest_operation.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "platform/openapi_ssh.h"

static constexpr int32_t MAX_SESSIONS_DEFAULT = -1;

static constexpr const char* protocol_versions[] = {"1", "2", "1 and 2"};
static_assert(std::size(protocol_versions) == OPEN_SSH_PROTO_VERSION_BOTH + 1);

static constexpr rest_route_t ssh_routes[] = {
    {REQUEST_METHOD_GET, "/ssh",              api_ssh_get_global_settings    },
    {REQUEST_METHOD_PUT, "/ssh/adminMode",    api_ssh_update_admin_mode      },
    {REQUEST_METHOD_PUT, "/ssh/maxSessions",  api_ssh_update_max_sessions    },
    {REQUEST_METHOD_PUT, "/ssh/protoVersion", api_ssh_update_protocol_version},
    {REQUEST_METHOD_PUT, "/ssh/timeout",      api_ssh_update_session_timeout },
};

int ssh_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, ssh_routes);
}

int api_ssh_get_global_settings(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  OPEN_CONTROL_t mode = OPEN_DISABLE;
  OPEN_SSH_PROTO_VERSION_t version = OPEN_SSH_PROTO_VERSION_1;
  uint32_t active = 0;
  uint32_t max = 0;
  uint32_t timeout = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiSSHAdminModeGet(client_handle, &mode));
  char mode_text[sizeof "disable"] = "";
  get_control_string_by_eum(mode, mode_text);
  OPEN_OR_ANSWER(conn, rpcclt_openapiSSHProtocolVersionGet(client_handle, &version));
  const char* version_text = rest_enum_text(protocol_versions, version);
  if (!version_text)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  OPEN_OR_ANSWER(conn, rpcclt_openapiSSHActiveSessionsGet(client_handle, &active));
  OPEN_OR_ANSWER(conn, rpcclt_openapiSSHMaxSessionsGet(client_handle, &max));
  OPEN_OR_ANSWER(conn, rpcclt_openapiSSHSessionTimeoutGet(client_handle, &timeout));

  tree_ptr tree(new_tree());
  node_t* info = append_tree_group(tree.get(), "infomation");
  append_tree_field(info, "admin_mode", mode_text);
  append_tree_field(info, "version", version_text);
  append_tree_field(info, "active_sessions", static_cast<int>(active));
  append_tree_field(info, "max_sessions", static_cast<int>(max));
  append_tree_field(info, "timeout", static_cast<int>(timeout));
  return answer_data(conn, std::move(tree));
}

// Every update answers with a tree, though there is nothing in it.
static int ssh_answer_updated(struct mg_connection* conn, const char* what)
{
  return answer_success_with(conn, tree_ptr(new_tree()), "Update SSH %s successfully.", what);
}

int api_ssh_update_admin_mode(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value) || (value != OPEN_DISABLE && value != OPEN_ENABLE))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(
      conn, rpcclt_openapiSSHAdminModeSet(client_handle, value == 1 ? OPEN_ENABLE : OPEN_DISABLE));
  return ssh_answer_updated(conn, "admin mode");
}

int api_ssh_update_max_sessions(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value) || (value < 1 && value != MAX_SESSIONS_DEFAULT))
    return answer_open_error(conn, OPEN_E_PARAM);
  if (value == MAX_SESSIONS_DEFAULT)
    OPEN_OR_ANSWER(conn, rpcclt_openapiSSHMaxSessionsDefaultSet(client_handle));
  else
    OPEN_OR_ANSWER(conn,
                   rpcclt_openapiSSHMaxSessionsSet(client_handle, static_cast<uint32_t>(value)));
  return ssh_answer_updated(conn, "maximum sessions");
}

int api_ssh_update_protocol_version(openapiClientHandle_t* client_handle,
                                    struct mg_connection* conn)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value) || value < 1 ||
      value > static_cast<int32_t>(std::size(protocol_versions)))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, rpcclt_openapiSSHProtocolVersionSet(
                           client_handle, static_cast<OPEN_SSH_PROTO_VERSION_t>(value - 1)));
  return ssh_answer_updated(conn, "protocol version");
}

int api_ssh_update_session_timeout(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value) || value < 0)
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn,
                 rpcclt_openapiSSHSessionTimeoutSet(client_handle, static_cast<uint32_t>(value)));
  return ssh_answer_updated(conn, "session timeout");
}
