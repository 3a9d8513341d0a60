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

static void fuzz(const std::string& input)
{
  FuzzedDataProvider data(reinterpret_cast<const uint8_t*>(input.data()), input.size());
  const uint32_t periods = data.ConsumeBool() ? 3 : data.ConsumeIntegral<uint32_t>();
  const std::string said = before_zero(data.ConsumeRemainingBytesAsString());
  const std::vector<char> copy(said.begin(), said.end());  // without a terminator
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
  for (const auto print : {print_tree_by_xml, print_tree_by_json}) {
    char* rendered = nullptr;
    print(tree, &rendered);
    free(rendered);
  }
  free_tree(tree);
}
