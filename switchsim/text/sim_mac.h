// MAC addresses from text and to text.
#pragma once

#include <cstdint>
#include <string>

// The text form in which the switch tells MAC addresses: 02:54:58:A0:00:01.
std::string sim_mac_text(uint64_t mac);

// Reads a MAC address: 02:54:58:a0:00:01 (also with single digits), 02-54-58-A0-00-01,
// 0254.58a0.0001 or 025458a00001. False, and mac as it was, for anything else.
bool sim_mac_parse(const std::string& text, uint64_t& mac);
