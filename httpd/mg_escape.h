// Texts made safe for the place they are put into.
#pragma once

#include <stdlib.h>

#include <memory>

struct mg_free {
  void operator()(void* memory) const
  {
    free(memory);
  }
};
// A text of its own, null when memory was short.
using mg_text = std::unique_ptr<char, mg_free>;

inline const char* mg_chars(const mg_text& text)
{
  return text ? text.get() : "";
}

// A path for a URL or a header: everything but letters, digits, "-._~" and "/" becomes "%xx".
mg_text mg_url_encode(const char* path);

// A text for HTML or XML, inside an element or a quoted attribute.
mg_text mg_html_escape(const char* text);
