#include "switchsim/call/sim_clock.h"

#include <chrono>

namespace
{
std::mutex switch_mutex;
uint64_t started_ms;
uint64_t ready_ms;

uint64_t clock_ms()
{
  using namespace std::chrono;
  const auto now = steady_clock::now().time_since_epoch();
  return static_cast<uint64_t>(duration_cast<milliseconds>(now).count());
}
}  // namespace

std::unique_lock<std::mutex> sim_lock()
{
  return std::unique_lock<std::mutex>(switch_mutex);
}

void sim_clock_start()
{
  started_ms = ready_ms = clock_ms();
}

uint64_t sim_uptime_ms()
{
  return clock_ms() - started_ms;
}

void sim_ready_after(uint32_t ms)
{
  ready_ms = clock_ms() + ms;
}

bool sim_ready()
{
  return clock_ms() >= ready_ms;
}
