// The BGP module and the switch's BGP behind it, over sockets.
#include <gtest/gtest.h>

#include <string>

#include "tests/support/api_script.h"
#include "tests/support/local_engine.h"

TEST(Bgp, TablesAreFinite)
{
  engine_reset();
  for (int i = 0; i <= 256; i++)
    run_script(__LINE__, "POST /bgp/ipv6/neighbor/2001:db8::1/scope/" + std::to_string(i) +
                             "?asn=1" + (i == 256 ? "\n  refused -23" : ""));
  for (int i = 0; i <= 64; i++)
    run_script(__LINE__, "POST /bgp/originatedNetwork?pfxLen=24&routeMap=a&addr=10.0." +
                             std::to_string(i) + ".0" + (i == 64 ? "\n  refused -23" : ""));
  run_script(__LINE__, R"(POST /bgp/ipv6/neighbor/2001:db8::1/scope/255?asn=1
POST /bgp/originatedNetwork?pfxLen=24&routeMap=a&addr=10.0.63.0  refused -24)");
}
