// Management API: link aggregation groups (port channels). A group has an interface number, which
// the calls take, and the port-channel number that an operator types.
#pragma once

#include "platform/openapi_types.h"

extern "C" {

// OPEN_E_NOT_FOUND: no such group; the output is left as it was.
open_error_t rpcclt_openapiLagIfNumToPortChannelIdZRT(openapiClientHandle_t* client_handle,
                                                      uint32_t lagIfNum, uint32_t* channelId);
open_error_t rpcclt_openapiLagPortChannelIdToIfNumZRT(openapiClientHandle_t* client_handle,
                                                      uint32_t channelId, uint32_t* lagIfNum);

open_error_t rpcclt_openapiLagCreateZRT(openapiClientHandle_t* client_handle, uint32_t lagIfNum);
open_error_t rpcclt_openapiLagDeleteZRT(openapiClientHandle_t* client_handle, uint32_t lagIfNum);

// Bytes that hold any group's name, the terminating zero included.
open_error_t rpcclt_openapiLagNameMaxLengthGet(openapiClientHandle_t* client_handle,
                                               uint32_t* length);
open_error_t rpcclt_openapiLagNameGet(openapiClientHandle_t* client_handle, uint32_t lagIfNum,
                                      open_buffdesc* name);

// The most members a group can have.
open_error_t rpcclt_openapiLagMaxMemberCountGet(openapiClientHandle_t* client_handle,
                                                uint32_t* count);

// The members' interface numbers, ascending. count is on entry the number of 32-bit slots at
// members->pstart and on return the number of members; members->size is four bytes a slot.
open_error_t rpcclt_openapiLagMembersGet(openapiClientHandle_t* client_handle, uint32_t lagIfNum,
                                         uint32_t* count, open_buffdesc* members);

// A port is in one group at most. OPEN_E_EXISTS: already in this one; OPEN_E_FAIL: in another, or
// it routes; OPEN_E_FULL; OPEN_E_NOT_FOUND: not a member, no such group or no such port.
open_error_t rpcclt_openapiLagPortAdd(openapiClientHandle_t* client_handle, uint32_t lagIfNum,
                                      uint32_t ifNum);
open_error_t rpcclt_openapiLagPortDelete(openapiClientHandle_t* client_handle, uint32_t lagIfNum,
                                         uint32_t ifNum);
}
