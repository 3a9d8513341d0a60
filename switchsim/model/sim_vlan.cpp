#include "switchsim/model/sim_vlan.h"

#include <json-c/json.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <map>
#include <set>

#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/model/sim_plane.h"
#include "switchsim/model/sim_ports.h"

namespace
{
constexpr uint32_t VLAN_HIGHEST = 4094;
constexpr uint32_t VLAN_DEFAULT = 1;
constexpr uint32_t NAME_MAX_LENGTH = 32;

// What is set for an interface in a VLAN, for mode general.
struct membership_t {
  OPEN_VLAN_PARTICIPATION_MODE_t mode;
  bool tagged;
};

struct vlan_t {
  std::string name;
  bool is_static;
  uint32_t routing = 0;                          // number of its routing interface; 0: it has none
  std::map<uint32_t, membership_t> memberships;  // of interfaces that had something set
};

struct switchport_t {
  OPEN_VLAN_INTF_SWITCHPORT_MODE_t mode = OPEN_VLAN_SWITCHPORT_MODE_GENERAL;
  OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t accept = OPEN_DOT1Q_ADMIT_ALL;
  uint32_t pvid = VLAN_DEFAULT;    // mode general
  uint32_t access = VLAN_DEFAULT;  // mode access
  uint32_t native = VLAN_DEFAULT;  // mode trunk
  std::set<uint32_t> trunk = {};   // mode trunk, beside the native one; they need not exist (yet)
};

uint32_t vlan_max;
std::map<uint32_t, vlan_t> vlans;
std::map<uint32_t, switchport_t> switchports;

std::string name_when_new(uint32_t vid)
{
  char name[sizeof "VLAN4294967295"];
  snprintf(name, sizeof name, "VLAN%04u", vid);
  return vid == VLAN_DEFAULT ? "default" : name;
}

void vlan_add(uint32_t vid)
{
  vlans[vid] = {name_when_new(vid), true, 0, {}};
}

bool vid_in_range(uint32_t vid)
{
  return vid >= 1 && vid <= vlan_max;
}

vlan_t* vlan_find(uint32_t vid)
{
  const auto found = vlans.find(vid);
  return found == vlans.end() ? nullptr : &found->second;
}

// The switchport of an interface that forwards between VLANs' members; null for any other.
switchport_t* switchport_find(uint32_t number)
{
  const sim_if_t* intf = sim_if_find(number);
  const bool forwards =
      intf != nullptr && (intf->type == OPEN_INTF_TYPE_PHY || intf->type == OPEN_INTF_TYPE_LAG);
  return forwards ? &switchports[number] : nullptr;
}

// Everything is in VLAN 1 from the beginning, and in no other VLAN until something puts it there.
membership_t membership_when_new(uint32_t vid)
{
  return {vid == VLAN_DEFAULT ? OPEN_VLAN_PARTICIPATION_MODE_INCLUDE
                              : OPEN_VLAN_PARTICIPATION_MODE_AUTO,
          false};
}

membership_t membership_of(const vlan_t& vlan, uint32_t vid, uint32_t number)
{
  const auto found = vlan.memberships.find(number);
  return found == vlan.memberships.end() ? membership_when_new(vid) : found->second;
}

uint32_t pvid_of(const switchport_t& port)
{
  switch (port.mode) {
    case OPEN_VLAN_SWITCHPORT_MODE_ACCESS:
      return port.access;
    case OPEN_VLAN_SWITCHPORT_MODE_TRUNK:
      return port.native;
    default:
      return port.pvid;
  }
}

// What is in force in the port's mode.
membership_t membership_in_force(const switchport_t& port, const vlan_t& vlan, uint32_t vid,
                                 uint32_t number)
{
  if (port.mode == OPEN_VLAN_SWITCHPORT_MODE_GENERAL)
    return membership_of(vlan, vid, number);
  const bool is_trunk = port.mode == OPEN_VLAN_SWITCHPORT_MODE_TRUNK;
  const bool untagged = vid == pvid_of(port);
  const bool included = untagged || (is_trunk && port.trunk.count(vid) > 0);
  return {included ? OPEN_VLAN_PARTICIPATION_MODE_INCLUDE : OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE,
          is_trunk && !untagged};
}

// Where it is left open, whoever asks for it becomes one.
bool is_member(const membership_t& membership, uint32_t vid, uint32_t number)
{
  return membership.mode == OPEN_VLAN_PARTICIPATION_MODE_INCLUDE ||
         (membership.mode == OPEN_VLAN_PARTICIPATION_MODE_AUTO && sim_plane().joins(vid, number));
}

// Reads what is in force for an interface in a VLAN.
template <class T, class Get>
open_error_t membership_get(uint32_t vid, uint32_t number, T& out, Get get)
{
  const vlan_t* vlan = vlan_find(vid);
  const uint32_t forwarder = sim_if_forwarder(number);
  const switchport_t* port = switchport_find(forwarder);
  if (vlan == nullptr || port == nullptr)
    return OPEN_E_NOT_FOUND;
  return sim_give(out, get(membership_in_force(*port, *vlan, vid, forwarder)));
}

open_error_t member_get(uint32_t vid, uint32_t number, uint32_t& status)
{
  membership_t membership = {};
  const auto get = [](const membership_t& m) { return m; };
  const open_error_t result = membership_get(vid, number, membership, get);
  if (result == OPEN_E_NONE)
    status = is_member(membership, vid, number) ? 1 : 0;
  return result;
}

// Whether the interface decides on its VLANs itself.
bool is_own_forwarder(uint32_t number)
{
  return sim_if_forwarder(number) == number;
}

template <class Take>
open_error_t membership_set(uint32_t vid, uint32_t number, bool right, Take take)
{
  vlan_t* vlan = vlan_find(vid);
  const switchport_t* port = switchport_find(number);
  if (vlan == nullptr || port == nullptr)
    return OPEN_E_NOT_FOUND;
  if (!right)
    return OPEN_E_PARAM;
  if (!is_own_forwarder(number) || port->mode != OPEN_VLAN_SWITCHPORT_MODE_GENERAL)
    return OPEN_E_UNAVAIL;
  membership_t membership = membership_of(*vlan, vid, number);
  take(membership);
  vlan->memberships[number] = membership;
  return sim_changed(SIM_VLAN, vid);
}

template <class T, class Get>
open_error_t switchport_get(uint32_t number, T& out, Get get)
{
  const switchport_t* port = switchport_find(sim_if_forwarder(number));
  return port == nullptr ? OPEN_E_NOT_FOUND : sim_give(out, get(*port));
}

template <class Take>
open_error_t switchport_set(uint32_t number, bool right, Take take)
{
  switchport_t* port = switchport_find(number);
  if (port == nullptr)
    return OPEN_E_NOT_FOUND;
  if (!right)
    return OPEN_E_PARAM;
  if (!is_own_forwarder(number))
    return OPEN_E_UNAVAIL;
  take(*port);
  return sim_changed(SIM_IF, number);
}

// Sets one of the VLANs for untagged frames: one that exists.
open_error_t untagged_set(uint32_t number, uint32_t vid, uint32_t switchport_t::*which)
{
  if (vid_in_range(vid) && !sim_vlan_exists(vid))
    return OPEN_E_NOT_FOUND;
  return switchport_set(number, vid_in_range(vid), [&](switchport_t& port) { port.*which = vid; });
}

// Reads a number at the start of the text and takes it off.
bool list_number_take(std::string_view& text, uint32_t& vid)
{
  const auto read = std::from_chars(text.data(), text.data() + text.size(), vid);
  text.remove_prefix(static_cast<size_t>(read.ptr - text.data()));
  return read.ec == std::errc() && vid_in_range(vid);
}

bool list_mark_take(std::string_view& text, char mark)
{
  const bool there = !text.empty() && text.front() == mark;
  text.remove_prefix(there ? 1 : 0);
  return there;
}

// "5,7-9": numbers and ranges of them, and nothing else.
bool list_read(std::string_view text, std::set<uint32_t>& list)
{
  do {
    uint32_t first = 0;
    if (!list_number_take(text, first))
      return false;
    uint32_t last = first;
    if (list_mark_take(text, '-') && (!list_number_take(text, last) || last < first))
      return false;
    for (uint32_t vid = first; vid <= last; vid++)
      list.insert(vid);
  } while (list_mark_take(text, ','));
  return text.empty();
}

open_error_t next_vlan(uint32_t vid, uint32_t& next)
{
  const auto found = vlans.upper_bound(vid);
  return found == vlans.end() ? OPEN_E_FAIL : sim_give(next, found->first);
}

open_error_t name_get(uint32_t vid, open_buffdesc* name)
{
  const vlan_t* vlan = vlan_find(vid);
  return vlan == nullptr ? OPEN_E_NOT_FOUND : sim_text_put(name, vlan->name);
}

bool vlan_parse(const sim_json_t& json)
{
  uint32_t vid = 0;
  const auto parse_id = [&](const sim_json_t& j) {
    if (!sim_json_uint(j, 1, vlan_max, vid))
      return false;
    if (sim_vlan_exists(vid))
      return sim_json_refuse(j, "is there twice");
    vlan_add(vid);
    return true;
  };
  const auto parse_name = [&](const sim_json_t& j) {
    return sim_json_text(j, 0, NAME_MAX_LENGTH, vlans[vid].name);
  };
  const auto parse_type = [&](const sim_json_t& j) {
    return sim_json_choice(j,
                           {
                               {"static",  1},
                               {"dynamic", 0}
    },
                           vlans[vid].is_static);
  };
  return sim_json_record(json, {
                                   {"id",   true,  parse_id  },
                                   {"name", false, parse_name},
                                   {"type", false, parse_type},
  });
}
void vlan_reset()
{
  vlan_max = VLAN_HIGHEST;
  vlans.clear();
  switchports.clear();
  vlan_add(VLAN_DEFAULT);
}

bool vlan_max_parse(const sim_json_t& json)
{
  return sim_json_uint(json, 1, VLAN_HIGHEST, vlan_max);
}

bool vlans_parse(const sim_json_t& json)
{
  if (json_object_get_type(json.value) == json_type_array) {
    vlans.clear();
    const bool parsed = sim_json_list(json, vlan_parse);
    if (!sim_vlan_exists(VLAN_DEFAULT))
      vlan_add(VLAN_DEFAULT);
    return parsed;
  }
  uint32_t count = 0;
  if (!sim_json_uint(json, 1, vlan_max, count))
    return false;
  for (uint32_t vid = VLAN_DEFAULT + 1; vid <= count; vid++)
    vlan_add(vid);
  return true;
}

}  // namespace

