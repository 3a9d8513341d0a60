#include "switchsim/plane_ovs/work.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <future>
#include <thread>

#include "switchsim/call/sim_clock.h"
#include "switchsim/plane_ovs/rows_apply.h"
#include "switchsim/plane_ovs/sensors.h"
#include "switchsim/plane_ovs/syslog_udp.h"
#include "switchsim/plane_ovs/wish_read.h"

namespace
{
constexpr uint64_t COMPARE_MS = 1000;    // between two comparisons when nothing has changed
constexpr uint64_t RETRY_FIRST_MS = 50;  // after one that did not go well, then twice as long
constexpr uint64_t PAUSE_MS = 40;        // so that changes one after the other are applied together
constexpr uint64_t PAUSE_COPIES = 20;    // and so many times as long as calls had to wait,
constexpr uint64_t PAUSE_LAST_MS = 200;  // up to this
constexpr int LOOK_MS = 500;             // between two looks at the ports
constexpr int LOOK_PAUSE_MS = 20;        // at least, whatever the links do
constexpr uint64_t SENSORS_MS = 5000;
constexpr uint64_t CHECK_MS = 5000;  // for each check at the start

// Memory that is short ends no process: what was not done now is done the next time.
template <class Pass>
bool try_pass(Pass pass)
{
  try {
    return pass();
  } catch (const std::exception&) {
    return false;
  }
}

// ---- the thread that looks ----

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

void port_see(const nl_t& nl, const std::string& netdev, const nl_links_t& links,
              uint64_t passed_ms, seen_port_t& port)
{
  const auto link = links.find(netdev);
  const nl_link_t now = link == links.end() ? nl_link_t{} : link->second;
  if (passed_ms > LOOK_MS / 2)
    rates_take(port, now, passed_ms);
  port.link = now;
  port.speed_known = now.carrier && nl_speed_read(nl, netdev, port.megabits, port.full);
}

bool has_link(const nl_links_t& links, const std::string& netdev)
{
  const auto link = links.find(netdev);
  return link != links.end() && link->second.up && link->second.carrier;
}

// What cannot be read now is as it was.
bool look(work_t& w, std::string& why)
{
  nl_links_t links;
  const uint64_t now = stream_now_ms();
  if (!nl_links_read(w.nl, links, now + CHECK_MS, why))
    return false;
  std::map<uint32_t, seen_port_t> ports;
  {
    const std::lock_guard<std::mutex> lock(w.seen.mutex);
    ports = w.seen.ports;
  }
  for (const auto& [number, netdev] : w.netdevs)
    port_see(w.nl, netdev, links, w.seen_ms == 0 ? 0 : now - w.seen_ms, ports[number]);
  w.seen_ms = now;
  const std::lock_guard<std::mutex> lock(w.seen.mutex);
  w.seen.ports = std::move(ports);
  w.seen.routers.clear();
  for (const auto& [number, netdev] : w.seen.router_netdevs)
    w.seen.routers[number] = has_link(links, netdev);
  return true;
}

void look_on(work_t& w)
{
  while (!w.stop) {
    pollfd events = {w.link_events.fd, POLLIN, 0};
    const bool changed = poll(&events, 1, LOOK_MS) > 0;
    nl_events_drain(w.link_events);
    try_pass([&] {
      std::string ignored;  // by the other thread it is told
      return look(w, ignored);
    });
    if (changed) {
      w.link_changed = true;
      work_wake(w);
    }
    poll(nullptr, 0, LOOK_PAUSE_MS);
  }
}

// ---- the thread that applies ----

void complain(work_t& w, const std::string& what)
{
  if (what != w.told && !what.empty())
    fprintf(stderr, "switchsim: plane: %s\n", what.c_str());
  w.told = what;
}

void sensors_see(work_t& w)
{
  const uint64_t now = stream_now_ms();
  if (w.sensors_ms == 0 || now - w.sensors_ms >= SENSORS_MS) {
    w.sensors_ms = now;
    sim_sensors_t sensors = sensors_read("/sys/class/hwmon");
    const std::lock_guard<std::mutex> lock(w.seen.mutex);
    w.seen.sensors = std::move(sensors);
  }
}

// Copies what the model wants, with all changes up to the one that is told. Calls wait meanwhile.
// False: it is not this plane's model any more.
bool wish_take(work_t& w, wish_t& wish, uint64_t& marked)
{
  const auto lock = sim_lock();
  const uint64_t begun = stream_now_ms();
  if (w.stop)
    return false;
  wish = wish_read(w.netdevs, w.hands.places.bridge, w.base_mac);
  syslog_hosts_set(wish.log_hosts, wish.switch_name, w.hands.places.netns);
  marked = w.marked;
  w.copy_ms = stream_now_ms() - begun;
  return true;
}

void router_netdevs_tell(work_t& w, const wish_t& wish)
{
  std::map<uint32_t, std::string> netdevs;
  for (const auto& [number, router] : wish.routers)
    netdevs[number] = rows_router(w.hands.places.bridge, number, router);
  const std::lock_guard<std::mutex> lock(w.seen.mutex);
  w.seen.router_netdevs = std::move(netdevs);
}

void publish(work_t& w, const faults_t& faults)
{
  in_force_take(w.in_force, w.wish, faults);
  things_t pending = in_force_pending(w.in_force, w.wish, faults);
  things_t things = in_force_things(w.in_force);
  const std::lock_guard<std::mutex> lock(w.published.mutex);
  w.published.marked = w.wish_marked;
  w.published.pending = std::move(pending);
  w.published.things = std::move(things);
}

// Whether the model wants something else than it did.
bool wish_renew(work_t& w)
{
  wish_t wish;
  uint64_t marked = 0;
  if (w.wish_marked == w.marked || !wish_take(w, wish, marked))
    return false;
  const bool same = wish_same(wish, w.wish);
  router_netdevs_tell(w, wish);
  w.wish = std::move(wish);
  w.wish_marked = marked;
  return !same;
}

// Brings the ports to where the model is now. Where they could not be looked at, they are as they
// were; where they need not, since a change was none for them, they are as they are to be.
bool compare(work_t& w)
{
  const bool link_changed = w.link_changed.exchange(false);
  const bool renewed = wish_renew(w);
  if (w.done && !renewed && !link_changed && stream_now_ms() - w.compared_ms < COMPARE_MS) {
    const std::lock_guard<std::mutex> lock(w.published.mutex);
    w.published.marked = w.wish_marked;
    return true;
  }
  w.done = false;
  w.compared_ms = stream_now_ms();
  const apply_result_t result = apply_frames(w.hands, w.wish);
  if (result.looked)
    publish(w, result.faults);
  std::string why;
  apply_routing(w.hands, w.wish, why);
  complain(w, result.why.empty() ? why : result.why);
  w.done = result.why.empty() && why.empty();
  return w.done;
}

void wait_for_change(work_t& w, uint64_t ms)
{
  pollfd waiting = {w.wake.fd, POLLIN, 0};
  poll(&waiting, 1, static_cast<int>(ms));
  uint64_t rung = 0;
  if (read(w.wake.fd, &rung, sizeof rung) > 0)
    w.woken = false;  // before the model is looked at: whatever changes now rings again
}

void work_on(work_t& w)
{
  uint64_t retry_ms = RETRY_FIRST_MS;
  while (!w.stop) {
    const bool done = try_pass([&] { return compare(w); });
    retry_ms = done ? RETRY_FIRST_MS : std::min(2 * retry_ms, COMPARE_MS);
    try_pass([&] {
      sensors_see(w);
      return true;
    });
    poll(nullptr, 0,
         static_cast<int>(std::clamp(PAUSE_COPIES * w.copy_ms, PAUSE_MS, PAUSE_LAST_MS)));
    const uint64_t since = std::min(stream_now_ms() - w.compared_ms, COMPARE_MS);
    wait_for_change(w, done ? COMPARE_MS - since : retry_ms);
  }
}

// ---- the start ----

bool netdevs_check(work_t& w, std::string& why)
{
  if (!nl_open(w.nl, why) || !nl_events_open(w.link_events, why) || !look(w, why))
    return false;
  for (const auto& [number, netdev] : w.netdevs) {
    if (w.seen.ports[number].link.index == 0) {
      why = "plane.ports." + std::to_string(number) + ": there is no " + netdev;
      return false;
    }
  }
  w.base_mac = w.seen.ports.begin()->second.link.mac;
  return true;
}

// The bridge is made when there is none, so that its flows have somewhere to go.
bool ovs_check(work_t& w, std::string& why)
{
  const uint64_t until = stream_now_ms() + CHECK_MS;
  const apply_places_t& places = w.hands.places;
  if (!ovsdb_connect(w.hands.db, places.ovsdb, until, why) ||
      !rows_bridge_ensure(w.hands.db, places.bridge, until, why)) {
    why = "plane.ovsdb: " + why;
    return false;
  }
  const std::string path = places.openflow_folder + "/" + places.bridge + ".mgmt";
  if (!of_connect(w.hands.bridges[places.bridge], path, until, why)) {
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
}  // namespace

std::shared_ptr<work_t> work_start(const apply_places_t& places,
                                   const std::map<uint32_t, std::string>& netdevs, std::string& why)
{
  const auto w = std::make_shared<work_t>();
  w->hands.places = places;
  w->netdevs = netdevs;
  w->wake.reset(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  std::promise<std::string> checked;
  std::future<std::string> check = checked.get_future();
  why = "plane: no thread, or no memory";
  // the thread goes into the ports' namespace, and stays there
  const auto run = [w, refusal = why](std::promise<std::string> told) mutable {
    try_pass([&] {
      std::string found = checks(*w);
      if (found.empty())
        std::thread([w] { look_on(*w); }).detach();
      refusal = std::move(found);
      return true;
    });
    const bool is_ready = refusal.empty();
    told.set_value(std::move(refusal));
    if (is_ready)
      work_on(*w);
  };
  if (!try_pass([&] {
        std::thread(run, std::move(checked)).detach();
        return true;
      }))
    return nullptr;
  why = check.get();
  return why.empty() ? w : nullptr;
}

void work_wake(work_t& w)
{
  const uint64_t one = 1;
  if (!w.woken.exchange(true) && write(w.wake.fd, &one, sizeof one) < 0)
    w.woken = false;
}

void work_stop(work_t& w)
{
  w.stop = true;
  work_wake(w);
}
