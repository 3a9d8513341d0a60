// The "if" module and the switch's interfaces behind it, over sockets.
#include <gtest/gtest.h>
#include <json-c/json.h>

#include <chrono>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "modules/rest_module_interface.h"
#include "switchsim/switchsim.h"
#include "tests/support/answer_table.h"
#include "tests/support/local_engine.h"

static const char GOT_DATA[] = "Get data successfully.";
static const char INVALID_VLAN[] = "VLAN ID not valid.";

TEST(Interfaces, UnservedPathsAreBadRequests)
{
  engine_reset();
  expect_bad_requests(
      __LINE__,
      "GET /if/ /if/1/ /if/x /if/pendingChanges/1 /if/1/vlan/ /if/1/vlans /if/1/nalv "
      "/if/1/vlan/1/taggingMode /if/1/counter /if/1/pvid /if/1/trunk/vlan POST /if/1 "
      "/if/1/trunk/vlan/2?value=2 /if/1/access/vlan?value=2 PUT /if/1 "
      "/if/1/PVID?value=1 /if/1/pvid/?value=1 /if/1/adminStates?value=1 "
      "/if/1/softShutdownState?value=1 /if/1/vlan/1?value=1 /if/1/counters?counter=1 "
      "/if/1/trunk/pvids?value=1 DELETE /if/1 /if/1/vlan /if/1/trunk/pvid?value=1");
}

// ---- queries ----

TEST(Interfaces, AreListed)
{
  engine_reset(R"({"ports": 3})");
  expect_answer(__LINE__, "GET", "/if", 0, GOT_DATA,
                R"({"interfaces":{"1":{"ifNum":1},"2":{"ifNum":2},"3":{"ifNum":3}}})");
  expect_xml_answer(__LINE__, "GET", "/if", 0, GOT_DATA,
                    "<interfaces><interface><ifNum>1</ifNum></interface><interface><ifNum>2"
                    "</ifNum></interface><interface><ifNum>3</ifNum></interface></interfaces>");
  expect_calls(__LINE__, api_calls("GET", "/if"),
               {"openapiIfFirstGet(0, >1) = 0", "openapiIfNextGet(0, 1, >2) = 0",
                "openapiIfNextGet(0, 2, >3) = 0", "openapiIfNextGet(0, 3, "});
  const char ONE[] = R"({"interfaces":{"1":{"ifNum":1}}})";
  const char ONE_AND_3[] = R"({"interfaces":{"1":{"ifNum":1},"2":{"ifNum":3}}})";
  expect_data_with_fault(
      "{'ports': 3}",
      {
          {__LINE__, "openapiIfNextGet",  "{'value': 3}",                            "/if",                ONE_AND_3},
          {__LINE__, "openapiIfNextGet",  "{'value': 1}",                            "/if",                ONE      },
          {__LINE__, "openapiIfNextGet",  "{'result': -24, 'value': 3, 'times': 1}", "/if",
           ONE_AND_3                                                                                                },
          {__LINE__, "openapiIfNextGet",  "{'result': -26, 'value': 3}",             "/if",                ONE      },
          {__LINE__, "openapiIfNextGet",  "{'result': -20}",                         "/if",                ""       },
          {__LINE__, "openapiIfFirstGet", "{'result': -26}",                         "/if",                ""       },
          {__LINE__, "openapiIfFirstGet", "{'result': -26}",                         "/if/pendingChanges", ""       },
  });
}

TEST(Interfaces, PendingChanges)
{
  engine_reset(R"({"pending_ms": 600000})");
  expect_answer(__LINE__, "GET", "/if/pendingChanges", 0, GOT_DATA, R"({"pending_interfaces":{}})");
  make_requests(__LINE__,
                "PUT /if/3/description?value=x /if/1/mtuSize?value=9000 POST /lag/2/port/9");
  expect_answer(__LINE__, "GET", "/if/pendingChanges", 0, GOT_DATA,
                R"({"pending_interfaces":{"1":{"ifNum":1,"pending_type":"pending change"},
                     "2":{"ifNum":3,"pending_type":"pending change"},
                     "3":{"ifNum":57,"pending_type":"pending change"}}})");
  set_fault("openapiIfNextChangedGet", "{'result': 0, 'value': 3}");
  expect_xml_answer(__LINE__, "GET", "/if/pendingChanges", 0, GOT_DATA,
                    "<pending_interfaces><interface><ifNum>3</ifNum><pending_type>pending change"
                    "</pending_type></interface></pending_interfaces>");
}

