// Raw requests and their raw answers, over a real socket.
#include "tests/httpd_support.h"

// Answers with what came: method, target, version, number of headers, body; or one variable, or all
// headers.
static int tell_what_came(mg_connection* c)
{
  char var[8];
  if (strcmp(c->uri, "/missing") == 0)
    return MG_FALSE;
  if (strcmp(c->uri, "/var") == 0) {
    int result = mg_get_var(c, "a", var, sizeof var);
    return mg_printf_data(c, "%d [%s]", result, var) != 0;
  }
  if (strcmp(c->uri, "/headers") == 0) {
    string text;
    for (int i = 0; i < c->num_headers; i++)
      text += string(c->http_headers[i].name) + "=" + c->http_headers[i].value + ";";
    return mg_printf_data(c, "%s", text.c_str()) != 0;
  }
  return mg_printf_data(c, "%s %s%s%s %s %d [%s]", c->request_method, c->uri,
                        c->query_string ? "?" : "", c->query_string ? c->query_string : "",
                        c->http_version, c->num_headers,
                        string(c->content ? c->content : "", c->content_len).c_str()) != 0;
}

// What follows the answer: KEPT another request is served, ENDS the server closes, WAITS there was
// no answer, the server waits for more and closes when the client has no more.
enum outcome { KEPT, ENDS, WAITS };

struct raw_row {
  outcome end;
  string request;
  string answer;     // or the body of one that is chunked
  string rest = "";  // sent when the server has read the request's first part
};

static const string HEAD = "GET / HTTP/1.1\r\n";
static const string POST = "POST / HTTP/1.1\r\nContent-Length: ";
static const string CONTINUE = "HTTP/1.1 100 Continue\r\n\r\n";
static const string BAD = error_answer("400 Bad Request");
static const string TOO_LARGE = error_answer("413 Payload Too Large");
static const string BAD_VERSION = error_answer("505 HTTP Version Not Supported");

static string headers(int count)
{
  string text;
  for (int i = 0; i < count; i++)
    text += "X-" + std::to_string(i) + ": v\r\n";
  return text;
}

// A request whose header block has exactly so many bytes.
static string sized(size_t size)
{
  string text = HEAD + "X: ";
  return text + string(size - text.size() - 4, 'a') + "\r\n\r\n";
}

