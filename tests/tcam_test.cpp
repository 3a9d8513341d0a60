// The TCAM module and the switch's TCAM behind it, over sockets.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "modules/rest_module_tcam.h"
#include "switchsim/switchsim.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

SCRIPT_TEST(Tcam, EveryRequestBeginsWithTheInitialisation, R"(reset
GET /tcam/policy/x POST /tcam/policy/1 PUT /tcam DELETE /tcam => TcamApiInit() = 0
GET /tcam => TcamApiInit() = 0
GET /tcam -> {"infomation":{"tcam_api_version":"0.1"}}
// its own failure is nobody's: the switch says no to what comes next
reset {"faults": {"rpcclt_openapiTcamApiInit": {"result": -21}}}
GET /tcam -> {"infomation":{"tcam_api_version":"0.1"}}
POST /tcam/policy -> -28)");

// ---- creating and reading ----

// What GET shows of a policy without parameters.
static const char BARE_POLICY[] = R"({"policy":{"policy_id":0,"policy_priority":0,
    "policy_type":"OpenFlow policy","rule_num":"0","rule_priority":0,
    "policy_header":{"version":"0.1","header_length":12},"classifiers":{"dst_mac":"0:0:0:0:0:0",
    "dst_ip":"0.0.0.0","dst_ip_mask":"0.0.0.0","dst_ipv6":"::","dst_ipv6_mask":"::",
    "dst_port_icmp_code":0,"dst_port_icmp_code_mask":0,"src_mac":"0:0:0:0:0:0",
    "src_ip":"0.0.0.0","src_ip_mask":"0.0.0.0","src_ipv6":"::","src_ipv6_mask":"::",
    "src_port_icmp_code":0,"src_port_icmp_code_mask":0,"ip_dscp":0,"ip_dscp_mask":0,
    "ip_protocol":0,"ip_protocol_mask":0,"vlan_id":0,"vlan_priority":0,"ether_type":"0x0"},
    "action_type":{"drop":"No","redirect_another_port":"No","rewrite_outer_vlan":"No",
    "rewrite_src_mac":"No","rewrite_dst_mac":"No","rewrite_priority":"No",
    "rewrite_outer_TPID.":"No","redirect_cpu":"No"},"action_value":{"dscp":0,"ether_type":"0x0",
    "redirect_if_num":0,"src_mac":"0:0:0:0:0:0","dst_mac":"0:0:0:0:0:0","vlan_id":0,
    "vlan_priority":0}}})";

// The same with other values: "key=value;" and, for the last field of that key, ">key=value;".
static std::string policy_json(int id, const std::string& values)
{
  std::string json = BARE_POLICY;
  std::istringstream list("policy_id=" + std::to_string(id) + ";" + values);
  for (std::string item; std::getline(list, item, ';');) {
    const bool last = item[0] == '>';
    const size_t equals = item.find('=');
    const std::string key = "\"" + item.substr(last, equals - last) + "\":";
    const size_t at = (last ? json.rfind(key) : json.find(key)) + key.size();
    const size_t start = at + (json[at] == '"');
    json.replace(start, json.find_first_of("\",}", start) - start, item.substr(equals + 1));
  }
  return json;
}

