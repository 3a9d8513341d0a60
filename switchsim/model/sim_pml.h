// Port MAC locking as it is configured.
#pragma once

#include <cstdint>
#include <map>
#include <utility>

#include "platform/openapi_types.h"

using sim_pml_entry_t = std::pair<uint64_t, uint32_t>;  // MAC address and VLAN

struct sim_pml_port_t {
  OPEN_CONTROL_t sticky = OPEN_DISABLE;
  std::map<sim_pml_entry_t, bool> entries;  // and whether the entry is sticky
};

// By number; those that were ever set up.
const std::map<uint32_t, sim_pml_port_t>& sim_pml_ports();
