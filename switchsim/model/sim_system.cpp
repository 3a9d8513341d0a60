#include "switchsim/model/sim_system.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <iterator>

#include "platform/openapi_system.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_change.h"
#include "switchsim/text/sim_address.h"

namespace
{
constexpr uint32_t NAME_MAX_LENGTH = 64;  // of host name and prompt
constexpr uint32_t SERIAL_TIMEOUT_DEFAULT = 5;
constexpr uint32_t SERIAL_TIMEOUT_MAX = 160;
constexpr uint32_t SERVICE_PORT_MASK = 0xFFFFFF00;

struct network_port_t {
  OPEN_PROTOCOL_MODE_t protocol = OPEN_PROTOCOL_MODE_NONE;
  uint32_t ip = 0;
  uint32_t mask = 0;
  uint32_t gateway = 0;
};

struct system_t {
  std::string hostname = "TX5454";
  std::string prompt = "TX5454";
  uint32_t serial_timeout = SERIAL_TIMEOUT_DEFAULT;
  OPEN_CONTROL_t telnet = OPEN_ENABLE;
  network_port_t network;
};

system_t settings;

bool hostname_ok(const std::string& name)
{
  const auto allowed = [](unsigned char c) {
    return c < 0x80 && (isalnum(c) || c == '-' || c == '_' || c == '.');
  };
  return !name.empty() && name.size() <= NAME_MAX_LENGTH && strchr("-_.", name[0]) == nullptr &&
         std::all_of(name.begin(), name.end(), allowed);
}

open_error_t hostname_set(const std::string& name)
{
  return hostname_ok(name) ? sim_assign(SIM_SYSTEM, settings.hostname, name) : OPEN_E_PARAM;
}

open_error_t prompt_set(const std::string& prompt)
{
  const auto printable = [](unsigned char c) { return c >= ' ' && c < 0x7f; };
  if (prompt.empty() || prompt.size() > NAME_MAX_LENGTH ||
      !std::all_of(prompt.begin(), prompt.end(), printable))
    return OPEN_E_PARAM;
  return sim_assign(SIM_SYSTEM, settings.prompt, prompt);
}

open_error_t serial_timeout_set(uint32_t minutes)
{
  return minutes <= SERIAL_TIMEOUT_MAX ? sim_assign(SIM_SYSTEM, settings.serial_timeout, minutes)
                                       : OPEN_E_PARAM;
}

open_error_t telnet_set(OPEN_CONTROL_t mode)
{
  return sim_control_ok(mode) ? sim_assign(SIM_SYSTEM, settings.telnet, mode) : OPEN_E_PARAM;
}

// Another way to get an address: the one given by hand is gone.
open_error_t protocol_set(OPEN_PROTOCOL_MODE_t mode)
{
  if (mode < OPEN_PROTOCOL_MODE_NONE || mode > OPEN_PROTOCOL_MODE_DHCP)
    return OPEN_E_PARAM;
  network_port_t network = settings.network;
  if (mode != network.protocol) {
    network = {};
    network.protocol = mode;
  }
  return sim_assign(SIM_SYSTEM, settings.network, network);
}

// A gateway of 0 is none.
open_error_t network_set(const open_inet_addr_t& ip, const open_inet_addr_t& mask,
                         const open_inet_addr_t& gateway)
{
  if (settings.network.protocol != OPEN_PROTOCOL_MODE_NONE)
    return OPEN_E_FAIL;  // the address is not given by hand
  const bool ipv4 =
      ip.family == OPEN_AF_INET && mask.family == OPEN_AF_INET && gateway.family == OPEN_AF_INET;
  network_port_t network;
  network.ip = ip.addr.ipv4;
  network.mask = mask.addr.ipv4;
  network.gateway = gateway.addr.ipv4;
  const bool contiguous = network.mask != 0 && (~network.mask & (~network.mask + 1)) == 0;
  if (!ipv4 || !sim_ipv4_is_host(network.ip) || !contiguous ||
      (network.gateway != 0 && ((network.gateway ^ network.ip) & network.mask) != 0))
    return OPEN_E_PARAM;
  return sim_assign(SIM_SYSTEM, settings.network, network);
}

open_error_t network_clear()
{
  network_port_t network;
  network.protocol = settings.network.protocol;
  return sim_assign(SIM_SYSTEM, settings.network, network);
}

// ---- configuration ----

sim_restore_t system_keep()
{
  return [kept = settings] { settings = kept; };
}

void system_clear()
{
  settings = {};
}

constexpr const char* PROTOCOLS[] = {"invalid", "none", "bootp", "dhcp"};
static_assert(std::size(PROTOCOLS) == OPEN_PROTOCOL_MODE_DHCP + 1);

void system_write(std::string& script)
{
  sim_cli_line(script, "hostname", settings.hostname);
  sim_cli_line(script, "prompt", settings.prompt);
  sim_cli_line(script, "serial timeout", settings.serial_timeout);
  sim_cli_line(script, "telnet server", settings.telnet);
  sim_cli_line(script, "network protocol", PROTOCOLS[settings.network.protocol]);
  if (settings.network.ip != 0) {
    sim_cli_line(script, "network address", sim_ipv4_text(settings.network.ip),
                 sim_ipv4_text(settings.network.mask), sim_ipv4_text(settings.network.gateway));
  }
}

constexpr sim_command_t COMMANDS[] = {
    {"hostname {t}",                        sim_cli_run<hostname_set>      },
    {"prompt {t}",                          sim_cli_run<prompt_set>        },
    {"serial timeout {n}",                  sim_cli_run<serial_timeout_set>},
    {"telnet server {disable|enable}",      sim_cli_run<telnet_set>        },
    {"network protocol {|none|bootp|dhcp}", sim_cli_run<protocol_set>      },
    {"network address {t} {t} {t}",         sim_cli_run<network_set>       },
    {"no network address",                  sim_cli_run<network_clear>     },
};
}  // namespace

