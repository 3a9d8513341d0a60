// Management API: VLANs, and interfaces as members of them.
#pragma once

#include "platform/openapi_types.h"

enum OPEN_VLAN_PARTICIPATION_MODE_t : int32_t {
  OPEN_VLAN_PARTICIPATION_MODE_INCLUDE = 0,
  OPEN_VLAN_PARTICIPATION_MODE_AUTO = 1,
  OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE = 2,
};

enum OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t : int32_t {
  OPEN_DOT1Q_ADMIT_ALL = 1,
  OPEN_DOT1Q_ADMIN_ONLY_VLAN_TAGGED = 2,
  OPEN_DOT1Q_ADMIN_ONLY_VLAN_UNTAGGED = 3,
};

enum OPEN_VLAN_INTF_SWITCHPORT_MODE_t : int32_t {
  OPEN_VLAN_SWITCHPORT_MODE_GENERAL = 1,
  OPEN_VLAN_SWITCHPORT_MODE_ACCESS = 2,
  OPEN_VLAN_SWITCHPORT_MODE_TRUNK = 3,
};

// What a call does with a VLAN list.
enum OPEN_VLAN_LIST_OPERATION_t : int32_t {
  OPEN_VLAN_LIST_ADD = 1,
  OPEN_VLAN_LIST_REMOVE = 3,
};

extern "C" {

// ---- the VLANs ----

// The highest VLAN number the switch accepts.
open_error_t rpcclt_openapiDot1VlanMaxGet(openapiClientHandle_t* client_handle, uint32_t* vlanMax);

// OPEN_E_NONE when the VLAN exists, OPEN_E_NOT_FOUND when not.
open_error_t openapiVlanCreatedCheck(openapiClientHandle_t* client_handle, uint32_t vid);

// The next VLAN above vid; OPEN_E_FAIL past the last.
open_error_t openapiVlanNextGet(openapiClientHandle_t* client_handle, uint32_t vid,
                                uint32_t* nextVid);

// The next VLAN above vid whose configuration is not in force yet; delete_pending is 1 when it is
// about to go. OPEN_E_FAIL past the last.
open_error_t openapiVlanNextChangedGet(openapiClientHandle_t* client_handle, uint32_t vid,
                                       uint32_t* nextVid, uint32_t* delete_pending);

// Creates a static VLAN. OPEN_E_EXISTS, OPEN_E_PARAM (number out of range), OPEN_E_FULL.
open_error_t rpcclt_openapiVlanCreate(openapiClientHandle_t* client_handle, uint32_t vid);

// Deletes a VLAN. OPEN_E_NOT_FOUND; OPEN_E_FAIL: it cannot be deleted (VLAN 1, or in use).
open_error_t rpcclt_openapiVlanDelete(openapiClientHandle_t* client_handle, uint32_t vid);

// Bytes that hold any VLAN name, the terminating zero included.
open_error_t rpcclt_openapiVlanNameLenGet(openapiClientHandle_t* client_handle, uint32_t* length);

// The name; the size counts the terminating zero in both directions. OPEN_E_NOT_FOUND.
open_error_t rpcclt_openapiVlanNameGet(openapiClientHandle_t* client_handle, uint32_t vid,
                                       open_buffdesc* name);
open_error_t rpcclt_openapiVlanNameSet(openapiClientHandle_t* client_handle, uint32_t vid,
                                       open_buffdesc* name);

// Returns 1 when the VLAN exists and was configured, 0 otherwise (learned, or unknown): the value
// itself, no result code.
uint32_t openapiVlanIsStatic(openapiClientHandle_t* client_handle, uint32_t vid);

// ---- an interface in a VLAN ----

// Whether the interface is a member now: 1 yes, 0 no. OPEN_E_NOT_FOUND: no such VLAN or interface.
open_error_t openapiVlanIfParticipationStatusGet(openapiClientHandle_t* client_handle, uint32_t vid,
                                                 uint32_t ifNum, uint32_t* status);

// What is configured for the interface in the VLAN.
open_error_t rpcclt_openapiVlanIfParticipationGet(openapiClientHandle_t* client_handle,
                                                  uint32_t vid, uint32_t ifNum,
                                                  OPEN_VLAN_PARTICIPATION_MODE_t* mode);
// OPEN_E_UNAVAIL: the interface is in mode access or trunk, or a port channel decides for it.
open_error_t rpcclt_openapiVlanIfParticipationSet(openapiClientHandle_t* client_handle,
                                                  uint32_t vid, uint32_t ifNum,
                                                  OPEN_VLAN_PARTICIPATION_MODE_t mode);

// Whether the interface sends the VLAN's frames tagged: 1 yes, 0 no. The interface comes first.
open_error_t openapiVlanIfTaggingGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                     uint32_t vid, uint32_t* tagging);
open_error_t rpcclt_openapiVlanIfTaggingSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                            uint32_t vid, uint32_t tagging);

// The VLAN of untagged frames that come in.
open_error_t openapiVlanIfPvidGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                  uint32_t* pvid);
open_error_t rpcclt_openapiVlanIfPvidSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                         uint32_t pvid);

open_error_t rpcclt_openapiVlanIfAcceptFrameTypeGet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum,
                                                    OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t* type);
open_error_t rpcclt_openapiVlanIfAcceptFrameTypeSet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum,
                                                    OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t type);

// ---- switchport: access and trunk VLANs of an interface ----

open_error_t rpcclt_openapiIfSwitchportModeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                               OPEN_VLAN_INTF_SWITCHPORT_MODE_t* mode);
open_error_t rpcclt_openapiIfSwitchportModeSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                               OPEN_VLAN_INTF_SWITCHPORT_MODE_t mode);
open_error_t rpcclt_openapiIfSwitchportAccessVlanSet(openapiClientHandle_t* client_handle,
                                                     uint32_t ifNum, uint32_t vid);
open_error_t rpcclt_openapiIfSwitchportTrunkNativeVlanSet(openapiClientHandle_t* client_handle,
                                                          uint32_t ifNum, uint32_t vid);

// The list is text like "5,7-9"; its size does not count a terminating zero. OPEN_E_PARAM: not a
// list of VLAN numbers, or a number out of range; nothing of it is taken then. With ADD, Create
// adds the list to the VLANs of the trunk and Set puts it in their place.
open_error_t rpcclt_openapiIfSwitchportTrunkVlanCreate(openapiClientHandle_t* client_handle,
                                                       uint32_t ifNum,
                                                       OPEN_VLAN_LIST_OPERATION_t operation,
                                                       open_buffdesc* vlanList);
open_error_t rpcclt_openapiIfSwitchportTrunkVlanSet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum,
                                                    OPEN_VLAN_LIST_OPERATION_t operation,
                                                    open_buffdesc* vlanList);
}
