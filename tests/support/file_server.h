// A server in a thread of its own that serves the files of a folder, which goes away with it.
#pragma once

#include <atomic>
#include <string>
#include <thread>

#include "httpd/httpd.h"
#include "tests/support/http_client.h"
#include "tests/support/raw_client.h"
#include "tests/support/temp_folder.h"

struct file_server {
  temp_folder folder;  // holds the document root, "www", and what must not be reached from it
  std::string root;
  mg_server* server;
  std::string url;  // "http://127.0.0.1:PORT"
  std::atomic<bool> is_stopped{false};
  std::thread thread;

  // Options are "name=value;name=value"; "@ROOT" stands for the document root.
  explicit file_server(const std::string& options = "", mg_handler_t handler = nullptr);
  ~file_server();
  file_server(const file_server&) = delete;
  file_server& operator=(const file_server&) = delete;
};

// Writes a file of the document root, with the folders on the way; a script is made executable.
void server_file(const file_server& server, const std::string& name, const std::string& text = "");

// All that the server sends for these bytes (a line feed stands for a line's end) until it closes.
std::string raw_answer(const file_server& server, const std::string& request);

// The answer to a request that asks the server to close: "GET /x".
std::string raw_get(const file_server& server, const std::string& request,
                    const std::string& headers = "");

int status_of(const std::string& answer);

// The value of a header of an answer, "" without one.
std::string header_of(const std::string& answer, const std::string& name);
