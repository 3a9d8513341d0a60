#include <syslog.h>

#include "platform/l7proc.h"
void l7proc_logf(L7PROC_LOG_SEVERITY_t, int, const char*, int, const char*, ...)
{
}
