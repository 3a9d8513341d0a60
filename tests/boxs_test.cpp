// The "boxs" module: fans, power supplies, temperature sensors and transceivers.
#include <gtest/gtest.h>

#include "modules/rest_module_boxs.h"
#include "modules/rest_strlib_enum.h"
#include "tests/support/api_script.h"

SCRIPT_TEST(Boxs, ReportsWhatTheSwitchHas,
            R"(reset { "ports": 12, "fans": [{"state": 2, "type": 1, "speed": 5400,
    "duty_cycle": 40}, {"state": 3, "type": 2, "speed": 100, "duty_cycle": 40}, {"state": 8, "type":
    7}, {"state": -1, "type": 0, "speed": 4294967295}], "power_supplies": [{"state": 2, "type": 2},
    {"state": 5, "type": 2}, {"state": 7, "type": 3}], "temp_sensors": [{"state": 1, "temperature":
    31, "description": "Inlet"}, {"state": 7, "temperature": -40, "description": ""}],
    "transceivers": [ {"port": 12, "module_type": 10}, {"port": 3, "module_type": 3, "vendor_name":
    "V", "vendor_revision": "r1", "link_length_50um": 80, "link_length_62_5um": 30, "serial_number":
    "S1", "part_number": "P1", "nominal_signal_rate": 103, "compliance": "40GBASE-SR4"}] }
GET /boxs -> {"infomation":{"temp_sensors_number":2,"fans_number":4,"power_supplies_number":3}}
GET /boxs/fans -> {"fans":{"1":{"state":"Operational","type":"Fixed","speed":"5400",
    "duty_cycle":"40"},"2":{"state":"Failed","type":"Removable","speed":"-","duty_cycle":"-"},
    "3":{"state":"Unknown","type":"Unknown","speed":"-","duty_cycle":"-"},"4":{"state":"Unknown",
    "type":"None","speed":"-","duty_cycle":"-"}}}
GET /boxs/powSupplies -> {"power_supplies":{"1":{"state":"Operational","type":"Removable"},
    "2":{"state":"Not powered","type":"Removable"},"3":{"state":"Incompatible","type":"Unknown"}}}
GET /boxs/tempSensors -> {"temp_sensors":{"1":{"state":"Normal","temperature":31,
    "description":"Inlet"},"2":{"state":"Unknown","temperature":-40,"description":""}}}
GET /boxs/sfp -> {"sfp_transceivers":{"1":{"port":3,"module_type":"QSFP","vendor_name":"V",
    "vendor_revision":"r1","link_length_50um":80,"link_length_62_5um":30,"serial_number":"S1",
    "part_number":"P1","nominal_signal_rate":103,"compliance":"40GBASE-SR4"},"2":{"port":12,
    "module_type":"Unknown","vendor_name":"","vendor_revision":"","link_length_50um":0,
    "link_length_62_5um":0,"serial_number":"","part_number":"","nominal_signal_rate":0,
    "compliance":""}}})");

SCRIPT_TEST(Boxs, ReportsASwitchWithNothingInIt,
            R"(reset {"fans": [], "power_supplies": [], "temp_sensors": [],
    "transceivers": []}
GET /boxs -> {"infomation":{"temp_sensors_number":0,"fans_number":0,"power_supplies_number":0}}
GET /boxs/fans -> {"fans":{}}
GET /boxs/powSupplies -> {"power_supplies":{}}
GET /boxs/tempSensors -> {"temp_sensors":{}}
GET /boxs/sfp -> {"sfp_transceivers":{}})");

