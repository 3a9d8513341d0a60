// Named options of the server.
#include "tests/httpd_support.h"

struct bare_server {
  mg_server* server = mg_create_server(nullptr, nullptr);
  ~bare_server()
  {
    mg_destroy_server(&server);
  }
  string get(const char* name)
  {
    const char* value = mg_get_option(server, name);
    return value ? value : "(null)";
  }
  string set(const char* name, const string& value)
  {
    const char* error = mg_set_option(server, name, value == "(null)" ? nullptr : value.c_str());
    return error ? error : "";
  }
  int listeners()
  {
    int count = 0;
    for (ns_connection* nc = ns_next(&server->mgr, nullptr); nc; nc = ns_next(&server->mgr, nc))
      count += (nc->flags & NSF_LISTENING) != 0;
    return count;
  }
};

TEST(httpd_options, table_and_defaults)
{
  // clang-format off
  const char* const options[] = {
      "access_control_list", "",  "access_log_file", "",  "auth_domain", "example.com",
      "cgi_interpreter", "",  "cgi_pattern", "**.cgi$|**.pl$|**.php$",  "dav_auth_file", "",
      "document_root", "",  "enable_directory_listing", "yes",  "enable_proxy", "",
      "extra_mime_types", "",  "global_auth_file", "",  "hide_files_patterns", "",
      "hexdump_file", "",  "index_files", "index.html,index.htm,index.shtml,index.cgi,index.php",
      "listening_port", "",  "run_as_user", "",  "ssi_pattern", "**.shtml$|**.shtm$",
      "url_rewrites", ""};
  // clang-format on
  bare_server s;
  const char* const* names = mg_get_valid_option_names();
  for (size_t i = 0; i < std::size(options); i += 2) {
    EXPECT_STREQ(names[i], options[i]);
    EXPECT_STREQ(names[i + 1] ? names[i + 1] : "", options[i + 1]);
    EXPECT_EQ(s.get(options[i]), options[i + 1]);
  }
  EXPECT_EQ(names[std::size(options)], nullptr);
}

TEST(httpd_options, set_get_and_errors)
{
  const struct {
    int line;
    const char *name, *value, *error, *reads;
  } rows[] = {
      {__LINE__, "document_root",  "/a",          "",                    "/a"         },
      {__LINE__, "document_root",  "/b",          "",                    "/b"         },
      {__LINE__, "document_root",  "",            "",                    ""           },
      {__LINE__, "index_files",    "(null)",      "",                    ""           },
      {__LINE__, "Index_Files",    "/a",          "No such option",      "(null)"     },
      {__LINE__, "run_as_user",    "no-such-one", "Unknown user",        "no-such-one"},
      {__LINE__, "listening_port", "65535",       "Cannot bind to port", "65535"      },
      {__LINE__, "listening_port", "65535",       "",                    "65535"      },
      {__LINE__, "listening_port", "ssl://0",     "Cannot bind to port", "ssl://0"    },
      {__LINE__, "listening_port", "ssl://0:x",   "Cannot bind to port", "ssl://0:x"  },
  };
  bare_server s;
  FOR_EACH_ROW(row, rows)
  {
    EXPECT_EQ(s.set(row.name, row.value), row.error);
    EXPECT_EQ(s.get(row.name), row.reads);
  }
  EXPECT_EQ(ns_next(&s.server->mgr, nullptr), nullptr) << "no listener is left behind";
}

TEST(httpd_options, listening_port_reads_as_the_last_port_and_keeps_listeners)
{
  temp_folder folder;
  string pem = folder.path + "/ssl.pem";
  make_certificate(pem);
  bare_server s;
  ASSERT_EQ(s.set("listening_port", "127.0.0.1:0"), "");
  string plain = s.get("listening_port");
  EXPECT_EQ(s.set("listening_port", plain), "");
  EXPECT_EQ(s.listeners(), 1) << "nothing to do for the port it already has";
  ASSERT_EQ(s.set("listening_port", "127.0.0.1:0,ssl://127.0.0.1:0:" + pem), "");
  EXPECT_EQ(s.listeners(), 3) << "earlier ones stay";
  EXPECT_EQ(s.get("listening_port"),
            std::to_string(ntohs(ns_next(&s.server->mgr, nullptr)->sa.sin.sin_port)));
  EXPECT_EQ(s.set("listening_port", "127.0.0.1:0,127.0.0.1:" + plain + ",127.0.0.1:0"),
            "Cannot bind to port");
  EXPECT_EQ(s.listeners(), 4) << "those before the failure stay";
}
