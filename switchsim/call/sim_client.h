// Clients of the simulated switch, and its start.
#pragma once

// A test has set the switch up: a registration need not start it.
void sim_client_started();