TEST(Interfaces, OneWithAndWithoutAddresses)
{
  engine_reset(R"({"vlans": [{"id": 10}]})");
  expect_data({
      {__LINE__, "/if/3",          R"({"interface":{"ifNum":3,"interfaceName":"0/3","description":"-",
          "adminState":"enable","linkState":"up","speed":"auto neg","pvid":1,
          "acceptFrameType":"all","autoNegMode":"enable","duplexMode":"full",
          "MAC_address":"02:54:58:A0:00:03","MTU_size":1500}})"  },
      {__LINE__, "/if/54",         R"({"interface":{"ifNum":54,"interfaceName":"0/54","description":"-",
          "adminState":"enable","linkState":"down","speed":"full 40gsx","pvid":1,
          "acceptFrameType":"all","autoNegMode":"disable","duplexMode":"full",
          "MAC_address":"02:54:58:A0:00:36","MTU_size":1500}})"},
      {__LINE__, "/if/400",        ""                                                                   },
      {__LINE__, "/if/0",          ""                                                                   },
      {__LINE__, "/if/4294967299", ""                                                                   },
  });
  make_requests(__LINE__,
                "PUT /if/3/description?value=to%20lab /if/3/pvid?value=10 "
                "/if/3/acceptFrameType?value=2 /if/3/mtuSize?value=9216 /if/3/adminState?value=0 "
                "/routing/if/3/adminMode?value=1 POST "
                "/routing/if/3/ip?addrType=0&addr=10.1.2.3&pfxLen=23&extArg=0 "
                "/routing/if/3/ip?addrType=1&addr=10.9.0.1&pfxLen=32&extArg=0 "
                "/routing/if/3/ip?addrType=1&addr=10.8.0.1&pfxLen=8&extArg=0 "
                "/routing/if/3/ip?addrType=3&addr=2001:db8::3&pfxLen=64&extArg=0 "
                "/routing/if/3/ip?addrType=3&addr=fd00::3&pfxLen=48&extArg=0");
  expect_answer(__LINE__, "GET", "/if/3", 0, GOT_DATA,
                R"({"interface":{"ifNum":3,"interfaceName":"0/3","description":"to lab",
                     "adminState":"disable","linkState":"down","speed":"auto neg","pvid":10,
                     "acceptFrameType":"tagged","autoNegMode":"enable","duplexMode":"unknown",
                     "MAC_address":"02:54:58:A0:00:03","MTU_size":9216,
                     "primary_ip_address":"10.1.2.3/255.255.254.0",
                     "secondary_ip_addresses":{"1":"10.9.0.1/255.255.255.255",
                       "2":"10.8.0.1/255.0.0.0"},
                     "ipv6_addresses":{"1":"2001:db8::3/64","2":"fd00::3/48"}}})");
  expect_xml_answer(
      __LINE__, "GET", "/if/3", 0, GOT_DATA,
      "<interface><ifNum>3</ifNum><interfaceName>0/3</interfaceName>"
      "<description>to lab</description><adminState>disable</adminState>"
      "<linkState>down</linkState><speed>auto neg</speed><pvid>10</pvid>"
      "<acceptFrameType>tagged</acceptFrameType><autoNegMode>enable</autoNegMode>"
      "<duplexMode>unknown</duplexMode><MAC_address>02:54:58:A0:00:03</MAC_address>"
      "<MTU_size>9216</MTU_size><primary_ip_address>10.1.2.3/255.255.254.0</primary_ip_address>"
      "<secondary_ip_addresses><secondary_ipv4_address>10.9.0.1/255.255.255.255"
      "</secondary_ipv4_address><secondary_ipv4_address>10.8.0.1/255.0.0.0"
      "</secondary_ipv4_address></secondary_ip_addresses><ipv6_addresses>"
      "<prefix/prefix_length>2001:db8::3/64</prefix/prefix_length>"
      "<prefix/prefix_length>fd00::3/48</prefix/prefix_length></ipv6_addresses></interface>");
  expect_calls(
      __LINE__, api_calls("GET", "/if/4"),
      {"openapiIfAdminStateGet(4", "openapiIfAutoNegGet(4", "rpcclt_openapiIfDescrGet(4",
       "openapiIfDuplexModeGet(4", "openapiIfLinkStateGet(4", "rpcclt_openapiIfMacAddrGet(4",
       "openapiIfMtuSizeGet(4", "openapiIfNameGet(4", "rpcclt_openapiIfSoftShutdownStateGet(4",
       "openapiIfSpeedGet(4", "openapiVlanIfPvidGet(4", "rpcclt_openapiVlanIfAcceptFrameTypeGet(4",
       "rpcclt_openapiRtrIntfIpAddrGet(1, 4", "rpcclt_openapiRtrIntfSecIpAddrGet(1, 4",
       "rpcclt_openapiRtrIntfIpAddrGet(2, 4"});
}

