// What settings mean for the daemons, where it can be told without them: which policies have room
// in flow tables, and the lines that take BGP from one configuration to another.
#include <gtest/gtest.h>

#include <functional>

#include "switchsim/plane_ovs/flow_policies.h"
#include "switchsim/plane_ovs/frr.h"
#include "switchsim/switchsim.h"

namespace
{
open_tcamApiPolicy_t policy_with(const std::function<void(open_tcamApiPolicy_t&)>& fill)
{
  open_tcamApiPolicy_t policy = {};
  policy.policyType = OPEN_TCAM_POLICY_TYPE_OPENFLOW;
  fill(policy);
  return policy;
}

struct room_case_t {
  const char* name;
  bool room;
  void (*fill)(open_tcamApiPolicy_t&);
};

TEST(Wish, PolicyRoom)
{
  // clang-format off
  const room_case_t cases[] = {
      {"highest priority", true, [](auto& p) { p.policyPrio = 65435; }},
      {"priority too high", false, [](auto& p) { p.policyPrio = 65436; }},
      {"priority of a rule", false, [](auto& p) { p.rulePrio = 1; }},
      {"last VLAN", true, [](auto& p) { p.matchVlanVal = 4094; }},
      {"VLAN too high", false, [](auto& p) { p.matchVlanVal = 4095; }},
      {"VLAN priority too high", false, [](auto& p) { p.matchVlanPrio = 8; }},
      {"IPv4 and IPv6", false, [](auto& p) { p.matchDstIp = 0x0a000000, p.matchSrcIpv6Addr.u.addr8[0] = 0x20; }},
      {"IPv4 in IPv6 frames", false, [](auto& p) { p.matchDstIp = 0x0a000000, p.matchEthType = 0x86dd; }},
      {"protocol in ARP frames", false, [](auto& p) { p.matchIpProto = 6, p.matchEthType = 0x0806; }},
      {"part of a protocol", false, [](auto& p) { p.matchIpProto = 6, p.matchIpProtoMask = 0x0f; }},
      {"part of a DSCP", false, [](auto& p) { p.matchIpDscp = 46, p.matchIpDscpMask = 0x30; }},
      {"ports of no protocol", false, [](auto& p) { p.matchDstPortIcmpCode = 80; }},
      {"part of a type of ICMP", false, [](auto& p) { p.matchIpProto = 1, p.matchSrcPortIcmpType = 8, p.matchSrcPortIcmpTypeMask = 0x0c; }},
      {"ICMP of IPv6 in IPv4", false, [](auto& p) { p.matchIpProto = 58, p.matchSrcPortIcmpType = 128, p.matchEthType = 0x0800; }},
      {"VLAN 0 to be written", false, [](auto& p) { p.actionType = 4; }},
      {"priority 8 to be written", false, [](auto& p) { p.actionType = 32, p.actionVal.vlanPrio = 8; }},
      {"TPID to be written", false, [](auto& p) { p.actionType = 64; }},
      {"to the CPU", false, [](auto& p) { p.actionType = 128; }},
      {"redirect what goes out", false, [](auto& p) { p.policyType = OPEN_TCAM_POLICY_TYPE_EGRESS, p.actionType = 2; }},
  };
  // clang-format on
  for (const room_case_t& test : cases) {
    EXPECT_EQ(flow_policy_room(policy_with(test.fill)), test.room ? OPEN_E_NONE : OPEN_E_UNAVAIL)
        << test.name;
  }
}

// A start that must be refused, and where the fault is.
TEST(Wish, BadProfiles)
{
  const std::string good[][2] = {
      {"type",     "\"ovs\""                   },
      {"ovsdb",    "\"unix:/nowhere/db.sock\"" },
      {"bridge",   "\"br0\""                   },
      {"openflow", "\"unix:/nowhere/br0.mgmt\""},
      {"ports",    R"({"1": "lo"})"            }
  };
  const struct {
    const char *key, *value, *fault;
  } cases[] = {
      {"type",     "\"other\"",                     "plane.type"                        },
      {"bridge",   "\"BR 0\"",                      "plane.bridge"                      },
      {"bridge",   "\"longbridge\"",                "plane.bridge"                      },
      {"openflow", "\"unix:/nowhere/br1.mgmt\"",    "plane.openflow"                    },
      {"ports",    "{}",                            "plane.ports"                       },
      {"ports",    R"({"0": "lo"})",                "plane.ports.0"                     },
      {"ports",    R"({"x": "lo"})",                "plane.ports.x"                     },
      {"ports",    R"({"1": "lo", "01": "other"})", "plane.ports.01"                    },
      {"ports",    R"({"1": "lo", "2": "lo"})",     "plane.ports.2"                     },
      {"ports",    R"({"1": "br0-e"})",             "plane.ports.1"                     },
      {"ports",    R"({"1": "nosuch0"})",           "plane.ports.1: there is no nosuch0"},
      {"netns",    "\"/nowhere/netns\"",            "plane.netns: /nowhere/netns"       },
      {"colour",   "1",                             "plane.colour"                      },
      {"ovsdb",    "\"unix:/nowhere/other.sock\"",  "plane.ovsdb: /nowhere/other.sock"  },
  };
  for (const auto& test : cases) {
    std::string profile = std::string("\"") + test.key + "\": " + test.value;
    for (const auto& [key, value] : good)
      if (key != test.key)
        profile += ", \"" + key + "\": " + value;
    const std::string error = switchsim_reset(("{\"plane\": {" + profile + "}}").c_str());
    EXPECT_NE(error.find(test.fault), std::string::npos) << profile << ": " << error;
  }
}

constexpr char RUNNING[] = R"(frr version 8.4.4
!
hostname switch
!
router bgp 65001
 bgp router-id 10.0.0.1
 no bgp ebgp-requires-policy
 timers bgp 10 30
 neighbor 10.0.0.2 remote-as 65002
 neighbor 10.0.0.3 remote-as 65003
 neighbor 10.0.0.3 update-source br0-v10
 !
 address-family ipv4 unicast
  network 10.1.0.0/16 route-map ALL
  redistribute connected metric 5
  neighbor 10.0.0.2 activate
  neighbor 10.0.0.3 activate
 exit-address-family
 !
 address-family ipv6 unicast
  redistribute static
 exit-address-family
exit
!
router bgp 65001 vrf other
 neighbor 10.9.9.9 remote-as 1
exit
!
route-map ALL permit 65535
exit
!
route-map OLD permit 65535
exit
!
route-map THEIRS deny 10
exit
!
end
)";

