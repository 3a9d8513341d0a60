// Room for policies: each type has its own, as much as is of use.
#pragma once

#include "switchsim/model/sim_plane.h"

open_error_t policies_room(uint32_t id, const open_tcamApiPolicy_t& policy, uint32_t& place);
sim_policy_use_t policies_use(bool at_egress);
