#include "httpd/mg_date.h"

#include <stdio.h>
#include <string.h>

void mg_format_http_date(char (&text)[MG_HTTP_DATE_SIZE], time_t time)
{
  struct tm utc = {};
  text[0] = '\0';
  if (gmtime_r(&time, &utc))
    strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &utc);
}

static int month_index(const char* name)
{
  static const char* const months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                       "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  for (int i = 0; i < 12; i++)
    if (strcmp(months[i], name) == 0)
      return i;
  return -1;
}

time_t mg_parse_http_date(const char* text)
{
  struct tm utc = {};
  char month[4] = "";
  int day = 0, year = 0, hour = 0, minute = 0, second = 0;
  // Nine digits at most, so that no number overflows; what is out of range fails below.
  bool read =
      sscanf(text, "%9d/%3s/%9d %9d:%9d:%9d", &day, month, &year, &hour, &minute, &second) == 6 ||
      sscanf(text, "%9d %3s %9d %9d:%9d:%9d", &day, month, &year, &hour, &minute, &second) == 6 ||
      sscanf(text, "%*3s, %9d %3s %9d %9d:%9d:%9d", &day, month, &year, &hour, &minute, &second) ==
          6 ||
      sscanf(text, "%9d-%3s-%9d %9d:%9d:%9d", &day, month, &year, &hour, &minute, &second) == 6;
  utc.tm_mon = month_index(month);
  if (!read || utc.tm_mon < 0 || year < 1971 || year > 9999 || day < 1 || day > 31 || hour < 0 ||
      hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 60)
    return -1;
  utc.tm_year = year - 1900;
  utc.tm_mday = day;
  utc.tm_hour = hour;
  utc.tm_min = minute;
  utc.tm_sec = second;
  return timegm(&utc);
}
