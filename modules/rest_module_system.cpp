#include "modules/rest_module_system.h"

#include <stdio.h>

#include <iterator>

#include "engine/rest_common.h"
#include "engine/rest_operation.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"

static constexpr int32_t SERIAL_TIMEOUT_DEFAULT = -1;

static constexpr size_t PROTOCOL_MODE_TEXT_SIZE = 8;

static constexpr const char* protocol_modes[] = {"Invalid", "None", "BOOTP", "DHCP"};
static_assert(std::size(protocol_modes) == OPEN_PROTOCOL_MODE_DHCP + 1);

static constexpr rest_route_t system_routes[] = {
    {REQUEST_METHOD_POST, "/system/reload",                api_system_reload               },
    {REQUEST_METHOD_GET,  "/system",                       api_system_get_global_settings  },
    {REQUEST_METHOD_PUT,  "/system/hostname",              api_system_update_hostname      },
    {REQUEST_METHOD_PUT,  "/system/serialTimeout",         api_system_update_serial_timeout},
    {REQUEST_METHOD_PUT,  "/system/telnetServerAdminMode",
     api_system_update_telnet_server_admin_mode                                            },
};

int system_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, system_routes);
}

RC_t get_protocol_mode_string_by_eum(OPEN_PROTOCOL_MODE_t mode, char* text)
{
  const char* mode_text = rest_enum_text(protocol_modes, mode);
  if (!mode_text || !text)
    return RC_FALSE;
  snprintf(text, PROTOCOL_MODE_TEXT_SIZE, "%s", mode_text);
  return RC_TRUE;
}

int api_system_reload(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value) || value < 1 || value > 3)
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, rpcclt_openapiSystemReloadSet(client_handle, static_cast<uint32_t>(value)));
  return answer_success(conn, "Reset the system is starting.");
}

// Hands the text of "value" to the switch.
static int system_update_text(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                              decltype(rpcclt_openapiSystemHostnameSet)* set, const char* message)
{
  char value[256];
  if (rest_get_var(conn, "value", value) <= 0)
    return answer_open_error(conn, OPEN_E_PARAM);
  open_buffdesc text = rest_text_desc(value);
  OPEN_OR_ANSWER(conn, set(client_handle, &text));
  return answer_success(conn, "%s", message);
}

int api_system_update_hostname(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return system_update_text(client_handle, conn, rpcclt_openapiSystemHostnameSet,
                            "Update system hostname successfully.");
}

int api_system_update_prompt(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return system_update_text(client_handle, conn, rpcclt_openapiSystemPromptSet,
                            "Update system prompt successfully.");
}

int api_system_update_serial_timeout(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn)
{
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value))
    return answer_open_error(conn, OPEN_E_PARAM);
  if (value == SERIAL_TIMEOUT_DEFAULT) {
    OPEN_OR_ANSWER(conn, rpcclt_openapiSerialTimeoutDefaultSet(client_handle));
    return answer_success(conn, "Update system serial timeout to default successfully.");
  }
  OPEN_OR_ANSWER(conn, rpcclt_openapiSerialTimeoutSet(client_handle, static_cast<uint32_t>(value)));
  return answer_success(conn, "Update system serial timeout successfully.");
}

int api_system_update_telnet_server_admin_mode(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn)
{
  return answer_number_update(client_handle, conn, rpcclt_openapiTelnetServerAdminModeSet,
                              "Update system telnet server admin mode successfully.");
}

// Appends an IPv4 address whose family the switch need not have set.
static RC_t append_ipv4(openapiClientHandle_t* client_handle, node_t* list, const char* name,
                        open_inet_addr_t address)
{
  address.family = OPEN_AF_INET;
  char text[REST_ADDRESS_TEXT_SIZE];
  if (convert_inet_addr_to_ip_string(client_handle, &address, text) != RC_TRUE)
    return RC_FALSE;
  append_tree_field(list, name, text);
  return RC_TRUE;
}

