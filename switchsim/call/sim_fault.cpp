#include "switchsim/call/sim_fault.h"

#include <dlfcn.h>

#include <chrono>
#include <cstdio>
#include <map>
#include <string_view>
#include <thread>

#include "switchsim/call/sim_clock.h"

namespace
{
std::map<std::string, sim_fault_t, std::less<>> faults;
uint32_t rpc_delay_ms;
}  // namespace

bool sim_fault_call_exists(const char* name)
{
  const std::string_view call = name;
  const bool named = call.substr(0, 7) == "openapi" || call.substr(0, 14) == "rpcclt_openapi";
  return named && dlsym(RTLD_DEFAULT, name) != nullptr;
}

void sim_fault_set(const char* name, const sim_fault_t& fault)
{
  faults[name] = fault;
}

void sim_faults_clear()
{
  faults.clear();
}

void sim_rpc_delay_set(uint32_t ms)
{
  rpc_delay_ms = ms;
}

sim_turn_t sim_turn_take(const char* name)
{
  sim_turn_t turn;
  turn.lock = sim_lock();
  uint32_t delay_ms = rpc_delay_ms;
  const auto found = faults.find(name);
  if (found != faults.end()) {
    sim_fault_t& fault = found->second;
    if (fault.after > 0) {
      fault.after--;
    } else if (fault.times > 0) {
      if (fault.times != std::numeric_limits<uint32_t>::max())
        fault.times--;
      turn.has_result = fault.has_result;
      turn.result = fault.result;
      turn.value = fault.value;
      delay_ms += fault.delay_ms;
    }
  }
  if (delay_ms > 0) {
    turn.lock.unlock();
    std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
    turn.lock.lock();
  }
  return turn;
}

void sim_turn_misfit(const char* name)
{
  fprintf(stderr, "switchsim: faults.%s.value: suits no output of the call\n", name);
}
