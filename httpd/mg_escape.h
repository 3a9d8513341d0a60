// Texts made safe for the place they are put into.
#pragma once

#include <stddef.h>
#include <stdio.h>
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

// Passes the text in pieces to put(bytes, length), control bytes as percent escapes: a decoded path
// may hold line ends, which would end a header or a line of a log.
template <typename Put>
void escape_controls(const char* text, Put put)
{
  while (*text != '\0') {
    size_t plain = 0;
    while (static_cast<unsigned char>(text[plain]) >= 0x20 && text[plain] != 0x7f)
      plain++;
    put(text, plain);
    text += plain;
    for (; *text != '\0' && (static_cast<unsigned char>(*text) < 0x20 || *text == 0x7f); text++) {
      char escape[sizeof "%XX"];
      snprintf(escape, sizeof escape, "%%%02X", unsigned{static_cast<unsigned char>(*text)});
      put(escape, sizeof escape - 1);
    }
  }
}

// A path for a URL or a header: everything but letters, digits, "-._~" and "/" becomes "%xx".
mg_text mg_url_encode(const char* path);

// A text for HTML or XML, inside an element or a quoted attribute.
mg_text mg_html_escape(const char* text);
