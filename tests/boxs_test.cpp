// The "boxs" module: fans, power supplies, temperature sensors and transceivers.
#include <gtest/gtest.h>

#include <string>

#include "modules/rest_module_boxs.h"
#include "modules/rest_strlib_enum.h"
#include "switchsim/switchsim.h"
#include "tests/support/answer_table.h"
#include "tests/support/local_engine.h"

static const char GOT[] = "Get data successfully.";

static const char HARDWARE[] = R"({
  "ports": 12,
  "fans": [{"state": 2, "type": 1, "speed": 5400, "duty_cycle": 40},
           {"state": 3, "type": 2, "speed": 100, "duty_cycle": 40},
           {"state": 8, "type": 7},
           {"state": -1, "type": 0, "speed": 4294967295}],
  "power_supplies": [{"state": 2, "type": 2}, {"state": 5, "type": 2}, {"state": 7, "type": 3}],
  "temp_sensors": [{"state": 1, "temperature": 31, "description": "Inlet"},
                   {"state": 7, "temperature": -40, "description": ""}],
  "transceivers": [
    {"port": 12, "module_type": 10},
    {"port": 3, "module_type": 3, "vendor_name": "V", "vendor_revision": "r1",
     "link_length_50um": 80, "link_length_62_5um": 30, "serial_number": "S1", "part_number": "P1",
     "nominal_signal_rate": 103, "compliance": "40GBASE-SR4"}]
})";

TEST(Boxs, ReportsWhatTheSwitchHas)
{
  engine_reset(HARDWARE);
  expect_answers({
      api_case(
          __LINE__, "GET", "/boxs", 0, GOT,
          R"({"infomation":{"temp_sensors_number":2,"fans_number":4,"power_supplies_number":3}})"),
      api_case(__LINE__, "GET", "/boxs/fans", 0, GOT,
               R"({"fans":{
         "1":{"state":"Operational","type":"Fixed","speed":"5400","duty_cycle":"40"},
         "2":{"state":"Failed","type":"Removable","speed":"-","duty_cycle":"-"},
         "3":{"state":"Unknown","type":"Unknown","speed":"-","duty_cycle":"-"},
         "4":{"state":"Unknown","type":"None","speed":"-","duty_cycle":"-"}}})"),
      api_case(__LINE__, "GET", "/boxs/powSupplies", 0, GOT,
               R"({"power_supplies":{"1":{"state":"Operational","type":"Removable"},
         "2":{"state":"Not powered","type":"Removable"},
         "3":{"state":"Incompatible","type":"Unknown"}}})"),
      api_case(__LINE__, "GET", "/boxs/tempSensors", 0, GOT,
               R"({"temp_sensors":{"1":{"state":"Normal","temperature":31,"description":"Inlet"},
         "2":{"state":"Unknown","temperature":-40,"description":""}}})"),
      api_case(__LINE__, "GET", "/boxs/sfp", 0, GOT,
               R"({"sfp_transceivers":{
         "1":{"port":3,"module_type":"QSFP","vendor_name":"V","vendor_revision":"r1",
           "link_length_50um":80,"link_length_62_5um":30,"serial_number":"S1","part_number":"P1",
           "nominal_signal_rate":103,"compliance":"40GBASE-SR4"},
         "2":{"port":12,"module_type":"Unknown","vendor_name":"","vendor_revision":"",
           "link_length_50um":0,"link_length_62_5um":0,"serial_number":"","part_number":"",
           "nominal_signal_rate":0,"compliance":""}}})"),
  });
  expect_xml_answer(
      __LINE__, "GET", "/boxs/tempSensors", 0, GOT,
      "<temp_sensors><temp_sensor><state>Normal</state><temperature>31</temperature>"
      "<description>Inlet</description></temp_sensor><temp_sensor><state>Unknown</state>"
      "<temperature>-40</temperature><description></description></temp_sensor></temp_sensors>");
  expect_xml_answer(__LINE__, "GET", "/boxs", 0, GOT,
                    "<infomation><temp_sensors_number>2</temp_sensors_number><fans_number>4"
                    "</fans_number><power_supplies_number>3</power_supplies_number></infomation>");
}

