// The modules "system", "logging" and "ssh": settings of the switch as a whole.
#include <gtest/gtest.h>

#include <string>

#include "modules/rest_module_system.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

// --- system ---

SCRIPT_TEST(System, SettingsAreReadAndChanged, R"(reset
GET /system -> {"infomation":{"hostname":"TX5454","serial_timeout":5,
    "telnet_srver_admin_mode":"enable","service_port_mask":"255.255.255.0"}}
PUT /system/hostname?value=$64n -> 0 Update system hostname successfully.
PUT /system/serialTimeout?value=0 -> 0 Update system serial timeout successfully.
PUT /system/telnetServerAdminMode?value=0 -> 0 Update system telnet server admin mode successfully.
GET /system -> {"infomation":{"hostname":"$64n","serial_timeout":0,
    "telnet_srver_admin_mode":"disable","service_port_mask":"255.255.255.0"}}
PUT /system/serialTimeout?value=-1 -> 0 Update system serial timeout to default successfully.
PUT /system/serialTimeout?value=160 -> 0 Update system serial timeout successfully.
PUT /system/hostname ?value= ?value=$64nn ?value=$256n ?value=a%20b /system/serialTimeout ?value=161
    ?value=-2 /system/telnetServerAdminMode ?value=2 -> 99
GET /system ~ "hostname": "$64n", "serial_timeout": 160,)");

