// Management API: classification policies in the TCAM.
#pragma once

#include "platform/openapi_types.h"

enum OPEN_TCAM_POLICY_TYPE_t : int32_t {
  OPEN_TCAM_POLICY_TYPE_OPENFLOW = 1,
  OPEN_TCAM_POLICY_TYPE_GEN = 2,
  OPEN_TCAM_POLICY_TYPE_EGRESS = 3,
  OPEN_TCAM_POLICY_TYPE_LAST = 4,
};

enum OPEN_TCAM_POLICY_STAGE_t : int32_t {
  OPEN_TCAM_POLICY_STAGE_LOOKUP = 0,
  OPEN_TCAM_POLICY_STAGE_INGRESS = 1,
  OPEN_TCAM_POLICY_STAGE_EGRESS = 2,
};

// Bits of a policy's actionType.
enum OPEN_TCAM_POLICY_ACTION_t : int32_t {
  OPEN_TCAM_POLICY_ACTION_DROP = 1,
  OPEN_TCAM_POLICY_ACTION_REDIRECT = 2,
  OPEN_TCAM_POLICY_ACTION_OUTERVLAN = 4,
  OPEN_TCAM_POLICY_ACTION_SRCMAC_NEW = 8,
  OPEN_TCAM_POLICY_ACTION_DSTMAC_NEW = 16,
  OPEN_TCAM_POLICY_ACTION_USERPRIO = 32,
  OPEN_TCAM_POLICY_ACTION_OUTERTPID = 64,
  OPEN_TCAM_POLICY_ACTION_REDIRECT_CPU = 128,
};

struct open_tcam_version_t {
  uint32_t versionMajor;
  uint32_t versionMinor;
};

struct open_tcam_policy_header_t {
  open_tcam_version_t versionInfo;
  uint32_t headerLen;  // bytes of this header: 12
};

// Values that the actions of the same name use.
struct OPEN_TCAM_ACTION_t {
  uint32_t redirIntfNum;
  uint8_t srcAddr[6];
  uint8_t dstMac[6];
  uint32_t etherType;
  uint16_t vlanId;
  uint8_t vlanPrio;
  uint8_t dscp;
};

struct open_tcamApiPolicy_t {
  open_tcam_policy_header_t policyHeader;
  OPEN_TCAM_POLICY_TYPE_t policyType;
  uint32_t policyPrio;
  uint64_t ruleNum;
  uint32_t rulePrio;
  uint8_t matchDstMac[6];
  uint8_t matchSrcMac[6];
  uint16_t matchVlanVal;
  uint8_t matchVlanPrio;
  uint16_t matchEthType;
  uint32_t matchDstIp;  // IPv4 addresses and masks: host byte order
  uint32_t matchDstIpMask;
  uint32_t matchSrcIp;
  uint32_t matchSrcIpMask;
  uint32_t matchIpProto;
  uint32_t matchIpProtoMask;
  uint32_t matchIpDscp;
  uint8_t matchIpDscpMask;
  uint16_t matchSrcPortIcmpType;
  uint16_t matchSrcPortIcmpTypeMask;
  uint16_t matchDstPortIcmpCode;
  uint16_t matchDstPortIcmpCodeMask;
  open_in6_addr_t matchSrcIpv6Addr;
  open_in6_addr_t matchSrcIpv6Mask;
  open_in6_addr_t matchDstIpv6Addr;
  open_in6_addr_t matchDstIpv6Mask;
  uint32_t actionType;  // bits of OPEN_TCAM_POLICY_ACTION_t
  OPEN_TCAM_ACTION_t actionVal;
};

constexpr uint32_t OPEN_TCAM_GROUPS_MAX = 12;

struct open_tcam_group_t {
  uint32_t used;  // 1: in use; the rest says something only then
  uint32_t gid;
  uint32_t policy_type;
  uint32_t entry_count;
  uint32_t entries_free;
  uint32_t entries_total;
  uint32_t slice_width_physical;
  uint32_t intraslice_mode_enable;
  uint32_t natural_depth;
};

struct open_tcam_group_stats_t {
  open_tcam_group_t group[OPEN_TCAM_GROUPS_MAX];
};

extern "C" {

// Must be called before the others; calling it again does no harm.
open_error_t rpcclt_openapiTcamApiInit(openapiClientHandle_t* client_handle);

// Installs a copy of the policy and hands out its id. OPEN_E_PARAM: no such type, or an action that
// it does not know; OPEN_E_FULL.
open_error_t rpcclt_openapiTcamPolicyCreate(openapiClientHandle_t* client_handle,
                                            const open_tcamApiPolicy_t* policy, uint32_t* policyId);
// These answer OPEN_E_NOT_FOUND for an unknown policy.
open_error_t rpcclt_openapiTcamPolicyGet(openapiClientHandle_t* client_handle, uint32_t policyId,
                                         open_tcamApiPolicy_t* policy);
open_error_t rpcclt_openapiTcamPolicyDestroy(openapiClientHandle_t* client_handle,
                                             uint32_t policyId);
open_error_t rpcclt_openapiTcamPolicyDeleteAll(openapiClientHandle_t* client_handle);

// The lowest id, and the next one above policyId; OPEN_E_FAIL past the last.
open_error_t rpcclt_openapiTcamPolicyGetFirst(openapiClientHandle_t* client_handle,
                                              uint32_t* policyId);
open_error_t rpcclt_openapiTcamPolicyGetNext(openapiClientHandle_t* client_handle,
                                             uint32_t policyId, uint32_t* nextPolicyId);

// Attaches the policy to a port, or detaches it. OPEN_E_EXISTS, OPEN_E_NOT_FOUND.
open_error_t rpcclt_openapiTcamPolicyIntfAdd(openapiClientHandle_t* client_handle,
                                             uint32_t policyId, uint32_t ifNum);
open_error_t rpcclt_openapiTcamPolicyIntfRem(openapiClientHandle_t* client_handle,
                                             uint32_t policyId, uint32_t ifNum);

// Use of the TCAM: the groups of a stage, and the figures of all of them together. groupCount is
// the number of records of the group statistics that say something.
open_error_t rpcclt_openapiTcamGroupStatsGetZRT(openapiClientHandle_t* client_handle,
                                                OPEN_TCAM_POLICY_STAGE_t stage,
                                                open_tcam_group_stats_t* groups);
open_error_t rpcclt_openapiTcamGroupStatsIngressSlicesCountGetZRT(
    openapiClientHandle_t* client_handle, uint32_t* groupCount, uint32_t* entryCount,
    uint32_t* entryFree, uint32_t* entryTotal, uint32_t* slice256Count, uint32_t* slice256Free);
open_error_t rpcclt_openapiTcamGroupStatsEgressSlicesCountGetZRT(
    openapiClientHandle_t* client_handle, uint32_t* groupCount, uint32_t* entryCount,
    uint32_t* entryFree);

// Name of a group's policy_type. 256 bytes hold any. OPEN_E_NOT_FOUND: it has none.
open_error_t rpcclt_openapiTcamHapiBroadPolicyTypeNameGetZRT(openapiClientHandle_t* client_handle,
                                                             uint32_t policyType,
                                                             open_buffdesc* name);
}
