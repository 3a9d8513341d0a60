// The BGP module and the switch's BGP behind it, over sockets.
#include <gtest/gtest.h>

#include <string.h>

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "switchsim/switchsim.h"
#include "tests/support/answer_table.h"
#include "tests/support/local_engine.h"
#include "tests/support/switch_table.h"

static const char GOT_DATA[] = "Get data successfully.";
static const char BAD_VALUE[] = "The value of parameter is invalid.";

// The two forms of every neighbour operation.
struct family {
  const char* name;
  int number;
  const char* address;
  std::string path;
  std::string title;  // in messages
  std::string call;   // address and scope in the trace
};
static const family FAMILIES[] = {
    {"IPv4", 1, "10.0.0.1", "/bgp/ipv4/neighbor/10.0.0.1",        "(ip address: 10.0.0.1",
     "{1,\"10.0.0.1\"}, 0"},
    {"IPv6", 2, "fe80::9",  "/bgp/ipv6/neighbor/fe80::9/scope/7", "(ip address: fe80::9, scope: 7",
     "{2,\"fe80::9\"}, 7" }
};

static void expect_neighbor(int line, const family& f, const char* as, const char* activate,
                            const char* next_hop_self, const char* source)
{
  std::string json = std::string(R"({"neighbor_info":{"remote_address":")") + f.address +
                     R"(","remote_as":)" + as + R"(,"activate":")" + activate +
                     R"(","next_hop_self_mode":")" + next_hop_self + R"(","update_source":")" +
                     source + "\"}}";
  expect_answer(line, "GET", f.path, 0, GOT_DATA, json.c_str());
}

// ---- paths ----

TEST(Bgp, UnservedPathsAreBadRequests)
{
  engine_reset();
  const std::string long_name(256, 'x');
  expect_bad_requests(
      __LINE__,
      ("GET /bgp/ GET /bgp/holdTime PUT /bgp PUT /bgp/holdTime/?value=9 "
       "POST /bgp/ipv4/neighbor/ POST /bgp/ipv4/neighbor/10.0.0.1/?asn=1 "
       "POST /bgp/ipv4/neighbor/10.0.0.1/scope/1?asn=1 "
       "POST /bgp/ipv6/neighbor/fe80::9?asn=1 POST /bgp/ipv6/neighbor/fe80::9/scope/x?asn=1 "
       "GET /bgp/ipv6/neighbor/fe80::9/scope/ "
       "PUT /bgp/ipv4/neighbor/10.0.0.1/activat?value=1 "
       "PUT /bgp/ipv4/neighbor/10.0.0.1/activatee?value=1 "
       "PUT /bgp/ipv4/neighbor/10.0.0.1/nextHopSelf?value=1 "
       "PUT /bgp/ipv6/neighbor/fe80::9/scope/7/updateSource/1 "
       "DELETE /bgp/ipv4/neighbor/10.0.0.1 DELETE /bgp/ipv4/redistribution/ "
       "POST /bgp/ipv4/redistribution/" +
       long_name)
          .c_str());
}

// ---- the switch as a speaker ----

static std::vector<std::string> words(const char* text)
{
  std::istringstream list(text);
  return {std::istream_iterator<std::string>(list), {}};
}

// Values that are taken, that are refused without a call of the setter, and that the switch
// refuses.
static void check_global(int line, const char* name, const char* message, const char* setter,
                         const char* taken, const char* refused_here, const char* refused_there)
{
  const std::string path = std::string("/bgp/") + name;
  const std::string query = path + "?value=";
  expect_open_errors(line, ("PUT " + path + " PUT " + query).c_str());
  EXPECT_TRUE(api_calls("PUT", query).empty());
  for (const std::string& value : words(taken))
    expect_answer(line, "PUT", query + value, 0,
                  std::string("Update ") + message + " successfully.");
  for (const std::string& value : words(refused_here)) {
    expect_open_error(line, "PUT", query + value);
    for (const std::string& call : api_calls("PUT", query + value))
      EXPECT_EQ(call.find(setter), std::string::npos) << call;
  }
  for (const std::string& value : words(refused_there))
    expect_switch_results({
        {line, "PUT", query + value, -22}
    });
  expect_each_call_checked(line, "PUT", query + words(taken).back(), {"rpcclt_openapiInetAddrGet"});
}

