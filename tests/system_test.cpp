// The modules "system", "logging" and "ssh": settings of the switch as a whole.
#include <gtest/gtest.h>

#include <string>

#include "modules/rest_module_logging.h"
#include "modules/rest_module_system.h"
#include "tests/support/answer_table.h"
#include "tests/support/local_engine.h"

static const char GOT[] = "Get data successfully.";

// --- system ---

static std::string system_data(const char* hostname, int timeout, const char* telnet)
{
  return std::string(R"({"infomation":{"hostname":")") + hostname + R"(","serial_timeout":)" +
         std::to_string(timeout) + R"(,"telnet_srver_admin_mode":")" + telnet +
         R"(","service_port_mask":"255.255.255.0"}})";
}

TEST(System, SettingsAreReadAndChanged)
{
  engine_reset();
  const std::string name(64, 'n');
  expect_answer(__LINE__, "GET", "/system", 0, GOT, system_data("TX5454", 5, "enable").c_str());
  expect_answers({
      api_case(__LINE__, "PUT", "/system/hostname?value=" + name, 0,
               "Update system hostname successfully."),
      api_case(__LINE__, "PUT", "/system/serialTimeout?value=0", 0,
               "Update system serial timeout successfully."),
      api_case(__LINE__, "PUT", "/system/telnetServerAdminMode?value=0", 0,
               "Update system telnet server admin mode successfully."),
  });
  const std::string changed = system_data(name.c_str(), 0, "disable");
  expect_answer(__LINE__, "GET", "/system", 0, GOT, changed.c_str());
  expect_answers({
      api_case(__LINE__, "PUT", "/system/serialTimeout?value=-1", 0,
               "Update system serial timeout to default successfully."),
      api_case(__LINE__, "PUT", "/system/serialTimeout?value=160", 0,
               "Update system serial timeout successfully."),
      api_case(__LINE__, "PUT", "/system/hostname", 99),
      api_case(__LINE__, "PUT", "/system/hostname?value=", 99),
      api_case(__LINE__, "PUT", "/system/hostname?value=" + name + "n", 99),
      api_case(__LINE__, "PUT", "/system/hostname?value=" + std::string(256, 'n'), 99),
      api_case(__LINE__, "PUT", "/system/hostname?value=a%20b", 99),
      api_case(__LINE__, "PUT", "/system/serialTimeout", 99),
      api_case(__LINE__, "PUT", "/system/serialTimeout?value=161", 99),
      api_case(__LINE__, "PUT", "/system/serialTimeout?value=-2", 99),
      api_case(__LINE__, "PUT", "/system/telnetServerAdminMode", 99),
      api_case(__LINE__, "PUT", "/system/telnetServerAdminMode?value=2", 99),
  });
  expect_xml_answer(__LINE__, "GET", "/system", 0, GOT,
                    ("<infomation><hostname>" + name +
                     "</hostname><serial_timeout>160</serial_timeout><telnet_srver_admin_mode>"
                     "disable</telnet_srver_admin_mode><service_port_mask>255.255.255.0"
                     "</service_port_mask></infomation>")
                        .c_str());
}

TEST(System, HandsTheSwitchWhatTheRequestSays)
{
  engine_reset();
  expect_calls(
      __LINE__, api_calls("GET", "/system"),
      {"rpcclt_openapiSystemHostnameSizeGet(>65) = 0",
       "rpcclt_openapiSystemHostnameGet(>{7,\"TX5454\"}) = 0",
       "rpcclt_openapiSerialTimeoutGet(>5) = 0", "rpcclt_openapiTelnetServerAdminModeGet(>1) = 0",
       "rpcclt_openapiServicePortMaskGet("});
  expect_calls(__LINE__, api_calls("PUT", "/system/hostname?value=core1"),
               {"rpcclt_openapiSystemHostnameSet({6,\"core1\"}) = 0"});
  expect_calls(__LINE__, api_calls("PUT", "/system/serialTimeout?value=-1"),
               {"rpcclt_openapiSerialTimeoutDefaultSet() = 0"});
  expect_calls(__LINE__, api_calls("POST", "/system/reload?value=4"), {});
  expect_each_call_checked(__LINE__, "GET", "/system");
  expect_each_call_checked(__LINE__, "PUT", "/system/hostname?value=core1");
  expect_each_call_checked(__LINE__, "PUT", "/system/serialTimeout?value=7");
  expect_each_call_checked(__LINE__, "PUT", "/system/serialTimeout?value=-1");
  expect_each_call_checked(__LINE__, "PUT", "/system/telnetServerAdminMode?value=1");
  expect_each_call_checked(__LINE__, "POST", "/system/reload?value=3", {}, [] { engine_reset(); });
}

