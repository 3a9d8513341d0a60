#include "modules/rest_module_interface.h"

#include <stdio.h>
#include <string.h>

#include <iterator>

#include "engine/rest_address.h"
#include "engine/rest_common.h"
#include "engine/rest_operation.h"
#include "engine/rest_path.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "engine/rest_walk.h"
#include "modules/rest_module_vlan.h"
#include "platform/openapi_vlan.h"

// Result codes of this module besides success.
static constexpr uint16_t INTERFACE_CODE_REFUSED = 1;
static constexpr uint16_t INTERFACE_CODE_VLAN_INVALID = 2;

static constexpr rest_route_t interface_routes[] = {
    {REQUEST_METHOD_POST,   "/if/{n}/vlan/{n}",             api_interface_create_specified_num_to_vlan  },
    {REQUEST_METHOD_POST,   "/if/{n}/trunk/vlan",           api_interface_create_switchport_trunk_vlan  },
    {REQUEST_METHOD_GET,    "/if/{n}",                      api_interface_get_specified_num             },
    {REQUEST_METHOD_GET,    "/if",                          api_interface_get_list                      },
    {REQUEST_METHOD_GET,    "/if/pendingChanges",           api_interface_get_list_pending              },
    {REQUEST_METHOD_GET,    "/if/{n}/vlan/{n}",             api_interface_get_to_vlan                   },
    {REQUEST_METHOD_GET,    "/if/{n}/vlan",                 api_interface_get_to_vlan_list              },
    {REQUEST_METHOD_GET,    "/if/{n}/counters",             api_interface_get_counters                  },
    {REQUEST_METHOD_GET,    "/if/{n}/switchportMode",       api_interface_get_switchport_mode           },
    {REQUEST_METHOD_PUT,    "/if/{n}/pvid",                 api_interface_update_pvid                   },
    {REQUEST_METHOD_PUT,    "/if/{n}/acceptFrameType",      api_interface_update_accept_frame_type      },
    {REQUEST_METHOD_PUT,    "/if/{n}/adminState",           api_interface_update_admin_state            },
    {REQUEST_METHOD_PUT,    "/if/{n}/autoNegMode",          api_interface_update_auto_neg_mode          },
    {REQUEST_METHOD_PUT,    "/if/{n}/description",          api_interface_update_description            },
    {REQUEST_METHOD_PUT,    "/if/{n}/mtuSize",              api_interface_update_mtu_size               },
    {REQUEST_METHOD_PUT,    "/if/{n}/speed",                api_interface_update_speed                  },
    {REQUEST_METHOD_PUT,    "/if/{n}/vlan/{n}/taggingMode", api_interface_update_to_vlan_tagging_mode   },
    {REQUEST_METHOD_PUT,    "/if/{n}/counters/reset",       api_interface_update_counters_reset         },
    {REQUEST_METHOD_PUT,    "/if/{n}/switchportMode",       api_interface_update_switchport_mode        },
    {REQUEST_METHOD_PUT,    "/if/{n}/trunk/pvid",           api_interface_update_switchport_trunk_pvid  },
    {REQUEST_METHOD_PUT,    "/if/{n}/access/vlan",          api_interface_update_switchport_access_vlan },
    {REQUEST_METHOD_PUT,    "/if/{n}/trunk/vlan",           api_interface_update_switchport_trunk_vlan  },
    {REQUEST_METHOD_DELETE, "/if/{n}/vlan/{n}",             api_interface_delete_specified_num_from_vlan},
    {REQUEST_METHOD_DELETE, "/if/{n}/trunk/vlan",           api_interface_delete_switchport_trunk_vlan  },
};

int interface_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, interface_routes);
}

// The numbers of a path /if/{if} and /if/{if}/vlan/{vid}.
static int path_if_num(const struct mg_connection* conn)
{
  return rest_path_number(conn->uri, 1);
}

static int path_vid(const struct mg_connection* conn)
{
  return rest_path_number(conn->uri, 3);
}

// ---- texts ----