TEST(Boxs, ReportsASwitchWithNothingInIt)
{
  engine_reset(R"({"fans": [], "power_supplies": [], "temp_sensors": [], "transceivers": []})");
  expect_answers({
      api_case(
          __LINE__, "GET", "/boxs", 0, GOT,
          R"({"infomation":{"temp_sensors_number":0,"fans_number":0,"power_supplies_number":0}})"),
      api_case(__LINE__, "GET", "/boxs/fans", 0, GOT, R"({"fans":{}})"),
      api_case(__LINE__, "GET", "/boxs/powSupplies", 0, GOT, R"({"power_supplies":{}})"),
      api_case(__LINE__, "GET", "/boxs/tempSensors", 0, GOT, R"({"temp_sensors":{}})"),
      api_case(__LINE__, "GET", "/boxs/sfp", 0, GOT, R"({"sfp_transceivers":{}})"),
  });
}

// Values that only look at the built-in switch: a failed fan, a supply without power, transceivers.
TEST(Boxs, HasABuiltInSwitch)
{
  engine_reset();
  const auto count = [](const char* path, const std::string& part) {
    const std::string body = api_request("GET", path, "xml").body;
    size_t found = 0;
    for (size_t at = 0; (at = body.find(part, at)) != std::string::npos; at += part.size())
      found++;
    return found;
  };
  EXPECT_EQ(count("/boxs/fans", "<fan>"), 4u);
  EXPECT_EQ(count("/boxs/fans", "<state>Failed</state>"), 1u);
  EXPECT_EQ(count("/boxs/fans", "<speed>-</speed><duty_cycle>-</duty_cycle>"), 1u);
  EXPECT_EQ(count("/boxs/powSupplies", "<state>Not powered</state>"), 1u);
  EXPECT_EQ(count("/boxs/powSupplies", "<state>Operational</state>"), 1u);
  EXPECT_EQ(count("/boxs/tempSensors", "<state>Normal</state>"), 3u);
  EXPECT_EQ(count("/boxs/sfp", "<port>49</port>"), 1u);
  EXPECT_EQ(count("/boxs/sfp", "<port>54</port>"), 0u);
}

TEST(Boxs, CallsInOrder)
{
  engine_reset(R"({"ports": 2, "transceivers": [{"port": 2}], "temp_sensors": [{}]})");
  expect_calls(__LINE__, api_calls("GET", "/boxs"),
               {"rpcclt_openapiBoxsNumOfTempSensorsGet(", "rpcclt_openapiBoxsNumOfFansGet(",
                "rpcclt_openapiBoxsNumOfPowSuppliesGet("});
  expect_calls(
      __LINE__, api_calls("GET", "/boxs/tempSensors"),
      {"rpcclt_openapiBoxsNumOfTempSensorsGet(", "rpcclt_openapiBoxsTempSensorStatusGet(0, ",
       "rpcclt_openapiBoxsTempGet(0, ", "rpcclt_openapiBoxsTempSensorDescripSizeGet(",
       "rpcclt_openapiBoxsTempSensorDescripGet(0, "});
  expect_calls(
      __LINE__, api_calls("GET", "/boxs/sfp"),
      {"openapiIfFirstGet(0, >1) = 0", "rpcclt_openapiBoxsSfpNominalSignalRate(1, >0) = -26",
       "openapiIfNextGet(0, 1, >2) = 0", "rpcclt_openapiBoxsSfpNominalSignalRate(2, >0) = 0",
       "rpcclt_openapiBoxsSfpTypeGet(2, ", "rpcclt_openapiBoxsSfpVendorNameSizeGet(",
       "rpcclt_openapiBoxsSfpVendorNameGet(2, ", "rpcclt_openapiBoxsSfpVendorRevSizeGet(",
       "rpcclt_openapiBoxsSfpVendorRevisionGet(2, ", "rpcclt_openapiBoxsSfpLinkLength50umGet(2, ",
       "rpcclt_openapiBoxsSfpLinkLength62_5umGet(2, ", "rpcclt_openapiBoxsSfpSerialNumberSizeGet(",
       "rpcclt_openapiBoxsSfpSerialNumberGet(2, ", "rpcclt_openapiBoxsSfpPartNumberSizeGet(",
       "rpcclt_openapiBoxsSfpPartNumberGet(2, ",
       "rpcclt_openapiBoxsSfpNominalSignalRate(2, >0) = 0",
       "rpcclt_openapiBoxsSfpComplianceSizeGet(", "rpcclt_openapiBoxsSfpComplianceGet(2, ",
       "openapiIfNextGet(0, 2, "});
  for (const char* path : {"/boxs", "/boxs/fans", "/boxs/powSupplies", "/boxs/tempSensors"})
    expect_each_call_checked(__LINE__, "GET", path);
  expect_each_call_checked(__LINE__, "GET", "/boxs/sfp",
                           {"rpcclt_openapiBoxsSfpNominalSignalRate", "openapiIfNextGet"});
  // the second reading of a transceiver's rate is not forgiven
  expect_answers_with_fault("rpcclt_openapiBoxsSfpNominalSignalRate",
                            "{\"result\": -26, \"after\": 2}",
                            {api_case(__LINE__, "GET", "/boxs/sfp", 99)});
}

