// The TCAM module and the switch's TCAM behind it, over sockets.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "modules/rest_module_tcam.h"
#include "switchsim/switchsim.h"
#include "tests/support/answer_table.h"
#include "tests/support/local_engine.h"
#include "tests/support/switch_table.h"

static const char GOT_DATA[] = "Get data successfully.";
static const char INIT[] = "rpcclt_openapiTcamApiInit() = 0";

static void create(int count, const char* type)
{
  for (int i = 0; i < count; i++)
    api_request("POST", std::string("/tcam/policy?policyType=") + type, "json");
}

static std::string created(int id)
{
  return "Create a new policy successfully (Policy ID is " + std::to_string(id) + ").";
}

TEST(Tcam, EveryRequestBeginsWithTheInitialisation)
{
  engine_reset();
  for (const char* path : {"/tcam/", "/tcam/policy/", "/tcam/policy/x", "/tcam/policy/1/port",
                           "/tcam/policy/1/port/", "/tcam/policy/1/port/1/", "/tcam/groupStats/"})
    for (const char* method : {"GET", "POST", "PUT", "DELETE"}) {
      expect_bad_request(__LINE__, method, path);
      expect_calls(__LINE__, api_calls(method, path), {INIT});
    }
  expect_bad_requests(
      __LINE__, "PUT /tcam/policy POST /tcam/policy/1 GET /tcam/policy/1/port/1 DELETE /tcam");
  expect_calls(__LINE__, api_calls("GET", "/tcam"), {INIT});
  const char* const version = R"({"infomation":{"tcam_api_version":"0.1"}})";
  expect_answer(__LINE__, "GET", "/tcam", 0, GOT_DATA, version);
  expect_xml_answer(__LINE__, "GET", "/tcam", 0, GOT_DATA,
                    "<infomation><tcam_api_version>0.1</tcam_api_version></infomation>");
  // its own failure is nobody's: the switch says no to what comes next
  engine_reset(R"({"faults": {"rpcclt_openapiTcamApiInit": {"result": -21}}})");
  expect_answer(__LINE__, "GET", "/tcam", 0, GOT_DATA, version);
  expect_switch_results({
      {__LINE__, "POST", "/tcam/policy", -28}
  });
}

// ---- creating and reading ----

// What GET shows of a policy, with parts in place of those of a policy without parameters.
struct shown {
  std::string type = "OpenFlow policy", rule = "0", prio = "0";
  std::string dst_mac = "0:0:0:0:0:0", src_mac = dst_mac, new_dst_mac = dst_mac,
              new_src_mac = dst_mac;
  std::string dst_ip = "0.0.0.0", dst_mask = dst_ip, src_ip = dst_ip, src_mask = dst_ip;
  std::string vlan = "0", vlan_prio = "0", new_prio = "0", port = "0";
  unsigned actions = 0;
};

static std::string policy_json(int id, const shown& p)
{
  static const char* const actions[] = {"drop",
                                        "redirect_another_port",
                                        "rewrite_outer_vlan",
                                        "rewrite_src_mac",
                                        "rewrite_dst_mac",
                                        "rewrite_priority",
                                        "rewrite_outer_TPID.",
                                        "redirect_cpu"};
  std::string json =
      R"({"policy":{"policy_id":)" + std::to_string(id) + R"(,"policy_priority":)" + p.prio +
      R"(,"policy_type":")" + p.type + R"(","rule_num":")" + p.rule +
      R"(","rule_priority":0,"policy_header":{"version":"0.1","header_length":12},
      "classifiers":{"dst_mac":")" +
      p.dst_mac + R"(","dst_ip":")" + p.dst_ip + R"(","dst_ip_mask":")" + p.dst_mask +
      R"(","dst_ipv6":"::","dst_ipv6_mask":"::","dst_port_icmp_code":0,
      "dst_port_icmp_code_mask":0,"src_mac":")" +
      p.src_mac + R"(","src_ip":")" + p.src_ip + R"(","src_ip_mask":")" + p.src_mask +
      R"(","src_ipv6":"::","src_ipv6_mask":"::","src_port_icmp_code":0,
      "src_port_icmp_code_mask":0,"ip_dscp":0,"ip_dscp_mask":0,"ip_protocol":0,
      "ip_protocol_mask":0,"vlan_id":)" +
      p.vlan + R"(,"vlan_priority":)" + p.vlan_prio + R"(,"ether_type":"0x0"},"action_type":{)";
  for (unsigned bit = 0; bit < 8; bit++)
    json += std::string(bit > 0 ? "," : "") + "\"" + actions[bit] + "\":\"" +
            (p.actions >> bit & 1 ? "Yes" : "No") + "\"";
  return json + R"(},"action_value":{"dscp":0,"ether_type":"0x0","redirect_if_num":)" + p.port +
         R"(,"src_mac":")" + p.new_src_mac + R"(","dst_mac":")" + p.new_dst_mac +
         R"(","vlan_id":0,"vlan_priority":)" + p.new_prio + "}}}";
}

