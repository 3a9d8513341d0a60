// The routing module and the switch's routing behind it, over sockets.
#include <gtest/gtest.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

#include "engine/rest_route.h"
#include "switchsim/switchsim.h"
#include "tests/support/answer_table.h"
#include "tests/support/local_engine.h"
#include "tests/support/switch_table.h"

static const char GOT_DATA[] = "Get data successfully.";

// A switch with VLANs 10, 20 and 30.
static void reset(const char* profile = "{}")
{
  engine_reset(profile);
  for (const char* vlan : {"10", "20", "30"})
    api_request("POST", std::string("/vlans/") + vlan, "json");
}

static std::string address_query(const char* type, const char* address, const char* length,
                                 const char* ext_arg = "0")
{
  return std::string("?addrType=") + type + "&addr=" + address + "&pfxLen=" + length +
         "&extArg=" + ext_arg;
}

static void make(const char* method, const std::string& path)
{
  EXPECT_NE(api_request(method, path, "json").body.find("\"rlt_code\": 0,"), std::string::npos)
      << method << " " << path;
}

// ---- paths ----

// The C library's own scan is the judge of a loose match: one field and nothing behind it.
TEST(Routes, LooseMatchIsThatOfAScan)
{
  const std::string digits(255, '7');
  std::vector<std::string> paths = {"", "/routing/if/" + digits + "/ip",
                                    "/routing/if/" + digits + "8/ip"};
  const char endings[] =
      "if/5/ip|if/5|if/5/|if/5/i|if/5/ix|if/5/adminMode|if/5x|if/5/ip/|if/5/ipx|if/5/ip |if/5/ip x|"
      "if/|if|if/x|vlanRtrIf/5/ip|IF/5/ip|/if/5/ip|if//ip|if/5 /ip|if/-5/ip|if/005/ip|if/5//ip|"
      "if/5/ip/6/ip|if/5/i p|if/5/ip\t";
  std::stringstream list(endings);
  for (std::string ending; std::getline(list, ending, '|');)
    paths.push_back("/routing/" + ending);
  for (const std::string& path : paths) {
    char field[256];
    char rest[256];
    int fields = sscanf(path.c_str(), "/routing/if/%255[0-9]/ip%255s", field, rest);
    EXPECT_EQ(rest_route_matches("/routing/if/{n}/ip", path.c_str(), REST_MATCH_LOOSE), fields == 1)
        << path;
  }
}

TEST(Routes, UnservedPathsAreBadRequests)
{
  reset();
  expect_bad_requests(__LINE__,
                      "GET /routing/ GET /routing/x GET /routing/if/ GET /routing/if/5 "
                      "GET /routing/vlanRtrIf/ GET /routing/vlanRtrIf/1/ GET /routing/vlanRtrIf/1x "
                      "GET /routing/ipv4/adminMode POST /routing POST /routing/if/5/ip/ "
                      "POST /routing/if/5/ipx POST /routing/if/x/ip POST /routing/vlanRtrIf/ "
                      "POST /routing/if/ PUT /routing/ipv4/adminMode/ PUT /routing/ipv5/adminMode "
                      "PUT /routing/if/x/adminMode DELETE /routing DELETE /routing/vlanRtrIf/x "
                      "DELETE /routing/if/5/ip/1");
}

TEST(Routes, AddressesAreServedWithoutTheLastSegment)
{
  reset();
  make("POST", "/routing/vlanRtrIf?vlanId=10");
  for (const char* method : {"POST", "DELETE"}) {
    make(method, "/routing/if/3" + address_query("0", "10.3.0.1", "24"));
    make(method, "/routing/vlanRtrIf/1/i" + address_query("0", "10.4.0.1", "16"));
  }
}

// ---- modes ----