// A failed fan, a supply without power, transceivers.
SCRIPT_TEST(Boxs, HasABuiltInSwitch, R"(reset
GET /boxs -> {"infomation":{"temp_sensors_number":3,"fans_number":4,"power_supplies_number":2}}
GET /boxs/fans ~ "state": "Failed",
GET /boxs/fans ~ "speed": "-", "duty_cycle": "-"
GET /boxs/powSupplies ~ "state": "Not powered"
GET /boxs/powSupplies ~ "state": "Operational"
GET /boxs/tempSensors ~ "3": { "state": "Normal",
GET /boxs/sfp ~ "port": 49,)");

SCRIPT_TEST(Boxs, CallsInOrder,
            R"(reset {"ports": 2, "transceivers": [{"port": 2}], "temp_sensors": [{}]}
GET /boxs => BoxsNumOfTempSensorsGet( | BoxsNumOfFansGet( | BoxsNumOfPowSuppliesGet(
GET /boxs/tempSensors => BoxsNumOfTempSensorsGet( | BoxsTempSensorStatusGet(0,  | BoxsTempGet(0,  |
    BoxsTempSensorDescripSizeGet( | BoxsTempSensorDescripGet(0,
GET /boxs/sfp => IfFirstGet(0, >1) = 0 | BoxsSfpNominalSignalRate(1, >0) = -26 | IfNextGet(0, 1, >2)
    = 0 | BoxsSfpNominalSignalRate(2, >0) = 0 | BoxsSfpTypeGet(2,  | BoxsSfpVendorNameSizeGet( |
    BoxsSfpVendorNameGet(2,  | BoxsSfpVendorRevSizeGet( | BoxsSfpVendorRevisionGet(2,  |
    BoxsSfpLinkLength50umGet(2,  | BoxsSfpLinkLength62_5umGet(2,  | BoxsSfpSerialNumberSizeGet( |
    BoxsSfpSerialNumberGet(2,  | BoxsSfpPartNumberSizeGet( | BoxsSfpPartNumberGet(2,  |
    BoxsSfpNominalSignalRate(2, >0) = 0 | BoxsSfpComplianceSizeGet( | BoxsSfpComplianceGet(2,  |
    IfNextGet(0, 2,
check GET /boxs /boxs/fans /boxs/powSupplies /boxs/tempSensors
check GET /boxs/sfp but BoxsSfpNominalSignalRate IfNextGet
// the second reading of a transceiver's rate is not forgiven
[BoxsSfpNominalSignalRate {'result': -26, 'after': 2}] GET /boxs/sfp -> 99)");

SCRIPT_TEST(Boxs, SurvivesAnySwitch,
            R"(reset {"ports": 2, "transceivers": [], "temp_sensors": [{"description":
    "D"}]}
[BoxsTempSensorDescripSizeGet {'value': 0} | BoxsTempSensorDescripSizeGet {'value': 1}] GET
    /boxs/tempSensors -> 99
[BoxsTempSensorDescripSizeGet {'value': 2} | BoxsTempSensorDescripSizeGet {'value': 4294967295}] GET
    /boxs/tempSensors -> {"temp_sensors":{"1":{"state":"Normal","temperature":0,"description":"D"}}}
[BoxsTempSensorDescripGet {'value': '$256d'}] GET /boxs/tempSensors ~ "description": "$255d"
// more fans than there are, and a port that follows itself
[BoxsNumOfFansGet {'value': 4294967295}] GET /boxs/fans -> 99
[IfNextGet {'value': 1, 'result': 0}] GET /boxs/sfp -> {"sfp_transceivers":{}}
[IfNextGet {'value': 1, 'result': 0}] GET /boxs/sfp => IfFirstGet( | BoxsSfpNominalSignalRate( |
    IfNextGet()");

TEST(Boxs, GivesEveryValueItsText)
{
  char text[32];
  EXPECT_EQ(get_open_boxs_item_state_string_by_enum(OPEN_ITEMSTATE_NOPOWER, text, sizeof text),
            RC_TRUE);
  EXPECT_STREQ(text, "Not powered");
  EXPECT_EQ(get_open_boxs_tempsensor_state_string_by_enum(OPEN_TEMPSENSOR_STATE_NONE, text, 5),
            RC_TRUE);
  EXPECT_STREQ(text, "Not ");
  get_open_sfp_module_type_string_by_enum(OPEN_MODULE_AX745, text, sizeof text);
  EXPECT_STREQ(text, "Copper 10G plugin module, AX745");
  get_open_sfp_module_type_string_by_enum(static_cast<OPEN_SFP_MODULE_TYPE_t>(-2147483647 - 1),
                                          text, sizeof text);
  EXPECT_STREQ(text, "Unknown");
  EXPECT_EQ(get_open_boxs_item_type_string_by_enum(OPEN_TYPE_FIXED, nullptr, 9), RC_FALSE);
  const char* fixed = pStr_enumBoxsItemType_Fixed;
  pStr_enumBoxsItemType_Fixed = "Built in";
  get_open_boxs_item_type_string_by_enum(OPEN_TYPE_FIXED, text, sizeof text);
  EXPECT_STREQ(text, "Built in");
  pStr_enumBoxsItemType_Fixed = fixed;
}
