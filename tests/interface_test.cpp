// The "if" module and the switch's interfaces behind it, over sockets.
#include <gtest/gtest.h>

#include <chrono>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "modules/rest_module_interface.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"
#include "tests/support/temp_folder.h"

// ---- queries ----

SCRIPT_TEST(Interfaces, AreListed, R"(reset {"ports": 3}
GET /if -> {"interfaces":{"1":{"ifNum":1},"2":{"ifNum":2},"3":{"ifNum":3}}}
GET /if => IfFirstGet(0, >1) = 0 | IfNextGet(0, 1, >2) = 0 | IfNextGet(0, 2, >3) = 0 | IfNextGet(0,
    3,
reset {"ports": 3}
[IfNextGet {'value': 3}] GET /if -> {"interfaces":{"1":{"ifNum":1},"2":{"ifNum":3}}}
[IfNextGet {'value': 1}] GET /if -> {"interfaces":{"1":{"ifNum":1}}}
[IfNextGet {'result': -24, 'value': 3, 'times': 1}] GET /if -> {"interfaces":{"1":{"ifNum":1},
    "2":{"ifNum":3}}}
[IfNextGet {'result': -26, 'value': 3}] GET /if -> {"interfaces":{"1":{"ifNum":1}}}
[IfNextGet {'result': -20} | IfFirstGet {'result': -26}] GET /if -> 99
[IfFirstGet {'result': -26}] GET /if/pendingChanges -> 99)");

SCRIPT_TEST(Interfaces, PendingChanges, R"(reset {"pending_ms": 600000}
GET /if/pendingChanges -> {"pending_interfaces":{}}
PUT /if/3/description?value=x /if/1/mtuSize?value=9000 POST /lag/2/port/9
GET /if/pendingChanges -> {"pending_interfaces":{"1":{"ifNum":1,"pending_type":"pending change"},
    "2":{"ifNum":3,"pending_type":"pending change"},"3":{"ifNum":57,"pending_type":"pending
    change"}}}
[IfNextChangedGet {'result': 0, 'value': 3}]
GET /if/pendingChanges -> {"pending_interfaces":{"1":{"ifNum":3,"pending_type":"pending change"}}}
)");

SCRIPT_TEST(Interfaces, OneWithAndWithoutAddresses, R"(reset {"vlans": [{"id": 10}]}
GET /if/3 -> {"interface":{"ifNum":3,"interfaceName":"0/3","description":"-","adminState":"enable",
    "linkState":"up","speed":"auto neg","pvid":1,"acceptFrameType":"all","autoNegMode":"enable",
    "duplexMode":"full","MAC_address":"02:54:58:A0:00:03","MTU_size":1500}}
GET /if/54 ~ "description": "-", "adminState": "enable",
    "linkState": "down", "speed": "full 40gsx", "pvid": 1, "acceptFrameType": "all",
    "autoNegMode": "disable", "duplexMode": "full", "MAC_address": "02:54:58:A0:00:36",
GET /if/400 /if/0 /if/4294967299 -> 99
PUT /if/3/description?value=to%20lab /if/3/pvid?value=10 /if/3/acceptFrameType?value=2
    /if/3/mtuSize?value=9216 /if/3/adminState?value=0 /routing/if/3/adminMode?value=1 POST
    /routing/if/3/ip?addrType=0&addr=10.1.2.3&pfxLen=23&extArg=0
    ?addrType=1&addr=10.9.0.1&pfxLen=32&extArg=0 ?addrType=1&addr=10.8.0.1&pfxLen=8&extArg=0
    ?addrType=3&addr=2001:db8::3&pfxLen=64&extArg=0 ?addrType=3&addr=fd00::3&pfxLen=48&extArg=0
GET /if/3 -> {"interface":{"ifNum":3,"interfaceName":"0/3","description":"to lab",
    "adminState":"disable","linkState":"down","speed":"auto neg","pvid":10,
    "acceptFrameType":"tagged","autoNegMode":"enable","duplexMode":"unknown",
    "MAC_address":"02:54:58:A0:00:03","MTU_size":9216,
    "primary_ip_address":"10.1.2.3/255.255.254.0",
    "secondary_ip_addresses":{"1":"10.9.0.1/255.255.255.255","2":"10.8.0.1/255.0.0.0"},
    "ipv6_addresses":{"1":"2001:db8::3/64","2":"fd00::3/48"}}}
GET /if/4 => IfAdminStateGet(4 | IfAutoNegGet(4 | IfDescrGet(4 | IfDuplexModeGet(4 |
    IfLinkStateGet(4 | IfMacAddrGet(4 | IfMtuSizeGet(4 | IfNameGet(4 | IfSoftShutdownStateGet(4 |
    IfSpeedGet(4 | VlanIfPvidGet(4 | VlanIfAcceptFrameTypeGet(4 | RtrIntfIpAddrGet(1, 4 |
    RtrIntfSecIpAddrGet(1, 4 | RtrIntfIpAddrGet(2, 4)");

TEST(Interfaces, ValuesHaveTexts)
{
  const char* const SPEEDS[] = {"-",          "auto neg",   "half 100tx", "full 100tx",
                                "half 10t",   "full 10t",   "full 100fx", "full 1000sx",
                                "full 10gsx", "full 20gsx", "full 40gsx", "-",
                                "-",          "AAL5 155",   "-"};
  engine_reset();
  for (size_t value = 0; value < std::size(SPEEDS); value++)
    run_script(__LINE__, "[IfSpeedGet {'value': $value}] GET /if/3 ~ \"speed\": \"$text\"",
               "$value", std::to_string(value), "$text", SPEEDS[value]);
  run_script(__LINE__, R"(
[IfSpeedGet {'value': 127} | IfSpeedGet {'value': 131} | IfSpeedGet {'value': -1}] GET /if/3
    ~ "speed": "-"
[IfSpeedGet {'value': 128}] GET /if/3 ~ "speed": "full 2P5fx"
[IfSpeedGet {'value': 129}] GET /if/3 ~ "speed": "LAG"
[IfSpeedGet {'value': 130}] GET /if/3 ~ "speed": "unknown"
[IfAdminStateGet {'value': 2}] GET /if/3 ~ "adminState": ""
[IfAutoNegGet {'value': 65535}] GET /if/3 ~ "autoNegMode": "unknown"
[IfAutoNegGet {'value': 2}] GET /if/3 ~ "autoNegMode": ""
[IfDuplexModeGet {'value': 65536}] GET /if/3 ~ "duplexMode": ""
[IfLinkStateGet {'value': 2}] GET /if/3 ~ "linkState": ""
[VlanIfAcceptFrameTypeGet {'value': 0} | VlanIfAcceptFrameTypeGet {'value': 4}] GET /if/3
    ~ "acceptFrameType": ""
[VlanIfAcceptFrameTypeGet {'value': 3}] GET /if/3 ~ "acceptFrameType": "untagged"
[IfDescrGet {'value': ''}] GET /if/3 ~ "description": "-"
// texts that fill their room are cut where a tree's texts end
[IfDescrGet {'value': '$256m'}]
[IfMacAddrGet {'value': '$256m'}]
[IfNameGet {'value': '$256m'}] GET /if/3 ~ "interfaceName": "$255m")");
}

SCRIPT_TEST(Interfaces, APvidIsNeededWithLinkOnly, R"(reset {"link_up": [3]}
GET /if/1 ~ "linkState": "down"
[VlanIfPvidGet {'result': -24}]
GET /if/3 -> 98
GET /if/9 ~ "linkState": "down", "speed": "auto neg", "pvid": 0)");

TEST(Interfaces, Counters)
{
  std::istringstream text(
      "RESERVED RX_TOTAL_BYTES RX_64 RX_65_127 RX_128_255 RX_256_511 RX_512_1023 "
      "RX_1024_1518 RX_1519_1530 RX_GOOD_OVERSIZE RX_ERROR_OVERSIZE RX_GOOD_UNDERSIZE "
      "RX_ERROR_UNDERSIZE RX_UCAST_FRAMES RX_MCAST_FRAMES RX_BCAST_FRAMES RX_ALIGN_ERRORS "
      "RX_FCS_ERRORS RX_OVERRUNS RX_FRAME_TOO_LONG TX_TOTAL_BYTES TX_64 TX_65_127 "
      "TX_128_255 TX_256_511 TX_512_1023 TX_1024_1518 TX_1519_1530 TX_UCAST_FRAMES "
      "TX_MCAST_FRAMES TX_BCAST_FRAMES TX_FCS_ERRORS TX_OVERSIZED TX_UNDERRUN_ERRORS "
      "TX_ONE_COLLISION TX_MULTIPLE_COLLISION TX_EXCESSIVE_COLLISION TX_LATE_COLLISION "
      "TX_RX_64 TX_RX_65_127 TX_RX_128_255 TX_RX_256_511 TX_RX_512_1023 TX_RX_1024_1518 "
      "TX_RX_1519_1522 TX_RX_1523_2047 TX_RX_2048_4095 TX_RX_4096_9216 "
      "ETHER_STATS_DROP_EVENTS SNMPIFOUTDISCARD_FRAMES SNMPIFINDISCARD_FRAMES "
      "RX_TOTAL_FRAMES RX_TOTAL_ERROR_FRAMES TX_TOTAL_FRAMES TX_TOTAL_ERROR_FRAMES "
      "TX_TOTAL_COLLISION_FRAMES RX_CRC_ERRORS RX_TOTAL_MAC_ERROR_FRAMES RX_RATE_BITS "
      "TX_RATE_BITS RX_RATE_FRAMES TX_RATE_FRAMES ETHER_STATS_HOLD");
  const std::vector<std::string> names{std::istream_iterator<std::string>(text), {}};
  ASSERT_EQ(names.size(), 63u);
  const auto entry = [&](int position, int id, const char* value) {
    return "\"" + std::to_string(position) + "\":{\"counterId\":" + std::to_string(id) +
           ",\"counterName\":\"CTR_" + names[id] + "\",\"counterValue\":" + value + "}";
  };
  std::string all;
  for (int id = 0; id < 63; id++)
    all += (id ? "," : "") + entry(id + 1, id, "7");
  std::string copper, fibre;  // without link; nobody keeps the reserved one
  int position = 1;
  for (int id = 1; id < 63; id++) {
    copper += (id > 1 ? "," : "") + entry(id, id, "0");
    bool collision = (id >= 34 && id <= 37) || id == 55 || id == 16;
    if (!collision)
      fibre += (id > 1 ? "," : "") + entry(position++, id, "0");
  }
  run_script(__LINE__, R"(reset
GET /if/9/counters -> {"counters":{$copper}}
GET /if/50/counters -> {"counters":{$fibre}}
GET /if/400/counters -> 99
// 2^32 + 7
[StatGet {'result': 0, 'value': 4294967303}]
GET /if/9/counters -> {"counters":{$all}}
// a switch that keeps the first three alone
[StatGet {'result': -29, 'after': 3}]
GET /if/9/counters -> <counters><counter><counterId>1</counterId><counterName>CTR_RX_TOTAL_BYTES
    </counterName><counterValue>0</counterValue></counter><counter><counterId>2</counterId>
    <counterName>CTR_RX_64</counterName><counterValue>0</counterValue></counter></counters>
[StatGet {'result': -22, 'after': 60}]
GET /if/9/counters -> 99)",
             "$all", all, "$copper", copper, "$fibre", fibre);
}

// The value at a position of the counters of a port; -1 if there is none.
static int64_t counter(int port, int position)
{
  const std::string body =
      api_request("GET", "/if/" + std::to_string(port) + "/counters", "json").body;
  std::smatch found;
  const std::regex entry("\"" + std::to_string(position) + R"(": \{[^}]*"counterValue": (\d+))");
  return std::regex_search(body, found, entry) ? std::stoll(found[1]) : -1;
}

TEST(Interfaces, CountersMoveWithLinkAndAreReset)
{
  engine_reset(R"({"flash": "flash"})");
  const auto wait_for_more = [](int port, int position, int64_t than) {
    for (int tries = 0; tries < 2000 && counter(port, position) <= than; tries++)
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return counter(port, position) > than;
  };
  EXPECT_TRUE(wait_for_more(3, 1, 0));
  EXPECT_TRUE(wait_for_more(3, 62, 2));
  EXPECT_TRUE(wait_for_more(3, 1, counter(3, 1)));
  EXPECT_GT(counter(3, 58), 0);  // the rate of bits
  run_script(__LINE__, R"(PUT /if/3/adminState?value=0)");
  const int64_t frames = counter(3, 51);
  const int64_t stopped = counter(3, 62);
  EXPECT_TRUE(wait_for_more(4, 62, stopped + 1));  // time goes on
  EXPECT_EQ(counter(3, 62), stopped);
  EXPECT_EQ(counter(3, 58), 0);
  EXPECT_EQ(frames, counter(3, 13) + counter(3, 14) + counter(3, 15));
  run_script(__LINE__, R"(PUT /if/3/counters/reset?counter=17 -> 0 Reset the counter
    CTR_RX_FCS_ERRORS of Interface 3 successfully.)");
  EXPECT_EQ(counter(3, 17), 0);
  EXPECT_EQ(counter(3, 62), stopped);
  run_script(__LINE__, R"(PUT /if/3/counters/reset?counter=-1 -> 0 Reset all counters of
    Interface 3 successfully.
PUT /if/3/counters/reset?counter=62 -> 0 Reset the counter CTR_ETHER_STATS_HOLD of Interface 3
    successfully.
PUT /if/3/counters/reset ?counter= ?value=17 ?counter=63 ?counter=-2 ?counter=2147483647
    /if/50/counters/reset?counter=34 /if/400/counters/reset?counter=-1 -> 99
PUT /if/3/counters/reset?counter=17 => StatReset(17, 3) = 0
PUT /if/3/counters/reset?counter=-1 => InterfaceStatsReset(3) = 0)");
  EXPECT_EQ(counter(3, 62), 0);

  // a group has what its members have, and a script that is refused takes nothing away
  run_script(__LINE__, R"(PUT /if/4/adminState?value=0 POST /lag/2/port/3 /lag/2/port/4)");
  const int64_t bytes = counter(4, 1);
  EXPECT_GT(bytes, 0);
  EXPECT_EQ(counter(57, 1), bytes);
  EXPECT_EQ(counter(57, 2), counter(4, 13));  // unicast frames: the second one that a group keeps
  file_write("flash/bad.scr", "clear config\nwrong\n");
  run_script(__LINE__, "POST /script/apply?scr=bad.scr -> 99");
  EXPECT_EQ(counter(57, 1), bytes);
  run_script(__LINE__, R"(PUT /if/57/counters/reset?counter=1)");
  EXPECT_EQ(counter(57, 1) + counter(4, 1), 0);
  EXPECT_GT(counter(57, 2), 0);
  char name[INTERFACE_COUNTER_NAME_SIZE] = "x";
  EXPECT_EQ(get_counter_name_by_id(63, name), RC_TRUE);
  EXPECT_STREQ(name, "");
}

// ---- updates ----

TEST(Interfaces, SettingsAreHandedToTheSwitch)
{
  // clang-format off
  const char* const cases[][4] = {  // behind "/if/3/", the value, the call, what is updated
      {"pvid",                "10",   "VlanIfPvidSet(3, 10)",           "PVID of $3"},
      {"acceptFrameType",     "3",    "VlanIfAcceptFrameTypeSet(3, 3)", "acceptFrameType of $3"},
      {"adminState", "0", "IfAdminStateSet(3, 0)", "administrative state of $3"},
      {"mtuSize",             "1518", "IfMtuSizeSet(3, 1518)",          "MTU size of $3"},
      {"speed",               "3",    "IfSpeedSet(3, 3)",               "speed of $3"},
      {"vlan/10/taggingMode", "1", "VlanIfTaggingSet(3, 10, 1)", "tagging mode of $3 in VLAN 10"},
      {"switchportMode",      "1",    "IfSwitchportModeSet(3, 1)",      "switchport mode of $3"},
  };
  // clang-format on
  run_script(__LINE__, R"(reset {"vlans": [{"id": 10}]})");
  for (const auto& [path, value, call, setting] : cases)
    run_script(__LINE__, R"(PUT /if/3/$path?value=$value -> 0 Update $setting successfully.
PUT /if/3/$path?value=$value => $call = 0
check PUT /if/3/$path?value=$value
PUT /if/3/$path ?value= ?counter=1 =>
// what the switch refuses: another than it knows, a negative number, an unknown interface
PUT /if/3/$path ?value=70000 ?value=-1 /if/400/$path?value=$value -> 99)",
               "$path", path, "$value", value, "$call", call, "$setting", setting, "$3",
               "Interface 3");
  EXPECT_EQ(unrouted_answer(api_interface_update_soft_shutdown_state,
                            "/if/5/softShutdownState?value=1&format=json"),
            json_envelope(0, "Update soft-shutdown state of Interface 5 successfully."));
  run_script(__LINE__, R"(GET /if/5 ~ "adminState": "enable", "linkState": "down")");
}

SCRIPT_TEST(Interfaces, SettingsHaveLimits, R"(reset
PUT /if/3/mtuSize?value=1500 ?value=9216 -> 0 Update MTU size of Interface 3 successfully.
PUT /if/49/speed?value=7 -> 0 Update speed of Interface 49 successfully.
PUT /if/53/speed?value=12 -> 0 Update speed of Interface 53 successfully.
PUT /if/3/autoNegMode?value=0 -> 0 Update auto-negotiation mode of Interface 3 successfully.
PUT /if/3/mtuSize?value=1499 ?value=9217 /if/3/speed?value=8 /if/49/speed?value=3 /if/3/pvid?value=9
    /if/55/adminState?value=0 /if/3/vlan/9/taggingMode?value=1 -> 99
GET /if/3 ~ "speed": "full 100tx"
GET /if/3 ~ "autoNegMode": "disable", "duplexMode": "full"
PUT /if/3/speed?value=4
GET /if/3 ~ "autoNegMode": "disable", "duplexMode": "half"
PUT /if/3/autoNegMode?value=1
GET /if/3 ~ "speed": "auto neg")");

SCRIPT_TEST(Interfaces, AutoNegotiationIsForCopper, R"(reset
PUT /if/49/autoNegMode?value=1 -> 1 Unable to update auto-negotiation mode of Interface 49.
PUT /if/53/autoNegMode?value=0 -> 1 Unable to update auto-negotiation mode of Interface 53.
PUT /if/400/autoNegMode?value=0 /if/3/autoNegMode ?value=2 ?value=1x -> 99
PUT /if/3/autoNegMode?value=2 =>
// enabled is 0 for the switch
PUT /if/3/autoNegMode?value=1 => IfConnectorTypeGet(3, >1) = 0 | IfAutoNegSet(3, 0)
PUT /if/3/autoNegMode?value=0 => IfConnectorTypeGet(3, >1) = 0 | IfAutoNegSet(3, 1)
check PUT /if/3/autoNegMode?value=1)");

SCRIPT_TEST(Interfaces, Descriptions, R"(reset
PUT /if/3/description?value=$64d -> 0 Update description of Interface 3 successfully.
PUT /if/3/description?value=$64dd ?value=$300d /if/3/description ?value= -> 1 The value of parameter
    is invalid.
PUT /if/400/description -> 99
// the room is asked for before the value is judged; the terminating zero is not counted
PUT /if/3/description => IfDescrSizeGet(3, >64) = 0
PUT /if/3/description?value=lab => IfDescrSizeGet(3, >64) = 0 | IfDescrSet(3, {3,"lab"}) = 0
GET /if/3 ~ "description": "lab"
check PUT /if/3/description?value=lab
[IfDescrSizeGet {'value': 0}]
PUT /if/3/description?value=x -> 1 The value of parameter is invalid.)");

// ---- membership in VLANs ----

SCRIPT_TEST(Interfaces, JoinAndLeaveVlans, R"(reset {"vlans": 3}
POST /if/3/vlan/3 -> 0 Configure Interface 3 to VLAN 3 successfully.
POST /if/3/vlan/9 /if/400/vlan/3 /if/55/vlan/3 -> 99
GET /if/3/vlan -> {"participations":{"0":{"vlanId":1},"2":{"vlanId":3}}}
GET /if/3/vlan/3 -> {"participation":{"ifNum":3,"vlanId":3,"participationMode":"Include",
    "isTagging":0}}
GET /if/3/vlan/2 ~ "participationMode": "Autodetect", "isTagging": 0
GET /if/3/vlan/9 /if/400/vlan/1 /if/400/vlan -> 99
GET /if/3/vlan => VlanIfParticipationStatusGet(1, 3, >1) | VlanNextGet(1, >2) |
    VlanIfParticipationStatusGet(2, 3, >0) | VlanNextGet(2, >3) | VlanIfParticipationStatusGet(3, 3,
    >1) | VlanNextGet(3,
GET /if/3/vlan/3 => VlanIfParticipationGet(3, 3, >0) | VlanIfTaggingGet(3, 3, >0)
check GET /if/3/vlan but VlanNextGet
check GET /if/3/vlan/3 POST /if/3/vlan/3 DELETE /if/3/vlan/3
DELETE /if/3/vlan/1 -> 1 Delete VLAN 1 failed. VLAN 1 is native vlan.
POST /if/3/vlan/3 PUT /if/3/pvid?value=3
DELETE /if/3/vlan/3 -> 1 Delete VLAN 3 failed. VLAN 3 is native vlan.
DELETE /if/3/vlan/1 -> 0 Delete Interface 3 from VLAN 1 successfully.
DELETE /if/3/vlan/9 -> 99
// Autodetect, not Exclude
DELETE /if/3/vlan/2 => VlanIfPvidGet(3, >3) = 0 | VlanIfParticipationSet(2, 3, 1) = 0
GET /if/3/vlan -> {"participations":{"2":{"vlanId":3}}}
reset {"vlans": 3}
[VlanNextGet {'value': 2}] GET /if/3/vlan -> {"participations":{"0":{"vlanId":1}}}
[VlanIfParticipationGet {'value': 9}] GET /if/3/vlan/2 ~ "participationMode": "")");

SCRIPT_TEST(Interfaces, SwitchportModesDecideMembership, R"(reset {"vlans": 9}
// PUT puts its list in place of what was there
POST /if/3/vlan/4 PUT /if/3/access/vlan?value=6 POST /if/3/trunk/vlan?value=9 PUT
    /if/3/trunk/vlan?value=2-3,5 POST /if/3/trunk/vlan?value=7-9 DELETE /if/3/trunk/vlan?value=3,8
    PUT /if/3/trunk/pvid?value=4
GET /if/3/switchportMode -> {"mode":"general"}
GET /if/3/vlan -> {"participations":{"0":{"vlanId":1},"3":{"vlanId":4}}}
PUT /if/3/switchportMode?value=2
GET /if/3/switchportMode -> {"mode":"access"}
GET /if/3/vlan -> {"participations":{"5":{"vlanId":6}}}
GET /if/3/vlan/4 ~ "vlanId": 4, "participationMode": "Exclude", "isTagging": 0
GET /if/3 ~ "pvid": 6,
PUT /if/3/switchportMode?value=3
GET /if/3/switchportMode -> {"mode":"trunk"}
GET /if/3/vlan -> {"participations":{"1":{"vlanId":2},"3":{"vlanId":4},"4":{"vlanId":5},
    "6":{"vlanId":7},"8":{"vlanId":9}}}
GET /if/3/vlan/7 ~ "participationMode": "Include", "isTagging": 1
GET /if/3/vlan/4 ~ "participationMode": "Include", "isTagging": 0
GET /if/3 ~ "pvid": 4,
// of no use here, and in mode access
PUT /if/3/pvid?value=5 /if/3/vlan/5/taggingMode?value=0 POST /if/3/vlan/5 DELETE /if/3/vlan/5 -> -28
PUT /if/3/switchportMode?value=2
PUT /if/3/pvid?value=5 /if/3/vlan/5/taggingMode?value=0 POST /if/3/vlan/5 DELETE /if/3/vlan/5 -> -28
PUT /if/3/switchportMode?value=1
GET /if/3 ~ "pvid": 1,
[IfSwitchportModeGet {'value': 0} | IfSwitchportModeGet {'value': 4}] GET /if/3/switchportMode
    -> {"mode":""})");

TEST(Interfaces, SwitchportVlansAreChecked)
{
  run_script(__LINE__, R"(reset {"vlan_max": 100, "vlans": 10})");
  const char* const cases[][3] = {
      {"PUT /if/3/access/vlan",   "AccessVlanSet(3, 5)",              "Update access mode vlan"},
      {"PUT /if/3/trunk/pvid",    "TrunkNativeVlanSet(3, 5)",         "Update trunk mode pvid" },
      {"POST /if/3/trunk/vlan",   "TrunkVlanCreate(3, 1, {1,\"5\"})", "Update trunk mode vlan" },
      {"PUT /if/3/trunk/vlan",    "TrunkVlanSet(3, 1, {1,\"5\"})",    "Update trunk mode vlan" },
      {"DELETE /if/3/trunk/vlan", "TrunkVlanSet(3, 3, {1,\"5\"})",    "Delete trunk mode vlan" },
  };
  for (const auto& [path, call, done] : cases)
    run_script(__LINE__, R"($path?value=5 -> 0 $done of Interface 3 successfully.
$path?value=5 => Dot1VlanMaxGet(>100) = 0 | IfSwitchport$call = 0
check $path?value=5
$path?value=0 ?value=101 ?value=-1 ?value=x ?value=0,5 ?value=4294967301 -> 2 VLAN ID not valid.
$path -> 99
$path =>)",
               "$path", path, "$call", call, "$done", done);
  run_script(__LINE__, R"(
// only the first number is judged before the switch is
PUT /if/3/trunk/vlan?value=5,101 ?value=5-101 ?value=5, ?value=5,,6 ?value=5- ?value=7-5
    ?value=5-6-7 ?value=5;6 ?value=5,0 ?value=5x ?value=5,%206 ?value=5,4294967302 -> 99
// no such VLAN
PUT /if/3/access/vlan?value=11 -> 99
// a VLAN of the list may come later
PUT /if/3/trunk/vlan?value=99 /if/3/switchportMode?value=3 POST /vlans/99
GET /if/3/vlan ~ "vlanId": 99)");
}

SCRIPT_TEST(Interfaces, EveryCallOfTheQueriesIsChecked, R"(reset {"ports": 3}
check GET /if /if/pendingChanges /if/3 /if/3/counters /if/3/switchportMode PUT
    /if/3/counters/reset?counter=-1 ?counter=1
    but IfNextGet IfNextChangedGet RtrIntfIpAddrGet RtrIntfSecIpAddrGet)");
