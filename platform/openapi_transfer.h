// Management API: file transfers between the switch and a server. One runs at a time.
#pragma once

#include "platform/openapi_types.h"

// The transfer result code of a transfer that went well; every other code is a failure or says that
// it is not over.
constexpr uint32_t OPEN_TRANSFER_RESULT_SUCCESS = 12;

extern "C" {

// Starts a transfer from or to the URL and answers at once. file names what is transferred on the
// switch. Both texts end at their terminating zero; the sizes count it and may be larger.
// OPEN_E_UNAVAIL: one is running; OPEN_E_ERROR: it could not be started; OPEN_E_PARAM: a URL or
// name that the switch refuses; OPEN_E_RPC: the switch restarts.
open_error_t rpcclt_openapiTransferFileDownload(openapiClientHandle_t* client_handle,
                                                open_buffdesc* url, open_buffdesc* file);
open_error_t rpcclt_openapiTransferFileUpload(openapiClientHandle_t* client_handle,
                                              open_buffdesc* url, open_buffdesc* file);

// The switch restarts when the running transfer has ended well.
open_error_t rpcclt_openapiTransferCompletedRebootSet(openapiClientHandle_t* client_handle);

open_error_t rpcclt_openapiTransferInProgressGet(openapiClientHandle_t* client_handle,
                                                 OPEN_BOOL_t* inProgress);

// How a transfer ended; index 0 is the latest one.
open_error_t rpcclt_openapiTransferResultCodeGet(openapiClientHandle_t* client_handle,
                                                 uint32_t index, uint32_t* resultCode);

// State of the latest transfer of the direction as text (256 bytes hold any), and what part of the
// running or latest transfer is done, in percent.
open_error_t rpcclt_openapiTransferDownloadStatusGet(openapiClientHandle_t* client_handle,
                                                     open_buffdesc* status);
open_error_t rpcclt_openapiTransferUploadStatusGet(openapiClientHandle_t* client_handle,
                                                   open_buffdesc* status);
open_error_t rpcclt_openapiTransferProgressGet(openapiClientHandle_t* client_handle,
                                               uint32_t* progress);
}
