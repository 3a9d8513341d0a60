#include "switchsim/model/sim_if.h"

#include <map>

#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/model/sim_plane.h"
#include "switchsim/text/sim_mac.h"

namespace
{
constexpr uint32_t MTU_MIN = 1500;
constexpr uint32_t MTU_MAX = 9216;
constexpr uint32_t DESCRIPTION_MAX = 64;

std::map<uint32_t, sim_if_settings_t> settings;  // of interfaces that had something set

// What stays when a copper port no longer negotiates: gigabit needs it.
constexpr OPEN_PORT_SPEEDS_t SPEED_WITHOUT_AUTO_NEG = OPEN_PORTCTRL_PORTSPEED_FULL_100TX;

bool speed_exists(OPEN_PORT_SPEEDS_t speed)
{
  return (speed >= OPEN_PORTCTRL_PORTSPEED_AUTO_NEG && speed <= OPEN_PORTCTRL_PORTSPEED_AAL5_155) ||
         (speed >= OPEN_PORTCTRL_PORTSPEED_FULL_2P5FX && speed <= OPEN_PORTCTRL_PORTSPEED_UNKNOWN);
}

bool speed_suits(OPEN_IF_CONNECTOR_TYPE_t connector, OPEN_PORT_SPEEDS_t speed)
{
  switch (connector) {
    case OPEN_RJ45:
      return sim_among(speed, {OPEN_PORTCTRL_PORTSPEED_AUTO_NEG, OPEN_PORTCTRL_PORTSPEED_HALF_10T,
                               OPEN_PORTCTRL_PORTSPEED_FULL_10T, OPEN_PORTCTRL_PORTSPEED_HALF_100TX,
                               OPEN_PORTCTRL_PORTSPEED_FULL_100TX});
    case OPEN_SFP:
      return speed == OPEN_PORTCTRL_PORTSPEED_FULL_1000SX;
    case OPEN_SFPPLUS:
      return sim_among(speed,
                       {OPEN_PORTCTRL_PORTSPEED_FULL_1000SX, OPEN_PORTCTRL_PORTSPEED_FULL_10GSX});
    case OPEN_QSFP:
      return sim_among(speed,
                       {OPEN_PORTCTRL_PORTSPEED_FULL_40GSX, OPEN_PORTCTRL_PORTSPEED_FULL_100GSX});
    default:
      return false;
  }
}

OPEN_PORT_SPEEDS_t speed_when_new(const sim_if_t& intf)
{
  switch (intf.connector) {
    case OPEN_RJ45:
      return OPEN_PORTCTRL_PORTSPEED_AUTO_NEG;
    case OPEN_SFP:
      return OPEN_PORTCTRL_PORTSPEED_FULL_1000SX;
    case OPEN_SFPPLUS:
      return OPEN_PORTCTRL_PORTSPEED_FULL_10GSX;
    case OPEN_QSFP:
      return OPEN_PORTCTRL_PORTSPEED_FULL_40GSX;
    default:
      return intf.type == OPEN_INTF_TYPE_LAG ? OPEN_PORTCTRL_PORTSPEED_LAG
                                             : OPEN_PORTCTRL_PORTSPEED_UNKNOWN;
  }
}

sim_if_settings_t settings_when_new(const sim_if_t& intf)
{
  sim_if_settings_t fresh;
  fresh.speed = speed_when_new(intf);
  return fresh;
}

OPEN_PORT_AUTO_NEG_t auto_neg_of(const sim_if_t& intf)
{
  if (intf.type != OPEN_INTF_TYPE_PHY)
    return OPEN_PORT_AUTO_NEG_UNKNOWN;
  return sim_if_settings(intf).speed == OPEN_PORTCTRL_PORTSPEED_AUTO_NEG
             ? OPEN_PORT_AUTO_NEG_ENABLE
             : OPEN_PORT_AUTO_NEG_DISABLE;
}

struct running_t {
  OPEN_PORT_SPEEDS_t speed;
  OPEN_PORT_DUPLEX_t duplex;
};

// A fixed speed has its duplex mode; what is negotiated is for the world to say.
running_t running_of(const sim_if_t& intf)
{
  running_t running = {sim_if_settings(intf).speed, OPEN_PORT_DUPLEX_UNKNOWN};
  if (auto_neg_of(intf) != OPEN_PORT_AUTO_NEG_DISABLE) {
    sim_plane().negotiated(intf.number, running.speed, running.duplex);
    return running;
  }
  const bool half = sim_among(
      running.speed, {OPEN_PORTCTRL_PORTSPEED_HALF_10T, OPEN_PORTCTRL_PORTSPEED_HALF_100TX});
  running.duplex = half ? OPEN_PORT_DUPLEX_HALF : OPEN_PORT_DUPLEX_FULL;
  return running;
}

OPEN_LINK_STATE_t link_of(const sim_if_t& intf)
{
  return sim_plane().carrier(intf.number) ? OPEN_LINK_UP : OPEN_LINK_DOWN;
}

// What every setting does: finds an interface that can be set, judges the value, and takes it.
// check(interface) answers OPEN_E_NONE when it may be taken.
template <class Check, class Take>
open_error_t if_set(uint32_t number, Check check, Take take)
{
  const sim_if_t* intf = sim_if_find(number);
  if (intf == nullptr)
    return OPEN_E_NOT_FOUND;
  if (intf->type == OPEN_INTF_TYPE_CPU)
    return OPEN_E_UNAVAIL;
  const open_error_t result = check(*intf);
  if (result != OPEN_E_NONE)
    return result;
  take(settings.insert({number, settings_when_new(*intf)}).first->second);
  return sim_changed(SIM_IF, number);
}

open_error_t param_unless(bool right)
{
  return right ? OPEN_E_NONE : OPEN_E_PARAM;
}

template <class T, class Get>
open_error_t get_call(const char* name, const openapiClientHandle_t* handle, uint32_t ifNum, T* out,
                      Get get)
{
  const auto work = [&] {
    const sim_if_t* intf = sim_if_find(ifNum);
    if (intf == nullptr)
      return OPEN_E_NOT_FOUND;
    if constexpr (std::is_same_v<T, open_buffdesc>)
      return sim_text_put(out, get(*intf));
    else
      return sim_give(*out, get(*intf));
  };
  return sim_call(name, handle, work, ifNum, sim_out(out));
}

template <class T>
open_error_t set_call(const char* name, const openapiClientHandle_t* handle, uint32_t ifNum,
                      T value, open_error_t (*set)(uint32_t number, T value))
{
  return sim_call(
      name, handle, [&] { return set(ifNum, value); }, ifNum, value);
}

// ---- the settings ----

open_error_t admin_set(uint32_t number, OPEN_CONTROL_t state)
{
  const auto check = [&](const sim_if_t&) { return param_unless(sim_control_ok(state)); };
  return if_set(number, check, [&](sim_if_settings_t& set) { set.admin = state; });
}

open_error_t soft_shutdown_set(uint32_t number, OPEN_CONTROL_t state)
{
  const auto check = [&](const sim_if_t&) { return param_unless(sim_control_ok(state)); };
  return if_set(number, check, [&](sim_if_settings_t& set) { set.soft_shutdown = state; });
}

open_error_t auto_neg_set(uint32_t number, OPEN_PORT_AUTO_NEG_t mode)
{
  const auto check = [&](const sim_if_t& intf) {
    if (mode != OPEN_PORT_AUTO_NEG_ENABLE && mode != OPEN_PORT_AUTO_NEG_DISABLE)
      return OPEN_E_PARAM;
    return intf.connector == OPEN_RJ45 ? OPEN_E_NONE : OPEN_E_UNAVAIL;
  };
  return if_set(number, check, [&](sim_if_settings_t& set) {
    const bool negotiates = set.speed == OPEN_PORTCTRL_PORTSPEED_AUTO_NEG;
    if (mode == OPEN_PORT_AUTO_NEG_ENABLE) {
      set.speed = OPEN_PORTCTRL_PORTSPEED_AUTO_NEG;
    } else if (negotiates) {
      set.speed = SPEED_WITHOUT_AUTO_NEG;
    }
  });
}

open_error_t speed_set(uint32_t number, OPEN_PORT_SPEEDS_t speed)
{
  const auto check = [&](const sim_if_t& intf) {
    if (!speed_exists(speed))
      return OPEN_E_PARAM;
    return speed_suits(intf.connector, speed) ? OPEN_E_NONE : OPEN_E_UNAVAIL;
  };
  return if_set(number, check, [&](sim_if_settings_t& set) { set.speed = speed; });
}

open_error_t mtu_set(uint32_t number, uint32_t mtu)
{
  const auto check = [&](const sim_if_t& intf) {
    if (mtu < MTU_MIN || mtu > MTU_MAX)
      return OPEN_E_PARAM;
    return intf.group == 0 ? OPEN_E_NONE : OPEN_E_UNAVAIL;
  };
  return if_set(number, check, [&](sim_if_settings_t& set) { set.mtu = mtu; });
}

open_error_t description_set(uint32_t number, const std::string& text)
{
  const auto check = [&](const sim_if_t&) { return param_unless(text.size() <= DESCRIPTION_MAX); };
  return if_set(number, check, [&](sim_if_settings_t& set) { set.description = text; });
}

// ---- configuration ----

void if_reset()
{
  settings.clear();
}

void if_removed(uint32_t number)
{
  settings.erase(number);
}

sim_restore_t if_keep()
{
  return [kept = settings] { settings = kept; };
}

void if_write(std::string& script)
{
  for (const auto& [number, set] : settings) {
    const sim_if_settings_t fresh = settings_when_new(*sim_if_find(number));
    if (set.speed != fresh.speed)
      sim_cli_line(script, "interface", number, "speed", static_cast<int>(set.speed));
    if (set.mtu != fresh.mtu)
      sim_cli_line(script, "interface", number, "mtu", set.mtu);
    if (set.description != fresh.description)
      sim_cli_line(script, "interface", number, "description", set.description);
    if (set.soft_shutdown != fresh.soft_shutdown)
      sim_cli_line(script, "interface", number, "soft-shutdown", set.soft_shutdown);
    if (set.admin != fresh.admin)
      sim_cli_line(script, "interface", number, "admin", set.admin);
  }
}

constexpr sim_command_t COMMANDS[] = {
    {"interface {n} speed {n}",                         sim_cli_run<speed_set>        },
    {"interface {n} auto-negotiation {enable|disable}", sim_cli_run<auto_neg_set>     },
    {"interface {n} mtu {n}",                           sim_cli_run<mtu_set>          },
    {"interface {n} description {t}",                   sim_cli_run<description_set>  },
    {"interface {n} soft-shutdown {disable|enable}",    sim_cli_run<soft_shutdown_set>},
    {"interface {n} admin {disable|enable}",            sim_cli_run<admin_set>        },
};
}  // namespace

