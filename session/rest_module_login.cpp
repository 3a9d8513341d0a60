#include "session/rest_module_login.h"

#include <stdio.h>
#include <string.h>

#include "engine/rest_common.h"
#include "engine/rest_operation.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "platform/l7proc.h"
#include "platform/openapi_auth.h"
#include "session/rest_engine_session_hdr.h"
#include "session/rest_login_limit.h"

static constexpr int32_t TIMEOUT_DEFAULT = -1;
static constexpr int32_t TIMEOUT_MAX_MINUTES = 160;

static constexpr char AUTHENTICATION_FAILED[] = "Authentication failed.";

static constexpr rest_route_t login_routes[] = {
    {REQUEST_METHOD_POST,   "/login",              api_login                            },
    {REQUEST_METHOD_GET,    "/login",              api_login_get_info                   },
    {REQUEST_METHOD_GET,    "/login/RESTSessions", api_login_get_rest_session_list      },
    {REQUEST_METHOD_PUT,    "/login/RESTTimeout",  api_login_update_rest_session_timeout},
    {REQUEST_METHOD_DELETE, "/login",              api_logout                           },
};

int login_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, login_routes);
}

RC_t authenticate_user(openapiClientHandle_t* client_handle, const char* userName,
                       const char* password, OPEN_LOGIN_ACCESS_LEVELS_t* access)
{
  char user[256] = "";
  char secret[256] = "";
  snprintf(user, sizeof user, "%s", userName);
  snprintf(secret, sizeof secret, "%s", password);
  open_buffdesc user_desc = rest_text_desc(user);
  open_buffdesc secret_desc = rest_text_desc(secret);
  OPEN_LOGIN_ACCESS_LEVELS_t access_level = OPEN_LOGIN_ACCESS_NONE;
  open_error_t result =
      rpcclt_openapiAuthenticateUser(client_handle, &user_desc, &secret_desc, &access_level);
  if (access)
    *access = access_level;
  return result == OPEN_E_NONE ? RC_TRUE : RC_FALSE;
}

// The id of the live session that the request names by key and address, or 0.
static uint32_t login_own_session(const struct mg_connection* conn)
{
  char key[REST_SESSION_KEY_SIZE];
  parse_session_key(conn, key);
  return get_session_id(conn->remote_ip, key);
}

// Notes that a log-in failed, and logs it when no further one is tried for a while.
static void login_note_failure(const struct mg_connection* conn)
{
  if (int pause = login_limit_note_failure(conn->remote_ip))
    l7proc_logf(L7PROC_LOG_SEVERITY_WARNING, 0, "rest_module_login.cpp", __LINE__,
                "RESTful API Engine: Log-ins from [%s] are refused for %d seconds: %d have failed",
                conn->remote_ip, pause, REST_LOGIN_TRIES);
}

static int login_answer_no_session(struct mg_connection* conn)
{
  if (session_table_is_full())
    return answer_failure(conn, 2,
                          "The Number of sessions has reached the upper limit. Please try later.");
  send_exception_error(conn, nullptr);  // there is no key for it
  return 0;
}

int api_login(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  char user[256];
  char password[256];
  rest_get_var(conn, "user", user);
  rest_get_var(conn, "password", password);
  if (login_limit_refuses(conn->remote_ip)) {
    // Not told from a wrong password, and no line in the log: there may be any number of these.
    send_unlogged_response(conn, 1, AUTHENTICATION_FAILED, nullptr);
    return 0;
  }
  OPEN_LOGIN_ACCESS_LEVELS_t access;
  if (authenticate_user(client_handle, user, password, &access) != RC_TRUE) {
    login_note_failure(conn);
    return answer_failure(conn, 1, AUTHENTICATION_FAILED);
  }
  login_limit_forget(conn->remote_ip);
  if (login_own_session(conn) != 0)
    return answer_success(conn, "You already logged in.");

  char key[REST_SESSION_KEY_SIZE] = "";
  if (create_session(user, conn->remote_ip, conn->remote_port,
                     reinterpret_cast<unsigned char*>(key),
                     REST_READ_ONLY_ACCOUNTS && access != OPEN_LOGIN_ACCESS_READ_WRITE) != RC_TRUE)
    return login_answer_no_session(conn);
  tree_ptr tree(new_tree());
  append_tree_field(tree.get(), "sessionKey", key);
  return answer_success_with(conn, std::move(tree), "Log in successfully.");
}