TEST(Modes, OfTheSwitchAndOfAPort)
{
  reset();
  const char FOR_IPV4[] = "Update routing admin mode for IPv4 successfully.";
  const char FOR_IPV6[] = "Update routing admin mode for IPv6 successfully.";
  const char PORT[] = "Update routing admin mode for this interface successfully.";
  expect_answer(__LINE__, "GET", "/routing", 0, GOT_DATA,
                R"({"infomation":{"ipv4_admin_mode":"disable","ipv6_admin_mode":"disable"}})");
  expect_answer(__LINE__, "PUT", "/routing/ipv4/adminMode?value=1", 0, FOR_IPV4);
  expect_answer(__LINE__, "GET", "/routing", 0, GOT_DATA,
                R"({"infomation":{"ipv4_admin_mode":"enable","ipv6_admin_mode":"disable"}})");
  expect_answer(__LINE__, "PUT", "/routing/ipv6/adminMode?value=1", 0, FOR_IPV6);
  expect_answer(__LINE__, "PUT", "/routing/ipv4/adminMode?value=0", 0, FOR_IPV4);
  expect_open_errors(__LINE__, "PUT /routing/ipv4/adminMode PUT /routing/ipv4/adminMode?value=");
  expect_answer(__LINE__, "PUT", "/routing/if/5/adminMode?value=1", 0, PORT);
  expect_open_errors(__LINE__,
                     "PUT /routing/if/5/adminMode/x?value=1 PUT /routing/if/5/adminMode/?value=1 "
                     "PUT /routing/if/5/adminModes?value=1 PUT /routing/if/5?value=1 "
                     "PUT /routing/if/5/adminMode PUT /routing/if/5/adminMode?value=");
  expect_xml_answer(__LINE__, "GET", "/routing", 0, GOT_DATA,
                    "<infomation><ipv4_admin_mode>disable</ipv4_admin_mode>"
                    "<ipv6_admin_mode>enable</ipv6_admin_mode></infomation>");
  // the path and the value are judged before the switch is asked
  EXPECT_TRUE(api_calls("PUT", "/routing/if/5/adminMode/x?value=1").empty());
  EXPECT_TRUE(api_calls("PUT", "/routing/if/5/adminMode?value=").empty());
  expect_calls(__LINE__, api_calls("PUT", "/routing/if/5/adminMode?value=7"),
               {"rpcclt_openapiRtrIntfRtrAdminModeSet(5, 7) = -22"});
  expect_calls(__LINE__, api_calls("PUT", "/routing/ipv6/adminMode?value=-1"),
               {"rpcclt_openapiRtrAdminModeSet(2, -1) = -22"});
  expect_calls(__LINE__, api_calls("GET", "/routing"),
               {"rpcclt_openapiRtrAdminModeGet(1, >0)", "rpcclt_openapiRtrAdminModeGet(2, >1)"});
  expect_switch_results({
      {__LINE__, "PUT", "/routing/if/999/adminMode?value=1", -29},
      {__LINE__, "PUT", "/routing/if/55/adminMode?value=1",  -28}, // the CPU interface
  });
  for (const char* path : {"/routing/ipv4/adminMode?value=1", "/routing/ipv6/adminMode?value=1",
                           "/routing/if/5/adminMode?value=1"})
    expect_each_call_checked(__LINE__, "PUT", path);
  expect_each_call_checked(__LINE__, "GET", "/routing");
  // a mode that has no text
  ASSERT_TRUE(switchsim_fault_set("rpcclt_openapiRtrAdminModeGet", R"({"value": 5})"));
  expect_answer(__LINE__, "GET", "/routing", 0, GOT_DATA,
                R"({"infomation":{"ipv4_admin_mode":"","ipv6_admin_mode":""}})");
}

// ---- VLAN routing interfaces ----

TEST(VlanInterfaces, AreCreatedListedAndDeleted)
{
  reset();
  const char EMPTY[] = "VLAN Routing interface doesn't exist.";
  expect_answer(__LINE__, "GET", "/routing/vlanRtrIf", 1, EMPTY,
                R"({"vlan_routing_interfaces":{}})");
  expect_xml_answer(__LINE__, "GET", "/routing/vlanRtrIf", 1, EMPTY,
                    "<vlan_routing_interfaces></vlan_routing_interfaces>");
  expect_answer(__LINE__, "POST", "/routing/vlanRtrIf?vlanId=20", 0,
                "Create Vlan Routing Interface with VLAN 20 successfully.");
  expect_answer(__LINE__, "POST", "/routing/vlanRtrIf?vlanId=10", 0,
                "Create Vlan Routing Interface with VLAN 10 successfully.");
  expect_answer(__LINE__, "POST", "/routing/vlanRtrIf?vlanId=10", 98,
                "The same setting is already set.");
  expect_open_errors(
      __LINE__,
      "POST /routing/vlanRtrIf POST /routing/vlanRtrIf?vlanId= DELETE /routing/vlanRtrIf "
      "DELETE /routing/vlanRtrIf?vlanId= GET /routing/vlanRtrIf/3 GET /routing/vlanRtrIf/0");
  expect_answer(
      __LINE__, "GET", "/routing/vlanRtrIf/1", 0, GOT_DATA,
      R"({"vlan_routing_interface":{"logical_interface_id":1,"vlan_routing_interface_num":226,
           "vlan_routing_interface_name":"vlan 20","vlan_id":20}})");
  expect_answer(__LINE__, "DELETE", "/routing/vlanRtrIf?vlanId=20", 0,
                "Delete Vlan Routing Interface with VLAN 20 successfully.");
  expect_answer(__LINE__, "GET", "/routing/vlanRtrIf", 0, GOT_DATA,
                R"({"vlan_routing_interfaces":{"1":{"logical_interface_id":1,
           "vlan_routing_interface_num":227}}})");
  expect_switch_results({
      {__LINE__, "POST",   "/routing/vlanRtrIf?vlanId=4095", -29}, // no such VLAN
      {__LINE__, "POST",   "/routing/vlanRtrIf?vlanId=-1",   -29},
      {__LINE__, "POST",   "/routing/vlanRtrIf?vlanId=0",    -29},
      {__LINE__, "DELETE", "/routing/vlanRtrIf?vlanId=20",   -29},
      {__LINE__, "DELETE", "/routing/vlanRtrIf?vlanId=0",    -29},
      {__LINE__, "POST",   "/routing/vlanRtrIf?vlanId=30",   0  }, // the lowest free number again
  });
  EXPECT_NE(api_request("GET", "/routing/vlanRtrIf/1", "json").body.find("\"vlan 30\""),
            std::string::npos);
  expect_each_call_checked(__LINE__, "DELETE", "/routing/vlanRtrIf?vlanId=10");
  expect_each_call_checked(__LINE__, "POST", "/routing/vlanRtrIf?vlanId=10");
}

