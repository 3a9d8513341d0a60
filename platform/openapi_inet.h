// Management API: addresses from text.
#pragma once

#include "platform/openapi_types.h"

extern "C" {

// Reads an IPv4 address in dotted decimal or an IPv6 address in colon form; the size counts the
// terminating zero. OPEN_E_FAIL: it is neither.
open_error_t rpcclt_openapiInetAddrGet(openapiClientHandle_t* client_handle, open_buffdesc* text,
                                       open_inet_addr_t* address);
}