static void expect_text(const char* call, const std::string& value, const std::string& text)
{
  set_fault(call, "{'value': " + value + "}");
  expect_in_answer(__LINE__, "/if/3", text);
  switchsim_faults_clear();
}

TEST(Interfaces, ValuesHaveTexts)
{
  engine_reset();
  const char* const SPEEDS[] = {"-",          "auto neg",   "half 100tx", "full 100tx",
                                "half 10t",   "full 10t",   "full 100fx", "full 1000sx",
                                "full 10gsx", "full 20gsx", "full 40gsx", "-",
                                "-",          "AAL5 155",   "-"};
  for (size_t value = 0; value < std::size(SPEEDS); value++)
    expect_text("openapiIfSpeedGet", std::to_string(value),
                std::string("\"speed\": \"") + SPEEDS[value] + "\"");
  const char* const TEXTS[][3] = {
      {"openapiIfSpeedGet",                      "127",   "\"speed\": \"-\""                 },
      {"openapiIfSpeedGet",                      "128",   "\"speed\": \"full 2P5fx\""        },
      {"openapiIfSpeedGet",                      "129",   "\"speed\": \"LAG\""               },
      {"openapiIfSpeedGet",                      "130",   "\"speed\": \"unknown\""           },
      {"openapiIfSpeedGet",                      "131",   "\"speed\": \"-\""                 },
      {"openapiIfSpeedGet",                      "-1",    "\"speed\": \"-\""                 },
      {"openapiIfAdminStateGet",                 "2",     "\"adminState\": \"\""             },
      {"openapiIfAutoNegGet",                    "65535", "\"autoNegMode\": \"unknown\""     },
      {"openapiIfAutoNegGet",                    "2",     "\"autoNegMode\": \"\""            },
      {"openapiIfDuplexModeGet",                 "65536", "\"duplexMode\": \"\""             },
      {"openapiIfLinkStateGet",                  "2",     "\"linkState\": \"\""              },
      {"rpcclt_openapiVlanIfAcceptFrameTypeGet", "0",     "\"acceptFrameType\": \"\""        },
      {"rpcclt_openapiVlanIfAcceptFrameTypeGet", "3",     "\"acceptFrameType\": \"untagged\""},
      {"rpcclt_openapiVlanIfAcceptFrameTypeGet", "4",     "\"acceptFrameType\": \"\""        },
      {"rpcclt_openapiIfDescrGet",               "''",    "\"description\": \"-\""           },
      {"rpcclt_openapiIfDescrGet",               "'x'",   "\"description\": \"x\""           },
  };
  for (const auto& text : TEXTS)
    expect_text(text[0], text[1], text[2]);
  // texts that fill their room are cut where a tree's texts end
  const std::string full(256, 'm');
  for (const char* call :
       {"rpcclt_openapiIfDescrGet", "rpcclt_openapiIfMacAddrGet", "openapiIfNameGet"})
    set_fault(call, "{'value': '" + full + "'}");
  expect_in_answer(__LINE__, "/if/3", "\"interfaceName\": \"" + full.substr(1) + "\"");
}

TEST(Interfaces, APvidIsNeededWithLinkOnly)
{
  engine_reset();
  set_fault("openapiVlanIfPvidGet", "{'result': -24}");
  expect_answer(__LINE__, "GET", "/if/3", 98, "The same setting is already set.");
  expect_in_answer(__LINE__, "/if/9",
                   "\"linkState\": \"down\", \"speed\": \"auto neg\", \"pvid\": 0");
}

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
  engine_reset();
  expect_data({
      {__LINE__, "/if/9/counters",   "{\"counters\":{" + copper + "}}"},
      {__LINE__, "/if/50/counters",  "{\"counters\":{" + fibre + "}}" },
      {__LINE__, "/if/400/counters", ""                               },
  });
  const std::string all_data = "{\"counters\":{" + all + "}}";
  set_fault("rpcclt_openapiStatGet", "{'result': 0, 'value': 4294967303}");  // 2^32 + 7
  expect_answer(__LINE__, "GET", "/if/9/counters", 0, GOT_DATA, all_data.c_str());
  // a switch that keeps the first three alone
  set_fault("rpcclt_openapiStatGet", "{'result': -29, 'after': 3}");
  expect_xml_answer(
      __LINE__, "GET", "/if/9/counters", 0, GOT_DATA,
      "<counters><counter><counterId>1</counterId><counterName>CTR_RX_TOTAL_BYTES</counterName>"
      "<counterValue>0</counterValue></counter><counter><counterId>2</counterId>"
      "<counterName>CTR_RX_64</counterName><counterValue>0</counterValue></counter></counters>");
  set_fault("rpcclt_openapiStatGet", "{'result': -22, 'after': 60}");
  expect_open_error(__LINE__, "GET", "/if/9/counters");
}

