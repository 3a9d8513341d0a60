// File transfers of the simulated switch.
#pragma once

#include "switchsim/model/sim_area.h"

extern const sim_area_t sim_transfer_area;
