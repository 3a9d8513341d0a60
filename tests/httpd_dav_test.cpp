// WebDAV: what changes, with which status, and that it stays under the document root.
#include "tests/httpd_support.h"

// Everybody is "joe": the password file holds what the header below proves for any method.
struct dav_server : file_server {
  dav_server() : file_server("dav_auth_file=@ROOT/../pw;auth_domain=d;hide_files_patterns=**.hid$")
  {
    file_write(folder.path + "/pw", "joe:d:0123\n");
  }
};

// A request's head as far as it is the same for all.
static string head_of(const string& method, const string& target)
{
  char ha2[33], response[33];
  mg_md5(ha2, method.c_str(), ":/", nullptr);
  mg_md5(response, "0123", ":n:1:c:auth:", ha2, nullptr);
  return method + " " + target +
         " HTTP/1.1\r\nAuthorization: Digest username=joe, uri=/, nonce=n, nc=1, cnonce=c, "
         "qop=auth, response=" +
         response + "\r\n";
}

static string ask(const dav_server& dav, const string& method, const string& target,
                  const string& headers = "", const string& body = "")
{
  raw_client client(dav.url);
  string head = head_of(method, target) + "Connection: close\r\n" + headers;
  if ((!body.empty() || method == "PUT") && headers.find("Content-Length") == string::npos)
    head += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  raw_send(client, head + "\r\n");
  if (!body.empty()) {  // the body of a request comes after its headers
    raw_wait_consumed(client);
    raw_send(client, body);
  }
  return raw_receive_all(client);
}

// What lies in a folder, temporary files included.
static size_t count_entries(const string& folder)
{
  return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
}

TEST(dav, put_shows_the_whole_of_one_file_only)
{
  dav_server dav;
  const string& root = dav.root;
  server_file(dav, "inner/f", "the old one");
  EXPECT_EQ(ask(dav, "PUT", "/inner/empty"), "HTTP/1.1 201 OK\r\nContent-Length: 0\r\n\r\n");
  EXPECT_EQ(status_of(ask(dav, "DELETE", "/inner/empty")), 204);
  chmod((root + "/inner/f").c_str(), 0640);
  std::filesystem::create_symlink("inner/f", root + "/link");
  const string old = "the old one", length = "Content-Length: 6\r\n";
  // What is there while the body comes and after it broke off, and what when it is complete.
  const string rows[][4] = {
      {"/inner/f",   length,                                      old, "second"         },
      {"/link",      length + "Content-Range: bytes 4-9/*\r\n",   old, "the seconde"    },
      {"/link",      length + "Content-Range: bytes 12-17/*\r\n", old, old + "\0second"s},
      {"/new/a/b/f", length,                                      "",  "second"         }
  };
  for (const auto& [target, headers, shown, complete] : rows)
    for (bool is_completed : {false, true}) {
      file_write(root + "/inner/f", old);
      raw_client client(dav.url);
      raw_send(client, head_of("PUT", target) + headers + "\r\nsec");
      raw_wait_consumed(client);
      const string answer = ask(dav, "GET", target);
      EXPECT_EQ(status_of(answer) == 200 ? raw_body(answer) : "", shown);
      EXPECT_EQ(ask(dav, "GET", "/inner/").find(".mg_put."), string::npos);
      if (is_completed)
        raw_send(client, "ond");
      else
        shutdown(client.fd, SHUT_WR);
      EXPECT_EQ(status_of(raw_receive_all(client)), !is_completed ? 0 : shown.empty() ? 201 : 200);
      EXPECT_EQ(file_text(root + target), is_completed ? complete : shown) << target << headers;
      EXPECT_EQ(count_entries(root + "/inner"), 1u);
      EXPECT_EQ(std::filesystem::exists(root + "/new"), shown.empty() && is_completed);
    }
  struct stat st;
  EXPECT_EQ(stat((root + "/inner/f").c_str(), &st) == 0 ? st.st_mode & 07777 : 0, 0640u);
  EXPECT_TRUE(std::filesystem::is_symlink(root + "/link"));
}

TEST(dav, nothing_is_left_of_a_put_that_fails)
{
  dav_server dav;
  server_file(dav, "f", "the old one");
  const rlimit full = {1 << 20, RLIM_INFINITY}, free = {RLIM_INFINITY, RLIM_INFINITY};
  signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &full);
  for (const char* target : {"/f", "/a/b/f"})
    EXPECT_EQ(status_of(ask(dav, "PUT", target, "", string(2 << 20, 'x'))), 507) << target;
  setrlimit(RLIMIT_FSIZE, &free);
  EXPECT_EQ(status_of(ask(dav, "PUT", "/a/b/" + string(300, 'n'), "", "text")), 414);
  EXPECT_EQ(file_text(dav.root + "/f"), "the old one");
  EXPECT_EQ(count_entries(dav.root), 1u);
}

