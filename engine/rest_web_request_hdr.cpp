#include "engine/rest_web_request_hdr.h"

#include <stdlib.h>
#include <string.h>

#include "engine/rest_common.h"
#include "engine/rest_path.h"
#include "engine/rest_util.h"
#include "help/rest_module_help.h"
#include "modules/rest_module_base.h"
#include "modules/rest_module_bgp.h"
#include "modules/rest_module_boxs.h"
#include "modules/rest_module_interface.h"
#include "modules/rest_module_lag.h"
#include "modules/rest_module_logging.h"
#include "modules/rest_module_pml.h"
#include "modules/rest_module_process.h"
#include "modules/rest_module_routing.h"
#include "modules/rest_module_script.h"
#include "modules/rest_module_ssh.h"
#include "modules/rest_module_system.h"
#include "modules/rest_module_tcam.h"
#include "modules/rest_module_transfer.h"
#include "modules/rest_module_vlan.h"
#include "session/rest_engine_session_hdr.h"
#include "session/rest_module_login.h"

openapiClientHandle_t client_handle = {};

using module_handler_t = int (*)(openapiClientHandle_t* client_handle, struct mg_connection* conn);

static constexpr struct {
  const char* name;
  module_handler_t handler;
} api_modules[] = {
    {"login",    login_api_handler    },
    {"help",     help_api_handler     },
    {"vlans",    vlan_api_handler     },
    {"if",       interface_api_handler},
    {"base",     base_api_handler     },
    {"lag",      lag_api_handler      },
    {"routing",  routing_api_handler  },
    {"logging",  logging_api_handler  },
    {"system",   system_api_handler   },
    {"bgp",      bgp_api_handler      },
    {"tcam",     tcam_api_handler     },
    {"boxs",     boxs_api_handler     },
    {"download", transfer_api_handler },
    {"upload",   transfer_api_handler },
    {"ssh",      ssh_api_handler      },
    {"script",   script_api_handler   },
    {"pml",      pml_api_handler      },
    {"process",  process_api_handler  },
};

// What the session check found, kept in the connection's own parameter until the request ends: a
// global would be overwritten by the check of another client whose request comes in between.
static constexpr char SESSION_CHECK_PASSED[] = "passed";
static constexpr char SESSION_CHECK_REFUSED[] = "refused";

// The two requests that need no session.
static bool request_is_open_to_all(const struct mg_connection* conn)
{
  return rest_path_module_is(conn->uri, "help") ||
         (rest_path_module_is(conn->uri, "login") &&
          parse_request_method(conn) == REQUEST_METHOD_POST);
}

// The id of the live session that the request names by key and address, or 0.
static uint32_t request_session_id(const struct mg_connection* conn)
{
  char key[REST_SESSION_KEY_SIZE];
  parse_session_key(conn, key);
  return get_session_id(conn->remote_ip, key);
}

static bool request_body_is_complete(const struct mg_connection* conn)
{
  const char* length = mg_get_header(conn, "Content-Length");
  return !length || strtoll(length, nullptr, 10) <= static_cast<long long>(conn->content_len);
}

// Judges the request by the variables that have arrived.
static bool request_may_proceed(const struct mg_connection* conn)
{
  return request_is_open_to_all(conn) || request_session_id(conn) != 0;
}

int evt_handler(struct mg_connection* conn, enum mg_event ev)
{
  switch (ev) {
    case MG_AUTH:
      return auth_session(conn);
    case MG_REQUEST:
      // Frames of a WebSocket are no API requests: the session check was made for the handshake,
      // whose method a frame's text could replace. The server deals with them.
      return conn->is_websocket ? MG_FALSE : api_access_handler(conn);
    default:
      return MG_FALSE;
  }
}

int auth_session(struct mg_connection* conn)
{
  clear_expired_session();
  // A body that is still on its way may hold the session key or another method: no refusal yet, and
  // no login.
  if (!request_body_is_complete(conn) && request_session_id(conn) == 0) {
    conn->connection_param = nullptr;
    return MG_TRUE;
  }
  conn->connection_param =
      const_cast<char*>(request_may_proceed(conn) ? SESSION_CHECK_PASSED : SESSION_CHECK_REFUSED);
  return MG_TRUE;
}

static bool request_was_let_in(const struct mg_connection* conn)
{
  if (!conn->connection_param) {
    clear_expired_session();
    return request_may_proceed(conn);
  }
  return conn->connection_param == SESSION_CHECK_PASSED;
}

static void answer_without_module(struct mg_connection* conn, uint16_t code, const char* message)
{
  send_response(conn, code, message, nullptr);
}

static void call_module(struct mg_connection* conn)
{
  for (const auto& module : api_modules)
    if (rest_path_module_is(conn->uri, module.name)) {
      module.handler(&client_handle, conn);
      return;
    }
  answer_without_module(conn, REST_CODE_NO_MODULE, "The module name dose not exist.");
}

// Answers the request. Returns the id of the session that it was made with, 0 for none.
static uint32_t answer_request(struct mg_connection* conn)
{
  char key[REST_SESSION_KEY_SIZE];
  parse_session_key(conn, key);
  if (!request_was_let_in(conn)) {
    if (key[0])
      answer_without_module(conn, REST_CODE_NO_SESSION,
                            "Session time out or log out. Please log in again.");
    else
      answer_without_module(conn, REST_CODE_NULL_SESSION_KEY, "Null Session Key");
    return 0;
  }

  uint32_t ssid = 0;
  if (!request_is_open_to_all(conn)) {
    ssid = get_session_id(conn->remote_ip, key);
    if (ssid == 0) {
      answer_without_module(conn, 1, "Authentication failed.");
      return 0;
    }
  }
  call_module(conn);
  return ssid;
}

int api_access_handler(struct mg_connection* conn)
{
  if (update_last_activity_time(answer_request(conn)) != RC_TRUE)
    output_session_file();  // whatever happened to it meanwhile
  return MG_TRUE;
}
