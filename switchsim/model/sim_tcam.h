// Policies in the TCAM, as other areas see them.
#pragma once

#include <cstdint>

// Whether a policy sends frames to this interface, which has to stay then.
bool sim_tcam_redirects_to(uint32_t number);

// The switch starts again: the TCAM waits for its initialisation.
void sim_tcam_restart();