// clang-format off
static const raw_row rows[] = {
  // versions and what they say about the connection
  {KEPT, "GET / HTTP/1.1\r\n\r\n", "GET / 1.1 0 []"},
  {ENDS, "GET / HTTP/1.0\r\n\r\n", "GET / 1.0 0 []"},
  {KEPT, "GET / HTTP/1.0\r\nConnection: Keep-Alive\r\n\r\n", "GET / 1.0 1 []"},
  {ENDS, "GET / HTTP/1.1\r\nconnection: Close\r\n\r\n", "GET / 1.1 1 []"},
  {KEPT, "POST / HTTP/1.0\r\nConnection: keep-alive\r\n\r\n", "POST / 1.0 1 []"},
  {ENDS, "GET / HTTP/1.1 \r\n\r\n", BAD_VERSION}, {ENDS, "GET / x HTTP/1.1\r\n\r\n", BAD},
  {ENDS, "GET / HTTP/\r\n\r\n", BAD_VERSION}, {ENDS, "GET / http/1.1\r\n\r\n", BAD},
  // request lines
  {KEPT, "GET / HTTP/1.1\n\n", "GET / 1.1 0 []"},
  {KEPT, "\r\n  GET / HTTP/1.1\r\n\r\n", "GET / 1.1 0 []"},
  {ENDS, "\r\n\r\nGET / HTTP/1.1\r\n\r\n", BAD},
  {KEPT, "GET  /a  HTTP/1.1\r\n\r\n", "GET /a 1.1 0 []"}, {ENDS, "GET /a\nX: HTTP/1.1\n\n", BAD},
  {ENDS, "GET /\r\n\r\n", BAD}, {ENDS, "GET HTTP/1.1\r\n\r\n", BAD},
  {ENDS, "PATCH / HTTP/1.1\r\n\r\n", BAD}, {ENDS, "HTTP/1.1 200 OK\r\n\r\n", BAD},
  {ENDS, "HTTP/1.1 5:80 1.1\r\n\r\n", BAD}, {ENDS, "\x16\x03\x01\x02\x00\x01\x00\x01\xfc"s, BAD},
  {KEPT, "OPTIONS * HTTP/1.1\r\n\r\n", "OPTIONS * 1.1 0 []"},
  {KEPT, "CONNECT host:80 HTTP/1.1\r\n\r\n", "CONNECT host:80 1.1 0 []"},
  // header blocks
  {ENDS, HEAD + "A:\tb\r\n\r\n", BAD}, {ENDS, HEAD + "A: \0\r\n\r\n"s, BAD},
  {ENDS, HEAD + "A\x1b", BAD}, {KEPT, HEAD + "A: b\n\r\n", "GET / 1.1 1 []"},
  {KEPT, HEAD + "A: \xff\r\n\r\n", "GET / 1.1 1 []"},
  {KEPT, HEAD + "no colon\r\nB: c\r\n\r\n", "GET / 1.1 2 []"},
  {KEPT, "GET /headers HTTP/1.1\r\nA: b\r\nC-D:  e f\r\n\n", "A=b;C-D=e f;"},
  {KEPT, "GET /headers HTTP/1.1\r\nA:b\nC:\nD : ::1\ng\n\n", "A=b;C=;D=::1;g=;"},
  {KEPT, "GET /headers HTTP/1.1\r\nA: b\n folded\nC: d\n\n", "A=b;"},
  {KEPT, "GET /headers HTTP/1.1\r\nA: b\rC: d\r\r\n\n", "A=b;C=d;"},
  {KEPT, HEAD + ": nameless\r\nB: c\r\n\r\n", "GET / 1.1 0 []"},
  {KEPT, HEAD + headers(30) + "\r\n", "GET / 1.1 30 []"},
  {KEPT, HEAD + headers(31) + "\r\n", "GET / 1.1 30 []"},
  {KEPT, HEAD + headers(30) + "Connection: close\r\n\r\n", "GET / 1.1 30 []"},
  {KEPT, sized(16384), "GET / 1.1 1 []"},
  {KEPT, string(16384, ' '), "GET / 1.1 0 []", HEAD + "\r\n"},
  {ENDS, string(16384, 'a'), TOO_LARGE, "a"}, {ENDS, sized(30000), TOO_LARGE},
  {WAITS, "GET / HTTP/1.1\r\nA: b\r\n", ""}, {WAITS, "GET / HTTP/1.1\r\n\r", ""}, {WAITS, "", ""},
  {KEPT, "GET / HT", "GET / 1.1 0 []", "TP/1.1\r\n\r\n"},
  // bodies
  {KEPT, POST + "5\r\n\r\nhello", "POST / 1.1 1 [hello]"},
  {KEPT, POST + "5\r\n\r\n", "POST / 1.1 1 [hello]", "hello"},
  {KEPT, POST + "5\r\n\r\nhel", "POST / 1.1 1 [hello]", "lo"},
  {KEPT, POST + "3000\r\n\r\n" + string(2900, 'x'),
   chunked("POST / 1.1 1 [" + string(3000, 'x') + "]"), string(100, 'x')},
  {KEPT, "GET / HTTP/1.1\r\nContent-Length: 2\r\n\r\nab", "GET / 1.1 1 [ab]"},
  {KEPT, "POST / HTTP/1.1\r\n\r\nno length", "POST / 1.1 0 [no length]"},
  {KEPT, POST + "0\r\n\r\n", "POST / 1.1 1 []"}, {ENDS, POST + "abc\r\n\r\n", "POST / 1.1 1 []"},
  {ENDS, POST + "-5\r\n\r\nhello", "POST / 1.1 1 [hello]"},
  {ENDS, POST + "-9223372036854775808\r\n\r\n", "POST / 1.1 1 []"},
  {WAITS, POST + "9223372036854775807\r\n\r\nx", ""},
  {WAITS, POST + "99999999999999999999\r\n\r\nx", ""}, {WAITS, POST + "5\r\n\r\nhell", ""},
  {ENDS, POST + "2\r\nCONTENT-LENGTH: 9\r\n\r\nab", "POST / 1.1 2 [ab]"},
  {WAITS, "POST / HTTP/1.1\r\ncontent-length: 9\r\nContent-Length: 2\r\n\r\nab", ""},
  // bodies whose end is not clear: nothing behind the answer is parsed
  {ENDS, HEAD + headers(30) + "Content-Length: 9\r\n\r\n", "GET / 1.1 30 []"},
  {KEPT, HEAD + headers(29) + "Content-Length: 0\r\n\r\n", "GET / 1.1 30 []"},
  {ENDS, HEAD + headers(30) + "Transfer-Encoding: x\r\n\r\n", "GET / 1.1 30 []"},
  {ENDS, HEAD + "Content-Length:\r\n 9\r\n\r\n", "GET / 1.1 1 []"},
  {ENDS, HEAD + "Content-Length: 0\r\n 9\r\n\r\n", "GET / 1.1 1 []"},
  {ENDS, HEAD + "A: b\n c\ncontent-length: 9\n\n", "GET / 1.1 1 []"},
  {ENDS, HEAD + " Content-Length: 9\r\n\r\n", "GET / 1.1 0 []"},
  {ENDS, HEAD + "Content-Length : 0\r\n\r\n", "GET / 1.1 1 []"},
  {ENDS, HEAD + "A: b\rContent-Length: 0\r\n\r\n", "GET / 1.1 2 []"},
  {ENDS, POST + "+0\r\n\r\n", "POST / 1.1 1 []"}, {ENDS, POST + "0, 0\r\n\r\n", "POST / 1.1 1 []"},
  {ENDS, POST + "2\r\nContent-Length: 3\r\n\r\nab" + HEAD + "\r\n",
   chunked("POST / 1.1 2 [ab" + HEAD + "\r\n]")},
  {KEPT, POST + "2 \r\nContent-Length: 02\r\n\r\nab", "POST / 1.1 2 [ab]"},
  {ENDS, POST + "2\r\nTransfer-Encoding: chunked\r\n\r\n", error_answer("411 Length Required")},
  {ENDS, "GET / HTTP/1.0\r\ntransfer-encoding: x\r\n\r\n" + HEAD + "\r\n",
   error_answer("411 Length Required")},
  {KEPT, POST + "2\r\nExpect: 100-Continue\r\n\r\n", CONTINUE + chunked("POST / 1.1 2 [ab]"), "ab"},
  {ENDS, "POST / HTTP/1.0\r\nContent-Length: 2\r\nExpect: 100-continue\r\n\r\n",
   "POST / 1.0 2 [ab]", "ab"},
  {KEPT, POST + "2\r\nExpect: 100\r\n\r\n", "POST / 1.1 2 [ab]", "ab"},
  {KEPT, "GET /1 HTTP/1.1\r\n\r\nGET /2 HTTP/1.1\r\n\r\n",
   "GET /1 1.1 0 [GET /2 HTTP/1.1\r\n\r\n]"},
  {KEPT, HEAD + "\r\n" + string(2046 - HEAD.size(), '\n') + string(9000, 'x'),
   chunked("GET / 1.1 0 [" + string(2046 - HEAD.size(), '\n') + "]")},
  {ENDS, "GET /missing HTTP/1.1\r\n\r\n", error_answer("404 Not Found")},
  {ENDS, "FOO / HTTP/1.1\r\n\r\n" + string(6000, '\n'), BAD},
  // variables
  {KEPT, "GET /var?a=1234567 HTTP/1.1\r\n\r\n", "7 [1234567]"},
  {KEPT, "GET /var?a=12345678 HTTP/1.1\r\n\r\n", "-1 []"},
  {KEPT, "GET /var?b&A=%4%41%zz+ HTTP/1.1\r\n\r\n", "7 [%4A%zz ]"},
  {KEPT, "GET /var?a&ab=3&ba=2&a=%20+%4&a=5 HTTP/1.1\r\n\r\n", "4 [  %4]"},
  {KEPT, "POST /var?a=1 HTTP/1.1\r\nContent-Length: 3\r\n\r\na=3", "1 [1]"},
  {KEPT, "POST /var?b=1 HTTP/1.1\r\nContent-Length: 7\r\n\r\nx=0&a=3", "1 [3]"},
  {KEPT, "POST /var HTTP/1.1\r\nContent-Length: 8\r\n\r\na\0=1&a=2"s, "1 [2]"},
  {KEPT, "POST /var?a=12345678 HTTP/1.1\r\nContent-Length: 3\r\n\r\na=9", "1 [9]"},
  {KEPT, "POST /var HTTP/1.1\r\nContent-Length: 10\r\n\r\na=12345678", "-2 [1234567]"},
};
// clang-format on

