// Puts what the settings mean in force. All of it is slow and none of it is the engine's: one
// thread of its own calls everything here.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "switchsim/plane_ovs/frr.h"
#include "switchsim/plane_ovs/in_force.h"
#include "switchsim/plane_ovs/netlink.h"
#include "switchsim/plane_ovs/openflow.h"
#include "switchsim/plane_ovs/ovsdb.h"
#include "switchsim/plane_ovs/wish.h"

// Where the daemons are.
struct apply_places_t {
  std::string ovsdb;
  std::string bridge;
  std::string openflow_folder;
  std::string frr;    // folder of FRR's vty sockets; empty: no BGP
  std::string netns;  // path of the namespace with the ports; empty: the process's own
};

struct apply_hands_t {
  apply_places_t places;
  ovsdb_t db;
  std::map<std::string, of_t> bridges;
  nl_t nl;
  std::map<std::string, uint32_t> indices;  // of the interfaces that Open vSwitch has opened
  vty_t bgpd;
};

// Moves the calling thread into the ports' namespace and opens what it needs there.
bool apply_begin(apply_hands_t& hands, std::string& why);

struct apply_result_t {
  std::string why;      // the first thing that is wrong; empty where nothing is
  bool looked = false;  // all is in force but for the faults
  faults_t faults;
};

// These make everything as it is wished, starting from what is there: bridges, flows, links and
// addresses, and then FRR, which may take its time on its own.
apply_result_t apply_frames(apply_hands_t& hands, const wish_t& wish);
bool apply_routing(apply_hands_t& hands, const wish_t& wish, std::string& why);