const sim_area_t sim_if_area = [] {
  sim_area_t area = sim_area_with_config(sim_area(if_reset), if_keep, if_reset, if_write, COMMANDS);
  area.if_removed = if_removed;
  return area;
}();

sim_if_settings_t sim_if_settings(const sim_if_t& intf)
{
  const auto found = settings.find(intf.number);
  return found == settings.end() ? settings_when_new(intf) : found->second;
}

open_error_t openapiIfNameGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                              open_buffdesc* name)
{
  const auto get = [](const sim_if_t& intf) -> const std::string& { return intf.name; };
  return get_call(__func__, client_handle, ifNum, name, get);
}

open_error_t openapiIfAdminStateGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                    OPEN_CONTROL_t* state)
{
  const auto get = [](const sim_if_t& intf) { return sim_if_settings(intf).admin; };
  return get_call(__func__, client_handle, ifNum, state, get);
}

open_error_t rpcclt_openapiIfAdminStateSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                           OPEN_CONTROL_t state)
{
  return set_call(__func__, client_handle, ifNum, state, admin_set);
}

open_error_t openapiIfAutoNegGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                 OPEN_PORT_AUTO_NEG_t* mode)
{
  return get_call(__func__, client_handle, ifNum, mode, auto_neg_of);
}

open_error_t rpcclt_openapiIfAutoNegSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                        OPEN_PORT_AUTO_NEG_t mode)
{
  return set_call(__func__, client_handle, ifNum, mode, auto_neg_set);
}

