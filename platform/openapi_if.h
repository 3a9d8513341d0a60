// Management API: interfaces, their settings, state and counters.
#pragma once

#include "platform/openapi_types.h"

enum OPEN_PORT_SPEEDS_t : int32_t {
  OPEN_PORTCTRL_PORTSPEED_AUTO_NEG = 1,
  OPEN_PORTCTRL_PORTSPEED_HALF_100TX = 2,
  OPEN_PORTCTRL_PORTSPEED_FULL_100TX = 3,
  OPEN_PORTCTRL_PORTSPEED_HALF_10T = 4,
  OPEN_PORTCTRL_PORTSPEED_FULL_10T = 5,
  OPEN_PORTCTRL_PORTSPEED_FULL_100FX = 6,
  OPEN_PORTCTRL_PORTSPEED_FULL_1000SX = 7,
  OPEN_PORTCTRL_PORTSPEED_FULL_10GSX = 8,
  OPEN_PORTCTRL_PORTSPEED_FULL_20GSX = 9,
  OPEN_PORTCTRL_PORTSPEED_FULL_40GSX = 10,
  OPEN_PORTCTRL_PORTSPEED_FULL_25GSX = 11,
  OPEN_PORTCTRL_PORTSPEED_FULL_100GSX = 12,
  OPEN_PORTCTRL_PORTSPEED_AAL5_155 = 13,
  OPEN_PORTCTRL_PORTSPEED_FULL_2P5FX = 128,
  OPEN_PORTCTRL_PORTSPEED_LAG = 129,
  OPEN_PORTCTRL_PORTSPEED_UNKNOWN = 130,
};

enum OPEN_PORT_AUTO_NEG_t : int32_t {
  OPEN_PORT_AUTO_NEG_ENABLE = 0,
  OPEN_PORT_AUTO_NEG_DISABLE = 1,
  OPEN_PORT_AUTO_NEG_UNKNOWN = 65535,
};

enum OPEN_PORT_DUPLEX_t : int32_t {
  OPEN_PORT_DUPLEX_HALF = 0,
  OPEN_PORT_DUPLEX_FULL = 1,
  OPEN_PORT_DUPLEX_UNKNOWN = 65535,
};

enum OPEN_LINK_STATE_t : int32_t {
  OPEN_LINK_UP = 0,
  OPEN_LINK_DOWN = 1,
};

enum OPEN_IF_CONNECTOR_TYPE_t : int32_t {
  OPEN_CONNECTOR_NONE = 0,
  OPEN_RJ45 = 1,
  OPEN_SFP = 2,
  OPEN_SFPPLUS = 3,
  OPEN_QSFP = 4,
};

enum OPEN_COUNTER_ID_t : int32_t {
  OPEN_CTR_RESERVED = 0,
  OPEN_CTR_RX_TOTAL_BYTES = 1,
  OPEN_CTR_RX_64 = 2,
  OPEN_CTR_RX_65_127 = 3,
  OPEN_CTR_RX_128_255 = 4,
  OPEN_CTR_RX_256_511 = 5,
  OPEN_CTR_RX_512_1023 = 6,
  OPEN_CTR_RX_1024_1518 = 7,
  OPEN_CTR_RX_1519_1530 = 8,
  OPEN_CTR_RX_GOOD_OVERSIZE = 9,
  OPEN_CTR_RX_ERROR_OVERSIZE = 10,
  OPEN_CTR_RX_GOOD_UNDERSIZE = 11,
  OPEN_CTR_RX_ERROR_UNDERSIZE = 12,
  OPEN_CTR_RX_UCAST_FRAMES = 13,
  OPEN_CTR_RX_MCAST_FRAMES = 14,
  OPEN_CTR_RX_BCAST_FRAMES = 15,
  OPEN_CTR_RX_ALIGN_ERRORS = 16,
  OPEN_CTR_RX_FCS_ERRORS = 17,
  OPEN_CTR_RX_OVERRUNS = 18,
  OPEN_CTR_RX_FRAME_TOO_LONG = 19,
  OPEN_CTR_TX_TOTAL_BYTES = 20,
  OPEN_CTR_TX_64 = 21,
  OPEN_CTR_TX_65_127 = 22,
  OPEN_CTR_TX_128_255 = 23,
  OPEN_CTR_TX_256_511 = 24,
  OPEN_CTR_TX_512_1023 = 25,
  OPEN_CTR_TX_1024_1518 = 26,
  OPEN_CTR_TX_1519_1530 = 27,
  OPEN_CTR_TX_UCAST_FRAMES = 28,
  OPEN_CTR_TX_MCAST_FRAMES = 29,
  OPEN_CTR_TX_BCAST_FRAMES = 30,
  OPEN_CTR_TX_FCS_ERRORS = 31,
  OPEN_CTR_TX_OVERSIZED = 32,
  OPEN_CTR_TX_UNDERRUN_ERRORS = 33,
  OPEN_CTR_TX_ONE_COLLISION = 34,
  OPEN_CTR_TX_MULTIPLE_COLLISION = 35,
  OPEN_CTR_TX_EXCESSIVE_COLLISION = 36,
  OPEN_CTR_TX_LATE_COLLISION = 37,
  OPEN_CTR_TX_RX_64 = 38,
  OPEN_CTR_TX_RX_65_127 = 39,
  OPEN_CTR_TX_RX_128_255 = 40,
  OPEN_CTR_TX_RX_256_511 = 41,
  OPEN_CTR_TX_RX_512_1023 = 42,
  OPEN_CTR_TX_RX_1024_1518 = 43,
  OPEN_CTR_TX_RX_1519_1522 = 44,
  OPEN_CTR_TX_RX_1523_2047 = 45,
  OPEN_CTR_TX_RX_2048_4095 = 46,
  OPEN_CTR_TX_RX_4096_9216 = 47,
  OPEN_CTR_ETHER_STATS_DROP_EVENTS = 48,
  OPEN_CTR_SNMPIFOUTDISCARD_FRAMES = 49,
  OPEN_CTR_SNMPIFINDISCARD_FRAMES = 50,
  OPEN_CTR_RX_TOTAL_FRAMES = 51,
  OPEN_CTR_RX_TOTAL_ERROR_FRAMES = 52,
  OPEN_CTR_TX_TOTAL_FRAMES = 53,
  OPEN_CTR_TX_TOTAL_ERROR_FRAMES = 54,
  OPEN_CTR_TX_TOTAL_COLLISION_FRAMES = 55,
  OPEN_CTR_RX_CRC_ERRORS = 56,
  OPEN_CTR_RX_TOTAL_MAC_ERROR_FRAMES = 57,
  OPEN_CTR_RX_RATE_BITS = 58,
  OPEN_CTR_TX_RATE_BITS = 59,
  OPEN_CTR_RX_RATE_FRAMES = 60,
  OPEN_CTR_TX_RATE_FRAMES = 61,
  OPEN_CTR_ETHER_STATS_HOLD = 62,
};