int api_login_get_info(openapiClientHandle_t*, struct mg_connection* conn)
{
  uint32_t timeout = 0;
  get_session_timeout(&timeout);
  tree_ptr tree(new_tree());
  node_t* info = append_tree_group(tree.get(), "infomation");
  append_tree_field(info, "rest_session_max", REST_SESSION_MAX);
  append_tree_field(info, "rest_session_timeout_in_minutes", static_cast<int>(timeout / 60));
  return answer_data(conn, std::move(tree));
}

// Appends a span of seconds as hours:minutes:seconds.
static void login_append_span(node_t* list, const char* name, uint32_t from, uint32_t now)
{
  uint32_t seconds = now > from ? now - from : 0;  // a clock may go back a little
  char text[32];
  snprintf(text, sizeof text, "%02u:%02u:%02u", seconds / 3600, seconds / 60 % 60, seconds % 60);
  append_tree_field(list, name, text);
}

int api_login_get_rest_session_list(openapiClientHandle_t*, struct mg_connection* conn)
{
  uint32_t now = session_now();
  int32_t ids[REST_SESSION_MAX] = {};
  uint32_t count = 0;
  uint32_t own = login_own_session(conn);
  if (own == 0 || update_last_activity_time(own) != RC_TRUE ||
      get_session_id_list(ids, &count) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_PARAM);

  tree_ptr tree(new_tree());
  node_t* sessions = append_tree_group(tree.get(), "rest_sessions");
  uint32_t position = 0;
  for (uint32_t i = 0; i < count; i++) {
    api_loginsession_t session = {};
    if (get_the_session_by_id(static_cast<uint32_t>(ids[i]), &session) != RC_TRUE)
      continue;
    // The refresh above may have read the clock one second later than this operation did.
    uint32_t at = session.last_activity_time > now ? session.last_activity_time : now;
    node_t* entry = append_tree_entry(sessions, ++position, "rest_session");
    append_tree_field(entry, "user_name", session.user_name);
    append_tree_field(entry, "remote_ip", session.remote_ip);
    login_append_span(entry, "login_time", session.login_time, at);
    login_append_span(entry, "idle_time", session.last_activity_time, at);
  }
  return answer_data(conn, std::move(tree));
}

int api_login_update_rest_session_timeout(openapiClientHandle_t*, struct mg_connection* conn)
{
  char value[256];
  int32_t minutes = 0;
  if (rest_get_var(conn, "value", value) <= 0 ||
      check_string_is_number(value, &minutes) != RC_TRUE || minutes == 0 ||
      minutes < TIMEOUT_DEFAULT || minutes > TIMEOUT_MAX_MINUTES)
    return answer_failure(conn, 1, "The value of parameter is invalid.");
  if (minutes == TIMEOUT_DEFAULT) {
    set_session_timeout(REST_SESSION_TIMEOUT_S);
    return answer_success(conn, "Update timeout value to default for REST Sessions successfully.");
  }
  set_session_timeout(static_cast<uint32_t>(minutes) * 60);
  return answer_success(conn, "Update timeout value for REST Sessions successfully.");
}

int api_logout(openapiClientHandle_t*, struct mg_connection* conn)
{
  uint32_t own = login_own_session(conn);
  if (own == 0)
    return answer_success(conn, "You never log in or the session already expired.");
  if (delete_session(own) != RC_TRUE) {
    send_exception_error(conn, nullptr);
    return 0;
  }
  return answer_success(conn, "Log out successfully.");
}