open_error_t rpcclt_openapiIfConnectorTypeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                              OPEN_IF_CONNECTOR_TYPE_t* type)
{
  const auto get = [](const sim_if_t& intf) { return intf.connector; };
  return get_call(__func__, client_handle, ifNum, type, get);
}

open_error_t rpcclt_openapiIfDescrSizeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                          uint32_t* size)
{
  const auto get = [](const sim_if_t&) { return DESCRIPTION_MAX; };
  return get_call(__func__, client_handle, ifNum, size, get);
}

open_error_t rpcclt_openapiIfDescrGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                      open_buffdesc* descr)
{
  const auto get = [](const sim_if_t& intf) { return sim_if_settings(intf).description; };
  return get_call(__func__, client_handle, ifNum, descr, get);
}

open_error_t rpcclt_openapiIfDescrSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                      open_buffdesc* descr)
{
  const auto work = [&] { return description_set(ifNum, sim_text(descr)); };
  return sim_call(__func__, client_handle, work, ifNum, descr);
}

open_error_t openapiIfDuplexModeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                    OPEN_PORT_DUPLEX_t* mode)
{
  const auto get = [](const sim_if_t& intf) { return running_of(intf).duplex; };
  return get_call(__func__, client_handle, ifNum, mode, get);
}

open_error_t openapiIfLinkStateGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                   OPEN_LINK_STATE_t* state)
{
  return get_call(__func__, client_handle, ifNum, state, link_of);
}

