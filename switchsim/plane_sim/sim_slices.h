// The room for policies in the simulated world.
#pragma once

#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_plane.h"

// As in sim_plane_t; a place is a slice of the policy's stage, counted from 0.
open_error_t sim_slices_room(uint32_t id, const open_tcamApiPolicy_t& policy, uint32_t& place);
sim_policy_use_t sim_slices_use(bool at_egress);

extern const sim_area_t sim_slices_area;
