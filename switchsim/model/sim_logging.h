// Logging of CLI commands, to the console, to syslog and to hosts, as it is configured.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/openapi_logging.h"

constexpr uint16_t SIM_LOG_PORT = 514;

struct sim_log_host_t {
  std::string address;
  uint16_t port = SIM_LOG_PORT;
  OPEN_LOG_SEVERITY_t severity = OPEN_LOG_SEVERITY_CRITICAL;
};

struct sim_logging_t {
  OPEN_CONTROL_t cli = OPEN_DISABLE;
  OPEN_CONTROL_t console = OPEN_DISABLE;
  OPEN_LOG_SEVERITY_t console_severity = OPEN_LOG_SEVERITY_ALERT;
  OPEN_CONTROL_t syslog = OPEN_DISABLE;
  uint16_t syslog_port = SIM_LOG_PORT;
  std::vector<sim_log_host_t> hosts;  // in the order in which they were added
};

const sim_logging_t& sim_logging();
