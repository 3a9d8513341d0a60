#include "engine/rest_tree_obj.h"

#include <json-c/printbuf.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <array>
#include <charconv>
#include <utility>

#include "engine/rest_dyn_string.h"
#include "engine/rest_utf8.h"

// Counts the links that were changed by hand; a head's tail_ptr from before that is not trusted.
static unsigned tree_links = 0;

static bool tree_shortage = false;

// Nodes of earlier answers, kept for the next ones: to get a node and give it back would be a third
// of the work that a short answer takes. They are linked by next_ptr.
static constexpr unsigned SPARE_NODES = 64;
static node_t* tree_spare = nullptr;
static unsigned tree_spare_count = 0;

// Copies at most size - 1 characters; a null text copies as the empty one.
static void tree_copy_text(char* dst, size_t size, const char* src)
{
  if (!src)
    dst[0] = '\0';
  else if (!memccpy(dst, src, 0, size - 1))
    dst[size - 1] = '\0';
}

// A node with whatever it held before.
static node_t* tree_get_node(void)
{
  node_t* node = tree_spare;
  if (!node)
    return static_cast<node_t*>(malloc(sizeof *node));
  tree_spare = node->next_ptr;
  tree_spare_count--;
  return node;
}

static void tree_put_node(node_t* node)
{
  if (!node || tree_spare_count == SPARE_NODES) {
    free(node);
    return;
  }
  node->next_ptr = tree_spare;
  tree_spare = node;
  tree_spare_count++;
}

static node_t* tree_new_node(const char* key, const char* tagname)
{
  node_t* node = tree_get_node();
  if (!node) {
    tree_shortage = true;
    return nullptr;
  }
  tree_copy_text(node->key, sizeof node->key, key);
  tree_copy_text(node->tagname, sizeof node->tagname, tagname);
  node->val_type = VAL_TYPE_INT;
  node->val_data.val_subtree_n1_ptr = nullptr;
  node->val_data.val_i = 0;
  node->next_ptr = node->tail_ptr = nullptr;
  node->tail_links = 0;
  return node;
}

bool tree_take_shortage(void)
{
  return std::exchange(tree_shortage, false);
}

node_t* new_tree(void)
{
  node_t* head = tree_new_node("", "");
  if (head)
    head->val_type = VAL_TYPE_START;
  return head;
}

node_t* get_next_node(node_t* cur_ptr)
{
  return cur_ptr ? cur_ptr->next_ptr : nullptr;
}

node_t* get_subtree_node1(node_t* cur_ptr)
{
  return cur_ptr ? cur_ptr->val_data.val_subtree_n1_ptr : nullptr;
}

void set_next_node(node_t* cur_ptr, node_t* next_ptr)
{
  if (!cur_ptr)
    return;
  cur_ptr->next_ptr = next_ptr;
  tree_links++;
}

void set_subtree_node1(node_t* cur_ptr, node_t* sub_ptr)
{
  if (!cur_ptr)
    return;
  tree_put_node(cur_ptr->val_data.val_subtree_n1_ptr);
  cur_ptr->val_data.val_subtree_n1_ptr = sub_ptr;
}

node_t* get_last_node(node_t* n1_ptr)
{
  if (!n1_ptr)
    return nullptr;
  bool is_head = n1_ptr->val_type == VAL_TYPE_START;
  node_t* last = n1_ptr;
  if (is_head && n1_ptr->tail_ptr && n1_ptr->tail_links == tree_links)
    last = n1_ptr->tail_ptr;
  while (last->next_ptr)
    last = last->next_ptr;
  if (is_head) {
    n1_ptr->tail_ptr = last;
    n1_ptr->tail_links = tree_links;
  }
  return last;
}

VAL_TYPE_t get_node_val_type(node_t* cur_ptr)
{
  return cur_ptr ? cur_ptr->val_type : VAL_TYPE_NULL;
}

// Zero-fills the caller's buffer and copies the text, if any, into it.
static void tree_give_text(char* dst, int size, const char* src)
{
  if (!dst || size <= 0)
    return;
  memset(dst, 0, static_cast<size_t>(size));
  tree_copy_text(dst, static_cast<size_t>(size), src);
}

void get_node_key(node_t* cur_ptr, char* key, int str_size)
{
  if (cur_ptr)
    tree_give_text(key, str_size, cur_ptr->key);
}

void get_node_tagname(node_t* cur_ptr, char* tagname, int str_size)
{
  if (cur_ptr)
    tree_give_text(tagname, str_size, cur_ptr->tagname);
}

void get_node_val_data_string(node_t* cur_ptr, char* str, int str_size)
{
  if (cur_ptr)
    tree_give_text(str, str_size,
                   cur_ptr->val_type == VAL_TYPE_STRING ? cur_ptr->val_data.val_s : nullptr);
}

