// The proxy between a client and a second server.
#include "tests/httpd_support.h"

static const char ON[] = "enable_proxy=yes";

// Answers with the request as it came: line, headers, body.
static int mirror(mg_connection* c, mg_event ev)
{
  if (ev != MG_REQUEST)
    return ev == MG_AUTH;
  string text = string(c->request_method) + " " + c->uri + " " +
                (c->query_string ? c->query_string : "-") + "\n";
  for (int i = 0; i < c->num_headers; i++)
    text += string(c->http_headers[i].name) + ": " + c->http_headers[i].value + "\n";
  text.append(c->content, c->content_len);
  return mg_send_data(c, text.data(), text.size()) != 0;
}

TEST(proxy, requests_go_on_as_they_came)
{
  file_server upstream("", mirror), proxy(ON);
  string host = upstream.url.substr(7);
  string answer =
      raw_answer(proxy, "POST " + upstream.url + "/a%2Fb%20c?q=%31 HTTP/1.1\nHost: " + host +
                            "\nX-Own: 1\nProxy-Connection: keep-alive\n" +
                            "Connection: keep-alive\nProxy-Authorization: secret\n" +
                            "Content-Length: 4\n\nbody, and more");
  EXPECT_EQ(raw_body(answer), "POST /a/b c q=%31\nHost: " + host +
                                  "\nX-Own: 1\nContent-Length: 4\nConnection: close\nbody");
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
  string host = upstream.url.substr(7);
  string answer = raw_answer(
      proxy, "CONNECT " + host + " HTTP/1.1\n\n" + "GET /f HTTP/1.1\nConnection: close\n\n");
  EXPECT_EQ(answer.find("HTTP/1.1 200 OK\r\n\r\nHTTP/1.1 200 OK\r\n"), 0u);
  EXPECT_EQ(header_of(answer.substr(19), "Content-Length"), "5000000");
  EXPECT_EQ(raw_body(answer.substr(19)).size(), 5000000u);
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