static void make_addresses(const std::string& intf)
{
  for (const std::string& query :
       {address_query("0", "10.1.0.1", "16"), address_query("1", "10.2.0.1", "24"),
        address_query("1", "10.2.1.129", "25"), address_query("3", "2001:db8:1::1", "64"),
        address_query("3", "2001:db8:2::", "64", "1"), address_query("3", "fe80::5", "10")})
    make("POST", intf + "/ip" + query);
}

TEST(VlanInterfaces, ShowTheirAddresses)
{
  reset();
  make("POST", "/routing/vlanRtrIf?vlanId=10");
  make("POST", "/routing/vlanRtrIf?vlanId=20");
  make_addresses("/routing/vlanRtrIf/2");
  // 227 is e3: the MAC address 02:54:58:a0:00:e3, its universal bit turned over
  const char* const one = R"({"vlan_routing_interface":{"logical_interface_id":2,
      "vlan_routing_interface_num":227,"vlan_routing_interface_name":"vlan 20","vlan_id":20,
      "primary_ipv4_address":"10.1.0.1/255.255.0.0",
      "secondary_ipv4_addresses":{"1":"10.2.0.1/255.255.255.0","2":"10.2.1.129/255.255.255.128"},
      "ipv6_addresses":{"1":"2001:db8:1::1/64","2":"2001:db8:2:0:54:58ff:fea0:e3/64",
      "3":"fe80::5/10"}}})";
  expect_answer(__LINE__, "GET", "/routing/vlanRtrIf/2", 0, GOT_DATA, one);
  expect_answer(__LINE__, "GET", "/routing/vlanRtrIf", 0, GOT_DATA,
                R"({"vlan_routing_interfaces":{
      "1":{"logical_interface_id":1,"vlan_routing_interface_num":226},
      "2":{"logical_interface_id":2,"vlan_routing_interface_num":227,"ipv4_address":"10.1.0.1",
      "subnet_mask":"255.255.0.0","ipv6_addresses":{"1":"2001:db8:1::1/64",
      "2":"2001:db8:2:0:54:58ff:fea0:e3/64","3":"fe80::5/10"}}}})");
  make("DELETE", "/routing/vlanRtrIf/2/ip" + address_query("3", "2001:db8:2::", "64", "1"));
  make("DELETE", "/routing/vlanRtrIf/2/ip" + address_query("3", "fe80::5", "10"));
  make("DELETE", "/routing/vlanRtrIf/2/ip" + address_query("1", "10.2.0.1", "24"));
  expect_xml_answer(
      __LINE__, "GET", "/routing/vlanRtrIf/2", 0, GOT_DATA,
      "<vlan_routing_interface><logical_interface_id>2</logical_interface_id>"
      "<vlan_routing_interface_num>227</vlan_routing_interface_num><vlan_routing_interface_name>"
      "vlan 20</vlan_routing_interface_name><vlan_id>20</vlan_id><primary_ipv4_address>"
      "10.1.0.1/255.255.0.0</primary_ipv4_address><secondary_ipv4_addresses>"
      "<secondary_ipv4_address>10.2.1.129/255.255.255.128</secondary_ipv4_address>"
      "</secondary_ipv4_addresses><ipv6_addresses><prefix/prefix_length>2001:db8:1::1/64"
      "</prefix/prefix_length></ipv6_addresses></vlan_routing_interface>");
  expect_calls(__LINE__, api_calls("GET", "/routing/vlanRtrIf/2"),
               {"openapiIfFirstGet(3, >226) = 0", "rpcclt_openapiIntfNameSizeGet(>64) = 0",
                "rpcclt_openapiRtrIntfNameGet(227, >{8,\"vlan 20\"}) = 0",
                "rpcclt_openapiRtrIntfTypeGet(227, >3) = 0", "openapiIfFirstGet(3, >226) = 0",
                "rpcclt_openapiRtrIntfVlanIdGet(227, >20) = 0",
                "rpcclt_openapiRtrIntfIpAddrGet(1, 227, >{1,\"10.1.0.1\",16}) = 0",
                "rpcclt_openapiRtrIntfSecIpAddrGet(1, 227, >{1,\"10.2.1.129\",25}, >1) = 0",
                "rpcclt_openapiRtrIntfSecIpAddrGet(1, 227, >{1,\"10.2.1.129\",25}, >1) = -29",
                "rpcclt_openapiRtrIntfIpAddrGet(2, 227, >{2,\"2001:db8:1::1\",64}) = 0",
                "rpcclt_openapiRtrIntfIpAddrGet(2, 227, >{2,\"2001:db8:1::1\",64}) = -29"});
  expect_each_call_checked(__LINE__, "GET", "/routing/vlanRtrIf/2",
                           {"openapiIfFirstGet", "rpcclt_openapiRtrIntfTypeGet",
                            "rpcclt_openapiRtrIntfIpAddrGet", "rpcclt_openapiRtrIntfSecIpAddrGet"});
}

