// Whatever state calls and scripts can lead to is saved and loaded again: random walks over all
// setters of the management API, and over the commands that only scripts have.
#include <random>

#include "platform/openapi_base.h"
#include "platform/openapi_bgp.h"
#include "platform/openapi_client.h"
#include "platform/openapi_if.h"
#include "platform/openapi_inet.h"
#include "platform/openapi_lag.h"
#include "platform/openapi_logging.h"
#include "platform/openapi_pml.h"
#include "platform/openapi_routing.h"
#include "platform/openapi_script.h"
#include "platform/openapi_ssh.h"
#include "platform/openapi_system.h"
#include "platform/openapi_tcam.h"
#include "platform/openapi_vlan.h"
#include "switchsim/call/sim_clock.h"
#include "switchsim/config/sim_config.h"
#include "switchsim/switchsim.h"
#include "tests/support/engine_test.h"

static openapiClientHandle_t client;
static openapiClientHandle_t* const c = &client;
static std::mt19937 dice;
static std::string flash;

// ---- arguments ----

static uint32_t roll(uint32_t from, uint32_t to)
{
  return from + static_cast<uint32_t>(dice() % (to - from + 1));
}

template <class T = uint32_t>
static T one_of(std::initializer_list<uint32_t> values)
{
  return static_cast<T>(values.begin()[roll(0, static_cast<uint32_t>(values.size()) - 1)]);
}

// A number of an enumeration, now and then one that is none.
template <class T>
static T mode(uint32_t from, uint32_t to)
{
  return static_cast<T>(roll(0, 15) == 0 ? to + 1 : roll(from, to));
}

static std::string word(std::initializer_list<const char*> words)
{
  return words.begin()[roll(0, static_cast<uint32_t>(words.size()) - 1)];
}

static std::string text(uint32_t longest)
{
  static const char BYTES[] = "ab Z9.-_\"\\#!\n\t\x7f\xc3\xa9\xff";
  std::string made;
  for (uint32_t left = roll(0, longest); left > 0; left--)
    made += BYTES[roll(0, sizeof BYTES - 2)];
  return made;
}

// Good for one call, which may have some of these.
static open_buffdesc* desc(const std::string& value, bool with_zero = true, size_t size = 0)
{
  static std::string texts[4];
  static open_buffdesc descs[4];
  static unsigned last;
  last = (last + 1) % 4;
  std::string& kept = texts[last];
  open_buffdesc& described = descs[last];
  kept = value;
  kept.resize(std::max(size, value.size() + 1));
  described = {static_cast<uint32_t>(size > 0 ? size : value.size() + with_zero), kept.data()};
  return &described;
}

static open_inet_addr_t inet(const std::string& value)
{
  open_inet_addr_t address = {};
  rpcclt_openapiInetAddrGet(c, desc(value), &address);
  return address;
}

static open_inet_pfx_t prefix(const std::string& value, uint32_t length)
{
  const open_inet_addr_t address = inet(value);
  open_inet_pfx_t pfx = {};
  pfx.family = address.family;
  memcpy(&pfx.addr, &address.addr, sizeof pfx.addr);
  pfx.pfxLen = length;
  return pfx;
}

static std::string ipv4()
{
  return "10." + std::to_string(roll(0, 2)) + "." + std::to_string(roll(0, 1)) + "." +
         std::to_string(roll(0, 3));
}

static std::string ipv6()
{
  return word({"2001:db8::", "2001:db8:1::", "fe80::", "::ffff:10.0.0.", "::10.0.0."}) +
         std::to_string(roll(0, 2));
}

static uint32_t vlan()
{
  return roll(1, 9);
}

// Ports, the CPU interface, port channels, VLANs' interfaces, and one that is none.
static uint32_t interface()
{
  return one_of({1, 2, 3, 4, 5, 6, 55, 56, 57, 58, 226, 227, 228, 999});
}

// The others can become members of groups.
static uint32_t router()
{
  return one_of({5, 6, 57, 226, 227, 228});
}

static uint32_t port()
{
  return roll(1, 6);
}

static std::string host()
{
  return word({"10.0.0.1", "fe80::1", "FE80:0::1", "log.example", "LOG.example", "-.a", "1.2.3"});
}

