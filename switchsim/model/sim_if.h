// The settings of the interfaces.
#pragma once

#include <cstdint>
#include <string>

#include "platform/openapi_if.h"
#include "switchsim/model/sim_ports.h"

struct sim_if_settings_t {
  OPEN_CONTROL_t admin = OPEN_ENABLE;
  OPEN_CONTROL_t soft_shutdown = OPEN_DISABLE;
  OPEN_PORT_SPEEDS_t speed = OPEN_PORTCTRL_PORTSPEED_UNKNOWN;
  uint32_t mtu = 1500;
  std::string description = {};
};
sim_if_settings_t sim_if_settings(const sim_if_t& intf);
