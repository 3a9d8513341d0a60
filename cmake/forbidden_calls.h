// Included in front of every source file by the build: the unbounded string calls are deprecated
// here, and deprecated calls are errors, so a call of one of them fails the build.
#pragma once

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#ifdef __cplusplus
extern "C" {
#define FORBIDDEN_CALL noexcept __attribute__((deprecated("unbounded: use a bounded write")))
#else
#define FORBIDDEN_CALL __attribute__((deprecated("unbounded: use a bounded write")))
#endif

char* strcpy(char* dst, const char* src) FORBIDDEN_CALL;
char* strcat(char* dst, const char* src) FORBIDDEN_CALL;
int sprintf(char* dst, const char* format, ...) FORBIDDEN_CALL;
int vsprintf(char* dst, const char* format, va_list args) FORBIDDEN_CALL;

#ifdef __cplusplus
}
#endif
#undef FORBIDDEN_CALL
