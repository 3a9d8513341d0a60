// CGI programs: what they are told, what becomes of their output, and how they end.
#include <errno.h>
#include <sys/wait.h>

#include "tests/httpd_support.h"
#include "tests/support/eventually.h"

static const string SHELL = "#!/bin/sh\n";
static const string PLAIN = SHELL + "printf 'Content-Type: text/x\\n\\n'\n";

TEST(cgi, environment)
{
  file_server server("url_rewrites=@other=@ROOT/.");
  server_file(server, "d/e.cgi", PLAIN + "pwd; env\n");
  server_file(server, "d/index.cgi", PLAIN + "env\n");
  setenv("TMPDIR", "/copied", 1);
  string body = raw_body(raw_get(server, "POST /d/e.cgi/more/info?a=%41&b",
                                 "Content-Length: 2\nContent-Type: c/t\nX-Own-1: v=1\n"
                                 "Cookie: a=1\nX-Two: 1\nProxy: evil\ncookie: b=2\nx-two: 2\n"
                                 "\nhi"));
  const string root = server.root;
  // clang-format off
  const auto expect = [](const string& text, const std::vector<string>& lines) {
    for (const string& line : lines)
      EXPECT_NE(("\n" + text).find("\n" + line + "\n"), string::npos) << line << " in\n" << text;
  };
  expect(body, {root + "/d", "REQUEST_METHOD=POST", "SCRIPT_NAME=/d/e.cgi", "PATH_INFO=/more/info",
      "PATH_TRANSLATED=" + root + "/more/info", "DOCUMENT_ROOT=" + root, "SERVER_ROOT=" + root,
      "SCRIPT_FILENAME=" + root + "/d/e.cgi", "QUERY_STRING=a=%41&b", "HTTP_X_TWO=1, 2",
      "REQUEST_URI=/d/e.cgi/more/info?a=%41&b", "CONTENT_LENGTH=2", "CONTENT_TYPE=c/t",
      "HTTP_X_OWN_1=v=1", "GATEWAY_INTERFACE=CGI/1.1", "SERVER_PROTOCOL=HTTP/1.1", "HTTPS=off",
      "REDIRECT_STATUS=200", "REMOTE_ADDR=127.0.0.1", "TMPDIR=/copied", "HTTP_COOKIE=a=1; b=2"});
  EXPECT_EQ(body.find("HTTP_PROXY"), string::npos);
  EXPECT_EQ(body.rfind("HTTP_COOKIE"), body.find("HTTP_COOKIE"));
  // The index file of another host's root, and a target that is written with escapes.
  expect(raw_body(raw_get(server, "GET //%64/", "Host: other\n")), {"SCRIPT_NAME=/d/index.cgi",
      "QUERY_STRING=", "REQUEST_URI=//%64/", "DOCUMENT_ROOT=" + root + "/."});
  // clang-format on
  expect(raw_body(raw_get(server, "GET /d/e.cgi/i", "Host: other\n")),
         {"PATH_TRANSLATED=" + root + "/./i"});
  // What does not fit is left out, and nothing behind it is harmed.
  string large = raw_get(server, "GET /d/e.cgi?" + string(8000, 'q'), "X-Last: here\n");
  EXPECT_EQ(large.find("QUERY_STRING="), string::npos);
  EXPECT_NE(large.find("HTTP_X_LAST=here"), string::npos);
}

TEST(cgi, output_becomes_the_response)
{
  const string malformed = "HTTP/1.1 500 Internal Server Error\r\n";
  const string error = "500 Internal Server Error\nCGI program sent malformed headers: [";
  const struct {
    string script, start, body;
  } rows[] = {
  // clang-format off
      {PLAIN + "echo hi", "HTTP/1.1 200 OK\r\nContent-Type: text/x\r\n", "hi\n"},
      {PLAIN + "{ (yes; echo $? >&3) | :; } 3>&1", "HTTP/1.1 200 OK\r\n", "141\n"},
      {SHELL + "printf 'Status: 404 Gone Away\\r\\nX-A: b\\r\\n\\r\\nx'",
                 "HTTP/1.1 404 Gone Away\r\nX-A: b\r\n", "x"},
      {SHELL + "printf 'status: 503\\n\\n'",  "HTTP/1.1 503 Service Unavailable\r\n", ""},
      {SHELL + "printf 'Location: /x\\n\\n'", "HTTP/1.1 302 Found\r\nLocation: /x\r\n", ""},
      {SHELL + "echo plain text",             malformed, error + "plain text\n]"},
      {SHELL + "printf 'plain\\n\\ntext\\n'", malformed, error + "plain\n\ntext\n]"},
      {SHELL + "printf 'Status: 99\\n\\n'",   malformed, error + "Status: 99\n\n]"},
      {SHELL + "printf 'A: \\001\\n\\n'",     malformed, error + "A: \x01\n\n]"},
      {SHELL + "exit 3",                      malformed, error + "]"},
      {SHELL + "kill -9 $$",                  malformed, error + "]"},
      {"#!/no/such/interpreter\n",            malformed, ""},
      {"not executable",                      malformed, ""},
  // clang-format on
  };
  for (const auto& row : rows) {
    file_server server;
    server_file(server, "s.cgi", row.script + (row.script[0] == '#' ? "\n" : ""));
    string answer = raw_get(server, "GET /s.cgi");
    EXPECT_EQ(answer.compare(0, row.start.size(), row.start), 0) << row.script << answer;
    string body = row.body;
    if (body.empty() && row.start == malformed)
      body = "500 Server Error: " + server.root +
             "/s.cgi: " + strerror(row.script[0] == '#' ? ENOENT : EACCES);
    EXPECT_EQ(raw_body(answer), body) << row.script;
  }
}

