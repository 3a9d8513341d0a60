// What the model of the switch knows of the world: the ports that are built in, their links, what
// passes them, and whether the world has followed the model. The world is one of several; which one
// is said when the switch starts.
//
// A plane reconciles itself with the model: it is told what has changed, and reads the model's
// headers for what is wanted. It hooks no setter, since a restore or a cleared configuration
// replaces the state of all areas at once. Every procedure is called under the switch's lock and
// answers at once; a plane with a world that takes longer works on a thread of its own, which takes
// the lock to read the model, and answers from what it last saw.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/openapi_boxs.h"
#include "platform/openapi_if.h"
#include "platform/openapi_tcam.h"
#include "platform/openapi_types.h"
#include "switchsim/model/sim_kind.h"

struct sim_port_t {
  uint32_t number;  // ascending, from 1 on; not every number needs to be there
  OPEN_IF_CONNECTOR_TYPE_t connector;
};

struct sim_fan_t {
  OPEN_BOXS_ITEM_STATE_t state = OPEN_ITEMSTATE_OPERATIONAL;
  OPEN_BOXS_ITEM_TYPE_t type = OPEN_TYPE_REMOVABLE;
  uint32_t speed = 0;
  uint32_t duty_cycle = 0;
};

struct sim_power_supply_t {
  OPEN_BOXS_ITEM_STATE_t state = OPEN_ITEMSTATE_OPERATIONAL;
  OPEN_BOXS_ITEM_TYPE_t type = OPEN_TYPE_REMOVABLE;
};

struct sim_temp_sensor_t {
  OPEN_BOXS_TEMPSENSOR_STATE_t state = OPEN_TEMPSENSOR_STATE_NORMAL;
  int32_t temperature = 0;
  std::string description;
};

// Texts have up to 255 characters.
struct sim_sensors_t {
  std::vector<sim_fan_t> fans;
  std::vector<sim_power_supply_t> power_supplies;
  std::vector<sim_temp_sensor_t> temp_sensors;
};

struct sim_transceiver_t {
  OPEN_SFP_MODULE_TYPE_t module_type = OPEN_MODULE_SFPPLUS;
  std::string vendor_name;
  std::string vendor_revision;
  uint32_t link_length_50um = 0;
  uint32_t link_length_62_5um = 0;
  std::string serial_number;
  std::string part_number;
  uint32_t nominal_signal_rate = 0;
  std::string compliance;
};

// How much of a stage's room for policies is used.
struct sim_policy_use_t {
  open_tcam_group_stats_t groups;
  uint32_t slices, used_slices, entries, free, total;
};

constexpr uint32_t SIM_PLACE_ANY = UINT32_MAX;

struct sim_plane_t {
  // The profile is read and the areas have their state; false, and why: the world is not there.
  bool (*start)(std::string& why);
  // The switch starts again: the areas have the state that it was delivered with.
  void (*restart)();
  // What is built in; asked before start.
  std::vector<sim_port_t> (*ports)();

  // Only marks: the model is read when the change is applied.
  void (*changed)(sim_kind_t kind, uint32_t number);
  // All of the model may be another.
  void (*replaced)();
  // The next interface or VLAN above this number whose settings are not in force, as far as the
  // plane knows; false past the last.
  bool (*pending_next)(sim_kind_t kind, uint32_t number, uint32_t& next);

  // Whether an interface of any kind has link.
  bool (*carrier)(uint32_t number);
  // What an interface runs at that has no fixed speed, false while that is not known. The speed
  // comes in as the one that is set.
  bool (*negotiated)(uint32_t number, OPEN_PORT_SPEEDS_t& speed, OPEN_PORT_DUPLEX_t& duplex);
  // What passed a port or the CPU interface since the plane started, or passes it now where the
  // counter is a rate; false where it does not count that.
  bool (*counter)(uint32_t number, OPEN_COUNTER_ID_t id, uint64_t& raw);
  // The MAC address of an interface; of 0, the switch's own.
  uint64_t (*mac)(uint32_t number);
  // Whether somebody behind the interface asks to be in the VLAN, where that is left open.
  bool (*joins)(uint32_t vid, uint32_t number);
  // The address that a DHCP server has given; OPEN_E_NOT_FOUND: none.
  open_error_t (*lease)(uint32_t number, OPEN_AF_t family, open_inet_pfx_t& address);

  // Whether there is room for a policy, new (id 0) or with other fields than it has, and at which
  // place; place comes in as the place where it must be, or SIM_PLACE_ANY. OPEN_E_FULL;
  // OPEN_E_PARAM: no such place; OPEN_E_UNAVAIL: this world cannot do what it asks.
  open_error_t (*policy_room)(uint32_t id, const open_tcamApiPolicy_t& policy, uint32_t& place);
  sim_policy_use_t (*policy_use)(bool at_egress);
  // Whether routes to be redistributed can be told apart by these bits of OSPF; OPEN_E_UNAVAIL.
  open_error_t (*match_bits_room)(uint32_t match_bits);

  void (*sensors)(sim_sensors_t& sensors);
  // What is in a port; false where nothing is.
  bool (*transceiver)(uint32_t port, sim_transceiver_t& transceiver);
};

void sim_plane_use(const sim_plane_t& plane);
const sim_plane_t& sim_plane();
