// What the fuzz targets share.
#pragma once

#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "httpd/mg_internal.h"

// What a target does with an input; it aborts when something is wrong.
static void fuzz(const std::string& input);

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
  fuzz(std::string(bytes, bytes + size));
  return 0;
}

static inline void require(bool holds)
{
  if (!holds)
    abort();
}

// --- files ---

// A folder of this process alone, which becomes its working folder and goes away with it.
struct fuzz_folder {
  std::string path = std::filesystem::temp_directory_path() / "fuzz_XXXXXX";
  fuzz_folder()
  {
    require(mkdtemp(path.data()) && chdir(path.c_str()) == 0);
  }
  ~fuzz_folder()
  {
    std::filesystem::remove_all(path);
  }
};

static inline void write_file(const std::string& path, std::string_view text)
{
  std::ofstream(path, std::ios::binary).write(text.data(), static_cast<long>(text.size()));
}

static inline std::string read_file(const std::string& path)
{
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

// --- texts ---

// The text as far as a C string can tell it.
static inline std::string before_zero(const std::string& text)
{
  return text.substr(0, text.find('\0'));
}

// The parts of a text between these marks.
static inline std::vector<std::string> split_text(const std::string& text, const std::string& mark)
{
  std::vector<std::string> parts;
  for (size_t at = 0, end = 0; end != std::string::npos; at = end + mark.size()) {
    end = text.find(mark, at);
    parts.push_back(text.substr(at, end - at));
  }
  return parts;
}

// --- a server without sockets ---

// All that the server answers to these bytes, which arrive at once, on a connection of their own.
static inline std::string answer_of(mg_server* server, const std::string& bytes)
{
  static ns_connection listener;
  ns_connection nc = {};
  nc.mgr = &server->mgr;
  nc.sock = -1;
  nc.listener = &listener;
  nc.last_io_time = time(nullptr);
  server->listener_callback(&nc, NS_ACCEPT, nullptr);
  int count = static_cast<int>(bytes.size());
  require(iobuf_append(&nc.recv_iobuf, bytes.data(), bytes.size()) == bytes.size());
  server->listener_callback(&nc, NS_RECV, &count);
  std::string answer;
  const connection* conn = static_cast<connection*>(nc.user_data);
  do {  // files and long lists come with the passes
    answer.append(nc.send_iobuf.buf ? nc.send_iobuf.buf : "", nc.send_iobuf.len);
    nc.send_iobuf.len = 0;
    for (char byte; nc.file_left > 0 && read(nc.file, &byte, 1) == 1; nc.file_left--)
      answer += byte;
    nc.file_left = std::min<int64_t>(nc.file_left, 0);
    server->listener_callback(&nc, NS_POLL, &nc.last_io_time);
  } while (nc.send_iobuf.len > 0 || conn->endpoint_type == EP_FILE ||
           conn->endpoint_type == EP_PROPFIND);
  server->listener_callback(&nc, NS_CLOSE, nullptr);
  iobuf_free(&nc.recv_iobuf);
  iobuf_free(&nc.send_iobuf);
  return answer;
}

static inline int status_of(const std::string& answer)
{
  int status = 0;
  sscanf(answer.c_str(), "HTTP/1.1 %d ", &status);
  return status;
}

// The joined chunks of an answer, which must be complete.
static inline std::string chunked_body(const std::string& answer)
{
  std::string body;
  size_t at = answer.find("\r\n\r\n");
  require(at != std::string::npos && answer.find("Transfer-Encoding: chunked\r\n") < at);
  for (at += 4;;) {
    char* end = nullptr;
    size_t size = strtoul(&answer[at], &end, 16), start = static_cast<size_t>(end - &answer[0]) + 2;
    require(start + size + 2 <= answer.size() && answer.compare(start + size, 2, "\r\n") == 0);
    if (size == 0)
      break;
    body += answer.substr(start, size);
    at = start + size + 2;
  }
  return body;
}