TEST(cgi, bodies_both_ways)
{
  file_server server("cgi_interpreter=sh;cgi_pattern=**.sh$");
  server_file(server, "count.sh", PLAIN + "md5sum\n");
  server_file(server, "length.sh", PLAIN + "wc -c");
  server_file(server, "many.sh", PLAIN + "head -c 50000000 /dev/zero");
  string body(10 * 1024 * 1024, 'b');
  char digest[33];
  http_client client;
  EXPECT_EQ(http_request(client, "POST", server.url + "/count.sh", body).body.substr(0, 32),
            mg_md5(digest, body.c_str(), nullptr));
  EXPECT_EQ(raw_body(raw_get(server, "GET /length.sh")), "0\n") << "the input ends at once";
  EXPECT_EQ(raw_body(raw_get(server, "POST /length.sh", "Content-Length: 3\n\n12345")), "3\n");
  EXPECT_EQ(status_of(raw_get(server, "POST /length.sh", "Transfer-Encoding: chunked\n")), 411);
  EXPECT_EQ(raw_body(raw_get(server, "HEAD /length.sh")), "");
  EXPECT_EQ(http_request(client, "GET", server.url + "/many.sh").body.size(), 50000000u);
}

TEST(cgi, ends_with_a_client_that_is_not_being_read)
{
  temp_folder folder;
  file_write(folder.path + "/idle.cgi",
             SHELL + "trap 'echo yes >term; exit' TERM\n>begun\nwhile :; do sleep 0.05; done\n");
  chmod((folder.path + "/idle.cgi").c_str(), 0755);
  test_server s(nullptr);
  s.server->event_handler = nullptr;  // a program gets the body as it comes
  mg_set_option(s.server, "document_root", folder.path.c_str());
  const auto is_paused = [&] { return s.newest()->ns_conn->flags & NSF_READ_PAUSED; };
  {
    client c(s.port);
    c.send("POST /idle.cgi HTTP/1.1\r\nContent-Length: 9000000\r\n\r\n");
    s.until([&] { return access((folder.path + "/begun").c_str(), F_OK) == 0; });
    for (int64_t all = s.newest()->num_bytes_recv; !is_paused();) {
      c.send(string(8192, 'b'));
      all += 8192;
      s.until([&] { return is_paused() || s.newest()->num_bytes_recv == all; });
    }
  }
  s.until([&] { return file_text(folder.path + "/term") == "yes\n"; });
}

TEST(cgi, nothing_is_left_behind)
{
  {
    file_server server;
    server_file(server, "files.cgi", PLAIN + "ls /proc/self/fd\n");
    server_file(server, "hang.cgi",
                SHELL + "trap '' TERM\necho $$ >new\nmv new pid\nwhile :; do sleep 1; done\n");
    // The program's own folder is the fourth.
    EXPECT_EQ(raw_body(raw_get(server, "GET /files.cgi")), "0\n1\n2\n3\n");
    const auto hang = [&](raw_client& client, int before) {
      const auto pid = [&] { return atoi(file_text(server.root + "/pid").c_str()); };
      raw_send(client, "GET /hang.cgi HTTP/1.1\r\n\r\n");
      EXPECT_TRUE(eventually([&] { return pid() != before; }));
      return pid();
    };
    // Its client is gone: it is asked to end, then made to, and then waited for.
    const int pid = hang(*std::make_unique<raw_client>(server.url), 0);
    EXPECT_TRUE(eventually([&] { return kill(pid, 0) != 0; }));
    raw_client client(server.url);
    hang(client, pid);
  }
  errno = 0;
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD) << "a program has not been waited for";
}
