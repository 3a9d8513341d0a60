#include "engine/rest_dyn_string.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>

static constexpr int DYN_STRING_STEP = 1024;

dyn_string_t* dynStringNew(void)
{
  dyn_string_t* str = static_cast<dyn_string_t*>(malloc(sizeof *str));
  if (!str)
    return nullptr;
  str->string = static_cast<char*>(malloc(DYN_STRING_STEP));
  if (!str->string) {
    free(str);
    return nullptr;
  }
  str->string[0] = '\0';
  str->size = DYN_STRING_STEP;
  str->len = 0;
  str->lost = false;
  return str;
}

DYN_STRING_RC_t dynStringAppend(dyn_string_t* pStr, const char* pAddStr)
{
  return pAddStr ? dynStringAppendBytes(pStr, pAddStr, strlen(pAddStr)) : DYN_STRING_RC_FALSE;
}

char* dynStringExtend(dyn_string_t* pStr, size_t length)
{
  if (length > static_cast<size_t>(INT_MAX - DYN_STRING_STEP - pStr->size)) {
    pStr->lost = true;
    return nullptr;
  }
  int old_len = pStr->len;
  int new_len = old_len + static_cast<int>(length);
  if (new_len + 1 > pStr->size) {
    int new_size = pStr->size + static_cast<int>(length) + DYN_STRING_STEP;
    // realloc, not a fresh copy: a long answer grows hundreds of times.
    char* grown = static_cast<char*>(realloc(pStr->string, static_cast<size_t>(new_size)));
    if (!grown) {
      pStr->lost = true;
      return nullptr;
    }
    pStr->string = grown;
    pStr->size = new_size;
  }
  pStr->len = new_len;
  pStr->string[new_len] = '\0';
  return pStr->string + old_len;
}

DYN_STRING_RC_t dynStringAppendBytes(dyn_string_t* pStr, const char* bytes, size_t length)
{
  char* at = pStr ? dynStringExtend(pStr, length) : nullptr;
  if (!at)
    return DYN_STRING_RC_FALSE;
  memcpy(at, bytes, length);
  return DYN_STRING_RC_TRUE;
}

void dynStringFree(dyn_string_t** pStr)
{
  if (!pStr || !*pStr)
    return;
  free((*pStr)->string);
  free(*pStr);
  *pStr = nullptr;
}