TEST(System, SurvivesAnySwitch)
{
  engine_reset();
  const char* size = "rpcclt_openapiSystemHostnameSizeGet";
  const std::string good = system_data("TX5454", 5, "enable");
  expect_answers_with_fault(size, "{\"value\": 0}", {api_case(__LINE__, "GET", "/system", 99)});
  expect_answers_with_fault(size, "{\"value\": 1}", {api_case(__LINE__, "GET", "/system", 99)});
  expect_answers_with_fault(size, "{\"value\": 4294967295}",
                            {api_case(__LINE__, "GET", "/system", 0, GOT, good.c_str())});
  expect_answers_with_fault(
      "rpcclt_openapiSerialTimeoutGet", "{\"value\": 4294967295}",
      {api_case(__LINE__, "GET", "/system", 0, GOT, system_data("TX5454", -1, "enable").c_str())});
  expect_answers_with_fault(
      "rpcclt_openapiTelnetServerAdminModeGet", "{\"value\": 2}",
      {api_case(__LINE__, "GET", "/system", 0, GOT, system_data("TX5454", 5, "").c_str())});
}

TEST(System, RefusesOtherPaths)
{
  engine_reset();
  for (const char* path : {"/system/", "/system/networkport/ipv4", "/system/hostname", "/system/x"})
    expect_bad_request(__LINE__, "GET", path);
  for (const char* path :
       {"/system/networkport/ipv4/parameters", "/system/networkport/ipv4/protocolMode",
        "/system/prompt", "/system/hostname/", "/system/reload"})
    expect_bad_request(__LINE__, "PUT", path);
  expect_bad_request(__LINE__, "DELETE", "/system/networkport/ipv4/parameters");
  expect_bad_request(__LINE__, "POST", "/system/reload/now?value=1");
}

// --- operations that no route leads to ---

struct unrouted_case {
  unrouted_operation_t operation;
  const char* query;
  std::string answer;
};