static constexpr const char* counter_names[] = {
    "CTR_RESERVED",
    "CTR_RX_TOTAL_BYTES",
    "CTR_RX_64",
    "CTR_RX_65_127",
    "CTR_RX_128_255",
    "CTR_RX_256_511",
    "CTR_RX_512_1023",
    "CTR_RX_1024_1518",
    "CTR_RX_1519_1530",
    "CTR_RX_GOOD_OVERSIZE",
    "CTR_RX_ERROR_OVERSIZE",
    "CTR_RX_GOOD_UNDERSIZE",
    "CTR_RX_ERROR_UNDERSIZE",
    "CTR_RX_UCAST_FRAMES",
    "CTR_RX_MCAST_FRAMES",
    "CTR_RX_BCAST_FRAMES",
    "CTR_RX_ALIGN_ERRORS",
    "CTR_RX_FCS_ERRORS",
    "CTR_RX_OVERRUNS",
    "CTR_RX_FRAME_TOO_LONG",
    "CTR_TX_TOTAL_BYTES",
    "CTR_TX_64",
    "CTR_TX_65_127",
    "CTR_TX_128_255",
    "CTR_TX_256_511",
    "CTR_TX_512_1023",
    "CTR_TX_1024_1518",
    "CTR_TX_1519_1530",
    "CTR_TX_UCAST_FRAMES",
    "CTR_TX_MCAST_FRAMES",
    "CTR_TX_BCAST_FRAMES",
    "CTR_TX_FCS_ERRORS",
    "CTR_TX_OVERSIZED",
    "CTR_TX_UNDERRUN_ERRORS",
    "CTR_TX_ONE_COLLISION",
    "CTR_TX_MULTIPLE_COLLISION",
    "CTR_TX_EXCESSIVE_COLLISION",
    "CTR_TX_LATE_COLLISION",
    "CTR_TX_RX_64",
    "CTR_TX_RX_65_127",
    "CTR_TX_RX_128_255",
    "CTR_TX_RX_256_511",
    "CTR_TX_RX_512_1023",
    "CTR_TX_RX_1024_1518",
    "CTR_TX_RX_1519_1522",
    "CTR_TX_RX_1523_2047",
    "CTR_TX_RX_2048_4095",
    "CTR_TX_RX_4096_9216",
    "CTR_ETHER_STATS_DROP_EVENTS",
    "CTR_SNMPIFOUTDISCARD_FRAMES",
    "CTR_SNMPIFINDISCARD_FRAMES",
    "CTR_RX_TOTAL_FRAMES",
    "CTR_RX_TOTAL_ERROR_FRAMES",
    "CTR_TX_TOTAL_FRAMES",
    "CTR_TX_TOTAL_ERROR_FRAMES",
    "CTR_TX_TOTAL_COLLISION_FRAMES",
    "CTR_RX_CRC_ERRORS",
    "CTR_RX_TOTAL_MAC_ERROR_FRAMES",
    "CTR_RX_RATE_BITS",
    "CTR_TX_RATE_BITS",
    "CTR_RX_RATE_FRAMES",
    "CTR_TX_RATE_FRAMES",
    "CTR_ETHER_STATS_HOLD",
};
static_assert(std::size(counter_names) == OPEN_CTR_ETHER_STATS_HOLD + 1, "one name a counter");

RC_t get_counter_name_by_id(uint32_t counterId, char* out_counterName)
{
  const char* name = counterId < std::size(counter_names) ? counter_names[counterId] : "";
  snprintf(out_counterName, INTERFACE_COUNTER_NAME_SIZE, "%s", name);
  return RC_TRUE;
}

// The values of the speeds stand in two groups.
static constexpr const char* speed_texts[] = {
    nullptr,       "auto neg",   "half 100tx", "full 100tx", "half 10t", "full 10t", "full 100fx",
    "full 1000sx", "full 10gsx", "full 20gsx", "full 40gsx", nullptr,    nullptr,    "AAL5 155",
};
static_assert(std::size(speed_texts) == OPEN_PORTCTRL_PORTSPEED_AAL5_155 + 1, "one text a speed");
static constexpr const char* high_speed_texts[] = {"full 2P5fx", "LAG", "unknown"};