// Each parameter in turn: what a good value becomes, and which values are refused with which code.
TEST(Tcam, PolicyParameters)
{
  engine_reset();
  const std::string HUGE_TEXT(300, '1');  // longer than any value: as if it were absent
  const struct {
    int line;
    const char* query;
    void (*expect)(shown&);
  } good[] = {
      {__LINE__, "",                                                       [](shown&) {}                                     },
      {__LINE__, "policyPrio=-1",                                          [](shown& p) { p.prio = "-1"; }                   },
      {__LINE__, "policyPrio=7x",                                          [](shown& p) { p.prio = "7"; }                    },
      {__LINE__, "policyType=2",                                           [](shown& p) { p.type = "Gen (IPv6) policy"; }    },
      {__LINE__, "policyType=3",                                           [](shown& p) { p.type = "Egress policy"; }        },
      {__LINE__, "matchVlanId=4094",                                       [](shown& p) { p.vlan = "4094"; }                 },
      {__LINE__, "matchVlanId=70000",                                      [](shown& p) { p.vlan = "4464"; }                 },
      {__LINE__, "matchVlanId=-1",                                         [](shown& p) { p.vlan = "65535"; }                },
      {__LINE__, "matchVlanId=",                                           [](shown&) {}                                     },
      {__LINE__, "matchVlanPrio=263",                                      [](shown& p) { p.vlan_prio = "7"; }               },
      {__LINE__, "matchDstMac=0:a:FF:01:2:3",                              [](shown& p) { p.dst_mac = "0:A:FF:1:2:3"; }      },
      {__LINE__, "matchSrcMac=000aff010203",                               [](shown& p) { p.src_mac = "0:A:FF:1:2:3"; }      },
      {__LINE__, "matchDstIp=10.1.2.3",                                    [](shown& p) { p.dst_ip = "10.1.2.3"; }           },
      {__LINE__, "matchDstIpMask=255.255.0.0",                             [](shown& p) { p.dst_mask = "255.255.0.0"; }      },
      {__LINE__, "matchSrcIp=192.0.2.1",                                   [](shown& p) { p.src_ip = "192.0.2.1"; }          },
      {__LINE__, "matchSrcIpMask=255.0.0.1",                               [](shown& p) { p.src_mask = "255.0.0.1"; }        },
      {__LINE__, "matchSrcIp=a0b:c0d::",                                   [](shown& p) { p.src_ip = "10.11.12.13"; }        },
      {__LINE__, "actionDrop=1",                                           [](shown& p) { p.actions = 1; }                   },
      {__LINE__, "actionNewVlanPrio=258",                                  [](shown& p) { p.actions = 32, p.new_prio = "2"; }},
      {__LINE__, "actionNewDstMac=1:2:3:4:5:6",
       [](shown& p) { p.actions = 16, p.new_dst_mac = "1:2:3:4:5:6"; }                                                       },
      {__LINE__, "actionNewSrcMac=1:2:3:4:5:z",
       [](shown& p) { p.actions = 8, p.new_src_mac = "1:2:3:4:5:0"; }                                                        },
      {__LINE__, "actionRedirPort=9",                                      [](shown& p) { p.actions = 2, p.port = "9"; }     },
      {__LINE__, "actionSendToCpuRule=-5",                                 [](shown& p) { p.actions = 128, p.rule = "-5"; }  },
      {__LINE__, "actionSendToCpuRule=8&actionDrop=1&actionNewVlanPrio=x",
       [](shown& p) { p.actions = 161, p.rule = "8"; }                                                                       },
  };
  int id = 0;
  for (const auto& c : good) {
    shown expected;
    c.expect(expected);
    // a type given twice counts the first time
    expect_answer(c.line, "POST", "/tcam/policy?" + std::string(c.query) + "&policyType=1", 0,
                  created(++id));
    expect_answer(c.line, "GET", "/tcam/policy/" + std::to_string(id), 0, GOT_DATA,
                  policy_json(id, expected).c_str());
  }
  expect_answer(__LINE__, "POST", "/tcam/policy?matchDstIp=" + HUGE_TEXT, 0, created(++id));

  // in the order in which they are read: each query holds the later ones' wrong values, too
  const struct {
    const char* name;
    std::initializer_list<const char*> wrong;
  } bad[] = {
      {"matchDstMac",         {"", "1:2:3:4:5", "1:2:3:4:5:6:7", "0011.2233.4455"}},
      {"matchSrcMac",         {"", "x"}                                           },
      {"matchDstIp",          {"", "1.2.3", "1.2.3.256", "g::"}                   },
      {"matchDstIpMask",      {"", "255.255"}                                     },
      {"matchSrcIp",          {"", "300.1.1.1"}                                   },
      {"matchSrcIpMask",      {"", "24"}                                          },
      {"actionDrop",          {"", "0", "2", "-1", "x"}                           },
      {"actionNewVlanPrio",   {""}                                                },
      {"actionNewDstMac",     {"", "1"}                                           },
      {"actionNewSrcMac",     {"", "1"}                                           },
      {"actionRedirPort",     {""}                                                },
      {"actionSendToCpuRule", {""}                                                },
  };
  std::string later;
  for (int code = 12; code >= 1; code--) {
    const std::string name = bad[code - 1].name;
    for (const char* value : bad[code - 1].wrong)
      expect_answer(__LINE__, "POST", "/tcam/policy?" + name + "=" + value + later, code,
                    "The value of parameter " + name + " is invalid.");
    later += "&" + name + "=";
  }
  expect_switch_results({
      {__LINE__, "POST", "/tcam/policy?policyType=4",        -22},
      {__LINE__, "POST", "/tcam/policy?policyType=-1",       -22},
      {__LINE__, "POST", "/tcam/policy?actionRedirPort=999", -22},
      {__LINE__, "GET",  "/tcam/policy/999",                 -29},
  });
}

