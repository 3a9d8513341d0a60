// Management API: routing modes, routing interfaces and their addresses.
#pragma once

#include "platform/openapi_inet.h"
#include "platform/openapi_types.h"

enum OPEN_INTF_IP_ADDR_TYPE_t : int32_t {
  OPEN_IP_ADDR_TYPE_STATIC_PRIMARY = 0,
  OPEN_IP_ADDR_TYPE_STATIC_SECONDARY = 1,
  OPEN_IP_ADDR_TYPE_DHCP = 2,
};

extern "C" {

// Routing of the whole switch, one family. OPEN_E_PARAM: no such family or mode.
open_error_t rpcclt_openapiRtrAdminModeGet(openapiClientHandle_t* client_handle, OPEN_AF_t family,
                                           OPEN_CONTROL_t* mode);
open_error_t rpcclt_openapiRtrAdminModeSet(openapiClientHandle_t* client_handle, OPEN_AF_t family,
                                           OPEN_CONTROL_t mode);

// Routing on one interface.
open_error_t rpcclt_openapiRtrIntfRtrAdminModeSet(openapiClientHandle_t* client_handle,
                                                  uint32_t ifNum, OPEN_CONTROL_t mode);

// The routing interface of a VLAN. OPEN_E_NOT_FOUND: no such VLAN, or it has none;
// OPEN_E_EXISTS; OPEN_E_FULL.
open_error_t rpcclt_openapiRtrVlanIntfCreate(openapiClientHandle_t* client_handle, uint32_t vlanId);
open_error_t rpcclt_openapiRtrVlanIntfDelete(openapiClientHandle_t* client_handle, uint32_t vlanId);
open_error_t rpcclt_openapiRtrVlanIntfNumGetZRT(openapiClientHandle_t* client_handle,
                                                uint32_t vlanId, uint32_t* ifNum);

// The next routing interface above ifNum (0 starts the walk), whatever its type, in ascending
// order: physical ones before those of VLANs. OPEN_E_FAIL past the last.
open_error_t rpcclt_openapiRtrIntfNextGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                          uint32_t* nextIfNum);
// These answer OPEN_E_NOT_FOUND for what is not a routing interface.
open_error_t rpcclt_openapiRtrIntfTypeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                          OPEN_INTF_TYPE_t* type);
open_error_t rpcclt_openapiRtrIntfVlanIdGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                            uint32_t* vlanId);
open_error_t rpcclt_openapiRtrIntfNameGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                          open_buffdesc* name);
// Bytes that hold any interface name, the terminating zero included.
open_error_t rpcclt_openapiIntfNameSizeGet(openapiClientHandle_t* client_handle, uint32_t* size);

// IPv4: the primary address. IPv6: one address after the other; the one after that in the record on
// entry, or the first when the record holds none of the interface's IPv6 addresses (all zero, for
// one). OPEN_E_NOT_FOUND: there is none (more).
open_error_t rpcclt_openapiRtrIntfIpAddrGet(openapiClientHandle_t* client_handle, OPEN_AF_t family,
                                            uint32_t ifNum, open_inet_pfx_t* address);
// The secondary IPv4 addresses, walked in the same way; secIpIndex is filled, with 1 for the first
// one. OPEN_E_NOT_FOUND: there is none (more).
open_error_t rpcclt_openapiRtrIntfSecIpAddrGet(openapiClientHandle_t* client_handle,
                                               OPEN_AF_t family, uint32_t ifNum,
                                               open_inet_pfx_t* address, uint32_t* secIpIndex);

// Adds or removes an address. extArg: for DHCP over IPv4 the client-id option 61, for IPv6 an
// EUI-64 interface identifier. OPEN_E_PARAM: not an address for an interface, or the wrong family;
// OPEN_E_EXISTS; OPEN_E_FAIL: overlaps another interface; OPEN_E_FULL; OPEN_E_NOT_FOUND.
open_error_t rpcclt_openapiRtrIntfIpAddrAdd(openapiClientHandle_t* client_handle, OPEN_AF_t family,
                                            uint32_t ifNum, OPEN_INTF_IP_ADDR_TYPE_t addrType,
                                            open_inet_pfx_t address, OPEN_CONTROL_t extArg);
open_error_t rpcclt_openapiRtrIntfIpAddrDel(openapiClientHandle_t* client_handle, OPEN_AF_t family,
                                            uint32_t ifNum, OPEN_INTF_IP_ADDR_TYPE_t addrType,
                                            open_inet_pfx_t address, OPEN_CONTROL_t extArg);
}
