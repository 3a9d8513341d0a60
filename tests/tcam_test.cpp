// The TCAM module and the switch's TCAM behind it, over sockets.
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "modules/rest_module_tcam.h"
#include "switchsim/switchsim.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

TEST(Tcam, Helpers)
{
  char text[32] = "as it was";
  EXPECT_EQ(get_tcam_policy_type_string_by_eum(OPEN_TCAM_POLICY_TYPE_t{5}, text), RC_FALSE);
  EXPECT_STREQ(text, "as it was");
  EXPECT_EQ(get_if_tcam_action_type_contain_specified_action(0, 0), RC_TRUE);
  EXPECT_EQ(get_if_tcam_action_type_contain_specified_action(1, 0), RC_FALSE);
  EXPECT_EQ(get_if_tcam_action_type_contain_specified_action(5, 6), RC_FALSE);
}
