// The header of a digest login, and the file of passwords that it is compared with: the first line
// is the one, the rest the other.
#include "httpd/mg_auth.h"
#include "tests/fuzz/fuzz.h"

static void fuzz(const std::string& input)
{
  static fuzz_folder folder;
  static mg_server* server = mg_create_server(nullptr, nullptr);
  mg_set_option(server, "dav_auth_file", "passwords");
  mg_set_option(server, "auth_domain", "d");
  size_t line = input.find('\n');
  std::string header = input.substr(0, line),
              passwords = line < input.size() ? &input[line + 1] : "";
  write_file("passwords", passwords);

  connection conn = {};
  conn.server = server;
  conn.mg_conn.request_method = "PUT";
  mg_header authorization = {"Authorization", header.c_str()};
  conn.mg_conn.http_headers = &authorization;
  conn.mg_conn.num_headers = 1;
  if (!mg_is_dav_authorized(&conn))
    return;
  // Nobody is let in who is not in the file, nor with the answer to another request.
  char user[101];
  require(mg_parse_header(header.c_str() + strlen("Digest "), "username", user, sizeof user) > 0);
  require(("\n" + passwords).find("\n" + std::string(user) + ":d:") != std::string::npos);
  conn.mg_conn.request_method = "DELETE";
  require(!mg_is_dav_authorized(&conn));
}
