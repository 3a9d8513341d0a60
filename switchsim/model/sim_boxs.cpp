// Fans, power supplies, temperature sensors and transceivers.
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "platform/openapi_boxs.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/call/sim_clock.h"
#include "switchsim/model/sim_ports.h"
#include "switchsim/model/sim_state.h"
#include "switchsim/sim_areas.h"

namespace
{
constexpr uint32_t TEXT_SIZE = 256;  // of any text here, its terminating zero included

struct fan_t {
  OPEN_BOXS_ITEM_STATE_t state = OPEN_ITEMSTATE_OPERATIONAL;
  OPEN_BOXS_ITEM_TYPE_t type = OPEN_TYPE_REMOVABLE;
  uint32_t speed = 0;
  uint32_t duty_cycle = 0;
};

struct power_supply_t {
  OPEN_BOXS_ITEM_STATE_t state = OPEN_ITEMSTATE_OPERATIONAL;
  OPEN_BOXS_ITEM_TYPE_t type = OPEN_TYPE_REMOVABLE;
};

struct temp_sensor_t {
  OPEN_BOXS_TEMPSENSOR_STATE_t state = OPEN_TEMPSENSOR_STATE_NORMAL;
  int32_t temperature = 0;
  std::string description;
};

struct transceiver_t {
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

std::vector<fan_t> fans;
std::vector<power_supply_t> power_supplies;
std::vector<temp_sensor_t> temp_sensors;
std::map<uint32_t, transceiver_t> transceivers;  // by the port they are in

// What the switch measures moves; what a profile says does not.
bool fans_move;
bool temp_sensors_move;

// Goes up from 0 to range and down again within the period, each item at its own place in it.
uint32_t sway(uint32_t range, uint32_t period_s, size_t item)
{
  const uint64_t period_ms = period_s * 1000ull;
  const uint64_t at = (sim_uptime_ms() + item * period_ms / 3) % period_ms;
  return static_cast<uint32_t>(range * 2ull * (at < period_ms / 2 ? at : period_ms - at) /
                               period_ms);
}

constexpr uint32_t SPEED_SWAY = 240;
constexpr uint32_t SPEED_PERIOD_S = 40;
constexpr uint32_t TEMPERATURE_SWAY = 4;
constexpr uint32_t TEMPERATURE_PERIOD_S = 300;

uint32_t fan_speed(const fan_t& fan, uint32_t index)
{
  const bool moves = fans_move && fan.state == OPEN_ITEMSTATE_OPERATIONAL;
  return fan.speed + (moves ? sway(SPEED_SWAY, SPEED_PERIOD_S, index) : 0);
}

int32_t temperature(const temp_sensor_t& sensor, uint32_t index)
{
  const uint32_t more = sway(TEMPERATURE_SWAY, TEMPERATURE_PERIOD_S, index);
  return sensor.temperature + (temp_sensors_move ? static_cast<int32_t>(more) : 0);
}

// ---- calls about one item of a list, or the transceiver of a port ----

template <class Item, class T, class Read>
open_error_t item_call(const char* name, const openapiClientHandle_t* handle,
                       const std::vector<Item>& items, uint32_t index, T* out, Read read)
{
  const auto work = [&] {
    return index < items.size() ? sim_give(*out, read(items[index])) : OPEN_E_FAIL;
  };
  return sim_call(name, handle, work, index, sim_out(out));
}

template <class T>
open_error_t count_call(const char* name, const openapiClientHandle_t* handle,
                        const std::vector<T>& items, uint32_t* count)
{
  const auto work = [&] { return sim_give(*count, static_cast<uint32_t>(items.size())); };
  return sim_call(name, handle, work, sim_out(count));
}

template <class T>
open_error_t sfp_call(const char* name, const openapiClientHandle_t* handle, uint32_t port, T* out,
                      T transceiver_t::*member)
{
  const auto work = [&] {
    const auto found = transceivers.find(port);
    return found == transceivers.end() ? OPEN_E_FAIL : sim_give(*out, found->second.*member);
  };
  return sim_call(name, handle, work, port, sim_out(out));
}

open_error_t sfp_text_call(const char* name, const openapiClientHandle_t* handle, uint32_t port,
                           open_buffdesc* text, std::string transceiver_t::*member)
{
  const auto work = [&] {
    const auto found = transceivers.find(port);
    return found == transceivers.end() ? OPEN_E_FAIL : sim_text_put(text, found->second.*member);
  };
  return sim_call(name, handle, work, port, sim_out(text));
}

// ---- profile ----

std::function<bool(const sim_json_t&)> take(uint32_t& out)
{
  return [&out](const sim_json_t& json) {
    return sim_json_uint(json, 0, std::numeric_limits<uint32_t>::max(), out);
  };
}

// A number as the call reports it, one without a name too.
template <class T>
std::enable_if_t<!std::is_same_v<T, uint32_t>, std::function<bool(const sim_json_t&)>> take(T& out)
{
  return [&out](const sim_json_t& json) {
    int32_t number = 0;
    const bool parsed = sim_json_int(json, std::numeric_limits<int32_t>::min(),
                                     std::numeric_limits<int32_t>::max(), number);
    out = static_cast<T>(number);
    return parsed;
  };
}

std::function<bool(const sim_json_t&)> take(std::string& out)
{
  return [&out](const sim_json_t& json) { return sim_json_text(json, 0, TEXT_SIZE - 1, out); };
}

// A list of records; each starts as an item without any of its members given.
template <class Item>
bool items_parse(const sim_json_t& json, std::vector<Item>& items,
                 bool (*parse)(const sim_json_t& json, Item& item))
{
  items.clear();
  return sim_json_list(json, [&](const sim_json_t& record) {
    items.emplace_back();
    return parse(record, items.back());
  });
}

bool transceiver_parse(const sim_json_t& json)
{
  uint32_t port = 0;
  transceiver_t parsed;
  const auto take_port = [&port](const sim_json_t& value) {
    return sim_json_uint(value, 1, sim_numbering().ports, port) &&
           (transceivers.count(port) == 0 || sim_json_refuse(value, "is given twice"));
  };
  const bool good =
      sim_json_record(json, {
                                {"port",                true,  take_port                       },
                                {"module_type",         false, take(parsed.module_type)        },
                                {"vendor_name",         false, take(parsed.vendor_name)        },
                                {"vendor_revision",     false, take(parsed.vendor_revision)    },
                                {"link_length_50um",    false, take(parsed.link_length_50um)   },
                                {"link_length_62_5um",  false, take(parsed.link_length_62_5um) },
                                {"serial_number",       false, take(parsed.serial_number)      },
                                {"part_number",         false, take(parsed.part_number)        },
                                {"nominal_signal_rate", false, take(parsed.nominal_signal_rate)},
                                {"compliance",          false, take(parsed.compliance)         },
  });
  if (good) {
    transceivers[port] = parsed;
  }
  return good;
}

constexpr uint32_t SFPPLUS_RATE = 103;
constexpr uint32_t QSFP_RATE = 103;

const std::map<uint32_t, transceiver_t> TRANSCEIVERS = {
    {49,
     {OPEN_MODULE_SFPPLUS, "Northfield Optic", "A1", 80, 30, "NF1902A0117", "NF-10G-SR",
      SFPPLUS_RATE, "10GBASE-SR"}},
    {50,
     {OPEN_MODULE_DAC, "Northfield Optic", "B", 0, 0, "NF1911C0032", "NF-10G-CU3M", SFPPLUS_RATE,
      "10GBASE-CR"}              },
    {53,
     {OPEN_MODULE_QSFP, "Lumen Works", "02", 100, 0, "LW40-77120", "LW-QSFP-SR4", QSFP_RATE,
      "40GBASE-SR4"}             },
};
}  // namespace

void sim_boxs_reset()
{
  fans = {
      {OPEN_ITEMSTATE_OPERATIONAL, OPEN_TYPE_REMOVABLE, 6200, 45},
      {OPEN_ITEMSTATE_OPERATIONAL, OPEN_TYPE_REMOVABLE, 6150, 45},
      {OPEN_ITEMSTATE_FAILED,      OPEN_TYPE_REMOVABLE, 0,    45},
      {OPEN_ITEMSTATE_OPERATIONAL, OPEN_TYPE_FIXED,     6300, 45},
  };
  power_supplies = {
      {OPEN_ITEMSTATE_OPERATIONAL, OPEN_TYPE_REMOVABLE},
      {OPEN_ITEMSTATE_NOPOWER,     OPEN_TYPE_REMOVABLE},
  };
  temp_sensors = {
      {OPEN_TEMPSENSOR_STATE_NORMAL, 48, "Switch chip"},
      {OPEN_TEMPSENSOR_STATE_NORMAL, 39, "CPU"        },
      {OPEN_TEMPSENSOR_STATE_NORMAL, 27, "Air inlet"  },
  };
  transceivers = TRANSCEIVERS;
  fans_move = temp_sensors_move = true;
}

bool sim_boxs_fans_parse(const sim_json_t& json)
{
  fans_move = false;
  return items_parse<fan_t>(json, fans, [](const sim_json_t& record, fan_t& fan) {
    return sim_json_record(record, {
                                       {"state",      false, take(fan.state)     },
                                       {"type",       false, take(fan.type)      },
                                       {"speed",      false, take(fan.speed)     },
                                       {"duty_cycle", false, take(fan.duty_cycle)},
    });
  });
}

bool sim_boxs_power_supplies_parse(const sim_json_t& json)
{
  const auto parse = [](const sim_json_t& record, power_supply_t& supply) {
    return sim_json_record(record, {
                                       {"state", false, take(supply.state)},
                                       {"type",  false, take(supply.type) },
    });
  };
  return items_parse<power_supply_t>(json, power_supplies, parse);
}

bool sim_boxs_temp_sensors_parse(const sim_json_t& json)
{
  temp_sensors_move = false;
  const auto parse = [](const sim_json_t& record, temp_sensor_t& sensor) {
    return sim_json_record(record, {
                                       {"state",       false, take(sensor.state)      },
                                       {"temperature", false, take(sensor.temperature)},
                                       {"description", false, take(sensor.description)},
    });
  };
  return items_parse<temp_sensor_t>(json, temp_sensors, parse);
}

bool sim_boxs_transceivers_parse(const sim_json_t& json)
{
  transceivers.clear();
  return sim_json_list(json, transceiver_parse);
}

open_error_t rpcclt_openapiBoxsNumOfTempSensorsGet(openapiClientHandle_t* client_handle,
                                                   uint32_t* count)
{
  return count_call(__func__, client_handle, temp_sensors, count);
}

open_error_t rpcclt_openapiBoxsNumOfFansGet(openapiClientHandle_t* client_handle, uint32_t* count)
{
  return count_call(__func__, client_handle, fans, count);
}

open_error_t rpcclt_openapiBoxsNumOfPowSuppliesGet(openapiClientHandle_t* client_handle,
                                                   uint32_t* count)
{
  return count_call(__func__, client_handle, power_supplies, count);
}

open_error_t rpcclt_openapiBoxsFanStateGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                           OPEN_BOXS_ITEM_STATE_t* state)
{
  const auto read = [](const fan_t& item) { return item.state; };
  return item_call(__func__, client_handle, fans, fan, state, read);
}