TEST(Tcam, APolicyInXmlAndItsFailures)
{
  engine_reset();
  create(1, "1");
  const std::string body = api_request("GET", "/tcam/policy/1", "xml").body;
  for (const char* text : {"<rewrite_outer_TPID>No</rewrite_outer_TPID>",
                           "<policy_header><version>0.1</version><header_length>12</header_length>",
                           "<policy_type>OpenFlow policy</policy_type>"})
    EXPECT_NE(body.find(text), std::string::npos) << text;
  expect_each_call_checked(__LINE__, "GET", "/tcam/policy/1", {"rpcclt_openapiTcamApiInit"});
  expect_each_call_checked(__LINE__, "POST", "/tcam/policy?matchSrcMac=1:2:3:4:5:6",
                           {"rpcclt_openapiTcamApiInit"});
  // a type without text, given by the request or by the switch, and the one that is no type at all
  create(1, "0");
  shown end;
  end.type = "End value";
  const char CALL[] = "rpcclt_openapiTcamPolicyGet";
  expect_open_error(__LINE__, "GET", "/tcam/policy/1000");
  for (const char* fault : {R"({"value": 7})", R"({"value": 0})", R"({"value": -1})"})
    expect_data_under_fault(__LINE__, CALL, fault, "/tcam/policy/1", nullptr);
  expect_data_under_fault(__LINE__, CALL, R"({"value": 4})", "/tcam/policy/1",
                          policy_json(1, end).c_str());
  char text[32] = "as it was";
  EXPECT_EQ(get_tcam_policy_type_string_by_eum(OPEN_TCAM_POLICY_TYPE_t{5}, text), RC_FALSE);
  EXPECT_STREQ(text, "as it was");
  EXPECT_EQ(get_if_tcam_action_type_contain_specified_action(0, 0), RC_TRUE);
  EXPECT_EQ(get_if_tcam_action_type_contain_specified_action(1, 0), RC_FALSE);
  EXPECT_EQ(get_if_tcam_action_type_contain_specified_action(5, 6), RC_FALSE);
}

