// The "vlans" module and the switch's VLANs behind it, over sockets.
#include <gtest/gtest.h>

#include <string.h>

#include <algorithm>
#include <string>

#include "engine/rest_web_request_hdr.h"
#include "modules/rest_module_vlan.h"
#include "switchsim/switchsim.h"
#include "tests/support/answer_table.h"
#include "tests/support/local_engine.h"

static const char GOT_DATA[] = "Get data successfully.";
static const char INVALID_ID[] = "VLAN ID not valid.";
static const char INVALID_VALUE[] = "The value of parameter is invalid.";

TEST(Vlans, UnservedPathsAreBadRequests)
{
  engine_reset();
  expect_bad_requests(
      __LINE__,
      "GET /vlans/ /vlans/1/ /vlans/1x /vlans/1/name /vlans/pendingChanges/ "
      "/vlans/pendingchanges POST /vlans /vlans/-1 PUT /vlans/1 /vlans/1/names?value=a "
      "/vlans/1/nam?value=a /vlans/1/eman?value=a /vlans/1/name/?value=a DELETE /vlans "
      "/vlans/1/name");
}

TEST(Vlans, AreCreatedListedRenamedAndDeleted)
{
  engine_reset(R"({"vlan_max": 100})");
  const std::string name32 = "/vlans/100/name?value=" + std::string(32, 'n');
  const std::string name33 = name32 + "n";
  const std::string name256 = "/vlans/100/name?value=" + std::string(256, 'n');
  expect_answer(__LINE__, "GET", "/vlans", 0, GOT_DATA, R"({"vlans":{"1":{"id":1}}})");
  expect_answers({
      {__LINE__, "POST", "/vlans/100",        0, "Create VLAN 100 successfully."},
      {__LINE__, "POST", "/vlans/5",          0, "Create VLAN 5 successfully."  },
      {__LINE__, "POST", "/vlans/5",          1, "VLAN 5 exist."                },
      {__LINE__, "POST", "/vlans/1",          1, "VLAN 1 exist."                },
      {__LINE__, "POST", "/vlans/0",          2, INVALID_ID                     },
      {__LINE__, "POST", "/vlans/101",        2, INVALID_ID                     },
      {__LINE__, "POST", "/vlans/4294967298", 2, INVALID_ID                     },
  });
  expect_answer(__LINE__, "GET", "/vlans", 0, GOT_DATA,
                R"({"vlans":{"1":{"id":1},"2":{"id":5},"3":{"id":100}}})");
  expect_answers({
      {__LINE__, "PUT",    name32,                      0, "Update name of VLAN 100 successfully."},
      {__LINE__, "PUT",    name33,                      2, INVALID_VALUE                          },
      {__LINE__, "PUT",    name256,                     2, INVALID_VALUE                          },
      {__LINE__, "PUT",    "/vlans/100/name",           2, INVALID_VALUE                          },
      {__LINE__, "PUT",    "/vlans/100/name?value=",    2, INVALID_VALUE                          },
      {__LINE__, "PUT",    "/vlans/100/name?value=%00", 2, INVALID_VALUE                          },
      {__LINE__, "PUT",    "/vlans/9/name",             1, "VLAN 9 does not exist."               },
      {__LINE__, "PUT",    "/vlans/5/name?value=a%20b", 0, "Update name of VLAN 5 successfully."  },
      {__LINE__, "GET",    "/vlans/4",                  1, "VLAN 4 does not exist."               },
      {__LINE__, "DELETE", "/vlans/5000",               1, "VLAN 5000 does not exist."            },
      {__LINE__, "DELETE", "/vlans/5",                  0, "Delete VLAN 5 successfully."          },
      {__LINE__, "DELETE", "/vlans/5",                  1, "VLAN 5 does not exist."               },
  });
  expect_open_errors(__LINE__, "DELETE /vlans/1");
  expect_xml_answer(__LINE__, "GET", "/vlans", 0, GOT_DATA,
                    "<vlans><vlan><id>1</id></vlan><vlan><id>100</id></vlan></vlans>");
  expect_in_answer(__LINE__, "/vlans/100", "\"name\": \"" + std::string(32, 'n') + "\"");
  // the name is counted with its terminating zero, and nothing is asked before its turn
  expect_calls(
      __LINE__, api_calls("PUT", "/vlans/100/name?value=lab"),
      {"openapiVlanCreatedCheck(100) = 0", "rpcclt_openapiVlanNameSet(100, {4,\"lab\"}) = 0"});
  expect_calls(__LINE__, api_calls("POST", "/vlans/7"),
               {"openapiVlanCreatedCheck(7) = -29", "rpcclt_openapiDot1VlanMaxGet(>100)",
                "rpcclt_openapiVlanCreate(7) = 0"});
  expect_calls(__LINE__, api_calls("DELETE", "/vlans/8"), {"openapiVlanCreatedCheck(8) = -29"});
}

