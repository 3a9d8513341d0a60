// Files under the document root: names, parts, conditions, listings, passwords and addresses.
#include "tests/httpd_support.h"

using named_texts = std::vector<std::pair<string, string>>;

static const time_t MODIFIED = 784111777;  // Sun, 06 Nov 1994 08:49:37 GMT

static void set_time(const file_server& server, const string& name, time_t time)
{
  utimbuf times = {time, time};
  utime((server.root + "/" + name).c_str(), &times);
}

TEST(files, names_lead_to_files_under_the_root_only)
{
  file_server server(
      "enable_directory_listing=no;hide_files_patterns=**.secret$|**/private/*$;"
      "url_rewrites=/alias=@ROOT/target,/file=@ROOT/a.txt,@other=@ROOT/dir");
  // clang-format off
  const named_texts files = {
      {"a.txt", "A"}, {"dir/index.htm", "index"}, {"empty/.keep", ""}, {"target/x", "aliased"},
      {"target-x", "beside"}, {"in/.htpasswd", "secret"}, {"x.secret", "secret"}, {"b/c", "C"},
      {"private/x", "secret"}, {"d\r\nX-Evil: 1/x", "evil"}, {"\x01\xff <b>", "bytes"}};
  for (const auto& [name, text] : files)
    server_file(server, name, text);
  file_write(server.root + "-x:80", "beside");
  file_write(server.folder.path + "/outside", "outside");
  mkfifo((server.root + "/pipe").c_str(), 0600);
  const struct {
    string target;
    int status;
    string body = "";  // of a 200, or the Location of a 301
  } rows[] = {
      {"/a.txt", 200, "A"}, {"/%61.t%78t", 200, "A"}, {"/a.txt?q=1", 200, "A"},
      {"//./a.txt", 200, "A"}, {"/a.txt/", 404}, {"/none", 404}, {"/dir", 301, "/dir/"},
      {"/dir/", 200, "index"}, {"/empty/", 403}, {"/a/../b/c", 404},  // drops ".."
      {"/../b/c", 200, "C"}, {"/../outside", 404}, {"/%2e%2e/outside", 404},
      {"/b/%2e%2e%2f..%2foutside", 404}, {"/b/..\\..\\outside", 404},
      {"-x:80", 404}, {"*", 404},  // names beside the root
      {"/in/.htpasswd", 404}, {"/in/.HTPASSWD", 404}, {"/in/%2ehtpasswd", 404},
      {"/in/./.htpasswd", 404}, {"/x.secret", 404}, {"/x.SECRET", 404}, {"/private/x", 404},
      {"/private/./x", 404}, {"/private/", 404}, {"/alias/x", 200, "aliased"}, {"/alias-x", 404},
      {"/alias../a.txt", 404}, {"/file", 200, "A"}, {"/pipe", 404},
      {"/%01%ff%20%3cb%3e", 200, "bytes"}, {"/a.txt%00.html", 200, "A"},
      {"/d%0d%0aX-Evil:%201", 301, "/d%0D%0AX-Evil%3A%201/"}, {"/" + string(300, 'n'), 404},
      {"/" + string(9000, 'n'), 404}, {"/" + string(4000, '/'), 403}, {"http://host/a.txt", 405},
      {"HTTPS:/a", 405}};
  // clang-format on
  for (const auto& row : rows) {
    string answer = raw_get(server, "GET " + row.target);
    EXPECT_EQ(status_of(answer), row.status) << row.target;
    EXPECT_EQ(row.status == 200 ? raw_body(answer) : header_of(answer, "Location"), row.body);
    EXPECT_EQ(header_of(answer, "X-Evil"), "");
  }
  EXPECT_EQ(raw_body(raw_get(server, "GET /", "Host: OTHER:80\n")), "index");
  EXPECT_EQ(raw_body(raw_get(server, "POST /a.txt", "Content-Length: 0\n")), "A");
  EXPECT_EQ(status_of(raw_get(server, "CONNECT a:80")), 405);
  EXPECT_EQ(raw_get(server, "OPTIONS /"),
            "HTTP/1.1 200 OK\r\nAllow: GET, POST, HEAD, CONNECT, PUT, DELETE, OPTIONS, PROPFIND, "
            "MKCOL\r\nDAV: 1\r\n\r\n");
}

