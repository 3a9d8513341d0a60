// Temperatures and fans of the machine, as its kernel tells them.
#pragma once

#include <string>

#include "switchsim/model/sim_plane.h"

// What is in the folder of hardware monitors (/sys/class/hwmon); one of each kind that is not
// present where the machine tells nothing of it.
sim_sensors_t sensors_read(const std::string& folder);
