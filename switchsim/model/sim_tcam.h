// Policies in the TCAM.
#pragma once

#include <cstdint>
#include <map>
#include <set>

#include "platform/openapi_tcam.h"

struct sim_policy_t {
  open_tcamApiPolicy_t record;
  uint32_t place;  // where the world has it, as a number of its own: that of a slice
  std::set<uint32_t> ports;
};

// By id.
const std::map<uint32_t, sim_policy_t>& sim_policies();

// Whether a policy sends frames to this interface, which has to stay then.
bool sim_tcam_redirects_to(uint32_t number);
