// The TCAM module and the switch's TCAM behind it, over sockets.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "modules/rest_module_tcam.h"
#include "switchsim/switchsim.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

TEST(Tcam, EveryRequestBeginsWithTheInitialisation)
{
  run_script(__LINE__, R"(reset
GET /tcam/policy/x POST /tcam/policy/1 PUT /tcam DELETE /tcam => TcamApiInit() = 0
GET /tcam => TcamApiInit() = 0
GET /tcam -> {"infomation":{"tcam_api_version":"0.1"}}
// its own failure is nobody's: the switch says no to what comes next
reset {"faults": {"rpcclt_openapiTcamApiInit": {"result": -21}}}
GET /tcam -> {"infomation":{"tcam_api_version":"0.1"}}
POST /tcam/policy -> -28)");
}

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

TEST(Tcam, PoliciesAreAttachedToPorts)
{
  run_script(__LINE__, R"(reset
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
}

// ---- figures ----

static std::string figures(const char* name, int count, int free, int total)
{
  return std::string("\"") + name + "\":{\"count\":" + std::to_string(count) +
         ",\"free\":" + std::to_string(free) + ",\"total\":" + std::to_string(total) + "}";
}

// Groups as type, gid and entries of slices of two policies; a type of null: unused.
struct group {
  const char* type;
  int gid, count;
};

static std::string groups_json(const std::vector<group>& groups)
{
  std::string json;
  for (const group& g : groups) {
    json += std::string(json.empty() ? "" : ",") + "\"" + std::to_string(&g - groups.data() + 1) +
            "\":{\"is_used\":\"" + (g.type ? "Yes" : "No") + "\"";
    if (g.type)
      json += ",\"gid\":" + std::to_string(g.gid) + ",\"type\":\"" + g.type +
              "\",\"width\":1,\"depth\":2,\"count\":" + std::to_string(g.count) +
              ",\"free\":" + std::to_string(2 - g.count) + ",\"total\":2";
    json += "}";
  }
  return "\"groups\":{" + json + "}";
}

static std::string stats_json(const std::vector<group>& ingress, int entries, int slices,
                              const std::vector<group>& egress, int egress_entries)
{
  const std::string slice_256 = "\"slice_stats\":{" + figures("slice_256", slices, 8 - slices, 0);
  return "{\"group_stats\":{\"stage_ingress\":{" + groups_json(ingress) + "," +
         figures("entry_stats", entries, 16 - entries, 16) + "," + slice_256 + "," +
         figures("slice_512", 0, 0, 0) + "}},\"stage_egress\":{" + groups_json(egress) + "," +
         // the total and the slices are those of the ingress stage
         figures("entry_stats", egress_entries, 8 - egress_entries, 16) + "," + slice_256 + "}}}}";
}

TEST(Tcam, FiguresAddUpWithWhatIsInstalled)
{
  const group none = {nullptr, 0, 0};
  std::vector<group> ingress(8, none), egress(4, none);
  const auto expect_stats = [&](int line, const std::string& before, int entries, int slices,
                                int egress_entries, const std::vector<group>& shown) {
    run_script(line, before + "GET /tcam/groupStats -> $stats", "$stats",
               stats_json(shown, entries, slices, egress, egress_entries));
  };
  expect_stats(__LINE__, "reset {\"tcam_slice_size\": 2}\n", 0, 0, 0, ingress);
  ingress[0] = {"OpenFlow", 1, 2};
  ingress[1] = {"OpenFlow", 2, 1};
  ingress[2] = {"", 3, 1};  // a type without a name
  ingress[3] = {"Gen (IPv6)", 4, 1};
  egress[0] = {"Egress", 9, 2};
  expect_stats(__LINE__, R"(POST /tcam/policy?policyType=1 ?policyType=1 ?policyType=1 ?policyType=0
    ?policyType=2 ?policyType=3 ?policyType=3
)",
               5, 4, 2, ingress);
  run_script(__LINE__,
             "check GET /tcam/groupStats but TcamApiInit TcamHapiBroadPolicyTypeNameGetZRT");
  const std::vector<std::string> calls = api_calls("GET", "/tcam/groupStats");
  ASSERT_EQ(calls.size(), 10u);
  EXPECT_EQ(calls[1], "rpcclt_openapiTcamGroupStatsGetZRT(1, >{1:2,2:1,3:1,4:1}) = 0");
  EXPECT_EQ(calls[2],
            "rpcclt_openapiTcamGroupStatsIngressSlicesCountGetZRT(>8, >5, >11, >16, >4, >4) = 0");
  EXPECT_EQ(calls[7], "rpcclt_openapiTcamGroupStatsGetZRT(2, >{9:2}) = 0");
  EXPECT_EQ(calls[8], "rpcclt_openapiTcamGroupStatsEgressSlicesCountGetZRT(>4, >2, >6) = 0");
  // more groups than there are records
  std::vector<group> twelve = ingress;
  twelve.resize(12, none);
  const std::string fault = "[TcamGroupStatsIngressSlicesCountGetZRT {'value': ";
  expect_stats(__LINE__, fault + "4294967295}] ", 5, 4, 2, twelve);
  expect_stats(__LINE__, fault + "0}] ", 5, 4, 2, {});
  ingress[0].count = 1;
  ingress[3] = none;
  expect_stats(__LINE__, "DELETE /tcam/policy/1 /tcam/policy/5\n", 3, 3, 2, ingress);
  // a stage is full when no slice has room for the type
  for (const char* type :
       {"1", "1", "1", "1", "1", "1", "1", "1", "1", "1", "3", "3", "3", "3", "3"})
    run_script(__LINE__, std::string("POST /tcam/policy?policyType=") + type);
  run_script(__LINE__, R"(POST /tcam/policy?policyType=3
POST /tcam/policy?policyType=1 ?policyType=1
POST /tcam/policy?policyType=1 ?policyType=2 -> -23
POST /tcam/policy?policyType=0
POST /tcam/policy?policyType=3 -> -23)");
}