// What the switch says wrongly is shown as far as it makes sense, and never more.
TEST(VlanInterfaces, SurviveAnUntruthfulSwitch)
{
  reset();
  make("POST", "/routing/vlanRtrIf?vlanId=10");
  const char PATH[] = "/routing/vlanRtrIf/1";
  std::string shown;
  const auto one = [&](const char* logical, const char* name, const char* vlan) {
    shown = std::string(R"({"vlan_routing_interface":{"logical_interface_id":)") + logical +
            R"(,"vlan_routing_interface_num":226,"vlan_routing_interface_name":")" + name +
            R"(","vlan_id":)" + vlan + "}}";
    return shown.c_str();
  };
  const char TYPE[] = "rpcclt_openapiRtrIntfTypeGet";
  const char SIZE[] = "rpcclt_openapiIntfNameSizeGet";
  const char NAME[] = "rpcclt_openapiRtrIntfNameGet";
  const char VLAN[] = "rpcclt_openapiRtrIntfVlanIdGet";
  const char HUGE_VALUE[] = R"({"value": 4294967295})";
  const std::string full = "{\"value\": \"" + std::string(64, 'n') + "\"}";  // no terminator
  expect_data_under_fault(__LINE__, TYPE, R"({"result": -26})", PATH, one("-1", "vlan 10", "10"));
  expect_data_under_fault(__LINE__, TYPE, R"({"value": 2})", PATH, one("-2", "vlan 10", "10"));
  expect_data_under_fault(__LINE__, "openapiIfFirstGet", R"({"result": -26})", PATH,
                          one("1", "vlan 10", "10"));
  expect_data_under_fault(__LINE__, SIZE, R"({"value": 0})", PATH, nullptr);
  expect_data_under_fault(__LINE__, SIZE, R"({"value": 1})", PATH, nullptr);
  expect_data_under_fault(__LINE__, SIZE, HUGE_VALUE, PATH, one("1", "vlan 10", "10"));
  expect_data_under_fault(__LINE__, NAME, R"({"value": ""})", PATH, one("1", "", "10"));
  expect_data_under_fault(__LINE__, NAME, full.c_str(), PATH,
                          one("1", std::string(64, 'n').c_str(), "10"));
  expect_data_under_fault(__LINE__, VLAN, HUGE_VALUE, PATH, one("1", "vlan 10", "-1"));
}

TEST(VlanInterfaces, HoldTheirVlan)
{
  reset();
  make("POST", "/routing/vlanRtrIf?vlanId=10");
  expect_switch_results({
      {__LINE__, "DELETE", "/vlans/10",                    -26},
      {__LINE__, "DELETE", "/routing/vlanRtrIf?vlanId=10", 0  },
      {__LINE__, "DELETE", "/vlans/10",                    0  },
      {__LINE__, "POST",   "/routing/vlanRtrIf?vlanId=10", -29},
  });
}

// ---- lists ----

