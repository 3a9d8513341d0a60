#include "engine/rest_common.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <memory>

#include "engine/rest_path.h"
#include "engine/rest_util.h"
#include "httpd/mg_escape.h"
#include "platform/l7proc.h"

// Log readers look for the lines under this source name, whatever the file is called.
static constexpr char AUDIT_SOURCE[] = "rest_common.c";

// At most the first three characters of a query string reach the audit line, and no password.
static constexpr size_t AUDIT_QUERY_SIZE = 4;
static constexpr size_t AUDIT_LINE_SIZE = 16384;

struct heap_text_free {
  void operator()(char* text) const
  {
    free(text);
  }
};
using heap_text_t = std::unique_ptr<char, heap_text_free>;

static const char* common_method_name(request_method_t method)
{
  switch (method) {
    case REQUEST_METHOD_POST:
      return "POST";
    case REQUEST_METHOD_PUT:
      return "PUT";
    case REQUEST_METHOD_DELETE:
      return "DELETE";
    case REQUEST_METHOD_GET:
    case REQUEST_METHOD_OTHER:
      break;
  }
  return nullptr;
}

// Writes a line to the platform log. It holds what clients sent: no byte of it may begin another.
static void common_log_line(const char* line)
{
  char escaped[AUDIT_LINE_SIZE];
  size_t used = 0;
  escape_controls(line, [&](const char* text, size_t length) {
    length = std::min(length, sizeof escaped - 1 - used);
    memcpy(escaped + used, text, length);
    used += length;
  });
  escaped[used] = '\0';
  l7proc_logf(L7PROC_LOG_SEVERITY_WARNING, 0, AUDIT_SOURCE, __LINE__, "%s", escaped);
}

// One line in the platform log for every request that may have changed something.
static void common_audit(const struct mg_connection* conn, uint16_t result_code,
                         const char* result_mesg)
{
  request_method_t method = parse_request_method(conn);
  const char* method_name = common_method_name(method);
  if (!method_name)
    return;

  char remote_ip[REST_ADDRESS_TEXT_SIZE];
  char uri[256];
  char query[AUDIT_QUERY_SIZE];
  char line[AUDIT_LINE_SIZE];
  snprintf(remote_ip, sizeof remote_ip, "%s", conn->remote_ip);
  snprintf(uri, sizeof uri, "%s", conn->uri ? conn->uri : "");
  const char* query_string = conn->query_string ? conn->query_string : "";
  if (method == REQUEST_METHOD_POST && rest_path_module_is(uri, "login"))
    replace_password(query_string, strlen(query_string), query, sizeof query);
  else
    snprintf(query, sizeof query, "%s", query_string);
  snprintf(line, sizeof line, "RESTful API Engine: User from [%s] accesses API [%s %s?%s]: %s (%d)",
           remote_ip, method_name, uri, query, result_mesg, result_code);
  common_log_line(line);
}

void send_unlogged_response(struct mg_connection* conn, uint16_t result_code,
                            const char* result_mesg, node_t* dataN1_ptr)
{
  if (!conn) {
    free_tree(dataN1_ptr);
    return;
  }

  node_t* envelope = new_tree();
  node_t* result = get_subtree_node1(append_tree_subtree(envelope, "result", "result"));
  append_tree_int(result, "rlt_code", "rlt_code", result_code);
  append_tree_string(result, "rlt_mesg", "rlt_mesg", result_mesg);
  if (dataN1_ptr) {
    node_t* data = append_tree_subtree(result, "rlt_data", "rlt_data");
    if (data)
      set_subtree_node1(data, dataN1_ptr);
    else
      free_tree(dataN1_ptr);
  }

  char* text = nullptr;
  if (parse_return_format(conn) == RETURN_FORMAT_JSON) {
    mg_send_header(conn, "Content-Type", "application/json; charset=utf-8");
    print_tree_by_json(envelope, &text);
  } else {
    mg_send_header(conn, "Content-Type", "text/xml; charset=utf-8");
    print_tree_by_xml(envelope, &text);
  }
  free_tree(envelope);
  heap_text_t document(text);
  if (tree_take_shortage() || !document)
    mg_break_connection(conn);  // an answer with something missing would be taken for a whole one
  else
    mg_send_line(conn, document.get());
}

