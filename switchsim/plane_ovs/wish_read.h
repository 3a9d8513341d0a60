// From the model's settings to what they mean for real ports.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "switchsim/plane_ovs/wish.h"

// The caller holds the switch's lock. netdevs are the ports that there are; base_mac is what the
// addresses of routing interfaces are made from.
wish_t wish_read(const std::map<uint32_t, std::string>& netdevs, const std::string& bridge,
                 uint64_t base_mac);

// The MAC address of a routing interface.
uint64_t wish_router_mac(uint64_t base_mac, uint32_t number);