TEST(Vlans, OneWithMembers)
{
  engine_reset(R"({"ports": 4, "vlans": [{"id": 10, "name": "lab"},
                                         {"id": 20, "type": "dynamic", "name": ""}]})");
  make_requests(__LINE__,
                "POST /if/1/vlan/10 /if/3/vlan/10 PUT /if/3/vlan/10/taggingMode?value=1 "
                "/if/2/vlan/10/taggingMode?value=1");  // 2 is no member for all that
  expect_data({
      {__LINE__, "/vlans/10", R"({"vlan":{"id":10,"name":"lab","type":"static","interfaces":{
          "1":{"ifNum":1,"participationMode":"Include","isTagging":0},
          "3":{"ifNum":3,"participationMode":"Include","isTagging":1}}}})"   },
      {__LINE__, "/vlans/20", R"({"vlan":{"id":20,"name":"","type":"dynamic","interfaces":{}}})"},
  });
  expect_xml_answer(__LINE__, "GET", "/vlans/10", 0, GOT_DATA,
                    "<vlan><id>10</id><name>lab</name><type>static</type><interfaces>"
                    "<interface><ifNum>1</ifNum><participationMode>Include</participationMode>"
                    "<isTagging>0</isTagging></interface>"
                    "<interface><ifNum>3</ifNum><participationMode>Include</participationMode>"
                    "<isTagging>1</isTagging></interface></interfaces></vlan>");
  expect_calls(
      __LINE__, api_calls("GET", "/vlans/10"),
      {"openapiVlanCreatedCheck(10)", "rpcclt_openapiVlanNameLenGet(>33)",
       "rpcclt_openapiVlanNameGet(10, >{4,\"lab\"})", "openapiVlanIsStatic(10) = 1",
       "openapiIfFirstGet(0, >1)", "openapiVlanIfParticipationStatusGet(10, 1, >1)",
       "rpcclt_openapiVlanIfParticipationGet(10, 1, >0)", "openapiVlanIfTaggingGet(1, 10, >0)",
       "openapiIfNextGet(0, 1, >2)", "openapiVlanIfParticipationStatusGet(10, 2, >0)",
       "openapiIfNextGet(0, 2, >3)", "openapiVlanIfParticipationStatusGet(10, 3, >1)",
       "rpcclt_openapiVlanIfParticipationGet(10, 3, >0)", "openapiVlanIfTaggingGet(3, 10, >1)",
       "openapiIfNextGet(0, 3, >4)", "openapiVlanIfParticipationStatusGet(10, 4, >0)",
       "openapiIfNextGet(0, 4, "});
  // VLAN 1 has everybody until they are taken out of it
  expect_in_answer(__LINE__, "/vlans/1", R"("4": { "ifNum": 4,)");
}

TEST(Vlans, PendingChanges)
{
  engine_reset(R"({"pending_ms": 600000, "vlans": 4})");
  expect_answer(__LINE__, "GET", "/vlans/pendingChanges", 0, GOT_DATA, R"({"pending_vlans":{}})");
  // the walk starts behind VLAN 1
  make_requests(__LINE__,
                "DELETE /vlans/2 PUT /vlans/4/name?value=lab /vlans/1/name?value=one POST "
                "/vlans/9 DELETE /vlans/9");
  expect_answer(__LINE__, "GET", "/vlans/pendingChanges", 0, GOT_DATA,
                R"({"pending_vlans":{"1":{"id":2,"pending_type":"pending deletion"},
                     "2":{"id":4,"pending_type":"pending change"},
                     "3":{"id":9,"pending_type":"pending deletion"}}})");
  make_requests(__LINE__, "POST /vlans/2");  // there again
  expect_xml_answer(
      __LINE__, "GET", "/vlans/pendingChanges", 0, GOT_DATA,
      "<pending_vlans><vlan><id>2</id><pending_type>pending change</pending_type></vlan>"
      "<vlan><id>4</id><pending_type>pending change</pending_type></vlan>"
      "<vlan><id>9</id><pending_type>pending deletion</pending_type></vlan></pending_vlans>");
  engine_reset();
  make_requests(__LINE__, "POST /vlans/9");  // in force at once
  expect_answer(__LINE__, "GET", "/vlans/pendingChanges", 0, GOT_DATA, R"({"pending_vlans":{}})");
}

