// Another management API under the name the engine is linked against: it refuses every client.
#include "platform/openapi_client.h"

open_error_t openapiClientRegister(const char*, openapiClientHandle_t*)
{
  return OPEN_E_UNAVAIL;
}