static std::string mac()
{
  return word({"00:01:02:03:04:05", "0001.0203.0406", "02-0-0-0-0-1", "0:0:0:0:0:0"});
}

// One that exists, or the number behind it.
static uint32_t policy_id()
{
  uint32_t id = 0;
  rpcclt_openapiTcamPolicyGetFirst(c, &id);
  for (uint32_t left = roll(0, 12); left > 0; left--)
    rpcclt_openapiTcamPolicyGetNext(c, id, &id);
  return id + (roll(0, 3) == 0 ? 1 : 0);
}

static uint32_t new_policy;

static open_tcamApiPolicy_t* policy()
{
  static open_tcamApiPolicy_t made;
  made = {};
  uint8_t bytes[sizeof made];
  for (uint8_t& byte : bytes)
    byte = static_cast<uint8_t>(roll(0, 255));
  if (roll(0, 1) == 0)
    memcpy(static_cast<void*>(&made), bytes, sizeof made);
  made.policyType = mode<OPEN_TCAM_POLICY_TYPE_t>(0, 3);
  made.actionType = roll(0, 255);
  made.actionVal.redirIntfNum = interface();
  return &made;
}

static open_error_t script(const std::string& commands)
{
  file_write(flash + "/walk.scr", commands);
  return rpcclt_openapiTxtCfgValidateAndApply(c, desc("walk.scr"));
}

// ---- steps ----

