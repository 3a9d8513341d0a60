#include "modules/rest_module_logging.h"

#include <stdio.h>
#include <string.h>

#include <iterator>

#include "engine/rest_common.h"
#include "engine/rest_operation.h"
#include "engine/rest_path.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"

static constexpr int32_t PORT_DEFAULT = -1;

static constexpr size_t SEVERITY_TEXT_SIZE = 36;

static constexpr const char* severity_levels[] = {
    "Severity level undefined.",
    "Emergency conditions.",
    "Alert conditions.",
    "Critical conditions.",
    "Error conditions.",
    "Warning conditions.",
    "Normal but significant conditions.",
    "Informational messages.",
    "Debug-level messages.",
};
static_assert(std::size(severity_levels) == OPEN_LOG_SEVERITY_DEBUG + 1);

static constexpr rest_route_t logging_routes[] = {
    {REQUEST_METHOD_POST,   "/logging/hosts/{s}",               api_logging_create_host_specified_addr     },
    {REQUEST_METHOD_GET,    "/logging",                         api_logging_get_info                       },
    {REQUEST_METHOD_GET,    "/logging/hosts",                   api_logging_get_host_list                  },
    {REQUEST_METHOD_GET,    "/logging/hosts/{s}",               api_logging_get_host_specified_addr        },
    {REQUEST_METHOD_PUT,    "/logging/cli/mode",                api_logging_update_cli_mode                },
    {REQUEST_METHOD_PUT,    "/logging/console/mode",            api_logging_update_console_mode            },
    {REQUEST_METHOD_PUT,    "/logging/console/severityLevel",
     api_logging_update_console_severity_level                                                             },
    {REQUEST_METHOD_PUT,    "/logging/syslog/mode",             api_logging_update_syslog_mode             },
    {REQUEST_METHOD_PUT,    "/logging/syslog/port",             api_logging_update_syslog_port             },
    {REQUEST_METHOD_PUT,    "/logging/hosts/{s}/port",          api_logging_update_host_specified_addr_port},
    {REQUEST_METHOD_PUT,    "/logging/hosts/{s}/severityLevel",
     api_logging_update_host_specified_addr_severity_level                                                 },
    {REQUEST_METHOD_DELETE, "/logging/hosts/{s}",               api_logging_delete_host_specified_addr     },
};

int logging_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, logging_routes);
}

uint32_t get_logging_host_addr_len_max(openapiClientHandle_t* client_handle)
{
  uint32_t length = 0;
  rpcclt_openapiLoggingHostMaxAddrLenGet(client_handle, &length);
  return length;
}

RC_t get_log_severity_level_string_by_eum(OPEN_LOG_SEVERITY_t level, char* text)
{
  const char* level_text = rest_enum_text(severity_levels, level);
  if (!level_text || !text)
    return RC_FALSE;
  snprintf(text, SEVERITY_TEXT_SIZE, "%s", level_text);
  return RC_TRUE;
}

// --- CLI, console and syslog ---