uint32_t sim_vlan_max()
{
  return vlan_max;
}

bool sim_vlan_exists(uint32_t vid)
{
  return vlan_find(vid) != nullptr;
}

bool sim_vlan_member(uint32_t vid, uint32_t number)
{
  uint32_t member = 0;
  return member_get(vid, number, member) == OPEN_E_NONE && member == 1;
}

bool sim_vlan_forwarding(uint32_t number, sim_forwarding_t& forwarding)
{
  const uint32_t forwarder = sim_if_forwarder(number);
  const switchport_t* port = switchport_find(forwarder);
  if (port == nullptr)
    return false;
  forwarding = {pvid_of(*port), port->accept, {}, {}};
  for (const auto& [vid, vlan] : vlans) {
    const membership_t membership = membership_in_force(*port, vlan, vid, forwarder);
    if (is_member(membership, vid, forwarder))
      (membership.tagged ? forwarding.tagged : forwarding.untagged).insert(vid);
  }
  return true;
}

uint32_t sim_vlan_routing(uint32_t vid)
{
  const vlan_t* vlan = vlan_find(vid);
  return vlan == nullptr ? 0 : vlan->routing;
}

void sim_vlan_routing_set(uint32_t vid, uint32_t number)
{
  vlans[vid].routing = number;
}

