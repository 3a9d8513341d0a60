// Management API: becoming a client of the switch.
#pragma once

#include "platform/openapi_types.h"

extern "C" {

// Makes the process a client under the given name and fills the handle, which every other call
// takes. Must be called once, before any other call.
open_error_t openapiClientRegister(const char* name, openapiClientHandle_t* client_handle);

// OPEN_E_NONE when the switch answers; any failure says: not yet.
open_error_t rpcclt_openapiConnectivityCheck(openapiClientHandle_t* client_handle);
}
