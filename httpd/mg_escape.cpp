#include "httpd/mg_escape.h"

#include <string.h>

static constexpr size_t LONGEST_REFERENCE = sizeof "&quot;" - 1;

// Room for every character of the text becoming `longest` ones.
static mg_text room_for(const char* text, size_t longest)
{
  return mg_text(static_cast<char*>(malloc(strlen(text) * longest + 1)));
}

mg_text mg_url_encode(const char* path)
{
  static const char plain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~/";
  static const char hex[] = "0123456789ABCDEF";
  mg_text encoded = room_for(path, 3);
  char* out = encoded.get();
  if (!out)
    return encoded;
  for (; *path; path++) {
    unsigned char byte = static_cast<unsigned char>(*path);
    if (strchr(plain, *path)) {
      *out++ = *path;
    } else {
      *out++ = '%';
      *out++ = hex[byte >> 4];
      *out++ = hex[byte & 15];
    }
  }
  *out = '\0';
  return encoded;
}

static const char* reference_for(char c)
{
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return nullptr;
  }
}

mg_text mg_html_escape(const char* text)
{
  mg_text escaped = room_for(text, LONGEST_REFERENCE);
  char* out = escaped.get();
  if (!out)
    return escaped;
  for (; *text; text++) {
    if (const char* reference = reference_for(*text)) {
      size_t length = strlen(reference);
      memcpy(out, reference, length);
      out += length;
    } else {
      *out++ = *text;
    }
  }
  *out = '\0';
  return escaped;
}
