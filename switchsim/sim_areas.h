// The table of all areas of the switch.
#pragma once

#include <string>

// Resets all areas and applies a profile to them (JSON text; empty: none). Returns an empty text,
// or what is wrong with the profile, its key first; the areas are then as without one. The caller
// holds the switch's lock.
std::string sim_areas_reset(const std::string& profile);
