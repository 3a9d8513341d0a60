// Growable character string that collects rendered text.
#pragma once

#include <stddef.h>

// Note: the opposite sense of RC_t.
enum DYN_STRING_RC_t { DYN_STRING_RC_FALSE = 0, DYN_STRING_RC_TRUE = 1 };

struct dyn_string_t {
  char* string;  // NUL-terminated text, heap
  int size;      // bytes allocated for string
  int len;       // length of the text
  bool lost;     // memory was short for a text that should have been appended
};

// A new empty string with room for 1023 characters, or null when memory is short.
// The caller owns it and frees it with dynStringFree.
dyn_string_t* dynStringNew(void);

// Appends a copy of the text. DYN_STRING_RC_FALSE, with the string unchanged, for a null argument
// or when memory is short.
DYN_STRING_RC_t dynStringAppend(dyn_string_t* pStr, const char* pAddStr);

// The same for a text whose length the caller knows; bytes must hold no zero.
DYN_STRING_RC_t dynStringAppendBytes(dyn_string_t* pStr, const char* bytes, size_t length);

// Makes the text so much longer and returns where its new part begins, for the caller to fill;
// null, with the string unchanged, when memory is short.
char* dynStringExtend(dyn_string_t* pStr, size_t length);

// Frees the string and sets the pointer to null. A null argument or pointer is allowed.
void dynStringFree(dyn_string_t** pStr);
