// Files under the document root: names, parts, conditions, listings, passwords and addresses.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>

#include <filesystem>

#include "httpd/mg_internal.h"
#include "tests/support/file_server.h"

using std::string;

#define FOR_EACH_ROW(row, rows) \
  for (const auto& row : rows)  \
    if (::testing::ScopedTrace trace(__FILE__, row.line, "this row"); true)

static const time_t MODIFIED = 784111777;  // Sun, 06 Nov 1994 08:49:37 GMT

static void set_time(const file_server& server, const string& name, time_t time)
{
  utimbuf times = {time, time};
  utime((server.root + "/" + name).c_str(), &times);
}

TEST(files, headers_of_a_file)
{
  file_server server;
  server_file(server, "a.html", "hello");
  set_time(server, "a.html", MODIFIED);
  string answer = raw_get(server, "GET /a.html");
  string date = header_of(answer, "Date");
  EXPECT_EQ(answer, "HTTP/1.1 200 OK\r\nDate: " + date +
                        "\r\nLast-Modified: Sun, 06 Nov 1994 08:49:37 GMT\r\n"
                        "Etag: \"2ebc98a1.5\"\r\nContent-Type: text/html\r\nContent-Length: 5\r\n"
                        "Connection: close\r\nAccept-Ranges: bytes\r\n\r\nhello");
  EXPECT_EQ(date.size(), strlen("Sun, 06 Nov 1994 08:49:37 GMT"));
}

struct name_row {
  int line;
  string target;
  int status;
  string body;  // of a 200, or the Location of a 301
};

