// Rows of Open vSwitch's database: read, compared, and made what they are to be.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "switchsim/plane_ovs/ovsdb.h"
#include "switchsim/plane_ovs/rows.h"

// What the database says of the running switch.
struct rows_state_t {
  std::map<std::string, uint32_t> port_numbers;  // of OpenFlow, by interface name
  std::map<std::string, std::string> errors;     // by interface name
};

// Makes the rows what they are to be, in one transaction, waits until the switch has taken them,
// and reads the result. Rows without the mark of this bridge's owner stay as they are.
bool rows_apply(ovsdb_t& db, const std::string& bridge, rows_t wanted, rows_state_t& state,
                uint64_t deadline_ms, std::string& why);

// Makes the bridge itself where there is none of this name.
bool rows_bridge_ensure(ovsdb_t& db, const std::string& bridge, uint64_t deadline_ms,
                        std::string& why);
