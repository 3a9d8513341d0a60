#include "modules/rest_cpu_text.h"

#include <stdio.h>

#include <algorithm>

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

// A piece of the text as a string, cut as every name and text of a tree is.
struct text_piece {
  char text[256];
  explicit text_piece(std::string_view piece)
  {
    snprintf(text, sizeof text, "%.*s", static_cast<int>(piece.size()), piece.data());
  }
};

static void append_period(node_t* list, std::string_view label, std::string_view use)
{
  text_piece name(label);
  append_tree_string(list, name.text, name.text, text_piece(use).text);
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
  text.remove_prefix(std::min(text.find_first_not_of(" \t\r\v\f"), text.size()));
  bool is_negative = !text.empty() && text.front() == '-';
  if (!text.empty() && (is_negative || text.front() == '+'))
    text.remove_prefix(1);
  if (text.empty() || text.find_first_not_of("0123456789") != text.npos)
    return false;
  int64_t number = 0;
  for (char digit : text)
    number = std::min<int64_t>(number * 10 + (digit - '0'), int64_t{INT32_MAX} + 1);
  id = static_cast<int32_t>(is_negative ? -number : std::min<int64_t>(number, INT32_MAX));
  return true;
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
    char key[sizeof "4294967295"];
    snprintf(key, sizeof key, "%u", ++position);
    node_t* task = get_subtree_node1(append_tree_subtree(list, key, "process"));
    append_tree_int(task, "PID", "PID", id);
    append_tree_string(task, "name", "name", text_piece(name).text);
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
