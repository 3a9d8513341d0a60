// What is burned into the switch.
#pragma once

#include <cstdint>

// Its own MAC address; the interfaces' follow it, one by one.
constexpr uint64_t SIM_BURNED_IN_MAC = 0x025458A00000;