TEST(Lists, EndWhereTheTypeOfInterfaceEnds)
{
  reset();
  expect_open_error(__LINE__, "GET", "/routing/if");  // nothing routes at all
  make("POST", "/routing/vlanRtrIf?vlanId=10");
  make("POST", "/routing/vlanRtrIf?vlanId=20");
  const char EMPTY[] = "Physical routing interface doesn't exist.";
  expect_answer(__LINE__, "GET", "/routing/if", 1, EMPTY, R"({"interfaces":{}})");
  make("PUT", "/routing/if/7/adminMode?value=1");
  make("PUT", "/routing/if/3/adminMode?value=1");
  make("POST", "/routing/if/3/ip" + address_query("0", "192.0.2.1", "30"));
  make("POST", "/routing/if/3/ip" + address_query("3", "2001:db8::1", "128"));
  make("POST", "/routing/if/4/ip" + address_query("0", "198.51.100.1", "32"));  // does not route
  const char* const both = R"({"interfaces":{"1":{"ifNum":3,"ipv4_address":"192.0.2.1",
      "subnet_mask":"255.255.255.252","ipv6_addresses":{"1":"2001:db8::1/128"}},
      "2":{"ifNum":7}}})";
  expect_answer(__LINE__, "GET", "/routing/if", 0, GOT_DATA, both);
  expect_xml_answer(__LINE__, "GET", "/routing/if", 0, GOT_DATA,
                    "<interfaces><interface><ifNum>3</ifNum><ipv4_address>192.0.2.1</ipv4_address>"
                    "<subnet_mask>255.255.255.252</subnet_mask><ipv6_addresses>"
                    "<prefix/prefix_length>2001:db8::1/128</prefix/prefix_length></ipv6_addresses>"
                    "</interface><interface><ifNum>7</ifNum></interface></interfaces>");
  expect_calls(
      __LINE__, api_calls("GET", "/routing/vlanRtrIf"),
      {"openapiIfFirstGet(3, >226) = 0", "rpcclt_openapiRtrIntfVlanIdGet(226, >10) = 0",
       "rpcclt_openapiRtrIntfIpAddrGet(1, 226", "rpcclt_openapiRtrIntfIpAddrGet(2, 226",
       "rpcclt_openapiRtrIntfNextGet(226, >227) = 0", "rpcclt_openapiRtrIntfTypeGet(227, >3) = 0",
       "rpcclt_openapiRtrIntfVlanIdGet(227, >20) = 0", "rpcclt_openapiRtrIntfIpAddrGet(1, 227",
       "rpcclt_openapiRtrIntfIpAddrGet(2, 227", "rpcclt_openapiRtrIntfNextGet(227"});
  // failures behind the first step shorten a list, no more
  const char* const vlans = R"({"vlan_routing_interfaces":{
      "1":{"logical_interface_id":1,"vlan_routing_interface_num":226},
      "2":{"logical_interface_id":2,"vlan_routing_interface_num":227}}})";
  const char* const vlan1 = R"({"vlan_routing_interfaces":{
      "1":{"logical_interface_id":1,"vlan_routing_interface_num":226}}})";
  const char* const vlan2 = R"({"vlan_routing_interfaces":{
      "1":{"logical_interface_id":2,"vlan_routing_interface_num":227}}})";
  const char* const port3 = R"({"interfaces":{"1":{"ifNum":3,"ipv4_address":"192.0.2.1",
      "subnet_mask":"255.255.255.252","ipv6_addresses":{"1":"2001:db8::1/128"}}}})";
  const char* const bare = R"({"interfaces":{"1":{"ifNum":3},"2":{"ifNum":7}}})";
  const char ADDRESS[] = "rpcclt_openapiRtrIntfIpAddrGet";
  const char VLAN[] = "rpcclt_openapiRtrIntfVlanIdGet";
  const char NEXT[] = "rpcclt_openapiRtrIntfNextGet";
  const char TYPE[] = "rpcclt_openapiRtrIntfTypeGet";
  const char VLANS[] = "/routing/vlanRtrIf";
  const char PORTS[] = "/routing/if";
  const char FAILS[] = R"({"result": -21})";
  expect_data_under_fault(__LINE__, ADDRESS, FAILS, VLANS, vlans);
  expect_data_under_fault(__LINE__, VLAN, R"({"result": -21, "times": 1})", VLANS, vlan2);
  expect_data_under_fault(__LINE__, NEXT, FAILS, VLANS, vlan1);
  expect_data_under_fault(__LINE__, TYPE, FAILS, VLANS, vlan1);
  expect_data_under_fault(__LINE__, TYPE, R"({"value": 0})", VLANS, vlan1);
  expect_data_under_fault(__LINE__, NEXT, R"({"value": 226})", VLANS, vlan1);
  expect_data_under_fault(__LINE__, ADDRESS, FAILS, PORTS, bare);
  expect_data_under_fault(__LINE__, NEXT, R"({"result": -21, "after": 1})", PORTS, port3);
  expect_data_under_fault(__LINE__, TYPE, R"({"value": 2, "after": 1})", PORTS, port3);
  expect_data_under_fault(__LINE__, NEXT, R"({"value": 3})", PORTS, port3);
  ASSERT_TRUE(switchsim_fault_set("openapiIfFirstGet", R"({"result": -21})"));
  expect_answer(__LINE__, "GET", "/routing/vlanRtrIf", 1, "VLAN Routing interface doesn't exist.",
                R"({"vlan_routing_interfaces":{}})");
  ASSERT_TRUE(switchsim_fault_set("rpcclt_openapiRtrIntfTypeGet", R"({"result": -21})"));
  expect_answer(__LINE__, "GET", "/routing/if", 1, EMPTY, R"({"interfaces":{}})");
  switchsim_faults_clear();
  make("PUT", "/routing/if/3/adminMode?value=0");
  make("PUT", "/routing/if/7/adminMode?value=0");
  expect_answer(__LINE__, "GET", "/routing/if", 1, EMPTY, R"({"interfaces":{}})");
  make("PUT", "/routing/if/3/adminMode?value=1");  // and its addresses are still there
  expect_answer(__LINE__, "GET", "/routing/if", 0, GOT_DATA, port3);
}

