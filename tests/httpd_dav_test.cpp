// WebDAV: what changes, with which status, and that it stays under the document root.
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/httpd_support.h"

// Everybody is "joe": the password file holds what the header below proves for any method.
struct dav_server {
  file_server server{"dav_auth_file=@ROOT/../pw;auth_domain=d;hide_files_patterns=**.hid$"};
  dav_server()
  {
    file_write(server.folder.path + "/pw", "joe:d:0123\n");
  }
};

static string ask(const dav_server& dav, const string& method, const string& target,
                  const string& headers = "", const string& body = "")
{
  char ha2[33], response[33];
  mg_md5(ha2, method.c_str(), ":/", nullptr);
  mg_md5(response, "0123", ":n:1:c:auth:", ha2, nullptr);
  raw_client client(dav.server.url);
  string head = method + " " + target +
                " HTTP/1.1\r\nAuthorization: Digest username=joe, uri=/, nonce=n, nc=1, cnonce=c, "
                "qop=auth, response=" +
                response + "\r\n" + headers;
  if (!body.empty() || method == "PUT")
    head += "Content-Length: " + std::to_string(body.size()) + "\r\n";
  raw_send(client, head + "\r\n");
  if (!body.empty()) {  // the body of a request comes after its headers
    raw_wait_consumed(client);
    raw_send(client, body);
  }
  return raw_receive_all(client);
}

TEST(dav, put_get_and_replace)
{
  dav_server dav;
  EXPECT_EQ(ask(dav, "PUT", "/new/folders/f", "", "first"),
            "HTTP/1.1 201 OK\r\nContent-Length: 0\r\n\r\n");
  EXPECT_EQ(file_text(dav.server.root + "/new/folders/f"), "first");
  EXPECT_EQ(ask(dav, "PUT", "/new/folders/f", "", "2nd"),
            "HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n");
  EXPECT_EQ(file_text(dav.server.root + "/new/folders/f"), "2nd");
  EXPECT_EQ(status_of(ask(dav, "PUT", "/new/folders/f", "Content-Range: bytes 2-4/5\r\n", "xyz")),
            200);
  EXPECT_EQ(file_text(dav.server.root + "/new/folders/f"), "2nxyz");
  string large(3 * 1024 * 1024, 'L');
  EXPECT_EQ(status_of(ask(dav, "PUT", "/large", "", large)), 201);
  EXPECT_TRUE(file_text(dav.server.root + "/large") == large);
  EXPECT_EQ(status_of(ask(dav, "PUT", "/empty")), 201);
  EXPECT_TRUE(std::filesystem::is_empty(dav.server.root + "/empty"));
}

