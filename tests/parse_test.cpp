// Parameters of headers, parts of a body, patterns and digests, byte by byte.
#include <openssl/evp.h>

#include "httpd/mg_digest.h"
#include "httpd/mg_parse.h"
#include "tests/httpd_support.h"

// A heap block of exactly the text's size without a terminator: one byte too far is a finding.
static std::vector<char> exact(const string& text)
{
  return std::vector<char>(text.begin(), text.end());
}

static int length(const string& text)
{
  return static_cast<int>(text.size());
}

TEST(parse, header_parameters)
{
  const string uri(16384, 'u');
  // clang-format off
  const std::pair<string, string> rows[] = {
      {"Digest xa=1, a=00000001, b=auth", "00000001"}, {"a=\"a b,c\", uri='/x'", "a b,c"},
      {"uri='/x',a=\"b\"", "b"}, {"a=\"q\\\"r\\s\"", "q\"r\\s"}, {"a='q\"r'", "q\"r"},
      {"a=\"open", ""}, {"a=\"open\\\"", ""}, {"A=1", ""}, {"form-data; a=x; b=y", "x"},
      {"a=\"1;,\"", "1"}, {"a=\"1,;\"", "1,"}, {"a=\"1,,\"", "1,"}, {"a=\"" + uri + "\"", uri}};
  // clang-format on
  for (const auto& [text, result] : rows) {
    std::vector<char> buf(result.size() + 3, 'x');
    EXPECT_EQ(length(result), mg_parse_header(text.c_str(), "a", buf.data(), buf.size())) << text;
    EXPECT_EQ(result, buf.data());
  }
  std::vector<char> small(3, 'x');
  EXPECT_EQ(2, mg_parse_header("a=bc", "a", small.data(), small.size()));
  EXPECT_EQ(0, mg_parse_header("a=bcd", "a", small.data(), small.size()));
  EXPECT_EQ(0, mg_parse_header(nullptr, "a", small.data(), small.size()));
  EXPECT_EQ(0, mg_parse_header("a=abc", "a", nullptr, 0));
}

TEST(parse, without_a_buffer)
{
  mg_connection view = {};
  EXPECT_EQ(-1, parse_http_message(nullptr, 0, &view));
  EXPECT_EQ(-2, mg_get_var(&view, "a", nullptr, 9));
  EXPECT_EQ(-1, mg_url_decode("a", 1, nullptr, 0, 0));
}

TEST(parse, multipart_bodies)
{
  const string head = "--b\r\ncontent-disposition: form-data; name=\"n\"; filename=\"f.c\"\r\n\r\n";
  const string body = head + "da\0ta\r\n"s + "--b\r\nX: y\r\n\r\n\r\n--b--\r\n";
  const std::vector<char> bytes = exact(body);
  char name[4] = "x";
  char file[4] = "x";
  const char *data = nullptr, *part = bytes.data();
  int data_len = -1;
  const auto parse = [&](const char* at, int size) {
    return mg_parse_multipart(at, size, name, sizeof name, file, sizeof file, &data, &data_len);
  };
  const int next = parse(part, length(body));
  ASSERT_EQ(length(head) + 7, next);
  EXPECT_EQ("n f.c da\0ta"s,
            name + " "s + file + " " + string(data, static_cast<size_t>(data_len)));
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
                               "--b\n\n--b\n", "--b\n\n\n--b\n", "--b\nX: y\n--b\n"})
    EXPECT_EQ(0, parse(exact(refused).data(), length(refused))) << refused;
}

TEST(parse, patterns_match_prefixes)
{
  // clang-format off
  const std::tuple<string, const char*, int> rows[] = {
      {"/A", "/abc", 2}, {"/b", "/abc", -1}, {"", "/abc", 0}, {"**.cgi$", "/a/b.cgi", 8},
      {"**.cgi$", "/a.cgi/b", -1}, {"**.cgi$|**.pl$|**.php$", "/x.PHP", 6},
      {"*.cgi$", "/a.cgi", -1}, {"/*/c", "/ab/c/c", 5}, {"/**/c", "/ab/c/c", 7}, {"/*", "/ab/c", 3},
      {"/a?c", "/abc", 4}, {"/abc?", "/abc", -1}, {"/ab$", "/abc", -1}, {"x|/a|/abc", "/abc", 2},
      {"|/a", "/abc", 2}, {"x|", "/abc", 0}};
  // clang-format on
  for (const auto& [pattern, text, matched] : rows)
    EXPECT_EQ(matched, mg_match_prefix(exact(pattern).data(), length(pattern), text)) << pattern;
}

// Of every length, from an odd address and in pieces, against another implementation.
TEST(digest, md5_sha1_and_base64)
{
  string text = "x";
  for (size_t len = 0; len < 300; len++, text += static_cast<char>(len * 7)) {
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text.data()) + 1;
    unsigned char digest[MG_SHA1_SIZE], expected[405];
    for (size_t piece : {1, 55, 64, 65, 300}) {
      MD5_CTX md5;
      mg_sha1_ctx sha1;
      MD5Init(&md5);
      mg_sha1_init(&sha1);
      for (size_t at = 0; at < len; at += piece) {
        MD5Update(&md5, bytes + at, std::min(piece, len - at));
        mg_sha1_update(&sha1, bytes + at, std::min(piece, len - at));
      }
      MD5Final(digest, &md5);
      EVP_Digest(bytes, len, expected, nullptr, EVP_md5(), nullptr);
      EXPECT_EQ(memcmp(digest, expected, 16), 0) << len << " in " << piece;
      mg_sha1_final(digest, &sha1);
      EVP_Digest(bytes, len, expected, nullptr, EVP_sha1(), nullptr);
      EXPECT_EQ(memcmp(digest, expected, 20), 0) << len << " in " << piece;
    }
    const std::vector<char> copy = exact(text.substr(1));
    std::vector<char> encoded(mg_base64_size(len));
    EXPECT_EQ(0u, mg_base64_encode(copy.data(), len, encoded.data(), encoded.size() - 1));
    EXPECT_EQ(static_cast<size_t>(EVP_EncodeBlock(expected, bytes, static_cast<int>(len))),
              mg_base64_encode(copy.data(), len, encoded.data(), encoded.size()));
    EXPECT_STREQ(reinterpret_cast<const char*>(expected), encoded.data());
  }
}
