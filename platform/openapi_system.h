// Management API: global settings, reload, service and network port.
#pragma once

#include "platform/openapi_types.h"

enum OPEN_PROTOCOL_MODE_t : int32_t {
  OPEN_PROTOCOL_MODE_INVALID = 0,
  OPEN_PROTOCOL_MODE_NONE = 1,
  OPEN_PROTOCOL_MODE_BOOTP = 2,
  OPEN_PROTOCOL_MODE_DHCP = 3,
};

extern "C" {

// Starts a restart and answers at once: 1 the switch, 2 without a configuration to come back to,
// 3 the software only. OPEN_E_PARAM: any other number.
open_error_t rpcclt_openapiSystemReloadSet(openapiClientHandle_t* client_handle, uint32_t mode);

// OPEN_TRUE when the running configuration differs from the saved one.
open_error_t rpcclt_openapiSystemUnsavedConfigStatusGet(openapiClientHandle_t* client_handle,
                                                        OPEN_BOOL_t* hasChanged);

// Host name and prompt: the sizes count the terminating zero. OPEN_E_PARAM: not a name.
open_error_t rpcclt_openapiSystemHostnameSizeGet(openapiClientHandle_t* client_handle,
                                                 uint32_t* size);
open_error_t rpcclt_openapiSystemHostnameGet(openapiClientHandle_t* client_handle,
                                             open_buffdesc* hostname);
open_error_t rpcclt_openapiSystemHostnameSet(openapiClientHandle_t* client_handle,
                                             open_buffdesc* hostname);
open_error_t rpcclt_openapiSystemPromptSet(openapiClientHandle_t* client_handle,
                                           open_buffdesc* prompt);

// Idle time of the serial console in minutes; 0: never. OPEN_E_PARAM: out of range.
open_error_t rpcclt_openapiSerialTimeoutGet(openapiClientHandle_t* client_handle,
                                            uint32_t* timeout);
open_error_t rpcclt_openapiSerialTimeoutSet(openapiClientHandle_t* client_handle, uint32_t timeout);
open_error_t rpcclt_openapiSerialTimeoutDefaultSet(openapiClientHandle_t* client_handle);

open_error_t rpcclt_openapiTelnetServerAdminModeGet(openapiClientHandle_t* client_handle,
                                                    OPEN_CONTROL_t* mode);
open_error_t rpcclt_openapiTelnetServerAdminModeSet(openapiClientHandle_t* client_handle,
                                                    OPEN_CONTROL_t mode);

// Fills the IPv4 member only; the caller sets the family.
open_error_t rpcclt_openapiServicePortMaskGet(openapiClientHandle_t* client_handle,
                                              open_inet_addr_t* mask);

// The network port (in-band management); IPv4 addresses.
open_error_t rpcclt_openapiNetworkPortIPv4AddrGet(openapiClientHandle_t* client_handle,
                                                  open_inet_addr_t* ip, open_inet_addr_t* mask);
open_error_t rpcclt_openapiNetworkPortGatewayIPv4AddrGet(openapiClientHandle_t* client_handle,
                                                         open_inet_addr_t* gateway);
open_error_t rpcclt_openapiNetworkPortIPv4ParametersSet(openapiClientHandle_t* client_handle,
                                                        const open_inet_addr_t* ip,
                                                        const open_inet_addr_t* mask,
                                                        const open_inet_addr_t* gateway);
open_error_t rpcclt_openapiNetworkPortIPv4ParametersDelete(openapiClientHandle_t* client_handle);
open_error_t rpcclt_openapiNetworkPortIPv4ProtocolModeGet(openapiClientHandle_t* client_handle,
                                                          OPEN_PROTOCOL_MODE_t* mode);
open_error_t rpcclt_openapiNetworkPortIPv4ProtocolModeSet(openapiClientHandle_t* client_handle,
                                                          OPEN_PROTOCOL_MODE_t mode);
}