TEST(files, names_lead_to_files_under_the_root_only)
{
  file_server server({
      {"enable_directory_listing", "no"                                                    },
      {"hide_files_patterns",      "**.secret$|**/private/*$"                              },
      {"url_rewrites",             "/alias=@ROOT/target,/file=@ROOT/a.txt,@other=@ROOT/dir"}
  });
  server_file(server, "a.txt", "A");
  server_file(server, "dir/index.htm", "index");
  server_file(server, "empty/.keep", "");
  server_file(server, "target/x", "aliased");
  server_file(server, "target-x", "beside");
  server_file(server, "in/.htpasswd", "secret");
  server_file(server, "x.secret", "secret");
  server_file(server, "private/x", "secret");
  server_file(server, "b/c", "C");
  server_file(server, "..a", "dots");
  server_file(server, "d\r\nX-Evil: 1/x", "evil");
  server_file(server, "\x01\xff <b>", "bytes");
  file_write(server.root + "-x:80", "beside");
  file_write(server.folder.path + "/outside", "outside");
  mkfifo((server.root + "/pipe").c_str(), 0600);
  const name_row rows[] = {
  // clang-format off
      {__LINE__, "/a.txt",                   200, "A"},
      {__LINE__, "/%61.t%78t",               200, "A"},
      {__LINE__, "/a.txt?q=1",               200, "A"},
      {__LINE__, "//./a.txt",                200, "A"},
      {__LINE__, "/a.txt/",                  404, ""},
      {__LINE__, "/none",                    404, ""},
      {__LINE__, "/dir",                     301, "/dir/"},
      {__LINE__, "/dir/",                    200, "index"},
      {__LINE__, "/empty/",                  403, ""},
      {__LINE__, "/a/../b/c",                404, ""},        // ".." is dropped, not resolved
      {__LINE__, "/../b/c",                  200, "C"},
      {__LINE__, "/../outside",              404, ""},
      {__LINE__, "/%2e%2e/outside",          404, ""},
      {__LINE__, "/b/%2e%2e%2f..%2foutside", 404, ""},
      {__LINE__, "/b/..\\..\\outside",       404, ""},
      {__LINE__, "-x:80",                    404, ""},        // a name beside the root
      {__LINE__, "*",                        404, ""},
      {__LINE__, "/in/.htpasswd",               404, ""},
      {__LINE__, "/in/.HTPASSWD",               404, ""},
      {__LINE__, "/in/%2ehtpasswd",             404, ""},
      {__LINE__, "/in/./.htpasswd",             404, ""},
      {__LINE__, "/x.secret",                404, ""},
      {__LINE__, "/x.SECRET",                404, ""},
      {__LINE__, "/private/x",               404, ""},
      {__LINE__, "/private/./x",             404, ""},
      {__LINE__, "/alias/x",                 200, "aliased"},
      {__LINE__, "/alias-x",                 404, ""},        // inside the folder, not beside it
      {__LINE__, "/alias../a.txt",           404, ""},
      {__LINE__, "/file",                    200, "A"},
      {__LINE__, "/pipe",                    404, ""},
      {__LINE__, "/%01%ff%20%3cb%3e",        200, "bytes"},
      {__LINE__, "/a.txt%00.html",           200, "A"},
      {__LINE__, "/d%0d%0aX-Evil:%201",      301, "/d%0D%0AX-Evil%3A%201/"},
      {__LINE__, "/" + string(300, 'n'),     404, ""},
      {__LINE__, "/" + string(9000, 'n'),    404, ""},
      {__LINE__, "/" + string(4000, '/'),    403, ""},
      {__LINE__, "http://host/a.txt",        405, ""},
      {__LINE__, "HTTPS:/a.txt",             405, ""},
  // clang-format on
  };
  FOR_EACH_ROW(row, rows)
  {
    string answer = raw_get(server, "GET " + row.target);
    EXPECT_EQ(status_of(answer), row.status);
    if (row.status == 200) {
      EXPECT_EQ(raw_body(answer), row.body);
    }
    EXPECT_EQ(header_of(answer, "Location"), row.status == 301 ? row.body : "");
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
  file_server server(file_server::options{
      {"extra_mime_types", ".txt=text/x-own,.zz=z/z"}
  });
  const std::pair<const char*, const char*> rows[] = {
      {"a.HTML", "text/html"             },
      {"a.jpg",  "image/jpeg"            },
      {"a.txt",  "text/x-own"            },
      {"a.b.zz", "z/z"                   },
      {"a.ttf",  "application/x-font-ttf"},
      {"none",   "text/plain"            },
      {".css",   "text/css"              },
  };
  for (const auto& [name, type] : rows) {
    server_file(server, name, "x");
    EXPECT_EQ(header_of(raw_get(server, string("GET /") + name), "Content-Type"), type) << name;
  }
}

struct range_row {
  int line;
  string range;
  int status;
  string content_range;
  string length;  // as promised
  size_t sent;
};

TEST(files, ranges)
{
  file_server server;
  string text;
  for (int i = 0; i < 100; i++)
    text += static_cast<char>(' ' + i % 90);
  server_file(server, "f", text);
  server_file(server, "empty", "");
  const range_row rows[] = {
  // clang-format off
      {__LINE__, "bytes=10-",                     206, "bytes 10-99/100", "90",  90},
      {__LINE__, "bytes=10-19",                   206, "bytes 10-19/100", "10",  10},
      {__LINE__, "bytes=0-0",                     206, "bytes 0-0/100",   "1",   1},
      {__LINE__, "bytes=99-99",                   206, "bytes 99-99/100", "1",   1},
      {__LINE__, "bytes=90-100",                  206, "bytes 90-100/100", "11", 10},  // one too many
      {__LINE__, "bytes=90-99999999999999999999", 206, "bytes 90-100/100", "11", 10},
      {__LINE__, "bytes=-5",                      200, "", "100", 100},
      {__LINE__, "bytes=5--3",                    200, "", "100", 100},
      {__LINE__, "bytes=20-10",                   200, "", "100", 100},
      {__LINE__, "bytes=x",                       200, "", "100", 100},
      {__LINE__, "lines=1-2",                     200, "", "100", 100},
      {__LINE__, "bytes=100-",                    416, "", "36", 36},
      {__LINE__, "bytes=99999999999999999999-",   416, "", "36", 36},
  // clang-format on
  };
  FOR_EACH_ROW(row, rows)
  {
    // Even where more is promised than there is, a kept connection must not leave the client
    // waiting: raw_answer returns when the server closes.
    string head = row.sent != atoi(row.length.c_str()) + 0u ? "" : "Connection: close\n";
    string answer = raw_answer(server, "GET /f HTTP/1.1\n" + head + "Range: " + row.range + "\n\n");
    EXPECT_EQ(status_of(answer), row.status);
    EXPECT_EQ(header_of(answer, "Content-Range"), row.content_range);
    EXPECT_EQ(header_of(answer, "Content-Length"), row.length);
    size_t first = row.status == 206 ? strtoul(row.content_range.c_str() + 6, nullptr, 10) : 0;
    if (row.status != 416) {
      EXPECT_EQ(raw_body(answer), text.substr(first, row.sent));
    }
  }
  EXPECT_EQ(status_of(raw_get(server, "GET /empty", "Range: bytes=0-\n")), 416);
}

TEST(files, conditions)
{
  file_server server;
  server_file(server, "f", "hello");
  set_time(server, "f", MODIFIED);
  const name_row rows[] = {
      {__LINE__, "If-None-Match: \"2ebc98a1.5\"",                     304, ""},
      {__LINE__, "If-None-Match: \"2EBC98A1.5\"",                     304, ""},
      {__LINE__, "If-None-Match: \"2ebc98a1.6\"",                     200, ""},
      {__LINE__, "If-Modified-Since: Sun, 06 Nov 1994 08:49:37 GMT",  304, ""},
      {__LINE__, "If-Modified-Since: Sun, 06 Nov 1994 08:49:36 GMT",  200, ""},
      {__LINE__, "If-Modified-Since: 06/Nov/1994 08:49:37",           304, ""},
      {__LINE__, "If-Modified-Since: 06/Nov/1994 08:49:36",           200, ""},
      {__LINE__, "If-Modified-Since: 6 Nov 1994 08:49:37",            304, ""},
      {__LINE__, "If-Modified-Since: 06-Nov-1994 08:49:37",           304, ""},
      {__LINE__, "If-Modified-Since: 06-Nov-94 08:49:37",             200, ""},
      {__LINE__, "If-Modified-Since: 31 Dec 1970 23:59:59",           200, ""},
      {__LINE__, "If-Modified-Since: 06 Nop 1999 08:49:37",           200, ""},
      {__LINE__, "If-Modified-Since: 06 Nov 99999999999 08:49:37",    200, ""},
      {__LINE__, "If-Modified-Since: Sunday, 06-Nov-94 08:49:37 GMT", 200, ""},
  };
  FOR_EACH_ROW(row, rows)
  {
    EXPECT_EQ(status_of(raw_get(server, "GET /f", row.target + "\n")), row.status);
  }
  EXPECT_EQ(raw_body(raw_get(server, "GET /f", "If-None-Match: \"2ebc98a1.5\"\n")), "");
}

TEST(files, head_and_kept_connections)
{
  file_server server;
  string large(300000, 'x');
  server_file(server, "large", large);
  server_file(server, "small", "s");
  http_client client;
  long connections = 0;
  EXPECT_EQ(http_request(client, "GET", server.url + "/large").body, large);
  EXPECT_EQ(http_request(client, "GET", server.url + "/small").body, "s");
  curl_easy_getinfo(client.curl.get(), CURLINFO_NUM_CONNECTS, &connections);
  EXPECT_EQ(connections, 0) << "the connection is used again";
  string head = raw_answer(server, "HEAD /large HTTP/1.1\n\n");
  EXPECT_EQ(header_of(head, "Content-Length"), "300000");
  EXPECT_EQ(header_of(head, "Connection"), "close");
  EXPECT_EQ(raw_body(head), "");
  EXPECT_EQ(raw_body(raw_answer(server, "HEAD / HTTP/1.1\n\n")), "");
}

static std::atomic<size_t> largest_queue{0};

static int watch_queue(mg_connection* conn, mg_event event)
{
  size_t room = mg_conn_2_conn(conn)->ns_conn->send_iobuf.size;
  if (room > largest_queue)
    largest_queue = room;
  return event == MG_AUTH ? MG_TRUE : MG_FALSE;
}

TEST(files, a_huge_file_takes_no_memory)
{
  file_server server({}, watch_queue);
  server_file(server, "huge", "");
  const uint64_t size = uint64_t{1} << 30;
  ASSERT_EQ(truncate((server.root + "/huge").c_str(), static_cast<off_t>(size)), 0);
  EXPECT_EQ(fetch(server.url + "/huge").body_size, size);
  EXPECT_LE(largest_queue, 16384u + 8192u);
}

static int send_own_file(mg_connection* conn, mg_event event)
{
  if (event != MG_REQUEST)
    return event == MG_AUTH ? MG_TRUE : MG_FALSE;
  mg_send_file(conn, getenv("SENT_FILE"), "X-Own: 1\r\n");
  return MG_MORE;
}

TEST(files, sent_by_a_handler)
{
  file_server server({}, send_own_file);
  string text(100000, 'h');
  file_write(server.folder.path + "/anywhere.css", text);
  setenv("SENT_FILE", (server.folder.path + "/anywhere.css").c_str(), 1);
  for (const char* request : {"GET /", "GET /x"}) {
    string answer = raw_get(server, request);
    EXPECT_EQ(header_of(answer, "Content-Type") + header_of(answer, "X-Own"), "text/css1");
    EXPECT_EQ(raw_body(answer), text);
  }
  setenv("SENT_FILE", "/none", 1);
  EXPECT_EQ(status_of(raw_get(server, "GET /")), 404);
}

// --- listings ---

// The names of a listing in their order, as they stand between the tags.
static string listed_names(const string& page)
{
  string names;
  for (size_t at = page.find("<tr><td><a href="); at != string::npos;
       at = page.find("<tr><td><a href=", at + 1)) {
    size_t start = page.find('>', at + 8 + 8) + 1;
    names += page.substr(start, page.find("</a>", start) - start) + " ";
  }
  return names;
}

TEST(listing, orders)
{
  file_server server;
  server_file(server, "b", string(10, 'x'));
  server_file(server, "a", string(2000, 'x'));
  server_file(server, "C", "x");
  server_file(server, "z/x", "");
  server_file(server, "y/x", "");
  set_time(server, "b", MODIFIED);
  set_time(server, "a", MODIFIED + 60);
  set_time(server, "C", MODIFIED + 120);
  set_time(server, "z", MODIFIED);
  set_time(server, "y", MODIFIED + 60);
  const std::pair<const char*, const char*> rows[] = {
      {"",    "y/ z/ C a b "},
      {"?na", "y/ z/ C a b "},
      {"?nd", "z/ y/ b a C "},
      {"?sa", "y/ z/ C b a "},
      {"?da", "z/ y/ b a C "},
      {"?dd", "y/ z/ C a b "},
      {"?x",  "y/ z/ C a b "},
  };
  for (const auto& [query, names] : rows) {
    string page = raw_body(raw_get(server, string("GET /") + query));
    EXPECT_EQ(listed_names(page), names) << query;
    char next = query[0] && query[1] && query[2] == 'd' ? 'a' : 'd';
    EXPECT_NE(page.find(string("href=\"?s") + next + "\""), string::npos) << query;
  }
}

TEST(listing, page)
{
  file_server server;
  const string odd = "<b>\"&'?#% \xc3\xa9";
  server_file(server, "<d>/" + odd, "");
  server_file(server, "<d>/1k", string(1536, 'x'));
  server_file(server, "<d>/1m", string(3 * 512 * 1024, 'x'));
  server_file(server, "<d>/1g", "");
  ASSERT_EQ(truncate((server.root + "/<d>/1g").c_str(), off_t{3} << 29), 0);
  string answer = raw_get(server, "GET /%3Cd%3E/");
  EXPECT_EQ(answer.find("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nContent-Type: text/html; "
                        "charset=utf-8\r\nTransfer-Encoding: chunked\r\n\r\n"),
            0u);
  string page = raw_body(answer);
  EXPECT_EQ(page.find("<html><head><title>Index of /&lt;d&gt;/</title><style>th {text-align: "
                      "left;}</style></head><body><h1>Index of /&lt;d&gt;/</h1><pre><table "
                      "cellpadding=\"0\">"),
            0u);
  EXPECT_NE(page.find("<a href=\"%3Cb%3E%22%26%27%3F%23%25%20%C3%A9\">"
                      "&lt;b&gt;&quot;&amp;&#39;?#% \xc3\xa9</a>"),
            string::npos);
  for (const char* size : {"1.5k", "1.5M", "1.5G"})
    EXPECT_NE(page.find(string("&nbsp;&nbsp;") + size + "</td></tr>\n"), string::npos) << size;
}

// --- passwords ---

static string md5(const string& text)
{
  char digest[33];
  return mg_md5(digest, text.c_str(), nullptr);
}

static long digest_status(const string& url, const string& user, const char* method = "GET")
{
  return fetch(url,
               {
                   {CURLOPT_USERPWD,       user  },
                   {CURLOPT_CUSTOMREQUEST, method}
  })
      .status;
}

TEST(passwords, digest)
{
  file_server server({
      {"auth_domain",   "here"           },
      {"dav_auth_file", "@ROOT/../davpwd"}
  });
  string joe = "joe:here:" + md5("joe:here:secret") + "\n";
  server_file(server, "in/f", "inside");
  server_file(server, "in/sub/f", "no password asked here");
  server_file(server, "in/.htpasswd", "x:here:0\njoe:there:0\n" + string(300, 'x') + "\n" + joe);
  server_file(server, "dir/.htpasswd/x", "a password file that cannot be read");
  server_file(server, "dir/f", "");
  string path = server.url + "/in/f";
  EXPECT_EQ(digest_status(path, "joe:secret"), 200);
  EXPECT_EQ(digest_status(server.url + "/in", "joe:secret"), 301);
  EXPECT_EQ(digest_status(path, "joe:wrong"), 401);
  EXPECT_EQ(digest_status(path, "jim:secret"), 401);
  EXPECT_EQ(digest_status(server.url + "/in/sub/f", "x:y"), 200);
  EXPECT_EQ(digest_status(server.url + "/dir/f", "joe:secret"), 401);
  EXPECT_EQ(digest_status(path, "joe:secret", "PROPFIND"), 401) << "without a DAV password file";
  file_write(server.folder.path + "/davpwd", joe);
  EXPECT_EQ(digest_status(path, "joe:secret", "PROPFIND"), 207);
  EXPECT_EQ(digest_status(path, "joe:secret", "DELETE"), 204);
  string refused = raw_get(server, "GET /in/f");
  EXPECT_EQ(refused.find("HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Digest qop=\"auth\", "
                         "realm=\"here\", nonce=\""),
            0u);
  string header =
      "Authorization: Digest username=\"joe\", cnonce=c, uri=\"/in/f\", qop=auth, "
      "nc=1, nonce=n, response=" +
      md5(md5("joe:here:secret") + ":n:1:c:auth:" + md5("GET:/in/f"));
  server_file(server, "in/f", "inside");
  EXPECT_EQ(status_of(raw_get(server, "GET /in/f", header + "\n")), 200);
  EXPECT_EQ(status_of(raw_get(server, "HEAD /in/f", header + "\n")), 401);
}

TEST(passwords, one_file_for_all)
{
  file_server server({
      {"auth_domain",      "here"       },
      {"global_auth_file", "@ROOT/../pw"}
  });
  server_file(server, "f", "");
  server_file(server, ".htpasswd", "");
  EXPECT_EQ(status_of(raw_get(server, "GET /f")), 200) << "no such file, no password";
  file_write(server.folder.path + "/pw", "joe:here:" + md5("joe:here:secret") + "\n");
  EXPECT_EQ(status_of(raw_get(server, "GET /none")), 401);
  EXPECT_EQ(digest_status(server.url + "/f", "joe:secret"), 200);
  EXPECT_EQ(status_of(raw_get(server, "PROPFIND /f")), 207) << "that is another file's affair";
  EXPECT_EQ(status_of(raw_get(server, "PUT /f", "Content-Length: 0\n")), 401);
}

// --- addresses ---

static bool is_served_from(const file_server& server, const string& address)
{
  return fetch(server.url,
               {
                   {CURLOPT_INTERFACE, "host!" + address}
  })
             .status == 200;
}

TEST(addresses, access_list)
{
  struct acl_row {
    int line;
    const char* list;
    bool from_1, from_2, from_1_0_0;  // 127.0.0.1, 127.0.0.2, 127.1.0.0
  };
  const acl_row rows[] = {
      {__LINE__, "",                        true,  true,  true },
      {__LINE__, "+127.0.0.1",              true,  false, false},
      {__LINE__, "+127.0.0.0/8,-127.0.0.2", true,  false, true },
      {__LINE__, "-127.0.0.2,+127.0.0.0/8", true,  true,  true },
      {__LINE__, "-127.0.0.1",              false, false, false},
      {__LINE__, "+127.0.0.1/24",           false, false, false}, // has host bits
      {__LINE__, "+127.0.0.0/24",           true,  true,  false},
      {__LINE__, "+0.0.0.0/0",              true,  true,  true },
      {__LINE__, "-127.0.0.1,nonsense",     true,  true,  true }, // malformed: everybody
      {__LINE__, "+10.0.0.0/33",            true,  true,  true },
  };
  FOR_EACH_ROW(row, rows)
  {
    file_server server(file_server::options{
        {"access_control_list", row.list}
    });
    EXPECT_EQ(is_served_from(server, "127.0.0.1"), row.from_1);
    EXPECT_EQ(is_served_from(server, "127.0.0.2"), row.from_2);
    EXPECT_EQ(is_served_from(server, "127.1.0.0"), row.from_1_0_0);
  }
}
