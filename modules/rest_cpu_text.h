// The texts in which the switch tells the use of its CPU, split into a result tree. They may hold
// anything: what does not scan is left out, what is too long is cut.
#pragma once

#include <stdint.h>

#include <string_view>

#include "engine/rest_tree_obj.h"

// Splits the text "label:use;label:use;..." and appends one string a period to the list: the label
// is its name, the value begins with the colon. Items without both are left out.
void process_append_total(node_t* list, std::string_view text);

// Splits lines "id,name,label:use;label:use;..." and appends one entry a line, with at most so many
// periods in it. A line without id and name is left out.
void process_append_tasks(node_t* list, std::string_view text, uint32_t periods);
