// What the constants are when no cache variable overrides them.
#include <gtest/gtest.h>

#undef REST_HTTP_ADDRESS
#undef REST_HTTPS_ADDRESS
#undef REST_DOCUMENT_ROOT
#undef REST_SESSION_FILE
#undef REST_HELP_DOC_FILE
#include "engine/rest_config.h"

TEST(Config, DefaultsAreTheSwitchsOwn)
{
  EXPECT_STREQ(REST_LISTENING_PORT, "8080,ssl://8446:/mnt/tarvexia/ssl.pem");
  EXPECT_STREQ(REST_DOCUMENT_ROOT, "/mnt/tarvexia");
  EXPECT_STREQ(REST_SESSION_FILE, "/tmp/restsessionstatus");
  EXPECT_STREQ(REST_STARTUPCFG_FILE, "/mnt/tarvexia/user-apps/startupcfg_info_doc");
  EXPECT_STREQ(REST_HELP_DOC_FILE, "/mnt/flash/user-apps/help_doc");
  EXPECT_EQ(REST_POLL_TIMEOUT_MS, 1000);
  EXPECT_EQ(REST_SESSION_MAX, 5);
  EXPECT_EQ(REST_SESSION_TIMEOUT_S, 300);
  EXPECT_EQ(REST_CONNECT_RETRY_S, 1);
}
