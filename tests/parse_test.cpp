// Requests, variables, headers, patterns, digests and the access list, byte by byte.
#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

#include "httpd/httpd.h"
#include "httpd/mg_acl.h"
#include "httpd/mg_digest.h"
#include "httpd/mg_parse.h"

using std::string;
using namespace std::string_literals;

// One row is one case; a failure names the row's line.
#define FOR_EACH_ROW(row, rows) \
  for (const auto& row : rows)  \
    if (::testing::ScopedTrace trace(__FILE__, row.line, "this row"); true)

// A heap block of exactly the text's size without a terminator: one byte too far is a finding.
static std::vector<char> exact(const string& text)
{
  return std::vector<char>(text.begin(), text.end());
}

TEST(parse, length_of_the_header_block)
{
  const struct {
    int line;
    string bytes;
    int length;
  } rows[] = {
      {__LINE__, "",                                 0 },
      {__LINE__, "GET / HTTP/1.1\r\n",               0 },
      {__LINE__, "GET / HTTP/1.1\r\n\r",             0 },
      {__LINE__, "GET / HTTP/1.1\r\n\r\nbody\n\n",   18},
      {__LINE__, "GET / HTTP/1.1\n\nX",              16},
      {__LINE__, "a\n\r\n",                          4 },
      {__LINE__, "a\r\r\r\n\r",                      0 },
      {__LINE__, "\n\n",                             2 },
      {__LINE__, "\n",                               0 },
      {__LINE__, "a\tb\n\n",                         -1},
      {__LINE__, "a\x7f\n\n",                        -1},
      {__LINE__, "a\0b\n\n"s,                        -1},
      {__LINE__, "a\x80\xff\n\n",                    5 },
      {__LINE__, "a\n\n\0"s,                         3 },
      {__LINE__, "\x16\x03\x01",                     -1},
  };
  FOR_EACH_ROW (row, rows) {
    EXPECT_EQ(row.length, get_request_len(exact(row.bytes).data(), row.bytes.size()));
  }
}

// "method|uri|version|query|name=value;name=value;" of a parsed message, with the status in front
// of a response; "-1" of a refused one.
static string parsed(const string& block)
{
  std::vector<char> bytes = exact(block);
  mg_connection view = {};
  view.status_code = view.num_headers = view.wsbits = view.is_websocket = 7;
  int result = parse_http_message(bytes.data(), bytes.size(), &view);
  if (result != static_cast<int>(block.size())) {
    return std::to_string(result);
  }
  EXPECT_EQ(0, view.wsbits + view.is_websocket);
  string text = view.status_code != 0 ? std::to_string(view.status_code) + " " : "";
  text = text + view.request_method + "|" + view.uri + "|" + view.http_version + "|";
  text += view.query_string == nullptr ? "(null)|" : view.query_string + "|"s;
  for (int i = 0; i < view.num_headers; i++) {
    text = text + view.http_headers[i].name + "=" + view.http_headers[i].value + ";";
  }
  return text;
}

