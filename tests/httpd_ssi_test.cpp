// Server-side includes.
#include "tests/httpd_support.h"

TEST(ssi, directives)
{
  const string large(8192, 'x'), spaces(8000, ' '), none = "No such file or directory";
  const auto not_opened = [](const string& tag, const string& path, const string& why) {
    return "Cannot open SSI #include: [include " + tag + "]: fopen(@ROOT/" + path + "): " + why;
  };
  // "@ROOT" stands for the document root.
  // clang-format off
  const std::pair<string, string> rows[] = {
      {"plain <!-- comment --> <!- <!--x", "plain <!-- comment --> <!- <!--x"},
      {"<<!--#include \"f\" -->!--#", "<F<f>!--#"},
      {"a<!--#include virtual=\"/d/f\" -->b", "aF<f>b"},
      {"<!--#include virtual=\"d/f\"-->", "F<f>"}, {"<!--#include file=\"f\" -->", "F<f>"},
      {"<!--#include file=\"../top\" -->", "T"}, {"<!--#include abspath=\"@ROOT/top\" -->", "T"},
      {"<!--#include file=\"../../outside\" -->",
       not_opened("file=&quot;../../outside&quot; ", "outside", none)},
      {"<!--#include virtual=\"/../outside\" -->",
       not_opened("virtual=&quot;/../outside&quot; ", "outside", none)},
      {"<!--#include \"<none>\"-->",
       not_opened("&quot;&lt;none&gt;&quot;", "d/&lt;none&gt;", none)},
      {"<!--#include file=\"../in/.htpasswd\" -->",
       not_opened("file=&quot;../in/.htpasswd&quot; ", "in/.htpasswd", none)},
      {"<!--#include -->", "Bad SSI #include: [include ]"},
      {"<!--#include file=\"f-->", "Bad SSI #include: [include file=&quot;f]"},
      {"<!--#exec \"printf '<%s>' x\" -->", "<x>"}, {"<!--#exec cmd=\"echo e\" -->", "e\n"},
      {"<!--#exec \"cat; readlink /proc/self/fd/0\" -->", "/dev/null\n"},
      {"<!--#exec \"{ (yes; echo $? >&3) | :; } 3>&1\" -->", "141\n"},
      {"<!--#exec ls -->", "Bad SSI #exec: [exec ls ]"},
      {"<!--#what <b>-->", "@ROOT/d/p.shtml: unknown SSI command: \"what &lt;b&gt;\""},
      {"a<!--#" + large + "-->b", "a@ROOT/d/p.shtml: SSI tag is too largeb"},
      {"<!--#include \"" + spaces + "\"-->",
       not_opened("&quot;" + spaces + "&quot;", "d/", "File name too long")},
      {"a<!--#include \"f\"", "a"}, {"", ""},
      {large + large + "<!--#include \"f\" -->", large + large + "F<f>"}};
  // clang-format on
  file_server server;
  server_file(server, "top", "T");
  server_file(server, "d/f", "F<f>");
  server_file(server, "in/.htpasswd", "secret");
  file_write(server.folder.path + "/outside", "outside");
  for (auto [text, output] : rows) {
    for (string* s : {&text, &output})
      for (size_t at; (at = s->find("@ROOT")) != string::npos;)
        s->replace(at, 5, server.root);
    server_file(server, "d/p.shtml", text);
    string answer = raw_get(server, "GET /d/p.shtml");
    EXPECT_EQ(header_of(answer, "Content-Type"), "text/html");
    EXPECT_EQ(raw_body(answer), output) << text;
  }
  EXPECT_EQ(raw_body(raw_get(server, "HEAD /d/p.shtml")), "");
}

TEST(ssi, nesting)
{
  file_server server;
  for (int i = 0; i <= 11; i++)
    server_file(server, std::to_string(i) + ".shtml",
                std::to_string(i) + "<!--#include \"" + std::to_string(i + 1) + ".shtml\" -->.");
  EXPECT_EQ(raw_body(raw_get(server, "GET /0.shtml")),
            "012345678910SSI #include level is too deep (" + server.root + "/11.shtml)" +
                string(11, '.'));
}

TEST(ssi, output_is_bounded)
{
  file_server server;
  const string line(1000000, 'x'), end = server.root + "/p.shtml: SSI output is too large";
  server_file(server, "f", line);
  string includes;
  for (int i = 0; i < 100; i++)
    includes += "<!--#include \"f\" -->";
  for (const string& text : {includes, string("<!--#exec \"yes\" -->")}) {
    server_file(server, "p.shtml", text);
    string body = raw_body(raw_get(server, "GET /p.shtml"));
    EXPECT_GT(body.size(), 16000000u) << text;
    EXPECT_LT(body.size(), (16u << 20) + 8192 + end.size()) << text;
    EXPECT_EQ(body.substr(body.size() - std::min(body.size(), end.size())), end);
  }
}
