// Port channels of the simulated switch. What changes the state answers with the result codes of
// the management API; a group is named by its interface number.
#pragma once

#include <cstdint>

#include "platform/openapi_types.h"

// The interface number that a port-channel number stands for, whether the group exists or not; 0
// when there can be none of this number.
uint32_t sim_lag_if_num(uint32_t channel_id);

open_error_t sim_lag_create(uint32_t number);
// The members are in no group then. A group to which a policy redirects stays.
open_error_t sim_lag_delete(uint32_t number);
// VLANs, routing and the MTU of a member are those of the group; its own VLAN settings and MTU come
// back when it leaves. A port with routing or addresses of its own does not join.
open_error_t sim_lag_port_add(uint32_t number, uint32_t port);
open_error_t sim_lag_port_delete(uint32_t number, uint32_t port);
