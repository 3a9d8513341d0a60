// The commands of CLI scripts, and what a switch keeps over a reload.
#include "switchsim/call/sim_clock.h"
#include "switchsim/config/sim_config.h"
#include "switchsim/config/sim_store.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/switchsim.h"
#include "tests/support/engine_test.h"

static void put_script(const std::string& name, const std::string& text)
{
  const auto lock = sim_lock();
  EXPECT_TRUE(sim_store().write(name, text)) << name;
}

template <typename Procedure>
static auto locked(Procedure procedure)
{
  const auto lock = sim_lock();
  return procedure();
}

static void apply_script(int line, const std::string& text)
{
  put_script("test.scr", text);
  run_script(line, "POST /script/apply?scr=test.scr  done Apply script successfully.");
}

// --- commands ---

TEST(Cli, CommandsChangeWhatRequestsShow)
{
  engine_reset();
  apply_script(__LINE__,
               "! users begin a line with either\n# mark\n\n"
               "hostname core1\nvlan 10\nvlan 10\n  vlan  10 name \"two words\" \r\n"
               "interface 3 description \"say \\\"hi\\\" \\\\ \\x41\"\ninterface 3 admin disable\n"
               "interface 4 switchport mode access\ninterface 4 switchport access vlan 10\n"
               "logging host 10.0.0.1\nlogging host 10.0.0.1 port 1514\nssh protocol both\n"
               "interface 5 mac-locking static 0001.0203.0405 vlan 10 sticky");
  run_script(__LINE__, R"(GET /system
  data {"infomation": {
      "hostname": "core1", "serial_timeout": 5, "telnet_srver_admin_mode": "enable",
      "service_port_mask": "255.255.255.0"}}
GET /logging/hosts/10.0.0.1
  data {"logging_host": {
      "address": "10.0.0.1", "port": 1514, "severity_level": "Critical conditions."}}
GET /pml/if/5/mac
  result 0 Get interface static mac successfully.
  data {"interface": {"1": {"macAddr": "00:01:02:03:04:05", "vlan": 10, "sticky": "enable"}}}
GET /vlans/10  contains "two words"
GET /if/3  contains "say \"hi\" \\ A", "adminState": "disable"
GET /if/4  contains "pvid": 10,
GET /ssh  contains "1 and 2")");
  EXPECT_TRUE(locked(sim_unsaved));
}

TEST(Cli, ABadLineIsToldAndChangesNothing)
{
  engine_reset();
  const std::string before = locked(sim_config_text);
  const std::string unknown = "no such command", invalid = "refused with -22",
                    missing = "refused with -29",
                    quoted = "a quote is not closed or an escape is wrong";
  // clang-format off
  const std::pair<std::string, std::string> rows[] = {
      {"vlan", unknown}, {"vlan x", unknown}, {"vlan 4294967296", unknown},
      {"vlan \"10\"", unknown}, {"\"vlan\" 10", unknown}, {"vlan 10 and more", unknown},
      {"vlan 5000", invalid}, {"no vlan 11", missing}, {"interface 3 switchport mode", unknown},
      {"interface 3 switchport mode router", unknown}, {"interface 99 admin disable", missing},
      {"logging syslog port 65536", invalid}, {"network address 10.0.0.1 x 0.0.0.0", invalid},
      {"hostname \"a", quoted}, {"hostname \"a\"b", quoted}, {"hostname \"\\q\"", quoted},
      {"hostname \"\\x00\"", quoted}, {"hostname \"\\x4\"", quoted},
      {"tcam policy 1 set priority 4294967296", invalid}};
  // clang-format on
  for (const auto& [line, why] : rows) {
    put_script("bad.scr", "clear config\nvlan 10\ntcam policy 1 type 1 slice 2\nwrite memory\n" +
                              line + "\nhostname after\n");
    testing::internal::CaptureStderr();
    run_script(__LINE__, "POST /script/apply?scr=bad.scr  result 99");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "switchsim: script bad.scr: line 5: " + why + ": " + line + "\n");
    EXPECT_EQ(locked(sim_config_text), before) << line;
    EXPECT_FALSE(locked(sim_unsaved));
  }
  std::string saved;
  EXPECT_FALSE(sim_store().read(SIM_STARTUP_CONFIG, saved));
}