TEST(files, types_by_extension)
{
  file_server server("extra_mime_types=.txt=text/x-own,.zz=z/z");
  // clang-format off
  const named_texts rows = {
      {"a.HTML", "text/html"}, {"a.jpg", "image/jpeg"}, {"a.txt", "text/x-own"}, {"a.b.zz", "z/z"},
      {"a.ttf", "application/x-font-ttf"}, {"none", "text/plain"}};
  // clang-format on
  for (const auto& [name, type] : rows) {
    server_file(server, name);
    EXPECT_EQ(header_of(raw_get(server, "GET /" + name), "Content-Type"), type) << name;
  }
}

TEST(files, ranges)
{
  file_server server;
  string text;
  for (int i = 0; i < 100; i++)
    text += static_cast<char>(' ' + i % 90);
  server_file(server, "f", text);
  set_time(server, "f", MODIFIED);
  server_file(server, "empty");
  // clang-format off
  const struct {
    const char* range;
    int status = 200;
    const char* content_range = "";
    size_t promised = 100, sent = 100;
  } rows[] = {
      {"bytes=10-", 206, "bytes 10-99/100", 90, 90},
      {"bytes=10-19", 206, "bytes 10-19/100", 10, 10}, {"bytes=0-0", 206, "bytes 0-0/100", 1, 1},
      {"bytes=99-99", 206, "bytes 99-99/100", 1, 1},
      {"bytes=90-100", 206, "bytes 90-100/100", 11, 10},  // one more than there is
      {"bytes=90-99999999999999999999", 206, "bytes 90-100/100", 11, 10}, {"bytes=-5"},
      {"bytes=5--3"}, {"bytes=20-10"}, {"bytes=x"}, {"lines=1-2"},
      {"bytes=100-", 416, "bytes */100", 36, 36},
      {"bytes=99999999999999999999-", 416, "bytes */100", 36, 36},  // of another state of the file
      {"bytes=10-19\nIf-Range: \"2ebc98a1.100\"", 206, "bytes 10-19/100", 10, 10},
      {"bytes=10-19\nIf-Range: \"2ebc98a1.99\""}, {"bytes=10-19\nIf-Range: W/\"2ebc98a1.100\""},
      {"bytes=10-19\nIf-Range: Sun, 06 Nov 1994 08:49:37 GMT", 206, "bytes 10-19/100", 10, 10},
      {"bytes=10-19\nIf-Range: Sun, 06 Nov 1994 08:49:38 GMT"}, {"bytes=100-\nIf-Range: x"}};
  // clang-format on
  for (const auto& row : rows) {
    // Where more is promised than there is, a kept connection must not leave the client waiting.
    string head = row.sent < row.promised ? "" : "Connection: close\n";
    string answer = raw_answer(server, "GET /f HTTP/1.1\n" + head + "Range: " + row.range + "\n\n");
    EXPECT_EQ(status_of(answer), row.status) << row.range;
    EXPECT_EQ(header_of(answer, "Content-Range"), row.content_range);
    EXPECT_EQ(header_of(answer, "Content-Length"), std::to_string(row.promised));
    size_t first = row.status == 206 ? strtoul(row.content_range + 6, nullptr, 10) : 0;
    EXPECT_TRUE(row.status == 416 || raw_body(answer) == text.substr(first, row.sent));
  }
  EXPECT_EQ(status_of(raw_get(server, "GET /empty", "Range: bytes=0-\n")), 416);
}