static const std::vector<std::function<void()>> STEPS = {
#define STEP(call, ...) [] { rpcclt_openapi##call(c, ##__VA_ARGS__); }
    STEP(IfAdminStateSet, interface(), mode<OPEN_CONTROL_t>(0, 1)),
    STEP(IfAutoNegSet, interface(), mode<OPEN_PORT_AUTO_NEG_t>(0, 1)),
    STEP(IfDescrSet, interface(), desc(text(66), false)),
    STEP(IfMtuSizeSet, interface(), one_of({1500, 1501, 9216, 9217})),
    STEP(IfSoftShutdownStateSet, interface(), mode<OPEN_CONTROL_t>(0, 1)),
    STEP(IfSpeedSet, interface(), mode<OPEN_PORT_SPEEDS_t>(1, 12)),
    STEP(StatReset, static_cast<OPEN_COUNTER_ID_t>(roll(0, 63)), interface()),
    STEP(InterfaceStatsReset, interface()),
    STEP(VlanCreate, vlan()),
    STEP(VlanDelete, vlan()),
    STEP(VlanNameSet, vlan(), desc(text(33))),
    STEP(VlanIfParticipationSet, vlan(), interface(), mode<OPEN_VLAN_PARTICIPATION_MODE_t>(0, 2)),
    STEP(VlanIfTaggingSet, interface(), vlan(), roll(0, 2)),
    STEP(VlanIfPvidSet, interface(), vlan()),
    STEP(VlanIfAcceptFrameTypeSet, interface(), mode<OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t>(1, 3)),
    STEP(IfSwitchportModeSet, interface(), mode<OPEN_VLAN_INTF_SWITCHPORT_MODE_t>(1, 3)),
    STEP(IfSwitchportAccessVlanSet, interface(), vlan()),
    STEP(IfSwitchportTrunkNativeVlanSet, interface(), vlan()),
    STEP(IfSwitchportTrunkVlanCreate, interface(), OPEN_VLAN_LIST_ADD,
         desc(word({"2", "3-5", "2,7-9", "x"}), false)),
    STEP(IfSwitchportTrunkVlanSet, interface(), one_of<OPEN_VLAN_LIST_OPERATION_t>({1, 3}),
         desc(word({"2", "3-5", "2,7-9", "9,10"}), false)),
    STEP(LagCreateZRT, roll(55, 58)),
    STEP(LagDeleteZRT, roll(55, 58)),
    STEP(LagPortAdd, roll(56, 58), interface()),
    STEP(LagPortDelete, roll(56, 58), interface()),
    STEP(RtrAdminModeSet, mode<OPEN_AF_t>(1, 2), mode<OPEN_CONTROL_t>(0, 1)),
    STEP(RtrIntfRtrAdminModeSet, router(), mode<OPEN_CONTROL_t>(0, 1)),
    STEP(RtrVlanIntfCreate, vlan()),
    STEP(RtrVlanIntfDelete, vlan()),
    STEP(RtrIntfIpAddrAdd, OPEN_AF_INET, router(), mode<OPEN_INTF_IP_ADDR_TYPE_t>(0, 2),
         prefix(ipv4(), one_of({8, 16, 23, 24, 31, 32})), mode<OPEN_CONTROL_t>(0, 1)),
    STEP(RtrIntfIpAddrAdd, OPEN_AF_INET6, router(), one_of<OPEN_INTF_IP_ADDR_TYPE_t>({0, 0, 2}),
         prefix(ipv6(), one_of({48, 64, 128})), mode<OPEN_CONTROL_t>(0, 1)),
    STEP(RtrIntfIpAddrDel, mode<OPEN_AF_t>(1, 2), router(), mode<OPEN_INTF_IP_ADDR_TYPE_t>(0, 2),
         prefix(roll(0, 1) ? ipv4() : ipv6(), one_of({8, 24, 64})), mode<OPEN_CONTROL_t>(0, 1)),
    STEP(BgpGlobalHoldTimeConfiguredSet, one_of({0, 2, 3, 65535, 65536})),
    STEP(BgpGlobalKeepAliveConfiguredSet, one_of({0, 1, 65535, 65536})),
    STEP(BgpLocalASSet, one_of({0, 1, 65001, 4294967294, 4294967295})),
    STEP(BgpLocalIdSet, one_of({0, 0x0a000001, 0xdfffffff, 0xe0000000})),
    STEP(BgpLocalPrefSet, one_of({0, 100, 4294967295})),
    STEP(BgpLogNeighborChangesSet, roll(0, 1) == 1),
    STEP(BgpNetworkAddDelete, roll(0, 3) > 0, roll(0, 1) == 1, inet(roll(0, 1) ? ipv4() : ipv6()),
         one_of({0, 8, 24, 32, 64, 129}), desc(text(33))),
    STEP(BgpRedistributionSet, roll(0, 3) > 0, desc(word({"connected", "static", "ospf", "isis"})),
         roll(0, 1) == 1, roll(0, 32), roll(0, 1) == 1, roll(0, 1) == 1, roll(0, 9),
         roll(0, 1) == 1, mode<OPEN_AF_t>(1, 2), desc(text(33))),
    STEP(BgpPeerRemoteASSet, inet(roll(0, 1) ? ipv4() : ipv6()), one_of({0, 0, 226}), roll(0, 9)),
    STEP(BgpPeerActivateSet, inet(ipv4()), 0, mode<OPEN_AF_t>(1, 2), roll(0, 1) == 1),
    STEP(BgpPeerNextHopSelfModeSet, inet(ipv4()), 0, mode<OPEN_AF_t>(1, 2),
         mode<OPEN_CONTROL_t>(0, 1)),
    STEP(BgpPeerUpdateSourceSet, inet(ipv4()), 0, interface()),
    STEP(TcamPolicyCreate, policy(), &new_policy),
    STEP(TcamPolicyDestroy, policy_id()),
    STEP(TcamPolicyIntfAdd, policy_id(), port()),
    STEP(TcamPolicyIntfRem, policy_id(), port()),
    [] { roll(0, 9) == 0 ? rpcclt_openapiTcamPolicyDeleteAll(c) : rpcclt_openapiTcamApiInit(c); },
    STEP(PmlIntfStickyModeSet, port(), mode<OPEN_CONTROL_t>(0, 1)),
    STEP(PmlIntfStaticEntryAdd, port(), desc(mac(), false), roll(0, 10), roll(0, 1) == 1),
    STEP(PmlIntfStaticEntryDelete, port(), desc(mac(), false), roll(0, 10)),
    STEP(SystemHostnameSet, desc(word({"a", "core-1", "-a", "a.b_c"}))),
    STEP(SystemPromptSet, desc(text(12))),
    STEP(SerialTimeoutSet, one_of({0, 160, 161})),
    STEP(SerialTimeoutDefaultSet),
    STEP(TelnetServerAdminModeSet, mode<OPEN_CONTROL_t>(0, 1)),
    [] {
      const open_inet_addr_t ip = inet(ipv4()), mask = inet(word({"255.255.0.0", "255.0.255.0"})),
                             gateway = inet(word({"0.0.0.0", "10.0.0.1"}));
      rpcclt_openapiNetworkPortIPv4ParametersSet(c, &ip, &mask, &gateway);
    },
    STEP(NetworkPortIPv4ParametersDelete),
    STEP(NetworkPortIPv4ProtocolModeSet, mode<OPEN_PROTOCOL_MODE_t>(0, 3)),
    STEP(CliCmdLoggingModeSet, mode<OPEN_CONTROL_t>(0, 1)),
    STEP(ConsoleLoggingModeSet, mode<OPEN_CONTROL_t>(0, 1)),
    STEP(ConsoleLoggingSeveritySet, mode<OPEN_LOG_SEVERITY_t>(0, 8)),
    STEP(SysLogModeSet, mode<OPEN_CONTROL_t>(0, 1)),
    STEP(SysLogPortSet, one_of<uint16_t>({0, 1, 65535})),
    STEP(LoggingHostAdd, desc(host(), true, 65)),
    STEP(LoggingHostRemove, desc(host(), true, 65)),
    STEP(LoggingHostPortSet, desc(host(), true, 65), one_of<uint16_t>({0, 1, 65535})),
    STEP(LoggingHostSeveritySet, desc(host(), true, 65), mode<OPEN_LOG_SEVERITY_t>(0, 8)),
    STEP(SSHAdminModeSet, mode<OPEN_CONTROL_t>(0, 1)),
    STEP(SSHProtocolVersionSet, mode<OPEN_SSH_PROTO_VERSION_t>(0, 2)),
    STEP(SSHMaxSessionsSet, roll(0, 6)),
    STEP(SSHMaxSessionsDefaultSet),
    STEP(SSHSessionTimeoutSet, one_of({0, 1, 160, 161})),
#undef STEP
    [] {
      const auto n = [](uint32_t from, uint32_t to) { return std::to_string(roll(from, to)); };
      const std::string lines[] = {
          "vlan learned " + n(2, 9),
          "port-channel " + n(1, 3) + " name \"" + word({"", "a b", "\\\"#", "123456789012345"}) +
              "\"",
          "vlan " + n(1, 9) + " routing " + n(226, 229),
          "no bgp neighbor " + ipv4() + " scope 0",
          "tcam policy " + std::to_string(policy_id()) + " type " + n(0, 3) + " slice " + n(0, 8),
          "tcam policy " + std::to_string(policy_id()) + " set redirect-interface " + n(56, 58),
          "tcam policy " + std::to_string(policy_id()) + " set actions " + n(0, 255),
          "interface " + n(5, 6) + " ipv6 address 2001:db8:9:: 64 eui64",
          roll(0, 9) == 0 ? "clear config" : "",
      };
      // a second line that is wrong takes back the first one
      script(lines[roll(0, std::size(lines) - 1)] + (roll(0, 3) == 0 ? "\nwrong" : ""));
    },
};