SCRIPT_TEST(System, HandsTheSwitchWhatTheRequestSays, R"(reset
GET /system => SystemHostnameSizeGet(>65) = 0 | SystemHostnameGet(>{7,"TX5454"}) = 0 |
    SerialTimeoutGet(>5) = 0 | TelnetServerAdminModeGet(>1) = 0 | ServicePortMaskGet(
PUT /system/hostname?value=core1 => SystemHostnameSet({6,"core1"}) = 0
PUT /system/serialTimeout?value=-1 => SerialTimeoutDefaultSet() = 0
POST /system/reload?value=4 =>
check GET /system PUT /system/hostname?value=core1 /system/serialTimeout?value=7 ?value=-1
    /system/telnetServerAdminMode?value=1
check POST /system/reload?value=3 after reset)");

SCRIPT_TEST(System, SurvivesAnySwitch, R"(reset
[SystemHostnameSizeGet {'value': 0} | SystemHostnameSizeGet {'value': 1}] GET /system -> 99
[SystemHostnameSizeGet {'value': 4294967295}] GET /system ~ "hostname": "TX5454",
[SerialTimeoutGet {'value': 4294967295}] GET /system ~ "serial_timeout": -1,
[TelnetServerAdminModeGet {'value': 2}] GET /system ~ "telnet_srver_admin_mode": "",)");

// --- operations that no route leads to ---

TEST(System, OperationsWithoutRouteWork)
{
  engine_reset();
  const auto does = [](unrouted_operation_t operation, const std::string& query,
                       const std::string& expected) {
    const std::string answer = unrouted_answer(operation, "/?" + query);
    EXPECT_NE(answer.find(expected), std::string::npos) << query << ": " << answer;
  };
  const auto shows = [&](const char* ip, const char* mask, const char* gateway, const char* mode) {
    does(api_system_get_networkport_ipv4, "",
         std::string("<rlt_data><infomation><ip_address>") + ip + "</ip_address><netmask>" + mask +
             "</netmask><gateway>" + gateway + "</gateway><protocol_mode>" + mode +
             "</protocol_mode></infomation></rlt_data>");
  };
  const auto set = api_system_update_networkport_ipv4_parameters;
  const auto set_mode = api_system_update_networkport_ipv4_protocol_mode;
  const std::string failed = "<rlt_code>99<",
                    good = "ip=10.1.2.3&mask=255.255.0.0&gateway=10.1.0.1";
  does(api_system_update_prompt, "value=core%20one", ">Update system prompt successfully.<");
  does(api_system_update_prompt, "value=", failed);
  shows("0.0.0.0", "0.0.0.0", "0.0.0.0", "None");
  does(set, good, ">Update network port IPv4 parameters successfully.<");
  shows("10.1.2.3", "255.255.0.0", "10.1.0.1", "None");
  for (const char* query :
       {"ip=10.1.2.3&mask=255.255.0.0", "ip=10.1.2.3&mask=255.0.255.0&gateway=10.1.0.1",
        "ip=10.1.2.3&mask=255.255.0.0&gateway=10.2.0.1",
        "ip=fe80::1&mask=255.255.0.0&gateway=10.1.0.1", "ip=x&mask=255.255.0.0&gateway=10.1.0.1"})
    does(set, query, failed);
  does(api_system_delete_networkport_ipv4_parameters, "",
       ">Delete network port IPv4 parameters successfully.<");
  does(set_mode, "value=3", ">Update network port IPv4 protocol mode successfully.<");
  shows("0.0.0.0", "0.0.0.0", "0.0.0.0", "DHCP");
  does(set, good, failed);
  does(set_mode, "value=2", "<rlt_code>0<");
  shows("0.0.0.0", "0.0.0.0", "0.0.0.0", "BOOTP");
  does(set_mode, "value=4", failed);
  does(set_mode, "", failed);
  set_fault("NetworkPortIPv4ProtocolModeGet", "{'value': 0}");
  shows("0.0.0.0", "0.0.0.0", "0.0.0.0", "Invalid");
  for (const char* without_text : {"{'value': 4}", "{'value': -1}"}) {
    set_fault("NetworkPortIPv4ProtocolModeGet", without_text);
    does(api_system_get_networkport_ipv4, "", failed);
  }
}

// --- logging ---

SCRIPT_TEST(Logging, SettingsAreReadAndChanged, R"(reset
GET /logging -> {"logging":{"cli":{"logging_mode":"disable"},"console":{"logging_mode":"disable",
    "severity_level":"Alert conditions."},"syslog":{"logging_mode":"disable","port":514},
    "max_logging_hosts":8}}
PUT /logging/cli/mode?value=1 -> 0 Update mode of CLI logging successfully.
PUT /logging/console/mode?value=1 -> 0 Update mode of Console logging successfully.
PUT /logging/console/severityLevel?value=8 -> 0 Update severity level of Console logging
    successfully.
PUT /logging/syslog/mode?value=1 -> 0 Update mode of Syslog successfully.
PUT /logging/syslog/port?value=65535 -> 0 Update port of Syslog successfully.
GET /logging -> {"logging":{"cli":{"logging_mode":"enable"},"console":{"logging_mode":"enable",
    "severity_level":"Debug-level messages."},"syslog":{"logging_mode":"enable","port":65535},
    "max_logging_hosts":8}}
PUT /logging/syslog/port?value=0 ?value=abc ?value=65536 ?value=-2 -> 1 The value of parameter is
    invalid.
PUT /logging/syslog/port?value=-1 -> 0 Update port of Syslog to default successfully.
PUT /logging/console/severityLevel?value=7 -> 0 Update severity level of Console logging
    successfully.
PUT /logging/syslog/port /logging/cli/mode ?value=2 /logging/console/mode?value=-1
    /logging/syslog/mode?value=9 /logging/console/severityLevel?value=0 ?value=9 -> 99
GET /logging ~ "severity_level": "Informational messages."
GET /logging ~ "port": 514)");

SCRIPT_TEST(Logging, Hosts, R"(reset
GET /logging/hosts -> {"logging_hosts":{}}
POST /logging/hosts/10.0.0.1 -> 0 Create a logging host 10.0.0.1 successfully.
POST /logging/hosts/log.example.net -> 0 Create a logging host log.example.net successfully.
POST /logging/hosts/fe80::1 -> 0 Create a logging host fe80::1 successfully.
POST /logging/hosts/10.0.0.1 -> 98
POST /logging/hosts/10.0.0.256 /logging/hosts/a%20b /logging/hosts/$65h -> 99
GET /logging/hosts -> {"logging_hosts":{"1":{"address":"10.0.0.1"},
    "2":{"address":"log.example.net"},"3":{"address":"fe80::1"}}}
GET /logging/hosts/10.0.0.1 -> {"logging_host":{"address":"10.0.0.1","port":514,
    "severity_level":"Critical conditions."}}
PUT /logging/hosts/10.0.0.1/port?value=1514 -> 0 Update port of logging host 10.0.0.1 successfully.
PUT /logging/hosts/10.0.0.1/severityLevel?value=1 -> 0 Update severity level of logging host
    10.0.0.1 successfully.
PUT /logging/hosts/10.0.0.1/port?value=0 -> 1 The value of parameter is invalid.
PUT /logging/hosts/10.0.0.1/port /logging/hosts/10.0.0.1/severityLevel ?value=9
    /logging/hosts/10.0.0.9/port?value=5 GET /logging/hosts/10.0.0.9 DELETE /logging/hosts/10.0.0.9
    -> 99
GET /logging/hosts/10.0.0.1 -> {"logging_host":{"address":"10.0.0.1","port":1514,
    "severity_level":"Emergency conditions."}}
PUT /logging/hosts/10.0.0.1/port?value=-1 -> 0 Update port of logging host 10.0.0.1 to default
    successfully.
DELETE /logging/hosts/10.0.0.1 -> 0 Delete a logging host 10.0.0.1 successfully.
GET /logging/hosts -> {"logging_hosts":{"1":{"address":"log.example.net"},
    "2":{"address":"fe80::1"}}}
POST /logging/hosts/h3 /logging/hosts/h4 /logging/hosts/h5 /logging/hosts/h6 /logging/hosts/h7
    /logging/hosts/h8
POST /logging/hosts/h9 -> 99)");

SCRIPT_TEST(Logging, KnowsAHostByAnySpelling, R"(reset
POST /logging/hosts/Log.example.NET /logging/hosts/2001:db8::1
POST /logging/hosts/log.EXAMPLE.net /logging/hosts/2001:0DB8:0::0:1 -> 98
POST /logging/hosts/log.example.ne /logging/hosts/2001:db8::2 PUT
    /logging/hosts/2001:DB8::1/port?value=1514 DELETE /logging/hosts/LOG.example.net
GET /logging/hosts -> {"logging_hosts":{"1":{"address":"2001:db8::1"},
    "2":{"address":"log.example.ne"},"3":{"address":"2001:db8::2"}}}
GET /logging/hosts/2001:db8:0::1 ~ "port": 1514)");

SCRIPT_TEST(Logging, HandsTheSwitchWhatTheRequestSays, R"(reset
POST /logging/hosts/10.0.0.1
PUT /logging/hosts/10.0.0.1/port?value=-1 => LoggingHostMaxAddrLenGet(>65) = 0 |
    LoggingHostPortSet({65,"10.0.0.1"}, 0) = 0
PUT /logging/syslog/port?value=-1 => SysLogPortSet(0) = 0
GET /logging/hosts/10.0.0.1 => LoggingHostMaxAddrLenGet(>65) = 0 |
    LoggingHostPortGet({65,"10.0.0.1"}, >514) = 0 | LoggingHostSeverityGet({65,"10.0.0.1"}, >3) = 0
GET /logging/hosts => LoggingHostMaxAddrLenGet(>65) = 0 | LoggingHostIpAddrNextGet(>{9,"10.0.0.1"})
    = 0 | LoggingHostIpAddrNextGet(>{65,"10.0.0.1"}) = -26
GET /logging => CliCmdLoggingModeGet( | ConsoleLoggingModeGet( | ConsoleLoggingSeverityGet( |
    SysLogModeGet( | SysLogPortGet( | MaxLoggingHostsSupportedGet()");

SCRIPT_TEST(Logging, ChecksEachCall, R"(reset
POST /logging/hosts/10.0.0.1
check GET /logging PUT /logging/cli/mode?value=1 /logging/console/mode?value=1
    /logging/syslog/mode?value=0 /logging/console/severityLevel?value=2
    /logging/syslog/port?value=-1 ?value=9
check GET /logging/hosts but LoggingHostMaxAddrLenGet LoggingHostIpAddrNextGet
check GET /logging/hosts/10.0.0.1 PUT /logging/hosts/10.0.0.1/port?value=9 ?value=-1
    /logging/hosts/10.0.0.1/severityLevel?value=2 but LoggingHostMaxAddrLenGet
check POST /logging/hosts/10.0.0.2 DELETE /logging/hosts/10.0.0.1 but LoggingHostMaxAddrLenGet
    after reset POST /logging/hosts/10.0.0.1)");

SCRIPT_TEST(Logging, SurvivesAnySwitch, R"(reset
POST /logging/hosts/10.0.0.1
[ConsoleLoggingSeverityGet {'value': 9} | ConsoleLoggingSeverityGet {'value': -1}] GET /logging
    -> 99
[ConsoleLoggingSeverityGet {'value': 0}] GET /logging ~ "Severity level undefined."
[LoggingHostSeverityGet {'value': 9} | LoggingHostSeverityGet {'value': -1}] GET
    /logging/hosts/10.0.0.1 -> 99
[$len 0} | $len 1} | $len 8}] GET /logging/hosts -> {"logging_hosts":{}}
[$len 0} | $len 1} | $len 8}] GET /logging/hosts/10.0.0.1 -> 99
[$len 4294967295}] GET /logging/hosts ->
    {"logging_hosts":{"1":{"address":"10.0.0.1"}}}
// a walk that says there is more for ever, and a text without an end
[LoggingHostIpAddrNextGet {'value': '10.0.0.1', 'result': 0}] GET /logging/hosts ->
    {"logging_hosts":{"1":{"address":"10.0.0.1"}}}
[LoggingHostIpAddrNextGet {'value': '$65h', 'times': 1}] GET /logging/hosts ->
    {"logging_hosts":{"1":{"address":"$65h"}}})",
            "$len", "LoggingHostMaxAddrLenGet {'value':");

