// File transfers of the simulated switch.
#pragma once

// Ends the running transfer, if any, as one that failed: the switch starts again.
void sim_transfer_cut();
