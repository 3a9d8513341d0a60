// Management API: box services: fans, power supplies, temperature sensors and transceivers. Items
// are addressed from 0 to the count less 1; OPEN_E_FAIL beyond it.
#pragma once

#include "platform/openapi_types.h"

enum OPEN_BOXS_ITEM_TYPE_t : int32_t {
  OPEN_TYPE_NONE = 0,
  OPEN_TYPE_FIXED = 1,
  OPEN_TYPE_REMOVABLE = 2,
};

enum OPEN_BOXS_ITEM_STATE_t : int32_t {
  OPEN_ITEMSTATE_NONE = 0,
  OPEN_ITEMSTATE_NOT_PRESENT = 1,
  OPEN_ITEMSTATE_OPERATIONAL = 2,
  OPEN_ITEMSTATE_FAILED = 3,
  OPEN_ITEMSTATE_POWERING = 4,
  OPEN_ITEMSTATE_NOPOWER = 5,
  OPEN_ITEMSTATE_NOT_POWERING = 6,
  OPEN_ITEMSTATE_INCOMPATIBLE = 7,
};

enum OPEN_BOXS_TEMPSENSOR_STATE_t : int32_t {
  OPEN_TEMPSENSOR_STATE_NONE = 0,
  OPEN_TEMPSENSOR_STATE_NORMAL = 1,
  OPEN_TEMPSENSOR_STATE_WARNING = 2,
  OPEN_TEMPSENSOR_STATE_CRITICAL = 3,
  OPEN_TEMPSENSOR_STATE_SHUTDOWN = 4,
  OPEN_TEMPSENSOR_STATE_NOTPRESENT = 5,
  OPEN_TEMPSENSOR_STATE_NOTOPERATIONAL = 6,
};

enum OPEN_SFP_MODULE_TYPE_t : int32_t {
  OPEN_MODULE_NONE = 0,
  OPEN_MODULE_SFP = 1,
  OPEN_MODULE_SFPPLUS = 2,
  OPEN_MODULE_QSFP = 3,
  OPEN_MODULE_DAC = 4,
  OPEN_MODULE_GIOBRE = 5,
  OPEN_MODULE_AX742 = 6,
  OPEN_MODULE_AX743 = 7,
  OPEN_MODULE_AX744 = 8,
  OPEN_MODULE_AX745 = 9,
};

extern "C" {

open_error_t rpcclt_openapiBoxsNumOfTempSensorsGet(openapiClientHandle_t* client_handle,
                                                   uint32_t* count);
open_error_t rpcclt_openapiBoxsNumOfFansGet(openapiClientHandle_t* client_handle, uint32_t* count);
open_error_t rpcclt_openapiBoxsNumOfPowSuppliesGet(openapiClientHandle_t* client_handle,
                                                   uint32_t* count);

// Fans: speed in revolutions per minute, duty cycle in percent.
open_error_t rpcclt_openapiBoxsFanStateGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                           OPEN_BOXS_ITEM_STATE_t* state);
open_error_t rpcclt_openapiBoxsFanTypeGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                          OPEN_BOXS_ITEM_TYPE_t* type);
open_error_t rpcclt_openapiBoxsFanSpeedGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                           uint32_t* speed);
open_error_t rpcclt_openapiBoxsFanDutyCycleGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                               uint32_t* dutyCycle);

open_error_t rpcclt_openapiBoxsPowSupplyStateGet(openapiClientHandle_t* client_handle,
                                                 uint32_t powSupply, OPEN_BOXS_ITEM_STATE_t* state);
open_error_t rpcclt_openapiBoxsPowSupplyTypeGet(openapiClientHandle_t* client_handle,
                                                uint32_t powSupply, OPEN_BOXS_ITEM_TYPE_t* type);

// Temperature sensors: degrees Celsius; the size holds any description with its terminating zero.
open_error_t rpcclt_openapiBoxsTempSensorStatusGet(openapiClientHandle_t* client_handle,
                                                   uint32_t sensor,
                                                   OPEN_BOXS_TEMPSENSOR_STATE_t* state);
open_error_t rpcclt_openapiBoxsTempGet(openapiClientHandle_t* client_handle, uint32_t sensor,
                                       int32_t* temperature);
open_error_t rpcclt_openapiBoxsTempSensorDescripSizeGet(openapiClientHandle_t* client_handle,
                                                        uint32_t* size);
open_error_t rpcclt_openapiBoxsTempSensorDescripGet(openapiClientHandle_t* client_handle,
                                                    uint32_t sensor, open_buffdesc* descrip);

// Transceivers, by the interface they are in; OPEN_E_FAIL when there is none. The sizes hold any
// such text with its terminating zero. Link lengths in metres, signal rate in 100 megabit/s.
open_error_t rpcclt_openapiBoxsSfpTypeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                          OPEN_SFP_MODULE_TYPE_t* type);
open_error_t rpcclt_openapiBoxsSfpVendorNameSizeGet(openapiClientHandle_t* client_handle,
                                                    uint32_t* size);
open_error_t rpcclt_openapiBoxsSfpVendorNameGet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, open_buffdesc* vendorName);
open_error_t rpcclt_openapiBoxsSfpVendorRevSizeGet(openapiClientHandle_t* client_handle,
                                                   uint32_t* size);
open_error_t rpcclt_openapiBoxsSfpVendorRevisionGet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum, open_buffdesc* vendorRevision);
open_error_t rpcclt_openapiBoxsSfpLinkLength50umGet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum, uint32_t* length);
open_error_t rpcclt_openapiBoxsSfpLinkLength62_5umGet(openapiClientHandle_t* client_handle,
                                                      uint32_t ifNum, uint32_t* length);
open_error_t rpcclt_openapiBoxsSfpSerialNumberSizeGet(openapiClientHandle_t* client_handle,
                                                      uint32_t* size);
open_error_t rpcclt_openapiBoxsSfpSerialNumberGet(openapiClientHandle_t* client_handle,
                                                  uint32_t ifNum, open_buffdesc* serialNumber);
open_error_t rpcclt_openapiBoxsSfpPartNumberSizeGet(openapiClientHandle_t* client_handle,
                                                    uint32_t* size);
open_error_t rpcclt_openapiBoxsSfpPartNumberGet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, open_buffdesc* partNumber);
open_error_t rpcclt_openapiBoxsSfpNominalSignalRate(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum, uint32_t* rate);
open_error_t rpcclt_openapiBoxsSfpComplianceSizeGet(openapiClientHandle_t* client_handle,
                                                    uint32_t* size);
open_error_t rpcclt_openapiBoxsSfpComplianceGet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, open_buffdesc* compliance);
}
