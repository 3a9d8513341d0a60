#include "switchsim/config/sim_script.h"

#include <algorithm>
#include <cstdio>

#include "platform/openapi_script.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/config/sim_config.h"
#include "switchsim/config/sim_store.h"

namespace
{
constexpr size_t NAME_MAX_LENGTH = sizeof(OPEN_CLI_SCRIPT_FILENAME_t) - 1;
constexpr size_t SCRIPT_MAX_LENGTH = 1 << 20;
constexpr std::string_view SUFFIX = ".scr";

open_error_t script_apply(const std::string& name)
{
  std::string script;
  std::string error;
  if (!sim_script_name_ok(name))
    return OPEN_E_PARAM;
  if (!sim_store().read(name, script))
    return OPEN_E_NOT_FOUND;
  if (!sim_config_run(script, error)) {
    fprintf(stderr, "switchsim: script %s: %s\n", name.c_str(), error.c_str());
    return OPEN_E_FAIL;
  }
  return OPEN_E_NONE;
}

open_error_t script_list(OPEN_CLI_SCRIPT_FILE_LIST_t& list)
{
  list = {};
  for (const std::string& name : sim_store().names())
    if (sim_script_name_ok(name) && list.count < OPEN_CLI_SCRIPT_FILES_MAX)
      name.copy(list.filelist[list.count++], NAME_MAX_LENGTH);
  return OPEN_E_NONE;
}

open_error_t script_delete(const std::string& name)
{
  if (!sim_script_name_ok(name))
    return OPEN_E_PARAM;
  return sim_store().remove(name) ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
}
}  // namespace

// Found by the type of their argument, so not in the namespace above.
static void sim_put(std::string& line, const OPEN_CLI_SCRIPT_FILE_LIST_t& list)
{
  line += "{" + std::to_string(list.count);
  for (uint32_t i = 0; i < std::min(list.count, OPEN_CLI_SCRIPT_FILES_MAX); i++)
    line += std::string(",\"") + list.filelist[i] + "\"";
  line += "}";
}

static bool sim_number_set(OPEN_CLI_SCRIPT_FILE_LIST_t& list, const sim_fault_value_t& value)
{
  return sim_number_set(list.count, value);
}

bool sim_script_name_ok(const std::string& name)
{
  return sim_file_name_ok(name) && name.size() <= NAME_MAX_LENGTH && name.size() > SUFFIX.size() &&
         name.compare(name.size() - SUFFIX.size(), SUFFIX.size(), SUFFIX) == 0;
}

static bool scripts_parse(const sim_json_t& json)
{
  return sim_json_each(
      json,
      [](const char* name, const sim_json_t& value) {
        std::string script;
        if (!sim_script_name_ok(name))
          return sim_json_refuse(value,
                                 "a script's name has at most 32 characters and ends in .scr");
        return sim_json_text(value, 0, SCRIPT_MAX_LENGTH, script) &&
               (sim_store().write(name, script) || sim_json_refuse(value, "cannot be written"));
      });
}

constexpr sim_key_t KEYS[] = {
    {"scripts", scripts_parse},
};

const sim_area_t sim_script_area = sim_area(nullptr, KEYS);

open_error_t rpcclt_openapiTxtCfgValidateAndApply(openapiClientHandle_t* client_handle,
                                                  open_buffdesc* file)
{
  const auto work = [&] { return script_apply(sim_text(file)); };
  return sim_call(__func__, client_handle, work, file);
}

open_error_t rpcclt_openapiTxtCfgFilesListGet(openapiClientHandle_t* client_handle,
                                              OPEN_CLI_SCRIPT_FILE_LIST_t* list)
{
  const auto work = [&] { return script_list(*list); };
  return sim_call(__func__, client_handle, work, sim_out(list));
}

open_error_t rpcclt_openapiTxtCfgFileDelete(openapiClientHandle_t* client_handle,
                                            open_buffdesc* file)
{
  const auto work = [&] { return script_delete(sim_text(file)); };
  return sim_call(__func__, client_handle, work, file);
}
