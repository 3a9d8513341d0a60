// Memory and CPU use of the simulated switch.
#pragma once

#include "switchsim/model/sim_area.h"

extern const sim_area_t sim_process_area;
