// Management API: the switch's user accounts.
#pragma once

#include "platform/openapi_types.h"

enum OPEN_LOGIN_ACCESS_LEVELS_t : int32_t {
  OPEN_LOGIN_ACCESS_NONE = 0,
  OPEN_LOGIN_ACCESS_READ_ONLY = 1,
  OPEN_LOGIN_ACCESS_READ_WRITE = 2,
};

extern "C" {

// Checks a user's password. Both sizes count the terminating zero. OPEN_E_FAIL: unknown user or
// wrong password.
open_error_t rpcclt_openapiAuthenticateUser(openapiClientHandle_t* client_handle,
                                            open_buffdesc* user, open_buffdesc* password,
                                            OPEN_LOGIN_ACCESS_LEVELS_t* accessLevel);
}
