// The proxy between a client and a second server.
#include "tests/httpd_support.h"
#include "tests/support/eventually.h"

static const char ON[] = "enable_proxy=yes";

// Answers with the request as it came: line, headers, body.
static int mirror(mg_connection* c, mg_event ev)
{
  if (ev != MG_REQUEST)
    return ev == MG_AUTH;
  const char* query = c->query_string ? c->query_string : "-";
  string text = string(c->request_method) + " " + c->uri + " " + query + "\n";
  for (int i = 0; i < c->num_headers; i++)
    text += string(c->http_headers[i].name) + ": " + c->http_headers[i].value + "\n";
  text.append(c->content, c->content_len);
  return mg_send_data(c, text.data(), text.size()) != 0;
}

TEST(proxy, requests_go_on_as_they_came)
{
  file_server upstream("", mirror), proxy(ON);
  string host = upstream.url.substr(7);
  string answer = raw_answer(
      proxy, "POST " + upstream.url + "/a%2Fb%20c?q=%31 HTTP/1.1\nHost: " + host +
                 "\nX-Own: 1\nProxy-Connection: keep-alive\n" +
                 "Connection: keep-alive, x-own-2,X-Own-3 , Host,Content-Length\n" +
                 "Proxy-Authorization: secret\nTE: trailers\nUpgrade: h2c\n" +
                 "X-Own-2: 2\nx-own-3: 3\nX-Own-33: 33\n" + "Content-Length: 4\n\nbody, and more");
  EXPECT_EQ(raw_body(answer), "POST /a/b c q=%31\nHost: " + host +
                                  "\nX-Own: 1\nX-Own-33: 33\nContent-Length: 4\n"
                                  "Connection: close\nbody");
  EXPECT_EQ(raw_body(raw_answer(proxy, "GET " + upstream.url + " HTTP/1.1\n\n")),
            "GET / -\nConnection: close\n");
  file_server files;
  server_file(files, "f", string(5000000, 'f'));
  http_client client(CURLOPT_PROXY, proxy.url.c_str());
  EXPECT_EQ(http_request(client, "GET", files.url + "/f").body.size(), 5000000u);
}

TEST(proxy, tunnel)
{
  file_server upstream, proxy(ON);
  server_file(upstream, "f", string(5000000, 'f'));
  const string answer = raw_answer(proxy, "CONNECT " + upstream.url.substr(7) + " HTTP/1.1\n\n" +
                                              "GET /f HTTP/1.1\nConnection: close\n\n");
  EXPECT_EQ(answer.find("HTTP/1.1 200 OK\r\n\r\nHTTP/1.1 200 OK\r\n"), 0u);
  EXPECT_EQ(header_of(answer.substr(19), "Content-Length"), "5000000");
  EXPECT_EQ(raw_body(answer.substr(19)).size(), 5000000u);
}

TEST(proxy, what_a_client_sent_arrives_after_its_end)
{
  static std::atomic<size_t> arrived;
  const auto count = [](mg_connection* c, mg_event ev) -> int {
    if (ev == MG_RECV)
      arrived = c->content_len;
    return ev == MG_AUTH;
  };
  file_server upstream("", count), proxy(ON);
  const string host = upstream.url.substr(7), body(50000, 'b'),
               request = "HTTP/1.1\r\nContent-Length: 50000\r\n\r\n" + body;
  for (const string& sent : {"POST " + upstream.url + "/ " + request,
                             "CONNECT " + host + " HTTP/1.1\r\n\r\nPOST / " + request}) {
    for (bool is_half_closed : {true, false}) {
      arrived = 0;
      raw_client client(proxy.url);
      raw_send(client, sent);
      shutdown(client.fd, is_half_closed ? SHUT_WR : SHUT_RDWR);
      EXPECT_TRUE(eventually([&] { return arrived == body.size(); })) << is_half_closed << sent;
    }
  }
}

TEST(proxy, refusals)
{
  file_server proxy(ON), other("enable_proxy=Yes");
  // clang-format off
  const std::pair<const char*, int> rows[] = {
      {"CONNECT no.such.host.invalid:80", 502}, {"CONNECT 0.0.0.0:80", 502},
      {"CONNECT 127.0.0.1:0", 400}, {"CONNECT 127.0.0.1:65535", 400}, {"CONNECT 127.0.0.1:1", 502},
      {"CONNECT a/b:80", 400}, {"GET http://127.0.0.1:1/", 502},
      {"GET http://no.such.host.invalid/", 502}, {"GET http://", 400},
      {"GET https://127.0.0.1/", 400}, {"GET http://user@127.0.0.1/", 400}, {"GET httpx", 400}};
  // clang-format on
  for (const auto& [request, status] : rows) {
    EXPECT_EQ(status_of(raw_get(proxy, request)), status) << request;
    EXPECT_EQ(status_of(raw_get(other, request)), 405) << request;
  }
}
