// Clients of the switch, and whether it answers them.
#pragma once

#include "platform/openapi_types.h"

// Makes a handle that of a registered client.
void sim_client_mark(openapiClientHandle_t& handle);
bool sim_registered(const openapiClientHandle_t* handle);

// OPEN_E_RPC without registration, away while the switch starts again.
open_error_t sim_answerable(const openapiClientHandle_t* handle, open_error_t away);