TEST(dav, conditions)
{
  dav_server dav;
  // clang-format off
  const std::tuple<const char*, const char*, const char*, int> rows[] = {
      {"PUT", "/f", "Match: \"2ebc98a1.5\"", 200},
      {"PUT", "/f", "Match: \"x\", \"2ebc98a1.5\"", 200}, {"PUT", "/f", "Match: *", 200},
      {"PUT", "/f", "Match: \"2ebc98a1.6\"", 412}, {"PUT", "/f", "Match: W/\"2ebc98a1.5\"", 412},
      {"PUT", "/f", "Match: ", 412}, {"PUT", "/f", "None-Match: *", 412},
      {"PUT", "/f", "None-Match: \"x\",W/\"2ebc98a1.5\"", 412},
      {"PUT", "/f", "None-Match: \"x\"", 200}, {"PUT", "/new/f", "Match: *", 412},
      {"PUT", "/new/f", "Match: \"2ebc98a1.5\"", 412}, {"DELETE", "/f", "Match: \"x\"", 412},
      {"DELETE", "/f", "None-Match: *", 412}, {"DELETE", "/none", "Match: *", 404},
      {"DELETE", "/f", "Match: \"2ebc98a1.5\"", 204}, {"PUT", "/f", "None-Match: *", 201}};
  // clang-format on
  for (const auto& [method, target, condition, status] : rows) {
    if (status != 201) {
      server_file(dav, "f", "hello");
      const utimbuf times = {784111777, 784111777};
      utime((dav.root + "/f").c_str(), &times);
    }
    string headers = string("If-") + condition + "\r\n";
    EXPECT_EQ(status_of(ask(dav, method, target, headers)), status) << headers;
    EXPECT_EQ(file_text(dav.root + "/f"), status >= 400 ? "hello" : "") << headers;
  }
  EXPECT_FALSE(std::filesystem::exists(dav.root + "/new"));
  // Two clients make the same file: the second one hears that it is there.
  raw_client slow(dav.url);
  raw_send(slow, head_of("PUT", "/g") + "If-None-Match: *\r\nContent-Length: 4\r\n\r\nslo");
  raw_wait_consumed(slow);
  EXPECT_EQ(status_of(ask(dav, "PUT", "/g", "If-None-Match: *\r\n", "fast")), 201);
  raw_send(slow, "w");
  EXPECT_EQ(status_of(raw_receive_all(slow)), 412);
  EXPECT_EQ(file_text(dav.root + "/g"), "fast");
}