TEST(files, conditions)
{
  file_server server;
  server_file(server, "f", "hello");
  set_time(server, "f", MODIFIED);
  // clang-format off
  const std::pair<const char*, int> rows[] = {
      {"None-Match: \"2ebc98a1.5\"", 304}, {"None-Match: \"2EBC98A1.5\"", 304},
      {"None-Match: \"2ebc98a1.6\"", 200}, {"Modified-Since: Sun, 06 Nov 1994 08:49:37 GMT", 304},
      {"Modified-Since: Sun, 06 Nov 1994 08:49:36 GMT", 200},
      {"Modified-Since: 06/Nov/1994 08:49:37", 304}, {"Modified-Since: 06/Nov/1994 08:49:36", 200},
      {"Modified-Since: 6 Nov 1994 08:49:37", 304}, {"Modified-Since: 06-Nov-1994 08:49:37", 304},
      {"Modified-Since: 06-Nov-94 08:49:37", 200}, {"Modified-Since: 31 Dec 1970 23:59:59", 200},
      {"Modified-Since: 06 Nop 1999 08:49:37", 200},
      {"Modified-Since: 06 Nov 99999999999 08:49:37", 200},
      {"Modified-Since: Sunday, 06-Nov-94 08:49:37 GMT", 200}};
  // clang-format on
  for (const auto& [header, status] : rows) {
    string answer = raw_get(server, "GET /f", string("If-") + header + "\n");
    EXPECT_EQ(status_of(answer), status) << header;
    EXPECT_EQ(raw_body(answer), status == 304 ? "" : "hello");
  }
}

TEST(files, headers_of_a_file)
{
  file_server server;
  server_file(server, "a.html", "hello");
  set_time(server, "a.html", MODIFIED);
  const string answer = raw_get(server, "GET /a.html"), date = header_of(answer, "Date");
  EXPECT_EQ(answer, "HTTP/1.1 200 OK\r\nDate: " + date +
                        "\r\nLast-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n"
                        "Etag: \"2ebc98a1.5\"\r\nContent-Type: text/html\r\nContent-Length: 5\r\n"
                        "Connection: close\r\nAccept-Ranges: bytes\r\n\r\nhello");
  EXPECT_EQ(date.size(), strlen("Sun, 06 Nov 1994 08:49:37 GMT"));
  string head = raw_get(server, "HEAD /a.html");
  head.replace(head.find("Date: ") + 6, date.size(), date);
  EXPECT_EQ(head, answer.substr(0, answer.size() - 5));
  EXPECT_EQ(raw_body(raw_get(server, "HEAD /")), "");
}

TEST(files, a_huge_file_takes_no_memory)
{
  file_server server("", note_queue);
  server_file(server, "huge");
  const size_t size = 64 << 20;
  ASSERT_EQ(truncate((server.root + "/huge").c_str(), size), 0);
  http_client client;
  EXPECT_EQ(http_request(client, "GET", server.url + "/huge").body.size(), size);
  EXPECT_LE(longest_queue, 16384u + 8192u);
  EXPECT_EQ(http_request(client, "GET", server.url + "/none").status, 404);
  EXPECT_EQ(http_connections(client), 0) << "the connection is used again";
}

TEST(files, sent_by_a_handler)
{
  temp_folder folder;
  string text(100000, 'h'), path = folder.path + "/anywhere.css";
  file_write(path, text);
  test_server s(on_request([&](mg_connection* c) {
    mg_send_file(c, path.c_str(), "X-Own: 1\r\n");
    return MG_MORE;
  }));
  string answer = ask(s, "GET / HTTP/1.0\r\n\r\n");
  EXPECT_EQ(header_of(answer, "Content-Type") + header_of(answer, "X-Own"), "text/css1");
  EXPECT_EQ(raw_body(answer), text);
  path = "/none";
  EXPECT_EQ(ask(s, "GET / HTTP/1.0\r\n\r\n"), error_answer("404 Not Found"));
}

// --- listings ---

// The names of a listing in their order, as they stand between the tags.
static string listed_names(const string& page)
{
  static const string row = "<tr><td><a href=";
  string names;
  for (size_t at = 0; (at = page.find(row, at)) != string::npos;) {
    at = page.find('>', at + row.size()) + 1;
    names += page.substr(at, page.find("</a>", at) - at) + " ";
  }
  return names;
}