// Each parameter in turn: what a good value becomes, and which values are refused with which code.
TEST(Tcam, PolicyParameters)
{
  // clang-format off
  const char* const good[][2] = {
      {"",                            ""},
      {"policyPrio=-1",               "policy_priority=-1"},
      {"policyPrio=7x",               "policy_priority=7"},
      {"policyType=2",                "policy_type=Gen (IPv6) policy"},
      {"policyType=3",                "policy_type=Egress policy"},
      {"matchVlanId=4094",            "vlan_id=4094"},
      {"matchVlanId=70000",           "vlan_id=4464"},
      {"matchVlanId=-1",              "vlan_id=65535"},
      {"matchVlanId=",                ""},
      {"matchVlanPrio=263",           "vlan_priority=7"},
      {"matchDstMac=0:a:FF:01:2:3",   "dst_mac=0:A:FF:1:2:3"},
      {"matchSrcMac=000aff010203",    "src_mac=0:A:FF:1:2:3"},
      {"matchDstIp=10.1.2.3",         "dst_ip=10.1.2.3"},
      {"matchDstIpMask=255.255.0.0",  "dst_ip_mask=255.255.0.0"},
      {"matchSrcIp=192.0.2.1",        "src_ip=192.0.2.1"},
      {"matchSrcIpMask=255.0.0.1",    "src_ip_mask=255.0.0.1"},
      {"matchSrcIp=a0b:c0d::",        "src_ip=10.11.12.13"},
      {"actionDrop=1",                "drop=Yes"},
      {"actionNewVlanPrio=258",       "rewrite_priority=Yes;>vlan_priority=2"},
      {"actionNewDstMac=1:2:3:4:5:6", "rewrite_dst_mac=Yes;>dst_mac=1:2:3:4:5:6"},
      {"actionNewSrcMac=1:2:3:4:5:z", "rewrite_src_mac=Yes;>src_mac=1:2:3:4:5:0"},
      {"actionRedirPort=9",           "redirect_another_port=Yes;redirect_if_num=9"},
      {"actionSendToCpuRule=-5",      "redirect_cpu=Yes;rule_num=-5"},
      {"actionSendToCpuRule=8&actionDrop=1&actionNewVlanPrio=x",
                                      "redirect_cpu=Yes;rule_num=8;drop=Yes;rewrite_priority=Yes"},
      {"matchDstIp=$300x",            ""},  // longer than any value: as if it were absent
  };
  // clang-format on
  engine_reset();
  int id = 0;
  for (const auto& [query, values] : good) {
    id++;
    // a type given twice counts the first time
    run_script(__LINE__, R"(
POST /tcam/policy?$query&policyType=1 -> 0 Create a new policy successfully (Policy ID is $id).
GET /tcam/policy/$id -> $policy)",
               "$query", query, "$id", std::to_string(id), "$policy", policy_json(id, values));
  }

  // in the order in which they are read: each query holds the later ones' wrong values, too
  const char* const bad[][2] = {
      {"matchDstMac",         "/1:2:3:4:5/1:2:3:4:5:6:7/0011.2233.4455"},
      {"matchSrcMac",         "/x"                                     },
      {"matchDstIp",          "/1.2.3/1.2.3.256/g::"                   },
      {"matchDstIpMask",      "/255.255"                               },
      {"matchSrcIp",          "/300.1.1.1"                             },
      {"matchSrcIpMask",      "/24"                                    },
      {"actionDrop",          "/0/2/-1/x"                              },
      {"actionNewVlanPrio",   "/"                                      },
      {"actionNewDstMac",     "/1"                                     },
      {"actionNewSrcMac",     "/1"                                     },
      {"actionRedirPort",     "/"                                      },
      {"actionSendToCpuRule", "/"                                      },
  };
  std::string later;
  for (int code = 12; code >= 1; code--) {
    const std::string name = bad[code - 1][0];
    std::istringstream values(bad[code - 1][1] + std::string("/"));
    for (std::string value; std::getline(values, value, '/');)
      run_script(__LINE__, "POST /tcam/policy?" + name + "=" + value + later + " -> " +
                               std::to_string(code) + " The value of parameter " + name +
                               " is invalid.");
    later += "&" + name + "=";
  }
  run_script(__LINE__, R"(POST /tcam/policy?policyType=4 ?policyType=-1 ?actionRedirPort=999 ->
    -22
GET /tcam/policy/999 -> -29)");
}

TEST(Tcam, APolicyAndItsFailures)
{
  run_script(__LINE__, R"(reset
POST /tcam/policy?policyType=1
check GET /tcam/policy/1 POST /tcam/policy?matchSrcMac=1:2:3:4:5:6 but TcamApiInit
// a type without text, given by the request or by the switch, and the one that is no type at all
POST /tcam/policy?policyType=0
GET /tcam/policy/1000 -> 99
[TcamPolicyGet {'value': 7} | TcamPolicyGet {'value': 0} | TcamPolicyGet {'value': -1}] GET
    /tcam/policy/1 -> 99
[TcamPolicyGet {'value': 4}] GET /tcam/policy/1 -> $end)",
             "$end", policy_json(1, "policy_type=End value"));
  char text[32] = "as it was";
  EXPECT_EQ(get_tcam_policy_type_string_by_eum(OPEN_TCAM_POLICY_TYPE_t{5}, text), RC_FALSE);
  EXPECT_STREQ(text, "as it was");
  EXPECT_EQ(get_if_tcam_action_type_contain_specified_action(0, 0), RC_TRUE);
  EXPECT_EQ(get_if_tcam_action_type_contain_specified_action(1, 0), RC_FALSE);
  EXPECT_EQ(get_if_tcam_action_type_contain_specified_action(5, 6), RC_FALSE);
}

