// The "pml" module: sticky mode and static MAC entries of the ports.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/answer_table.h"
#include "tests/support/local_engine.h"

static const char GOT_STICKY[] = "Get interface sticky mode successfully.";
static const char GOT_MACS[] = "Get interface static mac successfully.";
static const char TO_DISABLE[] = "Update interface sticky mode to disable successfully.";

static std::string created(const char* mac, int vlan)
{
  return std::string("Create interface static mac ") + mac + " vlan " + std::to_string(vlan) +
         " successfully.";
}

static std::string deleted(const char* mac, int vlan)
{
  return std::string("Delete interface static mac ") + mac + " vlan " + std::to_string(vlan) +
         " successfully.";
}

TEST(Pml, StickyMode)
{
  engine_reset();
  expect_answers({
      api_case(__LINE__, "GET", "/pml/if/3/sticky", 0, GOT_STICKY, "{\"sticky\":\"disable\"}"),
      api_case(__LINE__, "PUT", "/pml/if/3/sticky?value=1", 0,
               "Update interface sticky mode to enable successfully.", "{}"),
      api_case(__LINE__, "GET", "/pml/if/3/sticky", 0, GOT_STICKY, "{\"sticky\":\"enable\"}"),
      api_case(__LINE__, "GET", "/pml/if/4/sticky", 0, GOT_STICKY, "{\"sticky\":\"disable\"}"),
      api_case(__LINE__, "PUT", "/pml/if/3/sticky?value=0", 0, TO_DISABLE, "{}"),
      api_case(__LINE__, "PUT", "/pml/if/3/sticky", 99),
      api_case(__LINE__, "PUT", "/pml/if/3/sticky?value=", 99),
      api_case(__LINE__, "PUT", "/pml/if/3/sticky?value=5", 99),
      api_case(__LINE__, "PUT", "/pml/if/55/sticky?value=1", 99),
      api_case(__LINE__, "GET", "/pml/if/99999999999/sticky", 99),
  });
  expect_answers_with_fault(
      "rpcclt_openapiPmlIntfStickyModeGet", "{\"value\": 7}",
      {api_case(__LINE__, "GET", "/pml/if/3/sticky", 0, GOT_STICKY, "{\"sticky\":\"\"}")});
  expect_xml_answer(__LINE__, "GET", "/pml/if/3/sticky", 0, GOT_STICKY, "<sticky>disable</sticky>");
}

TEST(Pml, StaticEntries)
{
  engine_reset();
  expect_answers({
      api_case(__LINE__, "GET", "/pml/if/3/mac", 99),
      api_case(__LINE__, "POST", "/pml/if/3/vlan/10/sticky/1/mac?value=00:0a:ff:01:02:03", 0,
               created("00:0a:ff:01:02:03", 10), "{}"),
      api_case(__LINE__, "POST", "/pml/if/3/vlan/10/sticky/1/mac?value=000a.ff01.0203", 98),
      api_case(__LINE__, "POST", "/pml/if/3/vlan/9/sticky/00/mac?value=000a.ff01.0203", 0,
               created("000a.ff01.0203", 9), "{}"),
      api_case(__LINE__, "POST", "/pml/if/3/vlan/1/sticky/01/mac?value=00-01-02-03-04-05", 0,
               created("00-01-02-03-04-05", 1), "{}"),
      api_case(__LINE__, "POST", "/pml/if/3/vlan/1/sticky/0/mac?value=000102030406", 0,
               created("000102030406", 1), "{}"),
  });
  const char* xml =
      "<interface>"
      "<mac><macAddr>00:01:02:03:04:05</macAddr><vlan>1</vlan><sticky>enable</sticky></mac>"
      "<mac><macAddr>00:01:02:03:04:06</macAddr><vlan>1</vlan><sticky>disable</sticky></mac>"
      "<mac><macAddr>00:0A:FF:01:02:03</macAddr><vlan>9</vlan><sticky>disable</sticky></mac>"
      "<mac><macAddr>00:0A:FF:01:02:03</macAddr><vlan>10</vlan><sticky>enable</sticky></mac>"
      "</interface>";
  expect_xml_answer(__LINE__, "GET", "/pml/if/3/mac", 0, GOT_MACS, xml);
  expect_answers({
      api_case(__LINE__, "DELETE", "/pml/if/3/vlan/1/mac?value=0:1:2:3:4:5", 0,
               deleted("0:1:2:3:4:5", 1), "{}"),
      api_case(__LINE__, "DELETE", "/pml/if/3/vlan/1/mac?value=0:1:2:3:4:5", 99),
      api_case(__LINE__, "DELETE", "/pml/if/3/vlan/10/mac", 99),
      api_case(__LINE__, "DELETE", "/pml/if/3/vlan/10/mac?value=000aff010203", 0,
               deleted("000aff010203", 10), "{}"),
      api_case(__LINE__, "DELETE", "/pml/if/3/vlan/9/mac?value=000aff010203", 0,
               deleted("000aff010203", 9), "{}"),
      api_case(__LINE__, "GET", "/pml/if/3/mac", 0, GOT_MACS,
               "{\"interface\":{\"1\":{\"macAddr\":\"00:01:02:03:04:06\",\"vlan\":1,"
               "\"sticky\":\"disable\"}}}"),
      api_case(__LINE__, "POST", "/pml/if/3/vlan/1/sticky/0/mac", 99),
      api_case(__LINE__, "POST", "/pml/if/3/vlan/1/sticky/0/mac?value=01:00:5e:00:00:01", 99),
      api_case(__LINE__, "POST", "/pml/if/3/vlan/1/sticky/0/mac?value=00:00:00:00:00:00", 99),
      api_case(__LINE__, "POST", "/pml/if/3/vlan/1/sticky/0/mac?value=00:01:02:03:04", 99),
      api_case(__LINE__, "POST", "/pml/if/3/vlan/1/sticky/0/mac?value=00:01:02:03:04:05:06", 99),
      api_case(__LINE__, "POST", "/pml/if/3/vlan/4095/sticky/0/mac?value=000102030405", 99),
      api_case(__LINE__, "POST", "/pml/if/0/vlan/1/sticky/0/mac?value=000102030405", 99),
  });
}

