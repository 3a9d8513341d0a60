// What the switch's settings need of the flow tables of Open vSwitch's bridges.
//
// Edges: a frame from a port gets the tag of its VLAN (table 0), passes the lock of the port's MAC
// addresses (1), is marked with the port's number and goes inside (2). A frame from inside passes
// the policies for outgoing frames (10), and loses its tag where the port sends the VLAN so (11).
// The bridge between them switches by itself, behind the policies for incoming frames.
#pragma once

#include <map>
#include <set>
#include <string>

#include "platform/openapi_tcam.h"
#include "switchsim/plane_ovs/openflow.h"
#include "switchsim/plane_ovs/wish.h"

// The flows of this owner, among all of a bridge: their upper half is this. The lower one is the
// policy that a flow is made of, or 0.
constexpr uint64_t FLOWS_COOKIE = 0x5245535400000000;
constexpr uint64_t FLOWS_COOKIE_MASK = 0xffffffff00000000;

using flows_t = std::map<std::string, std::set<of_flow_t>>;  // by bridge

// Everything that is to be there, with the OpenFlow numbers that the interfaces have got; what
// hangs on an interface without one is left out.
flows_t flows_wanted(const std::string& bridge, const wish_t& wish,
                     const std::map<std::string, uint32_t>& port_numbers);

// OPEN_E_UNAVAIL when a policy asks for something that flows cannot do.
open_error_t flows_policy_room(const open_tcamApiPolicy_t& policy);
