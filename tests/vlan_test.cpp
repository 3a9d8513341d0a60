// The "vlans" module and the switch's VLANs behind it, over sockets.
#include <gtest/gtest.h>

#include "engine/rest_web_request_hdr.h"
#include "modules/rest_module_vlan.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

TEST(Vlans, HelpersForOtherModules)
{
  run_script(__LINE__, R"(switch {"vlan_max": 50})");
  engine_do([] {
    EXPECT_EQ(check_vlan_exist(&client_handle, 1), RC_TRUE);
    EXPECT_EQ(check_vlan_exist(&client_handle, 2), RC_FALSE);
    EXPECT_EQ(get_vlan_num_max(&client_handle), 50u);
    uint32_t count = 7;
    EXPECT_EQ(get_interface_num_max(&client_handle, &count), OPEN_E_NONE);
    EXPECT_EQ(count, 353u);  // 128 VLAN routing interfaces from 226 on
    set_fault("openapiMaxInterfaceCountGet", "{'result': -25}");
    EXPECT_EQ(get_interface_num_max(&client_handle, &count), OPEN_E_TIMEOUT);
    EXPECT_EQ(count, 0u);
    set_fault("rpcclt_openapiDot1VlanMaxGet", "{'result': -25, 'value': 9}");
    EXPECT_EQ(get_vlan_num_max(&client_handle), 0u);
  });
}
