// Scripts of requests: what is asked of the engine one after the other, with a session, and what
// each request must lead to. tests/api holds a file for each module, which api_test reads when it
// runs; a test in C++ hands over the steps between its own with run_script.
//
//   # A comment.
//   let $port Interface 3              "$port" stands for this from here on: in the test or, before
//                                      the first one, in the whole file
//   test are created and deleted       a test begins, on a fresh switch; its name
//   for each $name | $value            the test is made once for each of the lines that follow,
//     pvid         | 10                which are indented and give the names their texts
//
// Then come the steps, one a line. What is indented by two belongs to the step above it; what is
// indented more goes on with the line above it.
//
//   POST /if/3/vlan/10 /vlans/7        each request must succeed
//   PUT /if/3/pvid?value=7 ?value=10   "?" takes the place of the query of the path before it
//   POST /vlans/{7..9}                 the same as /vlans/7 /vlans/8 /vlans/9
//   POST /vlans/1  result 1 VLAN 1 exist.
//                                      the answer has this code and message and no data; the codes
//                                      0, 98, 99 and 902 need no message
//   GET /vlans                         what must come may stand behind the request or below it, and
//     result 0 Get data successfully.  be more than one thing, with two blanks between in a line
//     data {"vlans": {}}               the answer's data, as JSON, or as <xml>; without a result: a
//                                      success. JSON of a GET is asked for as XML, too, and
//                                      compared
//   PUT /ssh/timeout?value=9  done Update SSH session timeout successfully.
//                                      a success with this message and no data in "rlt_data"
//   GET /if/3  contains "pvid": 1,     the JSON answer has this text in it
//   GET /if/3  until "pvid": 1,        the same, asked again until it has
//
// These need the simulated switch:
//
//   switch {"ports": 3}                a fresh switch with this profile
//   fault IfNextGet {"result": -25}    from here on the call goes wrong (docs/switchsim.md)
//   no faults                          and from here on none
//   GET /if  with fault IfNextGet {}   the call goes wrong for this request; once for each fault.
//                                      What must come with one fault alone may stand behind it
//   POST /vlans/0  refused -29         the last call has this result; the answer's code is 98 for
//                                      -24 (exists), 99 for any other
//   PUT /x?value=1  calls A(1) = 0 then B then C(3, ...)
//                                      the calls made, in this order and number: a name, or how the
//                                      line of the trace begins
//   PUT /x  no calls
//   CALL api_lag_delete_specified_id /lag/1
//                                      a request that no route leads anywhere goes to the operation
//   sweep GET /if but f g after POST /vlans/9
//                                      everything that can go wrong with the request's calls does
//                                      (api_sweep.cpp)
//
// Calls are named without "rpcclt_openapi" or "openapi". $[64-times-n] stands for 64 letters n.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "httpd/httpd.h"
#include "platform/openapi_types.h"
#include "tests/support/http_client.h"

// line is __LINE__ where the steps begin. In texts names and what they stand for take turns: every
// "$NAME" of the steps is replaced.
void run_script_with(int line, std::string steps, const std::vector<std::string>& texts);

template <typename... Texts>
void run_script(int line, const std::string& steps, const Texts&... texts)
{
  run_script_with(line, steps, {texts...});
}

// Makes a test of each one in the file, for RUN_ALL_TESTS. A test with a step that needs the
// simulated switch is in the suite FILE_simulated, any other in FILE.
void script_file_add(const std::string& path);

// Makes a call of the management API go wrong: JSON like a profile's, with ' for ".
void set_fault(const std::string& call, std::string json);

// ---- for procedures of steps ----

using script_request_t = std::function<void(const char* method, const std::string& path)>;

// Hands on each of the requests that these words are.
void script_each(int line, const std::vector<std::string>& words, const script_request_t& judge);
std::vector<std::string> script_split(const std::string& text, const std::string& separator);
// The name without its prefix.
std::string script_short_name(const std::string& call);
// JSON data as XML shows it.
std::string script_xml(const std::string& json);
// Puts the switch back as the last step "switch" did.
void script_switch_again();