open_error_t rpcclt_openapiBoxsFanTypeGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                          OPEN_BOXS_ITEM_TYPE_t* type)
{
  const auto read = [](const fan_t& item) { return item.type; };
  return item_call(__func__, client_handle, fans, fan, type, read);
}

open_error_t rpcclt_openapiBoxsFanSpeedGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                           uint32_t* speed)
{
  const auto read = [&](const fan_t& item) { return fan_speed(item, fan); };
  return item_call(__func__, client_handle, fans, fan, speed, read);
}

open_error_t rpcclt_openapiBoxsFanDutyCycleGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                               uint32_t* dutyCycle)
{
  const auto read = [](const fan_t& item) { return item.duty_cycle; };
  return item_call(__func__, client_handle, fans, fan, dutyCycle, read);
}

open_error_t rpcclt_openapiBoxsPowSupplyStateGet(openapiClientHandle_t* client_handle,
                                                 uint32_t powSupply, OPEN_BOXS_ITEM_STATE_t* state)
{
  const auto read = [](const power_supply_t& item) { return item.state; };
  return item_call(__func__, client_handle, power_supplies, powSupply, state, read);
}

open_error_t rpcclt_openapiBoxsPowSupplyTypeGet(openapiClientHandle_t* client_handle,
                                                uint32_t powSupply, OPEN_BOXS_ITEM_TYPE_t* type)
{
  const auto read = [](const power_supply_t& item) { return item.type; };
  return item_call(__func__, client_handle, power_supplies, powSupply, type, read);
}

