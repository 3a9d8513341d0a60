// Fans, power supplies, temperature sensors and transceivers of the simulated world.
#pragma once

#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_plane.h"

// As in sim_plane_t.
void sim_hardware_sensors(sim_sensors_t& sensors);
bool sim_hardware_transceiver(uint32_t port, sim_transceiver_t& transceiver);

extern const sim_area_t sim_hardware_area;