// ---- the list ----

static std::string list_json(std::initializer_list<int> ids)
{
  std::string json;
  int position = 0;
  for (int id : ids)
    json += (json.empty() ? "\"" : ",\"") + std::to_string(++position) +
            "\":{\"policy_id\":" + std::to_string(id) + "}";
  return "{\"policies\":{" + json + "}}";
}

TEST(Tcam, TheListEndsOnlyWhereTheSwitchSaysSo)
{
  engine_reset();
  expect_answer(__LINE__, "GET", "/tcam/policy", 0, GOT_DATA, R"({"policies":{}})");
  create(3, "1");
  expect_answer(__LINE__, "DELETE", "/tcam/policy/2", 0, "Delete the policy ID 2 successfully.");
  expect_xml_answer(__LINE__, "GET", "/tcam/policy", 0, GOT_DATA,
                    "<policies><policy><policy_id>1</policy_id></policy><policy><policy_id>3"
                    "</policy_id></policy></policies>");
  const char FIRST[] = "rpcclt_openapiTcamPolicyGetFirst";
  const char NEXT[] = "rpcclt_openapiTcamPolicyGetNext";
  const auto listed = [&](int line, const char* call, const char* fault,
                          std::initializer_list<int> ids) {
    expect_data_under_fault(line, call, fault, "/tcam/policy", list_json(ids).c_str());
  };
  listed(__LINE__, FIRST, R"({"result": -26})", {});
  listed(__LINE__, FIRST, R"({"result": -21})", {0, 1, 3});
  listed(__LINE__, NEXT, R"({"result": -26})", {1});
  listed(__LINE__, NEXT, R"({"result": -29, "times": 2})", {1, 1, 1, 3});
  listed(__LINE__, NEXT, R"({"result": -21, "value": 3, "times": 1})", {1, 3});
  listed(__LINE__, NEXT, R"({"result": -21, "times": 15, "after": 1})",
         {1, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3});
  for (const char* endless : {R"({"result": -21})", R"({"value": 1})"}) {
    ASSERT_TRUE(switchsim_fault_set(NEXT, endless));
    EXPECT_LT(api_calls("GET", "/tcam/policy").size(), 1000u);
    switchsim_faults_clear();
  }
  expect_answer(__LINE__, "DELETE", "/tcam/policy", 0,
                "Delete all the policies created by TCAM API successfully.");
  expect_answer(__LINE__, "GET", "/tcam/policy", 0, GOT_DATA, list_json({}).c_str());
  expect_open_error(__LINE__, "DELETE", "/tcam/policy/1");
  expect_answer(__LINE__, "POST", "/tcam/policy", 0, created(4));
  expect_each_call_checked(__LINE__, "DELETE", "/tcam/policy", {"rpcclt_openapiTcamApiInit"});
  expect_each_call_checked(__LINE__, "DELETE", "/tcam/policy/5", {"rpcclt_openapiTcamApiInit"},
                           [] { create(1, "0"); });
}

// ---- ports ----

