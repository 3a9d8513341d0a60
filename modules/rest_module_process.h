// The "process" module: memory and CPU use of the switch.
#pragma once

#include <stdint.h>

#include <string_view>

#include "engine/rest_tree_obj.h"
#include "httpd/httpd.h"
#include "platform/openapi_types.h"

int process_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn);

int api_process_get_memory(openapiClientHandle_t* client_handle, struct mg_connection* conn);
int api_process_get_cpu(openapiClientHandle_t* client_handle, struct mg_connection* conn);

// Splits the text "label:use;label:use;..." and appends one string a period to the list: the label
// is its name, the value begins with the colon. Items without both are left out.
void process_append_total(node_t* list, std::string_view text);

// Splits lines "id,name,label:use;label:use;..." and appends one entry a line, with at most so many
// periods in it. A line without id and name is left out.
void process_append_tasks(node_t* list, std::string_view text, uint32_t periods);
