#include "modules/rest_module_boxs.h"

#include <stdio.h>

#include <algorithm>
#include <iterator>

#include "engine/rest_operation.h"
#include "engine/rest_route.h"
#include "modules/rest_strlib_enum.h"
#include "platform/openapi_if.h"

static constexpr rest_route_t boxs_routes[] = {
    {REQUEST_METHOD_GET, "/boxs",             api_boxs_get_info             },
    {REQUEST_METHOD_GET, "/boxs/fans",        api_boxs_get_fan_list         },
    {REQUEST_METHOD_GET, "/boxs/powSupplies", api_boxs_get_power_supply_list},
    {REQUEST_METHOD_GET, "/boxs/tempSensors", api_boxs_get_temp_sensor_list },
    {REQUEST_METHOD_GET, "/boxs/sfp",         api_boxs_get_sfp_list         },
};

int boxs_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, boxs_routes);
}

// --- display texts, indexed by value ---

static const char* const* const item_types[] = {
    &pStr_enumBoxsItemType_None,
    &pStr_enumBoxsItemType_Fixed,
    &pStr_enumBoxsItemType_Removable,
};
static_assert(std::size(item_types) == OPEN_TYPE_REMOVABLE + 1);

static const char* const* const item_states[] = {
    &pStr_enumBoxsItemState_None,        &pStr_enumBoxsItemState_NotPresent,
    &pStr_enumBoxsItemState_Operational, &pStr_enumBoxsItemState_Failed,
    &pStr_enumBoxsItemState_Powering,    &pStr_enumBoxsItemState_NoPower,
    &pStr_enumBoxsItemState_NotPowering, &pStr_enumBoxsItemState_Incompatible,
};
static_assert(std::size(item_states) == OPEN_ITEMSTATE_INCOMPATIBLE + 1);

static const char* const* const tempsensor_states[] = {
    &pStr_enumBoxsTempsensorState_None,           &pStr_enumBoxsTempsensorState_Normal,
    &pStr_enumBoxsTempsensorState_Warning,        &pStr_enumBoxsTempsensorState_Critical,
    &pStr_enumBoxsTempsensorState_Shutdown,       &pStr_enumBoxsTempsensorState_NotPresent,
    &pStr_enumBoxsTempsensorState_NotOperational,
};
static_assert(std::size(tempsensor_states) == OPEN_TEMPSENSOR_STATE_NOTOPERATIONAL + 1);

static const char* const* const sfp_module_types[] = {
    &pStr_enumSfpModuleType_None,  &pStr_enumSfpModuleType_Sfp,   &pStr_enumSfpModuleType_SfpPlus,
    &pStr_enumSfpModuleType_Qsfp,  &pStr_enumSfpModuleType_Dac,   &pStr_enumSfpModuleType_Giobre,
    &pStr_enumSfpModuleType_Ax742, &pStr_enumSfpModuleType_Ax743, &pStr_enumSfpModuleType_Ax744,
    &pStr_enumSfpModuleType_Ax745,
};
static_assert(std::size(sfp_module_types) == OPEN_MODULE_AX745 + 1);

template <size_t N>
static RC_t boxs_text(const char* const* const (&texts)[N], int32_t value, char* text,
                      uint32_t size)
{
  if (!text)
    return RC_FALSE;
  bool known = value >= 0 && static_cast<size_t>(value) < N;
  snprintf(text, size, "%s", known ? *texts[value] : pStr_common_Unknown);
  return RC_TRUE;
}

RC_t get_open_boxs_item_type_string_by_enum(OPEN_BOXS_ITEM_TYPE_t type, char* text, uint32_t size)
{
  return boxs_text(item_types, type, text, size);
}

RC_t get_open_boxs_item_state_string_by_enum(OPEN_BOXS_ITEM_STATE_t state, char* text,
                                             uint32_t size)
{
  return boxs_text(item_states, state, text, size);
}

RC_t get_open_boxs_tempsensor_state_string_by_enum(OPEN_BOXS_TEMPSENSOR_STATE_t state, char* text,
                                                   uint32_t size)
{
  return boxs_text(tempsensor_states, state, text, size);
}

RC_t get_open_sfp_module_type_string_by_enum(OPEN_SFP_MODULE_TYPE_t type, char* text, uint32_t size)
{
  return boxs_text(sfp_module_types, type, text, size);
}

// Appends a leaf with the display text of a value.
template <class T>
static void append_boxs_text(node_t* item, const char* name, RC_t (*lookup)(T, char*, uint32_t),
                             T value)
{
  char text[256];
  lookup(value, text, sizeof text);
  append_tree_field(item, name, text);
}

// --- fans, power supplies, temperature sensors ---

