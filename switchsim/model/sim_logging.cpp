#include "switchsim/model/sim_logging.h"

#include <strings.h>

#include <algorithm>
#include <cctype>

#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/text/sim_address.h"

namespace
{
constexpr uint32_t HOSTS_MAX = 8;
constexpr uint32_t ADDRESS_SIZE = 65;  // 64 characters and the terminating zero

sim_logging_t settings;

open_error_t mode_set(OPEN_CONTROL_t& setting, OPEN_CONTROL_t mode)
{
  return sim_control_ok(mode) ? sim_assign(SIM_LOGGING, setting, mode) : OPEN_E_PARAM;
}

open_error_t cli_set(OPEN_CONTROL_t mode)
{
  return mode_set(settings.cli, mode);
}

open_error_t console_set(OPEN_CONTROL_t mode)
{
  return mode_set(settings.console, mode);
}

open_error_t syslog_set(OPEN_CONTROL_t mode)
{
  return mode_set(settings.syslog, mode);
}

open_error_t severity_set(OPEN_LOG_SEVERITY_t& setting, OPEN_LOG_SEVERITY_t severity)
{
  const bool level = severity >= OPEN_LOG_SEVERITY_EMERGENCY && severity <= OPEN_LOG_SEVERITY_DEBUG;
  return level ? sim_assign(SIM_LOGGING, setting, severity) : OPEN_E_PARAM;
}

open_error_t console_severity_set(OPEN_LOG_SEVERITY_t severity)
{
  return severity_set(settings.console_severity, severity);
}

open_error_t port_set(uint16_t& setting, uint16_t port)
{
  return sim_assign(SIM_LOGGING, setting, port == 0 ? SIM_LOG_PORT : port);
}

open_error_t syslog_port_set(uint16_t port)
{
  return port_set(settings.syslog_port, port);
}

// ---- hosts ----

// An address of either family, or a name: not one of digits and dots alone.
bool host_ok(const std::string& host)
{
  const auto allowed = [](unsigned char c) {
    return c < 0x80 && (isalnum(c) || c == '-' || c == '_' || c == '.');
  };
  const auto letter = [](unsigned char c) { return c < 0x80 && isalpha(c); };
  open_inet_addr_t address = {};
  return !host.empty() && host.size() < ADDRESS_SIZE &&
         (sim_inet_parse(host, address) == OPEN_E_NONE ||
          (std::all_of(host.begin(), host.end(), allowed) &&
           std::any_of(host.begin(), host.end(), letter)));
}

// The host in a descriptor; one without its terminating zero may be cut, and is none.
std::string host_text(const open_buffdesc* desc)
{
  const std::string host = sim_text(desc);
  return host.size() < desc->size ? host : "";
}

// Names count whatever their case, addresses whatever their spelling.
bool host_is(const std::string& a, const std::string& b)
{
  open_inet_addr_t x = {};
  open_inet_addr_t y = {};
  if (sim_inet_parse(a, x) != OPEN_E_NONE || sim_inet_parse(b, y) != OPEN_E_NONE)
    return strcasecmp(a.c_str(), b.c_str()) == 0;
  return x.family == y.family && sim_address_bytes(x) == sim_address_bytes(y);
}

std::vector<sim_log_host_t>::iterator host_find(const std::string& address)
{
  return std::find_if(
      settings.hosts.begin(), settings.hosts.end(),
      [&](const sim_log_host_t& host) { return host_is(host.address, address); });
}

open_error_t host_add(const std::string& address)
{
  if (!host_ok(address))
    return OPEN_E_PARAM;
  if (host_find(address) != settings.hosts.end())
    return OPEN_E_EXISTS;
  if (settings.hosts.size() == HOSTS_MAX)
    return OPEN_E_FULL;
  sim_log_host_t host;
  host.address = address;
  settings.hosts.push_back(host);
  return sim_changed(SIM_LOGGING);
}

// Work on one of the hosts.
template <class Work>
open_error_t host_with(const std::string& address, Work work)
{
  const auto host = host_find(address);
  return host == settings.hosts.end() ? OPEN_E_NOT_FOUND : work(*host);
}

open_error_t host_remove(const std::string& address)
{
  const auto host = host_find(address);
  if (host == settings.hosts.end())
    return OPEN_E_NOT_FOUND;
  settings.hosts.erase(host);
  return sim_changed(SIM_LOGGING);
}

// The host behind the one in the buffer.
open_error_t host_next(open_buffdesc* desc)
{
  const std::string cursor = sim_text(desc);
  auto next = settings.hosts.begin();
  if (!cursor.empty()) {
    next = host_find(cursor);
    if (next == settings.hosts.end() || ++next == settings.hosts.end())
      return OPEN_E_FAIL;
  }
  return next == settings.hosts.end() ? OPEN_E_FAIL : sim_text_put(desc, next->address);
}

// ---- configuration ----

sim_restore_t logging_keep()
{
  return [kept = settings] { settings = kept; };
}

void logging_clear()
{
  settings = {};
}

void logging_write(std::string& script)
{
  sim_cli_line(script, "logging cli", settings.cli);
  sim_cli_line(script, "logging console", settings.console);
  sim_cli_line(script, "logging console severity", settings.console_severity + 0);
  sim_cli_line(script, "logging syslog", settings.syslog);
  sim_cli_line(script, "logging syslog port", settings.syslog_port);
  for (const sim_log_host_t& host : settings.hosts) {
    sim_cli_line(script, "logging host", host.address);
    sim_cli_line(script, "logging host", host.address, "port", host.port);
    sim_cli_line(script, "logging host", host.address, "severity", host.severity + 0);
  }
}

open_error_t host_port_set(const std::string& address, uint16_t port)
{
  return host_with(
      address, [&](sim_log_host_t& host) { return port_set(host.port, port); });
}

open_error_t host_severity_set(const std::string& address, OPEN_LOG_SEVERITY_t severity)
{
  return host_with(
      address, [&](sim_log_host_t& host) { return severity_set(host.severity, severity); });
}

constexpr sim_command_t COMMANDS[] = {
    {"logging cli {disable|enable}",     sim_cli_run<cli_set>             },
    {"logging console {disable|enable}", sim_cli_run<console_set>         },
    {"logging console severity {n}",     sim_cli_run<console_severity_set>},
    {"logging syslog {disable|enable}",  sim_cli_run<syslog_set>          },
    {"logging syslog port {n}",          sim_cli_run<syslog_port_set>     },
    {"logging host {t}",                 sim_cli_run<host_add>            },
    {"logging host {t} port {n}",        sim_cli_run<host_port_set>       },
    {"logging host {t} severity {n}",    sim_cli_run<host_severity_set>   },
    {"no logging host {t}",              sim_cli_run<host_remove>         },
};

// Reads a setting of the host in a descriptor.
template <class T>
open_error_t host_read(const char* name, const openapiClientHandle_t* handle, open_buffdesc* host,
                       T* out, T sim_log_host_t::*setting)
{
  const auto read = [&](const sim_log_host_t& found) { return sim_give(*out, found.*setting); };
  return sim_call(
      name, handle, [&] { return host_with(host_text(host), read); }, host, sim_out(out));
}
}  // namespace

