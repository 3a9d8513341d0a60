// The seam between the model of the switch and the world behind it: another world than the
// simulated one is told of every change, and decides what it decides.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "platform/openapi_client.h"
#include "platform/openapi_if.h"
#include "platform/openapi_routing.h"
#include "platform/openapi_tcam.h"
#include "platform/openapi_vlan.h"
#include "switchsim/call/sim_clock.h"
#include "switchsim/config/sim_config.h"
#include "switchsim/model/sim_plane.h"
#include "switchsim/plane_sim/sim_plane_sim.h"
#include "switchsim/switchsim.h"

static openapiClientHandle_t client;
static std::vector<std::pair<sim_kind_t, uint32_t>> marks;
static int replaced;
static uint32_t joined_vlan;

static void other_plane_use()
{
  static sim_plane_t plane;
  plane = sim_plane_sim;
  plane.changed = [](sim_kind_t kind, uint32_t number) { marks.push_back({kind, number}); };
  plane.replaced = [] { replaced++; };
  plane.pending_next = [](sim_kind_t, uint32_t number, uint32_t& next) {
    next = 4;
    return number < 4;
  };
  plane.carrier = [](uint32_t number) { return number == 9; };
  plane.mac = [](uint32_t number) { return uint64_t{0x020000000000} + number; };
  plane.joins = [](uint32_t vid, uint32_t number) { return number == 3 && vid == joined_vlan; };
  plane.lease = [](uint32_t, OPEN_AF_t family, open_inet_pfx_t& address) {
    address.family = family;
    address.addr.ipv4 = 0x0a000007;
    address.pfxLen = 24;
    return OPEN_E_NONE;
  };
  plane.policy_room = [](uint32_t, const open_tcamApiPolicy_t& policy, uint32_t& place) {
    place = 0;
    return policy.matchVlanVal == 0 ? OPEN_E_NONE : OPEN_E_UNAVAIL;
  };
  const auto lock = sim_lock();
  sim_plane_use(plane);
}

static void start()
{
  openapiClientRegister("plane", &client);
  ASSERT_EQ(switchsim_reset(R"({"vlans": 8})"), "");
  other_plane_use();
  marks.clear();
  replaced = 0;
  joined_vlan = 0;
}

// Runs commands with the lock held, as a call does.
static bool run(const std::string& commands, std::string& error)
{
  const auto lock = sim_lock();
  return sim_config_run(commands, error);
}

TEST(Plane, IsToldOfEveryChange)
{
  const struct {
    const char* command;
    std::vector<std::pair<sim_kind_t, uint32_t>> marks;
  } cases[] = {
      {"interface 3 admin disable",                               {{SIM_IF, 3}}                 },
      {"interface 3 vlan 5 include",                              {{SIM_VLAN, 5}}               },
      {"interface 3 switchport mode trunk",                       {{SIM_IF, 3}}                 },
      {"vlan 5 name x",                                           {{SIM_VLAN, 5}}               },
      {"port-channel 2 member 4",                                 {{SIM_GROUP, 4}, {SIM_IF, 57}}},
      {"vlan 5 routing",                                          {{SIM_IF, 226}}               },
      {"interface 226 ip address 10.5.0.1 24",                    {{SIM_ROUTING, 226}}          },
      {"routing ip enable",                                       {{SIM_ROUTING, 0}}            },
      {"bgp local-as 65001",                                      {{SIM_BGP, 0}}                },
      {"tcam policy 7 type 1 slice 0",                            {{SIM_POLICY, 7}}             },
      {"tcam policy 7 interface 3",                               {{SIM_POLICY, 7}}             },
      {"interface 3 mac-locking static 0:1:2:3:4:5 vlan 5 fixed", {{SIM_LOCKING, 3}}            },
      {"logging host 10.0.0.1",                                   {{SIM_LOGGING, 0}}            },
      {"hostname a",                                              {{SIM_SYSTEM, 0}}             },
      {"ssh server enable",                                       {{SIM_SSH, 0}}                },
  };
  start();
  std::string error;
  for (const auto& c : cases) {
    EXPECT_TRUE(run(c.command, error)) << error;
    EXPECT_EQ(marks, c.marks) << c.command;
    marks.clear();
  }
  EXPECT_EQ(replaced, 0);
  EXPECT_FALSE(run("clear config\nwrong\n", error));
  EXPECT_EQ(replaced, 2);  // cleared, and put back
}

TEST(Plane, DecidesWhatTheWorldIs)
{
  start();
  std::string error;
  ASSERT_TRUE(run("interface 5 ip dhcp\n", error)) << error;
  uint32_t vid = 0, pending_deletion = 7, member = 7;
  EXPECT_EQ(openapiVlanNextChangedGet(&client, 0, &vid, &pending_deletion), OPEN_E_NONE);
  EXPECT_EQ(vid, 4u);
  EXPECT_EQ(pending_deletion, 0u);
  EXPECT_EQ(openapiVlanNextChangedGet(&client, 4, &vid, &pending_deletion), OPEN_E_FAIL);

  OPEN_LINK_STATE_t link = OPEN_LINK_DOWN;
  EXPECT_EQ(openapiIfLinkStateGet(&client, 9, &link), OPEN_E_NONE);
  EXPECT_EQ(link, OPEN_LINK_UP);
  char text[32];
  open_buffdesc desc = {sizeof text, text};
  EXPECT_EQ(rpcclt_openapiIfMacAddrGet(&client, 3, &desc), OPEN_E_NONE);
  EXPECT_STREQ(text, "02:00:00:00:00:03");
  joined_vlan = 6;
  EXPECT_EQ(openapiVlanIfParticipationStatusGet(&client, 6, 3, &member), OPEN_E_NONE);
  EXPECT_EQ(member, 1u);
  open_inet_pfx_t address = {};
  EXPECT_EQ(rpcclt_openapiRtrIntfIpAddrGet(&client, OPEN_AF_INET, 5, &address), OPEN_E_NONE);
  EXPECT_EQ(address.addr.ipv4, 0x0a000007u);

  open_tcamApiPolicy_t policy = {};
  uint32_t id = 0;
  EXPECT_EQ(rpcclt_openapiTcamApiInit(&client), OPEN_E_NONE);
  EXPECT_EQ(rpcclt_openapiTcamPolicyCreate(&client, &policy, &id), OPEN_E_NONE);
  policy.matchVlanVal = 9;
  EXPECT_EQ(rpcclt_openapiTcamPolicyCreate(&client, &policy, &id), OPEN_E_UNAVAIL);
  EXPECT_FALSE(run("tcam policy 1 set match-vlan 9", error));  // nor later
}