TEST(parse, messages)
{
  string many;
  string thirty;
  for (int i = 0; i < 31; i++) {
    many += "H" + std::to_string(i) + ": v\r\n";
    thirty += i < 30 ? "H" + std::to_string(i) + "=v;" : "";
  }
  const struct {
    int line;
    string block;
    string view;
  } rows[] = {
      {__LINE__, "GET /a HTTP/1.1\r\nHost: h\r\nX-Y:  z w\r\n\r\n", "GET|/a|1.1|(null)|Host=h;X-Y=z w;"},
      {__LINE__, "\r\n  GET  /a  HTTP/1.0\n\n", "GET|/a|1.0|(null)|"},
      {__LINE__, "PUT /a%20b+c?d=%20+e?f HTTP/1.1\n\n", "PUT|/a b+c|1.1|d=%20+e?f|"},
      {__LINE__, "GET /a? HTTP/1.1\n\n", "GET|/a|1.1||"},
      {__LINE__, "GET /%2e%2E/%2f%5C..%2fetc HTTP/1.1\n\n", "GET|/etc|1.1|(null)|"},
      {__LINE__, "GET ./../a HTTP/1.1\n\n", "GET|./a|1.1|(null)|"},
      {__LINE__, "GET http://h//a/../b HTTP/1.1\n\n", "GET|http://h//a/../b|1.1|(null)|"},
      {__LINE__, "GET /a%00/../b HTTP/1.1\n\n", "GET|/a|1.1|(null)|"},
      {__LINE__, "GET /%3fa%3Fb?c HTTP/1.1\n\n", "GET|/?a?b|1.1|c|"},
      {__LINE__, "OPTIONS * HTTP/2.7\n\n", "OPTIONS|*|2.7|(null)|"},
      {__LINE__, "MKCOL /a HTTP/\n\n", "MKCOL|/a||(null)|"},
      {__LINE__, "PROPFIND /a HTTP/1.1 b\n\n", "PROPFIND|/a|1.1 b|(null)|"},
      {__LINE__, "GET /a HTTP/1.1\nA:b\nC:\nD : e\nF: ::1\ng\n\n", "GET|/a|1.1|(null)|A=b;C=;D=e;F=::1;g=;"},
      {__LINE__, "GET /a HTTP/1.1\nA: b\n folded\nC: d\n\n", "GET|/a|1.1|(null)|A=b;"},
      {__LINE__, "GET /a HTTP/1.1\nA: b\n: c\nD: e\n\n", "GET|/a|1.1|(null)|A=b;"},
      {__LINE__, "GET /a HTTP/1.1\rA: b\r\r\n\n", "GET|/a|1.1|(null)|A=b;"},
      {__LINE__, "GET / HTTP/1.1\r\n" + many + "\r\n", "GET|/|1.1|(null)|" + thirty},
      {__LINE__, "HTTP/1.1 404 Not Found\r\nA: b\r\n\r\n", "404 HTTP/1.1|404|Not Found|(null)|A=b;"},
      {__LINE__, "HTTP/1.0\n\n", "HTTP/1.0|||(null)|"},
      {__LINE__, "GET /a\nX: HTTP/1.1\n\n", "-1"},
      {__LINE__, "GET /a\n\n", "-1"},
      {__LINE__, "GET HTTP/1.1\n\n", "-1"},
      {__LINE__, "get /a HTTP/1.1\n\n", "-1"},
      {__LINE__, "PATCH /a HTTP/1.1\n\n", "-1"},
      {__LINE__, "GET /a http/1.1\n\n", "-1"},
      {__LINE__, "GET /\0a HTTP/1.1\n\n"s, "-1"},
      {__LINE__, "\r\n\r\n", "-1"},
      {__LINE__, "G", "-1"},
      {__LINE__, "", "-1"},
  };
  FOR_EACH_ROW (row, rows) {
    EXPECT_EQ(row.view, parsed(row.block));
  }
}

TEST(parse, header_lookup_takes_the_first_in_any_case)
{
  mg_connection view = {};
  char block[] = "GET / HTTP/1.1\r\nHost: a\r\nhost: b\r\nHos: c\r\n\r\n";
  ASSERT_GT(parse_http_message(block, sizeof block - 1, &view), 0);
  EXPECT_STREQ("a", mg_get_header(&view, "HOST"));
  EXPECT_STREQ("c", mg_get_header(&view, "hos"));
  EXPECT_EQ(nullptr, mg_get_header(&view, "Hosts"));
}

TEST(parse, targets_and_paths)
{
  for (const char* uri : {"/", "/x", "*", "http://a", "HTTPS:", "host:443", "h:1/x"}) {
    EXPECT_TRUE(is_valid_uri(uri)) << uri;
  }
  for (const char* uri : {"", "x", "**", "htt", ":80", "a b:80", "host:", "host:x"}) {
    EXPECT_FALSE(is_valid_uri(uri)) << uri;
  }
  EXPECT_FALSE(is_valid_uri(nullptr));

  const struct {
    int line;
    const char* path;
    const char* shortened;
  } rows[] = {
      {__LINE__, "/a//b", "/a/b"},
      {__LINE__, "/../etc", "/etc"},
      {__LINE__, "/a/../b", "/a/b"},
      {__LINE__, "/index.html/../x", "/index.html/x"},
      {__LINE__, "/....//..\\..x", "/x"},
      {__LINE__, "\\\\a\\..\\b", "\\a\\b"},
      {__LINE__, "/...", "/."},
      {__LINE__, "/./../a", "/./a"},
      {__LINE__, "/.htpasswd", "/.htpasswd"},
      {__LINE__, "/a../b..", "/a../b.."},
      {__LINE__, "/..", "/"},
      {__LINE__, "", ""},
  };
  FOR_EACH_ROW (row, rows) {
    std::vector<char> path = exact(row.path + "\0"s);
    remove_double_dots_and_double_slashes(path.data());
    EXPECT_STREQ(row.shortened, path.data());
  }
}

