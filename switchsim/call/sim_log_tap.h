// Log lines of the process, as its process library hands them on to whoever wants them too. A
// process with another process library has no such procedure: look it up by name.
#pragma once

// severity: as syslog counts, 0 is the most urgent one. The text is good for the length of the
// call, which may come from any thread.
using log_tap_t = void (*)(int severity, const char* text);

extern "C" {
// From now on every line goes there too; null: nowhere.
void switchsim_log_tap(log_tap_t tap);
}
