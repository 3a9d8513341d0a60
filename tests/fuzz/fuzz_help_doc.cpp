// Any text in the place of the help document: its lines, its tree, and the pages made of it.
#include "engine/rest_config.h"
#include "help/rest_help_doc.h"
#include "help/rest_module_help.h"
#include "tests/fuzz/fuzz.h"

// Every line comes whole or cut, in order, whatever the buffer's size.
static void read_lines(const std::string& text, int size)
{
  std::vector<char> line(static_cast<size_t>(size));
  now_p = text.data();
  end_p = now_p + text.size();
  for (size_t at = 0; at < text.size();) {
    size_t end = text.find('\n', at);
    bool found = parse_help_doc_text_to_tree_obj_subfunc_get_new_line(line.data(), size) == RC_TRUE;
    require(found == (end != std::string::npos));
    if (!found)
      break;
    size_t shown = std::min(end + 1 - at, line.size() - 1);
    require(memcmp(line.data(), &text[at], shown) == 0 && line[shown] == '\0');
    at = end + 1;
  }
  require(parse_help_doc_text_to_tree_obj_subfunc_get_new_line(line.data(), size) == RC_FALSE);
}

static void fuzz(const std::string& input)
{
  static fuzz_folder folder;
  for (int room : {1, 2, 256, 16384})
    read_lines(input, room);

  write_file(REST_HELP_DOC_FILE, input);
  node_t* tree = read_help_doc_file_and_parse_to_tree_obj();
  require(tree && get_next_node(tree));
  using print_t = void (*)(node_t*, char**);
  for (print_t print : {print_t{print_tree_by_xml}, print_t{print_tree_by_json},
                        print_t{print_help_doc_html_for_list},
                        print_t{print_help_doc_html_for_specified_module_name}}) {
    char* rendered = nullptr;
    print(tree, &rendered);
    require(rendered);
    free(rendered);
  }
  free_tree(tree);
}