open_error_t rpcclt_openapiIfMacAddrGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                        open_buffdesc* macAddr)
{
  const auto get = [](const sim_if_t& intf) { return sim_mac_text(sim_plane().mac(intf.number)); };
  return get_call(__func__, client_handle, ifNum, macAddr, get);
}

open_error_t openapiIfMtuSizeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                 uint32_t* mtuSize)
{
  const auto get = [](const sim_if_t& intf) {
    return sim_if_settings(*sim_if_find(sim_if_forwarder(intf.number))).mtu;
  };
  return get_call(__func__, client_handle, ifNum, mtuSize, get);
}

open_error_t rpcclt_openapiIfMtuSizeSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                        uint32_t mtuSize)
{
  return set_call(__func__, client_handle, ifNum, mtuSize, mtu_set);
}

open_error_t rpcclt_openapiIfSoftShutdownStateGet(openapiClientHandle_t* client_handle,
                                                  uint32_t ifNum, OPEN_CONTROL_t* state)
{
  const auto get = [](const sim_if_t& intf) { return sim_if_settings(intf).soft_shutdown; };
  return get_call(__func__, client_handle, ifNum, state, get);
}

open_error_t rpcclt_openapiIfSoftShutdownStateSet(openapiClientHandle_t* client_handle,
                                                  uint32_t ifNum, OPEN_CONTROL_t state)
{
  return set_call(__func__, client_handle, ifNum, state, soft_shutdown_set);
}

open_error_t openapiIfSpeedGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                               OPEN_PORT_SPEEDS_t* speed)
{
  const auto get = [](const sim_if_t& intf) { return running_of(intf).speed; };
  return get_call(__func__, client_handle, ifNum, speed, get);
}

open_error_t rpcclt_openapiIfSpeedSet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                      OPEN_PORT_SPEEDS_t speed)
{
  return set_call(__func__, client_handle, ifNum, speed, speed_set);
}
