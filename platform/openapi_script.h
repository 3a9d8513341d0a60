// Management API: CLI scripts stored on the switch. File names travel with their terminating zero
// counted.
#pragma once

#include "platform/openapi_types.h"

// A script's file name: at most 32 characters and the terminating zero.
using OPEN_CLI_SCRIPT_FILENAME_t = char[33];

constexpr uint32_t OPEN_CLI_SCRIPT_FILES_MAX = 100;

struct OPEN_CLI_SCRIPT_FILE_LIST_t {
  uint32_t count;
  OPEN_CLI_SCRIPT_FILENAME_t filelist[OPEN_CLI_SCRIPT_FILES_MAX];
};

extern "C" {

// Checks the whole script, then runs its commands. OPEN_E_NOT_FOUND: no such script; OPEN_E_FAIL: a
// line is wrong, and nothing was changed.
open_error_t rpcclt_openapiTxtCfgValidateAndApply(openapiClientHandle_t* client_handle,
                                                  open_buffdesc* file);
open_error_t rpcclt_openapiTxtCfgFilesListGet(openapiClientHandle_t* client_handle,
                                              OPEN_CLI_SCRIPT_FILE_LIST_t* list);
open_error_t rpcclt_openapiTxtCfgFileDelete(openapiClientHandle_t* client_handle,
                                            open_buffdesc* file);
}
