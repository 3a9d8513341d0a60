// Real ports behind the switch: Open vSwitch and FRR of this machine do what the model says. One
// thread brings both together: it compares, applies the difference, and looks at the ports; calls
// of the management API never wait for it.
#pragma once

#include "switchsim/model/sim_plane.h"
#include "switchsim/text/sim_profile.h"

extern const sim_plane_t sim_plane_ovs;

// Reads the profile's key: {"type": "ovs", "ovsdb": "unix:...", "bridge": "br0",
// "openflow": "unix:...", "frr": "/run/frr", "netns": "/run/netns/...", "ports": {"1": "eth1"}}.
bool plane_ovs_parse(const sim_json_t& json);

// Another plane takes over: this one leaves everything as it is. The caller holds the switch's
// lock.
void plane_ovs_stop();