RC_t get_speed_string_by_eum(OPEN_PORT_SPEEDS_t speedEnum, char* out_speedStr)
{
  const char* text =
      speedEnum < OPEN_PORTCTRL_PORTSPEED_FULL_2P5FX
          ? rest_enum_text(speed_texts, speedEnum)
          : rest_enum_text(high_speed_texts, speedEnum - OPEN_PORTCTRL_PORTSPEED_FULL_2P5FX);
  snprintf(out_speedStr, INTERFACE_SPEED_TEXT_SIZE, "%s", text ? text : "-");
  return RC_TRUE;
}

static constexpr const char* auto_neg_texts[] = {"enable", "disable"};
static constexpr const char* duplex_texts[] = {"half", "full"};
static constexpr const char* link_texts[] = {"up", "down"};
static constexpr const char* accept_frame_texts[] = {nullptr, "all", "tagged", "untagged"};
static constexpr const char* switchport_texts[] = {nullptr, "general", "access", "trunk"};

// Like rest_enum_text, for the enumerations that have a value of their own for what is not known.
template <size_t N>
static const char* enum_text_or_unknown(const char* const (&table)[N], int32_t value)
{
  constexpr int32_t UNKNOWN = 65535;
  static_assert(OPEN_PORT_AUTO_NEG_UNKNOWN == UNKNOWN && OPEN_PORT_DUPLEX_UNKNOWN == UNKNOWN);
  return value == UNKNOWN ? "unknown" : rest_enum_text(table, value);
}

// ---- queries ----

int api_interface_get_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* interfaces = append_tree_group(tree.get(), "interfaces");
  const auto append_interface = [&](uint32_t if_num, uint32_t position) {
    append_tree_field(append_tree_entry(interfaces, position, "interface"), "ifNum",
                      static_cast<int>(if_num));
    return OPEN_E_NONE;
  };
  OPEN_OR_ANSWER(conn, walk_interfaces(client_handle, OPEN_INTF_TYPE_PHY, append_interface));
  return answer_data(conn, std::move(tree));
}

int api_interface_get_list_pending(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  uint32_t first = 0;  // asked for as a check only
  OPEN_OR_ANSWER(conn, openapiIfFirstGet(client_handle, OPEN_INTF_TYPE_PHY, &first));
  tree_ptr tree(new_tree());
  append_pending_changes(append_tree_group(tree.get(), "pending_interfaces"), "interface", "ifNum",
                         client_handle, openapiIfNextChangedGet, 0);
  return answer_data(conn, std::move(tree));
}

int api_interface_get_specified_num(openapiClientHandle_t* client_handle,
                                    struct mg_connection* conn)
{
  int if_num = path_if_num(conn);
  OPEN_CONTROL_t admin_state = OPEN_DISABLE;
  OPEN_PORT_AUTO_NEG_t auto_neg = OPEN_PORT_AUTO_NEG_UNKNOWN;
  char description[256] = "";
  open_buffdesc description_desc = rest_buffer_desc(description);
  OPEN_PORT_DUPLEX_t duplex = OPEN_PORT_DUPLEX_UNKNOWN;
  OPEN_LINK_STATE_t link_state = OPEN_LINK_DOWN;
  char mac_address[256] = "";
  open_buffdesc mac_address_desc = rest_buffer_desc(mac_address);
  uint32_t mtu_size = 0;
  char name[256] = "";
  open_buffdesc name_desc = rest_buffer_desc(name);
  OPEN_CONTROL_t soft_shutdown = OPEN_DISABLE;  // asked for as a check only
  OPEN_PORT_SPEEDS_t speed = OPEN_PORTCTRL_PORTSPEED_UNKNOWN;
  uint32_t pvid = 0;
  OPEN_DOT1Q_ACCEPT_FRAME_TYPE_t accept_frame_type = OPEN_DOT1Q_ADMIT_ALL;
  OPEN_OR_ANSWER(conn, openapiIfAdminStateGet(client_handle, if_num, &admin_state));
  OPEN_OR_ANSWER(conn, openapiIfAutoNegGet(client_handle, if_num, &auto_neg));
  OPEN_OR_ANSWER(conn, rpcclt_openapiIfDescrGet(client_handle, if_num, &description_desc));
  OPEN_OR_ANSWER(conn, openapiIfDuplexModeGet(client_handle, if_num, &duplex));
  OPEN_OR_ANSWER(conn, openapiIfLinkStateGet(client_handle, if_num, &link_state));
  OPEN_OR_ANSWER(conn, rpcclt_openapiIfMacAddrGet(client_handle, if_num, &mac_address_desc));
  OPEN_OR_ANSWER(conn, openapiIfMtuSizeGet(client_handle, if_num, &mtu_size));
  OPEN_OR_ANSWER(conn, openapiIfNameGet(client_handle, if_num, &name_desc));
  OPEN_OR_ANSWER(conn, rpcclt_openapiIfSoftShutdownStateGet(client_handle, if_num, &soft_shutdown));
  OPEN_OR_ANSWER(conn, openapiIfSpeedGet(client_handle, if_num, &speed));
  // A port without link need not have a PVID.
  open_error_t pvid_result = openapiVlanIfPvidGet(client_handle, if_num, &pvid);
  if (pvid_result != OPEN_E_NONE && link_state == OPEN_LINK_UP)
    return answer_open_error(conn, pvid_result);
  OPEN_OR_ANSWER(conn,
                 rpcclt_openapiVlanIfAcceptFrameTypeGet(client_handle, if_num, &accept_frame_type));