TEST(parse, url_decoding)
{
  const struct {
    int line;
    string src;
    int dst_len;
    int is_form;
    int result;
    string dst;
  } rows[] = {
      {__LINE__, "a%41%7a%7A+", 9, 1, 5, "aAzz "s},
      {__LINE__, "a+%2B", 9, 0, 3, "a++"s},
      {__LINE__, "%", 9, 0, 1, "%"s},
      {__LINE__, "%4", 9, 0, 2, "%4"s},
      {__LINE__, "%%41", 9, 0, 2, "%A"s},
      {__LINE__, "%4g%g4%", 9, 0, 7, "%4g%g4%"s},
      {__LINE__, "a%00b", 9, 0, 3, "a\0b"s},
      {__LINE__, "%ff%80", 9, 0, 2, "\xff\x80"s},
      {__LINE__, "%41%42", 3, 0, 2, "AB"s},
      {__LINE__, "%41%42", 2, 0, -1, "A"s},
      {__LINE__, "abc", 4, 0, 3, "abc"s},
      {__LINE__, "abc", 3, 0, -1, "ab"s},
      {__LINE__, "a", 1, 0, -1, ""s},
      {__LINE__, "", 1, 0, 0, ""s},
  };
  FOR_EACH_ROW (row, rows) {
    std::vector<char> src = exact(row.src);
    std::vector<char> dst(static_cast<size_t>(row.dst_len), 'x');
    const int src_len = static_cast<int>(src.size());
    EXPECT_EQ(row.result,
              mg_url_decode(src.data(), src_len, dst.data(), row.dst_len, row.is_form));
    EXPECT_EQ(row.dst + '\0', string(dst.data(), row.dst.size() + 1));
  }
  char untouched = 'x';
  EXPECT_EQ(-1, mg_url_decode("a", 1, &untouched, 0, 0));
  EXPECT_EQ(-1, mg_url_decode("a", 1, &untouched, -1, 0));
  EXPECT_EQ('x', untouched);
}

TEST(parse, variables)
{
  const struct {
    int line;
    const char* query;
    string body;
    const char* name;
    size_t dst_len;
    int result;
    const char* dst;
  } rows[] = {
      {__LINE__, "a=1&ba=2", "", "a", 9, 1, "1"},
      {__LINE__, "a=1&ba=2", "", "A", 9, 1, "1"},
      {__LINE__, "a=1&ba=2", "", "b", 9, -1, ""},
      {__LINE__, "ba=2&a=1", "", "a", 9, 1, "1"},
      {__LINE__, "a&ab=3&a=1", "", "a", 9, 1, "1"},
      {__LINE__, "a=1&a=2", "a=3", "a", 9, 1, "1"},
      {__LINE__, "b=1", "x=0&a=3", "a", 9, 1, "3"},
      {__LINE__, nullptr, "a=3", "a", 9, 1, "3"},
      {__LINE__, "a=", "a=3", "a", 9, 0, ""},
      {__LINE__, "a=long", "a=3", "a", 4, 1, "3"},
      {__LINE__, "a=long", "", "a", 4, -1, ""},
      {__LINE__, "a=long", "b=1", "a", 4, -1, ""},
      {__LINE__, "b=1", "a=long", "a", 4, -2, "lon"},
      {__LINE__, "a=lon", "", "a", 4, 3, "lon"},
      {__LINE__, "a=%20+%4", "", "a", 9, 4, "  %4"},
      {__LINE__, "a=%41%4&b", "", "a", 9, 3, "A%4"},
      {__LINE__, "a=b=c&d", "", "a", 9, 3, "b=c"},
      {__LINE__, "&=x&", "", "", 9, 1, "x"},
      {__LINE__, "a", "a", "a", 9, -1, ""},
      {__LINE__, nullptr, "a\0=1&a=2"s, "a", 9, 1, "2"},
      {__LINE__, nullptr, "", "a", 9, -1, ""},
      {__LINE__, "a=1", "", nullptr, 9, -1, ""},
      {__LINE__, "a=", "", "a", 1, 0, ""},
  };
  FOR_EACH_ROW (row, rows) {
    std::vector<char> body = exact(row.body);
    mg_connection view = {};
    view.query_string = row.query;
    view.content = body.data();
    view.content_len = body.size();
    std::vector<char> dst(row.dst_len, 'x');
    EXPECT_EQ(row.result, mg_get_var(&view, row.name, dst.data(), dst.size()));
    EXPECT_STREQ(row.dst, dst.data());
    EXPECT_EQ(-2, mg_get_var(&view, row.name, dst.data(), 0));
    EXPECT_EQ(-2, mg_get_var(&view, row.name, nullptr, 9));
  }
}

