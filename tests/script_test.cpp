// The "script" module, the commands of CLI scripts, and what a switch keeps over a reload.
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "switchsim/call/sim_clock.h"
#include "switchsim/config/sim_config.h"
#include "switchsim/config/sim_store.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/switchsim.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"
#include "tests/support/temp_folder.h"

static void put_script(const std::string& name, const std::string& text)
{
  const auto lock = sim_lock();
  EXPECT_TRUE(sim_store().write(name, text)) << name;
}

static std::string running_config()
{
  const auto lock = sim_lock();
  return sim_config_text();
}

static bool unsaved()
{
  const auto lock = sim_lock();
  return sim_unsaved();
}

static void apply_script(int line, const std::string& text)
{
  put_script("test.scr", text);
  run_script(line, "POST /script/apply?scr=test.scr -> 0 Apply script successfully. {}");
}

// --- the module ---

TEST(Script, FilesAreListedAppliedAndDeleted)
{
  engine_reset();
  const std::string longest = std::string(28, 's') + ".scr";
  run_script(__LINE__, R"(GET /script/list -> 0 Get script file list successfully.
    {"script_files":{"count_of_files":0}})");
  put_script("base.scr", "hostname core1\n");
  put_script(longest, "");
  put_script("startup-config", "");
  run_script(__LINE__, R"(GET /script/list -> 0 Get script file list successfully.
    {"script_files":{"count_of_files":2,"1":{"filename":"base.scr"},"2":{"filename":"$28s.scr"}}}
POST /script/apply?scr=base.scr -> 0 Apply script successfully. {}
POST /script/apply?scr=$28s.scr -> 0 Apply script successfully. {}
POST /script/apply ?scr= ?scr=s$28s.scr ?scr=none.scr ?scr=startup-config ?scr=..%2Fbase.scr DELETE
    /script ?scr=s$28s.scr ?scr=startup-config -> 99
DELETE /script?scr=base.scr -> 0 Delete the script file successfully.
DELETE /script?scr=base.scr -> 99
GET /script/list -> 0 Get script file list successfully. {"script_files":{"count_of_files":1,
    "1":{"filename":"$28s.scr"}}}
POST /script/apply?scr=a.scr => TxtCfgValidateAndApply({6,"a.scr"}) = -29)");
}

TEST(Script, ChecksEachCallAndSurvivesAnySwitch)
{
  run_script(__LINE__, R"(reset {"scripts": {"a.scr": "hostname x\n"}}
check GET /script/list POST /script/apply?scr=a.scr DELETE /script?scr=a.scr after reset)");
  for (int i = 100; i < 200; i++)
    put_script(std::to_string(i) + ".scr", "");
  const std::string full = api_request("GET", "/script/list", "xml").body;
  EXPECT_NE(full.find("<count_of_files>100<"), std::string::npos);
  EXPECT_NE(full.find("<filename>199.scr<"), std::string::npos);
  ASSERT_TRUE(switchsim_fault_set("rpcclt_openapiTxtCfgFilesListGet", "{\"value\": 4294967295}"));
  EXPECT_EQ(api_request("GET", "/script/list", "xml").body, full);
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
  run_script(__LINE__, R"(GET /system -> {"infomation":{"hostname":"core1","serial_timeout":5,
    "telnet_srver_admin_mode":"enable","service_port_mask":"255.255.255.0"}}
GET /logging/hosts/10.0.0.1 -> {"logging_host":{"address":"10.0.0.1","port":1514,
    "severity_level":"Critical conditions."}}
GET /pml/if/5/mac -> 0 Get interface static mac successfully.
    {"interface":{"1":{"macAddr":"00:01:02:03:04:05","vlan":10,"sticky":"enable"}}}
GET /vlans/10 ~ "two words"
GET /if/3 ~ "say \"hi\" \\ A", "adminState": "disable"
GET /if/4 ~ "pvid": 10,
GET /ssh ~ "1 and 2")");
  EXPECT_TRUE(unsaved());
}