int api_system_get_global_settings(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  uint32_t hostname_size = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiSystemHostnameSizeGet(client_handle, &hostname_size));
  switch_text hostname = switch_text_new(hostname_size);
  if (!hostname.text)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  OPEN_OR_ANSWER(conn, rpcclt_openapiSystemHostnameGet(client_handle, &hostname.desc));

  uint32_t timeout = 0;
  OPEN_CONTROL_t telnet_mode = OPEN_DISABLE;
  open_inet_addr_t mask = {};
  OPEN_OR_ANSWER(conn, rpcclt_openapiSerialTimeoutGet(client_handle, &timeout));
  OPEN_OR_ANSWER(conn, rpcclt_openapiTelnetServerAdminModeGet(client_handle, &telnet_mode));
  OPEN_OR_ANSWER(conn, rpcclt_openapiServicePortMaskGet(client_handle, &mask));
  char telnet_text[sizeof "disable"] = "";
  get_control_string_by_eum(telnet_mode, telnet_text);

  tree_ptr tree(new_tree());
  node_t* info = append_tree_group(tree.get(), "infomation");
  append_tree_field(info, "hostname", hostname.text.get());
  append_tree_field(info, "serial_timeout", static_cast<int>(timeout));
  append_tree_field(info, "telnet_srver_admin_mode", telnet_text);
  if (append_ipv4(client_handle, info, "service_port_mask", mask) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  return answer_data(conn, std::move(tree));
}

int api_system_get_networkport_ipv4(openapiClientHandle_t* client_handle,
                                    struct mg_connection* conn)
{
  open_inet_addr_t ip = {};
  open_inet_addr_t mask = {};
  open_inet_addr_t gateway = {};
  OPEN_PROTOCOL_MODE_t mode = OPEN_PROTOCOL_MODE_INVALID;
  OPEN_OR_ANSWER(conn, rpcclt_openapiNetworkPortIPv4AddrGet(client_handle, &ip, &mask));
  OPEN_OR_ANSWER(conn, rpcclt_openapiNetworkPortGatewayIPv4AddrGet(client_handle, &gateway));
  OPEN_OR_ANSWER(conn, rpcclt_openapiNetworkPortIPv4ProtocolModeGet(client_handle, &mode));

  char mode_text[PROTOCOL_MODE_TEXT_SIZE] = "";
  tree_ptr tree(new_tree());
  node_t* info = append_tree_group(tree.get(), "infomation");
  if (append_ipv4(client_handle, info, "ip_address", ip) != RC_TRUE ||
      append_ipv4(client_handle, info, "netmask", mask) != RC_TRUE ||
      append_ipv4(client_handle, info, "gateway", gateway) != RC_TRUE ||
      get_protocol_mode_string_by_eum(mode, mode_text) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_INTERNAL);
  append_tree_field(info, "protocol_mode", mode_text);
  return answer_data(conn, std::move(tree));
}

static open_error_t system_read_address(openapiClientHandle_t* client_handle,
                                        struct mg_connection* conn, const char* name,
                                        open_inet_addr_t& address)
{
  char text[REST_ADDRESS_TEXT_SIZE];
  if (rest_get_var(conn, name, text) <= 0)
    return OPEN_E_PARAM;
  return convert_ip_string_to_inet_addr(client_handle, text, &address) == RC_TRUE ? OPEN_E_NONE
                                                                                  : OPEN_E_INTERNAL;
}

int api_system_update_networkport_ipv4_parameters(openapiClientHandle_t* client_handle,
                                                  struct mg_connection* conn)
{
  open_inet_addr_t ip = {};
  open_inet_addr_t mask = {};
  open_inet_addr_t gateway = {};
  OPEN_OR_ANSWER(conn, system_read_address(client_handle, conn, "ip", ip));
  OPEN_OR_ANSWER(conn, system_read_address(client_handle, conn, "mask", mask));
  OPEN_OR_ANSWER(conn, system_read_address(client_handle, conn, "gateway", gateway));
  OPEN_OR_ANSWER(conn,
                 rpcclt_openapiNetworkPortIPv4ParametersSet(client_handle, &ip, &mask, &gateway));
  return answer_success(conn, "Update network port IPv4 parameters successfully.");
}

int api_system_update_networkport_ipv4_protocol_mode(openapiClientHandle_t* client_handle,
                                                     struct mg_connection* conn)
{
  return answer_number_update(client_handle, conn, rpcclt_openapiNetworkPortIPv4ProtocolModeSet,
                              "Update network port IPv4 protocol mode successfully.");
}

int api_system_delete_networkport_ipv4_parameters(openapiClientHandle_t* client_handle,
                                                  struct mg_connection* conn)
{
  OPEN_OR_ANSWER(conn, rpcclt_openapiNetworkPortIPv4ParametersDelete(client_handle));
  return answer_success(conn, "Delete network port IPv4 parameters successfully.");
}
