// The BGP module and the switch's BGP behind it, over sockets.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

// The two forms of every neighbour operation.
struct family {
  const char *name, *number, *address;
  std::string path, bad_path, redistribution;
  std::string title;  // in messages
  std::string call;   // address and scope in the trace
};
// clang-format off
static const family FAMILIES[] = {
    {"IPv4", "1", "10.0.0.1", "/bgp/ipv4/neighbor/10.0.0.1", "/bgp/ipv4/neighbor/10.0.0",
     "/bgp/ipv4/redistribution/", "(ip address: 10.0.0.1", "{1,\"10.0.0.1\"}, 0"},
    {"IPv6", "2", "fe80::9", "/bgp/ipv6/neighbor/fe80::9/scope/7",
     "/bgp/ipv6/neighbor/fe80::x/scope/7", "/bgp/ipv6/redistribution/",
     "(ip address: fe80::9, scope: 7", "{2,\"fe80::9\"}, 7"},
};
// clang-format on

static void run_family(int line, const family& f, const std::string& script)
{
  // what neither form takes
  static const char REFUSED[] = R"($path/activate ?value= ?value=2 ?value=-1 ?value=1x
    $path/nextHopSelfMode ?value= ?value=2 $path/updateSource?value=1 ?type=&value=1
    ?type=0&value=1 ?type=3&value=1 ?type=2x&value=1 ?type=1 ?type=2&value= ?type=2&value=1x)";
  run_script(line, script, "$refused", REFUSED, "$name", f.name, "$number", f.number, "$address",
             f.address, "$path", f.path, "$bad", f.bad_path, "$redistribution", f.redistribution,
             "$title", f.title, "$call", f.call, "$active", *f.number == '1' ? "Yes" : "No");
}

// ---- the switch as a speaker ----