const sim_area_t sim_logging_area = sim_area_with_config(sim_area(logging_clear), logging_keep,
                                                         logging_clear, logging_write, COMMANDS);

const sim_logging_t& sim_logging()
{
  return settings;
}

open_error_t rpcclt_openapiCliCmdLoggingModeGet(openapiClientHandle_t* client_handle,
                                                OPEN_CONTROL_t* mode)
{
  return sim_read(__func__, client_handle, mode, settings.cli);
}

open_error_t rpcclt_openapiCliCmdLoggingModeSet(openapiClientHandle_t* client_handle,
                                                OPEN_CONTROL_t mode)
{
  return sim_set(__func__, client_handle, mode, cli_set);
}

open_error_t rpcclt_openapiConsoleLoggingModeGet(openapiClientHandle_t* client_handle,
                                                 OPEN_CONTROL_t* mode)
{
  return sim_read(__func__, client_handle, mode, settings.console);
}

open_error_t rpcclt_openapiConsoleLoggingModeSet(openapiClientHandle_t* client_handle,
                                                 OPEN_CONTROL_t mode)
{
  return sim_set(__func__, client_handle, mode, console_set);
}

open_error_t rpcclt_openapiConsoleLoggingSeverityGet(openapiClientHandle_t* client_handle,
                                                     OPEN_LOG_SEVERITY_t* severity)
{
  return sim_read(__func__, client_handle, severity, settings.console_severity);
}