open_error_t sim_vlan_create(uint32_t vid)
{
  if (!vid_in_range(vid))
    return OPEN_E_PARAM;
  if (sim_vlan_exists(vid))
    return OPEN_E_EXISTS;
  vlan_add(vid);
  return sim_changed(SIM_VLAN, vid);
}

open_error_t sim_vlan_delete(uint32_t vid)
{
  if (!sim_vlan_exists(vid))
    return OPEN_E_NOT_FOUND;
  if (vid == VLAN_DEFAULT || vlans[vid].routing != 0)
    return OPEN_E_FAIL;
  vlans.erase(vid);
  for (auto& [number, port] : switchports) {
    bool changed = port.trunk.erase(vid) > 0;
    for (uint32_t* untagged : {&port.pvid, &port.access, &port.native}) {
      changed = changed || *untagged == vid;
      *untagged = *untagged == vid ? VLAN_DEFAULT : *untagged;
    }
    if (changed)
      sim_changed(SIM_IF, number);
  }
  return sim_changed(SIM_VLAN, vid);
}

open_error_t sim_vlan_name_set(uint32_t vid, const std::string& name)
{
  vlan_t* vlan = vlan_find(vid);
  if (vlan == nullptr)
    return OPEN_E_NOT_FOUND;
  if (name.size() > NAME_MAX_LENGTH)
    return OPEN_E_PARAM;
  vlan->name = name;
  return sim_changed(SIM_VLAN, vid);
}

