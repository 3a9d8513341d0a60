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

// What the session check says of a request. It is kept in the connection's own parameter until the
// request ends: a global would be overwritten by the check of another client whose request comes in
// between. A verdict of VERDICT_SESSION and above lets in the session whose id is the difference.
using verdict_t = uintptr_t;
static constexpr verdict_t VERDICT_WAIT = 0;    // the body is still on its way and may change it
static constexpr verdict_t VERDICT_EARLY = 1;   // the same, but it has a session
static constexpr verdict_t VERDICT_OPEN = 2;    // open to all
static constexpr verdict_t VERDICT_NO_KEY = 3;  // refused, ...
static constexpr verdict_t VERDICT_NO_SESSION = 4;  // ... for its key,
static constexpr verdict_t VERDICT_GONE = 5;        // ... as its session ended in the meantime
static constexpr verdict_t VERDICT_SESSION = 6;

// The two requests that need no session.
static bool request_is_open_to_all(const struct mg_connection* conn)
{
  return rest_path_module_is(conn->uri, "help") ||
         (rest_path_module_is(conn->uri, "login") &&
          parse_request_method(conn) == REQUEST_METHOD_POST);
}

static bool request_body_is_complete(const struct mg_connection* conn)
{
  const char* length = mg_get_header(conn, "Content-Length");
  return !length || strtoll(length, nullptr, 10) <= static_cast<long long>(conn->content_len);
}

// Judges the request by the live session that it names by key and address.
static verdict_t request_judge_session(const struct mg_connection* conn)
{
  char key[REST_SESSION_KEY_SIZE];
  parse_session_key(conn, key);
  uint32_t ssid = get_session_id(conn->remote_ip, key);
  if (ssid != 0)
    return VERDICT_SESSION + ssid;
  return key[0] ? VERDICT_NO_SESSION : VERDICT_NO_KEY;
}

// Judges the request by the variables that have arrived.
static verdict_t request_judge(const struct mg_connection* conn)
{
  return request_is_open_to_all(conn) ? VERDICT_OPEN : request_judge_session(conn);
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
  verdict_t verdict;
  if (request_body_is_complete(conn)) {
    verdict = request_judge(conn);
  } else {  // it may hold the session key or another method: no refusal yet, and no login
    verdict = request_judge_session(conn) >= VERDICT_SESSION ? VERDICT_EARLY : VERDICT_WAIT;
    output_session_file();  // the answer may be far off
  }
  conn->connection_param = reinterpret_cast<void*>(verdict);
  return MG_TRUE;
}

// The verdict when the whole request is there.
static verdict_t request_final_verdict(const struct mg_connection* conn)
{
  verdict_t verdict = reinterpret_cast<verdict_t>(conn->connection_param);
  if (verdict == VERDICT_WAIT) {
    clear_expired_session();
    return request_judge(conn);
  }
  if (verdict == VERDICT_EARLY) {
    verdict = request_judge(conn);
    return verdict == VERDICT_NO_KEY || verdict == VERDICT_NO_SESSION ? VERDICT_GONE : verdict;
  }
  return verdict;
}

static void answer_without_module(struct mg_connection* conn, uint16_t code, const char* message)
{
  send_response(conn, code, message, nullptr);
}

// With the key of an account that may only read, everything but reading and its own log-out is
// refused.
static bool request_is_forbidden(const struct mg_connection* conn, verdict_t verdict)
{
  api_loginsession_t session;
  if (!REST_READ_ONLY_ACCOUNTS || verdict < VERDICT_SESSION ||
      get_the_session_by_id(static_cast<uint32_t>(verdict - VERDICT_SESSION), &session) !=
          RC_TRUE ||
      !session.is_read_only)
    return false;
  request_method_t method = parse_request_method(conn);
  return method != REQUEST_METHOD_GET &&
         !(method == REQUEST_METHOD_DELETE && strcmp(conn->uri, "/login") == 0);
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

int api_access_handler(struct mg_connection* conn)
{
  verdict_t verdict = request_final_verdict(conn);
  uint32_t ssid = 0;
  switch (verdict) {
    case VERDICT_NO_KEY:
      answer_without_module(conn, REST_CODE_NULL_SESSION_KEY, "Null Session Key");
      break;
    case VERDICT_NO_SESSION:
      answer_without_module(conn, REST_CODE_NO_SESSION,
                            "Session time out or log out. Please log in again.");
      break;
    case VERDICT_GONE:
      answer_without_module(conn, 1, "Authentication failed.");
      break;
    default:
      if (request_is_forbidden(conn, verdict))
        answer_without_module(conn, REST_CODE_READ_ONLY, "The account is read-only.");
      else
        call_module(conn);
      if (verdict >= VERDICT_SESSION)
        ssid = static_cast<uint32_t>(verdict - VERDICT_SESSION);
  }
  if (update_last_activity_time(ssid) != RC_TRUE)
    output_session_file();  // whatever happened to it meanwhile
  return MG_TRUE;
}
