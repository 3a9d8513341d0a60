#include "switchsim/call/sim_value.h"

#include <cstring>

std::string sim_text(const open_buffdesc* desc)
{
  const char* text = static_cast<const char*>(desc->pstart);
  return desc->size == 0 ? std::string() : std::string(text, strnlen(text, desc->size));
}

open_error_t sim_text_put(open_buffdesc* desc, std::string_view text)
{
  if (text.size() >= desc->size)
    return OPEN_E_PARAM;
  char* room = static_cast<char*>(desc->pstart);
  memcpy(room, text.data(), text.size());
  room[text.size()] = '\0';
  desc->size = static_cast<uint32_t>(text.size() + 1);
  return OPEN_E_NONE;
}

std::string sim_one_line(std::string_view text)
{
  std::string line;
  for (const char c : text)
    if (c == '\n')
      line += "\\n";
    else if (c == '\r')
      line += "\\r";
    else
      line += c;
  return line;
}