  char admin_text[sizeof "disable"];
  char speed_text[INTERFACE_SPEED_TEXT_SIZE];
  get_control_string_by_eum(admin_state, admin_text);
  get_speed_string_by_eum(speed, speed_text);
  tree_ptr tree(new_tree());
  node_t* info = append_tree_group(tree.get(), "interface");
  append_tree_field(info, "ifNum", if_num);
  append_tree_field(info, "interfaceName", name);
  append_tree_field(info, "description", description_desc.size < 2 ? "-" : description);
  append_tree_field(info, "adminState", admin_text);
  append_tree_field(info, "linkState", rest_enum_text(link_texts, link_state));
  append_tree_field(info, "speed", speed_text);
  append_tree_field(info, "pvid", static_cast<int>(pvid));
  append_tree_field(info, "acceptFrameType", rest_enum_text(accept_frame_texts, accept_frame_type));
  append_tree_field(info, "autoNegMode", enum_text_or_unknown(auto_neg_texts, auto_neg));
  append_tree_field(info, "duplexMode", enum_text_or_unknown(duplex_texts, duplex));
  append_tree_field(info, "MAC_address", mac_address);
  append_tree_field(info, "MTU_size", static_cast<int>(mtu_size));
  open_inet_pfx_t primary;
  if (rest_primary_ipv4(client_handle, if_num, primary))
    append_tree_ipv4(client_handle, info, "primary_ip_address", "primary_ip_address", primary);
  append_tree_secondary_ipv4(client_handle, info, if_num, "secondary_ip_addresses");
  append_tree_ipv6(client_handle, info, if_num);
  return answer_data(conn, std::move(tree));
}

int api_interface_get_to_vlan(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int if_num = path_if_num(conn);
  int vid = path_vid(conn);
  OPEN_VLAN_PARTICIPATION_MODE_t mode = OPEN_VLAN_PARTICIPATION_MODE_INCLUDE;
  uint32_t tagging = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiVlanIfParticipationGet(client_handle, vid, if_num, &mode));
  OPEN_OR_ANSWER(conn, openapiVlanIfTaggingGet(client_handle, if_num, vid, &tagging));

  tree_ptr tree(new_tree());
  node_t* participation = append_tree_group(tree.get(), "participation");
  append_tree_field(participation, "ifNum", if_num);
  append_tree_field(participation, "vlanId", vid);
  append_tree_field(participation, "participationMode", get_participation_mode_text(mode));
  append_tree_field(participation, "isTagging", static_cast<int>(tagging));
  return answer_data(conn, std::move(tree));
}