TEST(System, OperationsWithoutRouteWork)
{
  engine_reset();
  const std::string failed = json_envelope(
      99,
      "Operation failed. It was possibly caused by non-existent resource id in URI, invalid "
      "parameters, or the operation is not supported on the platform.");
  const auto done = [](const char* what) {
    return json_envelope(0, std::string(what) + " successfully.");
  };
  const auto port = [](const char* ip, const char* mask, const char* gateway, const char* mode) {
    return json_envelope(0, GOT,
                         std::string(R"({"infomation":{"ip_address":")") + ip + R"(","netmask":")" +
                             mask + R"(","gateway":")" + gateway + R"(","protocol_mode":")" + mode +
                             R"("}})");
  };
  const auto get = api_system_get_networkport_ipv4;
  const auto set = api_system_update_networkport_ipv4_parameters;
  const auto remove = api_system_delete_networkport_ipv4_parameters;
  const auto set_mode = api_system_update_networkport_ipv4_protocol_mode;
  const std::string mode_set = done("Update network port IPv4 protocol mode");
  const char* none = "0.0.0.0";
  const unrouted_case cases[] = {
      {api_system_update_prompt,                         "value=core%20one",done("Update system prompt")},
      {api_system_update_prompt,                         "value=",failed   },
      {get,                                              "",port(none, none, none, "None")},
      {set,                                            "ip=10.1.2.3&mask=255.255.0.0&gateway=10.1.0.1",
       done("Update network port IPv4 parameters")},
      {get,"",port("10.1.2.3","255.255.0.0", "10.1.0.1", "None")},
      {set,                                                                                         "ip=10.1.2.3&mask=255.255.0.0",                                                                   failed                                                                                           },
      {set,                                         "ip=10.1.2.3&mask=255.0.255.0&gateway=10.1.0.1",failed},
      {set,                                          "ip=10.1.2.3&mask=255.255.0.0&gateway=10.2.0.1",failed},
      {set,                                          "ip=fe80::1&mask=255.255.0.0&gateway=10.1.0.1",  failed                                  },
      {set,                                          "ip=x&mask=255.255.0.0&gateway=10.1.0.1",                                                                   failed                                                                                                                                                                                                                                                               },
      {remove,                                          "",done("Delete network port IPv4 parameters")},
      {get,                                          "",port(none,none, none, "None")},
      {set_mode,     "value=3",mode_set                               },
      {get,                                       "",                                                            port(none,                                                                                                                                                                                                                                                                                                                                                                                                                              none, none, "DHCP")},
      {set,                                                "ip=10.1.2.3&mask=255.255.0.0&gateway=10.1.0.1",failed},
      {set_mode,                                                "value=2",mode_set},
      {get,                                            "",port(none,none, none, "BOOTP")},
      {set_mode,                                              "value=4",failed},
      {set_mode,                                         "",failed},
  };
  for (const unrouted_case& c : cases)
    EXPECT_EQ(unrouted_answer(c.operation, std::string("/?format=json&") + c.query), c.answer)
        << "case " << &c - cases;
  // a mode that has no text
  set_fault("rpcclt_openapiNetworkPortIPv4ProtocolModeGet", "{'value': 4}");
  EXPECT_EQ(unrouted_answer(get, "/?format=json"), failed);
}

TEST(System, ProtocolModesHaveTexts)
{
  char text[8] = "";
  const char* texts[] = {"Invalid", "None", "BOOTP", "DHCP"};
  for (int mode = 0; mode < 4; mode++) {
    EXPECT_EQ(get_protocol_mode_string_by_eum(static_cast<OPEN_PROTOCOL_MODE_t>(mode), text), 0);
    EXPECT_STREQ(text, texts[mode]);
  }
  for (int mode : {-1, 4})
    EXPECT_EQ(get_protocol_mode_string_by_eum(static_cast<OPEN_PROTOCOL_MODE_t>(mode), text), 1);
}

// --- logging ---

static std::string logging_data(const char* cli, const char* console, const char* level,
                                const char* syslog, int port)
{
  return std::string(R"({"logging":{"cli":{"logging_mode":")") + cli +
         R"("},"console":{"logging_mode":")" + console + R"(","severity_level":")" + level +
         R"("},"syslog":{"logging_mode":")" + syslog + R"(","port":)" + std::to_string(port) +
         R"(},"max_logging_hosts":8}})";
}