// ---- what can be read, as the trace tells it ----

template <class T>
static T* out()
{
  static T value;
  value = {};
  return &value;
}

static open_buffdesc* room()
{
  static char bytes[512];
  static open_buffdesc described;
  bytes[0] = '\0';
  described = {sizeof bytes, bytes};
  return &described;
}

static std::string state()
{
  switchsim_trace_take();
  for (uint32_t n : {1, 2, 3, 4, 5, 6, 55, 56, 57, 58, 226, 227, 228, 229}) {
    openapiIfNameGet(c, n, room());
    openapiIfAdminStateGet(c, n, out<OPEN_CONTROL_t>());
    openapiIfAutoNegGet(c, n, out<OPEN_PORT_AUTO_NEG_t>());
    rpcclt_openapiIfDescrGet(c, n, room());
    openapiIfDuplexModeGet(c, n, out<OPEN_PORT_DUPLEX_t>());
    openapiIfLinkStateGet(c, n, out<OPEN_LINK_STATE_t>());
    openapiIfMtuSizeGet(c, n, out<uint32_t>());
    rpcclt_openapiIfSoftShutdownStateGet(c, n, out<OPEN_CONTROL_t>());
    openapiIfSpeedGet(c, n, out<OPEN_PORT_SPEEDS_t>());
    openapiVlanIfPvidGet(c, n, out<uint32_t>());
    rpcclt_openapiVlanIfAcceptFrameTypeGet(c, n, out<OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t>());
    rpcclt_openapiIfSwitchportModeGet(c, n, out<OPEN_VLAN_INTF_SWITCHPORT_MODE_t>());
    rpcclt_openapiRtrIntfTypeGet(c, n, out<OPEN_INTF_TYPE_t>());
    rpcclt_openapiRtrIntfVlanIdGet(c, n, out<uint32_t>());
    rpcclt_openapiPmlIntfStickyModeGet(c, n, out<OPEN_CONTROL_t>());
    for (uint32_t v = 1; v <= 9; v++) {
      openapiVlanIfParticipationStatusGet(c, v, n, out<uint32_t>());
      rpcclt_openapiVlanIfParticipationGet(c, v, n, out<OPEN_VLAN_PARTICIPATION_MODE_t>());
      openapiVlanIfTaggingGet(c, n, v, out<uint32_t>());
    }
  }
  for (uint32_t v = 1; v <= 9; v++) {
    rpcclt_openapiVlanNameGet(c, v, room());
    openapiVlanIsStatic(c, v);
  }
  rpcclt_openapiTcamApiInit(c);
  for (auto stage : {OPEN_TCAM_POLICY_STAGE_INGRESS, OPEN_TCAM_POLICY_STAGE_EGRESS})
    rpcclt_openapiTcamGroupStatsGetZRT(c, stage, out<open_tcam_group_stats_t>());
  rpcclt_openapiSystemUnsavedConfigStatusGet(c, out<OPEN_BOOL_t>());
  const auto lock = sim_lock();
  return sim_config_text();  // with all that no call shows
}

