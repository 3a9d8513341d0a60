#include "switchsim/sim_areas.h"

#include <json-c/json.h>

#include <cstring>

#include "switchsim/call/sim_clock.h"
#include "switchsim/call/sim_fault.h"
#include "switchsim/model/sim_state.h"
#include "switchsim/text/sim_profile_faults.h"

#include "switchsim/plane_sim/sim_links.h"

namespace
{
struct sim_key_t {
  const char* name;
  bool (*parse)(const sim_json_t& json);
};

constexpr size_t KEYS_MAX = 8;

struct sim_area_t {
  void (*reset)();
  sim_key_t keys[KEYS_MAX];  // ended by an empty one
};

void core_reset()
{
  sim_clock_start();
  sim_config_saved();
  sim_faults_clear();
  sim_rpc_delay_set(0);
}

// aligned columns would change every row for each new one
// clang-format off
constexpr sim_area_t AREAS[] = {
    {core_reset, {{"rpc_delay_ms", sim_rpc_delay_parse},
                  {"faults", sim_faults_parse}}},
    {sim_auth_reset, {{"accounts", sim_auth_accounts_parse}}},
    {sim_pending_reset, {{"pending_ms", sim_pending_pending_ms_parse}}},
    {sim_ports_reset, {{"ports", sim_ports_ports_parse},
                       {"link_up", sim_ports_link_up_parse}}},
    {sim_counters_reset, {}},
    {sim_vlan_reset, {{"vlan_max", sim_vlan_vlan_max_parse},
                      {"vlans", sim_vlan_vlans_parse}}},
    {sim_lag_reset, {{"lags", sim_lag_lags_parse}}},
    {sim_routing_reset, {}},
    {sim_bgp_reset, {}},
    {sim_tcam_reset, {{"tcam_slice_size", sim_tcam_slice_size_parse}}},
    {sim_flash_reset, {{"flash", sim_flash_folder_parse},
                       {"flash_size", sim_flash_size_parse},
                       {"scripts", sim_script_scripts_parse}}},
    {sim_transfer_reset, {{"transfer_stall_s", sim_transfer_stall_parse}}},
    {sim_system_reset, {}},
    {sim_logging_reset, {}},
    {sim_ssh_reset, {}},
    {sim_pml_reset, {}},
    {sim_boxs_reset, {{"fans", sim_boxs_fans_parse},
                      {"power_supplies", sim_boxs_power_supplies_parse},
                      {"temp_sensors", sim_boxs_temp_sensors_parse},
                      {"transceivers", sim_boxs_transceivers_parse}}},
    {sim_process_reset, {}},
};
// clang-format on

bool key_known(const char* name)
{
  for (const sim_area_t& area : AREAS) {
    for (const sim_key_t* key = area.keys; key->name != nullptr; key++) {
      if (strcmp(key->name, name) == 0) {
        return true;
      }
    }
  }
  return false;
}

bool keys_known(const sim_json_t& profile)
{
  if (profile.value == nullptr) {
    return true;
  }
  return sim_json_each(profile, [](const char* name, const sim_json_t& value) {
    return key_known(name) || sim_json_refuse(value, "no such key");
  });
}

// Without a profile (no value) it cannot fail.
bool areas_reset(const sim_json_t& profile)
{
  for (const sim_area_t& area : AREAS) {
    area.reset();
    for (const sim_key_t* key = area.keys; key->name != nullptr; key++) {
      json_object* value = nullptr;
      if (profile.value != nullptr && json_object_object_get_ex(profile.value, key->name, &value) &&
          !key->parse(sim_json_member(profile, key->name, value))) {
        return false;
      }
    }
  }
  return true;
}
}  // namespace

std::string sim_areas_reset(const std::string& profile)
{
  std::string error;
  const sim_json_owner_t json = profile.empty() ? nullptr : sim_json_read(profile, error);
  const sim_json_t top = {json.get(), "", &error};
  if (!error.empty() || !keys_known(top) || !areas_reset(top)) {
    areas_reset({});
  }
  sim_links_restart();
  sim_config_deliver();
  sim_config_load();
  return error;
}