open_error_t sim_vlan_participation_set(uint32_t vid, uint32_t number,
                                        OPEN_VLAN_PARTICIPATION_MODE_t mode)
{
  const bool right =
      mode >= OPEN_VLAN_PARTICIPATION_MODE_INCLUDE && mode <= OPEN_VLAN_PARTICIPATION_MODE_EXCLUDE;
  return membership_set(vid, number, right, [&](membership_t& m) { m.mode = mode; });
}

open_error_t sim_vlan_tagging_set(uint32_t vid, uint32_t number, uint32_t tagging)
{
  return membership_set(
      vid, number, tagging <= 1, [&](membership_t& m) { m.tagged = tagging == 1; });
}

open_error_t sim_vlan_pvid_set(uint32_t number, uint32_t vid)
{
  const switchport_t* port = switchport_find(number);
  const bool in_use = port == nullptr || port->mode == OPEN_VLAN_SWITCHPORT_MODE_GENERAL;
  return in_use || !sim_vlan_exists(vid) ? untagged_set(number, vid, &switchport_t::pvid)
                                         : OPEN_E_UNAVAIL;
}

open_error_t sim_vlan_access_set(uint32_t number, uint32_t vid)
{
  return untagged_set(number, vid, &switchport_t::access);
}

open_error_t sim_vlan_native_set(uint32_t number, uint32_t vid)
{
  return untagged_set(number, vid, &switchport_t::native);
}

open_error_t sim_vlan_trunk_set(uint32_t number, sim_vlan_trunk_change_t change,
                                const std::string& list)
{
  std::set<uint32_t> named;
  const bool right = list_read(list, named);
  return switchport_set(number, right, [&](switchport_t& port) {
    if (change == SIM_VLAN_TRUNK_REPLACE)
      port.trunk = named;
    else if (change == SIM_VLAN_TRUNK_ADD)
      port.trunk.insert(named.begin(), named.end());
    else
      for (const uint32_t vid : named)
        port.trunk.erase(vid);
  });
}