TEST(Logging, SettingsAreReadAndChanged)
{
  engine_reset();
  const char* port = "/logging/syslog/port?value=";
  const char* invalid = "The value of parameter is invalid.";
  const char* port_set = "Update port of Syslog successfully.";
  expect_answer(__LINE__, "GET", "/logging", 0, GOT,
                logging_data("disable", "disable", "Alert conditions.", "disable", 514).c_str());
  expect_answers({
      api_case(__LINE__, "PUT", "/logging/cli/mode?value=1", 0,
               "Update mode of CLI logging successfully."),
      api_case(__LINE__, "PUT", "/logging/console/mode?value=1", 0,
               "Update mode of Console logging successfully."),
      api_case(__LINE__, "PUT", "/logging/console/severityLevel?value=8", 0,
               "Update severity level of Console logging successfully."),
      api_case(__LINE__, "PUT", "/logging/syslog/mode?value=1", 0,
               "Update mode of Syslog successfully."),
      api_case(__LINE__, "PUT", port + std::string("65535"), 0, port_set),
  });
  expect_answer(__LINE__, "GET", "/logging", 0, GOT,
                logging_data("enable", "enable", "Debug-level messages.", "enable", 65535).c_str());
  for (const char* value : {"0", "abc", "65536", "-2"})
    expect_answer(__LINE__, "PUT", port + std::string(value), 1, invalid);
  expect_answers({
      api_case(__LINE__, "PUT", port + std::string("-1"), 0,
               "Update port of Syslog to default successfully."),
      api_case(__LINE__, "PUT", "/logging/console/severityLevel?value=7", 0,
               "Update severity level of Console logging successfully."),
      api_case(__LINE__, "PUT", "/logging/syslog/port", 99),
      api_case(__LINE__, "PUT", "/logging/cli/mode", 99),
      api_case(__LINE__, "PUT", "/logging/cli/mode?value=2", 99),
      api_case(__LINE__, "PUT", "/logging/console/mode?value=-1", 99),
      api_case(__LINE__, "PUT", "/logging/syslog/mode?value=9", 99),
      api_case(__LINE__, "PUT", "/logging/console/severityLevel?value=0", 99),
      api_case(__LINE__, "PUT", "/logging/console/severityLevel?value=9", 99),
  });
  expect_xml_answer(__LINE__, "GET", "/logging", 0, GOT,
                    "<logging><cli><logging_mode>enable</logging_mode></cli><console>"
                    "<logging_mode>enable</logging_mode><severity_level>Informational messages."
                    "</severity_level></console><syslog><logging_mode>enable</logging_mode>"
                    "<port>514</port></syslog><max_logging_hosts>8</max_logging_hosts></logging>");
}

TEST(Logging, Hosts)
{
  engine_reset();
  const char* list = "/logging/hosts";
  expect_answer(__LINE__, "GET", list, 0, GOT, R"({"logging_hosts":{}})");
  expect_answers({
      api_case(__LINE__, "POST", "/logging/hosts/10.0.0.1", 0,
               "Create a logging host 10.0.0.1 successfully."),
      api_case(__LINE__, "POST", "/logging/hosts/log.example.net", 0,
               "Create a logging host log.example.net successfully."),
      api_case(__LINE__, "POST", "/logging/hosts/fe80::1", 0,
               "Create a logging host fe80::1 successfully."),
      api_case(__LINE__, "POST", "/logging/hosts/10.0.0.1", 98),
      api_case(__LINE__, "POST", "/logging/hosts/10.0.0.256", 99),
      api_case(__LINE__, "POST", "/logging/hosts/a%20b", 99),
      api_case(__LINE__, "POST", "/logging/hosts/" + std::string(65, 'h'), 99),
      api_case(__LINE__, "GET", list, 0, GOT,
               R"({"logging_hosts":{"1":{"address":"10.0.0.1"},"2":{"address":"log.example.net"},
                   "3":{"address":"fe80::1"}}})"),
      api_case(__LINE__, "GET", "/logging/hosts/10.0.0.1", 0, GOT,
               R"({"logging_host":{"address":"10.0.0.1","port":514,
                   "severity_level":"Critical conditions."}})"),
      api_case(__LINE__, "PUT", "/logging/hosts/10.0.0.1/port?value=1514", 0,
               "Update port of logging host 10.0.0.1 successfully."),
      api_case(__LINE__, "PUT", "/logging/hosts/10.0.0.1/severityLevel?value=1", 0,
               "Update severity level of logging host 10.0.0.1 successfully."),
      api_case(__LINE__, "PUT", "/logging/hosts/10.0.0.1/port?value=0", 1,
               "The value of parameter is invalid."),
      api_case(__LINE__, "PUT", "/logging/hosts/10.0.0.1/port", 99),
      api_case(__LINE__, "PUT", "/logging/hosts/10.0.0.1/severityLevel", 99),
      api_case(__LINE__, "PUT", "/logging/hosts/10.0.0.1/severityLevel?value=9", 99),
      api_case(__LINE__, "PUT", "/logging/hosts/10.0.0.9/port?value=5", 99),
      api_case(__LINE__, "GET", "/logging/hosts/10.0.0.9", 99),
      api_case(__LINE__, "DELETE", "/logging/hosts/10.0.0.9", 99),
  });
  expect_xml_answer(__LINE__, "GET", "/logging/hosts/10.0.0.1", 0, GOT,
                    "<logging_host><address>10.0.0.1</address><port>1514</port><severity_level>"
                    "Emergency conditions.</severity_level></logging_host>");
  expect_answer(__LINE__, "PUT", "/logging/hosts/10.0.0.1/port?value=-1", 0,
                "Update port of logging host 10.0.0.1 to default successfully.");
  expect_answer(__LINE__, "DELETE", "/logging/hosts/10.0.0.1", 0,
                "Delete a logging host 10.0.0.1 successfully.");
  expect_xml_answer(__LINE__, "GET", list, 0, GOT,
                    "<logging_hosts><logging_host><address>log.example.net</address></logging_host>"
                    "<logging_host><address>fe80::1</address></logging_host></logging_hosts>");
  for (int host = 3; host <= 8; host++)
    api_request("POST", "/logging/hosts/10.0.0." + std::to_string(host), "json");
  expect_open_error(__LINE__, "POST", "/logging/hosts/10.0.0.9");
}