TEST(dav, statuses_and_the_edge_of_the_root)
{
  const string name(300, 'n');
  // clang-format off
  const struct {
    string method, target;
    int status;
    string headers = "";
  } rows[] = {
      {"MKCOL", "/made", 201}, {"MKCOL", "/made", 405}, {"MKCOL", "/made/", 405},
      {"MKCOL", "/file", 405}, {"MKCOL", "/none/x", 409}, {"MKCOL", "/file/x", 409},
      {"MKCOL", "/body", 415}, {"MKCOL", "/", 405}, {"MKCOL", "/.htpasswd/", 404},
      {"MKCOL", "/x.hid/", 404}, {"MKCOL", "/out/x", 403}, {"MKCOL", "/" + name, 414},
      {"PUT", "/made", 405}, {"PUT", "/made/", 405}, {"PUT", "/file/x", 409},
      {"PUT", "/.htpasswd", 404}, {"PUT", "/.htpasswd/x", 404}, {"PUT", "/x.hid", 404},
      {"PUT", "/out/f", 403}, {"PUT", "/out/new/f", 403}, {"PUT", "/outfile", 403},
      {"PUT", "/dangling", 405}, {"PUT", "/pipe", 403}, {"PUT", "/inside/f", 201},
      {"PUT", "/../up", 201}, {"PUT", "-x:80", 404}, {"PUT", "/" + name, 414},
      {"PUT", "/" + string(9000, 'n'), 404}, {"PUT", "/f", 400, "Content-Range: bytes 0-9/9\r\n"},
      {"PUT", "/f", 411, "Transfer-Encoding: chunked\r\n"},
      {"PUT", "/file", 400, "Content-Length: many\r\n"},
      {"PUT", "/file", 400, "Content-Length: -1\r\n"},
      {"PUT", "/file", 400, "Content-Length: +4\r\n"},
      {"PUT", "/file", 400, "Content-Length: 4x\r\n"},
      {"PUT", "/file", 400, "Content-Length: \r\n"},
      {"PUT", "/file", 400, "Content-Length: 4\r\nContent-Length: 3\r\n"},
      {"PUT", "/file", 400, "Content-Length: 99999999999999999999\r\n"}, {"GET", "/file", 200},
      {"PROPFIND", "/out/", 403}, {"PROPFIND", "/outfile", 403}, {"PROPFIND", "/dangling", 404},
      {"PROPFIND", "/inside", 207}, {"DELETE", "/dangling/x", 404},
      {"DELETE", "/dangling", 204, "If-Match: *\r\n"}, {"DELETE", "/out/f", 403},
      {"DELETE", "/", 403}, {"DELETE", "/.", 403}, {"DELETE", "/.htpasswd", 404},
      {"DELETE", "/none", 404}, {"DELETE", "/file", 204}, {"DELETE", "/file", 404},
      {"DELETE", "/tree/", 204}, {"DELETE", "/outlink", 204}, {"PROPFIND", "/none", 404},
      {"PROPFIND", "/made", 400, "Depth: 2\r\n"}};
  // clang-format on
  dav_server dav;
  const string outside = dav.folder.path + "/outside", root = dav.root;
  for (const char* file : {"../outside/f", "file", "inner/x", "tree/a/b/c"})
    server_file(dav, file, "as it was");
  for (const auto& [link, end] :
       {std::pair("/out", ""), std::pair("/outlink", ""), std::pair("/tree/a/link", ""),
        std::pair("/outfile", "/f"), std::pair("/dangling", "/none")})
    std::filesystem::create_symlink(outside + end, root + link);
  std::filesystem::create_symlink("inner", root + "/inside");
  mkfifo((root + "/pipe").c_str(), 0600);
  for (const auto& row : rows) {
    const string body = row.method == "PUT" || row.target == "/body" ? "text" : "";
    const string answer = ask(dav, row.method, row.target, row.headers, body);
    EXPECT_EQ(status_of(answer), row.status) << row.method << " " << row.target << row.headers;
    EXPECT_EQ(row.method == "GET" ? raw_body(answer) : "as it was", "as it was");
  }
  EXPECT_EQ(file_text(outside + "/f"), "as it was");
  EXPECT_EQ(count_entries(outside), 1u);
  EXPECT_EQ(count_entries(dav.folder.path), 3u)
      << "the root, the password file and what lies outside";
  EXPECT_EQ(file_text(root + "/inner/f") + file_text(root + "/up"), "texttext");
  EXPECT_FALSE(std::filesystem::exists(root + "/tree"));
}

static string hrefs(const string& answer)
{
  string found, body = raw_body(answer);
  for (size_t at = 0; (at = body.find("<d:href>", at)) != string::npos; at++)
    found += body.substr(at + 8, body.find('<', at + 8) - at - 8) + " ";
  return found;
}

TEST(dav, properties)
{
  dav_server dav;
  for (const char* name : {"d/<&>", "d/sub/deep", "d/x.hid"})
    server_file(dav, name, "12345");
  std::filesystem::create_symlink("..", dav.root + "/d/sub/up");
  std::filesystem::create_symlink(dav.folder.path, dav.root + "/d/out");
  std::filesystem::create_symlink(dav.folder.path + "/pw", dav.root + "/d/passwords");
  EXPECT_EQ(hrefs(ask(dav, "PROPFIND", "/d", "Depth: 0\r\n")), "/d/ ");
  string children = hrefs(ask(dav, "PROPFIND", "/d/", "Depth: 1\r\n", "<propfind/>"));
  EXPECT_TRUE(children == "/d/ /d/%3C%26%3E /d/sub/ " || children == "/d/ /d/sub/ /d/%3C%26%3E ")
      << children;
  string all = hrefs(ask(dav, "PROPFIND", "/d"));
  EXPECT_NE(all.find("/d/sub/deep "), string::npos);
  EXPECT_EQ(all.find("/d/sub/up/d"), string::npos) << "a link that leads in a circle";
  const string file = ask(dav, "PROPFIND", "/d/%3C&%3E");
  EXPECT_NE(file.find("<d:resourcetype></d:resourcetype><d:getcontentlength>5<"), string::npos);
  const string deep = std::regex_replace(string(40, 'd'), std::regex("d"), "/d");
  std::filesystem::create_directories(dav.root + deep);
  EXPECT_EQ(status_of(ask(dav, "PROPFIND", "/")), 403) << "too deep for one answer";
}

TEST(dav, a_large_folder_takes_no_memory)
{
  file_server server("", note_queue);
  for (int i = 0; i < 3000; i++)
    server_file(server, "d/" + std::to_string(i));
  string found = hrefs(raw_get(server, "PROPFIND /d/", "Depth: 1\n"));
  EXPECT_EQ(std::count(found.begin(), found.end(), ' '), 3001);
  EXPECT_LE(longest_queue, 20000u);
  raw_client gone(server.url);
  raw_send(gone, "PROPFIND /d/ HTTP/1.1\r\nDepth: 1\r\n\r\n");  // and reads nothing
}