// ---- walks ----

static void walk(int steps)
{
  testing::internal::CaptureStderr();  // which script was refused, and why
  for (int i = 0; i < steps; i++)
    STEPS[roll(0, static_cast<uint32_t>(STEPS.size()) - 1)]();
  testing::internal::GetCapturedStderr();
}

static std::string read_back()
{
  const std::string config = state();
  return switchsim_trace_take() + config;
}

// A switch with other VLANs and groups becomes the same by the configuration: nothing is left of
// what it was delivered with.
static void make_another_the_same(const std::string& state)
{
  std::string config;
  {
    const auto lock = sim_lock();
    config = sim_config_text();
  }
  const temp_folder folder;
  const std::string own = std::exchange(flash, folder.path);
  const std::string profile = R"({"ports": 6, "vlan_max": 9, "tcam_slice_size": 2, "vlans": 5,
      "lags": [{"id": 3, "name": "other", "members": [2, 3]}], "flash": ")" +
                              flash + "\"}";
  ASSERT_EQ(switchsim_reset(profile.c_str()), "");
  ASSERT_EQ(script(config + "write memory\n"), OPEN_E_NONE);
  EXPECT_EQ(read_back(), state);
  flash = own;
}

TEST(Walk, EveryStateIsSavedAndLoadedAgain)
{
  const temp_folder folder;
  flash = folder.path;
  const std::string profile =
      R"({"ports": 6, "vlan_max": 9, "tcam_slice_size": 2, "flash": ")" + flash + "\"}";
  openapiClientRegister("walk", c);
  for (unsigned seed = 1; seed <= 4; seed++) {
    dice.seed(seed);
    ASSERT_EQ(switchsim_reset(profile.c_str()), "");
    switchsim_trace_start();
    for (int round = 0; round < 12; round++) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
      walk(250);
      ASSERT_EQ(script("write memory\n"), OPEN_E_NONE);
      const std::string saved = read_back();
      if (round == 0) {
        ASSERT_EQ(rpcclt_openapiSystemReloadSet(c, 3), OPEN_E_NONE);
        for (uint32_t ready = 0; ready == 0; std::this_thread::yield())
          openapiSystemReadyStateGet(c, &ready);
      } else {
        ASSERT_EQ(switchsim_reset(profile.c_str()), "");
      }
      ASSERT_EQ(read_back(), saved);
      make_another_the_same(saved);
      ASSERT_EQ(switchsim_reset(profile.c_str()), "");
    }
  }
}
