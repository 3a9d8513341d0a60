#include "switchsim/plane_ovs/plane_ovs.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>

#include "switchsim/model/sim_ports.h"
#include "switchsim/model/sim_vlan.h"
#include "switchsim/plane_ovs/plane_profile.h"
#include "switchsim/plane_ovs/policies.h"
#include "switchsim/plane_ovs/syslog_udp.h"
#include "switchsim/plane_ovs/wish_read.h"
#include "switchsim/plane_ovs/work.h"

namespace
{
// ---- under the switch's lock ----

plane_profile_t profile;
std::shared_ptr<work_t> work;
std::map<std::pair<sim_kind_t, uint32_t>, uint64_t> marks;  // when each was changed last

void plane_restart()
{
  // what the ports have counted and whom they have link with is theirs
}

bool plane_start(std::string& why)
{
  plane_ovs_stop();
  work = work_start(profile.places, profile.netdevs, why);
  return work != nullptr;
}

// ---- what the model asks ----

void plane_changed(sim_kind_t kind, uint32_t number)
{
  if (work == nullptr)
    return;
  const bool of_interface =
      kind == SIM_IF || kind == SIM_GROUP || kind == SIM_ROUTING || kind == SIM_LOCKING;
  const uint64_t now = ++work->marked;
  if (number != 0 && (of_interface || kind == SIM_VLAN))
    marks[{of_interface ? SIM_IF : kind, number}] = now;
  work_wake(*work);
}

// Marks all that there is, and was.
void plane_replaced()
{
  if (work == nullptr)
    return;
  const uint64_t now = ++work->marked;
  for (const auto& entry : sim_ifs())
    marks[{SIM_IF, entry.first}] = now;
  for (uint32_t vid = 1; vid <= sim_vlan_max(); vid++)
    if (sim_vlan_exists(vid))
      marks[{SIM_VLAN, vid}] = now;
  const std::lock_guard<std::mutex> lock(work->published.mutex);
  for (const auto& [kind, numbers] : work->published.things)
    for (const uint32_t number : numbers)
      marks[{kind, number}] = now;
  work_wake(*work);
}

// What was seen not to be in force, and what was changed since and not looked at.
bool plane_pending_next(sim_kind_t kind, uint32_t number, uint32_t& next)
{
  if (work == nullptr)
    return false;
  const std::lock_guard<std::mutex> lock(work->published.mutex);
  auto mark = marks.upper_bound({kind, number});
  while (mark != marks.end() && mark->second <= work->published.marked)
    mark = marks.erase(mark);
  const bool marked = mark != marks.end() && mark->first.first == kind;
  const std::set<uint32_t>& pending = work->published.pending[kind];
  const auto seen = pending.upper_bound(number);
  if (!marked && seen == pending.end())
    return false;
  next = std::min(marked ? mark->first.second : UINT32_MAX,
                  seen != pending.end() ? *seen : UINT32_MAX);
  return true;
}

// What was last seen of a port; nothing of one that is not there.
seen_port_t port_seen(uint32_t number)
{
  if (work == nullptr)
    return {};
  const std::lock_guard<std::mutex> lock(work->seen.mutex);
  const auto found = work->seen.ports.find(number);
  return found == work->seen.ports.end() ? seen_port_t{} : found->second;
}

std::vector<sim_port_t> plane_ports()
{
  std::vector<sim_port_t> ports;
  for (const auto& entry : profile.netdevs)
    ports.push_back({entry.first, OPEN_RJ45});
  return ports;
}

bool plane_joins(uint32_t, uint32_t)
{
  return false;
}

// A port has link where its other end has, a group where one of its ports has, and the interface of
// a VLAN, or of a port that routes, where the kernel was told so.
bool plane_carrier(uint32_t number)
{
  if (work == nullptr)
    return false;
  const std::lock_guard<std::mutex> lock(work->seen.mutex);
  if (number == sim_numbering().cpu)
    return true;
  const auto router = work->seen.routers.find(number);
  if (router != work->seen.routers.end())
    return router->second;
  return std::any_of(work->seen.ports.begin(), work->seen.ports.end(), [&](const auto& entry) {
    const sim_if_t* port = sim_port_find(entry.first);
    const bool belongs = entry.first == number || (port != nullptr && port->group == number);
    return belongs && entry.second.link.carrier;
  });
}

struct speed_row_t {
  uint32_t megabits;
  bool full;
  OPEN_PORT_SPEEDS_t speed;
};
constexpr speed_row_t SPEEDS[] = {
    {10,     false, OPEN_PORTCTRL_PORTSPEED_HALF_10T   },
    {10,     true,  OPEN_PORTCTRL_PORTSPEED_FULL_10T   },
    {100,    false, OPEN_PORTCTRL_PORTSPEED_HALF_100TX },
    {100,    true,  OPEN_PORTCTRL_PORTSPEED_FULL_100TX },
    {1000,   true,  OPEN_PORTCTRL_PORTSPEED_FULL_1000SX},
    {2500,   true,  OPEN_PORTCTRL_PORTSPEED_FULL_2P5FX },
    {10000,  true,  OPEN_PORTCTRL_PORTSPEED_FULL_10GSX },
    {20000,  true,  OPEN_PORTCTRL_PORTSPEED_FULL_20GSX },
    {25000,  true,  OPEN_PORTCTRL_PORTSPEED_FULL_25GSX },
    {40000,  true,  OPEN_PORTCTRL_PORTSPEED_FULL_40GSX },
    {100000, true,  OPEN_PORTCTRL_PORTSPEED_FULL_100GSX},
};

bool plane_negotiated(uint32_t number, OPEN_PORT_SPEEDS_t& speed, OPEN_PORT_DUPLEX_t& duplex)
{
  const seen_port_t port = port_seen(number);
  if (!port.speed_known)
    return false;
  duplex = port.full ? OPEN_PORT_DUPLEX_FULL : OPEN_PORT_DUPLEX_HALF;
  const auto* row = std::find_if(std::begin(SPEEDS), std::end(SPEEDS), [&](const speed_row_t& r) {
    return r.megabits == port.megabits && r.full == port.full;
  });
  speed = row == std::end(SPEEDS) ? OPEN_PORTCTRL_PORTSPEED_UNKNOWN : row->speed;
  return true;
}

// What the kernel counts; it keeps no others.
bool plane_counter(uint32_t number, OPEN_COUNTER_ID_t id, uint64_t& raw)
{
  const seen_port_t port = port_seen(number);
  const auto& rx = port.link.rx;
  const auto& tx = port.link.tx;
  const std::pair<OPEN_COUNTER_ID_t, uint64_t> rows[] = {
      {OPEN_CTR_RX_TOTAL_BYTES,            rx.bytes            },
      {OPEN_CTR_RX_ALIGN_ERRORS,           rx.align_errors     },
      {OPEN_CTR_RX_FCS_ERRORS,             rx.crc_errors       },
      {OPEN_CTR_RX_OVERRUNS,               rx.overruns         },
      {OPEN_CTR_RX_FRAME_TOO_LONG,         rx.length_errors    },
      {OPEN_CTR_TX_TOTAL_BYTES,            tx.bytes            },
      {OPEN_CTR_TX_UNDERRUN_ERRORS,        tx.underruns        },
      {OPEN_CTR_SNMPIFOUTDISCARD_FRAMES,   tx.dropped          },
      {OPEN_CTR_SNMPIFINDISCARD_FRAMES,    rx.dropped          },
      {OPEN_CTR_RX_TOTAL_FRAMES,           rx.frames           },
      {OPEN_CTR_RX_TOTAL_ERROR_FRAMES,     rx.errors           },
      {OPEN_CTR_TX_TOTAL_FRAMES,           tx.frames           },
      {OPEN_CTR_TX_TOTAL_ERROR_FRAMES,     tx.errors           },
      {OPEN_CTR_TX_TOTAL_COLLISION_FRAMES, tx.collisions       },
      {OPEN_CTR_RX_CRC_ERRORS,             rx.crc_errors       },
      {OPEN_CTR_RX_RATE_BITS,              port.rates.rx_bits  },
      {OPEN_CTR_TX_RATE_BITS,              port.rates.tx_bits  },
      {OPEN_CTR_RX_RATE_FRAMES,            port.rates.rx_frames},
      {OPEN_CTR_TX_RATE_FRAMES,            port.rates.tx_frames},
  };
  const auto* row = std::find_if(std::begin(rows), std::end(rows),
                                 [&](const auto& entry) { return entry.first == id; });
  if (row == std::end(rows))
    return false;
  raw = row->second;
  return true;
}

uint64_t plane_mac(uint32_t number)
{
  const uint64_t own = port_seen(number).link.mac;
  return own != 0 || work == nullptr ? own : wish_router_mac(work->base_mac, number);
}

// ---- the machine ----

void plane_sensors(sim_sensors_t& sensors)
{
  if (work != nullptr) {
    const std::lock_guard<std::mutex> lock(work->seen.mutex);
    sensors = work->seen.sensors;
  }
}

// FRR redistributes all routes of OSPF or none.
open_error_t plane_match_bits_room(uint32_t match_bits)
{
  return match_bits == 0 ? OPEN_E_NONE : OPEN_E_UNAVAIL;
}

bool plane_transceiver(uint32_t, sim_transceiver_t&)
{
  return false;
}

open_error_t plane_lease(uint32_t, OPEN_AF_t, open_inet_pfx_t&)
{
  return OPEN_E_NOT_FOUND;
}
}  // namespace

const sim_plane_t sim_plane_ovs = {
    plane_start,        plane_restart,     plane_ports,      plane_changed, plane_replaced,
    plane_pending_next, plane_carrier,     plane_negotiated, plane_counter, plane_mac,
    plane_joins,        plane_lease,       policies_room,    policies_use,  plane_match_bits_room,
    plane_sensors,      plane_transceiver,
};

bool plane_ovs_parse(const sim_json_t& json)
{
  profile = {};
  return plane_profile_parse(json, profile);
}

// Ends the threads; they take nothing with them.
void plane_ovs_stop()
{
  if (work != nullptr) {
    work_stop(*work);
    work.reset();
    syslog_stop();
  }
  marks.clear();
}