int api_logging_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  OPEN_CONTROL_t cli_mode = OPEN_DISABLE;
  OPEN_CONTROL_t console_mode = OPEN_DISABLE;
  OPEN_LOG_SEVERITY_t level = OPEN_LOG_SEVERITY_UNDEFINED;
  char level_text[SEVERITY_TEXT_SIZE];
  OPEN_CONTROL_t syslog_mode = OPEN_DISABLE;
  uint16_t port = 0;
  uint32_t hosts_max = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiCliCmdLoggingModeGet(client_handle, &cli_mode));
  OPEN_OR_ANSWER(conn, rpcclt_openapiConsoleLoggingModeGet(client_handle, &console_mode));
  OPEN_OR_ANSWER(conn, rpcclt_openapiConsoleLoggingSeverityGet(client_handle, &level));
  if (get_log_severity_level_string_by_eum(level, level_text) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  OPEN_OR_ANSWER(conn, rpcclt_openapiSysLogModeGet(client_handle, &syslog_mode));
  OPEN_OR_ANSWER(conn, rpcclt_openapiSysLogPortGet(client_handle, &port));
  OPEN_OR_ANSWER(conn, rpcclt_openapiMaxLoggingHostsSupportedGet(client_handle, &hosts_max));

  tree_ptr tree(new_tree());
  const auto append_mode = [](node_t* list, OPEN_CONTROL_t mode) {
    char text[sizeof "disable"] = "";
    get_control_string_by_eum(mode, text);
    append_tree_field(list, "logging_mode", text);
  };
  node_t* logging = append_tree_group(tree.get(), "logging");
  append_mode(append_tree_group(logging, "cli"), cli_mode);
  node_t* console = append_tree_group(logging, "console");
  append_mode(console, console_mode);
  append_tree_field(console, "severity_level", level_text);
  node_t* syslog = append_tree_group(logging, "syslog");
  append_mode(syslog, syslog_mode);
  append_tree_field(syslog, "port", port);
  append_tree_field(logging, "max_logging_hosts", static_cast<int>(hosts_max));
  return answer_data(conn, std::move(tree));
}

int api_logging_update_cli_mode(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return answer_number_update(client_handle, conn, rpcclt_openapiCliCmdLoggingModeSet,
                              "Update mode of CLI logging successfully.");
}

int api_logging_update_console_mode(openapiClientHandle_t* client_handle,
                                    struct mg_connection* conn)
{
  return answer_number_update(client_handle, conn, rpcclt_openapiConsoleLoggingModeSet,
                              "Update mode of Console logging successfully.");
}

int api_logging_update_console_severity_level(openapiClientHandle_t* client_handle,
                                              struct mg_connection* conn)
{
  return answer_number_update(client_handle, conn, rpcclt_openapiConsoleLoggingSeveritySet,
                              "Update severity level of Console logging successfully.");
}

int api_logging_update_syslog_mode(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return answer_number_update(client_handle, conn, rpcclt_openapiSysLogModeSet,
                              "Update mode of Syslog successfully.");
}

// Reads "value" as a port, with 0 in port for the default one. When the request has none, answers
// and returns false.
static bool logging_port_or_answer(struct mg_connection* conn, uint16_t& port)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value)) {
    answer_open_error(conn, OPEN_E_PARAM);
    return false;
  }
  if (value != PORT_DEFAULT && (value == 0 || check_uint16_range(value) != RC_TRUE)) {
    answer_failure(conn, 1, "The value of parameter is invalid.");
    return false;
  }
  port = value == PORT_DEFAULT ? 0 : static_cast<uint16_t>(value);
  return true;
}

int api_logging_update_syslog_port(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  uint16_t port = 0;
  if (!logging_port_or_answer(conn, port))
    return 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiSysLogPortSet(client_handle, port));
  return answer_success(conn, "Update port of Syslog %ssuccessfully.",
                        port == 0 ? "to default " : "");
}

// --- logging hosts ---

// The host that the path names: its text, and the same in the room that the switch takes it in. A
// longer text fills that room to its last byte.
struct logging_host {
  char name[REST_PATH_SEGMENT_SIZE];
  switch_text room;
};

static bool logging_host_or_answer(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                                   logging_host& host)
{
  rest_path_segment(conn->uri, 2, host.name);
  host.room = switch_text_new(get_logging_host_addr_len_max(client_handle));
  if (!host.room.text) {
    answer_open_error(conn, OPEN_E_INTERNAL);
    return false;
  }
  snprintf(host.room.text.get(), host.room.desc.size + 1, "%s", host.name);
  return true;
}

