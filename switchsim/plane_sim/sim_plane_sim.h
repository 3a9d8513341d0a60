// The simulated world: ports with somebody at the other end of some, always the same traffic, and a
// TCAM in slices. What the model wants is in force at once, or as late as the profile says.
#pragma once

#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_plane.h"

extern const sim_plane_t sim_plane_sim;

// Its row, beside those of its ports, slices and hardware.
extern const sim_area_t sim_plane_sim_area;
