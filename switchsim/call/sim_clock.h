// The lock of the switch, how long it is up, and whether it answers. Everything here, and the state
// of every area, is used under the lock only: inside sim_call (sim_call.h), or holding sim_lock().
#pragma once

#include <cstdint>
#include <mutex>

// For threads that work beside the API calls.
std::unique_lock<std::mutex> sim_lock();

// The switch starts, from its profile.
void sim_clock_start();

// Milliseconds since then.
uint64_t sim_uptime_ms();

// A switch that restarts is not ready for a while.
void sim_ready_after(uint32_t ms);
bool sim_ready();
