#include "tests/support/switch_table.h"

#include <gtest/gtest.h>

#include "switchsim/switchsim.h"
#include "tests/support/local_engine.h"

void expect_switch_results(std::initializer_list<switch_case> cases)
{
  for (const switch_case& c : cases) {
    switchsim_trace_start();
    std::string body = api_request(c.method, c.path, "json").body;
    std::string trace = switchsim_trace_take();
    std::string result = ") = " + std::to_string(c.result) + "\n";
    EXPECT_TRUE(trace.size() > result.size() &&
                trace.compare(trace.size() - result.size(), result.size(), result) == 0)
        << "case of line " << c.line << ": " << c.method << " " << c.path << "\n"
        << trace;
    int code = c.result == 0 ? 0 : c.result == -24 ? 98 : 99;
    EXPECT_NE(body.find("\"rlt_code\": " + std::to_string(code) + ","), std::string::npos)
        << "case of line " << c.line << ": " << body;
  }
}

void expect_data_under_fault(int line, const char* call, const char* fault, const char* path,
                             const char* json)
{
  ASSERT_TRUE(switchsim_fault_set(call, fault)) << "case of line " << line;
  if (json)
    expect_answer(line, "GET", path, 0, "Get data successfully.", json);
  else
    expect_open_error(line, "GET", path);
  switchsim_faults_clear();
}