const sim_area_t sim_system_area =
    sim_area_with_config(sim_area(system_clear), system_keep, system_clear, system_write, COMMANDS);

open_error_t rpcclt_openapiSystemHostnameSizeGet(openapiClientHandle_t* client_handle,
                                                 uint32_t* size)
{
  return sim_read(__func__, client_handle, size, NAME_MAX_LENGTH + 1);
}

open_error_t rpcclt_openapiSystemHostnameGet(openapiClientHandle_t* client_handle,
                                             open_buffdesc* hostname)
{
  const auto work = [&] { return sim_text_put(hostname, settings.hostname); };
  return sim_call(__func__, client_handle, work, sim_out(hostname));
}

open_error_t rpcclt_openapiSystemHostnameSet(openapiClientHandle_t* client_handle,
                                             open_buffdesc* hostname)
{
  const auto work = [&] { return hostname_set(sim_text(hostname)); };
  return sim_call(__func__, client_handle, work, hostname);
}

open_error_t rpcclt_openapiSystemPromptSet(openapiClientHandle_t* client_handle,
                                           open_buffdesc* prompt)
{
  const auto work = [&] { return prompt_set(sim_text(prompt)); };
  return sim_call(__func__, client_handle, work, prompt);
}

open_error_t rpcclt_openapiSerialTimeoutGet(openapiClientHandle_t* client_handle, uint32_t* timeout)
{
  return sim_read(__func__, client_handle, timeout, settings.serial_timeout);
}

open_error_t rpcclt_openapiSerialTimeoutSet(openapiClientHandle_t* client_handle, uint32_t timeout)
{
  return sim_set(__func__, client_handle, timeout, serial_timeout_set);
}

open_error_t rpcclt_openapiSerialTimeoutDefaultSet(openapiClientHandle_t* client_handle)
{
  return sim_call(
      __func__, client_handle, [] { return serial_timeout_set(SERIAL_TIMEOUT_DEFAULT); });
}

open_error_t rpcclt_openapiTelnetServerAdminModeGet(openapiClientHandle_t* client_handle,
                                                    OPEN_CONTROL_t* mode)
{
  return sim_read(__func__, client_handle, mode, settings.telnet);
}

open_error_t rpcclt_openapiTelnetServerAdminModeSet(openapiClientHandle_t* client_handle,
                                                    OPEN_CONTROL_t mode)
{
  return sim_set(__func__, client_handle, mode, telnet_set);
}

open_error_t rpcclt_openapiServicePortMaskGet(openapiClientHandle_t* client_handle,
                                              open_inet_addr_t* mask)
{
  const auto work = [&] { return sim_give(mask->addr.ipv4, SERVICE_PORT_MASK); };
  return sim_call(__func__, client_handle, work, sim_out(mask));
}

open_error_t rpcclt_openapiNetworkPortIPv4AddrGet(openapiClientHandle_t* client_handle,
                                                  open_inet_addr_t* ip, open_inet_addr_t* mask)
{
  const auto work = [&] {
    *ip = sim_ipv4(settings.network.ip);
    return sim_give(*mask, sim_ipv4(settings.network.mask));
  };
  return sim_call(__func__, client_handle, work, sim_out(ip), sim_out(mask));
}

open_error_t rpcclt_openapiNetworkPortGatewayIPv4AddrGet(openapiClientHandle_t* client_handle,
                                                         open_inet_addr_t* gateway)
{
  const auto work = [&] { return sim_give(*gateway, sim_ipv4(settings.network.gateway)); };
  return sim_call(__func__, client_handle, work, sim_out(gateway));
}

open_error_t rpcclt_openapiNetworkPortIPv4ParametersSet(openapiClientHandle_t* client_handle,
                                                        const open_inet_addr_t* ip,
                                                        const open_inet_addr_t* mask,
                                                        const open_inet_addr_t* gateway)
{
  const auto work = [&] { return network_set(*ip, *mask, *gateway); };
  return sim_call(__func__, client_handle, work, ip, mask, gateway);
}

open_error_t rpcclt_openapiNetworkPortIPv4ParametersDelete(openapiClientHandle_t* client_handle)
{
  return sim_call(__func__, client_handle, network_clear);
}

open_error_t rpcclt_openapiNetworkPortIPv4ProtocolModeGet(openapiClientHandle_t* client_handle,
                                                          OPEN_PROTOCOL_MODE_t* mode)
{
  return sim_read(__func__, client_handle, mode, settings.network.protocol);
}

open_error_t rpcclt_openapiNetworkPortIPv4ProtocolModeSet(openapiClientHandle_t* client_handle,
                                                          OPEN_PROTOCOL_MODE_t mode)
{
  return sim_set(__func__, client_handle, mode, protocol_set);
}

const std::string& sim_system_hostname()
{
  return settings.hostname;
}
