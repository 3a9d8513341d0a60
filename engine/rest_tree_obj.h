// Result trees: what an operation answers with, rendered as XML or JSON.
//
// A tree is a singly linked list that begins with a head node, which is never rendered; the handle
// of a tree is the pointer to its head. A node holds an integer, a float, a text or a further list.
// Names and texts are cut at 255 characters.
#pragma once

#include <json-c/json.h>

enum VAL_TYPE_t {
  VAL_TYPE_INT = 0,
  VAL_TYPE_FLOAT = 1,
  VAL_TYPE_STRING = 2,
  VAL_TYPE_SUBTREE = 3,
  VAL_TYPE_NULL = 4,
  VAL_TYPE_START = 5  // the head of a list
};

struct node_t;

union val_data_t {
  int val_i;
  float val_f;
  char val_s[256];
  node_t* val_subtree_n1_ptr;  // head of the child list, owned by the node
  void* val_null;
};

struct node_t {
  char key[256];      // member name in JSON
  char tagname[256];  // element name in XML
  VAL_TYPE_t val_type;
  val_data_t val_data;  // the member that val_type names
  node_t* next_ptr;
  // In a head: the list's last node as the last append left it, so that a long list is not walked
  // for every append; trusted only while no link has been changed by hand since (tail_links).
  node_t* tail_ptr;
  unsigned tail_links;
};

// An empty tree, or null when memory is short. The caller owns it and frees it with free_tree.
node_t* new_tree(void);

// The node's successor, or null for the last node and for a null node.
node_t* get_next_node(node_t* cur_ptr);

// The head of the node's child list, or null for a null node. The node's type is not checked.
node_t* get_subtree_node1(node_t* cur_ptr);

// Links next_ptr behind the node. Whatever stood there before stays the caller's to free.
void set_next_node(node_t* cur_ptr, node_t* next_ptr);

// Grafts a separately built tree under the node, which owns it from then on. The head that was
// there is freed, that one node alone: meant for the empty head made by append_tree_subtree.
void set_subtree_node1(node_t* cur_ptr, node_t* sub_ptr);

// The list's last node (the head itself of an empty list), or null for a null list.
node_t* get_last_node(node_t* n1_ptr);

// The node's type; VAL_TYPE_NULL for a null node.
VAL_TYPE_t get_node_val_type(node_t* cur_ptr);

// These zero-fill str_size bytes of the buffer and copy at most str_size - 1 characters into it.
// The third copies nothing unless the node holds a text. A null node or buffer does nothing.
void get_node_key(node_t* cur_ptr, char* key, int str_size);
void get_node_tagname(node_t* cur_ptr, char* tagname, int str_size);
void get_node_val_data_string(node_t* cur_ptr, char* str, int str_size);

void set_node_key(node_t* cur_ptr, const char* key);

// Each appends a node to the list and returns it, still owned by the list; null, with nothing
// changed, for a null list or when memory is short. append_tree_object leaves the integer 0 as the
// value; append_tree_subtree makes an empty child list, continued with get_subtree_node1.
node_t* append_tree_object(node_t* n1_ptr, const char* key, const char* tagname);
node_t* append_tree_int(node_t* n1_ptr, const char* key, const char* tagname, int val);
node_t* append_tree_float(node_t* n1_ptr, const char* key, const char* tagname, float val);
node_t* append_tree_string(node_t* n1_ptr, const char* key, const char* tagname, const char* val);
node_t* append_tree_subtree(node_t* n1_ptr, const char* key, const char* tagname);

// Whether memory was short for a node since this was last asked: what was built meanwhile must not
// be shown, whichever part of it is missing.
bool tree_take_shortage(void);

// Frees the whole list with all its subtrees. Null is allowed.
void free_tree(node_t* n1_ptr);

// Each renders the list into a new heap string that the caller frees. *out_ptr is left untouched
// when memory is short. JSON is UTF-8: bytes of a name or text that are none show as U+FFFD.
void print_tree_by_xml(node_t* n1_ptr, char** out_ptr);
void print_tree_by_json(node_t* n1_ptr, char** out_ptr);

// The json-c object of one list, released by the caller with json_object_put; null when memory is
// short. Every list becomes an object, never an array; of two nodes with the same key the later one
// stays.
json_object* convert_to_jsonc_obj(node_t* n1_ptr);
