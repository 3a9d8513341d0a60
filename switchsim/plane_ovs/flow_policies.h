// Policies as flows.
#pragma once

#include <string>

#include "platform/openapi_tcam.h"
#include "switchsim/plane_ovs/flow_tables.h"
#include "switchsim/plane_ovs/wish.h"

void flow_policy_add(flows_t& all, const std::string& bridge, const wish_t& wish, uint32_t id,
                     const wish_policy_t& policy, const flow_numbers_t& numbers);

// OPEN_E_UNAVAIL when a policy asks for something that flows cannot do.
open_error_t flow_policy_room(const open_tcamApiPolicy_t& policy);
