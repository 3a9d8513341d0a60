// Requests, variables, headers, patterns, digests and the access list, byte by byte.
#include <gtest/gtest.h>

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

struct number_row {
  int line;
  string text;
  int number;
};

struct text_row {
  int line;
  string text;
  string result;
};

// A heap block of exactly the text's size without a terminator: one byte too far is a finding.
static std::vector<char> exact(const string& text)
{
  return std::vector<char>(text.begin(), text.end());
}

static int length(const string& text)
{
  return static_cast<int>(text.size());
}

TEST(parse, length_of_the_header_block)
{
  const number_row rows[] = {
      {__LINE__, "",                               0 },
      {__LINE__, "GET / HTTP/1.1\r\n\r",           0 },
      {__LINE__, "GET / HTTP/1.1\r\n\r\nbody\n\n", 18},
      {__LINE__, "GET / HTTP/1.1\n\nX",            16},
      {__LINE__, "a\n\r\n",                        4 },
      {__LINE__, "a\r\r\r\n\r",                    0 },
      {__LINE__, "\n\n",                           2 },
      {__LINE__, "a\tb\n\n",                       -1},
      {__LINE__, "a\x7f\n\n",                      -1},
      {__LINE__, "a\0b\n\n"s,                      -1},
      {__LINE__, "a\x80\xff\n\n",                  5 },
      {__LINE__, "a\n\n\0"s,                       3 },
  };
  FOR_EACH_ROW(row, rows)
  {
    EXPECT_EQ(row.number, get_request_len(exact(row.text).data(), row.text.size()));
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
  if (result != length(block))
    return std::to_string(result);
  EXPECT_EQ(0, view.wsbits + view.is_websocket);
  string text = view.status_code != 0 ? std::to_string(view.status_code) + " " : "";
  text = text + view.request_method + "|" + view.uri + "|" + view.http_version + "|";
  text += view.query_string == nullptr ? "(null)|" : view.query_string + "|"s;
  for (int i = 0; i < view.num_headers; i++)
    text = text + view.http_headers[i].name + "=" + view.http_headers[i].value + ";";
  return text;
}

TEST(parse, messages)
{
  const text_row rows[] = {
      {__LINE__, "GET /a HTTP/1.1\r\nA: b\r\nC-D:  e f\r\n\r\n", "GET|/a|1.1|(null)|A=b;C-D=e f;"        },
      {__LINE__, "\r\n  GET  /a  HTTP/1.0\n\n",                  "GET|/a|1.0|(null)|"                    },
      {__LINE__, "PUT /a%20b+c?d=%20+e?f HTTP/1.1\n\n",          "PUT|/a b+c|1.1|d=%20+e?f|"             },
      {__LINE__, "GET /%2e%2E/%2f%5C..%2fetc HTTP/1.1\n\n",      "GET|/etc|1.1|(null)|"                  },
      {__LINE__, "GET http://h//a/../b HTTP/1.1\n\n",            "GET|http://h//a/../b|1.1|(null)|"      },
      {__LINE__, "GET /a%00/../b HTTP/1.1\n\n",                  "GET|/a|1.1|(null)|"                    },
      {__LINE__, "GET /%3fa%3Fb?c HTTP/1.1\n\n",                 "GET|/?a?b|1.1|c|"                      },
      {__LINE__, "GET / HTTP/1.1\nA:b\nC:\nD : ::1\ng\n\n",      "GET|/|1.1|(null)|A=b;C=;D=::1;g=;"     },
      {__LINE__, "GET / HTTP/1.1\nA: b\n folded\nC: d\n\n",      "GET|/|1.1|(null)|A=b;"                 },
      {__LINE__, "GET / HTTP/1.1\rA: b\r\r\n\n",                 "GET|/|1.1|(null)|A=b;"                 },
      {__LINE__, "HTTP/1.1 404 Not Found\nA: b\n\n",             "404 HTTP/1.1|404|Not Found|(null)|A=b;"},
      {__LINE__, "HTTP/1.0\n\n",                                 "HTTP/1.0|||(null)|"                    },
      {__LINE__, "GET /a\nX: HTTP/1.1\n\n",                      "-1"                                    },
      {__LINE__, "GET /\0a HTTP/1.1\n\n"s,                       "-1"                                    },
      {__LINE__, "\r\n\r\n",                                     "-1"                                    },
      {__LINE__, "",                                             "-1"                                    },
  };
  FOR_EACH_ROW(row, rows)
  {
    EXPECT_EQ(row.result, parsed(row.text));
  }
  string lines;
  string thirty = "GET|/|1.1|(null)|";
  for (int i = 0; i < 31; i++) {
    lines += "H" + std::to_string(i) + ": v\r\n";
    thirty += i < 30 ? "H" + std::to_string(i) + "=v;" : "";
  }
  EXPECT_EQ(thirty, parsed("GET / HTTP/1.1\r\n" + lines + "\r\n"));
}

TEST(parse, targets_and_paths)
{
  for (const char* uri : {"/", "/x", "*", "http://a", "HTTPS:", "host:443", "h:1/x"})
    EXPECT_TRUE(is_valid_uri(uri)) << uri;
  for (const char* uri : {"", "x", "**", "htt", ":80", "a b:80", "host:", "host:x"})
    EXPECT_FALSE(is_valid_uri(uri)) << uri;
  EXPECT_FALSE(is_valid_uri(nullptr));

  const text_row rows[] = {
      {__LINE__, "/../etc",          "/etc"         },
      {__LINE__, "/a/../b",          "/a/b"         },
      {__LINE__, "/index.html/../x", "/index.html/x"},
      {__LINE__, "/....//..\\..x",   "/x"           },
      {__LINE__, "\\\\a\\..\\b",     "\\a\\b"       },
      {__LINE__, "/...",             "/."           },
      {__LINE__, "/./../.htpasswd",  "/./.htpasswd" },
      {__LINE__, "/a../b..",         "/a../b.."     },
      {__LINE__, "",                 ""             },
  };
  FOR_EACH_ROW(row, rows)
  {
    std::vector<char> path = exact(row.text + '\0');
    remove_double_dots_and_double_slashes(path.data());
    EXPECT_EQ(row.result, path.data());
  }
}

TEST(parse, url_decoding)
{
  const struct {
    int line;
    string text;
    int dst_len;
    int is_form;
    int result;
    string decoded;
  } rows[] = {
      {__LINE__, "a%41%7a%7A+", 9, 1, 5,  "aAzz "   },
      {__LINE__, "a+%2B",       9, 0, 3,  "a++"     },
      {__LINE__, "%",           9, 0, 1,  "%"       },
      {__LINE__, "%4",          9, 0, 2,  "%4"      },
      {__LINE__, "%%41",        9, 0, 2,  "%A"      },
      {__LINE__, "a%00b",       9, 0, 3,  "a\0b"s   },
      {__LINE__, "%ff%80",      9, 0, 2,  "\xff\x80"},
      {__LINE__, "%41%42",      3, 0, 2,  "AB"      },
      {__LINE__, "%41%42",      2, 0, -1, "A"       },
      {__LINE__, "a",           1, 0, -1, ""        },
      {__LINE__, "",            1, 0, 0,  ""        },
  };
  FOR_EACH_ROW(row, rows)
  {
    std::vector<char> dst(static_cast<size_t>(row.dst_len), 'x');
    EXPECT_EQ(row.result, mg_url_decode(exact(row.text).data(), length(row.text), dst.data(),
                                        row.dst_len, row.is_form));
    EXPECT_EQ(row.decoded + '\0', string(dst.data(), row.decoded.size() + 1));
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
    string value;
  } rows[] = {
      {__LINE__, "a=1&ba=2",        "",           "a",     9, 1,  "1"   },
      {__LINE__, "a=1&ba=2",        "",           "A",     9, 1,  "1"   },
      {__LINE__, "a=1&ba=2",        "",           "b",     9, -1, ""    },
      {__LINE__, "a&ab=3&ba=2&a=1", "",           "a",     9, 1,  "1"   },
      {__LINE__, "a=1&a=2",         "a=3",        "a",     9, 1,  "1"   },
      {__LINE__, "b=1",             "x=0&a=3",    "a",     9, 1,  "3"   },
      {__LINE__, "a=long",          "a=3",        "a",     4, 1,  "3"   },
      {__LINE__, "a=long",          "",           "a",     4, -1, ""    },
      {__LINE__, "b=1",             "a=long",     "a",     4, -2, "lon" },
      {__LINE__, "a=%20+%4",        "",           "a",     9, 4,  "  %4"},
      {__LINE__, "a=%41%4&b",       "",           "a",     9, 3,  "A%4" },
      {__LINE__, "&=x&",            "",           "",      9, 1,  "x"   },
      {__LINE__, nullptr,           "a\0=1&a=2"s, "a",     9, 1,  "2"   },
      {__LINE__, nullptr,           "",           "a",     9, -1, ""    },
      {__LINE__, "a=1",             "",           nullptr, 9, -1, ""    },
  };
  FOR_EACH_ROW(row, rows)
  {
    std::vector<char> body = exact(row.body);
    mg_connection view = {};
    view.query_string = row.query;
    view.content = body.data();
    view.content_len = body.size();
    std::vector<char> dst(row.dst_len, 'x');
    EXPECT_EQ(row.result, mg_get_var(&view, row.name, dst.data(), dst.size()));
    EXPECT_EQ(row.value, dst.data());
    EXPECT_EQ(-2, mg_get_var(&view, row.name, dst.data(), 0));
    EXPECT_EQ(-2, mg_get_var(&view, row.name, nullptr, 9));
  }
}

TEST(parse, header_parameters)
{
  const string uri(16384, 'u');
  const text_row rows[] = {
      {__LINE__, "Digest xa=1, a=00000001, b=auth", "00000001"},
      {__LINE__, "a=\"a b,c\", uri='/x'",           "a b,c"   },
      {__LINE__, "uri='/x',a=\"b\"",                "b"       },
      {__LINE__, "a=\"q\\\"r\\s\"",                 "q\"r\\s" },
      {__LINE__, "a='q\"r'",                        "q\"r"    },
      {__LINE__, "a=\"open",                        ""        },
      {__LINE__, "a=\"open\\\"",                    ""        },
      {__LINE__, "A=1",                             ""        },
      {__LINE__, "form-data; a=x; b=y",             "x"       },
      {__LINE__, "a=\"1;,\"",                       "1"       },
      {__LINE__, "a=\"1,;\"",                       "1,"      },
      {__LINE__, "a=\"1,,\"",                       "1,"      },
      {__LINE__, "a=\"" + uri + "\"",               uri       },
  };
  FOR_EACH_ROW(row, rows)
  {
    std::vector<char> buf(row.result.size() + 3, 'x');
    EXPECT_EQ(length(row.result), mg_parse_header(row.text.c_str(), "a", buf.data(), buf.size()));
    EXPECT_EQ(row.result, buf.data());
  }
  std::vector<char> small(3, 'x');
  EXPECT_EQ(2, mg_parse_header("a=bc", "a", small.data(), small.size()));
  EXPECT_EQ(0, mg_parse_header("a=bcd", "a", small.data(), small.size()));
  EXPECT_EQ("bcd", string(small.begin(), small.end()));
  EXPECT_EQ(0, mg_parse_header(nullptr, "a", small.data(), small.size()));
  EXPECT_EQ(0, mg_parse_header("a=abc", "a", nullptr, 0));
}

TEST(parse, multipart_bodies)
{
  const string head = "--b\r\ncontent-disposition: form-data; name=\"n\"; filename=\"f.c\"\r\n\r\n";
  const string body = head + "da\0ta\r\n"s + "--b\r\nX: y\r\n\r\n\r\n--b--\r\n";
  const std::vector<char> bytes = exact(body);
  char name[4] = "x";
  char file[4] = "x";
  const char* data = nullptr;
  int data_len = -1;
  const auto parse = [&](const char* part, int size) {
    return mg_parse_multipart(part, size, name, sizeof name, file, sizeof file, &data, &data_len);
  };
  const char* part = bytes.data();
  const int next = parse(part, length(body));
  ASSERT_EQ(length(head) + 7, next);
  EXPECT_STREQ("n", name);
  EXPECT_STREQ("f.c", file);
  EXPECT_EQ("da\0ta"s, string(data, static_cast<size_t>(data_len)));
  // A name that does not fit is none, and nothing has to be asked for.
  EXPECT_EQ(next, mg_parse_multipart(part, length(body), name, 1, file, 3, nullptr, nullptr));
  EXPECT_EQ(""s, name + ""s + file);
  EXPECT_EQ(next, mg_parse_multipart(part, length(body), nullptr, 0, nullptr, 9, &data, nullptr));

  file[0] = 'x';
  EXPECT_EQ(15, parse(part + next, length(body) - next));
  EXPECT_EQ(""s, name + ""s + file);
  EXPECT_EQ(0, data_len);
  EXPECT_EQ(0, parse(part + next + 15, length(body) - next - 15));

  for (const string refused : {"", "--b\r\n\r\nx\r\n", "--\r\n\r\nx\r\n--\r\n", "b\n\nx\r\nb\r\n",
                               "--b\n\n--b\n", "--b\n\n\n--b\n", "--b\nX: y\n--b\n"}) {
    EXPECT_EQ(0, parse(exact(refused).data(), length(refused))) << refused;
  }
}

TEST(parse, patterns_match_prefixes)
{
  const struct {
    int line;
    string pattern;
    const char* text;
    int length;
  } rows[] = {
      {__LINE__, "/A",                     "/abc",     2 },
      {__LINE__, "/b",                     "/abc",     -1},
      {__LINE__, "",                       "/abc",     0 },
      {__LINE__, "**.cgi$",                "/a/b.cgi", 8 },
      {__LINE__, "**.cgi$",                "/a.cgi/b", -1},
      {__LINE__, "**.cgi$|**.pl$|**.php$", "/x.PHP",   6 },
      {__LINE__, "*.cgi$",                 "/a.cgi",   -1},
      {__LINE__, "/*/c",                   "/ab/c/c",  5 },
      {__LINE__, "/**/c",                  "/ab/c/c",  7 },
      {__LINE__, "/*",                     "/ab/c",    3 },
      {__LINE__, "/a?c",                   "/abc",     4 },
      {__LINE__, "/abc?",                  "/abc",     -1},
      {__LINE__, "/ab$",                   "/abc",     -1},
      {__LINE__, "x|/a|/abc",              "/abc",     2 },
      {__LINE__, "|/a",                    "/abc",     2 },
      {__LINE__, "x|",                     "/abc",     0 },
  };
  FOR_EACH_ROW(row, rows)
  {
    EXPECT_EQ(row.length,
              mg_match_prefix(exact(row.pattern).data(), length(row.pattern), row.text));
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

static string to_hex(const unsigned char* bytes, size_t len)
{
  string text;
  for (size_t i = 0; i < len; i++) {
    text += "0123456789abcdef"[bytes[i] >> 4];
    text += "0123456789abcdef"[bytes[i] & 15];
  }
  return text;
}

// Hashes the text from an odd address on.
template <typename Context, typename Update>
static string in_chunks(size_t chunk, const string& text, void (*init)(Context*), Update update,
                        void (*final)(unsigned char*, Context*), size_t size)
{
  const string odd = "x" + text;
  Context ctx;
  init(&ctx);
  for (size_t at = 1; at < odd.size(); at += chunk)
    update(&ctx, reinterpret_cast<const unsigned char*>(&odd[at]),
           std::min(chunk, odd.size() - at));
  unsigned char digest[MG_SHA1_SIZE];
  final(digest, &ctx);
  return to_hex(digest, size);
}

// The published vectors, in chunks of many sizes and from odd addresses.
TEST(digest, known_answers_in_every_chunking)
{
  const string lower = "abcdefghijklmnopqrstuvwxyz";
  const string all = "ABCDEFGHIJKLMNOPQRSTUVWXYZ" + lower + "0123456789";
  const string forty = "1234567890123456789012345678901234567890";
  const string eighty = forty + forty;
  const string million(1000000, 'a');
  const string fips = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
  const text_row md5_rows[] = {
      {__LINE__, "",               "d41d8cd98f00b204e9800998ecf8427e"},
      {__LINE__, "a",              "0cc175b9c0f1b6a831c399e269772661"},
      {__LINE__, "abc",            "900150983cd24fb0d6963f7d28e17f72"},
      {__LINE__, "message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {__LINE__, lower,            "c3fcd3d76192e4007dfb496cca67e13b"},
      {__LINE__, all,              "d174ab98d277d9f5a5611c2c9f419d9f"},
      {__LINE__, eighty,           "57edf4a22be3c955ac49da2e2107b67a"},
  };
  const text_row sha1_rows[] = {
      {__LINE__, "",      "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
      {__LINE__, "abc",   "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {__LINE__, fips,    "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {__LINE__, million, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
  };
  for (size_t chunk : {1, 3, 55, 56, 63, 64, 65, 1000003}) {
    FOR_EACH_ROW(row, md5_rows)
    {
      EXPECT_EQ(row.result, in_chunks(chunk, row.text, MD5Init, MD5Update, MD5Final, 16));
    }
    FOR_EACH_ROW(row, sha1_rows)
    {
      EXPECT_EQ(row.result,
                in_chunks(chunk, row.text, mg_sha1_init, mg_sha1_update, mg_sha1_final, 20));
    }
  }
  char text[33];
  EXPECT_STREQ("f96b697d7cb7938d525a2f31aaf161d0",
               mg_md5(text, "message", "", " digest", static_cast<char*>(nullptr)));
}

TEST(digest, base64)
{
  const string source = "foobar";
  size_t len = 0;
  for (const string text : {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"}) {
    std::vector<char> dst(mg_base64_size(len), 'x');
    const std::vector<char> bytes = exact(source.substr(0, len++));
    EXPECT_EQ(text.size(), mg_base64_encode(bytes.data(), bytes.size(), dst.data(), dst.size()));
    EXPECT_EQ(text, dst.data());
    EXPECT_EQ(0u, mg_base64_encode(bytes.data(), bytes.size(), dst.data(), dst.size() - 1));
  }
  char dst[5];
  mg_base64_encode("\xfb\xff\xbf", 3, dst, sizeof dst);
  EXPECT_STREQ("+/+/", dst);
}

TEST(acl, last_matching_entry_decides)
{
  const number_row rows[] = {
      {__LINE__, "+192.168.1.5",                             1 },
      {__LINE__, "-192.168.1.5",                             0 },
      {__LINE__, "+192.168.1.0/24",                          1 },
      {__LINE__, "+192.168.1.5/24",                          0 },
      {__LINE__, "-0.0.0.0/0,+192.168.0.0/16",               1 },
      {__LINE__, "+192.168.0.0/16,-192.168.1.5,+10.0.0.0/8", 0 },
      {__LINE__, "192.168.1.5",                              -1},
      {__LINE__, "+192.168.-1.5",                            -1},
      {__LINE__, "+192.168.1.4294967301",                    -1},
      {__LINE__, "+192.168.1.0/33",                          -1},
      {__LINE__, "+192.168.1.0/",                            -1},
      {__LINE__, "+192.168.1.0/24x",                         -1},
  };
  FOR_EACH_ROW(row, rows)
  {
    EXPECT_EQ(row.number, check_acl(row.text.c_str(), 0xc0a80105));  // 192.168.1.5
  }
  EXPECT_EQ(1, check_acl(nullptr, 0));
  EXPECT_EQ(1, check_acl("+255.255.255.255", UINT32_MAX));
}
