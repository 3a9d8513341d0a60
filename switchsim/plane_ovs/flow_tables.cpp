#include "switchsim/plane_ovs/flow_tables.h"

uint32_t flow_number_of(const flow_numbers_t& numbers, const std::string& name)
{
  const auto found = numbers.find(name);
  return found == numbers.end() ? 0 : found->second;
}

of_flow_t flow_of(uint8_t table, uint16_t priority)
{
  of_flow_t flow;
  flow.table = table;
  flow.priority = priority;
  flow.cookie = FLOWS_COOKIE;
  return flow;
}

void flow_add(std::set<of_flow_t>& flows, of_flow_t flow, const std::string& actions,
              uint8_t next_table)
{
  of_instructions(flow, actions, next_table);
  flows.insert(std::move(flow));
}

std::string flow_output(uint32_t port)
{
  std::string actions;
  of_action_output(actions, port);
  return actions;
}
