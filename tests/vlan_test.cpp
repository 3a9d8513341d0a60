// The "vlans" module and the switch's VLANs behind it, over sockets.
#include <gtest/gtest.h>

#include "engine/rest_web_request_hdr.h"
#include "modules/rest_module_vlan.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

SCRIPT_TEST(Vlans, AreCreatedListedRenamedAndDeleted, R"(reset {"vlan_max": 100}
GET /vlans -> {"vlans":{"1":{"id":1}}}
POST /vlans/100 -> 0 Create VLAN 100 successfully.
POST /vlans/5 -> 0 Create VLAN 5 successfully.
POST /vlans/5 -> 1 VLAN 5 exist.
POST /vlans/1 -> 1 VLAN 1 exist.
POST /vlans/0 /vlans/101 /vlans/4294967298 -> 2 VLAN ID not valid.
GET /vlans -> {"vlans":{"1":{"id":1},"2":{"id":5},"3":{"id":100}}}
PUT /vlans/100/name?value=$32n -> 0 Update name of VLAN 100 successfully.
PUT /vlans/100/name?value=$32nn ?value=$256n /vlans/100/name ?value= ?value=%00 -> 2 The value of
    parameter is invalid.
PUT /vlans/9/name -> 1 VLAN 9 does not exist.
PUT /vlans/5/name?value=a%20b -> 0 Update name of VLAN 5 successfully.
GET /vlans/4 -> 1 VLAN 4 does not exist.
DELETE /vlans/5000 -> 1 VLAN 5000 does not exist.
DELETE /vlans/5 -> 0 Delete VLAN 5 successfully.
DELETE /vlans/5 -> 1 VLAN 5 does not exist.
DELETE /vlans/1 -> 99
GET /vlans -> {"vlans":{"1":{"id":1},"2":{"id":100}}}
GET /vlans/100 ~ "name": "$32n"
// the name is counted with its terminating zero, and nothing is asked before its turn
PUT /vlans/100/name?value=lab => VlanCreatedCheck(100) = 0 | VlanNameSet(100, {4,"lab"}) = 0
POST /vlans/7 => VlanCreatedCheck(7) = -29 | Dot1VlanMaxGet(>100) | VlanCreate(7) = 0
DELETE /vlans/8 => VlanCreatedCheck(8) = -29)");

SCRIPT_TEST(Vlans, OneWithMembers,
            R"(reset {"ports": 4, "vlans": [{"id": 10, "name": "lab"}, {"id": 20,
    "type": "dynamic", "name": ""}]}
// 2 is no member for all that
POST /if/1/vlan/10 /if/3/vlan/10 PUT /if/3/vlan/10/taggingMode?value=1
    /if/2/vlan/10/taggingMode?value=1
GET /vlans/10 -> {"vlan":{"id":10,"name":"lab","type":"static","interfaces":{"1":{"ifNum":1,
    "participationMode":"Include","isTagging":0},"3":{"ifNum":3,"participationMode":"Include",
    "isTagging":1}}}}
