#include "modules/rest_module_process.h"

#include <string.h>

#include <algorithm>
#include <string>

#include "engine/rest_operation.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "platform/openapi_process.h"

static constexpr size_t TOTAL_TEXT_SIZE = 256;
static constexpr size_t TASKS_TEXT_SIZE = 16384;

static constexpr rest_route_t process_routes[] = {
    {REQUEST_METHOD_GET, "/process/memory", api_process_get_memory},
    {REQUEST_METHOD_GET, "/process/cpu",    api_process_get_cpu   },
};

int process_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, process_routes);
}

int api_process_get_memory(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  uint32_t total = 0;
  uint32_t allocated = 0;
  uint32_t free = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiProcMemInfoGet(client_handle, &total, &allocated, &free));
  tree_ptr tree(new_tree());
  append_tree_field(tree.get(), "total_memory", static_cast<int>(total));
  append_tree_field(tree.get(), "alloc_memory", static_cast<int>(allocated));
  append_tree_field(tree.get(), "free_memory", static_cast<int>(free));
  return answer_data(conn, std::move(tree));
}

// --- CPU use ---

static std::string_view room_text(const char* room, size_t size)
{
  return {room, strnlen(room, size)};
}

int api_process_get_cpu(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  uint32_t periods = 0;
  char total[TOTAL_TEXT_SIZE] = "";
  open_buffdesc total_desc = rest_buffer_desc(total);
  node_t* total_list = append_tree_group(tree.get(), "total_CPU_utilization");
  OPEN_OR_ANSWER(conn, rpcclt_openapiProcTotalCpuUtilGet(client_handle, &periods, &total_desc));
  process_append_total(total_list, room_text(total, sizeof total));

  uint32_t tasks = 0;
  switch_text lines = switch_text_new(TASKS_TEXT_SIZE);
  if (!lines.text)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  node_t* task_list = append_tree_group(tree.get(), "processes_CPU_utilization");
  OPEN_OR_ANSWER(conn, rpcclt_openapiProcTaskCpuUtilGet(client_handle, &tasks, &lines.desc));
  process_append_tasks(task_list, room_text(lines.text.get(), TASKS_TEXT_SIZE), periods);
  return answer_data(conn, std::move(tree));
}

// Cuts the text before the separator off the front and returns it; all of it where there is no
// separator. The separator stays unless it is to go with the text.
static std::string_view text_take(std::string_view& rest, char separator,
                                  bool drop_separator = true)
{
  std::string_view taken = rest.substr(0, rest.find(separator));
  rest.remove_prefix(taken.size());
  if (drop_separator && !rest.empty())
    rest.remove_prefix(1);
  return taken;
}

// What stands before the first tab or line break.
static std::string_view text_of_line(std::string_view text)
{
  return text.substr(0, text.find_first_of("\t\n"));
}

static void append_period(node_t* list, std::string_view label, std::string_view use)
{
  append_tree_field(list, std::string(label).c_str(), std::string(use).c_str());
}

void process_append_total(node_t* list, std::string_view text)
{
  while (!text.empty()) {
    std::string_view use = text_take(text, ';');
    std::string_view label = text_take(use, ':', false);
    use = text_of_line(use);
    if (!label.empty() && !use.empty())
      append_period(list, label, use);
  }
}

static bool task_id_read(std::string_view text, int32_t& id)
{
  text.remove_prefix(std::min(text.find_first_not_of(" \t\v\f\r"), text.size()));
  return check_string_is_number(std::string(text).c_str(), &id) == RC_TRUE;
}

void process_append_tasks(node_t* list, std::string_view text, uint32_t periods)
{
  uint32_t position = 0;
  while (!text.empty()) {
    std::string_view rest = text_take(text, '\n');
    int32_t id = 0;
    bool has_id = task_id_read(text_take(rest, ','), id);
    std::string_view name = text_take(rest, ',');
    if (!has_id || name.empty())
      continue;
    node_t* task = append_tree_entry(list, ++position, "process");
    append_tree_field(task, "PID", id);
    append_tree_field(task, "name", std::string(name).c_str());
    rest = text_of_line(rest);
    for (uint32_t period = 0; period < periods && !rest.empty(); period++) {
      std::string_view label = text_take(rest, ':');
      std::string_view use = text_take(rest, ';');
      if (label.empty() || use.empty())
        break;
      append_period(task, label, use);
    }
  }
}