static int64_t counter(int port, int position)
{
  std::string body = api_request("GET", "/if/" + std::to_string(port) + "/counters", "json").body;
  json_object* root = json_tokener_parse(body.c_str());
  json_object* found = root;
  std::string key = std::to_string(position);
  for (const char* name : {"result", "rlt_data", "counters", key.c_str(), "counterValue"})
    if (!json_object_object_get_ex(found, name, &found))
      found = nullptr;
  int64_t value = found ? json_object_get_int64(found) : -1;
  json_object_put(root);
  return value;
}

TEST(Interfaces, CountersMoveWithLinkAndAreReset)
{
  engine_reset();
  const auto wait_for_more = [](int port, int position, int64_t than) {
    for (int tries = 0; tries < 2000 && counter(port, position) <= than; tries++)
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    return counter(port, position) > than;
  };
  EXPECT_TRUE(wait_for_more(3, 1, 0));
  EXPECT_TRUE(wait_for_more(3, 62, 2));
  EXPECT_TRUE(wait_for_more(3, 1, counter(3, 1)));
  EXPECT_GT(counter(3, 58), 0);  // the rate of bits
  make_requests(__LINE__, "PUT /if/3/adminState?value=0");
  const int64_t frames = counter(3, 51);
  const int64_t stopped = counter(3, 62);
  EXPECT_TRUE(wait_for_more(4, 62, stopped + 1));  // time goes on
  EXPECT_EQ(counter(3, 62), stopped);
  EXPECT_EQ(counter(3, 58), 0);
  EXPECT_EQ(frames, counter(3, 13) + counter(3, 14) + counter(3, 15));
  expect_answers({
      {__LINE__, "PUT", "/if/3/counters/reset?counter=17", 0,
       "Reset the counter CTR_RX_FCS_ERRORS of Interface 3 successfully."},
  });
  EXPECT_EQ(counter(3, 17), 0);
  EXPECT_EQ(counter(3, 62), stopped);
  expect_answers({
      {__LINE__, "PUT", "/if/3/counters/reset?counter=-1", 0,
       "Reset all counters of Interface 3 successfully."                    },
      {__LINE__, "PUT", "/if/3/counters/reset?counter=62", 0,
       "Reset the counter CTR_ETHER_STATS_HOLD of Interface 3 successfully."},
  });
  expect_open_errors(__LINE__,
                     "PUT /if/3/counters/reset /if/3/counters/reset?counter= "
                     "/if/3/counters/reset?value=17 /if/3/counters/reset?counter=63 "
                     "/if/3/counters/reset?counter=-2 /if/3/counters/reset?counter=2147483647 "
                     "/if/50/counters/reset?counter=34 /if/400/counters/reset?counter=-1");
  EXPECT_EQ(counter(3, 62), 0);
  expect_calls(__LINE__, api_calls("PUT", "/if/3/counters/reset?counter=17"),
               {"rpcclt_openapiStatReset(17, 3) = 0"});
  expect_calls(__LINE__, api_calls("PUT", "/if/3/counters/reset?counter=-1"),
               {"rpcclt_openapiInterfaceStatsReset(3) = 0"});
  char name[INTERFACE_COUNTER_NAME_SIZE] = "x";
  EXPECT_EQ(get_counter_name_by_id(63, name), RC_TRUE);
  EXPECT_STREQ(name, "");
}

// ---- updates ----