void set_node_key(node_t* cur_ptr, const char* key)
{
  if (cur_ptr)
    tree_give_text(cur_ptr->key, sizeof cur_ptr->key, key);
}

node_t* append_tree_object(node_t* n1_ptr, const char* key, const char* tagname)
{
  node_t* last = get_last_node(n1_ptr);
  if (!last)
    return nullptr;
  node_t* node = tree_new_node(key, tagname);
  if (!node)
    return nullptr;
  last->next_ptr = node;
  return node;
}

node_t* append_tree_int(node_t* n1_ptr, const char* key, const char* tagname, int val)
{
  node_t* node = append_tree_object(n1_ptr, key, tagname);
  if (node) {
    node->val_type = VAL_TYPE_INT;
    node->val_data.val_i = val;
  }
  return node;
}

node_t* append_tree_float(node_t* n1_ptr, const char* key, const char* tagname, float val)
{
  node_t* node = append_tree_object(n1_ptr, key, tagname);
  if (node) {
    node->val_type = VAL_TYPE_FLOAT;
    node->val_data.val_f = val;
  }
  return node;
}

node_t* append_tree_string(node_t* n1_ptr, const char* key, const char* tagname, const char* val)
{
  node_t* node = append_tree_object(n1_ptr, key, tagname);
  if (node) {
    node->val_type = VAL_TYPE_STRING;
    tree_copy_text(node->val_data.val_s, sizeof node->val_data.val_s, val);
  }
  return node;
}

node_t* append_tree_subtree(node_t* n1_ptr, const char* key, const char* tagname)
{
  node_t* node = append_tree_object(n1_ptr, key, tagname);
  if (node) {
    node->val_type = VAL_TYPE_SUBTREE;
    node->val_data.val_subtree_n1_ptr = new_tree();
  }
  return node;
}

void free_tree(node_t* n1_ptr)
{
  while (n1_ptr) {
    node_t* next = n1_ptr->next_ptr;
    if (n1_ptr->val_type == VAL_TYPE_SUBTREE)
      free_tree(n1_ptr->val_data.val_subtree_n1_ptr);
    tree_put_node(n1_ptr);
    n1_ptr = next;
  }
}

static char* tree_put_text(char* at, const char* text, size_t length)
{
  return static_cast<char*>(memcpy(at, text, length)) + length;
}

// Appends a whole element at once.
static void tree_append_element(dyn_string_t* text, const char* tagname, const char* value,
                                size_t value_length)
{
  size_t tag_length = strlen(tagname);
  char* at = dynStringExtend(text, 2 * tag_length + value_length + sizeof "<></>" - 1);
  if (!at)
    return;
  *at++ = '<';
  at = tree_put_text(at, tagname, tag_length);
  *at++ = '>';
  at = tree_put_text(at, value, value_length);
  *at++ = '<';
  *at++ = '/';
  at = tree_put_text(at, tagname, tag_length);
  *at = '>';
}

static void tree_append_tag(dyn_string_t* text, const char* opening, const char* tagname)
{
  dynStringAppend(text, opening);
  dynStringAppend(text, tagname);
  dynStringAppendBytes(text, ">", 1);
}

// Appends the nodes of one list to the text, child lists in place.
static void tree_append_xml(dyn_string_t* text, const node_t* node)
{
  char number[64];  // "%f" of the largest float takes 48 characters
  int length;
  for (; node; node = node->next_ptr) {
    switch (node->val_type) {
      case VAL_TYPE_INT:
        // std::to_chars rather than printf: this is the hottest place of the engine.
        length = static_cast<int>(
            std::to_chars(number, number + sizeof number, node->val_data.val_i).ptr - number);
        tree_append_element(text, node->tagname, number, static_cast<size_t>(length));
        break;
      case VAL_TYPE_FLOAT:
        length = snprintf(number, sizeof number, "%f", static_cast<double>(node->val_data.val_f));
        tree_append_element(text, node->tagname, number, static_cast<size_t>(length));
        break;
      case VAL_TYPE_STRING:
        tree_append_element(text, node->tagname, node->val_data.val_s,
                            strlen(node->val_data.val_s));
        break;
      case VAL_TYPE_SUBTREE:
        tree_append_tag(text, "<", node->tagname);
        tree_append_xml(text, node->val_data.val_subtree_n1_ptr);
        tree_append_tag(text, "</", node->tagname);
        break;
      case VAL_TYPE_NULL:
        tree_append_element(text, node->tagname, "", 0);
        break;
      case VAL_TYPE_START:
        break;
    }
  }
}

void print_tree_by_xml(node_t* n1_ptr, char** out_ptr)
{
  dyn_string_t* text = dynStringNew();
  if (!text)
    return;
  tree_append_xml(text, n1_ptr);
  if (!text->lost)
    *out_ptr = std::exchange(text->string, nullptr);
  dynStringFree(&text);
}

// --- JSON ---