TEST(listing, orders)
{
  file_server server;
  for (const auto& [name, size, age] :
       {std::tuple("b", 10u, 120), std::tuple("a", 2000u, 60), std::tuple("C", 1u, 0),
        std::tuple("z/x", 0u, 120), std::tuple("y/x", 0u, 60)}) {
    server_file(server, name, string(size, 'x'));
    set_time(server, string(name, 1), MODIFIED - age);
  }
  // clang-format off
  const named_texts rows = {
      {"", "y/ z/ C a b "}, {"?na", "y/ z/ C a b "}, {"?nd", "z/ y/ b a C "},
      {"?sa", "y/ z/ C b a "}, {"?da", "z/ y/ b a C "}, {"?dd", "y/ z/ C a b "},
      {"?x", "y/ z/ C a b "}};
  // clang-format on
  for (const auto& [query, names] : rows) {
    string page = raw_body(raw_get(server, "GET /" + query));
    EXPECT_EQ(listed_names(page), names) << query;
    string next = query.size() == 3 && query[2] == 'd' ? "a" : "d";
    EXPECT_NE(page.find("href=\"?s" + next + "\""), string::npos) << query;
  }
}

TEST(listing, hides_what_a_pattern_names)
{
  file_server server("hide_files_patterns=**/in/x$|**/private/**|**/private$");
  for (const char* name : {"in/x", "in/y", "private/a/b"})
    server_file(server, name);
  EXPECT_EQ(listed_names(raw_body(raw_get(server, "GET /in/"))), "y ");
  EXPECT_EQ(listed_names(raw_body(raw_get(server, "GET /"))), "in/ ");
  for (const char* name : {"GET /private", "GET /private/", "GET /private/a/", "GET /private/a/b"})
    EXPECT_EQ(status_of(raw_get(server, name)), 404) << name;
}

TEST(listing, page)
{
  file_server server;
  server_file(server, "<d>/<b>\"&'?#% \xc3\xa9");
  for (int shift : {9, 19, 29}) {
    string name = "<d>/" + std::to_string(shift);
    server_file(server, name);
    ASSERT_EQ(truncate((server.root + "/" + name).c_str(), off_t{3} << shift), 0);
  }
  const string answer = raw_get(server, "GET /%3Cd%3E/");
  const string head =
      "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nContent-Type: text/html; "
      "charset=utf-8\r\nTransfer-Encoding: chunked\r\n\r\n";
  const string top =
      "<html><head><title>Index of /&lt;d&gt;/</title><style>th {text-align: left;}"
      "</style></head><body><h1>Index of /&lt;d&gt;/</h1><pre><table cellpadding=\"0\">";
  EXPECT_EQ(answer.substr(0, head.size()), head);
  EXPECT_EQ(raw_body(answer).substr(0, top.size()), top);
  for (const char* part :
       {"<a href=\"%3Cb%3E%22%26%27%3F%23%25%20%C3%A9\">&lt;b&gt;&quot;&amp;&#39;?#% \xc3\xa9</a>",
        "&nbsp;&nbsp;1.5k</td></tr>\n", "&nbsp;&nbsp;1.5M</td>", "&nbsp;&nbsp;1.5G</td>"})
    EXPECT_NE(answer.find(part), string::npos) << part << answer;
}

// --- passwords ---

static string md5(const string& text)
{
  char digest[33];
  return mg_md5(digest, text.c_str(), nullptr);
}

static const string JOE = "joe:here:" + md5("joe:here:secret") + "\n";

static long digest_status(const string& url, const char* user, const char* method = "GET")
{
  http_client client(CURLOPT_USERPWD, user);
  return http_request(client, method, url).status;
}