TEST(Interfaces, SettingsAreHandedToTheSwitch)
{
  engine_reset(R"({"vlans": [{"id": 10}]})");
  const struct {
    int line;
    const char* request;  // without "/if/3"
    const char* call;
    const char* setting;
  } cases[] = {
      {__LINE__, "/pvid?value=10",               "VlanIfPvidSet(3, 10)",           "PVID of Interface 3"    },
      {__LINE__, "/acceptFrameType?value=3",     "VlanIfAcceptFrameTypeSet(3, 3)",
       "acceptFrameType of Interface 3"                                                                     },
      {__LINE__, "/adminState?value=0",          "IfAdminStateSet(3, 0)",
       "administrative state of Interface 3"                                                                },
      {__LINE__, "/mtuSize?value=1518",          "IfMtuSizeSet(3, 1518)",          "MTU size of Interface 3"},
      {__LINE__, "/speed?value=3",               "IfSpeedSet(3, 3)",               "speed of Interface 3"   },
      {__LINE__, "/vlan/10/taggingMode?value=1", "VlanIfTaggingSet(3, 10, 1)",
       "tagging mode of Interface 3 in VLAN 10"                                                             },
      {__LINE__, "/switchportMode?value=1",      "IfSwitchportModeSet(3, 1)",
       "switchport mode of Interface 3"                                                                     },
  };
  for (const auto& c : cases) {
    const std::string query = std::string("/if/3") + c.request;
    const std::string path = query.substr(0, query.find('?'));
    const std::string call = std::string("rpcclt_openapi") + c.call + " = 0";
    expect_answer(c.line, "PUT", query, 0, std::string("Update ") + c.setting + " successfully.");
    expect_calls(c.line, api_calls("PUT", query), {call.c_str()});
    expect_each_call_checked(c.line, "PUT", query);
    for (const char* value : {"", "?value=", "?counter=1"})
      EXPECT_TRUE(api_calls("PUT", path + value).empty()) << "case of line " << c.line;
    // what the switch refuses: another than it knows, a negative number, an unknown interface
    expect_open_error(c.line, "PUT", path);
    expect_open_error(c.line, "PUT", path + "?value=70000");
    expect_open_error(c.line, "PUT", path + "?value=-1");
    expect_open_error(c.line, "PUT", "/if/400" + query.substr(5));
  }
  EXPECT_EQ(unrouted_answer(api_interface_update_soft_shutdown_state,
                            "/if/5/softShutdownState?value=1&format=json"),
            json_envelope(0, "Update soft-shutdown state of Interface 5 successfully."));
  expect_in_answer(__LINE__, "/if/5", "\"adminState\": \"enable\", \"linkState\": \"down\"");
}

TEST(Interfaces, SettingsHaveLimits)
{
  engine_reset();
  expect_answers({
      {__LINE__, "PUT", "/if/3/mtuSize?value=1500",  0,
       "Update MTU size of Interface 3 successfully."                                               },
      {__LINE__, "PUT", "/if/3/mtuSize?value=9216",  0,
       "Update MTU size of Interface 3 successfully."                                               },
      {__LINE__, "PUT", "/if/49/speed?value=7",      0, "Update speed of Interface 49 successfully."},
      {__LINE__, "PUT", "/if/53/speed?value=12",     0, "Update speed of Interface 53 successfully."},
      {__LINE__, "PUT", "/if/3/autoNegMode?value=0", 0,
       "Update auto-negotiation mode of Interface 3 successfully."                                  },
  });
  expect_open_errors(__LINE__,
                     "PUT /if/3/mtuSize?value=1499 /if/3/mtuSize?value=9217 /if/3/speed?value=8 "
                     "/if/49/speed?value=3 /if/3/pvid?value=9 /if/55/adminState?value=0 "
                     "/if/3/vlan/9/taggingMode?value=1");
  expect_in_answer(__LINE__, "/if/3", "\"speed\": \"full 100tx\"");
  expect_in_answer(__LINE__, "/if/3", "\"autoNegMode\": \"disable\", \"duplexMode\": \"full\"");
  make_requests(__LINE__, "PUT /if/3/speed?value=4");
  expect_in_answer(__LINE__, "/if/3", "\"autoNegMode\": \"disable\", \"duplexMode\": \"half\"");
  make_requests(__LINE__, "PUT /if/3/autoNegMode?value=1");
  expect_in_answer(__LINE__, "/if/3", "\"speed\": \"auto neg\"");
}