TEST(parse, header_parameters)
{
  const string long_uri(16384, 'u');
  const struct {
    int line;
    string header;
    const char* name;
    size_t size;
    string value;
  } rows[] = {
      {__LINE__, "Digest xnc=1, nc=00000001, qop=auth", "nc", 99, "00000001"},
      {__LINE__, "username=\"a b,c\", uri='/x'", "username", 99, "a b,c"},
      {__LINE__, "username=\"a b,c\",uri='/x'", "uri", 99, "/x"},
      {__LINE__, "a=\"q\\\"r\\s\"", "a", 99, "q\"r\\s"},
      {__LINE__, "a='q\"r'", "a", 99, "q\"r"},
      {__LINE__, "a=\"open", "a", 99, ""},
      {__LINE__, "a=\"open\\\"", "a", 99, ""},
      {__LINE__, "a=\"", "a", 99, ""},
      {__LINE__, "a=", "a", 99, ""},
      {__LINE__, "A=1", "a", 99, ""},
      {__LINE__, "form-data; name=x; filename=y", "name", 99, "x"},
      {__LINE__, "a=\"1;,\"", "a", 99, "1"},
      {__LINE__, "a=\"1,;\"", "a", 99, "1,"},
      {__LINE__, "a=\"1,,\"", "a", 99, "1,"},
      {__LINE__, "a=abc", "a", 4, "abc"},
      {__LINE__, "uri=\"" + long_uri + "\"", "uri", long_uri.size() + 1, long_uri},
  };
  FOR_EACH_ROW (row, rows) {
    std::vector<char> buf(row.size, 'x');
    EXPECT_EQ(static_cast<int>(row.value.size()),
              mg_parse_header(row.header.c_str(), row.name, buf.data(), buf.size()));
    EXPECT_EQ(row.value, buf.data());
  }
  std::vector<char> small(3, 'x');
  EXPECT_EQ(0, mg_parse_header("a=abc", "a", small.data(), small.size()));
  EXPECT_EQ("abc", string(small.begin(), small.end()));
  EXPECT_EQ(0, mg_parse_header(nullptr, "a", small.data(), small.size()));
  EXPECT_EQ(0, mg_parse_header("a=abc", "a", nullptr, 0));
}

TEST(parse, multipart_bodies)
{
  const string first = "--b\r\ncontent-disposition: form-data; name=\"n\"; filename=\"f.txt\"\r\n\r\n";
  const string body = first + "da\0ta\r\n"s + "--b\r\nX: y\r\n\r\n\r\n--b--\r\n";
  const std::vector<char> bytes = exact(body);
  const int size = static_cast<int>(bytes.size());
  char name[4];
  char file[6];
  const char* data = nullptr;
  int data_len = -1;
  const int next = mg_parse_multipart(bytes.data(), size, name, sizeof name, file, sizeof file,
                                      &data, &data_len);
  ASSERT_EQ(static_cast<int>(first.size()) + 7, next);
  EXPECT_STREQ("n", name);
  EXPECT_STREQ("f.txt", file);
  EXPECT_EQ("da\0ta"s, string(data, static_cast<size_t>(data_len)));
  const int last = mg_parse_multipart(bytes.data() + next, size - next, name, sizeof name, file,
                                      sizeof file, &data, &data_len);
  EXPECT_EQ(15, last);
  EXPECT_STREQ("", name);
  EXPECT_STREQ("", file);
  EXPECT_EQ(0, data_len);
  EXPECT_EQ(0, mg_parse_multipart(bytes.data() + next + last, size - next - last, name, 4, file, 6,
                                  &data, &data_len));
  // A name that does not fit is none, and nothing has to be asked for.
  EXPECT_EQ(next, mg_parse_multipart(bytes.data(), size, name, 1, file, 5, nullptr, nullptr));
  EXPECT_STREQ("", name);
  EXPECT_STREQ("", file);
  EXPECT_EQ(next, mg_parse_multipart(bytes.data(), size, nullptr, 0, nullptr, 9, &data, nullptr));

  for (const char* refused : {"", "--b\r\n\r\nx\r\n", "--\r\n\r\nx\r\n--\r\n", "b\r\n\r\nx\r\nb\r\n",
                              "--b\r\n\r\n--b\r\n", "--b\r\n\r\n\n--b\r\n", "--b\r\nX: y\r\n--b\r\n"}) {
    const std::vector<char> part = exact(refused);
    EXPECT_EQ(0, mg_parse_multipart(part.data(), static_cast<int>(part.size()), name, 4, file, 6,
                                    &data, &data_len))
        << refused;
  }
}