TEST(Bgp, GlobalsHaveTheirRanges)
{
  engine_reset();
  expect_answer(__LINE__, "GET", "/bgp", 0, GOT_DATA,
                R"({"infomation":{"hold_time":90,"keep_alive_time":30,"local_AS_number":0,
                "local_router_id":"0.0.0.0","local_preference":100,
                "log_neighbor_changes":"Disable"}})");
  check_global(__LINE__, "holdTime", "hold time for all peers", "BgpGlobalHoldTimeConfiguredSet",
               "0 3 65535 180x 180", "", "1 2 65536 -1");
  check_global(__LINE__, "keepAliveTime", "keep alive time for all peers",
               "BgpGlobalKeepAliveConfiguredSet", "0 65535 x 60", "", "65536 -1");
  check_global(__LINE__, "localAS", "local Autonomous System (AS) number", "BgpLocalASSet",
               "1 2147483647 9999999999 65001", "", "0 -1 x");
  check_global(__LINE__, "routerId", "BGP router ID", "BgpLocalIdSet",
               "223.255.255.255 10.20.30.40", "300.1.1.1 1.2.3 x", "0.0.0.0 127.0.0.1 224.0.0.1");
  check_global(__LINE__, "localPref", "the value of local preference attribute", "BgpLocalPrefSet",
               "0 4294967295 250", "4294967296 -1 12a", "");
  check_global(__LINE__, "logNeighborChanges", "the log neighbor changes parameter",
               "BgpLogNeighborChangesSet", "0 x -1 5", "", "");
  expect_xml_answer(__LINE__, "GET", "/bgp", 0, GOT_DATA,
                    "<infomation><hold_time>180</hold_time><keep_alive_time>60</keep_alive_time>"
                    "<local_AS_number>65001</local_AS_number><local_router_id>10.20.30.40"
                    "</local_router_id><local_preference>250</local_preference>"
                    "<log_neighbor_changes>Enable</log_neighbor_changes></infomation>");
  expect_calls(__LINE__, api_calls("GET", "/bgp"),
               {"rpcclt_openapiBgpGlobalHoldTimeConfiguredGet(>180) = 0",
                "rpcclt_openapiBgpGlobalKeepAliveConfiguredGet(>60) = 0",
                "rpcclt_openapiBgpLocalASGet(>65001) = 0",
                "rpcclt_openapiBgpLocalIdGet(>169090600) = 0",  // 10 * 2^24 + 20 * 2^16 + ...
                "rpcclt_openapiBgpLocalPrefGet(>250) = 0",
                "rpcclt_openapiBgpLogNeighborChangesGet(>1) = 0"});
  expect_each_call_checked(__LINE__, "GET", "/bgp");
  // an IPv6 address stands for its first four bytes, whatever machine this is
  expect_calls(__LINE__, api_calls("PUT", "/bgp/routerId?value=a0b:c0d::"),
               {"rpcclt_openapiInetAddrGet(", "rpcclt_openapiBgpLocalIdSet(168496141) = 0"});
}

// ---- originated networks ----

