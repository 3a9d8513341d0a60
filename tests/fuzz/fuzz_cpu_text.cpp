// Any text in the place of those that tell the use of the CPU.
#include <fuzzer/FuzzedDataProvider.h>

#include "modules/rest_cpu_text.h"
#include "tests/fuzz/fuzz.h"

// The names of one list, of which every text is terminated.
static void require_list(node_t* head, const char* tagname)
{
  for (node_t* node = get_next_node(head); node != nullptr; node = get_next_node(node)) {
    require(strnlen(node->key, sizeof node->key) < sizeof node->key);
    require(tagname == nullptr || strcmp(node->tagname, tagname) == 0);
    if (get_node_val_type(node) == VAL_TYPE_STRING) {
      const char* text = node->val_data.val_s;
      require(strnlen(text, sizeof node->val_data.val_s) < sizeof node->val_data.val_s);
    }
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
  FuzzedDataProvider fuzz(bytes, size);
  const uint32_t periods = fuzz.ConsumeBool() ? 3 : fuzz.ConsumeIntegral<uint32_t>();
  std::string input = fuzz.ConsumeRemainingBytesAsString();
  input.resize(std::min(input.size(), input.find('\0')));
  const std::vector<char> copy(input.begin(), input.end());  // without a terminator
  const std::string_view text(copy.data(), copy.size());

  node_t* tree = new_tree();
  process_append_total(tree, text);
  for (node_t* node = get_next_node(tree); node != nullptr; node = get_next_node(node))
    require(node->val_data.val_s[0] == ':' && node->key[0] != '\0');
  require_list(tree, nullptr);
  free_tree(tree);

  tree = new_tree();
  process_append_tasks(tree, text, periods);
  require_list(tree, "process");
  for (node_t* node = get_next_node(tree); node != nullptr; node = get_next_node(node))
    require_list(get_subtree_node1(node), nullptr);
  char* rendered = nullptr;
  print_tree_by_xml(tree, &rendered);
  free(rendered);
  rendered = nullptr;
  print_tree_by_json(tree, &rendered);
  free(rendered);
  free_tree(tree);
  return 0;
}