TEST(Logging, HandsTheSwitchWhatTheRequestSays)
{
  engine_reset();
  api_request("POST", "/logging/hosts/10.0.0.1", "json");
  const char* size = "rpcclt_openapiLoggingHostMaxAddrLenGet(>65) = 0";
  expect_calls(__LINE__, api_calls("PUT", "/logging/hosts/10.0.0.1/port?value=-1"),
               {size, "rpcclt_openapiLoggingHostPortSet({65,\"10.0.0.1\"}, 0) = 0"});
  expect_calls(__LINE__, api_calls("PUT", "/logging/syslog/port?value=-1"),
               {"rpcclt_openapiSysLogPortSet(0) = 0"});
  expect_calls(__LINE__, api_calls("GET", "/logging/hosts/10.0.0.1"),
               {size, "rpcclt_openapiLoggingHostPortGet({65,\"10.0.0.1\"}, >514) = 0",
                "rpcclt_openapiLoggingHostSeverityGet({65,\"10.0.0.1\"}, >3) = 0"});
  expect_calls(__LINE__, api_calls("GET", "/logging/hosts"),
               {size, "rpcclt_openapiLoggingHostIpAddrNextGet(>{9,\"10.0.0.1\"}) = 0",
                "rpcclt_openapiLoggingHostIpAddrNextGet(>{65,\"10.0.0.1\"}) = -26"});
  expect_calls(__LINE__, api_calls("GET", "/logging"),
               {"rpcclt_openapiCliCmdLoggingModeGet(", "rpcclt_openapiConsoleLoggingModeGet(",
                "rpcclt_openapiConsoleLoggingSeverityGet(", "rpcclt_openapiSysLogModeGet(",
                "rpcclt_openapiSysLogPortGet(", "rpcclt_openapiMaxLoggingHostsSupportedGet("});
}

TEST(Logging, ChecksEachCall)
{
  const std::vector<std::string> size = {"rpcclt_openapiLoggingHostMaxAddrLenGet"};
  const auto add_host = [] {
    engine_reset();
    api_request("POST", "/logging/hosts/10.0.0.1", "json");
  };
  add_host();
  for (const char* path : {"/logging/cli/mode?value=1", "/logging/console/mode?value=1",
                           "/logging/syslog/mode?value=0", "/logging/console/severityLevel?value=2",
                           "/logging/syslog/port?value=-1", "/logging/syslog/port?value=9"})
    expect_each_call_checked(__LINE__, "PUT", path);
  expect_each_call_checked(__LINE__, "GET", "/logging");
  expect_each_call_checked(__LINE__, "GET", "/logging/hosts",
                           {size[0], "rpcclt_openapiLoggingHostIpAddrNextGet"});
  expect_each_call_checked(__LINE__, "GET", "/logging/hosts/10.0.0.1", size);
  expect_each_call_checked(__LINE__, "PUT", "/logging/hosts/10.0.0.1/port?value=9", size);
  expect_each_call_checked(__LINE__, "PUT", "/logging/hosts/10.0.0.1/port?value=-1", size);
  expect_each_call_checked(__LINE__, "PUT", "/logging/hosts/10.0.0.1/severityLevel?value=2", size);
  expect_each_call_checked(__LINE__, "POST", "/logging/hosts/10.0.0.2", size, add_host);
  expect_each_call_checked(__LINE__, "DELETE", "/logging/hosts/10.0.0.1", size, add_host);
}