TEST(Tcam, PoliciesAreAttachedToPorts)
{
  engine_reset();
  create(1, "1");
  expect_answer(__LINE__, "POST", "/tcam/policy/1/port/54", 0,
                "Configure the policy 1 to port 54 successfully.");
  for (const char* method : {"POST", "DELETE"}) {
    expect_answer(__LINE__, method, "/tcam/policy/3/port/0", 1, "The port number is invalid.");
    expect_calls(__LINE__, api_calls(method, "/tcam/policy/1/port/00"), {INIT});
  }
  expect_switch_results({
      {__LINE__, "POST",   "/tcam/policy/1/port/54", -24},
      {__LINE__, "POST",   "/tcam/policy/2/port/54", -29},
      {__LINE__, "POST",   "/tcam/policy/1/port/55", -29},
      {__LINE__, "DELETE", "/tcam/policy/1/port/53", -29},
  });
  expect_answer(__LINE__, "DELETE", "/tcam/policy/1/port/54", 0,
                "Delete the policy 1 from port 54 successfully.");
  expect_each_call_checked(__LINE__, "DELETE", "/tcam/policy/1/port/54",
                           {"rpcclt_openapiTcamApiInit"},
                           [] { api_request("POST", "/tcam/policy/1/port/54", "json"); });
  expect_each_call_checked(__LINE__, "POST", "/tcam/policy/1/port/54",
                           {"rpcclt_openapiTcamApiInit"},
                           [] { api_request("DELETE", "/tcam/policy/1/port/54", "json"); });
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
  engine_reset(R"({"tcam_slice_size": 2})");
  const group none = {nullptr, 0, 0};
  const std::string path = "/tcam/groupStats";
  std::vector<group> ingress(8, none), egress(4, none);
  expect_answer(__LINE__, "GET", path, 0, GOT_DATA, stats_json(ingress, 0, 0, egress, 0).c_str());
  create(3, "1");
  create(1, "0");
  create(1, "2");
  create(2, "3");
  ingress[0] = {"OpenFlow", 1, 2};
  ingress[1] = {"OpenFlow", 2, 1};
  ingress[2] = {"", 3, 1};  // a type without a name
  ingress[3] = {"Gen (IPv6)", 4, 1};
  egress[0] = {"Egress", 9, 2};
  expect_answer(__LINE__, "GET", path, 0, GOT_DATA, stats_json(ingress, 5, 4, egress, 2).c_str());
  expect_each_call_checked(
      __LINE__, "GET", path,
      {"rpcclt_openapiTcamApiInit", "rpcclt_openapiTcamHapiBroadPolicyTypeNameGetZRT"});
  const std::vector<std::string> calls = api_calls("GET", path);
  ASSERT_EQ(calls.size(), 10u);
  EXPECT_EQ(calls[1], "rpcclt_openapiTcamGroupStatsGetZRT(1, >{1:2,2:1,3:1,4:1}) = 0");
  EXPECT_EQ(calls[2],
            "rpcclt_openapiTcamGroupStatsIngressSlicesCountGetZRT(>8, >5, >11, >16, >4, >4) = 0");
  EXPECT_EQ(calls[7], "rpcclt_openapiTcamGroupStatsGetZRT(2, >{9:2}) = 0");
  EXPECT_EQ(calls[8], "rpcclt_openapiTcamGroupStatsEgressSlicesCountGetZRT(>4, >2, >6) = 0");
  // more groups than there are records
  const char COUNT[] = "rpcclt_openapiTcamGroupStatsIngressSlicesCountGetZRT";
  std::vector<group> twelve = ingress;
  twelve.resize(12, none);
  expect_data_under_fault(__LINE__, COUNT, R"({"value": 4294967295})", path.c_str(),
                          stats_json(twelve, 5, 4, egress, 2).c_str());
  expect_data_under_fault(__LINE__, COUNT, R"({"value": 0})", path.c_str(),
                          stats_json({}, 5, 4, egress, 2).c_str());
  api_request("DELETE", "/tcam/policy/1", "json");
  api_request("DELETE", "/tcam/policy/5", "json");
  ingress[0].count = 1;
  ingress[3] = none;
  expect_answer(__LINE__, "GET", path, 0, GOT_DATA, stats_json(ingress, 3, 3, egress, 2).c_str());
  // a stage is full when no slice has room for the type
  create(10, "1");
  create(7, "3");
  expect_switch_results({
      {__LINE__, "POST", "/tcam/policy?policyType=1", 0  },
      {__LINE__, "POST", "/tcam/policy?policyType=1", 0  },
      {__LINE__, "POST", "/tcam/policy?policyType=1", -23},
      {__LINE__, "POST", "/tcam/policy?policyType=2", -23},
      {__LINE__, "POST", "/tcam/policy?policyType=0", 0  },
      {__LINE__, "POST", "/tcam/policy?policyType=3", -23},
  });
}
