#include "tests/support/file_server.h"

#include <gtest/gtest.h>
#include <string.h>
#include <sys/stat.h>

#include <filesystem>

static const char ROOT_MARK[] = "@ROOT";

file_server::file_server(const options& values, mg_handler_t handler)
    : root(folder.path + "/www"), server(mg_create_server(nullptr, handler))
{
  std::filesystem::create_directory(root);
  options all = {
      {"document_root",  ROOT_MARK    },
      {"listening_port", "127.0.0.1:0"}
  };
  all.insert(all.end(), values.begin(), values.end());
  for (auto& [name, value] : all) {
    for (size_t at; (at = value.find(ROOT_MARK)) != std::string::npos;)
      value.replace(at, strlen(ROOT_MARK), root);
    EXPECT_STREQ(mg_set_option(server, name, value.c_str()), nullptr) << name;
  }
  url = std::string("http://127.0.0.1:") + mg_get_option(server, "listening_port");
  thread = std::thread([this] {
    while (!is_stopped)
      mg_poll_server(server, 10);
  });
}

file_server::~file_server()
{
  is_stopped = true;
  thread.join();
  mg_destroy_server(&server);
}

void server_file(const file_server& server, const std::string& name, const std::string& text)
{
  std::filesystem::path path = server.root + "/" + name;
  std::filesystem::create_directories(path.parent_path());
  file_write(path, text);
  if (text.compare(0, 2, "#!") == 0)
    chmod(path.c_str(), 0755);
}

std::string raw_answer(const file_server& server, const std::string& request)
{
  std::string bytes;
  for (char c : request)
    bytes += c == '\n' ? std::string("\r\n") : std::string(1, c);
  raw_client client(server.url);
  raw_send(client, bytes);
  return raw_receive_all(client);
}

std::string raw_get(const file_server& server, const std::string& request,
                    const std::string& headers)
{
  return raw_answer(server, request + " HTTP/1.1\nConnection: close\n" + headers + "\n");
}

int status_of(const std::string& answer)
{
  int status = 0;
  sscanf(answer.c_str(), "HTTP/1.1 %d ", &status);
  return status;
}

std::string header_of(const std::string& answer, const std::string& name)
{
  size_t end = answer.find("\r\n\r\n");
  size_t at = answer.find("\r\n" + name + ": ");
  if (at >= end)
    return "";
  at += name.size() + 4;
  return answer.substr(at, answer.find("\r\n", at) - at);
}

static size_t collect(char* data, size_t size, size_t count, void* result)
{
  fetched_t* fetched = static_cast<fetched_t*>(result);
  fetched->body_size += size * count;
  if (fetched->body_start.size() < 1024 * 1024)
    fetched->body_start.append(data, size * count);
  return size * count;
}

fetched_t fetch(const std::string& url,
                const std::vector<std::pair<CURLoption, std::string>>& settings)
{
  fetched_t fetched = {};
  std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(), curl_easy_cleanup);
  curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl.get(), CURLOPT_PROXY, "");
  curl_easy_setopt(curl.get(), CURLOPT_HTTPAUTH, CURLAUTH_DIGEST);
  curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT, 60L);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, collect);
  curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &fetched);
  for (const auto& [option, value] : settings)
    curl_easy_setopt(curl.get(), option, value.c_str());
  fetched.error = curl_easy_perform(curl.get());
  curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &fetched.status);
  return fetched;
}