using lines_t = std::vector<std::string>;

TEST(Wish, BgpLines)
{
  const frr_running_t running = frr_running(RUNNING);
  wish_bgp_t same = running.bgp;
  EXPECT_EQ(same.local_as, 65001U);
  EXPECT_EQ(same.lines.size(), 6U);
  EXPECT_EQ(same.ipv6, (std::set<std::string>{"redistribute static"}));
  EXPECT_EQ(frr_change(running, same), lines_t{});

  wish_bgp_t other = same;
  other.lines.erase("timers bgp 10 30");
  other.lines.insert("timers bgp 20 60");
  other.lines.erase("neighbor 10.0.0.3 remote-as 65003");
  other.lines.erase("neighbor 10.0.0.3 update-source br0-v10");
  other.lines.insert("neighbor 10.0.0.4 remote-as 65004");
  other.lines.insert("neighbor 10.0.0.4 description x");
  other.ipv4 = {"redistribute connected", "neighbor 10.0.0.2 activate"};
  other.route_maps = {"ALL", "THEIRS", "NEW"};
  EXPECT_EQ(frr_change(running, other),
            (lines_t{"route-map NEW permit 65535", "exit", "router bgp 65001",
                     "no neighbor 10.0.0.3", "timers bgp 20 60",
                     "neighbor 10.0.0.4 remote-as 65004", "neighbor 10.0.0.4 description x",
                     "address-family ipv4 unicast", "no network 10.1.0.0/16 route-map ALL",
                     "no redistribute connected metric 5", "redistribute connected",
                     "exit-address-family", "exit", "no route-map OLD permit 65535"}));

  other = {};
  other.local_as = 65009;
  other.lines = {"no bgp ebgp-requires-policy"};
  EXPECT_EQ(frr_change(running, other),
            (lines_t{"no router bgp 65001", "router bgp 65009", "no bgp ebgp-requires-policy",
                     "exit", "no route-map ALL permit 65535", "no route-map OLD permit 65535"}));
  EXPECT_EQ(frr_change({}, {}), lines_t{});
}
}  // namespace
