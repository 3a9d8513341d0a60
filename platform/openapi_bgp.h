// Management API: BGP.
#pragma once

#include "platform/openapi_types.h"

// Bits of a redistribution's match.
enum OPEN_OSPF_METRIC_TYPE_t : int32_t {
  OPEN_OSPF_METRIC_TYPE_INTERNAL = 1,
  OPEN_OSPF_METRIC_TYPE_EXT1 = 2,
  OPEN_OSPF_METRIC_TYPE_EXT2 = 4,
  OPEN_OSPF_METRIC_TYPE_NSSA_EXT1 = 8,
  OPEN_OSPF_METRIC_TYPE_NSSA_EXT2 = 16,
};

// Whose setting a peer read answers: what is in force, or what was given for the peer itself.
enum OPEN_BGP_GET_t : int32_t {
  OPEN_BGP_GET_FINAL = 0,
  OPEN_BGP_GET_PEER = 1,
};

extern "C" {

// ---- the switch as a speaker; a value out of range is answered with OPEN_E_PARAM ----

// Seconds, for all peers.
open_error_t rpcclt_openapiBgpGlobalHoldTimeConfiguredGet(openapiClientHandle_t* client_handle,
                                                          uint32_t* holdTime);
open_error_t rpcclt_openapiBgpGlobalHoldTimeConfiguredSet(openapiClientHandle_t* client_handle,
                                                          uint32_t holdTime);
open_error_t rpcclt_openapiBgpGlobalKeepAliveConfiguredGet(openapiClientHandle_t* client_handle,
                                                           uint32_t* keepAlive);
open_error_t rpcclt_openapiBgpGlobalKeepAliveConfiguredSet(openapiClientHandle_t* client_handle,
                                                           uint32_t keepAlive);
open_error_t rpcclt_openapiBgpLocalASGet(openapiClientHandle_t* client_handle, uint32_t* localAS);
open_error_t rpcclt_openapiBgpLocalASSet(openapiClientHandle_t* client_handle, uint32_t localAS);
// The router id is an IPv4 address in host byte order.
open_error_t rpcclt_openapiBgpLocalIdGet(openapiClientHandle_t* client_handle, uint32_t* routerId);
open_error_t rpcclt_openapiBgpLocalIdSet(openapiClientHandle_t* client_handle, uint32_t routerId);
open_error_t rpcclt_openapiBgpLocalPrefGet(openapiClientHandle_t* client_handle,
                                           uint32_t* localPref);
open_error_t rpcclt_openapiBgpLocalPrefSet(openapiClientHandle_t* client_handle,
                                           uint32_t localPref);
open_error_t rpcclt_openapiBgpLogNeighborChangesGet(openapiClientHandle_t* client_handle,
                                                    bool* isAllowLog);
open_error_t rpcclt_openapiBgpLogNeighborChangesSet(openapiClientHandle_t* client_handle,
                                                    bool isAllowLog);

// Originates a network (normalMode true) or stops doing so (false), with a route map when useRm is
// true. The size of the name counts its terminating zero; an empty name has size 1.
// OPEN_E_NOT_FOUND: the network to remove is not originated.
open_error_t rpcclt_openapiBgpNetworkAddDelete(openapiClientHandle_t* client_handle,
                                               bool normalMode, bool useRm,
                                               open_inet_addr_t address, uint32_t pfxLen,
                                               open_buffdesc* routeMapName);

// Redistributes the routes of a protocol (isAdd true) or stops doing so (false), one family. Both
// sizes count the terminating zero; the empty route-map name has size 1. matchBits are those of
// OPEN_OSPF_METRIC_TYPE_t. OPEN_E_PARAM: no such protocol, or match bits for one without.
open_error_t rpcclt_openapiBgpRedistributionSet(openapiClientHandle_t* client_handle, bool isAdd,
                                                open_buffdesc* protoName, bool matchSet,
                                                uint32_t matchBits, bool metricSet,
                                                bool metricValueSet, uint32_t metricValue,
                                                bool routeMapSet, OPEN_AF_t family,
                                                open_buffdesc* routeMapName);

// ---- a peer, known by its address and, for IPv6 link-local ones, the scope id (0 otherwise);
//      OPEN_E_NOT_FOUND for one that was never given an AS number ----

// Setting the AS number creates the peer.
open_error_t rpcclt_openapiBgpPeerRemoteASGet(openapiClientHandle_t* client_handle,
                                              open_inet_addr_t remoteAddr, uint32_t scopeId,
                                              uint32_t* remoteAS);
open_error_t rpcclt_openapiBgpPeerRemoteASSet(openapiClientHandle_t* client_handle,
                                              open_inet_addr_t remoteAddr, uint32_t scopeId,
                                              uint32_t remoteAS);

// Per address family; the reads answer for the family of the peer's own address.
open_error_t rpcclt_openapiBgpPeerActivateGet(openapiClientHandle_t* client_handle,
                                              OPEN_BGP_GET_t getMode, open_inet_addr_t remoteAddr,
                                              uint32_t scopeId, bool* isActivate);
open_error_t rpcclt_openapiBgpPeerActivateSet(openapiClientHandle_t* client_handle,
                                              open_inet_addr_t remoteAddr, uint32_t scopeId,
                                              OPEN_AF_t family, bool isActivate);
open_error_t rpcclt_openapiBgpPeerNextHopSelfModeGet(openapiClientHandle_t* client_handle,
                                                     OPEN_BGP_GET_t getMode,
                                                     open_inet_addr_t remoteAddr, uint32_t scopeId,
                                                     OPEN_CONTROL_t* mode);
open_error_t rpcclt_openapiBgpPeerNextHopSelfModeSet(openapiClientHandle_t* client_handle,
                                                     open_inet_addr_t remoteAddr, uint32_t scopeId,
                                                     OPEN_AF_t family, OPEN_CONTROL_t mode);

// The interface whose address the switch uses towards the peer; 0: none.
open_error_t rpcclt_openapiBgpPeerUpdateSourceGet(openapiClientHandle_t* client_handle,
                                                  OPEN_BGP_GET_t getMode,
                                                  open_inet_addr_t remoteAddr, uint32_t scopeId,
                                                  uint32_t* ifNum);
open_error_t rpcclt_openapiBgpPeerUpdateSourceSet(openapiClientHandle_t* client_handle,
                                                  open_inet_addr_t remoteAddr, uint32_t scopeId,
                                                  uint32_t ifNum);
}
