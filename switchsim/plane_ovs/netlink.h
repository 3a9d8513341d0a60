// Links and addresses of the machine's network interfaces, by netlink: those of the namespace that
// the calling thread is in when a socket is opened.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "platform/openapi_types.h"
#include "switchsim/plane_ovs/stream.h"

struct nl_link_t {
  uint32_t index = 0;
  bool up = false;  // as it was told to be
  bool carrier = false;
  uint32_t mtu = 0;
  uint64_t mac = 0;
  struct {
    uint64_t frames, bytes, errors, dropped, multicast, length_errors, overruns, crc_errors,
        align_errors;
  } rx = {};
  struct {
    uint64_t frames, bytes, errors, dropped, collisions, underruns;
  } tx = {};
};
using nl_links_t = std::map<std::string, nl_link_t>;  // by name

struct nl_t {
  fd_guard_t socket;
  uint32_t last_sequence = 0;
};

bool nl_open(nl_t& nl, std::string& why);
// A descriptor that is readable when a link has changed.
bool nl_events_open(fd_guard_t& events, std::string& why);
// Forgets the events that have come.
void nl_events_drain(const fd_guard_t& events);

bool nl_links_read(nl_t& nl, nl_links_t& links, uint64_t deadline_ms, std::string& why);

// Addresses that were set, without those that the kernel gives itself: link-local ones of IPv6 that
// nl_address_add has not set.
bool nl_addresses_read(nl_t& nl, uint32_t index, std::vector<open_inet_pfx_t>& addresses,
                       uint64_t deadline_ms, std::string& why);

bool nl_up_set(nl_t& nl, uint32_t index, bool up, uint64_t deadline_ms, std::string& why);
// Only interfaces that the machine makes itself let this be set.
bool nl_carrier_set(nl_t& nl, uint32_t index, bool carrier, uint64_t deadline_ms, std::string& why);
bool nl_address_add(nl_t& nl, uint32_t index, const open_inet_pfx_t& address, uint64_t deadline_ms,
                    std::string& why);
bool nl_address_remove(nl_t& nl, uint32_t index, const open_inet_pfx_t& address,
                       uint64_t deadline_ms, std::string& why);

// What the interface has negotiated: megabits a second and whether in full duplex; false when it
// does not say.
bool nl_speed_read(const nl_t& nl, const std::string& name, uint32_t& megabits, bool& full);
