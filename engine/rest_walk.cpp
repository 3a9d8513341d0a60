#include "engine/rest_walk.h"

#include "platform/openapi_vlan.h"

uint32_t walk_next_vlan(openapiClientHandle_t* client_handle, uint32_t vid)
{
  uint32_t next = 0;
  open_error_t result = openapiVlanNextGet(client_handle, vid, &next);
  return result == OPEN_E_NONE && next > vid ? next : 0;
}

void append_pending_changes(node_t* list, const char* tagname, const char* id_name,
                            openapiClientHandle_t* client_handle, next_changed_t next_changed,
                            uint32_t number)
{
  for (uint32_t position = 1; position <= REST_WALK_MAX; position++) {
    uint32_t next = 0;
    uint32_t delete_pending = 0;
    if (next_changed(client_handle, number, &next, &delete_pending) != OPEN_E_NONE ||
        next <= number)
      return;
    number = next;
    node_t* entry = append_tree_entry(list, position, tagname);
    append_tree_field(entry, id_name, static_cast<int>(number));
    append_tree_field(entry, "pending_type",
                      delete_pending == 1 ? "pending deletion" : "pending change");
  }
}