TEST(Vlans, DeletedOnesAreGoneFromEveryPort)
{
  engine_reset(R"({"ports": 3, "vlans": [{"id": 10}, {"id": 20}]})");
  make_requests(__LINE__,
                "POST /if/1/vlan/10 PUT /if/1/pvid?value=10 /if/2/access/vlan?value=10 "
                "/if/2/switchportMode?value=2 POST /if/3/trunk/vlan?value=10,20 PUT "
                "/if/3/trunk/pvid?value=10 /if/3/switchportMode?value=3 DELETE /vlans/10 POST "
                "/vlans/10");
  expect_in_answer(__LINE__, "/vlans/10", R"("interfaces": { })");
  for (const char* path : {"/if/1", "/if/2", "/if/3"})
    expect_in_answer(__LINE__, path, R"("pvid": 1,)");
  make_requests(__LINE__, "POST /routing/vlanRtrIf?vlanId=10");
  expect_open_errors(__LINE__, "DELETE /vlans/10");
  make_requests(__LINE__, "DELETE /vlans/20");
  expect_open_errors(__LINE__, "POST /routing/vlanRtrIf?vlanId=20");
}

TEST(Vlans, EveryCallIsChecked)
{
  engine_reset(R"({"ports": 2, "vlans": 3})");
  const auto nothing = [] {};
  expect_each_call_checked(__LINE__, "GET", "/vlans", {"openapiVlanNextGet"});
  expect_each_call_checked(__LINE__, "GET", "/vlans/pendingChanges", {"openapiVlanNextChangedGet"});
  // that a VLAN cannot be looked up reads like its absence
  expect_each_call_checked(__LINE__, "GET", "/vlans/1",
                           {"openapiVlanCreatedCheck", "openapiVlanIsStatic", "openapiIfNextGet"},
                           nothing);
  expect_each_call_checked(__LINE__, "POST", "/vlans/7",
                           {"openapiVlanCreatedCheck", "rpcclt_openapiDot1VlanMaxGet"},
                           [] { api_request("DELETE", "/vlans/7", "json"); });
  expect_each_call_checked(__LINE__, "PUT", "/vlans/2/name?value=a", {"openapiVlanCreatedCheck"});
  expect_each_call_checked(__LINE__, "DELETE", "/vlans/8", {"openapiVlanCreatedCheck"},
                           [] { api_request("POST", "/vlans/8", "json"); });
  set_fault("rpcclt_openapiDot1VlanMaxGet", "{'result': -26}");
  expect_answer(__LINE__, "POST", "/vlans/77", 2, INVALID_ID);
  switchsim_faults_clear();
  set_fault("openapiVlanCreatedCheck", "{'result': -25}");
  expect_answer(__LINE__, "DELETE", "/vlans/2", 1, "VLAN 2 does not exist.");
}

// VLAN 1 of a switch with two ports, whose first member is shown like this.
static std::string vlan1_with(const char* mode, int tagging)
{
  const std::string is_tagging = "\"isTagging\":" + std::to_string(tagging) + "}";
  return R"({"vlan":{"id":1,"name":"default","type":"static","interfaces":{
      "1":{"ifNum":1,"participationMode":")" +
         std::string(mode) + "\"," + is_tagging +
         R"(,"2":{"ifNum":2,"participationMode":"Include",)" + is_tagging + "}}}";
}

static std::string vlan2_with(const char* name, const char* type)
{
  return std::string(R"({"vlan":{"id":2,"name":")") + name + R"(","type":")" + type +
         R"(","interfaces":{}}})";
}

