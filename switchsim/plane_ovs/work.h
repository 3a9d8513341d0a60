// The plane's own threads, and what they share with the calls of the management API: one brings the
// ports to where the model is, the other looks at the ports, so that what is seen stays fresh while
// a daemon takes its time. Calls wait for neither.
#pragma once

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "switchsim/model/sim_plane.h"
#include "switchsim/plane_ovs/apply.h"

// What is passing a port, a second.
struct rates_t {
  uint64_t rx_frames, rx_bits, tx_frames, tx_bits;
};
struct seen_port_t {
  nl_link_t link;
  rates_t rates = {};
  bool speed_known = false;
  uint32_t megabits = 0;
  bool full = true;
};

// As last seen. Beside the switch's own lock; whoever holds this one waits for nobody.
struct seen_t {
  std::mutex mutex;
  std::map<uint32_t, seen_port_t> ports;
  std::map<uint32_t, std::string> router_netdevs;  // of the interfaces that route
  std::map<uint32_t, bool> routers;                // whether they have link
  sim_sensors_t sensors;
};

// Interfaces and VLANs, from the last time that the ports were looked at. A lock like the one
// above.
struct published_t {
  std::mutex mutex;
  uint64_t marked = 0;  // the changes of the model that were in it
  things_t pending;
  things_t things;  // all that are in force
};

// One start of the plane. Its threads hold it as long as they run, which may be a little longer
// than the switch wants it: they are told to stop and end by themselves.
struct work_t {
  std::map<uint32_t, std::string> netdevs;
  uint64_t base_mac = 0;
  std::atomic<bool> stop{false};
  std::atomic<uint64_t> marked{1};  // changes of the model so far
  seen_t seen;
  published_t published;
  fd_guard_t wake;
  std::atomic<bool> woken{false};
  std::atomic<bool> link_changed{false};

  // of the thread that applies
  apply_hands_t hands;
  wish_t wish;
  uint64_t wish_marked = 0;  // the changes that the wish has in it
  uint64_t copy_ms = 0;      // how long calls had to wait for it
  in_force_t in_force;
  bool done = false;         // all was in force when it was compared last
  uint64_t compared_ms = 0;  // when that was
  std::string told;          // the last complaint
  uint64_t sensors_ms = 0;   // when they were read

  // of the thread that looks
  nl_t nl;
  fd_guard_t link_events;
  uint64_t seen_ms = 0;
};

// Checks that everything is there, and starts to work. Null, and why, when something is missing.
// The caller holds the switch's lock.
std::shared_ptr<work_t> work_start(const apply_places_t& places,
                                   const std::map<uint32_t, std::string>& netdevs,
                                   std::string& why);

// There is something to apply; answers at once.
void work_wake(work_t& w);
void work_stop(work_t& w);