TEST(Cli, ABadLineIsToldAndChangesNothing)
{
  engine_reset();
  const std::string before = running_config();
  const struct {
    const char* line;
    const char* why;
  } cases[] = {
      {"vlan",                                  "no such command"                            },
      {"vlan x",                                "no such command"                            },
      {"vlan 4294967296",                       "no such command"                            },
      {"vlan \"10\"",                           "no such command"                            },
      {"\"vlan\" 10",                           "no such command"                            },
      {"vlan 10 and more",                      "no such command"                            },
      {"vlan 5000",                             "refused with -22"                           },
      {"no vlan 11",                            "refused with -29"                           },
      {"interface 3 switchport mode",           "no such command"                            },
      {"interface 3 switchport mode router",    "no such command"                            },
      {"interface 99 admin disable",            "refused with -29"                           },
      {"logging syslog port 65536",             "refused with -22"                           },
      {"network address 10.0.0.1 x 0.0.0.0",    "refused with -22"                           },
      {"hostname \"a",                          "a quote is not closed or an escape is wrong"},
      {"hostname \"a\"b",                       "a quote is not closed or an escape is wrong"},
      {"hostname \"\\q\"",                      "a quote is not closed or an escape is wrong"},
      {"hostname \"\\x00\"",                    "a quote is not closed or an escape is wrong"},
      {"hostname \"\\x4\"",                     "a quote is not closed or an escape is wrong"},
      {"tcam policy 1 set priority 4294967296", "refused with -22"                           },
  };
  for (const auto& c : cases) {
    put_script("bad.scr", std::string("clear config\nvlan 10\ntcam policy 1 type 1 slice 2\n"
                                      "write memory\n") +
                              c.line + "\nhostname after\n");
    testing::internal::CaptureStderr();
    run_script(__LINE__, "POST /script/apply?scr=bad.scr -> 99");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              std::string("switchsim: script bad.scr: line 5: ") + c.why + ": " + c.line + "\n");
    EXPECT_EQ(running_config(), before) << c.line;
    EXPECT_FALSE(unsaved());
  }
  std::string saved;
  EXPECT_FALSE(sim_store().read(SIM_STARTUP_CONFIG, saved));
}

// Each command that undoes another one, so that nothing is left of any of them.
TEST(Cli, CommandsTakeBackWhatOthersDid)
{
  engine_reset();
  apply_script(__LINE__, "clear config\n");
  const std::string cleared = running_config();
  apply_script(
      __LINE__,
      "vlan 10\nvlan learned 11\nvlan 11 name x\ninterface 3 vlan 10 include\n"
      "interface 3 vlan 10 tagged\ninterface 3 vlan 10 untagged\ninterface 3 vlan 10 auto\n"
      "interface 3 pvid 10\ninterface 3 pvid 1\ninterface 3 accept untagged\n"
      "interface 3 accept all\ninterface 3 switchport mode trunk\n"
      "interface 3 switchport mode general\ninterface 3 switchport trunk add 5,7-9\n"
      "interface 3 switchport trunk remove 5,7-9\ninterface 3 switchport trunk native vlan 10\n"
      "interface 3 switchport trunk native vlan 1\n"
      "interface 3 auto-negotiation disable\ninterface 3 auto-negotiation enable\n"
      "interface 3 soft-shutdown enable\ninterface 3 soft-shutdown disable\n"
      "interface 3 mtu 9000\ninterface 3 mtu 1500\ninterface 3 speed 3\ninterface 3 speed 1\n"
      "interface 3 description x\ninterface 3 description \"\"\n"
      "port-channel 9\nport-channel 9 name x\nport-channel 9 member 9\n"
      "no port-channel 9 member 9\nno port-channel 9\n"
      "routing ip enable\nrouting ip disable\nrouting ipv6 enable\nrouting ipv6 disable\n"
      "vlan 10 routing\nno vlan 10 routing\nvlan 10 routing 230\nno vlan 10 routing\n"
      "interface 5 routing enable\ninterface 5 ip dhcp\nno interface 5 ip dhcp\n"
      "interface 5 ipv6 dhcp\nno interface 5 ipv6 dhcp\n"
      "interface 5 ip address 10.5.0.1 24\ninterface 5 ip address 10.6.0.1 24 secondary\n"
      "no interface 5 ip address 10.6.0.1 24 secondary\nno interface 5 ip address 10.5.0.1 24\n"
      "interface 5 ipv6 address 2001:db8:: 64 eui64\n"
      "no interface 5 ipv6 address 2001:db8::54:58ff:fea0:5 64\n"
      "interface 5 ipv6 address 2001:db8::1 64\nno interface 5 ipv6 address 2001:db8::1 64\n"
      "bgp neighbor 10.5.0.2 scope 0 remote-as 65002\n"
      "bgp neighbor 10.5.0.2 scope 0 update-source 5\nno bgp neighbor 10.5.0.2 scope 0\n"
      "bgp network 10.0.0.0 8 route-map \"\"\nno bgp network 10.0.0.0 8\n"
      "bgp redistribute ipv6 static match 0 metric 0 disable route-map m\n"
      "no bgp redistribute ipv6 static\ninterface 5 routing disable\n"
      "tcam policy 1 type 3 slice 3\ntcam policy 1 set match-dst-ipv6 2001:db8::1\n"
      "tcam policy 1 interface 3\nno tcam policy 1 interface 3\nno tcam policy 1\n"
      "interface 3 mac-locking static 000102030405 vlan 10 fixed\n"
      "no interface 3 mac-locking static 000102030405 vlan 10\n"
      "network address 10.1.2.3 255.255.0.0 10.1.0.1\nno network address\n"
      "network protocol dhcp\nnetwork protocol none\nprompt \"core #\"\nprompt TX5454\n"
      "logging host a.b\nlogging host a.b severity 1\nno logging host a.b\n"
      "no vlan 11\nno vlan 10\n");
  EXPECT_EQ(running_config(), cleared);
}