TEST(Bgp, OriginatedNetworks)
{
  engine_reset();
  const std::string name31(31, 'm');
  const std::string path = "/bgp/originatedNetwork";
  const std::string query = "?addr=10.1.2.0&pfxLen=24";
  expect_answer(__LINE__, "POST", path + query + "&routeMap=" + name31, 0,
                "Set BGP originated network (ip address: 10.1.2.0, prefix length: 24) "
                "successfully.");
  for (const char* refused :
       {"POST ?addr=10.1.2.0&pfxLen=24", "POST ?pfxLen=24&routeMap=a",
        "POST ?addr=10.1.2.0&pfxLen=24&routeMap=", "DELETE ?pfxLen=24",
        "POST ?addr=10.1.2.0&routeMap=a", "DELETE ?addr=x&pfxLen=24",
        "POST ?addr=10.1.2.0&pfxLen=&routeMap=a", "DELETE ?addr=10.1.2.0",
        "POST ?addr=&pfxLen=24&routeMap=a", "POST ?addr=10.1.2&pfxLen=24&routeMap=a"})
    expect_open_errors(__LINE__,
                       (std::string(refused).insert(strchr(refused, '?') - refused, path)).c_str());
  EXPECT_TRUE(api_calls("POST", path + query + "&routeMap=" + name31 + "m").empty());
  expect_switch_results({
      {__LINE__, "POST",   path + query + "&routeMap=" + name31,           -24},
      {__LINE__, "POST",   path + query + "&routeMap=other",               0  },
      {__LINE__, "POST",   path + "?addr=10.1.2.9&pfxLen=33&routeMap=a",   -22},
      {__LINE__, "POST",   path + "?addr=10.1.2.9&pfxLen=-1&routeMap=a",   -22},
      {__LINE__, "POST",   path + "?addr=2001:db8::&pfxLen=32&routeMap=a", 0  },
      {__LINE__, "DELETE", path + "?addr=2001:db8:0:1::&pfxLen=32",        0  }, // the same network
      {__LINE__, "DELETE", path + "?addr=10.1.2.0&pfxLen=25",              -29},
  });
  expect_calls(__LINE__, api_calls("POST", path + "?addr=10.9.0.0&pfxLen=16&routeMap=rm"),
               {"rpcclt_openapiInetAddrGet({9,\"10.9.0.0\"}",
                "rpcclt_openapiBgpNetworkAddDelete(1, 1, {1,\"10.9.0.0\"}, 16, {3,\"rm\"}) = 0"});
  expect_calls(__LINE__, api_calls("DELETE", path + "?addr=10.9.0.0&pfxLen=16&routeMap=rm"),
               {"rpcclt_openapiInetAddrGet(",
                "rpcclt_openapiBgpNetworkAddDelete(0, 0, {1,\"10.9.0.0\"}, 16, {1,\"\"}) = 0"});
  expect_answer(__LINE__, "DELETE", path + query, 0,
                "Delete BGP originated network (ip address: 10.1.2.0, prefix length: 24) "
                "successfully.");
  expect_each_call_checked(__LINE__, "POST", path + query + "&routeMap=a",
                           {"rpcclt_openapiInetAddrGet"});
}

// ---- neighbours ----

