// The flows of one bridge of Open vSwitch: OpenFlow 1.4 over the bridge's management socket.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "switchsim/plane_ovs/stream.h"

// ---- flows ----

// The fields of a frame that a flow matches or sets, as OpenFlow numbers them.
enum of_field_t : uint32_t {
  OF_PKT_MARK = 0x00014204,  // stays with a frame from bridge to bridge
  OF_IN_PORT = 0x80000004,
  OF_ETH_DST = 0x80000606,
  OF_ETH_SRC = 0x80000806,
  OF_ETH_TYPE = 0x80000a02,
  OF_VLAN_VID = 0x80000c02,  // with OF_VLAN_PRESENT where there is a tag, else 0
  OF_VLAN_PCP = 0x80000e01,
  OF_IP_DSCP = 0x80001001,
  OF_IP_PROTO = 0x80001401,
  OF_IPV4_SRC = 0x80001604,
  OF_IPV4_DST = 0x80001804,
  OF_TCP_SRC = 0x80001a02,
  OF_TCP_DST = 0x80001c02,
  OF_UDP_SRC = 0x80001e02,
  OF_UDP_DST = 0x80002002,
  OF_SCTP_SRC = 0x80002202,
  OF_SCTP_DST = 0x80002402,
  OF_ICMPV4_TYPE = 0x80002601,
  OF_ICMPV4_CODE = 0x80002801,
  OF_IPV6_SRC = 0x80003410,
  OF_IPV6_DST = 0x80003610,
  OF_ICMPV6_TYPE = 0x80003a01,
  OF_ICMPV6_CODE = 0x80003c01,
};
constexpr uint16_t OF_VLAN_PRESENT = 0x1000;
constexpr uint32_t OF_PORT_NORMAL = 0xfffffffa;

// Two flows of the same table, priority and match are the same flow, with other instructions.
struct of_flow_t {
  uint8_t table = 0;
  uint16_t priority = 0;
  uint64_t cookie = 0;
  std::string match;         // fields with their values, in the order of their numbers
  std::string instructions;  // as they travel
};
bool operator==(const of_flow_t& a, const of_flow_t& b);
bool operator<(const of_flow_t& a, const of_flow_t& b);

// Adds a field to a match: its value in as many bytes as the field has, and a mask where not all of
// its bits count. Fields may come in any order, each once. A mask without a bit adds nothing.
void of_match(of_flow_t& flow, of_field_t field, uint64_t value);
void of_match_masked(of_flow_t& flow, of_field_t field, uint64_t value, uint64_t mask);
void of_match_bytes(of_flow_t& flow, of_field_t field, std::string value, const std::string& mask);

// What a list of actions does, one after the other. A flow without any drops its frames.
void of_action_output(std::string& actions, uint32_t port);
void of_action_set(std::string& actions, of_field_t field, uint64_t value);
void of_action_push_vlan(std::string& actions);
void of_action_pop_vlan(std::string& actions);

// Gives the flow its actions, and the table where its frames go on (0: nowhere).
void of_instructions(of_flow_t& flow, const std::string& actions, uint8_t next_table);

// ---- the bridge ----

struct of_t {
  stream_t stream;
  uint32_t last_xid = 0;
};

bool of_connect(of_t& of, const std::string& path, uint64_t deadline_ms, std::string& why);

// Reads the flows whose cookie has these bits under the mask.
bool of_flows_read(of_t& of, uint64_t cookie, uint64_t mask, std::vector<of_flow_t>& flows,
                   uint64_t deadline_ms, std::string& why);

// Removes and then adds flows, all of them or, when the bridge refuses one, none. Adding a flow
// that is there gives it the new instructions.
bool of_flows_change(of_t& of, const std::vector<of_flow_t>& removed,
                     const std::vector<of_flow_t>& added, uint64_t deadline_ms, std::string& why);