int api_boxs_get_info(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  uint32_t sensors = 0;
  uint32_t fans = 0;
  uint32_t supplies = 0;
  OPEN_OR_ANSWER(conn, rpcclt_openapiBoxsNumOfTempSensorsGet(client_handle, &sensors));
  OPEN_OR_ANSWER(conn, rpcclt_openapiBoxsNumOfFansGet(client_handle, &fans));
  OPEN_OR_ANSWER(conn, rpcclt_openapiBoxsNumOfPowSuppliesGet(client_handle, &supplies));

  tree_ptr tree(new_tree());
  node_t* info = append_tree_group(tree.get(), "infomation");
  append_tree_field(info, "temp_sensors_number", static_cast<int>(sensors));
  append_tree_field(info, "fans_number", static_cast<int>(fans));
  append_tree_field(info, "power_supplies_number", static_cast<int>(supplies));
  return answer_data(conn, std::move(tree));
}

// Answers the list named group of the items that the switch counts, each filled by append_item.
static int answer_boxs_items(openapiClientHandle_t* client_handle, struct mg_connection* conn,
                             const char* group, const char* tagname,
                             decltype(rpcclt_openapiBoxsNumOfFansGet)* count_get,
                             open_error_t (*append_item)(openapiClientHandle_t*, uint32_t, node_t*))
{
  tree_ptr tree(new_tree());
  node_t* list = append_tree_group(tree.get(), group);
  uint32_t count = 0;
  OPEN_OR_ANSWER(conn, count_get(client_handle, &count));
  count = std::min(count, REST_WALK_MAX);
  for (uint32_t index = 0; index < count; index++)
    OPEN_OR_ANSWER(conn,
                   append_item(client_handle, index, append_tree_entry(list, index + 1, tagname)));
  return answer_data(conn, std::move(tree));
}

// Makes a call of the management API in a helper; passes its failure on.
#define OPEN_OR_RETURN(call)                                     \
  do {                                                           \
    if (open_error_t open_rlt = (call); open_rlt != OPEN_E_NONE) \
      return open_rlt;                                           \
  } while (0)

// A figure of a fan, which says something only while the fan works.
static void append_fan_figure(node_t* item, const char* name, OPEN_BOXS_ITEM_STATE_t state,
                              uint32_t figure)
{
  char text[sizeof "4294967295"] = "-";
  if (state == OPEN_ITEMSTATE_OPERATIONAL)
    snprintf(text, sizeof text, "%u", figure);
  append_tree_field(item, name, text);
}

static open_error_t append_fan(openapiClientHandle_t* client_handle, uint32_t index, node_t* item)
{
  OPEN_BOXS_ITEM_STATE_t state = OPEN_ITEMSTATE_NONE;
  OPEN_BOXS_ITEM_TYPE_t type = OPEN_TYPE_NONE;
  uint32_t speed = 0;
  uint32_t duty_cycle = 0;
  OPEN_OR_RETURN(rpcclt_openapiBoxsFanStateGet(client_handle, index, &state));
  OPEN_OR_RETURN(rpcclt_openapiBoxsFanTypeGet(client_handle, index, &type));
  OPEN_OR_RETURN(rpcclt_openapiBoxsFanSpeedGet(client_handle, index, &speed));
  OPEN_OR_RETURN(rpcclt_openapiBoxsFanDutyCycleGet(client_handle, index, &duty_cycle));
  append_boxs_text(item, "state", get_open_boxs_item_state_string_by_enum, state);
  append_boxs_text(item, "type", get_open_boxs_item_type_string_by_enum, type);
  append_fan_figure(item, "speed", state, speed);
  append_fan_figure(item, "duty_cycle", state, duty_cycle);
  return OPEN_E_NONE;
}

int api_boxs_get_fan_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return answer_boxs_items(client_handle, conn, "fans", "fan", rpcclt_openapiBoxsNumOfFansGet,
                           append_fan);
}

static open_error_t append_power_supply(openapiClientHandle_t* client_handle, uint32_t index,
                                        node_t* item)
{
  OPEN_BOXS_ITEM_STATE_t state = OPEN_ITEMSTATE_NONE;
  OPEN_BOXS_ITEM_TYPE_t type = OPEN_TYPE_NONE;
  OPEN_OR_RETURN(rpcclt_openapiBoxsPowSupplyStateGet(client_handle, index, &state));
  OPEN_OR_RETURN(rpcclt_openapiBoxsPowSupplyTypeGet(client_handle, index, &type));
  append_boxs_text(item, "state", get_open_boxs_item_state_string_by_enum, state);
  append_boxs_text(item, "type", get_open_boxs_item_type_string_by_enum, type);
  return OPEN_E_NONE;
}

int api_boxs_get_power_supply_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return answer_boxs_items(client_handle, conn, "power_supplies", "power_supply",
                           rpcclt_openapiBoxsNumOfPowSuppliesGet, append_power_supply);
}

// A text of an item or a transceiver in the room that the switch asks for.
static open_error_t append_sized_text(openapiClientHandle_t* client_handle, uint32_t number,
                                      node_t* item, const char* name,
                                      decltype(rpcclt_openapiBoxsSfpVendorNameSizeGet)* size_get,
                                      decltype(rpcclt_openapiBoxsSfpVendorNameGet)* text_get)
{
  uint32_t size = 0;
  OPEN_OR_RETURN(size_get(client_handle, &size));
  switch_text room = switch_text_new(size);
  if (!room.text)
    return OPEN_E_INTERNAL;
  OPEN_OR_RETURN(text_get(client_handle, number, &room.desc));
  append_tree_field(item, name, room.text.get());
  return OPEN_E_NONE;
}