TEST(Logging, SurvivesAnySwitch)
{
  engine_reset();
  api_request("POST", "/logging/hosts/10.0.0.1", "json");
  const char* host = "/logging/hosts/10.0.0.1";
  const char* one = R"({"logging_hosts":{"1":{"address":"10.0.0.1"}}})";
  for (const char* value : {"{\"value\": 9}", "{\"value\": -1}"}) {
    expect_answers_with_fault("rpcclt_openapiConsoleLoggingSeverityGet", value,
                              {api_case(__LINE__, "GET", "/logging", 99)});
    expect_answers_with_fault("rpcclt_openapiLoggingHostSeverityGet", value,
                              {api_case(__LINE__, "GET", host, 99)});
  }
  const char* size = "rpcclt_openapiLoggingHostMaxAddrLenGet";
  for (const char* value : {"{\"value\": 0}", "{\"value\": 1}", "{\"value\": 8}"})
    expect_answers_with_fault(
        size, value,
        {api_case(__LINE__, "GET", "/logging/hosts", 0, GOT, R"({"logging_hosts":{}})"),
         api_case(__LINE__, "GET", host, 99)});
  expect_answers_with_fault(size, "{\"value\": 4294967295}",
                            {api_case(__LINE__, "GET", "/logging/hosts", 0, GOT, one)});
  // a walk that says there is more for ever, and a text without an end
  expect_answers_with_fault("rpcclt_openapiLoggingHostIpAddrNextGet",
                            "{\"value\": \"10.0.0.1\", \"result\": 0}",
                            {api_case(__LINE__, "GET", "/logging/hosts", 0, GOT, one)});
  const std::string text(65, 'h');
  expect_answers_with_fault(
      "rpcclt_openapiLoggingHostIpAddrNextGet", "{\"value\": \"" + text + "\", \"times\": 1}",
      {api_case(__LINE__, "GET", "/logging/hosts", 0, GOT,
                (R"({"logging_hosts":{"1":{"address":")" + text + R"("}}})").c_str())});
}

TEST(Logging, RefusesOtherPaths)
{
  engine_reset();
  for (const char* path :
       {"/logging/hosts/10.0.0.1/ports", "/logging/hosts/10.0.0.1/port/x", "/logging/hosts//port",
        "/logging/cli", "/logging/cli/mode/", "/logging/console/severitylevel"})
    expect_bad_request(__LINE__, "PUT", path);
  for (const char* path : {"/logging/", "/logging/hosts/", "/logging/hosts/10.0.0.1/port"})
    expect_bad_request(__LINE__, "GET", path);
  expect_bad_request(__LINE__, "POST", "/logging/hosts");
  expect_bad_request(__LINE__, "DELETE", "/logging/hosts");
  char text[36] = "as it was";
  EXPECT_EQ(get_log_severity_level_string_by_eum(static_cast<OPEN_LOG_SEVERITY_t>(9), text),
            RC_FALSE);
  EXPECT_STREQ(text, "as it was");
  EXPECT_EQ(get_log_severity_level_string_by_eum(OPEN_LOG_SEVERITY_UNDEFINED, text), RC_TRUE);
  EXPECT_STREQ(text, "Severity level undefined.");
}

// --- SSH ---

static std::string ssh_data(const char* mode, const char* version, int max, int timeout)
{
  return std::string(R"({"infomation":{"admin_mode":")") + mode + R"(","version":")" + version +
         R"(","active_sessions":0,"max_sessions":)" + std::to_string(max) + R"(,"timeout":)" +
         std::to_string(timeout) + "}}";
}