TEST(Lists, AddressesAppearWithTheInterface)
{
  reset();
  make_addresses("/routing/if/3");
  const std::string shown = api_request("GET", "/if/3", "xml").body;
  const char ADDRESSES_SHOWN[] =
      "<primary_ip_address>10.1.0.1/255.255.0.0</primary_ip_address><secondary_ip_addresses>"
      "<secondary_ipv4_address>10.2.0.1/255.255.255.0</secondary_ipv4_address>"
      "<secondary_ipv4_address>10.2.1.129/255.255.255.128</secondary_ipv4_address>"
      "</secondary_ip_addresses><ipv6_addresses>"
      "<prefix/prefix_length>2001:db8:1::1/64</prefix/prefix_length>"
      "<prefix/prefix_length>2001:db8:2:0:54:58ff:fea0:3/64</prefix/prefix_length>"
      "<prefix/prefix_length>fe80::5/10</prefix/prefix_length></ipv6_addresses></interface>";
  EXPECT_NE(shown.find(ADDRESSES_SHOWN), std::string::npos) << shown;
}

// Prefix lengths that no address has, and a switch that says that every address has one behind it.
TEST(Lists, SurviveUntruthfulAddresses)
{
  reset();
  make("PUT", "/routing/if/3/adminMode?value=1");
  make("POST", "/routing/if/3/ip" + address_query("0", "192.0.2.1", "24"));
  const char CALL[] = "rpcclt_openapiRtrIntfIpAddrGet";
  const char NO_MASK[] =
      R"({"interfaces":{"1":{"ifNum":3,"ipv4_address":"192.0.2.1","subnet_mask":"0.0.0.0"}}})";
  const char FULL_MASK[] = R"({"interfaces":{"1":{"ifNum":3,"ipv4_address":"192.0.2.1",
      "subnet_mask":"255.255.255.255"}}})";
  const char PORTS[] = "/routing/if";
  expect_data_under_fault(__LINE__, CALL, R"({"value": 0, "times": 1})", PORTS, NO_MASK);
  expect_data_under_fault(__LINE__, CALL, R"({"value": 33, "times": 1})", PORTS, FULL_MASK);
  expect_data_under_fault(__LINE__, CALL, R"({"value": 4294967295, "times": 1})", PORTS, FULL_MASK);
  ASSERT_TRUE(
      switchsim_fault_set("rpcclt_openapiRtrIntfIpAddrGet", R"({"result": 0, "value": 1})"));
  switchsim_trace_start();
  api_request("GET", "/routing/if", "json");
  const std::string trace = switchsim_trace_take();
  EXPECT_LT(std::count(trace.begin(), trace.end(), '\n'), 70000);
}

// ---- address requests ----

// Values of the parameters; null: absent.
static const char IPV4[] = "10.0.0.1";
static const char IPV6[] = "2001:db8::1";
static const char* const TYPES[] = {nullptr, "", "0", "1", "2", "3", "4", "5", "-1"};
static const char* const ADDRESSES[] = {nullptr, "", "1.2.3", IPV4, IPV6};
static const char* const LENGTHS[] = {nullptr, "", "0", "1", "32", "33", "128", "129", "-1"};
static const char* const EXT_ARGS[] = {nullptr, "", "0", "1", "2", "-1"};

struct address_case {
  bool vlan, create;
  const char *type, *address, *length, *ext_arg;
};

static bool given(const char* text)
{
  return text && *text;
}

static int number_of(const char* text)
{
  return given(text) ? std::stoi(text) : 0;
}

// The calls that a request must lead to by the rules for its parameters; true when it gets as far
// as the change itself.
static bool oracle(const address_case& c, std::vector<std::string>& calls)
{
  if (c.vlan)
    calls.push_back("openapiIfFirstGet(3, >226) = 0");
  const int type = number_of(c.type);
  if (!c.type || (c.create && !c.vlan && !*c.type) || type < 0 || type > 4)
    return false;
  const bool dhcp = type == 2 || type == 4;
  const int family = type >= 3 ? 2 : 1;
  std::string record = "{0,\"\",";
  if (given(c.address)) {
    const int given_family = c.address == IPV4 ? 1 : c.address == IPV6 ? 2 : 0;
    calls.push_back("rpcclt_openapiInetAddrGet({" + std::to_string(strlen(c.address) + 1) + ",\"" +
                    c.address);
    if (given_family == 0 || (given_family != family && !dhcp))
      return false;
    record = "{" + std::to_string(given_family) + ",\"" + c.address + "\",";
  } else if (!dhcp) {
    return false;
  }
  const int length = number_of(c.length);
  if (!given(c.length) && !dhcp)
    return false;
  if (length < 0 || length > (family == 1 ? 32 : 128) || (length == 0 && !dhcp))
    return false;
  const int ext_arg = number_of(c.ext_arg);
  if (!c.ext_arg || ext_arg < 0 || ext_arg > 1)
    return false;
  static const int kinds[] = {0, 1, 2, 0, 2};
  calls.push_back(std::string("rpcclt_openapiRtrIntfIpAddr") + (c.create ? "Add(" : "Del(") +
                  std::to_string(family) + (c.vlan ? ", 227, " : ", 2, ") +
                  std::to_string(kinds[type]) + ", " + record + std::to_string(length) + "}, " +
                  std::to_string(ext_arg) + ") = -24");
  return true;
}

