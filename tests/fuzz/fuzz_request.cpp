// One connection's bytes, taken apart the way the server does it.
#include "httpd/httpd.h"
#include "httpd/mg_parse.h"
#include "tests/fuzz/fuzz.h"

// Every string of a view lies inside the block; reading it to its end is the sanitizer's test.
static void require_inside(const std::vector<char>& block, const char* text)
{
  require(text >= block.data() && text + strlen(text) < block.data() + block.size());
}

static void check_view(const std::vector<char>& block, const mg_connection& view)
{
  for (const char* text : {view.request_method, view.uri, view.http_version})
    require_inside(block, text);
  if (view.query_string != nullptr)
    require_inside(block, view.query_string);
  for (int i = 0; i < view.num_headers; i++) {
    require_inside(block, view.http_headers[i].name);
    require_inside(block, view.http_headers[i].value);
    require(*view.http_headers[i].name != '\0');
  }
  require(*view.uri != '/' || strstr(view.uri, "/..") == nullptr);
  is_valid_uri(view.uri);
  mg_get_header(&view, "Content-Length");
}

static void fuzz(const std::string& input)
{
  std::vector<char> bytes(input.begin(), input.end());  // without a terminator
  const int len = get_request_len(bytes.data(), bytes.size());
  require(len >= -1 && len <= static_cast<int>(bytes.size()));

  // Bytes that are no header block must be survived as well: blocks come from other callers too.
  std::vector<char> block(bytes.begin(), len > 0 ? bytes.begin() + len : bytes.end());
  mg_header headers[MG_MAX_HEADERS];
  mg_connection view = {};
  view.http_headers = headers;
  mg_end_is_clear(block.data(), block.size());
  const int parsed = parse_http_message(block.data(), block.size(), &view);
  require(parsed == -1 || parsed == static_cast<int>(block.size()));
  if (parsed < 0)
    return;
  check_view(block, view);

  view.content = bytes.data() + block.size();
  view.content_len = bytes.size() - block.size();
  char key[33];
  const int key_len = mg_get_var(&view, "sessionkey", key, sizeof key);
  require(key_len < static_cast<int>(sizeof key) && memchr(key, '\0', sizeof key) != nullptr);
}
