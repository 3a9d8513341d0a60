// The "pml" module: sticky mode and static MAC entries of the ports.
#include "tests/support/api_script.h"

SCRIPT_TEST(Pml, StickyMode, R"(reset
GET /pml/if/3/sticky -> 0 Get interface sticky mode successfully. {"sticky":"disable"}
PUT /pml/if/3/sticky?value=1 -> 0 Update interface sticky mode to enable successfully. {}
GET /pml/if/3/sticky -> 0 Get interface sticky mode successfully. {"sticky":"enable"}
GET /pml/if/4/sticky -> 0 Get interface sticky mode successfully. {"sticky":"disable"}
PUT /pml/if/3/sticky?value=0 -> 0 Update interface sticky mode to disable successfully. {}
PUT /pml/if/3/sticky ?value= ?value=5 /pml/if/55/sticky?value=1 GET /pml/if/99999999999/sticky -> 99
[PmlIntfStickyModeGet {'value': 7}] GET /pml/if/3/sticky -> 0 Get interface sticky mode
    successfully. {"sticky":""}
GET /pml/if/3/sticky -> 0 Get interface sticky mode successfully. {"sticky":"disable"})");

SCRIPT_TEST(Pml, StaticEntries, R"(reset
GET /pml/if/3/mac -> 99
POST /pml/if/3/vlan/10/sticky/1/mac?value=00:0a:ff:01:02:03 -> 0 Create interface static mac
    00:0a:ff:01:02:03 vlan 10 successfully. {}
POST /pml/if/3/vlan/10/sticky/1/mac?value=000a.ff01.0203 -> 98
POST /pml/if/3/vlan/9/sticky/00/mac?value=000a.ff01.0203 -> 0 Create interface static mac
    000a.ff01.0203 vlan 9 successfully. {}
POST /pml/if/3/vlan/1/sticky/01/mac?value=00-01-02-03-04-05 -> 0 Create interface static mac
    00-01-02-03-04-05 vlan 1 successfully. {}
POST /pml/if/3/vlan/1/sticky/0/mac?value=000102030406 -> 0 Create interface static mac 000102030406
    vlan 1 successfully. {}
GET /pml/if/3/mac -> 0 Get interface static mac successfully.
    {"interface":{"1":{"macAddr":"00:01:02:03:04:05","vlan":1,"sticky":"enable"},
    "2":{"macAddr":"00:01:02:03:04:06","vlan":1,"sticky":"disable"},
    "3":{"macAddr":"00:0A:FF:01:02:03","vlan":9,"sticky":"disable"},
    "4":{"macAddr":"00:0A:FF:01:02:03","vlan":10,"sticky":"enable"}}}
DELETE /pml/if/3/vlan/1/mac?value=0:1:2:3:4:5 -> 0 Delete interface static mac 0:1:2:3:4:5 vlan 1
    successfully. {}
DELETE /pml/if/3/vlan/1/mac?value=0:1:2:3:4:5 /pml/if/3/vlan/10/mac -> 99
DELETE /pml/if/3/vlan/10/mac?value=000aff010203 -> 0 Delete interface static mac 000aff010203 vlan
    10 successfully. {}
DELETE /pml/if/3/vlan/9/mac?value=000aff010203 -> 0 Delete interface static mac 000aff010203 vlan 9
    successfully. {}
GET /pml/if/3/mac -> 0 Get interface static mac successfully.
    {"interface":{"1":{"macAddr":"00:01:02:03:04:06","vlan":1,"sticky":"disable"}}}
POST /pml/if/3/vlan/1/sticky/0/mac ?value=01:00:5e:00:00:01 ?value=00:00:00:00:00:00
    ?value=00:01:02:03:04 ?value=00:01:02:03:04:05:06
    /pml/if/3/vlan/4095/sticky/0/mac?value=000102030405
    /pml/if/0/vlan/1/sticky/0/mac?value=000102030405 -> 99)");

SCRIPT_TEST(Pml, HandsTheSwitchWhatTheRequestSays, R"(reset
POST /pml/if/3/vlan/10/sticky/1/mac?value=000aff010203 => PmlIntfStaticEntryAdd(3,
    {12,"000aff010203"}, 10, 1) = 0
GET /pml/if/3/mac => PmlIntfStaticEntryGetFirst(3, >{18,"00:0A:FF:01:02:03"}, >10, >1) = 0 |
    PmlIntfStaticEntryGetNext(3, >{256,"00:0A:FF:01:02:03"}, >10, >1) = -26
DELETE /pml/if/3/vlan/10/mac?value=000aff010203 => PmlIntfStaticEntryDelete(3, {12,"000aff010203"},
    10) = 0
PUT /pml/if/3/sticky?value=-3 => PmlIntfStickyModeSet(3, -3) = -22)");

SCRIPT_TEST(Pml, ChecksEachCall, R"(reset
POST /pml/if/3/vlan/10/sticky/1/mac?value=2:2:3:4:5:6
check GET /pml/if/3/sticky PUT /pml/if/3/sticky?value=1
check GET /pml/if/3/mac but PmlIntfStaticEntryGetNext
check POST /pml/if/3/vlan/9/sticky/1/mac?value=2:2:3:4:5:6 DELETE
    /pml/if/3/vlan/10/mac?value=2:2:3:4:5:6)");

SCRIPT_TEST(Pml, SurvivesAnySwitch, R"(reset
POST /pml/if/3/vlan/10/sticky/1/mac?value=0:1:2:3:4:5
[PmlIntfStaticEntryGetFirst {'value': '$256x'}] GET /pml/if/3/mac -> 0 Get interface static mac
    successfully. {"interface":{"1":{"macAddr":"$255x","vlan":10,"sticky":"enable"}}}
// a walk that says there is more for ever
[PmlIntfStaticEntryGetNext {'value': '00:01:02:03:04:05', 'result': 0}] GET /pml/if/3/mac
    -> 0 Get interface static mac successfully.
    {"interface":{"1":{"macAddr":"00:01:02:03:04:05","vlan":10,"sticky":"enable"}}})");