// The example that the description of the commands ends with.
TEST(Cli, TheDocumentedExampleRuns)
{
  engine_reset();
  const std::string manual = file_text(std::string(getenv("SOURCE_DIR")) + "/docs/cli.md");
  const size_t start = manual.rfind("```\n", manual.rfind("```") - 1) + 4;
  apply_script(__LINE__, manual.substr(start, manual.rfind("```") - start));
  run_script(__LINE__, R"(GET /if/5 ~ "Lobby, wall socket 3"
GET /if/226 ~ "10.10.0.1)");
}

// --- the running configuration ---

// Every route that shows configuration, for the numbers that the test sets up and for others.
static std::vector<std::string> all_answers()
{
  std::istringstream list(
      "/base /base/idname /bgp /vlans /vlans/pendingChanges /if /if/pendingChanges /lag "
      "/logging /logging/hosts /routing /routing/vlanRtrIf /system /routing/if "
      "/logging/hosts/log.example.net /tcam /tcam/groupStats /ssh /tcam/policy "
      "/logging/hosts/fe80::1 /lag/1 /lag/2 /lag/3 /lag/56 /bgp/ipv4/neighbor/10.9.0.2 "
      "/lag/58 /bgp/ipv6/neighbor/fe80::9/scope/226 /bgp/ipv6/neighbor/2001:db8::9/scope/0");
  std::vector<std::string> paths{std::istream_iterator<std::string>(list), {}};
  for (int vlan : {1, 2, 3, 10, 20, 30, 40})
    for (const char* path : {"/vlans/", "/routing/vlanRtrIf/"})
      paths.push_back(path + std::to_string(vlan));
  for (int policy = 1; policy <= 4; policy++)
    paths.push_back("/tcam/policy/" + std::to_string(policy));
  for (int number : {1, 2, 3, 4, 5, 6, 7, 46, 47, 48, 49, 53, 54, 56, 57, 58, 226, 227, 228}) {
    const std::string text = std::to_string(number);
    for (const char* path : {"", "/vlan", "/switchportMode", "/vlan/1", "/vlan/10", "/vlan/20"})
      paths.push_back("/if/" + text + path);
    paths.push_back("/pml/if/" + text + "/sticky");
    paths.push_back("/pml/if/" + text + "/mac");
  }
  for (std::string& path : paths)
    path += " " + api_request("GET", path, "json").body;
  return paths;
}

