// Dates in headers.
#pragma once

#include <stddef.h>
#include <time.h>

// "Sun, 06 Nov 1994 08:49:37 GMT"
constexpr size_t MG_HTTP_DATE_SIZE = 64;
void mg_format_http_date(char (&text)[MG_HTTP_DATE_SIZE], time_t time);

// Seconds since the epoch, or -1.
time_t mg_parse_http_date(const char* text);