TEST(Pml, HandsTheSwitchWhatTheRequestSays)
{
  engine_reset();
  expect_calls(__LINE__, api_calls("POST", "/pml/if/3/vlan/10/sticky/1/mac?value=000aff010203"),
               {"rpcclt_openapiPmlIntfStaticEntryAdd(3, {12,\"000aff010203\"}, 10, 1) = 0"});
  expect_calls(
      __LINE__, api_calls("GET", "/pml/if/3/mac"),
      {"rpcclt_openapiPmlIntfStaticEntryGetFirst(3, >{18,\"00:0A:FF:01:02:03\"}, >10, >1) = 0",
       "rpcclt_openapiPmlIntfStaticEntryGetNext(3, >{256,\"00:0A:FF:01:02:03\"}, >10, >1) = -26"});
  expect_calls(__LINE__, api_calls("DELETE", "/pml/if/3/vlan/10/mac?value=000aff010203"),
               {"rpcclt_openapiPmlIntfStaticEntryDelete(3, {12,\"000aff010203\"}, 10) = 0"});
  expect_calls(__LINE__, api_calls("PUT", "/pml/if/3/sticky?value=-3"),
               {"rpcclt_openapiPmlIntfStickyModeSet(3, -3) = -22"});
}

TEST(Pml, ChecksEachCall)
{
  engine_reset();
  const auto add = [] {
    api_request("POST", "/pml/if/3/vlan/10/sticky/1/mac?value=1:2:3:4:5:6", "json");
  };
  add();
  expect_each_call_checked(__LINE__, "GET", "/pml/if/3/sticky");
  expect_each_call_checked(__LINE__, "PUT", "/pml/if/3/sticky?value=1");
  expect_each_call_checked(__LINE__, "GET", "/pml/if/3/mac",
                           {"rpcclt_openapiPmlIntfStaticEntryGetNext"});
  expect_each_call_checked(__LINE__, "POST", "/pml/if/3/vlan/9/sticky/1/mac?value=2:2:3:4:5:6");
  expect_each_call_checked(__LINE__, "DELETE", "/pml/if/3/vlan/10/mac?value=2:2:3:4:5:6");
}

TEST(Pml, SurvivesAnySwitch)
{
  engine_reset();
  api_request("POST", "/pml/if/3/vlan/10/sticky/1/mac?value=0:1:2:3:4:5", "json");
  const std::string full(256, 'x');
  const std::string shown = "{\"interface\":{\"1\":{\"macAddr\":\"" + full.substr(1) +
                            "\",\"vlan\":10,\"sticky\":\"enable\"}}}";
  expect_answers_with_fault(
      "rpcclt_openapiPmlIntfStaticEntryGetFirst", "{\"value\": \"" + full + "\"}",
      {api_case(__LINE__, "GET", "/pml/if/3/mac", 0, GOT_MACS, shown.c_str())});
  // a walk that says there is more for ever
  const char* same =
      "{\"interface\":{\"1\":{\"macAddr\":\"00:01:02:03:04:05\",\"vlan\":10,"
      "\"sticky\":\"enable\"}}}";
  expect_answers_with_fault("rpcclt_openapiPmlIntfStaticEntryGetNext",
                            "{\"value\": \"00:01:02:03:04:05\", \"result\": 0}",
                            {api_case(__LINE__, "GET", "/pml/if/3/mac", 0, GOT_MACS, same)});
}

TEST(Pml, RefusesOtherPaths)
{
  engine_reset();
  for (const char* path : {"/pml", "/pml/if/3", "/pml/if/3/sticky/", "/pml/if/x/sticky",
                           "/pml/if/3/stick", "/pml/if/3/macs", "/pml/if/3/vlan/10/mac"})
    expect_bad_request(__LINE__, "GET", path);
  expect_bad_request(__LINE__, "POST", "/pml/if/3/vlan/10/sticky/2/mac?value=0:1:2:3:4:5");
  expect_bad_request(__LINE__, "POST", "/pml/if/3/vlan/10/sticky//mac?value=0:1:2:3:4:5");
  expect_bad_request(__LINE__, "DELETE", "/pml/if/3/mac?value=0:1:2:3:4:5");
  expect_bad_request(__LINE__, "PUT", "/pml/if/3/mac?value=1");
}