// Adds or removes the host of the path.
static int logging_change_host(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                               decltype(rpcclt_openapiLoggingHostAdd)* change, const char* verb)
{
  logging_host host = {};
  if (!logging_host_or_answer(client_handle, conn, host))
    return 0;
  OPEN_OR_ANSWER(conn, change(client_handle, &host.room.desc));
  return answer_success(conn, "%s a logging host %s successfully.", verb, host.name);
}

int api_logging_create_host_specified_addr(openapiClientHandle_t* client_handle,
                                           struct mg_connection* conn)
{
  return logging_change_host(client_handle, conn, rpcclt_openapiLoggingHostAdd, "Create");
}

int api_logging_delete_host_specified_addr(openapiClientHandle_t* client_handle,
                                           struct mg_connection* conn)
{
  return logging_change_host(client_handle, conn, rpcclt_openapiLoggingHostRemove, "Delete");
}

int api_logging_update_host_specified_addr_port(openapiClientHandle_t* client_handle,
                                                struct mg_connection* conn)
{
  uint16_t port = 0;
  logging_host host = {};
  if (!logging_port_or_answer(conn, port) || !logging_host_or_answer(client_handle, conn, host))
    return 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiLoggingHostPortSet(client_handle, &host.room.desc, port));
  return answer_success(conn, "Update port of logging host %s %ssuccessfully.", host.name,
                        port == 0 ? "to default " : "");
}

int api_logging_update_host_specified_addr_severity_level(openapiClientHandle_t* client_handle,
                                                          struct mg_connection* conn)
{
  int32_t value = 0;
  logging_host host = {};
  if (!rest_get_number(conn, "value", value))
    return answer_open_error(conn, OPEN_E_PARAM);
  if (!logging_host_or_answer(client_handle, conn, host))
    return 0;
  OPEN_OR_ANSWER(conn,
                 rpcclt_openapiLoggingHostSeveritySet(client_handle, &host.room.desc,
                                                      static_cast<OPEN_LOG_SEVERITY_t>(value)));
  return answer_success(conn, "Update severity level of logging host %s successfully.", host.name);
}

int api_logging_get_host_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* list = append_tree_group(tree.get(), "logging_hosts");
  const uint32_t size = get_logging_host_addr_len_max(client_handle);
  switch_text host = switch_text_new(size);
  switch_text previous = switch_text_new(size);
  if (!host.text || !previous.text)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  const uint32_t room = host.desc.size;
  for (uint32_t position = 1; position <= REST_WALK_MAX; position++) {
    host.desc.size = room;
    if (rpcclt_openapiLoggingHostIpAddrNextGet(client_handle, &host.desc) != OPEN_E_NONE ||
        strcmp(host.text.get(), previous.text.get()) == 0)
      break;  // past the last one, or a walk that stands still
    append_tree_field(append_tree_entry(list, position, "logging_host"), "address",
                      host.text.get());
    snprintf(previous.text.get(), room + 1, "%s", host.text.get());
  }
  return answer_data(conn, std::move(tree));
}

int api_logging_get_host_specified_addr(openapiClientHandle_t* client_handle,
                                        struct mg_connection* conn)
{
  logging_host host = {};
  uint16_t port = 0;
  OPEN_LOG_SEVERITY_t level = OPEN_LOG_SEVERITY_UNDEFINED;
  char level_text[SEVERITY_TEXT_SIZE];
  if (!logging_host_or_answer(client_handle, conn, host))
    return 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiLoggingHostPortGet(client_handle, &host.room.desc, &port));
  OPEN_OR_ANSWER(conn,
                 rpcclt_openapiLoggingHostSeverityGet(client_handle, &host.room.desc, &level));
  if (get_log_severity_level_string_by_eum(level, level_text) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_INTERNAL);

  tree_ptr tree(new_tree());
  node_t* info = append_tree_group(tree.get(), "logging_host");
  append_tree_field(info, "address", host.name);
  append_tree_field(info, "port", port);
  append_tree_field(info, "severity_level", level_text);
  return answer_data(conn, std::move(tree));
}
