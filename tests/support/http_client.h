// A real HTTP client (libcurl) for tests.
#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>
#include <vector>

struct reply_t {
  CURLcode error = CURLE_OK;  // anything else: no reply
  long status = 0;
  std::string headers;  // status line and headers as they came
  std::string content_type;
  std::string body;
};

// One client keeps its connection, and what options it is given, between requests.
struct http_client {
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl{curl_easy_init(), curl_easy_cleanup};
  http_client();
  // With one option of its own.
  template <typename Value>
  http_client(CURLoption option, Value value) : http_client()
  {
    curl_easy_setopt(curl.get(), option, value);
  }
};

// Sends one request. A body is sent as a form; an empty one is not sent at all. Certificates are
// not checked, and a password is given as a digest.
reply_t http_request(http_client& client, const char* method, const std::string& url,
                     const std::string& body = "", const std::vector<std::string>& headers = {});

// How many connections the last request had to open.
long http_connections(const http_client& client);

// The text with everything but letters, digits and "-._~" percent-encoded.
std::string url_encode(const std::string& text);
