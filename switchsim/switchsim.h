// The simulated switch, as tests in the same process steer it. The management API itself is in
// platform/. Every call here may come from any thread, also while a call of the API runs.
#pragma once

#include <string>

// Puts the whole switch back to the built-in profile and then applies this one (JSON text; null or
// empty: the built-in profile alone). Clients stay registered; faults are gone. Returns an empty
// text, or why the profile was refused, its key first ("accounts[0].user: is missing"); the switch
// is then the built-in one.
std::string switchsim_reset(const char* profile_json);

// Makes a call of the API go wrong, by its full name, with JSON like the profile's "faults" gives:
// {"result": -23, "value": 9, "after": 2, "times": 1, "delay_ms": 50}. Replaces the call's earlier
// fault. False when it was refused, and nothing has changed; error, when given, then says why.
bool switchsim_fault_set(const char* call, const char* json, std::string* error = nullptr);
void switchsim_faults_clear();

// Collects the trace in memory from now on, starting with nothing (a trace file goes on beside it).
void switchsim_trace_start();
// What was collected since the start or the last take: one line a call, each ended by a newline.
std::string switchsim_trace_take();