static void check_address_case(const address_case& c)
{
  std::string path = c.vlan ? "/routing/vlanRtrIf/2/ip?a=" : "/routing/if/2/ip?a=";
  const auto append = [&](const char* name, const char* value) {
    path += value ? std::string(name) + value : "";
  };
  append("&addrType=", c.type);
  append("&addr=", c.address);
  append("&pfxLen=", c.length);
  append("&extArg=", c.ext_arg);
  std::vector<std::string> expected;
  bool accepted = oracle(c, expected);

  const char* method = c.create ? "POST" : "DELETE";
  switchsim_trace_start();
  std::string body = api_request(method, path, "json").body;
  std::string trace = switchsim_trace_take();
  EXPECT_NE(body.find(accepted ? "\"rlt_code\": 98," : "\"rlt_code\": 99,"), std::string::npos)
      << method << " " << path << "\n"
      << body;
  size_t at = 0;
  for (const std::string& call : expected) {
    EXPECT_EQ(trace.compare(at, call.size(), call), 0) << method << " " << path << "\n"
                                                       << trace << "expected " << call;
    at = trace.find('\n', at);
    at = at == std::string::npos ? trace.size() : at + 1;
  }
  EXPECT_EQ(at, trace.size()) << method << " " << path << "\n" << trace;
}

// Every combination; the change itself is answered with "exists" so that nothing changes.
TEST(Addresses, AllCombinationsOfParameters)
{
  reset();
  make("POST", "/routing/vlanRtrIf?vlanId=10");
  ASSERT_TRUE(switchsim_fault_set("rpcclt_openapiRtrIntfIpAddrAdd", R"({"result": -24})"));
  ASSERT_TRUE(switchsim_fault_set("rpcclt_openapiRtrIntfIpAddrDel", R"({"result": -24})"));
  for (bool vlan : {false, true})
    for (bool create : {false, true})
      for (const char* type : TYPES)
        for (const char* address : ADDRESSES)
          for (const char* length : LENGTHS)
            for (const char* ext_arg : EXT_ARGS) {
              check_address_case({vlan, create, type, address, length, ext_arg});
              if (HasFailure())
                return;
            }
}

TEST(Addresses, AnswersTellWhatWasSent)
{
  reset();
  make("POST", "/routing/vlanRtrIf?vlanId=10");
  const std::string long_text(300, '1');
  for (const char* verb : {"Create", "Delete"}) {
    const char* method = *verb == 'C' ? "POST" : "DELETE";
    const auto message = [&](const char* subject, const char* address, const char* length) {
      return std::string(verb) + " Routing " + subject + " IP address (address: " + address +
             ", prefix length: " + length + ") successfully.";
    };
    expect_answer(__LINE__, method, "/routing/if/4/ip?addrType=2&extArg=0", 0,
                  message("Interface", "", "0"));
    expect_answer(__LINE__, method, "/routing/vlanRtrIf/1/ip?addrType=4&extArg=", 0,
                  message("Vlan Interface", "", "0"));
    expect_answer(__LINE__, method, "/routing/if/6/ip?addrType=2&extArg=1&pfxLen=8&addr=::1", 0,
                  message("Interface", "::1", "8"));
    expect_answer(__LINE__, method,
                  "/routing/vlanRtrIf/1/ip?addrType=&addr=10.9.9.9&pfxLen=31&extArg=0", 0,
                  message("Vlan Interface", "10.9.9.9", "31"));
    expect_answer(__LINE__, method, "/routing/if/5/ip" + address_query("3", "2001:DB8::0:7", "128"),
                  0, message("Interface", "2001:DB8::0:7", "128"));
  }
}

// ---- the switch ----