// Changes something of everything that can be set.
static void change_everything()
{
  run_script(__LINE__, R"(POST /vlans/10 PUT /vlans/10/name?value=a%20%22b%22%0A%5C POST
    /vlans/20 /vlans/30 DELETE /vlans/2 PUT /vlans/1/name?value=core POST /if/1/vlan/10 PUT
    /if/1/vlan/10/taggingMode?value=1 /if/2/pvid?value=20 DELETE /if/2/vlan/1 PUT
    /if/2/acceptFrameType?value=2 /if/3/switchportMode?value=2 /if/3/access/vlan?value=10
    /if/4/switchportMode?value=3 /if/4/trunk/pvid?value=20 /if/4/trunk/vlan?value=10,20,100-102
    /if/5/adminState?value=0 /if/5/autoNegMode?value=1
    /if/6/description?value=%21%20to%20the%20%23core%20%C3%A9 /if/6/mtuSize?value=9216
    /if/7/speed?value=4 /if/53/speed?value=12 DELETE /lag/1/port/47 POST /lag/2/port/46 PUT
    /if/57/adminState?value=0 POST /if/57/vlan/20 PUT /routing/ipv4/adminMode?value=1
    /routing/ipv6/adminMode?value=1 POST /routing/vlanRtrIf?vlanId=10 /routing/vlanRtrIf?vlanId=20
    /routing/vlanRtrIf?vlanId=30 DELETE /routing/vlanRtrIf?vlanId=10 PUT
    /routing/if/7/adminMode?value=1 POST
    /routing/if/7/ip?addrType=0&addr=10.7.0.1&pfxLen=24&extArg=0
    /routing/if/7/ip?addrType=1&addr=10.7.1.1&pfxLen=24&extArg=0
    /routing/vlanRtrIf/1/ip?addrType=0&addr=10.9.0.1&pfxLen=16&extArg=0
    /routing/vlanRtrIf/1/ip?addrType=3&addr=2001:db8:1::&pfxLen=64&extArg=1
    /routing/vlanRtrIf/2/ip?addrType=2&extArg=0 PUT /if/227/mtuSize?value=2000
    /bgp/localAS?value=65001 /bgp/routerId?value=10.9.0.1 /bgp/holdTime?value=30
    /bgp/keepAliveTime?value=10 /bgp/localPref?value=4294967295 /bgp/logNeighborChanges?value=1 POST
    /bgp/originatedNetwork?addr=10.0.0.0&pfxLen=8&routeMap=rm1
    /bgp/ipv4/redistribution/ospf?metric=5&matchInternal=1 /bgp/ipv4/neighbor/10.9.0.2?asn=65002 PUT
    /bgp/ipv4/neighbor/10.9.0.2/nextHopSelfMode?type=1&value=1
    /bgp/ipv4/neighbor/10.9.0.2/activate?type=1&value=0
    /bgp/ipv4/neighbor/10.9.0.2/updateSource?type=1&value=20 POST
    /bgp/ipv6/neighbor/fe80::9/scope/226?asn=65003 PUT
    /bgp/ipv6/neighbor/fe80::9/scope/226/activate?type=2&value=1 POST
    /tcam/policy?policyPrio=1&policyType=3&matchSrcMac=0:1:2:3:4:5&actionDrop=1
    /tcam/policy?policyPrio=1&policyType=1&matchSrcMac=0:1:2:3:4:5&actionDrop=1
    /tcam/policy?policyPrio=7&policyType=2&matchVlanId=10&matchVlanPrio=3&matchDstIp=10.1.0.0&matchDstIpMask=255.255.0.0&matchDstMac=2:0:0:0:0:1&actionRedirPort=3&actionNewVlanPrio=5&actionNewDstMac=2:0:0:0:0:2
    DELETE /tcam/policy/2 POST /tcam/policy/3/port/9 PUT /pml/if/3/sticky?value=1 POST
    /pml/if/3/vlan/10/sticky/1/mac?value=000102030405
    /pml/if/3/vlan/10/sticky/0/mac?value=000102030406 PUT /logging/cli/mode?value=1
    /logging/console/mode?value=1 /logging/console/severityLevel?value=8
    /logging/syslog/mode?value=1 /logging/syslog/port?value=1514 POST /logging/hosts/log.example.net
    /logging/hosts/fe80::1 PUT /logging/hosts/fe80::1/port?value=9
    /logging/hosts/fe80::1/severityLevel?value=6 /ssh/adminMode?value=1 /ssh/maxSessions?value=2
    /ssh/protoVersion?value=3 /ssh/timeout?value=77 /system/hostname?value=core1
    /system/serialTimeout?value=0 /system/telnetServerAdminMode?value=0)");
}