TEST(dav, statuses_and_the_edge_of_the_root)
{
  const string name(300, 'n');
  // clang-format off
  const struct {
    string method, target;
    int status;
    string headers, body;
  } rows[] = {
      {"MKCOL", "/made", 201, "", ""}, {"MKCOL", "/made", 405, "", ""}, {"MKCOL", "/made/", 405, "", ""},
      {"MKCOL", "/file", 405, "", ""}, {"MKCOL", "/none/x", 409, "", ""}, {"MKCOL", "/file/x", 409, "", ""},
      {"MKCOL", "/body", 415, "", "text"}, {"MKCOL", "/", 405, "", ""}, {"MKCOL", "/.htpasswd/", 404, "", ""},
      {"MKCOL", "/x.hid/", 404, "", ""}, {"MKCOL", "/out/x", 403, "", ""}, {"MKCOL", "/" + name, 414, "", ""},
      {"PUT", "/made", 405, "", "text"}, {"PUT", "/made/", 405, "", "text"}, {"PUT", "/file/x", 409, "", "text"},
      {"PUT", "/.htpasswd", 404, "", "text"}, {"PUT", "/.htpasswd/x", 404, "", "text"},
      {"PUT", "/x.hid", 404, "", "text"}, {"PUT", "/out/f", 403, "", "text"}, {"PUT", "/out/new/f", 403, "", "text"},
      {"PUT", "/outfile", 403, "", "text"}, {"PUT", "/dangling", 405, "", "text"}, {"PUT", "/pipe", 403, "", "text"},
      {"PUT", "/inside/f", 201, "", "text"}, {"PUT", "/../up", 201, "", "text"}, {"PUT", "-x:80", 404, "", "text"},
      {"PUT", "/" + name, 414, "", "text"}, {"PUT", "/" + string(9000, 'n'), 404, "", "text"},
      {"PUT", "/f", 400, "Content-Range: bytes 0-9/9\r\n", "text"},
      {"PUT", "/f", 411, "Transfer-Encoding: chunked\r\n", ""},
      {"DELETE", "/out/f", 403, "", ""}, {"DELETE", "/", 403, "", ""}, {"DELETE", "/.", 403, "", ""},
      {"DELETE", "/.htpasswd", 404, "", ""}, {"DELETE", "/none", 404, "", ""}, {"DELETE", "/file", 204, "", ""},
      {"DELETE", "/file", 404, "", ""}, {"DELETE", "/tree/", 204, "", ""}, {"DELETE", "/outlink", 204, "", ""},
      {"PROPFIND", "/none", 404, "", ""}, {"PROPFIND", "/made", 400, "Depth: 2\r\n", ""}};
  // clang-format on
  dav_server dav;
  const string outside = dav.server.folder.path + "/outside", root = dav.server.root;
  std::filesystem::create_directory(outside);
  file_write(outside + "/f", "kept");
  for (const char* file : {"file", "inner/x", "tree/a/b/c"})
    server_file(dav.server, file);
  for (const char* link : {"/out", "/outlink", "/tree/a/link"})
    std::filesystem::create_symlink(outside, root + link);
  std::filesystem::create_symlink(outside + "/f", root + "/outfile");
  std::filesystem::create_symlink(outside + "/none", root + "/dangling");
  std::filesystem::create_symlink("inner", root + "/inside");
  mkfifo((root + "/pipe").c_str(), 0600);
  for (const auto& row : rows)
    EXPECT_EQ(status_of(ask(dav, row.method, row.target, row.headers, row.body)), row.status)
        << row.method << " " << row.target;
  EXPECT_EQ(file_text(outside + "/f"), "kept");
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(outside), {}), 1);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dav.server.folder.path), {}), 3)
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
    server_file(dav.server, name, "12345");
  std::filesystem::create_symlink("..", dav.server.root + "/d/sub/up");
  EXPECT_EQ(hrefs(ask(dav, "PROPFIND", "/d", "Depth: 0\r\n")), "/d/ ");
  string children = hrefs(ask(dav, "PROPFIND", "/d/", "Depth: 1\r\n", "<propfind/>"));
  EXPECT_TRUE(children == "/d/ /d/%3C%26%3E /d/sub/ " || children == "/d/ /d/sub/ /d/%3C%26%3E ")
      << children;
  string all = hrefs(ask(dav, "PROPFIND", "/d"));
  EXPECT_NE(all.find("/d/sub/deep "), string::npos);
  EXPECT_EQ(all.find("/d/sub/up/d"), string::npos) << "a link that leads in a circle";
  string file = ask(dav, "PROPFIND", "/d/%3C&%3E");
  EXPECT_EQ(status_of(file), 207);
  EXPECT_NE(file.find("<d:resourcetype></d:resourcetype><d:getcontentlength>5<"), string::npos);
  EXPECT_NE(ask(dav, "PROPFIND", "/d").find("<d:resourcetype><d:collection/>"), string::npos);
  string deep;
  for (int i = 0; i < 40; i++)
    deep += "/d";
  std::filesystem::create_directories(dav.server.root + deep);
  EXPECT_EQ(status_of(ask(dav, "PROPFIND", "/")), 403) << "too deep for one answer";
}
