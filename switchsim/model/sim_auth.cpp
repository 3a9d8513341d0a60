// The switch's user accounts.
#include <map>

#include "platform/openapi_auth.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"

namespace
{
struct account_t {
  std::string password;
  OPEN_LOGIN_ACCESS_LEVELS_t access;
};

constexpr size_t NAME_MAX_LENGTH = 255;

std::map<std::string, account_t> accounts;

open_error_t authenticate(const std::string& user, const std::string& password,
                          OPEN_LOGIN_ACCESS_LEVELS_t& access)
{
  const auto account = accounts.find(user);
  if (account == accounts.end() || account->second.password != password)
    return OPEN_E_FAIL;
  return sim_give(access, account->second.access);
}

bool account_parse(const sim_json_t& json)
{
  std::string user;
  account_t account = {"", OPEN_LOGIN_ACCESS_READ_WRITE};
  const auto parse_user = [&](const sim_json_t& j) {
    return sim_json_text(j, 1, NAME_MAX_LENGTH, user) &&
           (accounts.count(user) == 0 || sim_json_refuse(j, "is given twice"));
  };
  const auto parse_password = [&](const sim_json_t& j) {
    return sim_json_text(j, 0, NAME_MAX_LENGTH, account.password);
  };
  const auto parse_access = [&](const sim_json_t& j) {
    return sim_json_choice(j,
                           {
                               {"read-write", OPEN_LOGIN_ACCESS_READ_WRITE},
                               {"read-only",  OPEN_LOGIN_ACCESS_READ_ONLY }
    },
                           account.access);
  };
  const bool parsed = sim_json_record(json, {
                                                {"user",     true,  parse_user    },
                                                {"password", true,  parse_password},
                                                {"access",   false, parse_access  },
  });
  if (parsed)
    accounts[user] = account;
  return parsed;
}

void auth_reset()
{
  accounts = {
      {"admin", {"admin", OPEN_LOGIN_ACCESS_READ_WRITE}},
      {"guest", {"guest", OPEN_LOGIN_ACCESS_READ_ONLY} },
  };
}

bool accounts_parse(const sim_json_t& json)
{
  accounts.clear();
  return sim_json_list(json, account_parse);
}

}  // namespace

constexpr sim_key_t KEYS[] = {
    {"accounts", accounts_parse},
};

const sim_area_t sim_auth_area = sim_area(auth_reset, KEYS);

open_error_t rpcclt_openapiAuthenticateUser(openapiClientHandle_t* client_handle,
                                            open_buffdesc* user, open_buffdesc* password,
                                            OPEN_LOGIN_ACCESS_LEVELS_t* accessLevel)
{
  const auto work = [&] { return authenticate(sim_text(user), sim_text(password), *accessLevel); };
  return sim_call(__func__, client_handle, work, user, password, sim_out(accessLevel));
}
