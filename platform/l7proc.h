// The platform's process library: logging and the crash log.
#pragma once

enum L7PROC_LOG_SEVERITY_t : int {
  L7PROC_LOG_SEVERITY_EMERGENCY = 0,
  L7PROC_LOG_SEVERITY_ALERT = 1,
  L7PROC_LOG_SEVERITY_CRITICAL = 2,
  L7PROC_LOG_SEVERITY_ERROR = 3,
  L7PROC_LOG_SEVERITY_WARNING = 4,
  L7PROC_LOG_SEVERITY_NOTICE = 5,
  L7PROC_LOG_SEVERITY_INFO = 6,
  L7PROC_LOG_SEVERITY_DEBUG = 7,
};

extern "C" {

// Writes one line to the platform's log. component is the platform's number of the program (0:
// none); source and line say who writes. The text is as long as it needs to be.
void l7proc_logf(L7PROC_LOG_SEVERITY_t severity, int component, const char* source, int line,
                 const char* format, ...) __attribute__((format(printf, 5, 6)));

// From now on a crash of the process leaves a crash log behind.
void l7proc_crashlog_register(void);
}