TEST(Interfaces, AutoNegotiationIsForCopper)
{
  engine_reset();
  expect_answers({
      {__LINE__, "PUT", "/if/49/autoNegMode?value=1", 1,
       "Unable to update auto-negotiation mode of Interface 49."},
      {__LINE__, "PUT", "/if/53/autoNegMode?value=0", 1,
       "Unable to update auto-negotiation mode of Interface 53."},
  });
  expect_open_errors(__LINE__,
                     "PUT /if/400/autoNegMode?value=0 /if/3/autoNegMode /if/3/autoNegMode?value=2 "
                     "/if/3/autoNegMode?value=1x");
  EXPECT_TRUE(api_calls("PUT", "/if/3/autoNegMode?value=2").empty());
  // enabled is 0 for the switch
  expect_calls(__LINE__, api_calls("PUT", "/if/3/autoNegMode?value=1"),
               {"rpcclt_openapiIfConnectorTypeGet(3, >1) = 0", "rpcclt_openapiIfAutoNegSet(3, 0)"});
  expect_calls(__LINE__, api_calls("PUT", "/if/3/autoNegMode?value=0"),
               {"rpcclt_openapiIfConnectorTypeGet(3, >1) = 0", "rpcclt_openapiIfAutoNegSet(3, 1)"});
  expect_each_call_checked(__LINE__, "PUT", "/if/3/autoNegMode?value=1");
}

TEST(Interfaces, Descriptions)
{
  engine_reset();
  const char INVALID[] = "The value of parameter is invalid.";
  const std::string fits = "/if/3/description?value=" + std::string(64, 'd');
  const std::string too_long = fits + "d";
  const std::string overlong = "/if/3/description?value=" + std::string(300, 'd');
  expect_answers({
      {__LINE__, "PUT", fits,                       0, "Update description of Interface 3 successfully."},
      {__LINE__, "PUT", too_long,                   1, INVALID                                          },
      {__LINE__, "PUT", overlong,                   1, INVALID                                          },
      {__LINE__, "PUT", "/if/3/description",        1, INVALID                                          },
      {__LINE__, "PUT", "/if/3/description?value=", 1, INVALID                                          },
  });
  expect_open_errors(__LINE__, "PUT /if/400/description");
  // the room is asked for before the value is judged; the terminating zero is not counted
  expect_calls(__LINE__, api_calls("PUT", "/if/3/description"),
               {"rpcclt_openapiIfDescrSizeGet(3, >64) = 0"});
  expect_calls(
      __LINE__, api_calls("PUT", "/if/3/description?value=lab"),
      {"rpcclt_openapiIfDescrSizeGet(3, >64) = 0", "rpcclt_openapiIfDescrSet(3, {3,\"lab\"}) = 0"});
  expect_in_answer(__LINE__, "/if/3", "\"description\": \"lab\"");
  expect_each_call_checked(__LINE__, "PUT", "/if/3/description?value=lab");
  set_fault("rpcclt_openapiIfDescrSizeGet", "{'value': 0}");
  expect_answer(__LINE__, "PUT", "/if/3/description?value=x", 1, INVALID);
}

// ---- membership in VLANs ----

