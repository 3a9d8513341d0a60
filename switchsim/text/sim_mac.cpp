#include "switchsim/text/sim_mac.h"

#include <cctype>
#include <cstdio>

std::string sim_mac_text(uint64_t mac)
{
  char text[sizeof "00:00:00:00:00:00"];
  const auto byte = [&](unsigned shift) { return static_cast<unsigned>(mac >> shift & 0xff); };
  snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", byte(40), byte(32), byte(24),
           byte(16), byte(8), byte(0));
  return text;
}

bool sim_mac_parse(const std::string& text, uint64_t& mac)
{
  constexpr struct {
    char separator;
    size_t groups;
    size_t digits_min;
    size_t digits_max;
  } NOTATIONS[] = {
      {':',  6, 1,  2 },
      {'-',  6, 1,  2 },
      {'.',  3, 4,  4 },
      {'\0', 1, 12, 12}
  };
  for (const auto& notation : NOTATIONS) {
    uint64_t value = 0;
    size_t groups = 0;
    size_t at = 0;
    for (; groups < notation.groups; groups++) {
      if (groups > 0 && (at >= text.size() || text[at++] != notation.separator))
        break;
      const size_t start = at;
      uint64_t group = 0;
      while (at < text.size() && at - start < notation.digits_max &&
             isxdigit(static_cast<unsigned char>(text[at])) != 0)
        group = group << 4 | std::stoul(text.substr(at++, 1), nullptr, 16);
      if (at - start < notation.digits_min)
        break;
      value = value << (48 / notation.groups) | group;
    }
    if (groups == notation.groups && at == text.size()) {
      mac = value;
      return true;
    }
  }
  return false;
}
