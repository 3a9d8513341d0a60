// The "boxs" module: fans, power supplies, temperature sensors and transceivers.
#include <gtest/gtest.h>

#include "modules/rest_module_boxs.h"
#include "modules/rest_strlib_enum.h"
#include "tests/support/api_script.h"

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
