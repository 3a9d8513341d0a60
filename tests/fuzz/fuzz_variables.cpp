// Variables, header parameters and body parts read into buffers of every size.
// sources: httpd/mg_parse.cpp
#include <fuzzer/FuzzedDataProvider.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <memory>
#include <string>

#include "httpd/httpd.h"
#include "httpd/mg_parse.h"

static void require(bool holds)
{
  if (!holds) {
    abort();
  }
}

// A heap block of exactly `size` bytes, so that the sanitizer sees one byte too many.
struct exact_buffer {
  int size;
  std::unique_ptr<char[]> bytes;

  explicit exact_buffer(int wanted) : size(wanted), bytes(new char[static_cast<size_t>(wanted)])
  {
    memset(bytes.get(), 'x', static_cast<size_t>(size));
  }
  // A result is the length of a terminated text, or none.
  void require_text(int result) const
  {
    require(result < size || result <= 0);
    require(result <= 0 || bytes[static_cast<size_t>(result)] == '\0');
  }
};

static void read_multipart(const std::string& input, exact_buffer& name, exact_buffer& file)
{
  // Exactly the input, without the terminator that the string keeps behind it.
  exact_buffer copy(static_cast<int>(input.size()));
  input.copy(copy.bytes.get(), input.size());
  const char* data = nullptr;
  int data_len = 0;
  int next = 0;
  for (int at = 0; at < copy.size; at += next) {
    next = mg_parse_multipart(copy.bytes.get() + at, copy.size - at, name.bytes.get(), name.size,
                              file.bytes.get(), file.size, &data, &data_len);
    for (const exact_buffer* text : {&name, &file}) {
      require(text->size == 0 ||
              memchr(text->bytes.get(), '\0', static_cast<size_t>(text->size)) != nullptr);
    }
    if (next == 0) {
      break;
    }
    require(next > 0 && next <= copy.size - at && data_len >= 0);
    require(data + data_len < copy.bytes.get() + at + next);
  }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
  FuzzedDataProvider fuzz(bytes, size);
  exact_buffer dst(fuzz.ConsumeIntegralInRange(0, 300));
  exact_buffer file(fuzz.ConsumeIntegralInRange(0, 40));
  const std::string name = fuzz.PickValueInArray<const char*>({"a", "sessionkey", "", "uri", "="});
  const int is_form = fuzz.ConsumeBool();
  const std::string input = fuzz.ConsumeRemainingBytesAsString();

  mg_connection view = {};
  view.query_string = input.c_str();
  view.content = const_cast<char*>(input.data());
  view.content_len = input.size();
  const size_t dst_size = static_cast<size_t>(dst.size);
  dst.require_text(mg_get_var(&view, name.c_str(), dst.bytes.get(), dst_size));
  dst.require_text(mg_parse_header(input.c_str(), name.c_str(), dst.bytes.get(), dst_size));
  const int input_size = static_cast<int>(input.size());
  dst.require_text(mg_url_decode(input.data(), input_size, dst.bytes.get(), dst.size, is_form));
  read_multipart(input, dst, file);

  mg_vec entry = {};
  mg_vec value = {};
  for (const char* list = input.c_str(); list != nullptr;) {
    list = next_option(list, &entry, &value);
    if (list != nullptr) {
      mg_match_prefix("**.cgi$|/*?", 11, std::string(entry.ptr, entry.len).c_str());
    }
  }
  return 0;
}
