// What goes wrong with which call, and each call's turn.
#pragma once

#include <cstdint>
#include <limits>
#include <mutex>
#include <string>

struct sim_fault_value_t {
  enum { NONE, NUMBER, TEXT } kind = NONE;
  bool negative = false;  // bits is then the two's complement
  uint64_t bits = 0;
  std::string text;
};

struct sim_fault_t {
  bool has_result = false;
  int32_t result = 0;
  sim_fault_value_t value;
  uint32_t after = 0;                                     // calls that still pass
  uint32_t times = std::numeric_limits<uint32_t>::max();  // calls it still meets
  uint32_t delay_ms = 0;
};

// Whether a call of the API has this name: faults of others would go unnoticed.
bool sim_fault_call_exists(const char* name);
// Replaces the call's earlier fault.
void sim_fault_set(const char* name, const sim_fault_t& fault);
void sim_faults_clear();

// The milliseconds that every call takes.
void sim_rpc_delay_set(uint32_t ms);

struct sim_turn_t {
  std::unique_lock<std::mutex> lock;  // the switch's, held for the length of the work and the trace
  bool has_result = false;
  int32_t result = 0;
  sim_fault_value_t value;
};

// Waits as long as the call is to take, then takes the lock.
sim_turn_t sim_turn_take(const char* name);
// A fault's value suits none of the call's outputs: says so on standard error.
void sim_turn_misfit(const char* name);