TEST(Switch, TakesAddressesLikeASwitch)
{
  reset();
  make("POST", "/routing/vlanRtrIf?vlanId=10");
  // verb, interface, type, address, prefix length, extArg and what the switch answers
  static const char STEPS[] =
      // none of a host
      "POST if/1 0 0.0.0.0 8 0 -22|POST if/1 0 127.0.0.1 8 0 -22|POST if/1 0 224.0.0.5 24 0 -22|"
      "POST if/1 0 255.255.255.255 32 0 -22|POST if/1 0 10.2.0.0 24 0 -22|"
      "POST if/1 0 10.2.0.255 24 0 -22|POST if/1 3 :: 64 0 -22|POST if/1 3 ::1 128 0 -22|"
      "POST if/1 3 ff02::1 64 0 -22|"
      // no such interface, or none that routes
      "POST if/999 0 10.2.0.1 24 0 -29|POST if/55 0 10.2.0.1 24 0 -28|"
      "POST vlanRtrIf/2 0 10.2.0.1 24 0 -29|POST vlanRtrIf/4294967295 0 10.2.0.1 24 0 -29|"
      // networks of another interface, from both sides
      "POST if/9 0 10.1.0.1 16 0 0|POST if/1 0 10.1.255.1 24 0 -26|POST if/1 0 10.2.0.1 8 0 -26|"
      "POST if/1 0 10.2.0.1 15 0 0|POST if/9 3 2001:db8:9::1 48 0 0|"
      "POST if/1 3 2001:db8:9:1::1 64 0 -26|POST vlanRtrIf/1 3 2001:db8::1 33 0 -26|"
      "POST if/1 3 2001:db8:a::1 47 0 0|POST if/1 3 2001:db8:a::1 64 0 -24|"
      // link-local networks may be the same everywhere
      "POST if/1 3 fe80::1 64 0 0|POST if/2 3 fe80::1 64 0 0|"
      // a primary address gives way to another one, secondary ones hold it
      "POST if/1 1 10.2.0.1 15 0 -24|POST if/1 0 10.2.0.1 15 0 -24|POST if/1 0 10.2.0.1 24 0 0|"
      "POST if/1 1 10.1.9.9 24 0 -26|POST if/1 1 10.3.0.1 24 0 0|POST if/1 0 10.3.0.1 24 0 -24|"
      "POST if/2 0 10.3.0.2 24 0 -26|POST if/2 1 10.4.0.1 24 0 -26|DELETE if/1 0 10.2.0.1 24 0 -26|"
      "DELETE if/1 1 10.2.0.1 24 0 -29|DELETE if/1 1 10.3.0.1 25 0 -29|"
      "DELETE if/1 1 10.3.0.1 24 0 0|DELETE if/1 0 10.2.0.2 24 0 -29|DELETE if/1 0 10.2.0.1 24 0 0|"
      "DELETE if/1 0 10.2.0.1 24 0 -29|"
      // EUI-64
      "POST if/3 3 2001:db8:d:: 65 1 -22|POST if/3 3 2001:db8:d:: 64 1 0|"
      "POST if/3 3 2001:db8:d:0:54:58ff:fea0:3 64 0 -24|DELETE if/3 3 2001:db8:d:: 64 0 -29|"
      "DELETE if/3 3 2001:db8:d:: 64 1 0|"
      // DHCP in place of addresses set by hand, and the other way round
      "DELETE if/9 2 :: 0 0 -29|POST if/9 2 :: 0 0 0|POST if/9 2 :: 0 1 -24|"
      "DELETE if/9 0 10.1.0.1 16 0 -29|POST if/9 0 10.1.0.1 16 0 0|DELETE if/9 2 :: 0 0 -29|"
      "POST if/9 4 :: 0 0 0|DELETE if/9 3 2001:db8:9::1 48 0 0|DELETE if/9 4 :: 0 0 0";
  std::stringstream steps(STEPS);
  for (std::string step; std::getline(steps, step, '|');) {
    std::string method, intf, type, address, length, ext_arg;
    int result = 1;
    std::stringstream(step) >> method >> intf >> type >> address >> length >> ext_arg >> result;
    SCOPED_TRACE(step);
    expect_switch_results({
        {__LINE__, method.c_str(),
         "/routing/" + intf + "/ip" +
             address_query(type.c_str(), address.c_str(), length.c_str(), ext_arg.c_str()),
         result}
    });
  }
}

TEST(Switch, HasRoomForSoManyAndNoMore)
{
  reset();
  const auto numbered = [](const char* type, const char* text, int n, const char* length) {
    char address[64];
    snprintf(address, sizeof address, "%s%d", text, n);
    return "/routing/if/1/ip" + address_query(type, address, length);
  };
  make("POST", numbered("0", "10.0.0.", 200, "24"));
  for (int i = 1; i <= 31; i++)
    make("POST", numbered("1", "10.0.0.", i, "24"));
  for (int i = 1; i <= 16; i++)
    make("POST", numbered("3", "2001:db8::", i, "64"));
  expect_switch_results({
      {__LINE__, "POST", numbered("1", "10.0.0.",    32, "24"), -23},
      {__LINE__, "POST", numbered("3", "2001:db8::", 17, "64"), -23},
  });
  for (int vlan = 101; vlan <= 229; vlan++) {
    api_request("POST", "/vlans/" + std::to_string(vlan), "json");
    std::string path = "/routing/vlanRtrIf?vlanId=" + std::to_string(vlan);
    expect_switch_results({
        {__LINE__, "POST", path, vlan <= 228 ? 0 : -23}
    });
  }
}