TEST(Bgp, NeighboursOfBothFamilies)
{
  for (const family& f : FAMILIES) {
    engine_reset();
    const std::string name = f.name;
    const auto updated = [&](const char* what) {
      return std::string("Update ") + what + " of BGP " + name + " neighbor " + f.title +
             ") successfully.";
    };
    expect_open_error(__LINE__, "GET", f.path);  // unknown
    expect_answer(__LINE__, "POST", f.path + "?asn=65002", 0,
                  "Set BGP " + name + " neighbor " + f.title + ", AS number: 65002) successfully.");
    expect_neighbor(__LINE__, f, "65002", f.number == 1 ? "Yes" : "No", "disable", "none");
    expect_answer(__LINE__, "PUT", f.path + "/activate?value=1", 0, updated("activate state"));
    expect_answer(__LINE__, "PUT", f.path + "/nextHopSelfMode?value=1", 0,
                  updated("next-hop-self mode"));
    api_request("POST", "/vlans/10", "json");
    api_request("POST", "/routing/vlanRtrIf?vlanId=10", "json");
    expect_answer(__LINE__, "PUT", f.path + "/updateSource?type=1&value=10", 0,
                  updated("update-source"));
    expect_neighbor(__LINE__, f, "65002", "Yes", "enable", "vlan 10");
    expect_xml_answer(__LINE__, "GET", f.path, 0, GOT_DATA,
                      (std::string("<neighbor_info><remote_address>") + f.address +
                       "</remote_address><remote_as>65002</remote_as><activate>Yes</activate>"
                       "<next_hop_self_mode>enable</next_hop_self_mode><update_source>vlan 10"
                       "</update_source></neighbor_info>")
                          .c_str());
    const auto call = [&](const std::string& text, const std::string& arguments) {
      return "rpcclt_openapiBgpPeer" + text + f.call + arguments;
    };
    std::vector<std::string> calls = api_calls("GET", f.path);
    const std::string expected[] = {"rpcclt_openapiInetAddrGet(",
                                    call("RemoteASGet(", ", >65002) = 0"),
                                    call("ActivateGet(0, ", ", >1) = 0"),
                                    call("NextHopSelfModeGet(0, ", ", >1) = 0"),
                                    call("UpdateSourceGet(0, ", ", >226) = 0"),
                                    "openapiIfNameGet(226, >{8,\"vlan 10\"}) = 0"};
    expect_calls(__LINE__, calls,
                 {expected[0].c_str(), expected[1].c_str(), expected[2].c_str(),
                  expected[3].c_str(), expected[4].c_str(), expected[5].c_str()});
    const std::string family_argument = ", " + std::to_string(f.number) + ", 0) = 0";
    expect_calls(__LINE__, api_calls("PUT", f.path + "/activate?value=0"),
                 {"rpcclt_openapiInetAddrGet(", call("ActivateSet(", family_argument).c_str()});
    expect_calls(
        __LINE__, api_calls("PUT", f.path + "/nextHopSelfMode?value=0"),
        {"rpcclt_openapiInetAddrGet(", call("NextHopSelfModeSet(", family_argument).c_str()});
    expect_neighbor(__LINE__, f, "65002", "No", "disable", "vlan 10");
    expect_each_call_checked(__LINE__, "GET", f.path, {"rpcclt_openapiInetAddrGet"});
    expect_each_call_checked(__LINE__, "POST", f.path + "?asn=65003",
                             {"rpcclt_openapiInetAddrGet"});
    for (const char* update :
         {"/activate?value=1", "/nextHopSelfMode?value=1", "/updateSource?type=1&value=10"})
      expect_each_call_checked(__LINE__, "PUT", f.path + update, {"rpcclt_openapiInetAddrGet"});
    // the source of the updates goes with its interface
    api_request("DELETE", "/routing/vlanRtrIf?vlanId=10", "json");
    expect_neighbor(__LINE__, f, "65003", "Yes", "enable", "none");
  }
}