open_error_t sim_vlan_accept_set(uint32_t number, OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t type)
{
  const bool right = type >= OPEN_DOT1Q_ADMIT_ALL && type <= OPEN_DOT1Q_ADMIN_ONLY_VLAN_UNTAGGED;
  return switchport_set(number, right, [&](switchport_t& port) { port.accept = type; });
}

open_error_t sim_vlan_switchport_mode_set(uint32_t number, OPEN_VLAN_INTF_SWITCHPORT_MODE_t mode)
{
  const bool right =
      mode >= OPEN_VLAN_SWITCHPORT_MODE_GENERAL && mode <= OPEN_VLAN_SWITCHPORT_MODE_TRUNK;
  return switchport_set(number, right, [&](switchport_t& port) { port.mode = mode; });
}

// ---- configuration ----

namespace
{
sim_restore_t vlan_keep()
{
  return [kept_vlans = vlans, kept_switchports = switchports] {
    vlans = kept_vlans;
    switchports = kept_switchports;
  };
}

void vlan_if_removed(uint32_t number)
{
  switchports.erase(number);
  for (auto& entry : vlans)
    entry.second.memberships.erase(number);
}

void vlan_clear()
{
  vlans.clear();
  switchports.clear();
  vlan_add(VLAN_DEFAULT);
}

constexpr const char* MODES[] = {nullptr, "general", "access", "trunk"};
constexpr const char* ACCEPTED[] = {nullptr, "all", "tagged", "untagged"};
constexpr const char* PARTICIPATIONS[] = {"include", "auto", "exclude"};

std::string list_text(const std::set<uint32_t>& list)
{
  std::string text;
  for (const uint32_t vid : list)
    text += (text.empty() ? "" : ",") + std::to_string(vid);
  return text;
}

void switchport_write(std::string& script, uint32_t number, const switchport_t& port)
{
  const switchport_t fresh;
  if (port.access != fresh.access)
    sim_cli_line(script, "interface", number, "switchport access vlan", port.access);
  if (port.native != fresh.native)
    sim_cli_line(script, "interface", number, "switchport trunk native vlan", port.native);
  if (!port.trunk.empty())
    sim_cli_line(script, "interface", number, "switchport trunk replace", list_text(port.trunk));
  if (port.pvid != fresh.pvid)
    sim_cli_line(script, "interface", number, "pvid", port.pvid);
  if (port.accept != fresh.accept)
    sim_cli_line(script, "interface", number, "accept", ACCEPTED[port.accept]);
  if (port.mode != fresh.mode)
    sim_cli_line(script, "interface", number, "switchport mode", MODES[port.mode]);
}

void vlan_write(std::string& script)
{
  for (const auto& [vid, vlan] : vlans) {
    if (vid != VLAN_DEFAULT)
      sim_cli_line(script, vlan.is_static ? "vlan" : "vlan learned", vid);
    if (vlan.name != name_when_new(vid))
      sim_cli_line(script, "vlan", vid, "name", vlan.name);
    const membership_t fresh = membership_when_new(vid);
    for (const auto& [number, membership] : vlan.memberships) {
      if (membership.mode != fresh.mode)
        sim_cli_line(script, "interface", number, "vlan", vid, PARTICIPATIONS[membership.mode]);
      if (membership.tagged)
        sim_cli_line(script, "interface", number, "vlan", vid, "tagged");
    }
  }
  for (const auto& [number, port] : switchports)
    switchport_write(script, number, port);
}

open_error_t vlan_learn(uint32_t vid)
{
  const open_error_t result = sim_vlan_create(vid);
  if (result == OPEN_E_NONE)
    vlans[vid].is_static = false;
  return result;
}

open_error_t cli_participation_set(uint32_t number, uint32_t vid,
                                   OPEN_VLAN_PARTICIPATION_MODE_t mode)
{
  return sim_vlan_participation_set(vid, number, mode);
}

open_error_t cli_tagging_set(uint32_t number, uint32_t vid, uint32_t tagging)
{
  return sim_vlan_tagging_set(vid, number, tagging);
}

constexpr sim_command_t COMMANDS[] = {
    {"vlan {n}",                                                sim_cli_run<sim_vlan_create>      },
    {"vlan learned {n}",                                        sim_cli_run<vlan_learn>           },
    {"vlan {n} name {t}",                                       sim_cli_run<sim_vlan_name_set>    },
    {"no vlan {n}",                                             sim_cli_run<sim_vlan_delete>      },
    {"interface {n} vlan {n} {include|auto|exclude}",           sim_cli_run<cli_participation_set>},
    {"interface {n} vlan {n} {untagged|tagged}",                sim_cli_run<cli_tagging_set>      },
    {"interface {n} pvid {n}",                                  sim_cli_run<sim_vlan_pvid_set>    },
    {"interface {n} accept {|all|tagged|untagged}",             sim_cli_run<sim_vlan_accept_set>  },
    {"interface {n} switchport mode {|general|access|trunk}",
     sim_cli_run<sim_vlan_switchport_mode_set>                                                    },
    {"interface {n} switchport access vlan {n}",                sim_cli_run<sim_vlan_access_set>  },
    {"interface {n} switchport trunk native vlan {n}",          sim_cli_run<sim_vlan_native_set>  },
    {"interface {n} switchport trunk {add|replace|remove} {t}", sim_cli_run<sim_vlan_trunk_set>   },
};
}  // namespace