int api_interface_get_to_vlan_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int if_num = path_if_num(conn);
  tree_ptr tree(new_tree());
  node_t* participations = append_tree_group(tree.get(), "participations");
  // The one list that counts from 0 on, members or not.
  uint32_t vid = 1;
  for (uint32_t position = 0; vid != 0; position++) {
    uint32_t status = 0;
    OPEN_OR_ANSWER(conn, openapiVlanIfParticipationStatusGet(client_handle, vid, if_num, &status));
    if (status == 1)
      append_tree_field(append_tree_entry(participations, position, "participation"), "vlanId",
                        static_cast<int>(vid));
    vid = walk_next_vlan(client_handle, vid);
  }
  return answer_data(conn, std::move(tree));
}

int api_interface_get_counters(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  int if_num = path_if_num(conn);
  tree_ptr tree(new_tree());
  node_t* counters = append_tree_group(tree.get(), "counters");
  uint32_t position = 1;
  for (uint32_t id = 0; id < std::size(counter_names); id++) {
    uint64_t value = 0;
    open_error_t result =
        rpcclt_openapiStatGet(client_handle, static_cast<OPEN_COUNTER_ID_t>(id), if_num, &value);
    if (result == OPEN_E_NOT_FOUND)
      continue;
    if (result != OPEN_E_NONE)
      return answer_open_error(conn, result);
    char name[INTERFACE_COUNTER_NAME_SIZE];
    get_counter_name_by_id(id, name);
    node_t* entry = append_tree_entry(counters, position++, "counter");
    append_tree_field(entry, "counterId", static_cast<int>(id));
    append_tree_field(entry, "counterName", name);
    // A tree holds 32-bit numbers only: the low half of the counter.
    append_tree_field(entry, "counterValue", static_cast<int>(static_cast<uint32_t>(value)));
  }
  return answer_data(conn, std::move(tree));
}

int api_interface_get_switchport_mode(openapiClientHandle_t* client_handle,
                                      struct mg_connection* conn)
{
  OPEN_VLAN_INTF_SWITCHPORT_MODE_t mode = {};
  OPEN_OR_ANSWER(conn, rpcclt_openapiIfSwitchportModeGet(client_handle, path_if_num(conn), &mode));
  tree_ptr tree(new_tree());
  append_tree_field(tree.get(), "mode", rest_enum_text(switchport_texts, mode));
  return answer_data(conn, std::move(tree));
}

// ---- updates ----

// A whole update that hands the number "value" to one call; the switch judges it. No number reads
// like OPEN_E_PARAM.
template <class T>
static int interface_update(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                            open_error_t (*set)(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, T value),
                            const char* setting)
{
  int if_num = path_if_num(conn);
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, set(client_handle, if_num, static_cast<T>(value)));
  return answer_success(conn, "Update %s of Interface %d successfully.", setting, if_num);
}

int api_interface_update_pvid(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return interface_update(client_handle, conn, rpcclt_openapiVlanIfPvidSet, "PVID");
}

int api_interface_update_accept_frame_type(openapiClientHandle_t* client_handle,
                                           struct mg_connection* conn)
{
  return interface_update(client_handle, conn, rpcclt_openapiVlanIfAcceptFrameTypeSet,
                          "acceptFrameType");
}

int api_interface_update_admin_state(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn)
{
  return interface_update(client_handle, conn, rpcclt_openapiIfAdminStateSet,
                          "administrative state");
}

int api_interface_update_mtu_size(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return interface_update(client_handle, conn, rpcclt_openapiIfMtuSizeSet, "MTU size");
}

int api_interface_update_speed(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return interface_update(client_handle, conn, rpcclt_openapiIfSpeedSet, "speed");
}

int api_interface_update_switchport_mode(openapiClientHandle_t* client_handle,
                                         struct mg_connection* conn)
{
  return interface_update(client_handle, conn, rpcclt_openapiIfSwitchportModeSet,
                          "switchport mode");
}

int api_interface_update_soft_shutdown_state(openapiClientHandle_t* client_handle,
                                             struct mg_connection* conn)
{
  return interface_update(client_handle, conn, rpcclt_openapiIfSoftShutdownStateSet,
                          "soft-shutdown state");
}

