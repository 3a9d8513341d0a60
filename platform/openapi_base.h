// Management API: versions and identity of the switch.
#pragma once

#include "platform/openapi_types.h"

struct open_revision_data_t {
  uint8_t release;
  uint8_t version;
  uint8_t maint_level;
  uint8_t build_num;
};

extern "C" {

// Texts; 256 bytes hold any of them.
open_error_t rpcclt_openapiNetworkOSVersionGet(openapiClientHandle_t* client_handle,
                                               open_buffdesc* switchOSRevision);
open_error_t rpcclt_openapiSwStorageGet(openapiClientHandle_t* client_handle,
                                        open_buffdesc* swStorage);
open_error_t rpcclt_openapiSwDevInfoSerialNumGet(openapiClientHandle_t* client_handle,
                                                 open_buffdesc* serialNumber);
open_error_t rpcclt_openapiBurnedInMacAddrGet(openapiClientHandle_t* client_handle,
                                              open_buffdesc* macAddr);
open_error_t rpcclt_openapiMachineModelNameGet(openapiClientHandle_t* client_handle,
                                               open_buffdesc* modelName);
open_error_t rpcclt_openapiSystemDescrGet(openapiClientHandle_t* client_handle,
                                          open_buffdesc* description);

// Version of the management API itself.
open_error_t rpcclt_openapiApiVersionGet(openapiClientHandle_t* client_handle,
                                         open_revision_data_t* version);

// Interface number of the CPU port.
open_error_t rpcclt_openapiCpuIntfGet(openapiClientHandle_t* client_handle, uint32_t* cpuIfNum);

// The highest interface number that any kind of interface can have.
open_error_t openapiMaxInterfaceCountGet(openapiClientHandle_t* client_handle, uint32_t* count);

// The most equal-cost routes a destination can have.
open_error_t rpcclt_openapiOspfEqualCostRoutesMax(openapiClientHandle_t* client_handle,
                                                  uint32_t* count);

// 1: ready; 0: the switch is starting or restarting.
open_error_t openapiSystemReadyStateGet(openapiClientHandle_t* client_handle,
                                        uint32_t* isSystemReady);
}