TEST(Ssh, SettingsAreReadAndChanged)
{
  engine_reset();
  const char* mode = "Update SSH admin mode successfully.";
  const char* sessions = "Update SSH maximum sessions successfully.";
  const char* version = "Update SSH protocol version successfully.";
  const char* timeout = "Update SSH session timeout successfully.";
  expect_answer(__LINE__, "GET", "/ssh", 0, GOT, ssh_data("disable", "2", 5, 5).c_str());
  expect_answers({
      api_case(__LINE__, "PUT", "/ssh/adminMode?value=1", 0, mode, "{}"),
      api_case(__LINE__, "PUT", "/ssh/maxSessions?value=1", 0, sessions, "{}"),
      api_case(__LINE__, "PUT", "/ssh/protoVersion?value=3", 0, version, "{}"),
      api_case(__LINE__, "PUT", "/ssh/timeout?value=160", 0, timeout, "{}"),
  });
  expect_answer(__LINE__, "GET", "/ssh", 0, GOT, ssh_data("enable", "1 and 2", 1, 160).c_str());
  for (const char* setting :
       {"adminMode?value=2", "adminMode?value=-1", "adminMode", "maxSessions?value=0",
        "maxSessions?value=-2", "maxSessions?value=6", "maxSessions", "protoVersion?value=0",
        "protoVersion?value=4", "protoVersion", "timeout?value=-5", "timeout?value=161", "timeout"})
    expect_open_error(__LINE__, "PUT", std::string("/ssh/") + setting);
  expect_answers({
      api_case(__LINE__, "PUT", "/ssh/adminMode?value=0", 0, mode, "{}"),
      api_case(__LINE__, "PUT", "/ssh/maxSessions?value=-1", 0, sessions, "{}"),
      api_case(__LINE__, "PUT", "/ssh/protoVersion?value=1", 0, version, "{}"),
      api_case(__LINE__, "PUT", "/ssh/timeout?value=0", 0, timeout, "{}"),
  });
  expect_xml_answer(__LINE__, "GET", "/ssh", 0, GOT,
                    "<infomation><admin_mode>disable</admin_mode><version>1</version>"
                    "<active_sessions>0</active_sessions><max_sessions>5</max_sessions>"
                    "<timeout>5</timeout></infomation>");
}

TEST(Ssh, CallsAndFailures)
{
  engine_reset();
  expect_calls(__LINE__, api_calls("PUT", "/ssh/protoVersion?value=3"),
               {"rpcclt_openapiSSHProtocolVersionSet(2) = 0"});
  expect_calls(__LINE__, api_calls("PUT", "/ssh/maxSessions?value=-1"),
               {"rpcclt_openapiSSHMaxSessionsDefaultSet() = 0"});
  expect_calls(__LINE__, api_calls("PUT", "/ssh/timeout?value=0"),
               {"rpcclt_openapiSSHSessionTimeoutSet(0) = 0"});
  expect_calls(__LINE__, api_calls("PUT", "/ssh/timeout?value=-5"), {});
  expect_calls(__LINE__, api_calls("GET", "/ssh"),
               {"rpcclt_openapiSSHAdminModeGet(", "rpcclt_openapiSSHProtocolVersionGet(",
                "rpcclt_openapiSSHActiveSessionsGet(", "rpcclt_openapiSSHMaxSessionsGet(",
                "rpcclt_openapiSSHSessionTimeoutGet("});
  expect_each_call_checked(__LINE__, "GET", "/ssh");
  for (const char* setting : {"adminMode?value=1", "maxSessions?value=2", "maxSessions?value=-1",
                              "protoVersion?value=2", "timeout?value=3"})
    expect_each_call_checked(__LINE__, "PUT", std::string("/ssh/") + setting);
  for (const char* value : {"{\"value\": 3}", "{\"value\": -1}"})
    expect_answers_with_fault("rpcclt_openapiSSHProtocolVersionGet", value,
                              {api_case(__LINE__, "GET", "/ssh", 99)});
  for (const char* path : {"/ssh/", "/ssh/adminMode", "/ssh/timeout/"})
    expect_bad_request(__LINE__, "GET", path);
  for (const char* path : {"/ssh", "/ssh/adminMode/", "/ssh/adminmode"})
    expect_bad_request(__LINE__, "PUT", path);
  for (const char* method : {"POST", "DELETE"})
    expect_bad_request(__LINE__, method, "/ssh/adminMode?value=1");
}