TEST(parse, patterns_match_prefixes)
{
  const struct {
    int line;
    const char* pattern;
    const char* text;
    int length;
  } rows[] = {
      {__LINE__, "/a", "/abc", 2},
      {__LINE__, "/A", "/abc", 2},
      {__LINE__, "/b", "/abc", -1},
      {__LINE__, "/abcd", "/abc", -1},
      {__LINE__, "", "/abc", 0},
      {__LINE__, "**.cgi$", "/a/b.cgi", 8},
      {__LINE__, "**.cgi$", "/a.cgi/b", -1},
      {__LINE__, "**.cgi$|**.pl$|**.php$", "/x.PHP", 6},
      {__LINE__, "*.cgi$", "/a.cgi", -1},
      {__LINE__, "/*/c", "/ab/c/c", 5},
      {__LINE__, "/**/c", "/ab/c/c", 7},
      {__LINE__, "/*", "/ab/c", 3},
      {__LINE__, "/a?c", "/abc", 4},
      {__LINE__, "/abc?", "/abc", -1},
      {__LINE__, "/ab$", "/abc", -1},
      {__LINE__, "x|/a|/abc", "/abc", 2},
      {__LINE__, "|/a", "/abc", 2},
      {__LINE__, "x|", "/abc", 0},
  };
  FOR_EACH_ROW (row, rows) {
    const std::vector<char> pattern = exact(row.pattern);
    const int len = static_cast<int>(pattern.size());
    EXPECT_EQ(row.length, mg_match_prefix(pattern.data(), len, row.text));
  }
}

TEST(parse, option_lists)
{
  string seen;
  mg_vec key = {};
  mg_vec value = {};
  const char* list = "a=b=c,d,,=e,f=,";
  while ((list = next_option(list, &key, &value)) != nullptr) {
    seen += "[" + string(key.ptr, key.len);
    seen += value.ptr == nullptr ? "]" : ">" + string(value.ptr, value.len) + "]";
  }
  EXPECT_EQ("[a>b=c][d][][>e][f>]", seen);
  next_option("a=b,c", &key, nullptr);
  EXPECT_EQ("a=b", string(key.ptr, key.len));
  EXPECT_EQ(nullptr, next_option(nullptr, &key, nullptr));
}

TEST(parse, status_texts)
{
  EXPECT_STREQ("Continue", status_code_to_str(100));
  EXPECT_STREQ("I'm a teapot", status_code_to_str(418));
  EXPECT_STREQ("Network Authentication Required", status_code_to_str(511));
  for (int unknown : {0, -1, 99, 209, 419, 509, 600}) {
    EXPECT_STREQ("Server Error", status_code_to_str(unknown));
  }
}

static string to_hex(const unsigned char* bytes, size_t len)
{
  string text;
  for (size_t i = 0; i < len; i++) {
    text += "0123456789abcdef"[bytes[i] >> 4];
    text += "0123456789abcdef"[bytes[i] & 15];
  }
  return text;
}

