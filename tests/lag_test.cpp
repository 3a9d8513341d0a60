// The "lag" module and the switch's port channels behind it, over sockets.
#include <gtest/gtest.h>

#include <string>

#include "engine/rest_web_request_hdr.h"
#include "modules/rest_module_lag.h"
#include "switchsim/switchsim.h"
#include "tests/support/answer_table.h"
#include "tests/support/local_engine.h"

static const char GOT_DATA[] = "Get data successfully.";

TEST(Lags, UnservedPathsAreBadRequests)
{
  engine_reset();
  expect_bad_requests(__LINE__,
                      "GET /lag/ /lag/1/ /lag/1/port/47 PUT /lag/1 POST /lag/1 DELETE /lag/1 POST "
                      "/lag/1/port/ /lag/1/port/x DELETE /lag/1/ports/1");
}

TEST(Lags, AreListedAndShownWithMembers)
{
  engine_reset();
  expect_data({
      {__LINE__, "/lag",    R"({"lag_interfaces":{"1":{"id":1},"2":{"id":2}}})"                    },
      {__LINE__, "/lag/1",  R"({"lag_interface":{"id":1,"name":"ch1","members":{"1":{"portNum":47},
          "2":{"portNum":48}}}})"},
      {__LINE__, "/lag/2",  R"({"lag_interface":{"id":2,"name":"ch2","members":{}}})"              },
      {__LINE__, "/lag/3",  ""                                                                     },
      {__LINE__, "/lag/0",  ""                                                                     },
      {__LINE__, "/lag/99", ""                                                                     },
  });
  expect_xml_answer(__LINE__, "GET", "/lag", 0, GOT_DATA,
                    "<lag_interfaces><lag_interface><id>1</id></lag_interface>"
                    "<lag_interface><id>2</id></lag_interface></lag_interfaces>");
  expect_xml_answer(__LINE__, "GET", "/lag/1", 0, GOT_DATA,
                    "<lag_interface><id>1</id><name>ch1</name><members>"
                    "<member><portNum>47</portNum></member><member><portNum>48</portNum></member>"
                    "</members></lag_interface>");
  // the room is four bytes a slot, and all slots are offered
  expect_calls(
      __LINE__, api_calls("GET", "/lag/1"),
      {"rpcclt_openapiLagPortChannelIdToIfNumZRT(1, >56)", "rpcclt_openapiLagNameMaxLengthGet(>16)",
       "rpcclt_openapiLagNameGet(56, >{4,\"ch1\"})",
       "rpcclt_openapiLagIfNumToPortChannelIdZRT(56, >1)", "rpcclt_openapiLagMaxMemberCountGet(>8)",
       "rpcclt_openapiLagMembersGet(56, >2, >{8,\"47,48\"})"});
  expect_calls(__LINE__, api_calls("GET", "/lag"),
               {"openapiIfFirstGet(2, >56)", "rpcclt_openapiLagIfNumToPortChannelIdZRT(56, >1)",
                "openapiIfNextGet(2, 56, >57)", "rpcclt_openapiLagIfNumToPortChannelIdZRT(57, >2)",
                "openapiIfNextGet(2, 57, "});
  engine_reset(R"({"lags": []})");
  expect_answer(__LINE__, "GET", "/lag", 0, GOT_DATA, R"({"lag_interfaces":{}})");
  engine_reset(R"({"lags": [{"id": 7, "name": "uplink", "members": [3, 1]}]})");
  expect_answer(__LINE__, "GET", "/lag/7", 0, GOT_DATA,
                R"({"lag_interface":{"id":7,"name":"uplink","members":{"1":{"portNum":1},
                     "2":{"portNum":3}}}})");
}

