#include "switchsim/plane_ovs/plane_ovs.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

#include "switchsim/call/sim_clock.h"
#include "switchsim/model/sim_ports.h"
#include "switchsim/model/sim_tcam.h"
#include "switchsim/plane_ovs/apply.h"
#include "switchsim/plane_ovs/flows.h"
#include "switchsim/plane_ovs/rows.h"
#include "switchsim/plane_ovs/sensors.h"
#include "switchsim/plane_ovs/syslog_udp.h"
#include "switchsim/plane_ovs/wish_read.h"

namespace
{
constexpr uint64_t COMPARE_MS = 1000;  // between two comparisons when nothing has changed
constexpr uint64_t RETRY_MS = 200;     // after one that did not go well
constexpr int PAUSE_MS = 40;           // so that changes one after the other are applied together
constexpr uint64_t LOOK_MS = 500;      // between two looks at the ports
constexpr uint64_t SENSORS_MS = 5000;
constexpr uint64_t CHECK_MS = 5000;  // for all checks at the start
constexpr uint32_t PORT_NUMBER_MAX = 4000;
constexpr size_t BRIDGE_NAME_MAX = 8;  // interfaces are named after it, in 15 characters

// ---- what the ports do, as last seen ----

struct rates_t {
  uint64_t rx_frames, rx_bits, tx_frames, tx_bits;  // a second
};
struct seen_port_t {
  nl_link_t link;
  rates_t rates = {};
  bool speed_known = false;
  uint32_t megabits = 0;
  bool full = true;
};

// What the calls and the thread share, beside the switch's own lock. Whoever holds this one waits
// for nobody.
struct shared_t {
  std::mutex mutex;
  std::map<uint32_t, seen_port_t> ports;
  std::map<uint32_t, bool> routers;  // whether they have link
  sim_sensors_t sensors;
  uint64_t seen_ms = 0;
};

// One start of the plane. The thread holds it as long as it runs, which may be a little longer than
// the switch wants it: it is told to stop and ends by itself.
struct work_t {
  apply_hands_t hands;
  std::map<uint32_t, std::string> netdevs;
  uint64_t base_mac = 0;
  fd_guard_t wake;
  std::atomic<bool> stop{false};
  std::atomic<uint64_t> marked{1};          // changes of the model so far
  std::atomic<uint64_t> frames_applied{0};  // up to here they are in force
  std::atomic<uint64_t> routing_applied{0};
  shared_t shared;
  std::string told;         // the last complaint
  uint64_t sensors_ms = 0;  // when they were read
};

// ---- under the switch's lock ----

apply_places_t places;
std::map<uint32_t, std::string> netdevs;
std::shared_ptr<work_t> work;
std::map<std::pair<sim_kind_t, uint32_t>, uint64_t> marks;  // when each was changed last

// ---- the thread ----

void rates_take(seen_port_t& port, const nl_link_t& now, uint64_t passed_ms)
{
  const nl_link_t& before = port.link;
  const auto per_second = [&](uint64_t new_count, uint64_t old_count) {
    return new_count < old_count ? 0 : (new_count - old_count) * 1000 / passed_ms;
  };
  port.rates = {
      per_second(now.rx.frames, before.rx.frames), per_second(now.rx.bytes, before.rx.bytes) * 8,
      per_second(now.tx.frames, before.tx.frames), per_second(now.tx.bytes, before.tx.bytes) * 8};
}

void ports_see(work_t& w, const nl_links_t& links)
{
  const uint64_t now = stream_now_ms();
  std::map<uint32_t, seen_port_t> fresh;
  {
    const std::lock_guard<std::mutex> lock(w.shared.mutex);
    fresh = w.shared.ports;
  }
  const uint64_t passed = now - w.shared.seen_ms;
  for (const auto& [number, netdev] : w.netdevs) {
    const auto link = links.find(netdev);
    seen_port_t& port = fresh[number];
    const nl_link_t seen = link == links.end() ? nl_link_t{} : link->second;
    if (passed > LOOK_MS / 2 && w.shared.seen_ms != 0)
      rates_take(port, seen, passed);
    port.link = seen;
    port.speed_known = seen.carrier && nl_speed_read(w.hands.nl, netdev, port.megabits, port.full);
  }
  const std::lock_guard<std::mutex> lock(w.shared.mutex);
  w.shared.ports = std::move(fresh);
  w.shared.seen_ms = now;
}

void sensors_see(work_t& w)
{
  const uint64_t now = stream_now_ms();
  if (w.sensors_ms == 0 || now - w.sensors_ms >= SENSORS_MS) {
    w.sensors_ms = now;
    sim_sensors_t sensors = sensors_read("/sys/class/hwmon");
    const std::lock_guard<std::mutex> lock(w.shared.mutex);
    w.shared.sensors = std::move(sensors);
  }
}

void complain(work_t& w, const std::string& what)
{
  if (what != w.told && !what.empty())
    fprintf(stderr, "switchsim: plane: %s\n", what.c_str());
  w.told = what;
}

void routers_see(work_t& w, const wish_t& wish, const nl_links_t& links)
{
  std::map<uint32_t, bool> routers;
  for (const auto& [number, router] : wish.routers) {
    const auto link = links.find(rows_router(w.hands.places.bridge, number, router));
    routers[number] = link != links.end() && link->second.up && link->second.carrier;
  }
  const std::lock_guard<std::mutex> lock(w.shared.mutex);
  w.shared.routers = std::move(routers);
}

// Brings the ports to where the model is now.
bool compare(work_t& w)
{
  wish_t wish;
  uint64_t generation = 0;
  {
    const auto lock = sim_lock();
    if (w.stop)
      return true;
    generation = w.marked;
    wish = wish_read(w.netdevs, w.hands.places.bridge, w.base_mac);
  }
  syslog_hosts_set(wish.log_hosts, wish.switch_name, w.hands.places.netns);
  nl_links_t links;
  const apply_result_t result = apply_wish(w.hands, wish, links);
  if (result.frames.empty())
    w.frames_applied = generation;
  if (result.routing.empty())
    w.routing_applied = generation;
  complain(w, result.frames.empty() ? result.routing : result.frames);
  routers_see(w, wish, links);
  return result.done();
}

void look(work_t& w)
{
  nl_links_t links;
  std::string why;
  nl_events_drain(w.hands.nl);
  if (nl_links_read(w.hands.nl, links, stream_now_ms() + CHECK_MS, why))
    ports_see(w, links);
  else
    complain(w, why);
}

// Waits for a change of the model or of a link, or until it is time; true when something changed.
bool wait_for_change(work_t& w, uint64_t until_ms)
{
  pollfd waiting[] = {
      {w.wake.fd,            POLLIN, 0},
      {w.hands.nl.events.fd, POLLIN, 0}
  };
  const uint64_t now = stream_now_ms();
  poll(waiting, std::size(waiting), until_ms <= now ? 0 : static_cast<int>(until_ms - now));
  uint64_t rung = 0;
  return (read(w.wake.fd, &rung, sizeof rung) > 0 && rung > 0) || waiting[1].revents != 0;
}

void work_on(work_t& w)
{
  uint64_t next_compare = 0;
  uint64_t next_look = 0;
  while (!w.stop) {
    const bool changed = wait_for_change(w, std::min(next_compare, next_look));
    const uint64_t now = stream_now_ms();
    if (changed || now >= next_look) {
      look(w);
      next_look = now + LOOK_MS;
      sensors_see(w);
    }
    if (changed || now >= next_compare) {
      const bool done = compare(w);
      next_compare = stream_now_ms() + (done ? COMPARE_MS : RETRY_MS);
      poll(nullptr, 0, PAUSE_MS);
    }
  }
}

// ---- the start ----

bool netdevs_check(work_t& w, std::string& why)
{
  nl_links_t links;
  if (!nl_links_read(w.hands.nl, links, stream_now_ms() + CHECK_MS, why))
    return false;
  for (const auto& [number, netdev] : w.netdevs) {
    if (links.count(netdev) == 0) {
      why = "plane.ports." + std::to_string(number) + ": there is no " + netdev;
      return false;
    }
  }
  w.base_mac = links.at(w.netdevs.begin()->second).mac;
  ports_see(w, links);
  return true;
}

// The bridge is made when there is none, so that its flows have somewhere to go.
bool ovs_check(work_t& w, std::string& why)
{
  const uint64_t until = stream_now_ms() + CHECK_MS;
  rows_state_t state;
  wish_t nothing;
  if (!ovsdb_connect(w.hands.db, w.hands.places.ovsdb, until, why) ||
      !rows_bridge_ensure(w.hands.db, w.hands.places.bridge, until, why)) {
    why = "plane.ovsdb: " + why;
    return false;
  }
  const std::string path = w.hands.places.openflow_folder + "/" + w.hands.places.bridge + ".mgmt";
  if (!of_connect(w.hands.bridges[w.hands.places.bridge], path, until, why)) {
    why = "plane.openflow: " + why;
    return false;
  }
  return true;
}

bool frr_check(work_t& w, std::string& why)
{
  const std::string& folder = w.hands.places.frr;
  if (folder.empty() ||
      vty_connect(w.hands.bgpd, folder + "/bgpd.vty", stream_now_ms() + CHECK_MS, why))
    return true;
  why = "plane.frr: " + why;
  return false;
}

std::string checks(work_t& w)
{
  std::string why;
  if (!apply_begin(w.hands, why))
    return "plane.netns: " + why;
  return netdevs_check(w, why) && ovs_check(w, why) && frr_check(w, why) ? "" : why;
}

void wake(work_t& w)
{
  const uint64_t one = 1;
  if (write(w.wake.fd, &one, sizeof one) < 0)
    return;  // it is awake enough
}

void plane_restart()
{
  // what the ports have counted and whom they have link with is theirs
}

bool plane_start(std::string& why)
{
  plane_ovs_stop();
  const auto fresh = std::make_shared<work_t>();
  fresh->hands.places = places;
  fresh->netdevs = netdevs;
  fresh->wake.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  std::promise<std::string> checked;
  std::future<std::string> check = checked.get_future();
  // the thread goes into the ports' namespace, and stays there
  std::thread([fresh, &checked] {
    const std::string refusal = checks(*fresh);
    checked.set_value(refusal);
    if (refusal.empty())
      work_on(*fresh);
  }).detach();
  why = check.get();
  if (why.empty())
    work = fresh;
  return why.empty();
}

// ---- what the model asks ----

void plane_changed(sim_kind_t kind, uint32_t number)
{
  if (work != nullptr) {
    const uint64_t now = ++work->marked;
    if (kind == SIM_IF || kind == SIM_VLAN)
      marks[{kind, number}] = now;
    wake(*work);
  }
}

void plane_replaced()
{
  if (work != nullptr) {
    ++work->marked;
    wake(*work);
  }
}

bool plane_in_force(sim_kind_t kind, uint32_t number)
{
  const auto mark = marks.find({kind, number});
  if (mark == marks.end() || work == nullptr)
    return true;
  if (work->frames_applied < mark->second)
    return false;
  marks.erase(mark);
  return true;
}

// What was last seen of a port; nothing of one that is not there.
seen_port_t port_seen(uint32_t number)
{
  if (work == nullptr)
    return {};
  const std::lock_guard<std::mutex> lock(work->shared.mutex);
  const auto found = work->shared.ports.find(number);
  return found == work->shared.ports.end() ? seen_port_t{} : found->second;
}

std::vector<sim_port_t> plane_ports()
{
  std::vector<sim_port_t> ports;
  for (const auto& entry : netdevs)
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
  const std::lock_guard<std::mutex> lock(work->shared.mutex);
  if (number == sim_numbering().cpu)
    return true;
  const auto router = work->shared.routers.find(number);
  if (router != work->shared.routers.end())
    return router->second;
  return std::any_of(work->shared.ports.begin(), work->shared.ports.end(), [&](const auto& entry) {
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

// ---- policies: each type has room of its own ----

constexpr uint32_t POLICIES_MAX = 1024;  // of a type
constexpr uint32_t TYPES_IN = 3;         // incoming: types 0 to 2, outgoing: type 3

bool is_egress(const open_tcamApiPolicy_t& policy)
{
  return policy.policyType == OPEN_TCAM_POLICY_TYPE_EGRESS;
}

open_error_t plane_policy_room(uint32_t id, const open_tcamApiPolicy_t& policy, uint32_t& place)
{
  const uint32_t own = is_egress(policy) ? 0 : static_cast<uint32_t>(policy.policyType);
  if (place != SIM_PLACE_ANY && place != own)
    return OPEN_E_PARAM;
  const auto& policies = sim_policies();
  const auto same_type = [&](const auto& entry) {
    return entry.first != id && entry.second.record.policyType == policy.policyType;
  };
  if (std::count_if(policies.begin(), policies.end(), same_type) >= POLICIES_MAX)
    return OPEN_E_FULL;
  place = own;
  return flows_policy_room(policy);
}

sim_policy_use_t plane_policy_use(bool at_egress)
{
  sim_policy_use_t use = {};
  use.slices = at_egress ? 1 : TYPES_IN;
  for (const auto& entry : sim_policies()) {
    const open_tcamApiPolicy_t& policy = entry.second.record;
    if (is_egress(policy) == at_egress) {
      const auto type = static_cast<uint32_t>(policy.policyType);
      open_tcam_group_t& group = use.groups.group[at_egress ? 0 : type];
      group.used = 1;
      group.gid = type + 1;
      group.policy_type = type;
      group.entry_count++;
    }
  }
  for (open_tcam_group_t& group : use.groups.group) {
    if (group.used != 0) {
      group.entries_free = POLICIES_MAX - group.entry_count;
      group.entries_total = POLICIES_MAX;
      group.slice_width_physical = 1;
      group.natural_depth = POLICIES_MAX;
      use.used_slices++;
      use.entries += group.entry_count;
    }
  }
  use.total = use.slices * POLICIES_MAX;
  use.free = use.total - use.entries;
  return use;
}

// ---- the machine ----

void plane_sensors(sim_sensors_t& sensors)
{
  if (work != nullptr) {
    const std::lock_guard<std::mutex> lock(work->shared.mutex);
    sensors = work->shared.sensors;
  }
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
    plane_start,       plane_restart,    plane_ports,   plane_changed,
    plane_replaced,    plane_in_force,   plane_carrier, plane_negotiated,
    plane_counter,     plane_mac,        plane_joins,   plane_lease,
    plane_policy_room, plane_policy_use, plane_sensors, plane_transceiver,
};

// Ends the thread; it takes nothing with it.
void plane_ovs_stop()
{
  if (work != nullptr) {
    work->stop = true;
    wake(*work);
    work.reset();
    syslog_stop();
  }
  marks.clear();
}

// ---- the profile ----

namespace
{
bool folder_of_socket(const sim_json_t& json, std::string& folder)
{
  std::string path;
  if (!sim_json_text(json, 1, 200, path))
    return false;
  const std::string_view prefix = "unix:";
  path.erase(0, path.compare(0, prefix.size(), prefix) == 0 ? prefix.size() : 0);
  const size_t slash = path.rfind('/');
  folder = slash == std::string::npos ? "." : path.substr(0, slash);
  return true;
}

bool netdev_parse(const char* name, const sim_json_t& json)
{
  uint32_t number = 0;
  const char* end = name + strlen(name);
  const auto read_number = std::from_chars(name, end, number);
  if (read_number.ec != std::errc() || read_number.ptr != end || number < 1 ||
      number > PORT_NUMBER_MAX)
    return sim_json_refuse(json, "is no number of a port");
  return sim_json_text(json, 1, 15, netdevs[number]);
}

bool bridge_parse(const sim_json_t& json)
{
  const auto allowed = [](char c) { return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9'); };
  return sim_json_text(json, 1, BRIDGE_NAME_MAX, places.bridge) &&
         (std::all_of(places.bridge.begin(), places.bridge.end(), allowed) ||
          sim_json_refuse(json, "may have small letters and digits only"));
}
}  // namespace

bool plane_ovs_parse(const sim_json_t& json)
{
  places = {};
  netdevs.clear();
  const auto text = [](std::string& out) {
    return [&out](const sim_json_t& j) { return sim_json_text(j, 1, 200, out); };
  };
  const auto parse_type = [](const sim_json_t& j) {
    int ignored = 0;
    return sim_json_choice(j,
                           {
                               {"ovs", 1}
    },
                           ignored);
  };
  const auto parse_openflow = [](const sim_json_t& j) {
    return folder_of_socket(j, places.openflow_folder);
  };
  const auto parse_ports = [](const sim_json_t& j) {
    return sim_json_each(j, netdev_parse) &&
           (!netdevs.empty() || sim_json_refuse(j, "names no port"));
  };
  return sim_json_record(json, {
                                   {"type",     true,  parse_type        },
                                   {"ovsdb",    true,  text(places.ovsdb)},
                                   {"bridge",   true,  bridge_parse      },
                                   {"openflow", true,  parse_openflow    },
                                   {"frr",      false, text(places.frr)  },
                                   {"netns",    false, text(places.netns)},
                                   {"ports",    true,  parse_ports       },
  });
}
