// The "if" module and the switch's interfaces behind it, over sockets.
#include "modules/rest_module_interface.h"
#include "tests/support/engine_test.h"

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
  run_script(__LINE__, R"(switch {}
GET /if/9/counters  data {"counters":{$copper}}
GET /if/50/counters  data {"counters":{$fibre}}
GET /if/400/counters  result 99
# 2^32 + 7
fault StatGet {"result": 0, "value": 4294967303}
GET /if/9/counters  data {"counters":{$all}}
# a switch that keeps the first three alone
fault StatGet {"result": -29, "after": 3}
GET /if/9/counters
  data <counters><counter><counterId>1</counterId><counterName>CTR_RX_TOTAL_BYTES</counterName>
      <counterValue>0</counterValue></counter><counter><counterId>2</counterId>
      <counterName>CTR_RX_64</counterName><counterValue>0</counterValue></counter></counters>
fault StatGet {"result": -22, "after": 60}
GET /if/9/counters  result 99)",
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
  run_script(__LINE__, R"(PUT /if/3/counters/reset?counter=17
  result 0 Reset the counter CTR_RX_FCS_ERRORS of Interface 3 successfully.)");
  EXPECT_EQ(counter(3, 17), 0);
  EXPECT_EQ(counter(3, 62), stopped);
  run_script(
      __LINE__,
      R"(PUT /if/3/counters/reset?counter=-1  result 0 Reset all counters of Interface 3 successfully.
PUT /if/3/counters/reset?counter=62
  result 0 Reset the counter CTR_ETHER_STATS_HOLD of Interface 3 successfully.
PUT /if/3/counters/reset ?counter= ?value=17 ?counter=63 ?counter=-2 ?counter=2147483647
    /if/50/counters/reset?counter=34 /if/400/counters/reset?counter=-1
  result 99
PUT /if/3/counters/reset?counter=17  calls StatReset(17, 3) = 0
PUT /if/3/counters/reset?counter=-1  calls InterfaceStatsReset(3) = 0)");
  EXPECT_EQ(counter(3, 62), 0);

  // a group has what its members have, and a script that is refused takes nothing away
  run_script(__LINE__, R"(PUT /if/4/adminState?value=0 POST /lag/2/port/3 /lag/2/port/4)");
  const int64_t bytes = counter(4, 1);
  EXPECT_GT(bytes, 0);
  EXPECT_EQ(counter(57, 1), bytes);
  EXPECT_EQ(counter(57, 2), counter(4, 13));  // unicast frames: the second one that a group keeps
  file_write("flash/bad.scr", "clear config\nwrong\n");
  run_script(__LINE__, "POST /script/apply?scr=bad.scr  result 99");
  EXPECT_GE(counter(57, 1), bytes);  // its port may have had link for as long as the script ran
  run_script(__LINE__, R"(PUT /if/57/counters/reset?counter=1)");
  EXPECT_EQ(counter(57, 1) + counter(4, 1), 0);
  EXPECT_GT(counter(57, 2), 0);
  char name[INTERFACE_COUNTER_NAME_SIZE] = "x";
  EXPECT_EQ(get_counter_name_by_id(63, name), RC_TRUE);
  EXPECT_STREQ(name, "");
}