TEST(Boxs, SurvivesAnySwitch)
{
  engine_reset(R"({"ports": 2, "transceivers": [], "temp_sensors": [{"description": "D"}]})");
  const char* size = "rpcclt_openapiBoxsTempSensorDescripSizeGet";
  const char* good =
      R"({"temp_sensors":{"1":{"state":"Normal","temperature":0,"description":"D"}}})";
  expect_answers_with_fault(size, "{\"value\": 0}",
                            {api_case(__LINE__, "GET", "/boxs/tempSensors", 99)});
  expect_answers_with_fault(size, "{\"value\": 1}",
                            {api_case(__LINE__, "GET", "/boxs/tempSensors", 99)});
  for (const char* large : {"{\"value\": 2}", "{\"value\": 4294967295}"})
    expect_answers_with_fault(size, large,
                              {api_case(__LINE__, "GET", "/boxs/tempSensors", 0, GOT, good)});
  const std::string text(256, 'd');
  const std::string cut =
      R"({"temp_sensors":{"1":{"state":"Normal","temperature":0,"description":")" + text.substr(1) +
      "\"}}}";
  expect_answers_with_fault("rpcclt_openapiBoxsTempSensorDescripGet",
                            "{\"value\": \"" + text + "\"}",
                            {api_case(__LINE__, "GET", "/boxs/tempSensors", 0, GOT, cut.c_str())});
  // more fans than there are, and a port that follows itself
  expect_answers_with_fault("rpcclt_openapiBoxsNumOfFansGet", "{\"value\": 4294967295}",
                            {api_case(__LINE__, "GET", "/boxs/fans", 99)});
  ASSERT_TRUE(switchsim_fault_set("openapiIfNextGet", "{\"value\": 1, \"result\": 0}"));
  expect_answer(__LINE__, "GET", "/boxs/sfp", 0, GOT, R"({"sfp_transceivers":{}})");
  EXPECT_EQ(api_calls("GET", "/boxs/sfp").size(), 3u);
}

TEST(Boxs, RefusesOtherPaths)
{
  engine_reset();
  for (const char* path : {"/boxs/", "/boxs/fan", "/boxs/fans/", "/boxs/fans/1", "/boxs/sfps"})
    expect_bad_request(__LINE__, "GET", path);
  for (const char* method : {"POST", "PUT", "DELETE"})
    expect_bad_request(__LINE__, method, "/boxs/fans");
  expect_answer(__LINE__, "GET", "/boxes/fans", 901, "The module name dose not exist.");
}

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