static open_error_t append_temp_sensor(openapiClientHandle_t* client_handle, uint32_t index,
                                       node_t* item)
{
  OPEN_BOXS_TEMPSENSOR_STATE_t state = OPEN_TEMPSENSOR_STATE_NONE;
  int32_t temperature = 0;
  OPEN_OR_RETURN(rpcclt_openapiBoxsTempSensorStatusGet(client_handle, index, &state));
  OPEN_OR_RETURN(rpcclt_openapiBoxsTempGet(client_handle, index, &temperature));
  append_boxs_text(item, "state", get_open_boxs_tempsensor_state_string_by_enum, state);
  append_tree_field(item, "temperature", temperature);
  return append_sized_text(client_handle, index, item, "description",
                           rpcclt_openapiBoxsTempSensorDescripSizeGet,
                           rpcclt_openapiBoxsTempSensorDescripGet);
}

int api_boxs_get_temp_sensor_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return answer_boxs_items(client_handle, conn, "temp_sensors", "temp_sensor",
                           rpcclt_openapiBoxsNumOfTempSensorsGet, append_temp_sensor);
}

// --- transceivers ---

static open_error_t append_sfp_number(openapiClientHandle_t* client_handle, uint32_t if_num,
                                      node_t* item, const char* name,
                                      decltype(rpcclt_openapiBoxsSfpNominalSignalRate)* get)
{
  uint32_t number = 0;
  OPEN_OR_RETURN(get(client_handle, if_num, &number));
  append_tree_field(item, name, static_cast<int>(number));
  return OPEN_E_NONE;
}

static open_error_t append_sfp(openapiClientHandle_t* client_handle, uint32_t if_num, node_t* item)
{
  append_tree_field(item, "port", static_cast<int>(if_num));
  OPEN_SFP_MODULE_TYPE_t type = OPEN_MODULE_NONE;
  OPEN_OR_RETURN(rpcclt_openapiBoxsSfpTypeGet(client_handle, if_num, &type));
  append_boxs_text(item, "module_type", get_open_sfp_module_type_string_by_enum, type);
  OPEN_OR_RETURN(append_sized_text(client_handle, if_num, item, "vendor_name",
                                   rpcclt_openapiBoxsSfpVendorNameSizeGet,
                                   rpcclt_openapiBoxsSfpVendorNameGet));
  OPEN_OR_RETURN(append_sized_text(client_handle, if_num, item, "vendor_revision",
                                   rpcclt_openapiBoxsSfpVendorRevSizeGet,
                                   rpcclt_openapiBoxsSfpVendorRevisionGet));
  OPEN_OR_RETURN(append_sfp_number(client_handle, if_num, item, "link_length_50um",
                                   rpcclt_openapiBoxsSfpLinkLength50umGet));
  OPEN_OR_RETURN(append_sfp_number(client_handle, if_num, item, "link_length_62_5um",
                                   rpcclt_openapiBoxsSfpLinkLength62_5umGet));
  OPEN_OR_RETURN(append_sized_text(client_handle, if_num, item, "serial_number",
                                   rpcclt_openapiBoxsSfpSerialNumberSizeGet,
                                   rpcclt_openapiBoxsSfpSerialNumberGet));
  OPEN_OR_RETURN(append_sized_text(client_handle, if_num, item, "part_number",
                                   rpcclt_openapiBoxsSfpPartNumberSizeGet,
                                   rpcclt_openapiBoxsSfpPartNumberGet));
  OPEN_OR_RETURN(append_sfp_number(client_handle, if_num, item, "nominal_signal_rate",
                                   rpcclt_openapiBoxsSfpNominalSignalRate));
  return append_sized_text(client_handle, if_num, item, "compliance",
                           rpcclt_openapiBoxsSfpComplianceSizeGet,
                           rpcclt_openapiBoxsSfpComplianceGet);
}

int api_boxs_get_sfp_list(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  tree_ptr tree(new_tree());
  node_t* list = append_tree_group(tree.get(), "sfp_transceivers");
  uint32_t if_num = 0;
  uint32_t position = 0;
  OPEN_OR_ANSWER(conn, openapiIfFirstGet(client_handle, OPEN_INTF_TYPE_PHY, &if_num));
  for (uint32_t steps = 0; steps < REST_WALK_MAX; steps++) {
    uint32_t rate = 0;  // a port without a transceiver has none
    if (rpcclt_openapiBoxsSfpNominalSignalRate(client_handle, if_num, &rate) == OPEN_E_NONE)
      OPEN_OR_ANSWER(conn,
                     append_sfp(client_handle, if_num, append_tree_entry(list, ++position, "sfp")));
    uint32_t next = if_num;
    if (openapiIfNextGet(client_handle, OPEN_INTF_TYPE_PHY, if_num, &next) != OPEN_E_NONE ||
        next <= if_num)
      break;
    if_num = next;
  }
  return answer_data(conn, std::move(tree));
}
