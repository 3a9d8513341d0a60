#include "switchsim/call/sim_replace.h"

#include <cstring>

bool sim_text_set(const sim_out_t<open_buffdesc>& out, const std::string& text)
{
  if (text.size() > out.room)
    return false;
  // a text that fills its buffer to the last byte has no terminating zero
  const size_t length = text.size() + (text.size() < out.room ? 1 : 0);
  if (length > 0)
    memcpy(out.at->pstart, text.c_str(), length);
  out.at->size = static_cast<uint32_t>(text.size() + 1);
  return true;
}
