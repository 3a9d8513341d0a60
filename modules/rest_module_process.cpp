#include "modules/rest_module_process.h"

#include <string.h>

#include "engine/rest_operation.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "modules/rest_cpu_text.h"
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
