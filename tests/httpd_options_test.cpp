// Named options of the server.
#include "tests/httpd_support.h"

static int count_listeners(mg_server* server)
{
  int count = 0;
  for (ns_connection* nc = nullptr; (nc = ns_next(&server->mgr, nc));)
    count += (nc->flags & NSF_LISTENING) != 0;
  return count;
}

TEST(httpd_options, set_get_and_errors)
{
  const struct {
    int line;
    const char *name, *value, *error, *reads;
  } rows[] = {
      {__LINE__, "document_root",  "/a",          nullptr,               "/a"         },
      {__LINE__, "document_root",  "/b",          nullptr,               "/b"         },
      {__LINE__, "document_root",  "",            nullptr,               ""           },
      {__LINE__, "index_files",    nullptr,       nullptr,               ""           },
      {__LINE__, "Index_Files",    "/a",          "No such option",      nullptr      },
      {__LINE__, "run_as_user",    "no-such-one", "Unknown user",        "no-such-one"},
      {__LINE__, "listening_port", "65535",       "Cannot bind to port", "65535"      },
      {__LINE__, "listening_port", "65535",       nullptr,               "65535"      },
      {__LINE__, "listening_port", "ssl://0",     "Cannot bind to port", "ssl://0"    },
      {__LINE__, "listening_port", "ssl://0:x",   "Cannot bind to port", "ssl://0:x"  },
  };
  mg_server* server = mg_create_server(nullptr, nullptr);
  FOR_EACH_ROW(row, rows)
  {
    EXPECT_STREQ(mg_set_option(server, row.name, row.value), row.error);
    EXPECT_STREQ(mg_get_option(server, row.name), row.reads);
  }
  EXPECT_EQ(count_listeners(server), 0) << "no listener is left behind";
  mg_destroy_server(&server);
}

TEST(httpd_options, listening_port_reads_as_the_last_port_and_keeps_listeners)
{
  temp_folder folder;
  string pem = folder.path + "/ssl.pem";
  make_certificate(pem);
  mg_server* server = mg_create_server(nullptr, nullptr);
  const auto listen = [&](const string& addresses) {
    return mg_set_option(server, "listening_port", addresses.c_str());
  };
  EXPECT_EQ(listen("127.0.0.1:0"), nullptr);
  string port = mg_get_option(server, "listening_port");
  EXPECT_EQ(listen(port), nullptr);
  EXPECT_EQ(count_listeners(server), 1) << "nothing to do for the port it already has";
  EXPECT_EQ(listen("127.0.0.1:0,ssl://127.0.0.1:0:" + pem), nullptr);
  EXPECT_EQ(count_listeners(server), 3) << "earlier ones stay";
  EXPECT_EQ(mg_get_option(server, "listening_port"),
            std::to_string(ntohs(ns_next(&server->mgr, nullptr)->sa.sin.sin_port)));
  EXPECT_STREQ(listen("127.0.0.1:0,127.0.0.1:" + port + ",127.0.0.1:0"), "Cannot bind to port");
  EXPECT_EQ(count_listeners(server), 4) << "those before the failure stay";
  mg_destroy_server(&server);
}
