// The "lag" module and the switch's port channels behind it, over sockets.
#include <gtest/gtest.h>

#include <string>

#include "modules/rest_module_lag.h"
#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

TEST(Lags, WholeGroupsWithoutARoute)
{
  engine_reset();
  EXPECT_EQ(unrouted_answer(api_lag_delete_specified_id, "/lag/1?format=json"),
            json_envelope(0, "Delete LAG 1 successfully."));
  run_script(__LINE__, R"(GET /lag  data {"lag_interfaces": {"1": {"id": 2}}}
POST /lag/2/port/47  result 0 Configure port 47 to LAG 2 successfully.)");
  EXPECT_NE(unrouted_answer(api_lag_create_specified_id, "/lag/1").find("<rlt_code>99<"),
            std::string::npos);
  EXPECT_NE(unrouted_answer(api_lag_create_specified_id, "/lag/2").find("<rlt_code>98<"),
            std::string::npos);
  run_script(__LINE__, R"(fault LagPortChannelIdToIfNumZRT {"result": 0, "value": 56})");
  EXPECT_EQ(unrouted_answer(api_lag_create_specified_id, "/lag/1?format=json"),
            json_envelope(0, "Create LAG 1 successfully."));
  run_script(__LINE__, R"(no faults
GET /lag/1  data {"lag_interface": {"id": 1, "name": "ch1", "members": {}}}
POST /tcam/policy?policyType=1&actionRedirPort=57)");
  EXPECT_NE(unrouted_answer(api_lag_delete_specified_id, "/lag/2").find("<rlt_code>99<"),
            std::string::npos);
  run_script(__LINE__, "DELETE /tcam/policy/1");
  EXPECT_NE(unrouted_answer(api_lag_delete_specified_id, "/lag/2").find("<rlt_code>0<"),
            std::string::npos);
}