constexpr sim_key_t KEYS[] = {
    {"vlan_max", vlan_max_parse},
    {"vlans",    vlans_parse   },
};

const sim_area_t sim_vlan_area = [] {
  sim_area_t area =
      sim_area_with_config(sim_area(vlan_reset, KEYS), vlan_keep, vlan_clear, vlan_write, COMMANDS);
  area.if_removed = vlan_if_removed;
  return area;
}();

// ---- the calls ----

open_error_t rpcclt_openapiDot1VlanMaxGet(openapiClientHandle_t* client_handle, uint32_t* vlanMax)
{
  const auto work = [&] { return sim_give(*vlanMax, vlan_max); };
  return sim_call(__func__, client_handle, work, sim_out(vlanMax));
}

open_error_t openapiVlanCreatedCheck(openapiClientHandle_t* client_handle, uint32_t vid)
{
  const auto work = [&] { return sim_vlan_exists(vid) ? OPEN_E_NONE : OPEN_E_NOT_FOUND; };
  return sim_call(__func__, client_handle, work, vid);
}

open_error_t openapiVlanNextGet(openapiClientHandle_t* client_handle, uint32_t vid,
                                uint32_t* nextVid)
{
  const auto work = [&] { return next_vlan(vid, *nextVid); };
  return sim_call(__func__, client_handle, work, vid, sim_out(nextVid));
}

open_error_t openapiVlanNextChangedGet(openapiClientHandle_t* client_handle, uint32_t vid,
                                       uint32_t* nextVid, uint32_t* delete_pending)
{
  const auto work = [&] {
    const open_error_t result = sim_pending_next(SIM_VLAN, vid, *nextVid);
    if (result == OPEN_E_NONE)
      *delete_pending = sim_vlan_exists(*nextVid) ? 0 : 1;
    return result;
  };
  return sim_call(__func__, client_handle, work, vid, sim_out(nextVid), sim_out(delete_pending));
}

open_error_t rpcclt_openapiVlanCreate(openapiClientHandle_t* client_handle, uint32_t vid)
{
  return sim_call(
      __func__, client_handle, [&] { return sim_vlan_create(vid); }, vid);
}