// Each command that undoes another one, so that nothing is left of any of them.
TEST(Cli, CommandsTakeBackWhatOthersDid)
{
  engine_reset();
  apply_script(__LINE__, "clear config\n");
  const std::string cleared = locked(sim_config_text);
  apply_script(
      __LINE__,
      "vlan 10\nvlan learned 11\nvlan 11 name x\ninterface 3 vlan 10 include\n"
      "interface 3 vlan 10 tagged\ninterface 3 vlan 10 untagged\ninterface 3 vlan 10 auto\n"
      "interface 3 pvid 10\ninterface 3 pvid 1\ninterface 3 accept untagged\n"
      "interface 3 accept all\ninterface 3 switchport mode trunk\n"
      "interface 3 switchport mode general\ninterface 3 switchport trunk add 5,7-9\n"
      "interface 3 switchport trunk remove 5,7-9\ninterface 3 switchport trunk native vlan 10\n"
      "interface 3 switchport trunk native vlan 1\ninterface 3 auto-negotiation disable\n"
      "interface 3 auto-negotiation enable\ninterface 3 soft-shutdown enable\n"
      "interface 3 soft-shutdown disable\ninterface 3 mtu 9000\ninterface 3 mtu 1500\n"
      "interface 3 speed 3\ninterface 3 speed 1\ninterface 3 description x\n"
      "interface 3 description \"\"\nport-channel 9\nport-channel 9 name x\n"
      "port-channel 9 member 9\nno port-channel 9 member 9\nno port-channel 9\nrouting ip enable\n"
      "routing ip disable\nrouting ipv6 enable\nrouting ipv6 disable\nvlan 10 routing\n"
      "no vlan 10 routing\nvlan 10 routing 230\nno vlan 10 routing\ninterface 5 routing enable\n"
      "interface 5 ip dhcp\nno interface 5 ip dhcp\ninterface 5 ipv6 dhcp\n"
      "no interface 5 ipv6 dhcp\ninterface 5 ip address 10.5.0.1 24\n"
      "interface 5 ip address 10.6.0.1 24 secondary\n"
      "no interface 5 ip address 10.6.0.1 24 secondary\nno interface 5 ip address 10.5.0.1 24\n"
      "interface 5 ipv6 address 2001:db8:: 64 eui64\n"
      "no interface 5 ipv6 address 2001:db8::54:58ff:fea0:5 64\n"
      "interface 5 ipv6 address 2001:db8::1 64\nno interface 5 ipv6 address 2001:db8::1 64\n"
      "bgp neighbor 10.5.0.2 scope 0 remote-as 65002\n"
      "bgp neighbor 10.5.0.2 scope 0 update-source 5\nno bgp neighbor 10.5.0.2 scope 0\n"
      "bgp network 10.0.0.0 8 route-map \"\"\nno bgp network 10.0.0.0 8\n"
      "bgp redistribute ipv6 static match 0 metric 0 disable route-map m\n"
      "no bgp redistribute ipv6 static\ninterface 5 routing disable\ntcam policy 1 type 3 slice 3\n"
      "tcam policy 1 set match-dst-ipv6 2001:db8::1\ntcam policy 1 interface 3\n"
      "no tcam policy 1 interface 3\nno tcam policy 1\n"
      "interface 3 mac-locking static 000102030405 vlan 10 fixed\n"
      "no interface 3 mac-locking static 000102030405 vlan 10\n"
      "network address 10.1.2.3 255.255.0.0 10.1.0.1\nno network address\nnetwork protocol dhcp\n"
      "network protocol none\nprompt \"core #\"\nprompt TX5454\nlogging host a.b\n"
      "logging host a.b severity 1\nno logging host a.b\nno vlan 11\nno vlan 10\n");
  EXPECT_EQ(locked(sim_config_text), cleared);
}

// The example that the description of the commands ends with.
TEST(Cli, TheDocumentedExampleRuns)
{
  engine_reset();
  const std::string manual = file_text(std::string(getenv("SOURCE_DIR")) + "/docs/cli.md");
  const size_t start = manual.rfind("```\n", manual.rfind("```") - 1) + 4;
  apply_script(__LINE__, manual.substr(start, manual.rfind("```") - start));
  run_script(__LINE__, R"(GET /if/5  contains "Lobby, wall socket 3"
GET /if/226  contains "10.10.0.1)");
}

// --- reload ---

TEST(Reload, UnsavedChangesAreLostAndTheSessionGoesOn)
{
  run_script(__LINE__, R"(switch {"fans": [], "vlans": [{"id": 7}]})");
  apply_script(__LINE__, "hostname saved\nno vlan 7\nwrite memory\n");
  EXPECT_FALSE(locked(sim_unsaved));
  apply_script(__LINE__, "hostname unsaved\nvlan 8\n");
  EXPECT_TRUE(locked(sim_unsaved));

  run_script(__LINE__, R"(
POST /system/reload?value=1  result 0 Reset the system is starting.
# away for a moment: no call is answered but the one that says so
GET /system  result 99
POST /system/reload?value=1  result 99
GET /base  until "system_is_ready": "Yes"
GET /system  contains "hostname": "saved"
GET /vlans/7  result 1 VLAN 7 does not exist.
GET /vlans/8  result 1 VLAN 8 does not exist.
GET /boxs/fans  data {"fans": {}})");
  EXPECT_FALSE(locked(sim_unsaved));

  run_script(__LINE__, R"(
# without a configuration to come back to
POST /system/reload?value=2  result 0 Reset the system is starting.
GET /base  until "system_is_ready": "Yes"
GET /system  contains "hostname": "TX5454"
GET /vlans/7)");

  // a configuration that cannot be run leaves the switch as it was delivered
  put_script(SIM_STARTUP_CONFIG, "hostname other\nvlan many\n");
  testing::internal::CaptureStderr();
  run_script(__LINE__, "POST /system/reload?value=3  result 0 Reset the system is starting.");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "switchsim: startup-config: line 2: no such command: vlan many\n");
  run_script(__LINE__, R"(GET /base  until "system_is_ready": "Yes"
GET /system  contains "hostname": "TX5454")");
}
