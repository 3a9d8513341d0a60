// The routing module and the switch's routing behind it, over sockets.
#include <gtest/gtest.h>
#include <stdio.h>

#include <sstream>
#include <string>
#include <vector>

#include "engine/rest_route.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

static std::string address_query(const std::string& type, const std::string& address,
                                 const std::string& length, const std::string& ext_arg = "0")
{
  return "?addrType=" + type + "&addr=" + address + "&pfxLen=" + length + "&extArg=" + ext_arg;
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

SCRIPT_TEST(Routes, AddressesAreServedWithoutTheLastSegment, R"(reset {"vlans": 30}
POST /routing/vlanRtrIf?vlanId=10 /routing/if/3?addrType=0&addr=10.3.0.1&pfxLen=24&extArg=0
    /routing/vlanRtrIf/1/i?addrType=0&addr=10.4.0.1&pfxLen=16&extArg=0 DELETE
    /routing/if/3?addrType=0&addr=10.3.0.1&pfxLen=24&extArg=0
    /routing/vlanRtrIf/1/i?addrType=0&addr=10.4.0.1&pfxLen=16&extArg=0
POST /routing/if/5/ip/ DELETE /routing/vlanRtrIf/1/ipx GET /routing/vlanRtrIf/1/ /routing/if/5
    -> 902)");

// ---- modes ----

SCRIPT_TEST(Modes, OfTheSwitchAndOfAPort, R"(reset {"vlans": 30}
GET /routing -> {"infomation":{"ipv4_admin_mode":"disable","ipv6_admin_mode":"disable"}}
PUT /routing/ipv4/adminMode?value=1 -> 0 Update routing admin mode for IPv4 successfully.
GET /routing -> {"infomation":{"ipv4_admin_mode":"enable","ipv6_admin_mode":"disable"}}
PUT /routing/ipv6/adminMode?value=1 -> 0 Update routing admin mode for IPv6 successfully.
PUT /routing/ipv4/adminMode?value=0 -> 0 Update routing admin mode for IPv4 successfully.
PUT /routing/ipv4/adminMode ?value= -> 99
PUT /routing/if/5/adminMode?value=1 -> 0 Update routing admin mode for this interface successfully.
PUT /routing/if/5/adminMode/x?value=1 /routing/if/5/adminMode/?value=1
    /routing/if/5/adminModes?value=1 /routing/if/5?value=1 /routing/if/5/adminMode ?value= -> 99
GET /routing -> {"infomation":{"ipv4_admin_mode":"disable","ipv6_admin_mode":"enable"}}
// the path and the value are judged before the switch is asked
PUT /routing/if/5/adminMode/x?value=1 /routing/if/5/adminMode?value= =>
PUT /routing/if/5/adminMode?value=7 => RtrIntfRtrAdminModeSet(5, 7) = -22
PUT /routing/ipv6/adminMode?value=-1 => RtrAdminModeSet(2, -1) = -22
GET /routing => RtrAdminModeGet(1, >0) | RtrAdminModeGet(2, >1)
// routes in any case
POST /routing/vlanRtrIf?vlanId=10
PUT /routing/if/226/adminMode?value=1 ?value=0 -> -28
// the CPU interface
PUT /routing/if/999/adminMode?value=1 -> -29
PUT /routing/if/55/adminMode?value=1 -> -28
check PUT /routing/ipv4/adminMode?value=1 /routing/ipv6/adminMode?value=1
    /routing/if/5/adminMode?value=1 GET /routing
// a mode that has no text
[RtrAdminModeGet {'value': 5}]
GET /routing -> {"infomation":{"ipv4_admin_mode":"","ipv6_admin_mode":""}})");

// ---- VLAN routing interfaces ----

SCRIPT_TEST(VlanInterfaces, AreCreatedListedAndDeleted, R"(reset {"vlans": 30}
GET /routing/vlanRtrIf -> 1 VLAN Routing interface doesn't exist. {"vlan_routing_interfaces":{}}
POST /routing/vlanRtrIf?vlanId=20 -> 0 Create Vlan Routing Interface with VLAN 20 successfully.
POST /routing/vlanRtrIf?vlanId=10 -> 0 Create Vlan Routing Interface with VLAN 10 successfully.
POST /routing/vlanRtrIf?vlanId=10 -> 98
POST /routing/vlanRtrIf ?vlanId= DELETE /routing/vlanRtrIf ?vlanId= GET /routing/vlanRtrIf/3
    /routing/vlanRtrIf/0 -> 99
GET /routing/vlanRtrIf/1 -> {"vlan_routing_interface":{"logical_interface_id":1,
    "vlan_routing_interface_num":226,"vlan_routing_interface_name":"vlan 20","vlan_id":20}}
DELETE /routing/vlanRtrIf?vlanId=20 -> 0 Delete Vlan Routing Interface with VLAN 20 successfully.
GET /routing/vlanRtrIf -> {"vlan_routing_interfaces":{"1":{"logical_interface_id":1,
    "vlan_routing_interface_num":227}}}
// no such VLAN the lowest free number again
POST /routing/vlanRtrIf?vlanId=4095 ?vlanId=-1 ?vlanId=0 DELETE /routing/vlanRtrIf?vlanId=20
    ?vlanId=0 -> -29
POST /routing/vlanRtrIf?vlanId=30
GET /routing/vlanRtrIf/1 ~ "vlan 30"
check DELETE /routing/vlanRtrIf?vlanId=10 POST /routing/vlanRtrIf?vlanId=10
// holds its VLAN, and is held by a policy that redirects to it
POST /tcam/policy?policyType=1&actionRedirPort=227
DELETE /routing/vlanRtrIf?vlanId=10 -> -26
DELETE /tcam/policy/1
DELETE /vlans/10 -> -26
DELETE /routing/vlanRtrIf?vlanId=10 /vlans/10
POST /routing/vlanRtrIf?vlanId=10 -> -29)");

static void make_addresses(const std::string& intf)
{
  for (const std::string& query :
       {address_query("0", "10.1.0.1", "16"), address_query("1", "10.2.0.1", "24"),
        address_query("1", "10.2.1.129", "25"), address_query("3", "2001:db8:1::1", "64"),
        address_query("3", "2001:db8:2::", "64", "1"), address_query("3", "fe80::5", "10")})
    run_script(__LINE__, "POST " + intf + "/ip" + query);
}

TEST(VlanInterfaces, ShowTheirAddresses)
{
  run_script(__LINE__, R"(reset {"vlans": 30}
POST /routing/vlanRtrIf?vlanId=10 ?vlanId=20)");
  make_addresses("/routing/vlanRtrIf/2");
  // 227 is e3: the MAC address 02:54:58:a0:00:e3, its universal bit turned over
  run_script(__LINE__, R"(GET /routing/vlanRtrIf/2 ->
    {"vlan_routing_interface":{"logical_interface_id":2,"vlan_routing_interface_num":227,
    "vlan_routing_interface_name":"vlan 20","vlan_id":20,
    "primary_ipv4_address":"10.1.0.1/255.255.0.0",
    "secondary_ipv4_addresses":{"1":"10.2.0.1/255.255.255.0","2":"10.2.1.129/255.255.255.128"},
    "ipv6_addresses":{"1":"2001:db8:1::1/64","2":"2001:db8:2:0:54:58ff:fea0:e3/64",
    "3":"fe80::5/10"}}}
GET /routing/vlanRtrIf -> {"vlan_routing_interfaces":{"1":{"logical_interface_id":1,
    "vlan_routing_interface_num":226},"2":{"logical_interface_id":2,
    "vlan_routing_interface_num":227,"ipv4_address":"10.1.0.1","subnet_mask":"255.255.0.0",
    "ipv6_addresses":{"1":"2001:db8:1::1/64","2":"2001:db8:2:0:54:58ff:fea0:e3/64",
    "3":"fe80::5/10"}}}}
DELETE /routing/vlanRtrIf/2/ip?addrType=3&addr=2001:db8:2::&pfxLen=64&extArg=1
    ?addrType=3&addr=fe80::5&pfxLen=10&extArg=0 ?addrType=1&addr=10.2.0.1&pfxLen=24&extArg=0
GET /routing/vlanRtrIf/2 => IfFirstGet(3, >226) = 0 | IntfNameSizeGet(>64) = 0 |
    RtrIntfNameGet(227, >{8,"vlan 20"}) = 0 | RtrIntfTypeGet(227, >3) = 0 |
    IfFirstGet(3, >226) = 0 | RtrIntfVlanIdGet(227, >20) = 0 |
    RtrIntfIpAddrGet(1, 227, >{1,"10.1.0.1",16}) = 0 |
    RtrIntfSecIpAddrGet(1, 227, >{1,"10.2.1.129",25}, >1) = 0 |
    RtrIntfSecIpAddrGet(1, 227, >{1,"10.2.1.129",25}, >1) = -29 |
    RtrIntfIpAddrGet(2, 227, >{2,"2001:db8:1::1",64}) = 0 |
    RtrIntfIpAddrGet(2, 227, >{2,"2001:db8:1::1",64}) = -29
check GET /routing/vlanRtrIf/2 but IfFirstGet RtrIntfTypeGet RtrIntfIpAddrGet RtrIntfSecIpAddrGet
)");
}

// What the switch says wrongly is shown as far as it makes sense, and never more.
TEST(VlanInterfaces, SurviveAnUntruthfulSwitch)
{
  run_script(__LINE__, R"(reset {"vlans": [{"id": 10}]}
POST /routing/vlanRtrIf?vlanId=10
[IntfNameSizeGet {'value': 0} | IntfNameSizeGet {'value': 1}] GET /routing/vlanRtrIf/1 -> 99)");
  const struct {
    const char *fault, *logical, *name, *vlan;
  } cases[] = {
      {"RtrIntfTypeGet {'result': -26}",         "-1", "vlan 10", "10"},
      {"RtrIntfTypeGet {'value': 2}",            "-2", "vlan 10", "10"},
      {"IfFirstGet {'result': -26}",             "1",  "vlan 10", "10"},
      {"IntfNameSizeGet {'value': 4294967295}",  "1",  "vlan 10", "10"},
      {"RtrIntfNameGet {'value': ''}",           "1",  "",        "10"},
      {"RtrIntfNameGet {'value': '$64n'}",       "1",  "$64n",    "10"}, // no terminator
      {"RtrIntfVlanIdGet {'value': 4294967295}", "1",  "vlan 10", "-1"},
  };
  for (const auto& c : cases)
    run_script(__LINE__, R"([$fault] GET /routing/vlanRtrIf/1 -> {"vlan_routing_interface":{
    "logical_interface_id":$logical,"vlan_routing_interface_num":226,
    "vlan_routing_interface_name":"$name","vlan_id":$vlan}})",
               "$fault", c.fault, "$logical", c.logical, "$name", c.name, "$vlan", c.vlan);
}