open_error_t rpcclt_openapiBoxsTempSensorStatusGet(openapiClientHandle_t* client_handle,
                                                   uint32_t sensor,
                                                   OPEN_BOXS_TEMPSENSOR_STATE_t* state)
{
  const auto read = [](const temp_sensor_t& item) { return item.state; };
  return item_call(__func__, client_handle, temp_sensors, sensor, state, read);
}

open_error_t rpcclt_openapiBoxsTempGet(openapiClientHandle_t* client_handle, uint32_t sensor,
                                       int32_t* degrees)
{
  const auto read = [&](const temp_sensor_t& item) { return temperature(item, sensor); };
  return item_call(__func__, client_handle, temp_sensors, sensor, degrees, read);
}

open_error_t rpcclt_openapiBoxsTempSensorDescripSizeGet(openapiClientHandle_t* client_handle,
                                                        uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsTempSensorDescripGet(openapiClientHandle_t* client_handle,
                                                    uint32_t sensor, open_buffdesc* descrip)
{
  const auto work = [&] {
    return sensor < temp_sensors.size() ? sim_text_put(descrip, temp_sensors[sensor].description)
                                        : OPEN_E_FAIL;
  };
  return sim_call(__func__, client_handle, work, sensor, sim_out(descrip));
}

open_error_t rpcclt_openapiBoxsSfpTypeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                          OPEN_SFP_MODULE_TYPE_t* type)
{
  return sfp_call(__func__, client_handle, ifNum, type, &transceiver_t::module_type);
}

