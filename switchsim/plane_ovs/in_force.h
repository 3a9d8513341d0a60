// What of the settings is in force: what was wished when the ports were last looked at, thing by
// thing, so that what fails for one is pending for that one alone.
#pragma once

#include <map>
#include <set>
#include <string>
#include <tuple>

#include "switchsim/model/sim_kind.h"
#include "switchsim/plane_ovs/wish.h"

// Whether the same is wished of the ports and of FRR.
bool wish_same(const wish_t& one, const wish_t& other);

// What a look at the ports has found not to be as it was wished, by interface number.
struct faults_t {
  std::set<uint32_t> ports;
  std::set<uint32_t> members;  // could not be looked at: they are as they were
  std::set<uint32_t> routers;
};

// As last seen, from the settings.
struct in_force_t {
  std::map<uint32_t, wish_port_t> ports;
  std::map<uint32_t, wish_member_t> members;
  std::map<uint32_t, wish_router_t> routers;
};

// The ports were looked at when this was wished.
void in_force_take(in_force_t& held, const wish_t& wish, const faults_t& faults);

using things_t = std::map<sim_kind_t, std::set<uint32_t>>;  // interfaces and VLANs

// Those whose settings are not in force, and those that are in any way.
things_t in_force_pending(const in_force_t& held, const wish_t& wish, const faults_t& faults);
things_t in_force_things(const in_force_t& held);

// Equal for the same addresses.
std::tuple<OPEN_AF_t, std::string, uint32_t> address_key(const open_inet_pfx_t& address);