void send_response(struct mg_connection* conn, uint16_t result_code, const char* result_mesg,
                   node_t* dataN1_ptr)
{
  send_unlogged_response(conn, result_code, result_mesg, dataN1_ptr);
  if (conn)
    common_audit(conn, result_code, result_mesg);
}

void send_exception_error(struct mg_connection* conn, node_t* dataN1_ptr)
{
  free_tree(dataN1_ptr);
  send_response(conn, REST_CODE_GENERAL_ERROR, "General Error", nullptr);
}

void send_bad_request(struct mg_connection* conn, node_t* dataN1_ptr)
{
  free_tree(dataN1_ptr);
  send_response(conn, REST_CODE_BAD_REQUEST, "Bad Request. Please check your method and URI.",
                nullptr);
}

void send_file_help_doc_error(struct mg_connection* conn, node_t* dataN1_ptr)
{
  free_tree(dataN1_ptr);
  send_response(conn, REST_CODE_NO_HELP, "Open the file of help documents failed!", nullptr);
}

void send_open_error_response(struct mg_connection* conn, open_error_t open_rlt, node_t* dataN1_ptr)
{
  free_tree(dataN1_ptr);
  if (open_rlt == OPEN_E_EXISTS)
    send_response(conn, REST_CODE_ALREADY_SET, "The same setting is already set.", nullptr);
  else
    send_response(conn, REST_CODE_OPEN_FAILED,
                  "Operation failed. It was possibly caused by non-existent resource id in URI, "
                  "invalid parameters, or the operation is not supported on the platform.",
                  nullptr);
}

// Copies a name, or the empty text for null, and tells which it was.
static RC_t common_give_name(const char* name, char* out)
{
  if (!out)
    return RC_FALSE;
  out[0] = '\0';
  if (!name)
    return RC_FALSE;
  memcpy(out, name, strlen(name) + 1);
  return RC_TRUE;
}

RC_t get_control_string_by_eum(OPEN_CONTROL_t controlEnum, char* out_controlStr)
{
  switch (controlEnum) {
    case OPEN_DISABLE:
      return common_give_name("disable", out_controlStr);
    case OPEN_ENABLE:
      return common_give_name("enable", out_controlStr);
    default:
      return common_give_name(nullptr, out_controlStr);
  }
}

RC_t get_open_error_string_by_eum(open_error_t errorEnum, char* out_errorStr)
{
  static constexpr struct {
    open_error_t value;
    const char* name;
  } errors[] = {
      {OPEN_E_NONE,      "OPEN_E_NONE"     },
      {OPEN_E_RPC,       "OPEN_E_RPC"      },
      {OPEN_E_INTERNAL,  "OPEN_E_INTERNAL" },
      {OPEN_E_PARAM,     "OPEN_E_PARAM"    },
      {OPEN_E_FULL,      "OPEN_E_FULL"     },
      {OPEN_E_EXISTS,    "OPEN_E_EXISTS"   },
      {OPEN_E_TIMEOUT,   "OPEN_E_TIMEOUT"  },
      {OPEN_E_FAIL,      "OPEN_E_FAIL"     },
      {OPEN_E_DISABLED,  "OPEN_E_DISABLED" },
      {OPEN_E_UNAVAIL,   "OPEN_E_UNAVAIL"  },
      {OPEN_E_NOT_FOUND, "OPEN_E_NOT_FOUND"},
      {OPEN_E_EMPTY,     "OPEN_E_EMPTY"    },
      {OPEN_E_ERROR,     "OPEN_E_ERROR"    },
  };
  for (const auto& row : errors)
    if (row.value == errorEnum)
      return common_give_name(row.name, out_errorStr);
  return common_give_name(nullptr, out_errorStr);
}