open_error_t rpcclt_openapiBoxsSfpVendorNameSizeGet(openapiClientHandle_t* client_handle,
                                                    uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsSfpVendorNameGet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, open_buffdesc* vendorName)
{
  return sfp_text_call(__func__, client_handle, ifNum, vendorName, &transceiver_t::vendor_name);
}

open_error_t rpcclt_openapiBoxsSfpVendorRevSizeGet(openapiClientHandle_t* client_handle,
                                                   uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsSfpVendorRevisionGet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum, open_buffdesc* vendorRevision)
{
  return sfp_text_call(__func__, client_handle, ifNum, vendorRevision,
                       &transceiver_t::vendor_revision);
}

open_error_t rpcclt_openapiBoxsSfpLinkLength50umGet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum, uint32_t* length)
{
  return sfp_call(__func__, client_handle, ifNum, length, &transceiver_t::link_length_50um);
}

open_error_t rpcclt_openapiBoxsSfpLinkLength62_5umGet(openapiClientHandle_t* client_handle,
                                                      uint32_t ifNum, uint32_t* length)
{
  return sfp_call(__func__, client_handle, ifNum, length, &transceiver_t::link_length_62_5um);
}

open_error_t rpcclt_openapiBoxsSfpSerialNumberSizeGet(openapiClientHandle_t* client_handle,
                                                      uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsSfpSerialNumberGet(openapiClientHandle_t* client_handle,
                                                  uint32_t ifNum, open_buffdesc* serialNumber)
{
  return sfp_text_call(__func__, client_handle, ifNum, serialNumber, &transceiver_t::serial_number);
}

open_error_t rpcclt_openapiBoxsSfpPartNumberSizeGet(openapiClientHandle_t* client_handle,
                                                    uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsSfpPartNumberGet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, open_buffdesc* partNumber)
{
  return sfp_text_call(__func__, client_handle, ifNum, partNumber, &transceiver_t::part_number);
}

open_error_t rpcclt_openapiBoxsSfpNominalSignalRate(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum, uint32_t* rate)
{
  return sfp_call(__func__, client_handle, ifNum, rate, &transceiver_t::nominal_signal_rate);
}

open_error_t rpcclt_openapiBoxsSfpComplianceSizeGet(openapiClientHandle_t* client_handle,
                                                    uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsSfpComplianceGet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, open_buffdesc* compliance)
{
  return sfp_text_call(__func__, client_handle, ifNum, compliance, &transceiver_t::compliance);
}