TEST(Interfaces, JoinAndLeaveVlans)
{
  engine_reset(R"({"vlans": 3})");
  expect_answer(__LINE__, "POST", "/if/3/vlan/3", 0,
                "Configure Interface 3 to VLAN 3 successfully.");
  expect_open_errors(__LINE__, "POST /if/3/vlan/9 /if/400/vlan/3 /if/55/vlan/3");
  expect_data({
      {__LINE__, "/if/3/vlan",     R"({"participations":{"0":{"vlanId":1},"2":{"vlanId":3}}})"},
      {__LINE__, "/if/3/vlan/3",   R"({"participation":{"ifNum":3,"vlanId":3,
          "participationMode":"Include","isTagging":0}})"                 },
      {__LINE__, "/if/3/vlan/2",   R"({"participation":{"ifNum":3,"vlanId":2,
          "participationMode":"Autodetect","isTagging":0}})"                 },
      {__LINE__, "/if/3/vlan/9",   ""                                                         },
      {__LINE__, "/if/400/vlan/1", ""                                                         },
      {__LINE__, "/if/400/vlan",   ""                                                         },
  });
  expect_xml_answer(__LINE__, "GET", "/if/3/vlan", 0, GOT_DATA,
                    "<participations><participation><vlanId>1</vlanId></participation>"
                    "<participation><vlanId>3</vlanId></participation></participations>");
  expect_xml_answer(__LINE__, "GET", "/if/3/vlan/3", 0, GOT_DATA,
                    "<participation><ifNum>3</ifNum><vlanId>3</vlanId><participationMode>Include"
                    "</participationMode><isTagging>0</isTagging></participation>");
  expect_calls(__LINE__, api_calls("GET", "/if/3/vlan"),
               {"openapiVlanIfParticipationStatusGet(1, 3, >1)", "openapiVlanNextGet(1, >2)",
                "openapiVlanIfParticipationStatusGet(2, 3, >0)", "openapiVlanNextGet(2, >3)",
                "openapiVlanIfParticipationStatusGet(3, 3, >1)", "openapiVlanNextGet(3, "});
  expect_calls(
      __LINE__, api_calls("GET", "/if/3/vlan/3"),
      {"rpcclt_openapiVlanIfParticipationGet(3, 3, >0)", "openapiVlanIfTaggingGet(3, 3, >0)"});
  expect_each_call_checked(__LINE__, "GET", "/if/3/vlan", {"openapiVlanNextGet"});
  expect_each_call_checked(__LINE__, "GET", "/if/3/vlan/3");
  expect_each_call_checked(__LINE__, "POST", "/if/3/vlan/3");
  expect_each_call_checked(__LINE__, "DELETE", "/if/3/vlan/3");

  expect_answer(__LINE__, "DELETE", "/if/3/vlan/1", 1,
                "Delete VLAN 1 failed. VLAN 1 is native vlan.");
  make_requests(__LINE__, "POST /if/3/vlan/3 PUT /if/3/pvid?value=3");
  expect_answers({
      {__LINE__, "DELETE", "/if/3/vlan/3", 1, "Delete VLAN 3 failed. VLAN 3 is native vlan."},
      {__LINE__, "DELETE", "/if/3/vlan/1", 0, "Delete Interface 3 from VLAN 1 successfully."},
  });
  expect_open_errors(__LINE__, "DELETE /if/3/vlan/9");
  // Autodetect, not Exclude
  expect_calls(
      __LINE__, api_calls("DELETE", "/if/3/vlan/2"),
      {"openapiVlanIfPvidGet(3, >3) = 0", "rpcclt_openapiVlanIfParticipationSet(2, 3, 1) = 0"});
  expect_answer(__LINE__, "GET", "/if/3/vlan", 0, GOT_DATA,
                R"({"participations":{"2":{"vlanId":3}}})");
  expect_data_with_fault(
      "{'vlans': 3}",
      {
          {__LINE__, "openapiVlanNextGet",                   "{'value': 2}", "/if/3/vlan",
           R"({"participations":{"0":{"vlanId":1}}})"                                        },
          {__LINE__, "rpcclt_openapiVlanIfParticipationGet", "{'value': 9}", "/if/3/vlan/2",
           R"({"participation":{"ifNum":3,"vlanId":2,"participationMode":"","isTagging":0}})"},
  });
}

TEST(Interfaces, SwitchportModesDecideMembership)
{
  engine_reset(R"({"vlans": 9})");
  const auto mode = [](int value) {
    std::string path = "/if/3/switchportMode?value=" + std::to_string(value);
    EXPECT_NE(api_request("PUT", path, "json").body.find("\"rlt_code\": 0"), std::string::npos);
  };
  // PUT puts its list in place of what was there
  make_requests(__LINE__,
                "POST /if/3/vlan/4 PUT /if/3/access/vlan?value=6 POST /if/3/trunk/vlan?value=9 "
                "PUT /if/3/trunk/vlan?value=2-3,5 POST /if/3/trunk/vlan?value=7-9 DELETE "
                "/if/3/trunk/vlan?value=3,8 PUT /if/3/trunk/pvid?value=4");
  expect_data({
      {__LINE__, "/if/3/switchportMode", R"({"mode":"general"})"                                    },
      {__LINE__, "/if/3/vlan",           R"({"participations":{"0":{"vlanId":1},"3":{"vlanId":4}}})"},
  });
  mode(2);
  expect_data({
      {__LINE__, "/if/3/switchportMode", R"({"mode":"access"})"                    },
      {__LINE__, "/if/3/vlan",           R"({"participations":{"5":{"vlanId":6}}})"},
      {__LINE__, "/if/3/vlan/4",         R"({"participation":{"ifNum":3,"vlanId":4,
          "participationMode":"Exclude","isTagging":0}})"},
  });
  expect_in_answer(__LINE__, "/if/3", "\"pvid\": 6,");
  mode(3);
  expect_xml_answer(__LINE__, "GET", "/if/3/switchportMode", 0, GOT_DATA, "<mode>trunk</mode>");
  expect_data({
      {__LINE__, "/if/3/vlan",   R"({"participations":{"1":{"vlanId":2},"3":{"vlanId":4},
          "4":{"vlanId":5},"6":{"vlanId":7},"8":{"vlanId":9}}})"},
      {__LINE__, "/if/3/vlan/7", R"({"participation":{"ifNum":3,"vlanId":7,
          "participationMode":"Include","isTagging":1}})"              },
      {__LINE__, "/if/3/vlan/4", R"({"participation":{"ifNum":3,"vlanId":4,
          "participationMode":"Include","isTagging":0}})"              },
  });
  expect_in_answer(__LINE__, "/if/3", "\"pvid\": 4,");
  mode(1);
  expect_in_answer(__LINE__, "/if/3", "\"pvid\": 1,");
  for (const char* value : {"{'value': 0}", "{'value': 4}"}) {
    set_fault("rpcclt_openapiIfSwitchportModeGet", value);
    expect_answer(__LINE__, "GET", "/if/3/switchportMode", 0, GOT_DATA, R"({"mode":""})");
  }
}

