// The "lag" module and the switch's port channels behind it, over sockets.
#include <gtest/gtest.h>

#include <string>

#include "modules/rest_module_lag.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

SCRIPT_TEST(Lags, AreListedAndShownWithMembers, R"(reset
GET /lag -> {"lag_interfaces":{"1":{"id":1},"2":{"id":2}}}
GET /lag/1 -> {"lag_interface":{"id":1,"name":"ch1","members":{"1":{"portNum":47},
    "2":{"portNum":48}}}}
GET /lag/2 -> {"lag_interface":{"id":2,"name":"ch2","members":{}}}
GET /lag/3 /lag/0 /lag/99 -> 99
// the room is four bytes a slot, and all slots are offered
GET /lag/1 => LagPortChannelIdToIfNumZRT(1, >56) | LagNameMaxLengthGet(>16) |
    LagNameGet(56, >{4,"ch1"}) | LagIfNumToPortChannelIdZRT(56, >1) | LagMaxMemberCountGet(>8) |
    LagMembersGet(56, >2, >{8,"47,48"})
GET /lag => IfFirstGet(2, >56) | LagIfNumToPortChannelIdZRT(56, >1) | IfNextGet(2, 56, >57) |
    LagIfNumToPortChannelIdZRT(57, >2) | IfNextGet(2, 57,
reset {"lags": []}
GET /lag -> {"lag_interfaces":{}}
reset {"lags": [{"id": 7, "name": "uplink", "members": [3, 1]}]}
GET /lag/7 -> {"lag_interface":{"id":7,"name":"uplink","members":{"1":{"portNum":1},
    "2":{"portNum":3}}}})");

SCRIPT_TEST(Lags, HaveMembersThatAreInOneGroupAtMost, R"(reset
POST /lag/2/port/5 -> 0 Configure port 5 to LAG 2 successfully.
POST /lag/2/port/5 -> 98
// in another group, no such group, no port, not a member
POST /lag/1/port/5 /lag/3/port/6 /lag/2/port/55 DELETE /lag/1/port/5 /lag/3/port/5 -> 99
DELETE /lag/2/port/5 -> 0 Delete port 5 from LAG 2 successfully.
DELETE /lag/2/port/5 -> 99
// a group has link as long as one of its members has: 47 and 48 have none
GET /if/56 ~ "linkState": "down", "speed": "LAG"
POST /lag/1/port/5
GET /if/56 ~ "linkState": "up"
PUT /if/5/adminState?value=0
GET /if/56 ~ "linkState": "down"
POST /lag/1/port/10 /lag/1/port/11 /lag/1/port/12 /lag/1/port/13
POST /lag/1/port/15 => LagPortChannelIdToIfNumZRT(1, >56) | LagPortAdd(56, 15) = 0 |
    LagIfNumToPortChannelIdZRT(56, >1)
POST /lag/1/port/16 => LagPortChannelIdToIfNumZRT(1, >56) | LagPortAdd(56, 16) = -23)");

SCRIPT_TEST(Lags, MembersLeaveVlansRoutingAndMtuToTheGroup, R"(reset {"vlans": 30}
PUT /if/5/mtuSize?value=9000 POST /if/5/vlan/10 /lag/2/port/5 PUT /if/57/mtuSize?value=2000 POST
    /if/57/vlan/20 PUT /if/57/pvid?value=20
GET /if/5 ~ "pvid": 20, "acceptFrameType": "all", "autoNegMode": "enable", "duplexMode": "full",
GET /if/5 ~ "MTU_size": 2000
GET /if/5/vlan -> {"participations":{"0":{"vlanId":1},"19":{"vlanId":20}}}
PUT /if/5/mtuSize?value=1500 POST /if/5/vlan/10 DELETE /if/5/vlan/10 PUT
    /if/5/vlan/10/taggingMode?value=1 /if/5/pvid?value=10 /if/5/acceptFrameType?value=2
    /if/5/switchportMode?value=2 /if/5/access/vlan?value=10 /if/5/trunk/pvid?value=10
    /if/5/trunk/vlan?value=10 /routing/if/5/adminMode?value=1 POST
    /routing/if/5/ip?addrType=0&addr=10.5.0.1&pfxLen=24&extArg=0 -> -28
PUT /if/5/adminState?value=1 /if/5/speed?value=3 /if/5/description?value=x
// a VLAN has link by the group, not by its members
POST /routing/vlanRtrIf?vlanId=10 ?vlanId=20
GET /if/227 ~ "linkState": "up"
PUT /if/57/adminState?value=0
GET /if/226 ~ "linkState": "down"
GET /if/227 ~ "linkState": "down"
// what was its own comes back
DELETE /lag/2/port/5
GET /if/5 ~ "MTU_size": 9000
GET /if/5/vlan -> {"participations":{"0":{"vlanId":1},"9":{"vlanId":10}}}
GET /if/226 ~ "linkState": "up"
// who routes, or waits for an address, does not join
PUT /routing/if/5/adminMode?value=1 POST /routing/if/6/ip?addrType=2&extArg=0
POST /lag/2/port/5 /lag/2/port/6 -> -26
PUT /routing/if/5/adminMode?value=0 POST /lag/2/port/5)");

TEST(Lags, EveryCallIsChecked)
{
  // that a number cannot be translated is a wrong parameter, whatever went wrong
  run_script(__LINE__, R"(reset
check GET /lag but IfFirstGet IfNextGet LagIfNumToPortChannelIdZRT
check GET /lag/1 but LagPortChannelIdToIfNumZRT LagIfNumToPortChannelIdZRT
check POST /lag/2/port/5 but LagPortChannelIdToIfNumZRT LagIfNumToPortChannelIdZRT
    after DELETE /lag/2/port/5
check DELETE /lag/2/port/6 but LagPortChannelIdToIfNumZRT LagIfNumToPortChannelIdZRT
    after POST /lag/2/port/6
[LagPortChannelIdToIfNumZRT {'result': -24} | LagIfNumToPortChannelIdZRT {'result': -24}]
    GET /lag/1 DELETE /lag/1/port/48 -> 99
[IfFirstGet {'result': -25}] GET /lag -> {"lag_interfaces":{}}
// the port is in the group although the answer says otherwise
[LagIfNumToPortChannelIdZRT {'value': 0}] POST /lag/2/port/7 GET /lag -> 99
GET /lag/2 ~ "portNum": 7)");
}

SCRIPT_TEST(Lags, OddAnswersOfTheSwitchAreSurvived, R"(
// its result is not looked at
reset {}
[LagNameMaxLengthGet {'value': 0}] GET /lag/1 -> 99
[LagNameMaxLengthGet {'value': 4} | LagNameMaxLengthGet {'value': 4294967295} |
    LagMaxMemberCountGet {'value': 4294967295}] GET /lag/1 ->
    {"lag_interface":{"id":1,"name":"ch1","members":{"1":{"portNum":47},"2":{"portNum":48}}}}
[LagNameGet {'value': '1234567890123456'}] GET /lag/2 ~ "name": "1234567890123456",
[LagMaxMemberCountGet {'value': 0}] GET /lag/2 ~ "name": "ch2", "members": { }
[LagMaxMemberCountGet {'value': 1}] GET /lag/1 -> 99
[LagMembersGet {'value': 4294967295}] GET /lag/2 ~ "8": { "portNum": 0 } } }
[LagMembersGet {'value': 1}] GET /lag/1 ~ "members": { "1": { "portNum": 47 } }
[IfNextGet {'result': 0, 'value': 57} | IfNextGet {'result': -25, 'value': 57, 'times': 1}] GET /lag
    -> {"lag_interfaces":{"1":{"id":1},"2":{"id":2}}}
