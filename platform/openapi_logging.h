// Management API: logging of the switch, and the hosts it logs to.
#pragma once

#include "platform/openapi_types.h"

enum OPEN_LOG_SEVERITY_t : int32_t {
  OPEN_LOG_SEVERITY_UNDEFINED = 0,
  OPEN_LOG_SEVERITY_EMERGENCY = 1,
  OPEN_LOG_SEVERITY_ALERT = 2,
  OPEN_LOG_SEVERITY_CRITICAL = 3,
  OPEN_LOG_SEVERITY_ERROR = 4,
  OPEN_LOG_SEVERITY_WARNING = 5,
  OPEN_LOG_SEVERITY_NOTICE = 6,
  OPEN_LOG_SEVERITY_INFO = 7,
  OPEN_LOG_SEVERITY_DEBUG = 8,
};

extern "C" {

// Logging of CLI commands.
open_error_t rpcclt_openapiCliCmdLoggingModeGet(openapiClientHandle_t* client_handle,
                                                OPEN_CONTROL_t* mode);
open_error_t rpcclt_openapiCliCmdLoggingModeSet(openapiClientHandle_t* client_handle,
                                                OPEN_CONTROL_t mode);

// Logging to the console, up to a severity.
open_error_t rpcclt_openapiConsoleLoggingModeGet(openapiClientHandle_t* client_handle,
                                                 OPEN_CONTROL_t* mode);
open_error_t rpcclt_openapiConsoleLoggingModeSet(openapiClientHandle_t* client_handle,
                                                 OPEN_CONTROL_t mode);
open_error_t rpcclt_openapiConsoleLoggingSeverityGet(openapiClientHandle_t* client_handle,
                                                     OPEN_LOG_SEVERITY_t* severity);
open_error_t rpcclt_openapiConsoleLoggingSeveritySet(openapiClientHandle_t* client_handle,
                                                     OPEN_LOG_SEVERITY_t severity);

// Syslog; port 0 sets the default port.
open_error_t rpcclt_openapiSysLogModeGet(openapiClientHandle_t* client_handle,
                                         OPEN_CONTROL_t* mode);
open_error_t rpcclt_openapiSysLogModeSet(openapiClientHandle_t* client_handle, OPEN_CONTROL_t mode);
open_error_t rpcclt_openapiSysLogPortGet(openapiClientHandle_t* client_handle, uint16_t* port);
open_error_t rpcclt_openapiSysLogPortSet(openapiClientHandle_t* client_handle, uint16_t port);

// ---- logging hosts ----

open_error_t rpcclt_openapiMaxLoggingHostsSupportedGet(openapiClientHandle_t* client_handle,
                                                       uint32_t* count);
// Bytes that hold any host's address, the terminating zero included. Every host below travels in a
// descriptor of this size, whatever its text's length; the text ends at its terminating zero.
open_error_t rpcclt_openapiLoggingHostMaxAddrLenGet(openapiClientHandle_t* client_handle,
                                                    uint32_t* length);

// The host after the one in the buffer on entry; the empty text starts the walk. OPEN_E_FAIL past
// the last.
open_error_t rpcclt_openapiLoggingHostIpAddrNextGet(openapiClientHandle_t* client_handle,
                                                    open_buffdesc* host);

// A host is an IPv4 address, an IPv6 address or a name. OPEN_E_PARAM: none of them;
// OPEN_E_EXISTS; OPEN_E_FULL; OPEN_E_NOT_FOUND.
open_error_t rpcclt_openapiLoggingHostAdd(openapiClientHandle_t* client_handle,
                                          open_buffdesc* host);
open_error_t rpcclt_openapiLoggingHostRemove(openapiClientHandle_t* client_handle,
                                             open_buffdesc* host);
open_error_t rpcclt_openapiLoggingHostPortGet(openapiClientHandle_t* client_handle,
                                              open_buffdesc* host, uint16_t* port);
// Port 0 sets the default port.
open_error_t rpcclt_openapiLoggingHostPortSet(openapiClientHandle_t* client_handle,
                                              open_buffdesc* host, uint16_t port);
open_error_t rpcclt_openapiLoggingHostSeverityGet(openapiClientHandle_t* client_handle,
                                                  open_buffdesc* host,
                                                  OPEN_LOG_SEVERITY_t* severity);
open_error_t rpcclt_openapiLoggingHostSeveritySet(openapiClientHandle_t* client_handle,
                                                  open_buffdesc* host,
                                                  OPEN_LOG_SEVERITY_t severity);
}
