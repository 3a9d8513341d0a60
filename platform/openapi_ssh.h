// Management API: the switch's SSH server.
#pragma once

#include "platform/openapi_types.h"

enum OPEN_SSH_PROTO_VERSION_t : int32_t {
  OPEN_SSH_PROTO_VERSION_1 = 0,
  OPEN_SSH_PROTO_VERSION_2 = 1,
  OPEN_SSH_PROTO_VERSION_BOTH = 2,
};

extern "C" {

open_error_t rpcclt_openapiSSHAdminModeGet(openapiClientHandle_t* client_handle,
                                           OPEN_CONTROL_t* mode);
open_error_t rpcclt_openapiSSHAdminModeSet(openapiClientHandle_t* client_handle,
                                           OPEN_CONTROL_t mode);
open_error_t rpcclt_openapiSSHProtocolVersionGet(openapiClientHandle_t* client_handle,
                                                 OPEN_SSH_PROTO_VERSION_t* version);
open_error_t rpcclt_openapiSSHProtocolVersionSet(openapiClientHandle_t* client_handle,
                                                 OPEN_SSH_PROTO_VERSION_t version);

// Sessions: those open now, and the most that may be. OPEN_E_PARAM: out of range.
open_error_t rpcclt_openapiSSHActiveSessionsGet(openapiClientHandle_t* client_handle,
                                                uint32_t* count);
open_error_t rpcclt_openapiSSHMaxSessionsGet(openapiClientHandle_t* client_handle, uint32_t* count);
open_error_t rpcclt_openapiSSHMaxSessionsSet(openapiClientHandle_t* client_handle, uint32_t count);
open_error_t rpcclt_openapiSSHMaxSessionsDefaultSet(openapiClientHandle_t* client_handle);

// Idle time in minutes; setting 0 restores the default. OPEN_E_PARAM: out of range.
open_error_t rpcclt_openapiSSHSessionTimeoutGet(openapiClientHandle_t* client_handle,
                                                uint32_t* timeout);
open_error_t rpcclt_openapiSSHSessionTimeoutSet(openapiClientHandle_t* client_handle,
                                                uint32_t timeout);
}
