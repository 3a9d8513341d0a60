#include "switchsim/config/sim_store.h"

#include <algorithm>
#include <cctype>

namespace
{
constexpr size_t NAME_MAX_LENGTH = 64;

const sim_store_t* used;
}  // namespace

bool sim_file_name_ok(const std::string& name)
{
  const auto allowed = [](unsigned char c) {
    return c < 0x80 && (isalnum(c) || c == '.' || c == '_' || c == '-');
  };
  return !name.empty() && name.size() <= NAME_MAX_LENGTH && name[0] != '.' && name[0] != '-' &&
         std::all_of(name.begin(), name.end(), allowed);
}

void sim_store_use(const sim_store_t& store)
{
  used = &store;
}

const sim_store_t& sim_store()
{
  return *used;
}