SCRIPT_TEST(Bgp, GlobalsHaveTheirRanges, R"(reset
GET /bgp -> {"infomation":{"hold_time":90,"keep_alive_time":30,"local_AS_number":0,
    "local_router_id":"0.0.0.0","local_preference":100,"log_neighbor_changes":"Disable"}}
PUT /bgp/holdTime ?value= /bgp/keepAliveTime ?value= /bgp/localAS ?value= /bgp/routerId ?value=
    /bgp/localPref ?value= /bgp/logNeighborChanges ?value= -> 99
PUT /bgp/holdTime?value= /bgp/keepAliveTime?value= /bgp/localAS?value= /bgp/routerId?value=
    /bgp/localPref?value= /bgp/logNeighborChanges?value= =>
check PUT /bgp/holdTime?value=9 /bgp/keepAliveTime?value=9 /bgp/localAS?value=9
    /bgp/localPref?value=9 /bgp/logNeighborChanges?value=1 /bgp/routerId?value=1.1.1.1
    but InetAddrGet
PUT /bgp/holdTime?value=0 ?value=3 ?value=65535 ?value=180x ?value=180
    -> 0 Update hold time for all peers successfully.
PUT /bgp/holdTime?value=1 ?value=2 ?value=65536 ?value=-1 -> -22
PUT /bgp/keepAliveTime?value=0 ?value=65535 ?value=x ?value=60
    -> 0 Update keep alive time for all peers successfully.
PUT /bgp/keepAliveTime?value=65536 ?value=-1 -> -22
PUT /bgp/localAS?value=1 ?value=2147483647 ?value=9999999999 ?value=65001
    -> 0 Update local Autonomous System (AS) number successfully.
PUT /bgp/localAS?value=0 ?value=-1 ?value=x -> -22
PUT /bgp/routerId?value=223.255.255.255 ?value=10.20.30.40 -> 0 Update BGP router ID successfully.
PUT /bgp/routerId?value=300.1.1.1 ?value=1.2.3 ?value=x -> 99
PUT /bgp/routerId?value=300.1.1.1 ?value=1.2.3 ?value=x => InetAddrGet(
PUT /bgp/routerId?value=0.0.0.0 ?value=127.0.0.1 ?value=224.0.0.1 -> -22
PUT /bgp/localPref?value=0 ?value=4294967295 ?value=250
    -> 0 Update the value of local preference attribute successfully.
PUT /bgp/localPref?value=4294967296 ?value=-1 ?value=12a -> 99
PUT /bgp/localPref?value=4294967296 ?value=-1 ?value=12a =>
PUT /bgp/logNeighborChanges?value=0 ?value=x ?value=-1 ?value=5
    -> 0 Update the log neighbor changes parameter successfully.
GET /bgp -> {"infomation":{"hold_time":180,"keep_alive_time":60,"local_AS_number":65001,
    "local_router_id":"10.20.30.40","local_preference":250,"log_neighbor_changes":"Enable"}}
// 10 * 2^24 + 20 * 2^16 + ...
GET /bgp => BgpGlobalHoldTimeConfiguredGet(>180) = 0 | BgpGlobalKeepAliveConfiguredGet(>60) = 0 |
    BgpLocalASGet(>65001) = 0 | BgpLocalIdGet(>169090600) = 0 | BgpLocalPrefGet(>250) = 0 |
    BgpLogNeighborChangesGet(>1) = 0
check GET /bgp
// an IPv6 address stands for its first four bytes, whatever machine this is
PUT /bgp/routerId?value=a0b:c0d:: => InetAddrGet( | BgpLocalIdSet(168496141) = 0)");

// ---- originated networks ----

SCRIPT_TEST(Bgp, OriginatedNetworks, R"(reset
POST /bgp/originatedNetwork?addr=10.1.2.0&pfxLen=24&routeMap=$31m -> 0 Set BGP originated network
    (ip address: 10.1.2.0, prefix length: 24) successfully.
POST /bgp/originatedNetwork?addr=10.1.2.0&pfxLen=24 ?addr=10.1.2.0&pfxLen=24&routeMap=
    ?addr=10.1.2.0&routeMap=a ?addr=10.1.2.0&pfxLen=&routeMap=a ?addr=&pfxLen=24&routeMap=a
    ?pfxLen=24&routeMap=a ?addr=10.1.2&pfxLen=24&routeMap=a -> 99
DELETE /bgp/originatedNetwork?pfxLen=24 ?addr=x&pfxLen=24 ?addr=10.1.2.0 -> 99
POST /bgp/originatedNetwork?addr=10.1.2.0&pfxLen=24&routeMap=$31mm =>
// the same network
POST /bgp/originatedNetwork?addr=10.1.2.0&pfxLen=24&routeMap=$31m -> -24
POST /bgp/originatedNetwork?addr=10.1.2.0&pfxLen=24&routeMap=other
POST /bgp/originatedNetwork?addr=10.1.2.9&pfxLen=33&routeMap=a ?addr=10.1.2.9&pfxLen=-1&routeMap=a
    -> -22
POST /bgp/originatedNetwork?addr=2001:db8::&pfxLen=32&routeMap=a
DELETE /bgp/originatedNetwork?addr=2001:db8:0:1::&pfxLen=32
DELETE /bgp/originatedNetwork?addr=10.1.2.0&pfxLen=25 -> -29
POST /bgp/originatedNetwork?addr=10.9.0.0&pfxLen=16&routeMap=rm => InetAddrGet({9,"10.9.0.0"} |
    BgpNetworkAddDelete(1, 1, {1,"10.9.0.0"}, 16, {3,"rm"}) = 0
DELETE /bgp/originatedNetwork?addr=10.9.0.0&pfxLen=16&routeMap=rm => InetAddrGet( |
    BgpNetworkAddDelete(0, 0, {1,"10.9.0.0"}, 16, {1,""}) = 0
DELETE /bgp/originatedNetwork?addr=10.1.2.0&pfxLen=24 -> 0 Delete BGP originated network (ip
    address: 10.1.2.0, prefix length: 24) successfully.
check POST /bgp/originatedNetwork?addr=10.1.2.0&pfxLen=24&routeMap=a but InetAddrGet)");

// ---- neighbours ----

TEST(Bgp, NeighboursOfBothFamilies)
{
  for (const family& f : FAMILIES)
    run_family(__LINE__, f, R"(reset {"vlans": [{"id": 10}]}
GET $path -> 99
POST $path?asn=65002 -> 0 Set BGP $name neighbor $title, AS number: 65002) successfully.
GET $path -> {"neighbor_info":{"remote_address":"$address","remote_as":65002,"activate":"$active",
    "next_hop_self_mode":"disable","update_source":"none"}}
PUT $path/activate?value=1 -> 0 Update activate state of BGP $name neighbor $title) successfully.
PUT $path/nextHopSelfMode?value=1
    -> 0 Update next-hop-self mode of BGP $name neighbor $title) successfully.
POST /routing/vlanRtrIf?vlanId=10
PUT $path/updateSource?type=1&value=10
    -> 0 Update update-source of BGP $name neighbor $title) successfully.
GET $path ~ "activate": "Yes", "next_hop_self_mode": "enable", "update_source": "vlan 10"
GET $path => InetAddrGet( | BgpPeerRemoteASGet($call, >65002) = 0 |
    BgpPeerActivateGet(0, $call, >1) = 0 | BgpPeerNextHopSelfModeGet(0, $call, >1) = 0 |
    BgpPeerUpdateSourceGet(0, $call, >226) = 0 | IfNameGet(226, >{8,"vlan 10"}) = 0
PUT $path/activate?value=0 => InetAddrGet( | BgpPeerActivateSet($call, $number, 0) = 0
PUT $path/nextHopSelfMode?value=0 => InetAddrGet( |
    BgpPeerNextHopSelfModeSet($call, $number, 0) = 0
GET $path ~ "activate": "No", "next_hop_self_mode": "disable",
check GET $path POST $path?asn=65003 PUT $path/activate?value=1 $path/nextHopSelfMode?value=1
    $path/updateSource?type=1&value=10 but InetAddrGet
// the source of the updates goes with its interface
DELETE /routing/vlanRtrIf?vlanId=10
GET $path ~ "remote_as": 65003, "activate": "Yes", "next_hop_self_mode": "enable",
    "update_source": "none")");
}

// Which of the three kinds of answer goes with what is wrong.
TEST(Bgp, NeighbourRequestsAreRefused)
{
  engine_reset();
  for (const family& f : FAMILIES)
    run_family(__LINE__, f, R"(POST $path?asn=1
POST $path ?asn= $bad?asn=1 GET $bad -> 99
PUT $refused -> 1 The value of parameter is invalid.
PUT $refused =>
PUT $bad/activate?value=1 $bad/nextHopSelfMode?value=0 $bad/updateSource?type=2&value=5
    -> 1 The value of parameter is invalid.
POST $path?asn=0 ?asn=-1 -> -22
// 5 does not route at first
PUT $path/updateSource?type=1&value=77 ?type=2&value=5 -> -29
PUT /routing/if/5/adminMode?value=1 $path/updateSource?type=2&value=5
GET $path
PUT $path/updateSource?type=2&value=0 /routing/if/5/adminMode?value=0)");
  run_script(__LINE__, R"(
POST /bgp/ipv4/neighbor/127.0.0.1?asn=1 /bgp/ipv4/neighbor/0.0.0.0?asn=1
    /bgp/ipv6/neighbor/ff02::1/scope/1?asn=1 -> -22
// another scope
GET /bgp/ipv6/neighbor/fe80::9/scope/8 PUT /bgp/ipv4/neighbor/10.0.0.2/activate?value=1 -> -29
// an update source whose name the switch does not end
PUT /routing/if/5/adminMode?value=1 /bgp/ipv4/neighbor/10.0.0.1/updateSource?type=2&value=5
[IfNameGet {'value': '$256n'}] GET /bgp/ipv4/neighbor/10.0.0.1
    ~ "update_source": "$255n")");
}

// ---- redistribution ----

TEST(Bgp, RedistributionOfBothFamilies)
{
  engine_reset();
  for (const family& f : FAMILIES) {
    run_family(__LINE__, f, R"(POST $redistributionospf
    => BgpRedistributionSet(1, {5,"ospf"}, 0, 0, 0, 0, 0, 0, $number, {1,""}) = 0
POST $redistributionospf?metric=
    => BgpRedistributionSet(1, {5,"ospf"}, 0, 0, 1, 1, 0, 0, $number, {1,""}) = 0
POST $redistributionrip?metric=4294967295
    => BgpRedistributionSet(1, {4,"rip"}, 0, 0, 1, 1, 4294967295, 0, $number, {1,""}) = 0
POST $redistributionstatic?metric=4294967298&routeMap=rm
    => BgpRedistributionSet(1, {7,"static"}, 0, 0, 1, 1, 2, 1, $number, {3,"rm"}) = 0
POST $redistributionconnected?metric=-1
    => BgpRedistributionSet(1, {10,"connected"}, 0, 0, 1, 1, 4294967295, 0, $number, {1,""}) = 0
POST $redistributionospf?matchInternal=1&matchExt2=1&matchNssaExt2=1
    => BgpRedistributionSet(1, {5,"ospf"}, 1, 21, 0, 0, 0, 0, $number, {1,""}) = 0
POST $redistributionospf?matchExt1=1&matchNssaExt1=1
    => BgpRedistributionSet(1, {5,"ospf"}, 1, 10, 0, 0, 0, 0, $number, {1,""}) = 0
POST $redistributionrip?matchExt1=1
    => BgpRedistributionSet(1, {4,"rip"}, 1, 2, 0, 0, 0, 0, $number, {1,""}) = -22
POST $redistributionisis ?routeMap= -> -22)");
    // the first match parameter that is wrong has its own code
    const char* const parameters[] = {"matchInternal", "matchExt1", "matchExt2", "matchNssaExt1",
                                      "matchNssaExt2"};
    std::string query = f.redistribution + "ospf?metric=1";
    for (int code = 5; code >= 1; code--) {
      query += std::string("&") + parameters[code - 1];
      run_script(__LINE__,
                 "POST $q=0 $q= $q=2 $q=x -> $code The value of parameter $parameter is invalid.\n"
                 "POST $q=0 $q= $q=2 $q=x =>",
                 "$parameter", parameters[code - 1], "$code", std::to_string(code), "$q", query);
      query += "=0";
    }
    run_family(__LINE__, f, R"(
POST $redistributionospf -> 0 Create BGP $name Redistribution for ospf successfully.
DELETE $redistributionstatic?metric=5&matchExt1=0 =>
    BgpRedistributionSet(0, {7,"static"}, 0, 0, 0, 0, 0, 0, $number, {1,""}) = 0
check POST $redistributionospf?metric=3
DELETE $redistributionospf -> 0 Delete BGP $name Redistribution for ospf successfully.
check DELETE $redistributionrip
DELETE $redistributionospf -> -29)");
  }
}

TEST(Bgp, TablesAreFinite)
{
  engine_reset();
  for (int i = 0; i <= 256; i++)
    run_script(__LINE__, "POST /bgp/ipv6/neighbor/2001:db8::1/scope/" + std::to_string(i) +
                             "?asn=1" + (i == 256 ? " -> -23" : ""));
  for (int i = 0; i <= 64; i++)
    run_script(__LINE__, "POST /bgp/originatedNetwork?pfxLen=24&routeMap=a&addr=10.0." +
                             std::to_string(i) + ".0" + (i == 64 ? " -> -23" : ""));
  run_script(__LINE__, R"(POST /bgp/ipv6/neighbor/2001:db8::1/scope/255?asn=1
POST /bgp/originatedNetwork?pfxLen=24&routeMap=a&addr=10.0.63.0 -> -24)");
}
