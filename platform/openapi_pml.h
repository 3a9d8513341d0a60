// Management API: port MAC locking.
#pragma once

#include "platform/openapi_types.h"

extern "C" {

// Whether learned addresses are kept as static entries.
open_error_t rpcclt_openapiPmlIntfStickyModeGet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, OPEN_CONTROL_t* sticky);
open_error_t rpcclt_openapiPmlIntfStickyModeSet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, OPEN_CONTROL_t sticky);

// The first static entry of an interface, and the one after the entry that macAddr and vlanId name
// on entry. macAddr->size is on entry the room, on return the text's length with its terminating
// zero. OPEN_E_FAIL: there is none.
open_error_t rpcclt_openapiPmlIntfStaticEntryGetFirst(openapiClientHandle_t* client_handle,
                                                      uint32_t ifNum, open_buffdesc* macAddr,
                                                      uint32_t* vlanId, bool* sticky);
open_error_t rpcclt_openapiPmlIntfStaticEntryGetNext(openapiClientHandle_t* client_handle,
                                                     uint32_t ifNum, open_buffdesc* macAddr,
                                                     uint32_t* vlanId, bool* sticky);

// The size of macAddr does not count a terminating zero here. OPEN_E_PARAM: not a unicast MAC
// address.
open_error_t rpcclt_openapiPmlIntfStaticEntryAdd(openapiClientHandle_t* client_handle,
                                                 uint32_t ifNum, open_buffdesc* macAddr,
                                                 uint32_t vlanId, bool sticky);
open_error_t rpcclt_openapiPmlIntfStaticEntryDelete(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum, open_buffdesc* macAddr,
                                                    uint32_t vlanId);
}