// Which of the three kinds of answer goes with what is wrong.
TEST(Bgp, NeighbourRequestsAreRefused)
{
  engine_reset();
  for (const family& f : FAMILIES) {
    api_request("POST", f.path + "?asn=1", "json");
    const std::string bad =
        f.number == 1 ? "/bgp/ipv4/neighbor/10.0.0" : "/bgp/ipv6/neighbor/fe80::x/scope/7";
    expect_open_errors(
        __LINE__,
        ("POST " + f.path + " POST " + f.path + "?asn= POST " + bad + "?asn=1 GET " + bad).c_str());
    for (const char* update :
         {"/activate", "/activate?value=", "/activate?value=2", "/activate?value=-1",
          "/activate?value=1x", "/nextHopSelfMode",
          "/nextHopSelfMode?value=", "/nextHopSelfMode?value=2", "/updateSource?value=1",
          "/updateSource?type=&value=1", "/updateSource?type=0&value=1",
          "/updateSource?type=3&value=1", "/updateSource?type=2x&value=1", "/updateSource?type=1",
          "/updateSource?type=2&value=", "/updateSource?type=2&value=1x"}) {
      expect_answer(__LINE__, "PUT", f.path + update, 1, BAD_VALUE);
      EXPECT_TRUE(api_calls("PUT", f.path + update).empty()) << update;
    }
    for (const char* update :
         {"/activate?value=1", "/nextHopSelfMode?value=0", "/updateSource?type=2&value=5"})
      expect_answer(__LINE__, "PUT", bad + update, 1, BAD_VALUE);
    expect_switch_results({
        {__LINE__, "POST", f.path + "?asn=0",                        -22},
        {__LINE__, "POST", f.path + "?asn=-1",                       -22},
        {__LINE__, "PUT",  f.path + "/updateSource?type=1&value=77", -29},
        {__LINE__, "PUT",  f.path + "/updateSource?type=2&value=5",  -29}, // does not route
        {__LINE__, "PUT",  "/routing/if/5/adminMode?value=1",        0  },
        {__LINE__, "PUT",  f.path + "/updateSource?type=2&value=5",  0  },
        {__LINE__, "GET",  f.path,                                   0  },
        {__LINE__, "PUT",  f.path + "/updateSource?type=2&value=0",  0  },
        {__LINE__, "PUT",  "/routing/if/5/adminMode?value=0",        0  },
    });
  }
  expect_switch_results({
      {__LINE__, "POST", "/bgp/ipv4/neighbor/127.0.0.1?asn=1",           -22},
      {__LINE__, "POST", "/bgp/ipv4/neighbor/0.0.0.0?asn=1",             -22},
      {__LINE__, "POST", "/bgp/ipv6/neighbor/ff02::1/scope/1?asn=1",     -22},
      {__LINE__, "GET",  "/bgp/ipv6/neighbor/fe80::9/scope/8",           -29}, // another scope
      {__LINE__, "PUT",  "/bgp/ipv4/neighbor/10.0.0.2/activate?value=1", -29},
  });
  // an update source whose name the switch does not end
  api_request("PUT", "/routing/if/5/adminMode?value=1", "json");
  api_request("PUT", FAMILIES[0].path + "/updateSource?type=2&value=5", "json");
  const std::string name(256, 'n');
  ASSERT_TRUE(switchsim_fault_set("openapiIfNameGet", ("{\"value\": \"" + name + "\"}").c_str()));
  expect_neighbor(__LINE__, FAMILIES[0], "1", "Yes", "disable", name.substr(1).c_str());
}

// ---- redistribution ----

