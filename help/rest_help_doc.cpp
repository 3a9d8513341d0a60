#include "help/rest_help_doc.h"

#include <stdint.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <string_view>

#include "engine/rest_config.h"
#include "engine/rest_operation.h"
#include "platform/l7proc.h"

const char* now_p = nullptr;
const char* end_p = nullptr;

using std::string_view;

// Where the lines of a document come from: false at its end, else the next line without its
// newline. The line is good until the next one is asked for.
struct help_lines_t {
  bool (*next)(help_lines_t* lines, string_view* line);
  FILE* file = nullptr;
  char buffer[256] = "";
};

// --- The two sources of lines ---

// The next line of the text, newline included, in place.
static bool help_text_line(string_view* line)
{
  if (now_p >= end_p)
    return false;
  size_t left = static_cast<size_t>(end_p - now_p);
  const void* newline = memchr(now_p, '\n', left);
  if (!newline) {
    now_p = end_p;
    return false;
  }
  *line = string_view(now_p, static_cast<const char*>(newline) - now_p + 1);
  now_p += line->size();
  return true;
}

RC_t parse_help_doc_text_to_tree_obj_subfunc_get_new_line(char* out_line_buf, int line_buf_size)
{
  size_t size = static_cast<size_t>(line_buf_size);
  memset(out_line_buf, 0, size);
  string_view line;
  if (!help_text_line(&line))
    return RC_FALSE;
  memcpy(out_line_buf, line.data(), std::min(line.size(), size - 1));
  return RC_TRUE;
}

static bool help_next_text_line(help_lines_t*, string_view* line)
{
  if (!help_text_line(line))
    return false;
  line->remove_suffix(1);
  return true;
}

static bool help_next_file_line(help_lines_t* lines, string_view* line)
{
  if (!fgets(lines->buffer, sizeof lines->buffer, lines->file))
    return false;
  *line = string_view(lines->buffer, strcspn(lines->buffer, "\n"));
  return true;
}

// --- The parser ---

// The value of a key line: blanks, the key, the value. False for any other line.
static bool help_line_value(string_view line, string_view key, string_view* value)
{
  size_t blanks = std::min(line.find_first_not_of(' '), line.size());
  if (blanks == 0 || line.compare(blanks, key.size(), key) != 0)
    return false;
  *value = line.substr(blanks + key.size());
  return !value->empty();
}

// Appends a text straight from the document, cut as every text of a tree is.
static void help_append_text(node_t* list, const char* name, string_view text)
{
  node_t* node = append_tree_string(list, name, name, "");
  if (!node)
    return;
  size_t length = std::min(text.size(), sizeof node->val_data.val_s - 1);
  memcpy(node->val_data.val_s, text.data(), length);
  node->val_data.val_s[length] = '\0';
}

// Reads one line; it becomes a node if it holds the key, and is lost if not.
static void help_read_key(help_lines_t* lines, node_t* list, const char* name, string_view key)
{
  string_view line;
  string_view value;
  if (lines->next(lines, &line) && help_line_value(line, key, &value))
    help_append_text(list, name, value);
}

static void help_read_parameters(help_lines_t* lines, node_t* parameters, uint32_t* count)
{
  string_view line;
  string_view value;
  while (lines->next(lines, &line) && line != "=API-PARAM-END") {
    if (!help_line_value(line, "param=", &value))
      continue;
    size_t name_end = value.find('@');
    size_t description = value.find_first_not_of('@', name_end);
    if (name_end == 0 || description == string_view::npos)
      continue;
    node_t* param = append_tree_entry(parameters, ++*count, "param");
    help_append_text(param, "param_name", value.substr(0, name_end));
    help_append_text(param, "param_desc", value.substr(description));
  }
}

static node_t* help_parse(help_lines_t* lines)
{
  node_t* tree = new_tree();
  node_t* modules = append_tree_group(tree, "modules");
  node_t* apis = nullptr;
  node_t* parameters = nullptr;
  uint32_t module_count = 0;
  uint32_t api_count = 0;
  uint32_t param_count = 0;
  string_view line;
  while (lines->next(lines, &line)) {
    if (line == "===MODULE-START") {
      node_t* module = append_tree_entry(modules, ++module_count, "module");
      help_read_key(lines, module, "module_name", "module_name=");
      help_read_key(lines, module, "module_desc", "module_desc=");
      apis = append_tree_group(module, "apis");
      api_count = 0;
    } else if (line == "==API-START") {
      node_t* api = append_tree_entry(apis, ++api_count, "api");
      help_read_key(lines, api, "api_name", "api_name=");
      help_read_key(lines, api, "api_desc", "api_desc=");
      help_read_key(lines, api, "api_uri", "api_uri=");
      help_read_key(lines, api, "api_method", "api_method=");
      parameters = append_tree_group(api, "parameters");
      param_count = 0;
    } else if (line == "=API-PARAM-START") {
      help_read_parameters(lines, parameters, &param_count);
    }
  }
  return tree;
}

node_t* parse_help_doc_text_to_tree_obj(void)
{
  now_p = restGlobalHelpDocText;
  end_p = now_p + strlen(now_p);
  help_lines_t lines = {help_next_text_line};
  return help_parse(&lines);
}

node_t* read_help_doc_file_and_parse_to_tree_obj(void)
{
  std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(REST_HELP_DOC_FILE, "r"), fclose);
  if (!file) {
    l7proc_logf(L7PROC_LOG_SEVERITY_WARNING, 0, "rest_help_doc.cpp", __LINE__,
                "RESTful API Engine: Open the Help document file failed!");
    return nullptr;
  }
  help_lines_t lines = {help_next_file_line, file.get()};
  return help_parse(&lines);
}
