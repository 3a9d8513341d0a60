// The "if" module and the switch's interfaces behind it, over sockets.
#include "modules/rest_module_interface.h"
#include "tests/support/engine_test.h"
#include "tests/support/eventually.h"

// Id and value of the counters of a port, by their position. The names are recorded
// (tests/recorded).
using counters_t = std::map<int, std::pair<int, int64_t>>;

static counters_t counters(int port)
{
  static const std::regex entry(
      R"~("(\d+)": \{ "counterId": (\d+), "counterName": "CTR_\w+", "counterValue": (\d+) \})~");
  const std::string body =
      api_request("GET", "/if/" + std::to_string(port) + "/counters", "json").body;
  counters_t found;
  for (std::sregex_iterator at(body.begin(), body.end(), entry), end; at != end; ++at)
    found[std::stoi((*at)[1])] = {std::stoi((*at)[2]), std::stoll((*at)[3])};
  return found;
}

TEST(Interfaces, Counters)
{
  counters_t all, copper, fibre;  // without link; nobody keeps the reserved one
  for (int id = 0; id < 63; id++) {
    all[id + 1] = {id, 7};
    const bool is_collision = (id >= 34 && id <= 37) || id == 55 || id == 16;
    if (id > 0)
      copper[id] = {id, 0};
    if (id > 0 && !is_collision)
      fibre[static_cast<int>(fibre.size()) + 1] = {id, 0};
  }
  run_script(__LINE__, "switch {}\nGET /if/400/counters  result 99");
  EXPECT_EQ(counters(9), copper);
  EXPECT_EQ(counters(50), fibre);
  set_fault("StatGet", "{'result': 0, 'value': 4294967303}");  // 2^32 + 7
  EXPECT_EQ(counters(9), all);
  set_fault("StatGet", "{'result': -29, 'after': 3}");  // a switch that keeps the first three alone
  EXPECT_EQ(counters(9), (counters_t{
                             {1, {1, 0}},
                             {2, {2, 0}}
  }));
  set_fault("StatGet", "{'result': -22, 'after': 60}");
  run_script(__LINE__, "GET /if/9/counters  result 99");
}

TEST(Interfaces, CountersMoveWithLinkAndAreReset)
{
  engine_reset(R"({"flash": "flash"})");
  const auto counter = [](int port, int position) { return counters(port)[position].second; };
  const auto wait_for_more = [&](int port, int position, int64_t than) {
    return eventually([&] { return counter(port, position) > than; });
  };
  EXPECT_TRUE(wait_for_more(3, 1, 0));
  EXPECT_TRUE(wait_for_more(3, 62, 2));
  EXPECT_TRUE(wait_for_more(3, 1, counter(3, 1)));
  EXPECT_GT(counter(3, 58), 0);  // the rate of bits
  run_script(__LINE__, R"(PUT /if/3/adminState?value=0)");
  const int64_t frames = counter(3, 51), stopped = counter(3, 62);
  EXPECT_TRUE(wait_for_more(4, 62, stopped + 1));  // time goes on
  EXPECT_EQ(counter(3, 62), stopped);
  EXPECT_EQ(counter(3, 58), 0);
  EXPECT_EQ(frames, counter(3, 13) + counter(3, 14) + counter(3, 15));
  run_script(__LINE__, R"(PUT /if/3/counters/reset?counter=17
  result 0 Reset the counter CTR_RX_FCS_ERRORS of Interface 3 successfully.)");
  EXPECT_EQ(counter(3, 17), 0);
  EXPECT_EQ(counter(3, 62), stopped);
  run_script(__LINE__, R"(
PUT /if/3/counters/reset?counter=-1
  result 0 Reset all counters of Interface 3 successfully.
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
