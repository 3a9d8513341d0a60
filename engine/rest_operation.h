// What every operation of a module does the same way: hold its result tree, answer once, and say
// whether it succeeded.
//
//   int api_vlan_delete_specified_id(openapiClientHandle_t* client_handle, mg_connection* conn)
//   {
//     int vid = rest_path_number(conn->uri, 1);
//     if (check_vlan_exist(client_handle, vid) != RC_TRUE)
//       return answer_failure(conn, 1, "VLAN %d does not exist.", vid);
//     OPEN_OR_ANSWER(conn, rpcclt_openapiVlanDelete(client_handle, vid));
//     return answer_success(conn, "Delete VLAN %d successfully.", vid);
//   }
#pragma once

#include <stdint.h>

#include <memory>

#include "engine/rest_tree_obj.h"
#include "engine/rest_util.h"
#include "httpd/httpd.h"
#include "platform/openapi_types.h"

struct tree_free {
  void operator()(node_t* tree) const
  {
    free_tree(tree);
  }
};

// Owns a result tree until it is handed to an answer.
using tree_ptr = std::unique_ptr<node_t, tree_free>;

// Answers 0 "Get data successfully." with the tree. Returns 1.
int answer_data(struct mg_connection* conn, tree_ptr tree);

// Answers 0 with a message, and with a tree where one is given. Returns 1. A message is cut at 255
// characters.
int answer_success(struct mg_connection* conn, const char* format, ...)
    __attribute__((format(printf, 2, 3)));
int answer_success_with(struct mg_connection* conn, tree_ptr tree, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Answers the operation's own failure code and message. Returns 0.
int answer_failure(struct mg_connection* conn, uint16_t code, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

// Answers a failure of the management API, or one that reads like it (98 or 99). Returns 0.
int answer_open_error(struct mg_connection* conn, open_error_t result);

// Makes a call of the management API; when it fails, answers its result and leaves the operation.
#define OPEN_OR_ANSWER(conn, call)                               \
  do {                                                           \
    if (open_error_t open_rlt = (call); open_rlt != OPEN_E_NONE) \
      return answer_open_error(conn, open_rlt);                  \
  } while (0)

// A whole update that hands the number "value" to one call and then answers one message. No number
// reads like OPEN_E_PARAM.
template <class T>
int answer_number_update(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                         open_error_t (*set)(openapiClientHandle_t* client_handle, T value),
                         const char* message)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, set(client_handle, static_cast<T>(value)));
  return answer_success(conn, "%s", message);
}

// The most steps of a walk over what the switch lists, and the most items of a count it gives: an
// end for a switch that names none.
constexpr uint32_t REST_WALK_MAX = 65536;

// Room for a text of the size that the switch asks for. The room is zeroed, and a terminator stands
// behind it whatever the switch writes.
struct switch_text {
  std::unique_ptr<char[]> text;  // null when memory is short
  open_buffdesc desc;            // what the management API fills
};

// A size that no text of the switch has is cut to 64 KiB.
switch_text switch_text_new(uint32_t size);

// Appends a subtree with the same key and tag name and returns its child list.
node_t* append_tree_group(node_t* list, const char* name);

// Appends entry number position (its key) of a list of like items and returns its child list.
node_t* append_tree_entry(node_t* list, uint32_t position, const char* tagname);

// Appends a leaf whose key and tag name are the same.
node_t* append_tree_field(node_t* list, const char* name, int value);
node_t* append_tree_field(node_t* list, const char* name, const char* value);