// --- SSH ---

SCRIPT_TEST(Ssh, SettingsAreReadAndChanged, R"(reset
GET /ssh -> {"infomation":{"admin_mode":"disable","version":"2","active_sessions":0,
    "max_sessions":5,"timeout":5}}
PUT /ssh/adminMode?value=1 -> 0 Update SSH admin mode successfully. {}
PUT /ssh/maxSessions?value=1 -> 0 Update SSH maximum sessions successfully. {}
PUT /ssh/protoVersion?value=3 -> 0 Update SSH protocol version successfully. {}
PUT /ssh/timeout?value=160 -> 0 Update SSH session timeout successfully. {}
GET /ssh -> {"infomation":{"admin_mode":"enable","version":"1 and 2","active_sessions":0,
    "max_sessions":1,"timeout":160}}
PUT /ssh/adminMode?value=2 ?value=-1 /ssh/adminMode /ssh/maxSessions?value=0 ?value=-2 ?value=6
    /ssh/maxSessions /ssh/protoVersion?value=0 ?value=4 /ssh/protoVersion /ssh/timeout?value=-5
    ?value=161 /ssh/timeout -> 99
PUT /ssh/adminMode?value=0 -> 0 Update SSH admin mode successfully. {}
PUT /ssh/maxSessions?value=-1 -> 0 Update SSH maximum sessions successfully. {}
PUT /ssh/protoVersion?value=1 -> 0 Update SSH protocol version successfully. {}
PUT /ssh/timeout?value=0 -> 0 Update SSH session timeout successfully. {}
GET /ssh ~ "admin_mode": "disable", "version": "1", "active_sessions": 0,
    "max_sessions": 5, "timeout": 5)");

SCRIPT_TEST(Ssh, CallsAndFailures, R"(reset
PUT /ssh/protoVersion?value=3 => SSHProtocolVersionSet(2) = 0
PUT /ssh/maxSessions?value=-1 => SSHMaxSessionsDefaultSet() = 0
PUT /ssh/timeout?value=0 => SSHSessionTimeoutSet(0) = 0
PUT /ssh/timeout?value=-5 =>
GET /ssh => SSHAdminModeGet( | SSHProtocolVersionGet( | SSHActiveSessionsGet( | SSHMaxSessionsGet( |
    SSHSessionTimeoutGet(
check GET /ssh PUT /ssh/adminMode?value=1 /ssh/maxSessions?value=2 ?value=-1
    /ssh/protoVersion?value=2 /ssh/timeout?value=3
[SSHProtocolVersionGet {'value': 3} | SSHProtocolVersionGet {'value': -1}] GET /ssh -> 99)");
