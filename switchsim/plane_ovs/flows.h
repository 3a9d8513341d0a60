// What the switch's settings need of the flow tables of Open vSwitch's bridges.
//
// Edges: a frame from a port gets the tag of its VLAN (table 0), passes the lock of the port's MAC
// addresses (1), is marked with the port's number and goes inside (2). A frame from inside passes
// the policies for outgoing frames (10), and loses its tag where the port sends the VLAN so (11).
// The bridge between them switches by itself, behind the policies for incoming frames.
#pragma once

#include <string>

#include "switchsim/plane_ovs/flow_tables.h"
#include "switchsim/plane_ovs/wish.h"

// Everything that is to be there, with the OpenFlow numbers that the interfaces have got; what
// hangs on an interface without one is left out.
flows_t flows_wanted(const std::string& bridge, const wish_t& wish, const flow_numbers_t& numbers);
