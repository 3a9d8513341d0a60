#include "modules/rest_cpu_text.h"

#include <stdlib.h>

#include <algorithm>
#include <string>

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
  std::string name(label);
  append_tree_string(list, name.c_str(), name.c_str(), std::string(use).c_str());
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

// Reads a number that the whole text is, blanks before it aside; the nearest limit of 32 bits where
// it is out of range.
static bool task_id_read(std::string_view text, int32_t& id)
{
  std::string digits(text);
  char* end = nullptr;
  long long number = strtoll(digits.c_str(), &end, 10);
  id = static_cast<int32_t>(std::clamp<long long>(number, INT32_MIN, INT32_MAX));
  return end != digits.c_str() && *end == '\0';
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
    std::string key = std::to_string(++position);
    node_t* task = get_subtree_node1(append_tree_subtree(list, key.c_str(), "process"));
    append_tree_int(task, "PID", "PID", id);
    append_tree_string(task, "name", "name", std::string(name).c_str());
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