TEST(Lags, APortIsInOneGroupAtMost)
{
  engine_reset();
  expect_answer(__LINE__, "POST", "/lag/2/port/5", 0, "Configure port 5 to LAG 2 successfully.");
  expect_answer(__LINE__, "POST", "/lag/2/port/5", 98, "The same setting is already set.");
  // in another group, no such group, no port, not a member
  expect_open_errors(__LINE__,
                     "POST /lag/1/port/5 /lag/3/port/6 /lag/2/port/55 DELETE /lag/1/port/5 "
                     "/lag/3/port/5");
  expect_answer(__LINE__, "DELETE", "/lag/2/port/5", 0, "Delete port 5 from LAG 2 successfully.");
  expect_open_errors(__LINE__, "DELETE /lag/2/port/5");
  make_requests(__LINE__,
                "POST /lag/1/port/5 /lag/1/port/10 /lag/1/port/11 /lag/1/port/12 /lag/1/port/13");
  expect_calls(
      __LINE__, api_calls("POST", "/lag/1/port/15"),
      {"rpcclt_openapiLagPortChannelIdToIfNumZRT(1, >56)", "rpcclt_openapiLagPortAdd(56, 15) = 0",
       "rpcclt_openapiLagIfNumToPortChannelIdZRT(56, >1)"});
  expect_calls(__LINE__, api_calls("POST", "/lag/1/port/16"),
               {"rpcclt_openapiLagPortChannelIdToIfNumZRT(1, >56)",
                "rpcclt_openapiLagPortAdd(56, 16) = -23"});
}

// A group has link as long as one of its members has.
TEST(Lags, LinkIsThatOfTheMembers)
{
  engine_reset();  // no link on 47 and 48
  expect_in_answer(__LINE__, "/if/56", R"("linkState": "down", "speed": "LAG")");
  make_requests(__LINE__, "POST /lag/1/port/5");
  expect_in_answer(__LINE__, "/if/56", R"("linkState": "up")");
  make_requests(__LINE__, "PUT /if/5/adminState?value=0");
  expect_in_answer(__LINE__, "/if/56", R"("linkState": "down")");
}

TEST(Lags, EveryCallIsChecked)
{
  // that a number cannot be translated is a wrong parameter, whatever went wrong
  const std::vector<std::string> translations = {"rpcclt_openapiLagPortChannelIdToIfNumZRT",
                                                 "rpcclt_openapiLagIfNumToPortChannelIdZRT"};
  engine_reset();
  expect_each_call_checked(
      __LINE__, "GET", "/lag",
      {"openapiIfFirstGet", "openapiIfNextGet", "rpcclt_openapiLagIfNumToPortChannelIdZRT"});
  expect_each_call_checked(__LINE__, "GET", "/lag/1", translations);
  expect_each_call_checked(__LINE__, "POST", "/lag/2/port/5", translations,
                           [] { api_request("DELETE", "/lag/2/port/5", "json"); });
  expect_each_call_checked(__LINE__, "DELETE", "/lag/2/port/6", translations,
                           [] { api_request("POST", "/lag/2/port/6", "json"); });
  for (const std::string& call : translations) {
    set_fault(call.c_str(), "{'result': -24}");
    expect_open_error(__LINE__, "GET", "/lag/1");
    expect_open_error(__LINE__, "DELETE", "/lag/1/port/48");
    switchsim_faults_clear();
  }
  set_fault("openapiIfFirstGet", "{'result': -25}");
  expect_answer(__LINE__, "GET", "/lag", 0, GOT_DATA, R"({"lag_interfaces":{}})");
  switchsim_faults_clear();
  // the port is in the group although the answer says otherwise
  set_fault("rpcclt_openapiLagIfNumToPortChannelIdZRT", "{'value': 0}");
  expect_open_error(__LINE__, "POST", "/lag/2/port/7");
  expect_open_error(__LINE__, "GET", "/lag");
  switchsim_faults_clear();
  expect_in_answer(__LINE__, "/lag/2", R"("portNum": 7)");
}

static std::string lag_with(int id, const char* name, const char* members)
{
  return "{\"lag_interface\":{\"id\":" + std::to_string(id) + ",\"name\":\"" + name +
         "\",\"members\":" + members + "}}";
}

