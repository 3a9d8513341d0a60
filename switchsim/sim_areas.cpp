#include "switchsim/sim_areas.h"

#include <json-c/json.h>

#include <cstring>
#include <vector>

#include "switchsim/call/sim_clock.h"
#include "switchsim/call/sim_fault.h"
#include "switchsim/config/sim_config.h"
#include "switchsim/config/sim_script.h"
#include "switchsim/host/sim_flash.h"
#include "switchsim/host/sim_process.h"
#include "switchsim/host/sim_transfer.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_plane.h"
#include "switchsim/plane_sim/sim_hardware.h"
#include "switchsim/plane_sim/sim_links.h"
#include "switchsim/plane_sim/sim_plane_sim.h"
#include "switchsim/plane_sim/sim_slices.h"
#include "switchsim/text/sim_profile_faults.h"
#ifdef SWITCH_PLANE_OVS
#include "switchsim/plane_ovs/plane_ovs.h"
#endif

namespace
{
void calls_reset()
{
  sim_clock_start();
  sim_faults_clear();
  sim_rpc_delay_set(0);
}

constexpr sim_key_t KEYS[] = {
    {"rpc_delay_ms", sim_rpc_delay_parse},
    {"faults",       sim_faults_parse   },
};

const sim_area_t CALLS_AREA = sim_area(calls_reset, KEYS);

// Whichever plane the switch had, it has the simulated one until a profile says otherwise.
void plane_reset()
{
#ifdef SWITCH_PLANE_OVS
  plane_ovs_stop();
#endif
  sim_plane_use(sim_plane_sim);
}

bool plane_parse([[maybe_unused]] const sim_json_t& json)
{
#ifdef SWITCH_PLANE_OVS
  if (!plane_ovs_parse(json))
    return false;
  sim_plane_use(sim_plane_ovs);
  return true;
#else
  return sim_json_refuse(json, "is not built in, for want of libmnl");
#endif
}

constexpr sim_key_t PLANE_KEYS[] = {
    {"plane", plane_parse},
};

const sim_area_t PLANE_AREA = sim_area(plane_reset, PLANE_KEYS);

// In the order in which they are put back and read their keys, and in which configuration is
// written and kept: each may rely on those before it.
const std::vector<const sim_area_t*> AREAS = {
    &CALLS_AREA,         &PLANE_AREA,           &sim_change_area, &sim_auth_area,
    &sim_plane_sim_area, &sim_links_area,       &sim_ports_area,  &sim_counters_area,
    &sim_config_area,    &sim_lag_area,         &sim_vlan_area,   &sim_routing_area,
    &sim_if_area,        &sim_lag_members_area, &sim_bgp_area,    &sim_slices_area,
    &sim_tcam_area,      &sim_flash_area,       &sim_script_area, &sim_transfer_area,
    &sim_system_area,    &sim_logging_area,     &sim_ssh_area,    &sim_pml_area,
    &sim_hardware_area,  &sim_process_area,
};

bool key_known(const char* name)
{
  for (const sim_area_t* area : AREAS) {
    for (const sim_key_t& key : area->keys)
      if (strcmp(key.name, name) == 0)
        return true;
  }
  return false;
}

bool keys_known(const sim_json_t& profile)
{
  if (profile.value == nullptr)
    return true;
  return sim_json_each(profile, [](const char* name, const sim_json_t& value) {
    return key_known(name) || sim_json_refuse(value, "no such key");
  });
}

// Without a profile (no value) it cannot fail.
bool areas_reset(const sim_json_t& profile)
{
  for (const sim_area_t* area : AREAS) {
    if (area->reset != nullptr)
      area->reset();
    for (const sim_key_t& key : area->keys) {
      json_object* value = nullptr;
      if (profile.value != nullptr && json_object_object_get_ex(profile.value, key.name, &value) &&
          !key.parse(sim_json_member(profile, key.name, value)))
        return false;
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
  sim_store_use(sim_flash_store);
  sim_areas_use(AREAS);
  if (!error.empty() || !keys_known(top) || !areas_reset(top) || !sim_plane().start(error)) {
    areas_reset({});
    std::string ignored;
    sim_plane().start(ignored);
  }
  sim_config_deliver();
  sim_config_load();
  return error;
}