extern "C" {

// ---- walking and naming ----

// The first interface of a type, and the next one above ifNum; OPEN_E_FAIL when there is none.
open_error_t openapiIfFirstGet(openapiClientHandle_t* client_handle, OPEN_INTF_TYPE_t type,
                               uint32_t* ifNum);
open_error_t openapiIfNextGet(openapiClientHandle_t* client_handle, OPEN_INTF_TYPE_t type,
                              uint32_t ifNum, uint32_t* nextIfNum);

// The next interface above ifNum whose configuration is not in force yet; delete_pending is 1 when
// it is about to go. OPEN_E_FAIL past the last.
open_error_t openapiIfNextChangedGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                     uint32_t* nextIfNum, uint32_t* delete_pending);

// Name such as 0/1. 256 bytes hold any.
open_error_t openapiIfNameGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                              open_buffdesc* name);

// ---- settings and state; all answer OPEN_E_NOT_FOUND for an unknown interface ----

open_error_t openapiIfAdminStateGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                    OPEN_CONTROL_t* state);
open_error_t rpcclt_openapiIfAdminStateSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                           OPEN_CONTROL_t state);

open_error_t openapiIfAutoNegGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                 OPEN_PORT_AUTO_NEG_t* mode);
open_error_t rpcclt_openapiIfAutoNegSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                        OPEN_PORT_AUTO_NEG_t mode);

open_error_t rpcclt_openapiIfConnectorTypeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                              OPEN_IF_CONNECTOR_TYPE_t* type);

// The longest description the interface takes, in characters: without a terminating zero.
open_error_t rpcclt_openapiIfDescrSizeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                          uint32_t* size);

// The description: read with the terminating zero counted (an empty one has size 1), set without.
open_error_t rpcclt_openapiIfDescrGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                      open_buffdesc* descr);
open_error_t rpcclt_openapiIfDescrSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                      open_buffdesc* descr);

open_error_t openapiIfDuplexModeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                    OPEN_PORT_DUPLEX_t* mode);
open_error_t openapiIfLinkStateGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                   OPEN_LINK_STATE_t* state);

// The MAC address as text. 256 bytes hold it.
open_error_t rpcclt_openapiIfMacAddrGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                        open_buffdesc* macAddr);

// Largest frame in bytes. OPEN_E_PARAM: out of the range the switch takes.
open_error_t openapiIfMtuSizeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                 uint32_t* mtuSize);
open_error_t rpcclt_openapiIfMtuSizeSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                        uint32_t mtuSize);

open_error_t rpcclt_openapiIfSoftShutdownStateGet(openapiClientHandle_t* client_handle,
                                                  uint32_t ifNum, OPEN_CONTROL_t* state);
open_error_t rpcclt_openapiIfSoftShutdownStateSet(openapiClientHandle_t* client_handle,
                                                  uint32_t ifNum, OPEN_CONTROL_t state);

// OPEN_E_UNAVAIL: the interface cannot run at that speed.
open_error_t openapiIfSpeedGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                               OPEN_PORT_SPEEDS_t* speed);
open_error_t rpcclt_openapiIfSpeedSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                      OPEN_PORT_SPEEDS_t speed);

// ---- counters ----

// OPEN_E_NOT_FOUND: the interface does not keep this counter; OPEN_E_PARAM: there is no such
// counter or interface.
open_error_t rpcclt_openapiStatGet(openapiClientHandle_t* client_handle,
                                   OPEN_COUNTER_ID_t counterId, uint32_t ifNum, uint64_t* value);
open_error_t rpcclt_openapiStatReset(openapiClientHandle_t* client_handle,
                                     OPEN_COUNTER_ID_t counterId, uint32_t ifNum);
// All counters of the interface.
open_error_t rpcclt_openapiInterfaceStatsReset(openapiClientHandle_t* client_handle,
                                               uint32_t ifNum);
}
