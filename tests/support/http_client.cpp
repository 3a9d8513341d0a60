#include "tests/support/http_client.h"

#include <string.h>

static size_t http_collect(char* data, size_t size, size_t count, void* text)
{
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

http_client::http_client()
{
  curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYPEER, 0L);
  curl_easy_setopt(curl.get(), CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(curl.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(curl.get(), CURLOPT_HTTPAUTH, CURLAUTH_DIGEST);
  curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 60L);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, http_collect);
  curl_easy_setopt(curl.get(), CURLOPT_HEADERFUNCTION, http_collect);
}

reply_t http_request(http_client& client, const char* method, const std::string& url,
                     const std::string& body, const std::vector<std::string>& headers)
{
  CURL* curl = client.curl.get();
  reply_t reply;
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
  if (!body.empty()) {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body.c_str());
  }
  if (strcmp(method, "HEAD") == 0)
    curl_easy_setopt(curl, CURLOPT_NOBODY, 1L);
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &reply.body);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &reply.headers);
  curl_slist* list = nullptr;
  for (const std::string& header : headers)
    list = curl_slist_append(list, header.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
  reply.error = curl_easy_perform(curl);
  curl_slist_free_all(list);
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &reply.status);
  const char* content_type = nullptr;
  curl_easy_getinfo(curl, CURLINFO_CONTENT_TYPE, &content_type);
  reply.content_type = content_type ? content_type : "";
  return reply;
}

long http_connections(const http_client& client)
{
  long connections = -1;
  curl_easy_getinfo(client.curl.get(), CURLINFO_NUM_CONNECTS, &connections);
  return connections;
}

std::string url_encode(const std::string& text)
{
  const std::unique_ptr<char, decltype(&curl_free)> encoded(
      curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size())), curl_free);
  return encoded.get();
}