int api_interface_update_to_vlan_tagging_mode(openapiClientHandle_t* client_handle,
                                              struct mg_connection* conn)
{
  int if_num = path_if_num(conn);
  int vid = path_vid(conn);
  int32_t value = 0;
  if (!rest_get_number(conn, "value", value))
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_OR_ANSWER(conn, rpcclt_openapiVlanIfTaggingSet(client_handle, if_num, vid, value));
  return answer_success(conn, "Update tagging mode of Interface %d in VLAN %d successfully.",
                        if_num, vid);
}

int api_interface_update_auto_neg_mode(openapiClientHandle_t* client_handle,
                                       struct mg_connection* conn)
{
  int if_num = path_if_num(conn);
  char value[256];
  int32_t control = OPEN_DISABLE;
  if (rest_get_var(conn, "value", value) <= 0 ||
      check_string_is_number_within_rest_control(value, &control) != RC_TRUE)
    return answer_open_error(conn, OPEN_E_PARAM);
  OPEN_IF_CONNECTOR_TYPE_t connector = OPEN_CONNECTOR_NONE;
  OPEN_OR_ANSWER(conn, rpcclt_openapiIfConnectorTypeGet(client_handle, if_num, &connector));
  if (connector != OPEN_RJ45)
    return answer_failure(conn, INTERFACE_CODE_REFUSED,
                          "Unable to update auto-negotiation mode of Interface %d.", if_num);
  OPEN_PORT_AUTO_NEG_t mode =
      control == OPEN_ENABLE ? OPEN_PORT_AUTO_NEG_ENABLE : OPEN_PORT_AUTO_NEG_DISABLE;
  OPEN_OR_ANSWER(conn, rpcclt_openapiIfAutoNegSet(client_handle, if_num, mode));
  return answer_success(conn, "Update auto-negotiation mode of Interface %d successfully.", if_num);
}

int api_interface_update_description(openapiClientHandle_t* client_handle,
                                     struct mg_connection* conn)
{
  int if_num = path_if_num(conn);
  char description[256];
  rest_get_var(conn, "value", description);
  uint32_t length_max = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiIfDescrSizeGet(client_handle, if_num, &length_max));
  if (description[0] == '\0' || strlen(description) > length_max)
    return answer_failure(conn, INTERFACE_CODE_REFUSED, "The value of parameter is invalid.");
  open_buffdesc description_desc = rest_unterminated_desc(description);
  OPEN_OR_ANSWER(conn, rpcclt_openapiIfDescrSet(client_handle, if_num, &description_desc));
  return answer_success(conn, "Update description of Interface %d successfully.", if_num);
}

int api_interface_update_counters_reset(openapiClientHandle_t* client_handle,
                                        struct mg_connection* conn)
{
  constexpr int32_t ALL_COUNTERS = -1;
  int if_num = path_if_num(conn);
  int32_t id = 0;
  if (!rest_get_number(conn, "counter", id))
    return answer_open_error(conn, OPEN_E_PARAM);
  if (id == ALL_COUNTERS) {
    OPEN_OR_ANSWER(conn, rpcclt_openapiInterfaceStatsReset(client_handle, if_num));
    return answer_success(conn, "Reset all counters of Interface %d successfully.", if_num);
  }
  OPEN_OR_ANSWER(
      conn, rpcclt_openapiStatReset(client_handle, static_cast<OPEN_COUNTER_ID_t>(id), if_num));
  char name[INTERFACE_COUNTER_NAME_SIZE];
  get_counter_name_by_id(id, name);
  return answer_success(conn, "Reset the counter %s of Interface %d successfully.", name, if_num);
}

// ---- membership in VLANs ----

int api_interface_create_specified_num_to_vlan(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn)
{
  int if_num = path_if_num(conn);
  int vid = path_vid(conn);
  OPEN_OR_ANSWER(conn, rpcclt_openapiVlanIfParticipationSet(client_handle, vid, if_num,
                                                            OPEN_VLAN_PARTICIPATION_MODE_INCLUDE));
  return answer_success(conn, "Configure Interface %d to VLAN %d successfully.", if_num, vid);
}