TEST(passwords, digest)
{
  file_server server("auth_domain=here;dav_auth_file=@ROOT/../davpwd");
  for (const char* name : {"in/f", "in/sub/f", "dir/.htpasswd/x", "dir/f"})
    server_file(server, name);
  server_file(server, "in/.htpasswd", "x:here:0\njoe:there:0\n" + string(300, 'x') + "\n" + JOE);
  string path = server.url + "/in/f";
  for (const auto& [file, user, status] :
       {std::tuple("/in/f", "joe:secret", 200), std::tuple("/in", "joe:secret", 301),
        std::tuple("/in/f", "joe:wrong", 401), std::tuple("/in/f", "jim:secret", 401),
        std::tuple("/in/sub/f", "x:y", 200), std::tuple("/dir/f", "joe:secret", 401)})
    EXPECT_EQ(digest_status(server.url + file, user), status) << file << user;
  EXPECT_EQ(digest_status(path, "joe:secret", "PROPFIND"), 401) << "without a DAV password file";
  file_write(server.folder.path + "/davpwd", JOE);
  EXPECT_EQ(digest_status(path, "joe:secret", "PROPFIND"), 207);
  string header =
      "Authorization: Digest username=\"joe\", cnonce=c, uri=\"/in/f\", qop=auth, nc=1, nonce=n, "
      "response=" +
      md5(md5("joe:here:secret") + ":n:1:c:auth:" + md5("GET:/in/f")) + "\n";
  EXPECT_EQ(status_of(raw_get(server, "GET /in/f", header)), 200);
  EXPECT_EQ(status_of(raw_get(server, "HEAD /in/f", header)), 401);
}

TEST(passwords, one_file_for_all)
{
  file_server server("auth_domain=here;global_auth_file=@ROOT/../pw");
  server_file(server, "f");
  server_file(server, ".htpasswd");
  EXPECT_EQ(status_of(raw_get(server, "GET /f")), 200) << "no such file, no password";
  file_write(server.folder.path + "/pw", JOE);
  EXPECT_EQ(status_of(raw_get(server, "GET /none")), 401);
  EXPECT_EQ(digest_status(server.url + "/f", "joe:secret"), 200);
  EXPECT_EQ(status_of(raw_get(server, "PROPFIND /f")), 207) << "that is another file's affair";
  EXPECT_EQ(status_of(raw_get(server, "PUT /f", "Content-Length: 0\n")), 401);
}

// --- addresses ---

TEST(addresses, access_list)
{
  // Who is let in of 127.0.0.1, 127.0.0.2 and 127.1.0.0.
  // clang-format off
  const named_texts rows = {
      {"", "yes yes yes "}, {"+127.0.0.1", "yes no no "},
      {"+127.0.0.0/8,-127.0.0.2", "yes no yes "}, {"-127.0.0.2,+127.0.0.0/8", "yes yes yes "},
      {"-127.0.0.1", "no no no "}, {"+127.0.0.0/24", "yes yes no "}, {"+0.0.0.0/0", "yes yes yes "},
      {"-0.0.0.0/0,+127.1.0.0/16,-10.0.0.0/8", "no no yes "},
      {"+127.0.0.1/24", "no no no "},  // has host bits
      // malformed: everybody
      {"-127.0.0.1,nonsense", "yes yes yes "}, {"+10.0.0.0/33", "yes yes yes "},
      {"127.0.0.9", "yes yes yes "}, {"+127.0.-1.9", "yes yes yes "},
      {"+127.0.0.4294967305", "yes yes yes "}, {"+127.0.0.9/", "yes yes yes "},
      {"+127.0.0.0/30x", "yes yes yes "}};
  // clang-format on
  for (const auto& [list, expected] : rows) {
    file_server server("access_control_list=" + list);
    string allowed;
    for (const char* address : {"host!127.0.0.1", "host!127.0.0.2", "host!127.1.0.0"}) {
      http_client client(CURLOPT_INTERFACE, address);
      allowed += http_request(client, "GET", server.url).headers.empty() ? "no " : "yes ";
    }
    EXPECT_EQ(allowed, expected) << list;
  }
}