TEST(httpd_raw, each_request_gets_its_answer_and_the_next_client_too)
{
  test_server s(on_request(tell_what_came));
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.request));
    client c(s.port);
    s.until([&] { return s.newest() != nullptr; });
    c.send(row.request);
    if (row.end == WAITS || !row.rest.empty())
      s.until_received(row.request.size());
    c.send(row.rest);
    string expected = row.answer;
    if (!expected.empty() && expected.compare(0, 5, "HTTP/") != 0)
      expected = chunked(expected);
    if (row.end == KEPT) {
      c.receive(s, expected.size());
      c.send("GET /next HTTP/1.1\r\n\r\n");
      expected += chunked("GET /next 1.1 0 []");
    } else if (row.end == WAITS) {
      shutdown(c.fd, SHUT_WR);
    }
    EXPECT_EQ(c.receive(s, row.end == KEPT ? expected.size() : SIZE_MAX), expected);
    EXPECT_EQ(c.closed, row.end != KEPT);
    shutdown(c.fd, SHUT_RDWR);
    s.until([&] { return s.newest() == nullptr; });
  }
}

// As it stands in the request and as the handler sees it, "" for one that is refused. More of them
// lead to files (httpd_files_test.cpp).
TEST(httpd_raw, targets)
{
  test_server s(on_request(tell_what_came));
  const string longest = "/" + string(9000, 'a');
  // clang-format off
  const std::pair<string, string> targets[] = {
      {"http://h/p", "http://h/p"}, {"HTTPS:", "HTTPS:"}, {"h:1/x", "h:1/x"}, {"%2Fx", "/x"},
      {"/%41%zz%4", "/A%zz%4"}, {"/a%00b", "/a"}, {"/a+b", "/a+b"}, {"/....//..\\..x", "/x"},
      {"/\\a\\..\\b", "/a\\b"}, {"/a../b..", "/a../b.."}, {"/...", "/."}, {"/%%41", "/%A"},
      {"/%2e%2E/%2f%5C..%2fetc", "/etc"}, {"/%3fa%3Fb?c", "/?a?b?c"}, {"/a?b?%41", "/a?b?%41"},
      {"**", ""}, {"host:", ""}, {"a%20b:80", ""}, {"x", ""}, {"./x", ""}, {"host:x", ""},
      {":80", ""}, {"%00/x", ""}, {longest, longest}};
  // clang-format on
  for (const auto& [target, seen] : targets)
    EXPECT_EQ(ask(s, "GET " + target + " HTTP/1.0\r\n\r\n"),
              seen.empty() ? BAD : chunked("GET " + seen + " 1.0 0 []"))
        << target;
}
