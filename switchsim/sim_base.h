// What is burned into the switch.
#pragma once

#include <cstdint>
#include <string>

// Its own MAC address; the interfaces' follow it, one by one.
constexpr uint64_t SIM_BURNED_IN_MAC = 0x025458A00000;

// The text form in which the switch tells MAC addresses: 02:54:58:A0:00:01.
std::string sim_mac_text(uint64_t mac);