TEST(Lags, OddAnswersOfTheSwitchAreSurvived)
{
  const std::string first = lag_with(1, "ch1", R"({"1":{"portNum":47},"2":{"portNum":48}})");
  const std::string only47 = lag_with(1, "ch1", R"({"1":{"portNum":47}})");
  const std::string second = lag_with(2, "ch2", "{}");
  const std::string long_name = lag_with(2, "1234567890123456", "{}");
  const std::string odd_id = lag_with(9, "ch2", "{}");
  const std::string all_slots = lag_with(2, "ch2", R"({"1":{"portNum":0},"2":{"portNum":0},
      "3":{"portNum":0},"4":{"portNum":0},"5":{"portNum":0},"6":{"portNum":0},
      "7":{"portNum":0},"8":{"portNum":0}})");
  const char BOTH[] = R"({"lag_interfaces":{"1":{"id":1},"2":{"id":2}}})";
  const char NAME_LEN[] = "rpcclt_openapiLagNameMaxLengthGet";
  const char MEMBERS_MAX[] = "rpcclt_openapiLagMaxMemberCountGet";
  const char MEMBERS[] = "rpcclt_openapiLagMembersGet";
  const char TO_ID[] = "rpcclt_openapiLagIfNumToPortChannelIdZRT";
  const char TO_IF_NUM[] = "rpcclt_openapiLagPortChannelIdToIfNumZRT";
  expect_data_with_fault(
      "{}",
      {
          {__LINE__, NAME_LEN,                   "{'value': 0}",                             "/lag/1", ""       },
          {__LINE__, NAME_LEN,                   "{'value': 4}",                             "/lag/1", first    },
          {__LINE__, NAME_LEN,                   "{'value': 4294967295}",                    "/lag/1", first    },
          {__LINE__, "rpcclt_openapiLagNameGet", "{'value': '1234567890123456'}",            "/lag/2",
           long_name                                                                                            },
          {__LINE__, MEMBERS_MAX,                "{'value': 0}",                             "/lag/2", second   },
          {__LINE__, MEMBERS_MAX,                "{'value': 1}",                             "/lag/1", ""       },
          {__LINE__, MEMBERS_MAX,                "{'value': 4294967295}",                    "/lag/1", first    },
          {__LINE__, MEMBERS,                    "{'value': 4294967295}",                    "/lag/2", all_slots},
          {__LINE__, MEMBERS,                    "{'value': 1}",                             "/lag/1", only47   },
          {__LINE__, "openapiIfNextGet",         "{'result': 0, 'value': 57}",               "/lag",   BOTH     },
          {__LINE__, "openapiIfNextGet",         "{'result': -25, 'value': 57, 'times': 1}", "/lag",   BOTH     },
          {__LINE__, "openapiIfNextGet",         "{'result': -25}",                          "/lag",   ""       },
          {__LINE__, TO_IF_NUM,                  "{'result': -25, 'value': 56}",             "/lag/1", ""       },
          {__LINE__, TO_ID,                      "{'result': -25, 'value': 9}",              "/lag/2",
           odd_id                                                                                               }, // its result is not looked at
  });
}

TEST(Lags, WholeGroupsWithoutARoute)
{
  engine_reset();
  EXPECT_EQ(unrouted_answer(api_lag_delete_specified_id, "/lag/1?format=json"),
            json_envelope(0, "Delete LAG 1 successfully."));
  expect_answer(__LINE__, "GET", "/lag", 0, GOT_DATA, R"({"lag_interfaces":{"1":{"id":2}}})");
  expect_answer(__LINE__, "POST", "/lag/2/port/47", 0, "Configure port 47 to LAG 2 successfully.");
  EXPECT_NE(unrouted_answer(api_lag_create_specified_id, "/lag/1").find("<rlt_code>99<"),
            std::string::npos);
  EXPECT_NE(unrouted_answer(api_lag_create_specified_id, "/lag/2").find("<rlt_code>98<"),
            std::string::npos);
  set_fault("rpcclt_openapiLagPortChannelIdToIfNumZRT", "{'result': 0, 'value': 56}");
  EXPECT_EQ(unrouted_answer(api_lag_create_specified_id, "/lag/1?format=json"),
            json_envelope(0, "Create LAG 1 successfully."));
  switchsim_faults_clear();
  expect_answer(__LINE__, "GET", "/lag/1", 0, GOT_DATA,
                R"({"lag_interface":{"id":1,"name":"ch1","members":{}}})");
}