// ---- the list ----

static std::string list_json(const std::string& ids)
{
  std::string json;
  for (size_t i = 0; i < ids.size(); i++)
    json += (i ? ",\"" : "\"") + std::to_string(i + 1) + "\":{\"policy_id\":" + ids[i] + "}";
  return "{\"policies\":{" + json + "}}";
}

TEST(Tcam, TheListEndsOnlyWhereTheSwitchSaysSo)
{
  run_script(__LINE__, R"(reset
GET /tcam/policy -> {"policies":{}}
POST /tcam/policy?policyType=1 ?policyType=1 ?policyType=1
DELETE /tcam/policy/2 -> 0 Delete the policy ID 2 successfully.
GET /tcam/policy -> {"policies":{"1":{"policy_id":1},"2":{"policy_id":3}}})");
  const char* const lists[][2] = {
      {"GetFirst {'result': -26}",                         ""                 },
      {"GetFirst {'result': -21}",                         "013"              },
      {"GetNext {'result': -26}",                          "1"                },
      {"GetNext {'result': -29, 'times': 2}",              "1113"             },
      {"GetNext {'result': -21, 'value': 3, 'times': 1}",  "13"               },
      {"GetNext {'result': -21, 'times': 15, 'after': 1}", "13333333333333333"},
  };
  for (const auto& [fault, ids] : lists)
    run_script(__LINE__, "[TcamPolicy$fault] GET /tcam/policy -> $list", "$fault", fault, "$list",
               list_json(ids));
  for (const char* endless : {"{'result': -21}", "{'value': 1}"}) {
    set_fault("TcamPolicyGetNext", endless);
    EXPECT_LT(api_calls("GET", "/tcam/policy").size(), 1000u);
    switchsim_faults_clear();
  }
  run_script(__LINE__, R"(
DELETE /tcam/policy -> 0 Delete all the policies created by TCAM API successfully.
GET /tcam/policy -> {"policies":{}}
DELETE /tcam/policy/1 -> 99
POST /tcam/policy -> 0 Create a new policy successfully (Policy ID is 4).
check DELETE /tcam/policy but TcamApiInit
check DELETE /tcam/policy/5 but TcamApiInit after POST /tcam/policy?policyType=0)");
}

// ---- ports ----

SCRIPT_TEST(Tcam, PoliciesAreAttachedToPorts, R"(reset
POST /tcam/policy?policyType=1
POST /tcam/policy/1/port/54 -> 0 Configure the policy 1 to port 54
    successfully.
POST /tcam/policy/3/port/0 -> 1 The port number is invalid.
POST /tcam/policy/1/port/00 => TcamApiInit() = 0
DELETE /tcam/policy/3/port/0 -> 1 The port number is invalid.
DELETE /tcam/policy/1/port/00 => TcamApiInit() = 0
POST /tcam/policy/1/port/54 -> -24
POST /tcam/policy/2/port/54 /tcam/policy/1/port/55 DELETE /tcam/policy/1/port/53 -> -29
DELETE /tcam/policy/1/port/54 -> 0 Delete the policy 1 from port 54 successfully.
check DELETE /tcam/policy/1/port/54 but TcamApiInit after POST /tcam/policy/1/port/54
check POST /tcam/policy/1/port/54 but TcamApiInit after DELETE /tcam/policy/1/port/54)");

// ---- figures ----

