#include "tests/support/file_server.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <sstream>

file_server::file_server(const std::string& options, mg_handler_t handler)
    : root(folder.path + "/www"), server(mg_create_server(nullptr, handler))
{
  std::filesystem::create_directory(root);
  std::istringstream all("document_root=@ROOT;listening_port=127.0.0.1:0;" + options);
  for (std::string option; std::getline(all, option, ';');) {
    for (size_t at; (at = option.find("@ROOT")) != std::string::npos;)
      option.replace(at, 5, root);
    size_t equals = option.find('=');
    EXPECT_STREQ(mg_set_option(server, option.substr(0, equals).c_str(), &option[equals + 1]),
                 nullptr);
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