// ---- lists ----

SCRIPT_TEST(Lists, EndWhereTheTypeOfInterfaceEnds, R"(reset {"vlans": 30}
// nothing routes at all
GET /routing/if -> 99
POST /routing/vlanRtrIf?vlanId=10 ?vlanId=20
GET /routing/if -> 1 Physical routing interface doesn't exist. {"interfaces":{}}
PUT /routing/if/7/adminMode?value=1 /routing/if/3/adminMode?value=1 POST
    /routing/if/3/ip?addrType=0&addr=192.0.2.1&pfxLen=30&extArg=0
    ?addrType=3&addr=2001:db8::1&pfxLen=128&extArg=0
// does not route
POST /routing/if/4/ip?addrType=0&addr=198.51.100.1&pfxLen=32&extArg=0
GET /routing/if -> {"interfaces":{"1":{"ifNum":3,"ipv4_address":"192.0.2.1",
    "subnet_mask":"255.255.255.252","ipv6_addresses":{"1":"2001:db8::1/128"}},"2":{"ifNum":7}}}
GET /routing/vlanRtrIf => IfFirstGet(3, >226) = 0 | RtrIntfVlanIdGet(226, >10) = 0 |
    RtrIntfIpAddrGet(1, 226 | RtrIntfIpAddrGet(2, 226 | RtrIntfNextGet(226, >227) = 0 |
    RtrIntfTypeGet(227, >3) = 0 | RtrIntfVlanIdGet(227, >20) = 0 | RtrIntfIpAddrGet(1, 227 |
    RtrIntfIpAddrGet(2, 227 | RtrIntfNextGet(227
// failures behind the first step shorten a list, no more
[RtrIntfIpAddrGet {'result': -21}] GET /routing/vlanRtrIf ->
    {"vlan_routing_interfaces":{"1":{"logical_interface_id":1,"vlan_routing_interface_num":226},
    "2":{"logical_interface_id":2,"vlan_routing_interface_num":227}}}
[RtrIntfVlanIdGet {'result': -21, 'times': 1}] GET /routing/vlanRtrIf ->
    {"vlan_routing_interfaces":{"1":{"logical_interface_id":2,"vlan_routing_interface_num":227}}}
[RtrIntfNextGet {'result': -21} | RtrIntfTypeGet {'result': -21} | RtrIntfTypeGet {'value': 0} |
    RtrIntfNextGet {'value': 226}] GET /routing/vlanRtrIf ->
    {"vlan_routing_interfaces":{"1":{"logical_interface_id":1,"vlan_routing_interface_num":226}}}
[RtrIntfIpAddrGet {'result': -21}] GET /routing/if -> {"interfaces":{"1":{"ifNum":3},
    "2":{"ifNum":7}}}
[RtrIntfNextGet {'result': -21, 'after': 1} | RtrIntfTypeGet {'value': 2, 'after': 1} |
    RtrIntfNextGet {'value': 3}] GET /routing/if -> {"interfaces":{"1":{"ifNum":3,
    "ipv4_address":"192.0.2.1","subnet_mask":"255.255.255.252",
    "ipv6_addresses":{"1":"2001:db8::1/128"}}}}
[IfFirstGet {'result': -21}]
GET /routing/vlanRtrIf -> 1 VLAN Routing interface doesn't exist. {"vlan_routing_interfaces":{}}
[RtrIntfTypeGet {'result': -21}]
GET /routing/if -> 1 Physical routing interface doesn't exist. {"interfaces":{}}
[]
PUT /routing/if/3/adminMode?value=0 /routing/if/7/adminMode?value=0
GET /routing/if -> 1 Physical routing interface doesn't exist. {"interfaces":{}}
// and its addresses are still there
PUT /routing/if/3/adminMode?value=1
GET /routing/if ~ "ipv4_address": "192.0.2.1",)");

// Prefix lengths that no address has, and a switch that says that every address has one behind it.
TEST(Lists, SurviveUntruthfulAddresses)
{
  run_script(__LINE__, R"(reset {"vlans": 30}
PUT /routing/if/3/adminMode?value=1 POST
    /routing/if/3/ip?addrType=0&addr=192.0.2.1&pfxLen=24&extArg=0
[RtrIntfIpAddrGet {'value': 0, 'times': 1}] GET /routing/if -> {"interfaces":{"1":{"ifNum":3,
    "ipv4_address":"192.0.2.1","subnet_mask":"0.0.0.0"}}}
[RtrIntfIpAddrGet {'value': 33, 'times': 1} | RtrIntfIpAddrGet {'value': 4294967295, 'times': 1}]
    GET /routing/if -> {"interfaces":{"1":{"ifNum":3,"ipv4_address":"192.0.2.1",
    "subnet_mask":"255.255.255.255"}}}
[RtrIntfIpAddrGet {'result': 0, 'value': 1}])");
  EXPECT_LT(api_calls("GET", "/routing/if").size(), 70000u);
}

// ---- address requests ----

// What the switch is asked to change, for each of the parameters, with both methods, for a port and
// for a VLAN routing interface. The change is answered with "exists" so that nothing changes.
TEST(Addresses, ParametersDecideWhatIsChanged)
{
  run_script(__LINE__, R"(reset {"vlans": 30}
POST /routing/vlanRtrIf?vlanId=10
[RtrIntfIpAddrAdd {'result': -24}]
[RtrIntfIpAddrDel {'result': -24}])");
  for (const bool vlan : {false, true})
    for (const std::string method : {"POST", "DELETE"}) {
      const bool create = method == "POST";
      const std::string first = vlan ? "IfFirstGet(3, >226) = 0" : "";
      run_script(__LINE__, R"(
$change?addrType=0&addr=$4&pfxLen=32&extArg=0 => $first$get4 | $call(1, $n, 0, {1,"$4",32}, 0)
$change?addrType=1&addr=$4&pfxLen=1&extArg=1 => $first$get4 | $call(1, $n, 1, {1,"$4",1}, 1)
$change?addrType=3&addr=$6&pfxLen=128&extArg= => $first$get6 | $call(2, $n, 0, {2,"$6",128}, 0)
// without an address and a prefix length, and with any of them
$change?addrType=2&extArg=0 => $first$call(1, $n, 2, {0,"",0}, 0) = -24
$change?addrType=4&addr=&pfxLen=&extArg=1 => $first$call(2, $n, 2, {0,"",0}, 1) = -24
$change?addrType=2&addr=$6&pfxLen=32&extArg=0 => $first$get6 | $call(1, $n, 2, {2,"$6",32}, 0)
$change?addrType=4&addr=$4&pfxLen=0&extArg=0 => $first$get4 | $call(2, $n, 2, {1,"$4",0}, 0)
$change?addrType=4&addr=$4&pfxLen=128&extArg=0 -> -24
// refused before the address is looked at
$change$early -> 99
$change$early => $none
// and behind it
$change$late -> 99
$change$late => $first$get
// no type at all is the first one, but for a new address of a port
$change?addrType=&addr=$4&pfxLen=24&extArg=0 => $untyped)",
                 "$change", method + (vlan ? " /routing/vlanRtrIf/2/ip" : " /routing/if/2/ip"),
                 "$early", R"(?addr=$4&pfxLen=24&extArg=0 ?addrType=5&addr=$4&pfxLen=24&extArg=0
    ?addrType=-1&addr=$4&pfxLen=24&extArg=0 ?addrType=0&pfxLen=24&extArg=0
    ?addrType=1&addr=&pfxLen=24&extArg=0 ?addrType=3&pfxLen=64&extArg=0
    ?addrType=2&pfxLen=33&extArg=0 ?addrType=4&pfxLen=129&extArg=0 ?addrType=2&pfxLen=-1&extArg=0
    ?addrType=2 ?addrType=2&extArg=2 ?addrType=4&extArg=-1)",
                 "$late", R"(?addrType=0&addr=1.2.3&pfxLen=24&extArg=0
    ?addrType=4&addr=1.2.3&pfxLen=24&extArg=0 ?addrType=0&addr=$6&pfxLen=24&extArg=0
    ?addrType=1&addr=$6&pfxLen=24&extArg=0 ?addrType=3&addr=$4&pfxLen=24&extArg=0
    ?addrType=0&addr=$4&extArg=0 ?addrType=3&addr=$6&pfxLen=&extArg=0
    ?addrType=0&addr=$4&pfxLen=0&extArg=0 ?addrType=0&addr=$4&pfxLen=-1&extArg=0
    ?addrType=0&addr=$4&pfxLen=33&extArg=0 ?addrType=3&addr=$6&pfxLen=129&extArg=0
    ?addrType=0&addr=$4&pfxLen=24 ?addrType=3&addr=$6&pfxLen=64&extArg=2
    ?addrType=1&addr=$4&pfxLen=24&extArg=-1)",
                 "$untyped",
                 create && !vlan ? "" : "$first$get4 | $call(1, $n, 0, {1,\"$4\",24}, 0)", "$first",
                 vlan ? first + " | " : first, "$none", first, "$get4", "InetAddrGet({9,\"$4\"",
                 "$get6", "InetAddrGet({12,\"$6\"", "$get", "InetAddrGet(", "$call",
                 create ? "RtrIntfIpAddrAdd" : "RtrIntfIpAddrDel", "$n", vlan ? "227" : "2", "$4",
                 "10.0.0.1", "$6", "2001:db8::1");
    }
}

TEST(Addresses, AnswersTellWhatWasSent)
{
  run_script(__LINE__, R"(reset {"vlans": [{"id": 10}]}
POST /routing/vlanRtrIf?vlanId=10)");
  for (const char* verb : {"Create", "Delete"})
    run_script(__LINE__, R"(
$method /routing/if/4/ip?addrType=2&extArg=0
    -> 0 $verb Routing Interface IP address (address: , prefix length: 0) successfully.
$method /routing/vlanRtrIf/1/ip?addrType=4&extArg=
    -> 0 $verb Routing Vlan Interface IP address (address: , prefix length: 0) successfully.
$method /routing/if/6/ip?addrType=2&extArg=1&pfxLen=8&addr=::1
    -> 0 $verb Routing Interface IP address (address: ::1, prefix length: 8) successfully.
$method /routing/vlanRtrIf/1/ip?addrType=&addr=10.9.9.9&pfxLen=31&extArg=0
    -> 0 $verb Routing Vlan Interface IP address (address: 10.9.9.9, prefix length: 31)
    successfully.
$method /routing/if/5/ip?addrType=3&addr=2001:DB8::0:7&pfxLen=128&extArg=0
    -> 0 $verb Routing Interface IP address (address: 2001:DB8::0:7, prefix length: 128)
    successfully.
)",
               "$method", *verb == 'C' ? "POST" : "DELETE", "$verb", verb);
}

// ---- the switch ----

TEST(Switch, TakesAddressesLikeASwitch)
{
  run_script(__LINE__, R"(reset {"vlans": 30}
POST /routing/vlanRtrIf?vlanId=10)");
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
    run_script(__LINE__, method + " /routing/" + intf + "/ip" +
                             address_query(type, address, length, ext_arg) +
                             (result ? " -> " + std::to_string(result) : ""));
  }
}

TEST(Switch, HasRoomForSoManyAndNoMore)
{
  engine_reset(R"({"vlans": 229})");
  const auto add = [](const char* type, const char* text, int n, const char* length,
                      const char* answer) {
    run_script(__LINE__, "POST /routing/if/1/ip" +
                             address_query(type, text + std::to_string(n), length) + answer);
  };
  add("0", "10.0.0.", 200, "24", "");
  for (int i = 1; i <= 32; i++)
    add("1", "10.0.0.", i, "24", i <= 31 ? "" : " -> -23");
  for (int i = 1; i <= 17; i++)
    add("3", "2001:db8::", i, "64", i <= 16 ? "" : " -> -23");
  for (int vlan = 101; vlan <= 229; vlan++)
    run_script(__LINE__, "POST /routing/vlanRtrIf?vlanId=" + std::to_string(vlan) +
                             (vlan <= 228 ? "" : " -> -23"));
}