open_error_t rpcclt_openapiVlanDelete(openapiClientHandle_t* client_handle, uint32_t vid)
{
  return sim_call(
      __func__, client_handle, [&] { return sim_vlan_delete(vid); }, vid);
}

open_error_t rpcclt_openapiVlanNameLenGet(openapiClientHandle_t* client_handle, uint32_t* length)
{
  const auto work = [&] { return sim_give(*length, NAME_MAX_LENGTH + 1); };
  return sim_call(__func__, client_handle, work, sim_out(length));
}

open_error_t rpcclt_openapiVlanNameGet(openapiClientHandle_t* client_handle, uint32_t vid,
                                       open_buffdesc* name)
{
  const auto work = [&] { return name_get(vid, name); };
  return sim_call(__func__, client_handle, work, vid, sim_out(name));
}

open_error_t rpcclt_openapiVlanNameSet(openapiClientHandle_t* client_handle, uint32_t vid,
                                       open_buffdesc* name)
{
  const auto work = [&] { return sim_vlan_name_set(vid, sim_text(name)); };
  return sim_call(__func__, client_handle, work, vid, name);
}

uint32_t openapiVlanIsStatic(openapiClientHandle_t* client_handle, uint32_t vid)
{
  const auto work = [&] {
    const vlan_t* vlan = vlan_find(vid);
    return vlan != nullptr && vlan->is_static ? 1u : 0u;
  };
  return sim_call(__func__, client_handle, work, vid);
}

open_error_t openapiVlanIfParticipationStatusGet(openapiClientHandle_t* client_handle, uint32_t vid,
                                                 uint32_t ifNum, uint32_t* status)
{
  const auto work = [&] { return member_get(vid, ifNum, *status); };
  return sim_call(__func__, client_handle, work, vid, ifNum, sim_out(status));
}

open_error_t rpcclt_openapiVlanIfParticipationGet(openapiClientHandle_t* client_handle,
                                                  uint32_t vid, uint32_t ifNum,
                                                  OPEN_VLAN_PARTICIPATION_MODE_t* mode)
{
  const auto get = [](const membership_t& m) { return m.mode; };
  const auto work = [&] { return membership_get(vid, ifNum, *mode, get); };
  return sim_call(__func__, client_handle, work, vid, ifNum, sim_out(mode));
}

open_error_t rpcclt_openapiVlanIfParticipationSet(openapiClientHandle_t* client_handle,
                                                  uint32_t vid, uint32_t ifNum,
                                                  OPEN_VLAN_PARTICIPATION_MODE_t mode)
{
  const auto work = [&] { return sim_vlan_participation_set(vid, ifNum, mode); };
  return sim_call(__func__, client_handle, work, vid, ifNum, mode);
}

open_error_t openapiVlanIfTaggingGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                     uint32_t vid, uint32_t* tagging)
{
  const auto get = [](const membership_t& m) { return m.tagged ? 1u : 0u; };
  const auto work = [&] { return membership_get(vid, ifNum, *tagging, get); };
  return sim_call(__func__, client_handle, work, ifNum, vid, sim_out(tagging));
}

open_error_t rpcclt_openapiVlanIfTaggingSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                            uint32_t vid, uint32_t tagging)
{
  const auto work = [&] { return sim_vlan_tagging_set(vid, ifNum, tagging); };
  return sim_call(__func__, client_handle, work, ifNum, vid, tagging);
}

open_error_t openapiVlanIfPvidGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                  uint32_t* pvid)
{
  const auto work = [&] {
    const uint32_t routed = sim_if_vlan(ifNum);
    if (routed == 0)
      return switchport_get(ifNum, *pvid, pvid_of);
    *pvid = routed;  // the routing interface of a VLAN is in that VLAN and no other
    return OPEN_E_NONE;
  };
  return sim_call(__func__, client_handle, work, ifNum, sim_out(pvid));
}