int api_interface_delete_specified_num_from_vlan(openapiClientHandle_t* client_handle,
                                                 struct mg_connection* conn)
{
  int if_num = path_if_num(conn);
  int vid = path_vid(conn);
  uint32_t pvid = 0;
  OPEN_OR_ANSWER(conn, openapiVlanIfPvidGet(client_handle, if_num, &pvid));
  if (static_cast<uint32_t>(vid) == pvid)
    return answer_failure(conn, INTERFACE_CODE_REFUSED,
                          "Delete VLAN %d failed. VLAN %d is native vlan.", vid, vid);
  // Not Exclude: the switch may still put the interface into the VLAN by itself.
  OPEN_OR_ANSWER(conn, rpcclt_openapiVlanIfParticipationSet(client_handle, vid, if_num,
                                                            OPEN_VLAN_PARTICIPATION_MODE_AUTO));
  return answer_success(conn, "Delete Interface %d from VLAN %d successfully.", if_num, vid);
}

// A whole switchport update with the VLAN number, or the list that starts with one, of the request.
// apply(text, vid) makes the call. invalid_result is returned after the number was refused.
template <class Apply>
static int switchport_vlan_update(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                                  const char* verb, const char* setting, int invalid_result,
                                  Apply apply)
{
  char value[256];
  if (rest_get_var(conn, "value", value) <= 0)
    return answer_open_error(conn, OPEN_E_PARAM);
  uint32_t vlan_max = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiDot1VlanMaxGet(client_handle, &vlan_max));
  uint32_t vid = static_cast<uint32_t>(rest_atoi(value));
  if (vid == 0 || vid > vlan_max) {
    answer_failure(conn, INTERFACE_CODE_VLAN_INVALID, "VLAN ID not valid.");
    return invalid_result;
  }
  OPEN_OR_ANSWER(conn, apply(value, vid));
  return answer_success(conn, "%s %s of Interface %d successfully.", verb, setting,
                        path_if_num(conn));
}

static int switchport_number_update(openapiClientHandle_t* client_handle,
                                    struct mg_connection* conn, const char* setting,
                                    open_error_t (*set)(openapiClientHandle_t* client_handle,
                                                        uint32_t ifNum, uint32_t vid))
{
  return switchport_vlan_update(
      client_handle, conn, "Update", setting, 1,
      [&](char*, uint32_t vid) { return set(client_handle, path_if_num(conn), vid); });
}

static int switchport_list_update(
    openapiClientHandle_t* client_handle, struct mg_connection* conn, const char* verb,
    open_error_t (*set)(openapiClientHandle_t* client_handle, uint32_t ifNum,
                        OPEN_VLAN_LIST_OPERATION_t operation, open_buffdesc* vlanList),
    OPEN_VLAN_LIST_OPERATION_t operation)
{
  return switchport_vlan_update(
      client_handle, conn, verb, "trunk mode vlan", 0,
      [&](char* list, uint32_t) {
        open_buffdesc list_desc = rest_unterminated_desc(list);
        return set(client_handle, path_if_num(conn), operation, &list_desc);
      });
}

int api_interface_update_switchport_access_vlan(openapiClientHandle_t* client_handle,
                                                struct mg_connection* conn)
{
  return switchport_number_update(client_handle, conn, "access mode vlan",
                                  rpcclt_openapiIfSwitchportAccessVlanSet);
}

int api_interface_update_switchport_trunk_pvid(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn)
{
  return switchport_number_update(client_handle, conn, "trunk mode pvid",
                                  rpcclt_openapiIfSwitchportTrunkNativeVlanSet);
}

int api_interface_create_switchport_trunk_vlan(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn)
{
  return switchport_list_update(client_handle, conn, "Update",
                                rpcclt_openapiIfSwitchportTrunkVlanCreate, OPEN_VLAN_LIST_ADD);
}

int api_interface_update_switchport_trunk_vlan(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn)
{
  return switchport_list_update(client_handle, conn, "Update",
                                rpcclt_openapiIfSwitchportTrunkVlanSet, OPEN_VLAN_LIST_ADD);
}

int api_interface_delete_switchport_trunk_vlan(openapiClientHandle_t* client_handle,
                                               struct mg_connection* conn)
{
  return switchport_list_update(client_handle, conn, "Delete",
                                rpcclt_openapiIfSwitchportTrunkVlanSet, OPEN_VLAN_LIST_REMOVE);
}
