// Faults as a profile gives them: {"result": -23, "value": 9, "after": 2, "times": 1}.
#pragma once

#include "switchsim/text/sim_profile.h"

// Takes the fault of one call.
bool sim_fault_parse(const char* name, const sim_json_t& json);

// The profile's keys.
bool sim_faults_parse(const sim_json_t& json);
bool sim_rpc_delay_parse(const sim_json_t& json);
