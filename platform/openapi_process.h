// Management API: memory and CPU use of the switch.
#pragma once

#include "platform/openapi_types.h"

extern "C" {

// Kilobytes.
open_error_t rpcclt_openapiProcMemInfoGet(openapiClientHandle_t* client_handle,
                                          uint32_t* totalMemory, uint32_t* allocMemory,
                                          uint32_t* freeMemory);

// Use of the CPU over several periods as text, one item a period: its label, ":", the use, ";".
// numEntries is the number of periods. 256 bytes hold it.
open_error_t rpcclt_openapiProcTotalCpuUtilGet(openapiClientHandle_t* client_handle,
                                               uint32_t* numEntries, open_buffdesc* util);

// The same by task, one line a task: its id, ",", its name, ",", and one item a period as above.
// taskEntries is the number of lines; tasks that do not fit the buffer are left out.
open_error_t rpcclt_openapiProcTaskCpuUtilGet(openapiClientHandle_t* client_handle,
                                              uint32_t* taskEntries, open_buffdesc* util);
}
