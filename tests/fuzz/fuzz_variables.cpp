// Variables, header parameters and body parts read into buffers of every size.
#include <fuzzer/FuzzedDataProvider.h>

#include "httpd/httpd.h"
#include "httpd/mg_parse.h"
#include "tests/fuzz/fuzz.h"

// A result is the length of a terminated text in the buffer, or none.
static void require_text(const std::vector<char>& buffer, int result)
{
  require(result <= 0 || (static_cast<size_t>(result) < buffer.size() &&
                          buffer[static_cast<size_t>(result)] == '\0'));
}

static void read_multipart(const std::string& input, std::vector<char>& name,
                           std::vector<char>& file)
{
  const std::vector<char> copy(input.begin(), input.end());  // without a terminator
  const int size = static_cast<int>(copy.size());
  const char* data = nullptr;
  int data_len = 0;
  int next = 0;
  for (int at = 0; at < size; at += next) {
    const char* part = copy.data() + at;
    next = mg_parse_multipart(part, size - at, name.data(), static_cast<int>(name.size()),
                              file.data(), static_cast<int>(file.size()), &data, &data_len);
    for (const std::vector<char>* text : {&name, &file})
      require(text->empty() || std::find(text->begin(), text->end(), '\0') != text->end());
    if (next == 0)
      break;
    require(next > 0 && next <= size - at && data_len >= 0 && data + data_len < part + next);
  }
}

static void fuzz(const std::string& input)
{
  FuzzedDataProvider data(reinterpret_cast<const uint8_t*>(input.data()), input.size());
  std::vector<char> dst(data.ConsumeIntegralInRange<size_t>(0, 300), 'x');
  std::vector<char> file(data.ConsumeIntegralInRange<size_t>(0, 40), 'x');
  const char* name = data.PickValueInArray<const char*>({"a", "sessionkey", "", "uri", "="});
  const int is_form = data.ConsumeBool();
  std::string text = data.ConsumeRemainingBytesAsString();

  mg_connection view = {};
  view.query_string = text.c_str();
  view.content = text.data();
  view.content_len = text.size();
  require_text(dst, mg_get_var(&view, name, dst.data(), dst.size()));
  require_text(dst, mg_parse_header(text.c_str(), name, dst.data(), dst.size()));
  require_text(dst, mg_url_decode(text.data(), static_cast<int>(text.size()), dst.data(),
                                  static_cast<int>(dst.size()), is_form));
  read_multipart(text, dst, file);

  mg_vec entry = {};
  mg_vec value = {};
  for (const char* list = text.c_str(); (list = next_option(list, &entry, &value)) != nullptr;)
    mg_match_prefix("**.cgi$|/*?", 11, std::string(entry.ptr, entry.len).c_str());
}