[IfNextGet {'result': -25}] GET /lag -> 99
[LagPortChannelIdToIfNumZRT {'result': -25, 'value': 56}] GET /lag/1 -> 99
[LagIfNumToPortChannelIdZRT {'result': -25, 'value': 9}] GET /lag/2 ~ "id": 9, "name": "ch2",)");

TEST(Lags, WholeGroupsWithoutARoute)
{
  engine_reset();
  EXPECT_EQ(unrouted_answer(api_lag_delete_specified_id, "/lag/1?format=json"),
            json_envelope(0, "Delete LAG 1 successfully."));
  run_script(__LINE__, R"(GET /lag -> {"lag_interfaces":{"1":{"id":2}}}
POST /lag/2/port/47 -> 0 Configure port 47 to LAG 2 successfully.)");
  EXPECT_NE(unrouted_answer(api_lag_create_specified_id, "/lag/1").find("<rlt_code>99<"),
            std::string::npos);
  EXPECT_NE(unrouted_answer(api_lag_create_specified_id, "/lag/2").find("<rlt_code>98<"),
            std::string::npos);
  run_script(__LINE__, R"([LagPortChannelIdToIfNumZRT {'result': 0, 'value': 56}])");
  EXPECT_EQ(unrouted_answer(api_lag_create_specified_id, "/lag/1?format=json"),
            json_envelope(0, "Create LAG 1 successfully."));
  run_script(__LINE__, R"([]
GET /lag/1 -> {"lag_interface":{"id":1,"name":"ch1","members":{}}}
POST /tcam/policy?policyType=1&actionRedirPort=57)");
  EXPECT_NE(unrouted_answer(api_lag_delete_specified_id, "/lag/2").find("<rlt_code>99<"),
            std::string::npos);
  run_script(__LINE__, "DELETE /tcam/policy/1");
  EXPECT_NE(unrouted_answer(api_lag_delete_specified_id, "/lag/2").find("<rlt_code>0<"),
            std::string::npos);
}
