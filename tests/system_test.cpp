// The modules "system", "logging" and "ssh": settings of the switch as a whole.
#include <gtest/gtest.h>

#include <string>

#include "modules/rest_module_system.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

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