TEST(Bgp, RedistributionOfBothFamilies)
{
  engine_reset();
  for (const family& f : FAMILIES) {
    const std::string path =
        f.number == 1 ? "/bgp/ipv4/redistribution/" : "/bgp/ipv6/redistribution/";
    const struct {
      int line;
      const char* request;
      const char* before;  // arguments before and behind the family
      const char* behind;
    } cases[] = {
        {__LINE__, "ospf",                                             "1, {5,\"ospf\"}, 0, 0, 0, 0, 0, 0, ",                ", {1,\"\"}) = 0"  },
        {__LINE__, "ospf?metric=",                                     "1, {5,\"ospf\"}, 0, 0, 1, 1, 0, 0, ",                ", {1,\"\"}) = 0"  },
        {__LINE__, "rip?metric=4294967295",                            "1, {4,\"rip\"}, 0, 0, 1, 1, 4294967295, 0, ",
         ", {1,\"\"}) = 0"                                                                                                                      },
        {__LINE__, "static?metric=4294967298&routeMap=rm",             "1, {7,\"static\"}, 0, 0, 1, 1, 2, 1, ",
         ", {3,\"rm\"}) = 0"                                                                                                                    },
        {__LINE__, "connected?metric=-1",                              "1, {10,\"connected\"}, 0, 0, 1, 1, 4294967295, 0, ",
         ", {1,\"\"}) = 0"                                                                                                                      },
        {__LINE__, "ospf?matchInternal=1&matchExt2=1&matchNssaExt2=1",
         "1, {5,\"ospf\"}, 1, 21, 0, 0, 0, 0, ",                                                                             ", {1,\"\"}) = 0"  },
        {__LINE__, "ospf?matchExt1=1&matchNssaExt1=1",                 "1, {5,\"ospf\"}, 1, 10, 0, 0, 0, 0, ",
         ", {1,\"\"}) = 0"                                                                                                                      },
        {__LINE__, "rip?matchExt1=1",                                  "1, {4,\"rip\"}, 1, 2, 0, 0, 0, 0, ",                 ", {1,\"\"}) = -22"},
        {__LINE__, "isis",                                             "1, {5,\"isis\"}, 0, 0, 0, 0, 0, 0, ",                ", {1,\"\"}) = -22"},
        {__LINE__, "rip?routeMap=",                                    "1, {4,\"rip\"}, 0, 0, 0, 0, 0, 1, ",                 ", {1,\"\"}) = -22"},
    };
    for (const auto& c : cases)
      expect_calls(c.line, api_calls("POST", path + c.request),
                   {("rpcclt_openapiBgpRedistributionSet(" + std::string(c.before) +
                     std::to_string(f.number) + c.behind)
                        .c_str()});
    // the first match parameter that is wrong has its own code
    const char* const parameters[] = {"matchInternal", "matchExt1", "matchExt2", "matchNssaExt1",
                                      "matchNssaExt2"};
    std::string query = "?metric=1";
    for (int code = 5; code >= 1; code--) {
      const std::string parameter = parameters[code - 1];
      for (const char* value : {"=0", "=", "=2", "=x"}) {
        const std::string request = path + "ospf" + query + "&" + parameter + value;
        expect_answer(__LINE__, "POST", request, code,
                      "The value of parameter " + parameter + " is invalid.");
        EXPECT_TRUE(api_calls("POST", request).empty());
      }
      query += "&" + parameter + "=0";
    }
    const std::string of = std::string(" BGP ") + f.name + " Redistribution for ospf successfully.";
    expect_answer(__LINE__, "POST", path + "ospf", 0, "Create" + of);
    expect_calls(__LINE__, api_calls("DELETE", path + "static?metric=5&matchExt1=0"),
                 {("rpcclt_openapiBgpRedistributionSet(0, {7,\"static\"}, 0, 0, 0, 0, 0, 0, " +
                   std::to_string(f.number) + ", {1,\"\"}) = 0")
                      .c_str()});
    expect_each_call_checked(__LINE__, "POST", path + "ospf?metric=3");
    expect_answer(__LINE__, "DELETE", path + "ospf", 0, "Delete" + of);
    expect_each_call_checked(__LINE__, "DELETE", path + "rip");
    expect_switch_results({
        {__LINE__, "DELETE", path + "ospf", -29}
    });
  }
}

TEST(Bgp, TablesAreFinite)
{
  engine_reset();
  const auto peer = [](int i) {
    return "/bgp/ipv6/neighbor/2001:db8::1/scope/" + std::to_string(i) + "?asn=1";
  };
  const auto network = [](int i) {
    return "/bgp/originatedNetwork?pfxLen=24&routeMap=a&addr=10.0." + std::to_string(i) + ".0";
  };
  for (int i = 0; i < 256; i++)
    api_request("POST", peer(i), "json");
  for (int i = 0; i < 64; i++)
    api_request("POST", network(i), "json");
  expect_switch_results({
      {__LINE__, "POST", peer(256),   -23},
      {__LINE__, "POST", peer(255),   0  },
      {__LINE__, "POST", network(64), -23},
      {__LINE__, "POST", network(63), -24},
  });
}
