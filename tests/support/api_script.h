// Scripts of requests, made one after the other with a session, with what each must lead to.
//
// One step a line; a line that begins with a blank goes on with the step before it, and what begins
// with // is a comment.
//
//   reset {"ports": 3}             puts the switch back, with this profile
//   POST /if/3/vlan/10 /vlans/7 PUT /if/3/pvid?value=7 ?value=10
//                                  each request is answered with a success; "?" and what follows
//                                  takes the place of the query of the path before it
//   PUT /if/0/pvid -> 99           answered with this code and its fixed text (98, 99, 902)
//   POST /vlans/1 -> 1 VLAN 1 ...  answered with this code and message; {JSON} or <XML> data may
//                                  follow and decide the format that is asked for
//   GET /vlans -> {"vlans": ...}   the same with code 0 and "Get data successfully."
//   POST /vlans/0 -> -29           the last call that the switch gets has this result
//   GET /if/3 ~ "pvid": 1,         the JSON answer has this text in it
//   GET /if/3 ~~ "pvid": 1,        the same, asked again until it has
//   PUT /x?value=1 => a(1 | b(     the calls made begin like this, in this order and number
//   check GET /if but f g after POST /vlans/9
//                                  each call that the request makes goes wrong in turn: the answer
//                                  must be 99, or 98 where the call answers "exists", for all calls
//                                  but f and g; these requests are made before each one ("reset"
//                                  puts the switch back as the last such step did)
//   [f {'value': 1}] GET ...       a step while a call goes wrong; without a step: from here on
//   [f {...} | g {...}] GET ...    the same step once for each
//   []                             no call goes wrong any more
//
// Calls are named without "rpcclt_openapi" or "openapi". JSON data that a GET answers while no call
// goes wrong must come as XML, too. $64n stands for 64 times the letter n.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "httpd/httpd.h"
#include "platform/openapi_types.h"

// line is __LINE__ where the script begins. In texts names and what they stand for take turns:
// every
// "$NAME" of the script is replaced, in the order given.
void run_script_with(int line, std::string script, const std::vector<std::string>& texts);

template <typename... Texts>
void run_script(int line, const std::string& script, const Texts&... texts)
{
  run_script_with(line, script, {texts...});
}

// A test that is nothing but a script, with what run_script takes behind the line.
#define SCRIPT_TEST(suite, name, ...)  \
  TEST(suite, name)                    \
  {                                    \
    run_script(__LINE__, __VA_ARGS__); \
  }                                    \
  static_assert(true, "takes the semicolon")

// Makes a call of the management API go wrong: JSON like a profile's, with ' for ".
void set_fault(const std::string& call, std::string json);

// The answer of an operation that is called for this path without any route.
using unrouted_operation_t = int (*)(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn);
std::string unrouted_answer(unrouted_operation_t operation, const std::string& path);