static void expect_same(const std::vector<std::string>& now, const std::vector<std::string>& then)
{
  ASSERT_EQ(now.size(), then.size());
  for (size_t i = 0; i < now.size(); i++)
    EXPECT_EQ(now[i], then[i]);
}

TEST(Config, TheRunningConfigurationMakesAFreshSwitchTheSame)
{
  const char* profile = R"({"vlans": [{"id": 2}, {"id": 40, "name": "learned", "type": "dynamic"}],
                            "lags": [{"id": 1, "name": "uplink", "members": [47, 48]},
                                     {"id": 2}, {"id": 3}]})";
  engine_reset(profile);
  const std::vector<std::string> fresh = all_answers();
  change_everything();
  const std::vector<std::string> changed = all_answers();
  const std::string script = running_config();
  // what no request shows
  for (const char* line : {"interface 228 ip dhcp", "bgp network 10.0.0.0 8 route-map rm1",
                           "bgp redistribute ipv4 ospf match 1 metric 5 enable route-map \"\"",
                           "interface 4 switchport trunk replace 10,20,100,101,102"})
    EXPECT_NE(script.find(std::string("\n") + line + "\n"), std::string::npos) << line;

  engine_reset(profile);
  apply_script(__LINE__, script);
  expect_same(all_answers(), changed);
  EXPECT_EQ(running_config(), script);
  apply_script(__LINE__, script);  // on the switch that it came from
  EXPECT_EQ(running_config(), script);

  // and on a switch with other VLANs and groups; of what was delivered nothing is left
  engine_reset(R"({"vlans": 5, "lags": []})");
  apply_script(__LINE__, script);
  expect_same(all_answers(), changed);

  engine_reset(profile);
  expect_same(all_answers(), fresh);
  const std::string delivered = running_config();
  change_everything();
  apply_script(__LINE__, delivered);
  expect_same(all_answers(), fresh);
}

// --- reload ---

TEST(Reload, UnsavedChangesAreLostAndTheSessionGoesOn)
{
  run_script(__LINE__, R"(reset {"fans": [], "vlans": [{"id": 7}]})");
  apply_script(__LINE__, "hostname saved\nno vlan 7\nwrite memory\n");
  EXPECT_FALSE(unsaved());
  apply_script(__LINE__, "hostname unsaved\nvlan 8\n");
  EXPECT_TRUE(unsaved());

  run_script(__LINE__, R"(
POST /system/reload?value=1 -> 0 Reset the system is starting.
// away for a moment: no call is answered but the one that says so
GET /system POST /system/reload?value=1 -> 99
GET /base ~~ "system_is_ready": "Yes"
GET /system ~ "hostname": "saved"
GET /vlans/7 -> 1 VLAN 7 does not exist.
GET /vlans/8 -> 1 VLAN 8 does not exist.
GET /boxs/fans -> {"fans":{}})");
  EXPECT_FALSE(unsaved());

  run_script(__LINE__, R"(
// without a configuration to come back to
POST /system/reload?value=2 -> 0 Reset the system is starting.
GET /base ~~ "system_is_ready": "Yes"
GET /system ~ "hostname": "TX5454"
GET /vlans/7)");

  // a configuration that cannot be run leaves the switch as it was delivered
  put_script(SIM_STARTUP_CONFIG, "hostname other\nvlan many\n");
  testing::internal::CaptureStderr();
  run_script(__LINE__, "POST /system/reload?value=3 -> 0 Reset the system is starting.");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "switchsim: startup-config: line 2: no such command: vlan many\n");
  run_script(__LINE__, R"(GET /base ~~ "system_is_ready": "Yes"
GET /system ~ "hostname": "TX5454")");
}
