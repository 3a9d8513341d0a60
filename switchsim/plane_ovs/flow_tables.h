// The tables of a bridge's flows, and what those who fill them share.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "switchsim/plane_ovs/openflow.h"

constexpr uint8_t TABLE_TAG = 0;
constexpr uint8_t TABLE_LOCK = 1;
constexpr uint8_t TABLE_INSIDE = 2;
constexpr uint8_t TABLE_POLICIES_OUT = 10;
constexpr uint8_t TABLE_UNTAG = 11;
constexpr uint8_t NOWHERE = 0;  // of tables to go on to

// Within a table, from the last one that is asked to the first.
constexpr uint16_t PRIORITY_DEFAULT = 0;
constexpr uint16_t PRIORITY_PORT = 10;
constexpr uint16_t PRIORITY_VLAN = 20;
constexpr uint16_t PRIORITY_FROM_INSIDE = 30;
constexpr uint16_t PRIORITY_POLICY = 100;  // and the policy's own on top of it

// The flows of this owner, among all of a bridge: their upper half is this. The lower one is the
// policy that a flow is made of, or 0.
constexpr uint64_t FLOWS_COOKIE = 0x5245535400000000;
constexpr uint64_t FLOWS_COOKIE_MASK = 0xffffffff00000000;

using flows_t = std::map<std::string, std::set<of_flow_t>>;  // by bridge
using flow_numbers_t = std::map<std::string, uint32_t>;      // of OpenFlow, by interface name

// 0 where the interface has none.
uint32_t flow_number_of(const flow_numbers_t& numbers, const std::string& name);
of_flow_t flow_of(uint8_t table, uint16_t priority);
void flow_add(std::set<of_flow_t>& flows, of_flow_t flow, const std::string& actions,
              uint8_t next_table);
std::string flow_output(uint32_t port);