TEST(Vlans, OddAnswersOfTheSwitchAreSurvived)
{
  const char NAME33[] = "123456789012345678901234567890123";
  const std::string name33 = std::string("{\"value\": \"") + NAME33 + "\"}";
  const std::string vlan2 = vlan2_with("VLAN0002", "static");
  const std::string odd_mode = vlan1_with("", 0);
  const std::string autodetect = vlan1_with("Autodetect", 0);
  const std::string tagging7 = vlan1_with("Include", 7);
  const std::string both = vlan1_with("Include", 0);
  const std::string dynamic = vlan2_with("VLAN0002", "dynamic");
  const std::string long_name = vlan2_with(NAME33, "static");
  const char NOBODY[] = R"({"vlan":{"id":1,"name":"default","type":"static","interfaces":{}}})";
  const char ONE[] = R"({"vlans":{"1":{"id":1}}})";
  const char ONE_AND_7[] = R"({"vlans":{"1":{"id":1},"2":{"id":7}}})";
  const char PENDING_7[] = R"({"pending_vlans":{"1":{"id":7,"pending_type":"pending change"}}})";
  const char NAME_LEN[] = "rpcclt_openapiVlanNameLenGet";
  const char MODE[] = "rpcclt_openapiVlanIfParticipationGet";
  const char PENDING[] = "openapiVlanNextChangedGet";
  expect_data_with_fault(
      "{\"ports\": 2, \"vlans\": 2}",
      {
          {__LINE__, NAME_LEN,                              "{'value': 0}",                            "/vlans/2",              ""        },
          {__LINE__, NAME_LEN,                              "{'value': 1}",                            "/vlans/2",              ""        },
          {__LINE__, NAME_LEN,                              "{'value': 4294967295}",                   "/vlans/2",              vlan2     },
          {__LINE__, "rpcclt_openapiVlanNameGet",           name33,                                    "/vlans/2",
           long_name                                                                                                                      }, // no room for a zero
          {__LINE__, "openapiVlanIsStatic",                 "{'value': 2}",                            "/vlans/2",              dynamic   },
          {__LINE__, "openapiVlanIfParticipationStatusGet", "{'value': 2}",                            "/vlans/1",              NOBODY    },
          {__LINE__, MODE,                                  "{'value': 3, 'times': 1}",                "/vlans/1",              odd_mode  },
          {__LINE__, MODE,                                  "{'value': 1, 'times': 1}",                "/vlans/1",              autodetect},
          {__LINE__, MODE,                                  "{'value': -1, 'times': 1}",               "/vlans/1",              odd_mode  },
          {__LINE__, "openapiVlanIfTaggingGet",             "{'value': 7}",                            "/vlans/1",              tagging7  },
 // walks without an end
          {__LINE__, "openapiVlanNextGet",                  "{'value': 7}",                            "/vlans",                ONE_AND_7 },
          {__LINE__, "openapiVlanNextGet",                  "{'result': 0, 'value': 1}",               "/vlans",                ONE       },
          {__LINE__, PENDING,                               "{'result': 0, 'value': 7}",               "/vlans/pendingChanges", PENDING_7 },
          {__LINE__, "openapiIfNextGet",                    "{'result': 0, 'value': 1}",               "/vlans/2",              vlan2     },
          {__LINE__, "openapiIfNextGet",                    "{'result': -25}",                         "/vlans/2",              ""        },
 // only -26 ends the walk: after another failure it goes on with what came along
          {__LINE__, "openapiIfNextGet",                    "{'result': -25, 'value': 2, 'times': 1}", "/vlans/1",
           both                                                                                                                           },
  });
}

TEST(Vlans, HelpersForOtherModules)
{
  engine_reset(R"({"vlan_max": 50})");
  engine_do([] {
    EXPECT_EQ(check_vlan_exist(&client_handle, 1), RC_TRUE);
    EXPECT_EQ(check_vlan_exist(&client_handle, 2), RC_FALSE);
    EXPECT_EQ(get_vlan_num_max(&client_handle), 50u);
    uint32_t count = 7;
    EXPECT_EQ(get_interface_num_max(&client_handle, &count), OPEN_E_NONE);
    EXPECT_EQ(count, 353u);  // 128 VLAN routing interfaces from 226 on
    set_fault("openapiMaxInterfaceCountGet", "{'result': -25}");
    EXPECT_EQ(get_interface_num_max(&client_handle, &count), OPEN_E_TIMEOUT);
    EXPECT_EQ(count, 0u);
    set_fault("rpcclt_openapiDot1VlanMaxGet", "{'result': -25, 'value': 9}");
    EXPECT_EQ(get_vlan_num_max(&client_handle), 0u);
  });
}

TEST(Vlans, ProfilesAreChecked)
{
  const char* const CASES[][2] = {
      {"{'vlans': 0}",                                                        "vlans: "           },
      {"{'vlans': 11, 'vlan_max': 10}",                                       "vlans: "           },
      {"{'vlans': [{'id': 4095}]}",                                           "vlans[0].id: "     },
      {"{'vlans': [{'id': 5}, {'id': 5}]}",                                   "vlans[1].id: "     },
      {"{'vlans': [{'name': 'x'}]}",                                          "vlans[0].id: "     },
      {"{'vlans': [{'id': 5, 'type': 'learned'}]}",                           "vlans[0].type: "   },
      {"{'vlans': [{'id': 5, 'name': '123456789012345678901234567890123'}]}", "vlans[0].name: "   },
      {"{'lags': {}}",                                                        "lags: "            },
      {"{'lags': [{'id': 65}]}",                                              "lags[0].id: "      },
      {"{'lags': [{'id': 1}, {'id': 1}]}",                                    "lags[1].id: "      },
      {"{'lags': [{'id': 1, 'members': [55]}]}",                              "lags[0].members[0]"},
      {"{'lags': [{'id': 1, 'members': [5]}, {'id': 2, 'members': [5]}]}",    "lags[1].members[0]"},
      {"{'lags': [{'id': 1, 'members': [1, 2, 3, 4, 5, 6, 7, 8, 9]}]}",       "lags[0].members[8]"},
      {"{'pending_ms': -1}",                                                  "pending_ms: "      },
  };
  for (const auto& [profile, key] : CASES) {
    std::string json = profile;
    std::replace(json.begin(), json.end(), '\'', '"');
    EXPECT_EQ(switchsim_reset(json.c_str()).compare(0, strlen(key), key), 0) << profile;
  }
}