GET /vlans/20 -> {"vlan":{"id":20,"name":"","type":"dynamic","interfaces":{}}}
GET /vlans/10 => VlanCreatedCheck(10) | VlanNameLenGet(>33) | VlanNameGet(10, >{4,"lab"}) |
    VlanIsStatic(10) = 1 | IfFirstGet(0, >1) | VlanIfParticipationStatusGet(10, 1, >1) |
    VlanIfParticipationGet(10, 1, >0) | VlanIfTaggingGet(1, 10, >0) | IfNextGet(0, 1, >2) |
    VlanIfParticipationStatusGet(10, 2, >0) | IfNextGet(0, 2, >3) | VlanIfParticipationStatusGet(10,
    3, >1) | VlanIfParticipationGet(10, 3, >0) | VlanIfTaggingGet(3, 10, >1) | IfNextGet(0, 3, >4) |
    VlanIfParticipationStatusGet(10, 4, >0) | IfNextGet(0, 4,
// VLAN 1 has everybody until they are taken out of it
GET /vlans/1 ~ "4": { "ifNum": 4,)");

SCRIPT_TEST(Vlans, PendingChanges, R"(reset {"pending_ms": 600000, "vlans": 4}
GET /vlans/pendingChanges -> {"pending_vlans":{}}
// the walk starts behind VLAN 1
DELETE /vlans/2 PUT /vlans/4/name?value=lab /vlans/1/name?value=one POST /vlans/9 DELETE /vlans/9
GET /vlans/pendingChanges -> {"pending_vlans":{"1":{"id":2,"pending_type":"pending deletion"},
    "2":{"id":4,"pending_type":"pending change"},"3":{"id":9,"pending_type":"pending deletion"}}}
// there again
POST /vlans/2
GET /vlans/pendingChanges -> {"pending_vlans":{"1":{"id":2,"pending_type":"pending change"},
    "2":{"id":4,"pending_type":"pending change"},"3":{"id":9,"pending_type":"pending deletion"}}}
reset
// in force at once
POST /vlans/9
GET /vlans/pendingChanges -> {"pending_vlans":{}})");

SCRIPT_TEST(Vlans, DeletedOnesAreGoneFromEveryPort,
            R"(reset {"ports": 3, "vlans": [{"id": 10}, {"id": 20}]}
POST /if/1/vlan/10 PUT /if/1/pvid?value=10 /if/2/access/vlan?value=10 /if/2/switchportMode?value=2
    POST /if/3/trunk/vlan?value=10,20 PUT /if/3/trunk/pvid?value=10 /if/3/switchportMode?value=3
    DELETE /vlans/10 POST /vlans/10
GET /vlans/10 ~ "interfaces": { }
GET /if/1 ~ "pvid": 1,
GET /if/2 ~ "pvid": 1,
GET /if/3 ~ "pvid": 1,
POST /routing/vlanRtrIf?vlanId=10
DELETE /vlans/10 -> 99
DELETE /vlans/20
POST /routing/vlanRtrIf?vlanId=20 -> 99)");

SCRIPT_TEST(Vlans, EveryCallIsChecked, R"(reset {"ports": 2, "vlans": 3}
check GET /vlans but VlanNextGet
check GET /vlans/pendingChanges but VlanNextChangedGet
// that a VLAN cannot be looked up reads like its absence
check GET /vlans/1 but VlanCreatedCheck VlanIsStatic IfNextGet
check POST /vlans/7 but VlanCreatedCheck Dot1VlanMaxGet after DELETE /vlans/7
check DELETE /vlans/8 but VlanCreatedCheck after POST /vlans/8
check PUT /vlans/2/name?value=a but VlanCreatedCheck
[Dot1VlanMaxGet {'result': -26}]
POST /vlans/77 -> 2 VLAN ID not valid.
[]
[VlanCreatedCheck {'result': -25}]
DELETE /vlans/2 -> 1 VLAN 2 does not exist.)");

// $1 is VLAN 1 of a switch with two ports as far as the mode of its first member, $2 is VLAN 2.
SCRIPT_TEST(Vlans, OddAnswersOfTheSwitchAreSurvived, R"(reset {"ports": 2, "vlans": 2}
[VlanNameLenGet {'value': 0} | VlanNameLenGet {'value': 1}] GET /vlans/2 -> 99
[VlanNameLenGet {'value': 4294967295}] GET /vlans/2
    -> $2"VLAN0002","type":"static","interfaces":{}}}
// no room for a zero
[VlanNameGet {'value': '$33n'}] GET /vlans/2 -> $2"$33n","type":"static","interfaces":{}}}
[VlanIsStatic {'value': 2}] GET /vlans/2 -> $2"VLAN0002","type":"dynamic","interfaces":{}}}
[VlanIfParticipationStatusGet {'value': 2}] GET /vlans/1 -> {"vlan":{"id":1,"name":"default",
    "type":"static","interfaces":{}}}
[VlanIfParticipationGet {'value': 3, 'times': 1}] GET /vlans/1 -> $1"","isTagging":0$second:0}}}}
[VlanIfParticipationGet {'value': 1, 'times': 1}] GET /vlans/1
    -> $1"Autodetect","isTagging":0$second:0}}}}
[VlanIfParticipationGet {'value': -1, 'times': 1}] GET /vlans/1 -> $1"","isTagging":0$second:0}}}}
[VlanIfTaggingGet {'value': 7}] GET /vlans/1 -> $1"Include","isTagging":7$second:7}}}}
// walks without an end
[VlanNextGet {'value': 7}] GET /vlans -> {"vlans":{"1":{"id":1},"2":{"id":7}}}
[VlanNextGet {'result': 0, 'value': 1}] GET /vlans -> {"vlans":{"1":{"id":1}}}
[VlanNextChangedGet {'result': 0, 'value': 7}] GET /vlans/pendingChanges ->
    {"pending_vlans":{"1":{"id":7,"pending_type":"pending change"}}}
[IfNextGet {'result': 0, 'value': 1}] GET /vlans/2 -> $2"VLAN0002","type":"static","interfaces":{}}}
[IfNextGet {'result': -25}] GET /vlans/2 -> 99
// only -26 ends the walk: after another failure it goes on with what came along
[IfNextGet {'result': -25, 'value': 2, 'times': 1}] GET /vlans/1
    -> $1"Include","isTagging":0$second:0}}}})",
            "$second", R"(},"2":{"ifNum":2,"participationMode":"Include","isTagging")", "$1\"",
            R"({"vlan":{"id":1,"name":"default","type":"static","interfaces":{"1":{
                         "ifNum":1,"participationMode":")",
            "$2\"", R"({"vlan":{"id":2,"name":")");

TEST(Vlans, HelpersForOtherModules)
{
  run_script(__LINE__, R"(reset {"vlan_max": 50})");
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