TEST(Tcam, FiguresAddUpWithWhatIsInstalled)
{
  std::string groups;
  for (int n = 1; n <= 12; n++)
    groups += ",\"" + std::to_string(n) + "\":{\"is_used\":\"No\"}";
  const auto from_to = [&](int first, int last) {
    const size_t start = groups.find(",\"" + std::to_string(first) + "\"") + 1;
    return groups.substr(start, groups.find(",\"" + std::to_string(last + 1) + "\"") - start);
  };
  // $1 is a policy for the ingress stage, $3 one for the egress stage. The total and the slices of
  // the egress stage are those of the ingress stage.
  run_script(__LINE__, R"(reset {"tcam_slice_size": 2}
GET /tcam/groupStats -> {"group_stats":{"stage_ingress":{"groups":{$groups1to8},"entry_stats":{
    $none,"free":16,"total":16},"slice_stats":{"slice_256":{$none,"free":8,"total":0},
    "slice_512":{$none,"free":0,"total":0}}},"stage_egress":{"groups":{$groups1to4},
    "entry_stats":{$none,"free":8,"total":16},"slice_stats":{"slice_256":{$none,"free":8,
    "total":0}}}}}
POST /tcam/policy$1 $1 $1 ?policyType=0 ?policyType=2 $3 $3
// the third type is one without a name
GET /tcam/groupStats -> {"group_stats":{"stage_ingress":{"groups":{
    "1":{"is_used":"Yes","gid":1,"type":"OpenFlow",$size,"count":2,"free":0,"total":2},
    "2":{"is_used":"Yes","gid":2,"type":"OpenFlow",$size,"count":1,"free":1,"total":2},
    "3":{"is_used":"Yes","gid":3,"type":"",$size,"count":1,"free":1,"total":2},
    "4":{"is_used":"Yes","gid":4,"type":$gen,$size,"count":1,"free":1,"total":2},
    $groups5to8},"entry_stats":{"count":5,"free":11,"total":16},
    "slice_stats":{"slice_256":{"count":4,"free":4,"total":0},"slice_512":{$none,"free":0,
    "total":0}}},"stage_egress":{"groups":{
    "1":{"is_used":"Yes","gid":9,"type":"Egress",$size,"count":2,"free":0,"total":2},
    $groups2to4},"entry_stats":{"count":2,"free":6,"total":16},
    "slice_stats":{"slice_256":{"count":4,"free":4,"total":0}}}}}
check GET /tcam/groupStats but TcamApiInit TcamHapiBroadPolicyTypeNameGetZRT
GET /tcam/groupStats => TcamApiInit( | TcamGroupStatsGetZRT(1, >{1:2,2:1,3:1,4:1}) = 0 |
    TcamGroupStatsIngressSlicesCountGetZRT(>8, >5, >11, >16, >4, >4) = 0 | $name | $name | $name |
    $name | TcamGroupStatsGetZRT(2, >{9:2}) = 0 |
    TcamGroupStatsEgressSlicesCountGetZRT(>4, >2, >6) = 0 | $name
// more groups than there are records
[$slices 4294967295}] GET /tcam/groupStats ~ "12": { "is_used": "No" } }, "entry_stats":
[$slices 0}] GET /tcam/groupStats ~ "stage_ingress": { "groups": { }, "entry_stats":
DELETE /tcam/policy/1 /tcam/policy/5
GET /tcam/groupStats ~ "entry_stats": { "count": 3, "free": 13, "total": 16 }, "slice_stats":
    { "slice_256": { "count": 3, "free": 5, "total": 0 },
GET /tcam/groupStats ~ "count": 1, "free": 1, "total": 2 }, "2":
GET /tcam/groupStats ~ "4": { "is_used": "No" },
// a stage is full when no slice has room for the type
POST /tcam/policy$1 $1 $1 $1 $1 $1 $1 $1 $1 $1 $3 $3 $3 $3 $3 $3 $1 $1
POST /tcam/policy$1 ?policyType=2 -> -23
POST /tcam/policy?policyType=0
POST /tcam/policy$3 -> -23)",
             "$groups1to8", from_to(1, 8), "$groups1to4", from_to(1, 4), "$groups5to8",
             from_to(5, 8), "$groups2to4", from_to(2, 4), "$none", R"("count":0)", "$gen",
             "\"Gen (IPv6)\"", "$size", R"("width":1,"depth":2)", "$name",
             "TcamHapiBroadPolicyTypeNameGetZRT(", "$slices",
             "TcamGroupStatsIngressSlicesCountGetZRT {'value':", "$1", "?policyType=1", "$3",
             "?policyType=3");
}
