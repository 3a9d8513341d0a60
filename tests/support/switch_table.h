// Tables of requests, made one after the other with a session, that tell of the switch.
#pragma once

#include <initializer_list>
#include <string>

// Requests and what the switch answers to the last call that each leads to; the answer must have
// the code that goes with it.
struct switch_case {
  int line;
  const char* method;
  std::string path;
  int result;  // open_error_t
};
void expect_switch_results(std::initializer_list<switch_case> cases);

// One GET while a call goes wrong as the fault says: the answer is "Get data successfully." with
// this data, or 99 when it is null.
void expect_data_under_fault(int line, const char* call, const char* fault, const char* path,
                             const char* json);
