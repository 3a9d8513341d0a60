// WebDAV requests, one after the other, on a folder with links. A request is written as its method
// and path, header lines, and a line that begins with "=" for its body; an empty line ends it.
#include "tests/fuzz/fuzz.h"

namespace fs = std::filesystem;

static void make_tree()
{
  fs::remove_all("www");
  fs::create_directories("www/d/sub");
  fs::create_directory("outside");
  write_file("www/f", "a file");
  write_file("www/d/f", "a file");
  write_file("outside/f", "kept");
  write_file("passwords", "joe:d:0123\n");
  for (const auto& [link, end] : {
           std::pair("out", "../outside"),
           {"outfile",  "../outside/f"},
           {"dangling", "none"        },
           {"in",       "d"           },
           {"d/up",     ".."          }
  })
    fs::create_symlink(end, std::string("www/") + link);
}

// Nothing outside has changed, and nothing that was under way has stayed.
static void check_tree()
{
  require(read_file("outside/f") == "kept" && read_file("passwords") == "joe:d:0123\n");
  const auto count = [](const char* folder) {
    return std::distance(fs::directory_iterator(folder), {});
  };
  require(count("outside") == 1 && count(".") == 3);
  for (const auto& entry : fs::recursive_directory_iterator("www"))
    require(entry.path().filename().string().compare(0, 8, ".mg_put.") != 0);
}

// Everybody is "joe": the header proves it for any method.
static std::string bytes_of(const std::string& request)
{
  std::string head, body;
  for (const std::string& line : split_text(request, "\n"))
    if (line[0] == '=')
      body = line.substr(1);
    else
      head += line + (head.empty() ? " HTTP/1.1\r\n" : "\r\n");
  char ha2[33], response[33];
  mg_md5(ha2, request.substr(0, request.find(' ')).c_str(), ":/", nullptr);
  mg_md5(response, "0123", ":n:1:c:auth:", ha2, nullptr);
  head += "Authorization: Digest username=joe, uri=/, nonce=n, nc=1, cnonce=c, qop=auth, response=";
  head += response;
  if (!body.empty())
    head += "\r\nContent-Length: " + std::to_string(body.size());
  return head + "\r\n\r\n" + body;
}

static mg_server* make_server()
{
  mg_server* server = mg_create_server(nullptr, nullptr);
  for (const auto& [name, value] : {
           std::pair("document_root", "www"),
           {"dav_auth_file",       "passwords"},
           {"auth_domain",         "d"        },
           {"hide_files_patterns", "**.hid$"  },
           {"cgi_pattern",         ""         },
           {"ssi_pattern",         ""         }
  })
    mg_set_option(server, name, value);
  return server;
}

static void fuzz(const std::string& input)
{
  static fuzz_folder folder;
  static mg_server* server = make_server();
  make_tree();
  for (const std::string& request : split_text(input, "\n\n")) {
    const std::string answer = answer_of(server, bytes_of(request));
    const int status = status_of(answer);
    require(answer.empty() || (status >= 200 && status <= 507 && status != 500));
    if (status == 207)
      require(chunked_body(answer).find("</d:multistatus>") != std::string::npos);
    check_tree();
  }
}