// The characters that a text of this length takes at most, with all of them escaped.
static constexpr size_t tree_escaped_length(size_t length)
{
  return length * (sizeof "\\u0000" - 1);
}

// A name or text as UTF-8. Its memory is needed only where there is something to mend.
struct tree_utf8_t {
  char mended[3 * sizeof(node_t::key)];
  const char* text;
};

// The characters that go out as they stand, as one byte.
static constexpr std::array<bool, 256> tree_plain = [] {
  std::array<bool, 256> plain = {};
  for (size_t c = 0x20; c < 0x7f; c++)
    plain[c] = c != '"' && c != '\\' && c != '/';
  return plain;
}();

// Adds the room that the text takes.
static void tree_to_utf8(const char* text, tree_utf8_t& utf8, size_t& room)
{
  static constexpr char REPLACEMENT[] = "\xef\xbf\xbd";
  size_t length = 0;
  while (tree_plain[static_cast<unsigned char>(text[length])])
    length++;
  utf8.text = text;
  room += length + sizeof "\"\"" - 1;
  if (!text[length])
    return;
  room += tree_escaped_length(strlen(text));
  size_t used = 0;
  while (*text) {
    bool is_character;
    size_t taken = rest_utf8_length(text, is_character);
    size_t bytes = is_character ? taken : sizeof REPLACEMENT - 1;
    memcpy(utf8.mended + used, is_character ? text : REPLACEMENT, bytes);
    used += bytes;
    text += taken;
  }
  utf8.mended[used] = '\0';
  utf8.text = utf8.mended;
}

// The json-c value of one node, and the room that it takes as text; null when memory is short.
static json_object* tree_json_value(const node_t* node, size_t& room);

// The object of one list; `room` grows by what it takes as text at most.
static json_object* tree_json_object(const node_t* node, size_t& room)
{
  json_object* object = json_object_new_object();
  room += sizeof "{ }" - 1;
  for (; node && object; node = node->next_ptr) {
    if (node->val_type == VAL_TYPE_START || node->val_type == VAL_TYPE_NULL)
      continue;
    tree_utf8_t key;
    tree_to_utf8(node->key, key, room);
    room += sizeof ": , " - 1;
    json_object* value = tree_json_value(node, room);
    unsigned options = key.text == node->key ? JSON_C_OBJECT_ADD_CONSTANT_KEY : 0;
    if (!value || json_object_object_add_ex(object, key.text, value, options) != 0) {
      json_object_put(value);
      json_object_put(object);
      object = nullptr;
    }
  }
  return object;
}

static json_object* tree_json_value(const node_t* node, size_t& room)
{
  tree_utf8_t text;
  switch (node->val_type) {
    case VAL_TYPE_INT:
      room += sizeof "-2147483648" - 1;
      return json_object_new_int(node->val_data.val_i);
    case VAL_TYPE_FLOAT:
      room += 64;
      return json_object_new_double(static_cast<double>(node->val_data.val_f));
    case VAL_TYPE_STRING:
      tree_to_utf8(node->val_data.val_s, text, room);
      return json_object_new_string(text.text);
    case VAL_TYPE_SUBTREE:
      return tree_json_object(node->val_data.val_subtree_n1_ptr, room);
    case VAL_TYPE_NULL:
    case VAL_TYPE_START:
      break;
  }
  return nullptr;
}

json_object* convert_to_jsonc_obj(node_t* n1_ptr)
{
  size_t room = 0;
  return tree_json_object(n1_ptr, room);
}

// Writes nothing, but makes the room: an object's text takes no more memory from then on.
static int tree_json_make_room(json_object* object, printbuf* text, int, int)
{
  const size_t* room = static_cast<const size_t*>(json_object_get_userdata(object));
  return *room < INT_MAX / 2 ? printbuf_memset(text, static_cast<int>(*room), 0, 1) : -1;
}

// The object's text, which the object owns; null when memory is short. json-c leaves out of a text
// what there is no memory for and does not tell, so all the room is made beforehand.
static const char* tree_json_text(json_object* object, size_t room)
{
  json_object_set_serializer(object, tree_json_make_room, &room, nullptr);
  bool has_room = json_object_to_json_string(object) != nullptr;
  json_object_set_serializer(object, nullptr, nullptr, nullptr);
  return has_room ? json_object_to_json_string(object) : nullptr;
}

void print_tree_by_json(node_t* n1_ptr, char** out_ptr)
{
  // The names are the engine's own: nobody can choose them so that they fall into one place.
  static const int hash = json_global_set_string_hash(JSON_C_STR_HASH_PERLLIKE);
  static_cast<void>(hash);
  size_t room = 0;
  json_object* object = tree_json_object(n1_ptr, room);
  const char* text = object ? tree_json_text(object, room) : nullptr;
  char* copy = text ? strdup(text) : nullptr;
  if (copy)
    *out_ptr = copy;
  json_object_put(object);
}
