// UTF-8 as RFC 3629 defines it.
#pragma once

#include <stddef.h>

// What the first byte of a character says: how many bytes there are, and what the second may be, so
// that no character has a longer form than it needs, is half of a pair or lies beyond the last one.
inline constexpr struct {
  unsigned char first, last;  // the first byte is one of these
  unsigned char length;
  unsigned char second_first, second_last;
} rest_utf8_forms[] = {
    {0x01, 0x7f, 1, 0,    0   },
    {0xc2, 0xdf, 2, 0x80, 0xbf},
    {0xe0, 0xe0, 3, 0xa0, 0xbf},
    {0xe1, 0xec, 3, 0x80, 0xbf},
    {0xed, 0xed, 3, 0x80, 0x9f},
    {0xee, 0xef, 3, 0x80, 0xbf},
    {0xf0, 0xf0, 4, 0x90, 0xbf},
    {0xf1, 0xf3, 4, 0x80, 0xbf},
    {0xf4, 0xf4, 4, 0x80, 0x8f},
};

// The bytes of the character at the start of a text, which is terminated and not empty. When they
// are none, is_character is false, and it is how many bytes one U+FFFD stands for.
inline size_t rest_utf8_length(const char* text, bool& is_character)
{
  const unsigned char* bytes = reinterpret_cast<const unsigned char*>(text);
  is_character = false;
  for (const auto& form : rest_utf8_forms) {
    if (bytes[0] < form.first || bytes[0] > form.last)
      continue;
    for (size_t i = 1; i < form.length; i++)
      if (i == 1 ? bytes[i] < form.second_first || bytes[i] > form.second_last
                 : bytes[i] < 0x80 || bytes[i] > 0xbf)
        return i;
    is_character = true;
    return form.length;
  }
  return 1;
}
