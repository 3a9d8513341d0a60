// Walks over what the switch lists in ascending order. Each ends where the switch says so; it also
// ends where the switch stops advancing, which would otherwise hold up the engine for ever.
#pragma once

#include <stdint.h>

#include "engine/rest_operation.h"
#include "platform/openapi_if.h"
#include "platform/openapi_types.h"

// The VLAN above vid, or 0 past the last. Any failure is the end.
uint32_t walk_next_vlan(openapiClientHandle_t* client_handle, uint32_t vid);

// Names what is next above a number and has a change pending.
using next_changed_t = open_error_t (*)(openapiClientHandle_t* client_handle, uint32_t number,
                                        uint32_t* next, uint32_t* delete_pending);

// Appends an entry for each number above `number` whose change is not in force yet, keyed from 1
// on: the number under id_name, and what is pending. Any failure is the end.
void append_pending_changes(node_t* list, const char* tagname, const char* id_name,
                            openapiClientHandle_t* client_handle, next_changed_t next_changed,
                            uint32_t number);

// Visits an interface and all of its type above it. visit(if_num, position) counts positions from 1
// and answers OPEN_E_NONE to go on. Only OPEN_E_FAIL ends the walk: after another failure it goes
// on with the number that came along, and only where none did the failure is the walk's result.
template <class Visit>
open_error_t walk_interfaces_from(openapiClientHandle_t* client_handle, OPEN_INTF_TYPE_t type,
                                  uint32_t if_num, Visit visit)
{
  for (uint32_t position = 1; position <= REST_WALK_MAX; position++) {
    open_error_t result = visit(if_num, position);
    if (result != OPEN_E_NONE)
      return result;
    uint32_t next = if_num;
    result = openapiIfNextGet(client_handle, type, if_num, &next);
    if (result == OPEN_E_FAIL)
      return OPEN_E_NONE;
    if (next <= if_num)
      return result;
    if_num = next;
  }
  return OPEN_E_NONE;
}

// The same from the first interface of the type on; that there is none is a failure.
template <class Visit>
open_error_t walk_interfaces(openapiClientHandle_t* client_handle, OPEN_INTF_TYPE_t type,
                             Visit visit)
{
  uint32_t if_num = 0;
  open_error_t result = openapiIfFirstGet(client_handle, type, &if_num);
  if (result != OPEN_E_NONE)
    return result;
  return walk_interfaces_from(client_handle, type, if_num, visit);
}