open_error_t rpcclt_openapiVlanIfPvidSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                         uint32_t pvid)
{
  const auto work = [&] { return sim_vlan_pvid_set(ifNum, pvid); };
  return sim_call(__func__, client_handle, work, ifNum, pvid);
}

open_error_t rpcclt_openapiVlanIfAcceptFrameTypeGet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum,
                                                    OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t* type)
{
  const auto get = [](const switchport_t& port) { return port.accept; };
  const auto work = [&] {
    if (sim_if_vlan(ifNum) == 0)
      return switchport_get(ifNum, *type, get);
    *type = OPEN_DOT1Q_ADMIT_ALL;
    return OPEN_E_NONE;
  };
  return sim_call(__func__, client_handle, work, ifNum, sim_out(type));
}

open_error_t rpcclt_openapiVlanIfAcceptFrameTypeSet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum,
                                                    OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t type)
{
  const auto work = [&] { return sim_vlan_accept_set(ifNum, type); };
  return sim_call(__func__, client_handle, work, ifNum, type);
}

open_error_t rpcclt_openapiIfSwitchportModeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                               OPEN_VLAN_INTF_SWITCHPORT_MODE_t* mode)
{
  const auto get = [](const switchport_t& port) { return port.mode; };
  const auto work = [&] { return switchport_get(ifNum, *mode, get); };
  return sim_call(__func__, client_handle, work, ifNum, sim_out(mode));
}

open_error_t rpcclt_openapiIfSwitchportModeSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                               OPEN_VLAN_INTF_SWITCHPORT_MODE_t mode)
{
  const auto work = [&] { return sim_vlan_switchport_mode_set(ifNum, mode); };
  return sim_call(__func__, client_handle, work, ifNum, mode);
}

open_error_t rpcclt_openapiIfSwitchportAccessVlanSet(openapiClientHandle_t* client_handle,
                                                     uint32_t ifNum, uint32_t vid)
{
  const auto work = [&] { return sim_vlan_access_set(ifNum, vid); };
  return sim_call(__func__, client_handle, work, ifNum, vid);
}

open_error_t rpcclt_openapiIfSwitchportTrunkNativeVlanSet(openapiClientHandle_t* client_handle,
                                                          uint32_t ifNum, uint32_t vid)
{
  const auto work = [&] { return sim_vlan_native_set(ifNum, vid); };
  return sim_call(__func__, client_handle, work, ifNum, vid);
}

// The operation says what to do with the list; what adding means differs between the two calls.
static open_error_t trunk_call(const char* name, const openapiClientHandle_t* handle,
                               uint32_t number, OPEN_VLAN_LIST_OPERATION_t operation,
                               sim_vlan_trunk_change_t when_adding, open_buffdesc* list)
{
  const auto work = [&] {
    if (operation != OPEN_VLAN_LIST_ADD && operation != OPEN_VLAN_LIST_REMOVE)
      return OPEN_E_PARAM;
    return sim_vlan_trunk_set(number,
                              operation == OPEN_VLAN_LIST_ADD ? when_adding : SIM_VLAN_TRUNK_REMOVE,
                              sim_text(list));
  };
  return sim_call(name, handle, work, number, operation, list);
}

open_error_t rpcclt_openapiIfSwitchportTrunkVlanCreate(openapiClientHandle_t* client_handle,
                                                       uint32_t ifNum,
                                                       OPEN_VLAN_LIST_OPERATION_t operation,
                                                       open_buffdesc* vlanList)
{
  return trunk_call(__func__, client_handle, ifNum, operation, SIM_VLAN_TRUNK_ADD, vlanList);
}

open_error_t rpcclt_openapiIfSwitchportTrunkVlanSet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum,
                                                    OPEN_VLAN_LIST_OPERATION_t operation,
                                                    open_buffdesc* vlanList)
{
  return trunk_call(__func__, client_handle, ifNum, operation, SIM_VLAN_TRUNK_REPLACE, vlanList);
}
