#include "engine/rest_tree_obj.h"

#include <json-c/printbuf.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <charconv>
#include <utility>

#include "engine/rest_dyn_string.h"
#include "engine/rest_utf8.h"

// Counts the links that were changed by hand; a head's tail_ptr from before that is not trusted.
static unsigned tree_links = 0;

static bool tree_shortage = false;

// Copies at most size - 1 characters; a null text copies as the empty one. dst is zeroed memory.
static void tree_copy_text(char* dst, size_t size, const char* src)
{
  if (src)
    memccpy(dst, src, 0, size - 1);
}

static node_t* tree_new_node(const char* key, const char* tagname)
{
  node_t* node = static_cast<node_t*>(calloc(1, sizeof *node));
  if (node) {
    tree_copy_text(node->key, sizeof node->key, key);
    tree_copy_text(node->tagname, sizeof node->tagname, tagname);
  } else {
    tree_shortage = true;
  }
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
  free(cur_ptr->val_data.val_subtree_n1_ptr);
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
    free(n1_ptr);
    n1_ptr = next;
  }
}

static void tree_append_tag(dyn_string_t* text, const char* opening, const char* tagname)
{
  dynStringAppend(text, opening);
  dynStringAppend(text, tagname);
  dynStringAppendBytes(text, ">", 1);
}

// std::to_chars rather than printf: this is the hottest place of the engine.
static void tree_append_int(dyn_string_t* text, int value)
{
  char number[sizeof "-2147483648"];
  std::to_chars_result end = std::to_chars(number, number + sizeof number, value);
  dynStringAppendBytes(text, number, static_cast<size_t>(end.ptr - number));
}

// Appends the nodes of one list to the text, child lists in place.
static void tree_append_xml(dyn_string_t* text, const node_t* node)
{
  char number[64];  // "%f" of the largest float takes 48 characters
  for (; node; node = node->next_ptr) {
    if (node->val_type == VAL_TYPE_START)
      continue;
    tree_append_tag(text, "<", node->tagname);
    switch (node->val_type) {
      case VAL_TYPE_INT:
        tree_append_int(text, node->val_data.val_i);
        break;
      case VAL_TYPE_FLOAT:
        snprintf(number, sizeof number, "%f", static_cast<double>(node->val_data.val_f));
        dynStringAppend(text, number);
        break;
      case VAL_TYPE_STRING:
        dynStringAppend(text, node->val_data.val_s);
        break;
      case VAL_TYPE_SUBTREE:
        tree_append_xml(text, node->val_data.val_subtree_n1_ptr);
        break;
      case VAL_TYPE_NULL:
      case VAL_TYPE_START:
        break;
    }
    tree_append_tag(text, "</", node->tagname);
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
static constexpr size_t tree_quoted_length(size_t length)
{
  return length * (sizeof "\\u0000" - 1) + 2;
}

// A name or text as UTF-8. Its memory is needed only where there is something to mend.
struct tree_utf8_t {
  char mended[3 * sizeof(node_t::key)];
  const char* text;
};

static bool tree_is_ascii(const char* text, size_t length)
{
  unsigned char bits = 0;
  for (size_t i = 0; i < length; i++)
    bits |= static_cast<unsigned char>(text[i]);
  return bits < 0x80;
}

// Adds the room that the text takes.
static void tree_to_utf8(const char* text, tree_utf8_t& utf8, size_t& room)
{
  static constexpr char REPLACEMENT[] = "\xef\xbf\xbd";
  size_t length = strlen(text);
  utf8.text = text;
  room += tree_quoted_length(length);
  if (tree_is_ascii(text, length))
    return;
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
    if (!value || json_object_object_add(object, key.text, value) != 0) {
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
  size_t room = 0;
  json_object* object = tree_json_object(n1_ptr, room);
  const char* text = object ? tree_json_text(object, room) : nullptr;
  char* copy = text ? strdup(text) : nullptr;
  if (copy)
    *out_ptr = copy;
  json_object_put(object);
}
