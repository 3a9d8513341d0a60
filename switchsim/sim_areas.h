// The areas of the simulated switch, in the order in which they are put back to the built-in
// profile and read their keys of another one: an area may rely on those before it. A new area adds
// its procedures here and its row to the table in sim_areas.cpp.
#pragma once

#include <string>

#include "switchsim/config/sim_config.h"
#include "switchsim/text/sim_profile.h"

// Each area's way back to the built-in profile...
void sim_auth_reset();
void sim_pending_reset();
void sim_ports_reset();
void sim_counters_reset();
void sim_vlan_reset();
void sim_lag_reset();
void sim_routing_reset();
void sim_bgp_reset();
void sim_tcam_reset();
void sim_flash_reset();
void sim_transfer_reset();
void sim_system_reset();
void sim_logging_reset();
void sim_ssh_reset();
void sim_pml_reset();
void sim_boxs_reset();
void sim_process_reset();

// ...and the keys it takes from a profile.
bool sim_auth_accounts_parse(const sim_json_t& json);
bool sim_pending_pending_ms_parse(const sim_json_t& json);
bool sim_ports_ports_parse(const sim_json_t& json);
bool sim_ports_link_up_parse(const sim_json_t& json);
bool sim_vlan_vlan_max_parse(const sim_json_t& json);
bool sim_vlan_vlans_parse(const sim_json_t& json);
bool sim_lag_lags_parse(const sim_json_t& json);
bool sim_tcam_slice_size_parse(const sim_json_t& json);
bool sim_boxs_fans_parse(const sim_json_t& json);
bool sim_boxs_power_supplies_parse(const sim_json_t& json);
bool sim_boxs_temp_sensors_parse(const sim_json_t& json);
bool sim_boxs_transceivers_parse(const sim_json_t& json);
bool sim_flash_folder_parse(const sim_json_t& json);
bool sim_flash_size_parse(const sim_json_t& json);
bool sim_transfer_stall_parse(const sim_json_t& json);
bool sim_script_scripts_parse(const sim_json_t& json);

// What the areas with configuration give of themselves (sim_config.h).
sim_config_area_t sim_lag_config();
sim_config_area_t sim_lag_members_config();
sim_config_area_t sim_vlan_config();
sim_config_area_t sim_routing_config();
sim_config_area_t sim_if_config();
sim_config_area_t sim_bgp_config();
sim_config_area_t sim_tcam_config();
sim_config_area_t sim_system_config();
sim_config_area_t sim_logging_config();
sim_config_area_t sim_ssh_config();
sim_config_area_t sim_pml_config();

// Resets all areas and applies a profile to them (JSON text; empty: none). Returns an empty text,
// or what is wrong with the profile, its key first; the areas are then as without one. The caller
// holds the switch's lock.
std::string sim_areas_reset(const std::string& profile);