TEST(Interfaces, SwitchportVlansAreChecked)
{
  engine_reset(R"({"vlan_max": 100, "vlans": 10})");
  const struct {
    int line;
    const char* method;
    const char* path;
    const char* call;
    const char* done;
  } cases[] = {
      {__LINE__, "PUT",    "/access/vlan", "AccessVlanSet(3, 5)",              "Update access mode vlan"},
      {__LINE__, "PUT",    "/trunk/pvid",  "TrunkNativeVlanSet(3, 5)",         "Update trunk mode pvid" },
      {__LINE__, "POST",   "/trunk/vlan",  "TrunkVlanCreate(3, 1, {1,\"5\"})",
       "Update trunk mode vlan"                                                                         },
      {__LINE__, "PUT",    "/trunk/vlan",  "TrunkVlanSet(3, 1, {1,\"5\"})",    "Update trunk mode vlan" },
      {__LINE__, "DELETE", "/trunk/vlan",  "TrunkVlanSet(3, 3, {1,\"5\"})",
       "Delete trunk mode vlan"                                                                         },
  };
  for (const auto& c : cases) {
    const std::string path = std::string("/if/3") + c.path + "?value=";
    const std::string call = std::string("rpcclt_openapiIfSwitchport") + c.call + " = 0";
    expect_answer(c.line, c.method, path + "5", 0,
                  std::string(c.done) + " of Interface 3 successfully.");
    expect_calls(c.line, api_calls(c.method, path + "5"),
                 {"rpcclt_openapiDot1VlanMaxGet(>100) = 0", call.c_str()});
    expect_each_call_checked(c.line, c.method, path + "5");
    for (const char* value : {"0", "101", "-1", "x", "0,5", "4294967301"})
      expect_answer(c.line, c.method, path + value, 2, INVALID_VLAN);
    expect_open_error(c.line, c.method, path);
    EXPECT_TRUE(api_calls(c.method, path).empty()) << "case of line " << c.line;
  }
  // only the first number is judged before the switch is
  for (const char* list : {"5,101", "5-101", "5,", "5,,6", "5-", "7-5", "5-6-7", "5;6", "5,0", "5x",
                           "5,%206", "5,4294967302"})
    expect_open_error(__LINE__, "PUT", std::string("/if/3/trunk/vlan?value=") + list);
  expect_open_error(__LINE__, "PUT", "/if/3/access/vlan?value=11");  // no such VLAN
  // a VLAN of the list may come later
  make_requests(__LINE__,
                "PUT /if/3/trunk/vlan?value=99 /if/3/switchportMode?value=3 POST /vlans/99");
  expect_in_answer(__LINE__, "/if/3/vlan", "\"vlanId\": 99");
}

TEST(Interfaces, EveryCallOfTheQueriesIsChecked)
{
  engine_reset(R"({"ports": 3})");
  const std::vector<std::string> tolerated = {"openapiIfNextGet", "openapiIfNextChangedGet",
                                              "rpcclt_openapiRtrIntfIpAddrGet",
                                              "rpcclt_openapiRtrIntfSecIpAddrGet"};
  for (const char* path :
       {"/if", "/if/pendingChanges", "/if/3", "/if/3/counters", "/if/3/switchportMode"})
    expect_each_call_checked(__LINE__, "GET", path, tolerated);
  expect_each_call_checked(__LINE__, "PUT", "/if/3/counters/reset?counter=-1");
  expect_each_call_checked(__LINE__, "PUT", "/if/3/counters/reset?counter=1");
}
