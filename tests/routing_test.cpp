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
    add("1", "10.0.0.", i, "24", i <= 31 ? "" : "\n  refused -23");
  for (int i = 1; i <= 17; i++)
    add("3", "2001:db8::", i, "64", i <= 16 ? "" : "\n  refused -23");
  for (int vlan = 101; vlan <= 229; vlan++)
    run_script(__LINE__, "POST /routing/vlanRtrIf?vlanId=" + std::to_string(vlan) +
                             (vlan <= 228 ? "" : "\n  refused -23"));
}
