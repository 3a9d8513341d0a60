// Real ports behind the switch: Open vSwitch and FRR of this machine do what the model says.
// Threads of its own bring both together; calls of the management API never wait for them.
#pragma once

#include "switchsim/model/sim_plane.h"
#include "switchsim/text/sim_profile.h"

extern const sim_plane_t sim_plane_ovs;

// Reads the profile's key (plane_profile.h).
bool plane_ovs_parse(const sim_json_t& json);

// Another plane takes over: this one leaves everything as it is. The caller holds the switch's
// lock.
void plane_ovs_stop();
