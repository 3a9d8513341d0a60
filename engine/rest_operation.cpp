#include "engine/rest_operation.h"

#include <stdarg.h>
#include <stdio.h>

#include <algorithm>
#include <new>

#include "engine/rest_common.h"

static constexpr size_t MESSAGE_SIZE = 256;
static constexpr uint32_t SWITCH_TEXT_MAX = 65536;

int answer_data(struct mg_connection* conn, tree_ptr tree)
{
  send_response(conn, REST_CODE_SUCCESS, "Get data successfully.", tree.release());
  return 1;
}

static void operation_answer(struct mg_connection* conn, uint16_t code, node_t* tree,
                             const char* format, va_list args)
    __attribute__((format(printf, 4, 0)));

static void operation_answer(struct mg_connection* conn, uint16_t code, node_t* tree,
                             const char* format, va_list args)
{
  char message[MESSAGE_SIZE];
  vsnprintf(message, sizeof message, format, args);
  send_response(conn, code, message, tree);
}

int answer_success(struct mg_connection* conn, const char* format, ...)
{
  va_list args;
  va_start(args, format);
  operation_answer(conn, REST_CODE_SUCCESS, nullptr, format, args);
  va_end(args);
  return 1;
}

int answer_success_with(struct mg_connection* conn, tree_ptr tree, const char* format, ...)
{
  va_list args;
  va_start(args, format);
  operation_answer(conn, REST_CODE_SUCCESS, tree.release(), format, args);
  va_end(args);
  return 1;
}

int answer_failure(struct mg_connection* conn, uint16_t code, const char* format, ...)
{
  va_list args;
  va_start(args, format);
  operation_answer(conn, code, nullptr, format, args);
  va_end(args);
  return 0;
}

int answer_open_error(struct mg_connection* conn, open_error_t result)
{
  send_open_error_response(conn, result, nullptr);
  return 0;
}

switch_text switch_text_new(uint32_t size)
{
  size = std::min(size, SWITCH_TEXT_MAX);
  switch_text room = {};
  room.text.reset(new (std::nothrow) char[size + 1]());
  room.desc.size = size;
  room.desc.pstart = room.text.get();
  return room;
}

node_t* append_tree_group(node_t* list, const char* name)
{
  return get_subtree_node1(append_tree_subtree(list, name, name));
}

node_t* append_tree_entry(node_t* list, uint32_t position, const char* tagname)
{
  char key[sizeof "4294967295"];
  snprintf(key, sizeof key, "%u", position);
  return get_subtree_node1(append_tree_subtree(list, key, tagname));
}

node_t* append_tree_field(node_t* list, const char* name, int value)
{
  return append_tree_int(list, name, name, value);
}

node_t* append_tree_field(node_t* list, const char* name, const char* value)
{
  return append_tree_string(list, name, name, value);
}