// The published vectors, fed in every chunk size around the block size, from odd addresses.
TEST(digest, known_answers_in_every_chunking)
{
  const string alphabet = "abcdefghijklmnopqrstuvwxyz";
  const string alphanumeric =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
  string digits;
  for (int i = 0; i < 8; i++) {
    digits += "1234567890";
  }
  const string fips = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
  const struct {
    int line;
    string text;
    const char* md5;
    const char* sha1;
  } rows[] = {
      {__LINE__, "", "d41d8cd98f00b204e9800998ecf8427e", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
      {__LINE__, "a", "0cc175b9c0f1b6a831c399e269772661", nullptr},
      {__LINE__, "abc", "900150983cd24fb0d6963f7d28e17f72", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {__LINE__, "message digest", "f96b697d7cb7938d525a2f31aaf161d0", nullptr},
      {__LINE__, alphabet, "c3fcd3d76192e4007dfb496cca67e13b", nullptr},
      {__LINE__, alphanumeric, "d174ab98d277d9f5a5611c2c9f419d9f", nullptr},
      {__LINE__, digits, "57edf4a22be3c955ac49da2e2107b67a", nullptr},
      {__LINE__, fips, nullptr, "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {__LINE__, string(1000000, 'a'), nullptr, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
  };
  FOR_EACH_ROW (row, rows) {
    const std::vector<char> odd = exact("x" + row.text);
    for (size_t chunk : {1, 3, 55, 56, 63, 64, 65, 128, 1000003}) {
      MD5_CTX md5;
      mg_sha1_ctx sha1;
      MD5Init(&md5);
      mg_sha1_init(&sha1);
      for (size_t at = 1; at < odd.size(); at += chunk) {
        const size_t len = std::min(chunk, odd.size() - at);
        MD5Update(&md5, reinterpret_cast<const unsigned char*>(&odd[at]), static_cast<unsigned>(len));
        mg_sha1_update(&sha1, &odd[at], len);
      }
      unsigned char digest[MG_SHA1_SIZE];
      MD5Final(digest, &md5);
      EXPECT_EQ(row.md5 != nullptr ? row.md5 : to_hex(digest, 16), to_hex(digest, 16));
      mg_sha1_final(digest, &sha1);
      EXPECT_EQ(row.sha1 != nullptr ? row.sha1 : to_hex(digest, 20), to_hex(digest, 20));
    }
  }
  char text[33];
  EXPECT_STREQ("f96b697d7cb7938d525a2f31aaf161d0",
               mg_md5(text, "message", "", " digest", static_cast<char*>(nullptr)));
}

TEST(digest, base64)
{
  const char* const texts[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
  for (size_t len = 0; len < std::size(texts); len++) {
    const string source = string("foobar").substr(0, len);
    std::vector<char> dst(mg_base64_size(len), 'x');
    EXPECT_EQ(strlen(texts[len]), mg_base64_encode(exact(source).data(), len, dst.data(), dst.size()));
    EXPECT_STREQ(texts[len], dst.data());
    EXPECT_EQ(0u, mg_base64_encode(source.data(), len, dst.data(), dst.size() - 1));
  }
  char dst[5];
  mg_base64_encode("\xfb\xff\xbf", 3, dst, sizeof dst);
  EXPECT_STREQ("+/+/", dst);
}

TEST(acl, last_matching_entry_decides)
{
  const uint32_t client = 0xc0a80105; // 192.168.1.5
  const struct {
    int line;
    const char* list;
    int result;
  } rows[] = {
      {__LINE__, nullptr, 1},
      {__LINE__, "+192.168.1.5", 1},
      {__LINE__, "-192.168.1.5", 0},
      {__LINE__, "+192.168.1.6", 0},
      {__LINE__, "-192.168.1.6", 0},
      {__LINE__, "+192.168.1.0/24", 1},
      {__LINE__, "+192.168.1.5/24", 0},
      {__LINE__, "+192.168.1.5/32", 1},
      {__LINE__, "+0.0.0.0/0", 1},
      {__LINE__, "-0.0.0.0/0,+192.168.0.0/16", 1},
      {__LINE__, "+192.168.0.0/16,-192.168.1.5,+10.0.0.0/8", 0},
      {__LINE__, "192.168.1.5", -1},
      {__LINE__, "+192.168.1.5,", 1},
      {__LINE__, "+192.168.1.5,,", -1},
      {__LINE__, "+192.168.1.5,+", -1},
      {__LINE__, "+192.168.1", -1},
      {__LINE__, "+192.168.1.256", -1},
      {__LINE__, "+192.168.-1.5", -1},
      {__LINE__, "+192.168.1.4294967301", -1},
      {__LINE__, "+192.168.1.0/33", -1},
      {__LINE__, "+192.168.1.0/-1", -1},
      {__LINE__, "+192.168.1.0/", -1},
      {__LINE__, "+192.168.1.5x", -1},
      {__LINE__, "+192.168.1.0/24x", -1},
  };
  FOR_EACH_ROW (row, rows) {
    EXPECT_EQ(row.result, check_acl(row.list, client));
  }
  EXPECT_EQ(1, check_acl("+255.255.255.255", UINT32_MAX));
}