open_error_t rpcclt_openapiConsoleLoggingSeveritySet(openapiClientHandle_t* client_handle,
                                                     OPEN_LOG_SEVERITY_t severity)
{
  return sim_set(__func__, client_handle, severity, console_severity_set);
}

open_error_t rpcclt_openapiSysLogModeGet(openapiClientHandle_t* client_handle, OPEN_CONTROL_t* mode)
{
  return sim_read(__func__, client_handle, mode, settings.syslog);
}

open_error_t rpcclt_openapiSysLogModeSet(openapiClientHandle_t* client_handle, OPEN_CONTROL_t mode)
{
  return sim_set(__func__, client_handle, mode, syslog_set);
}

open_error_t rpcclt_openapiSysLogPortGet(openapiClientHandle_t* client_handle, uint16_t* port)
{
  return sim_read(__func__, client_handle, port, settings.syslog_port);
}

open_error_t rpcclt_openapiSysLogPortSet(openapiClientHandle_t* client_handle, uint16_t port)
{
  return sim_set(__func__, client_handle, port, syslog_port_set);
}

open_error_t rpcclt_openapiMaxLoggingHostsSupportedGet(openapiClientHandle_t* client_handle,
                                                       uint32_t* count)
{
  return sim_read(__func__, client_handle, count, HOSTS_MAX);
}

open_error_t rpcclt_openapiLoggingHostMaxAddrLenGet(openapiClientHandle_t* client_handle,
                                                    uint32_t* length)
{
  return sim_read(__func__, client_handle, length, ADDRESS_SIZE);
}

open_error_t rpcclt_openapiLoggingHostIpAddrNextGet(openapiClientHandle_t* client_handle,
                                                    open_buffdesc* host)
{
  const auto work = [&] { return host_next(host); };
  return sim_call(__func__, client_handle, work, sim_out(host));
}

open_error_t rpcclt_openapiLoggingHostAdd(openapiClientHandle_t* client_handle, open_buffdesc* host)
{
  const auto work = [&] { return host_add(host_text(host)); };
  return sim_call(__func__, client_handle, work, host);
}

open_error_t rpcclt_openapiLoggingHostRemove(openapiClientHandle_t* client_handle,
                                             open_buffdesc* host)
{
  const auto work = [&] { return host_remove(host_text(host)); };
  return sim_call(__func__, client_handle, work, host);
}

open_error_t rpcclt_openapiLoggingHostPortGet(openapiClientHandle_t* client_handle,
                                              open_buffdesc* host, uint16_t* port)
{
  return host_read(__func__, client_handle, host, port, &sim_log_host_t::port);
}

open_error_t rpcclt_openapiLoggingHostPortSet(openapiClientHandle_t* client_handle,
                                              open_buffdesc* host, uint16_t port)
{
  const auto work = [&] { return host_port_set(host_text(host), port); };
  return sim_call(__func__, client_handle, work, host, port);
}

open_error_t rpcclt_openapiLoggingHostSeverityGet(openapiClientHandle_t* client_handle,
                                                  open_buffdesc* host,
                                                  OPEN_LOG_SEVERITY_t* severity)
{
  return host_read(__func__, client_handle, host, severity, &sim_log_host_t::severity);
}

open_error_t rpcclt_openapiLoggingHostSeveritySet(openapiClientHandle_t* client_handle,
                                                  open_buffdesc* host, OPEN_LOG_SEVERITY_t severity)
{
  const auto work = [&] { return host_severity_set(host_text(host), severity); };
  return sim_call(__func__, client_handle, work, host, severity);
}
