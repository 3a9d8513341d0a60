#include "switchsim/plane_sim/sim_hardware.h"

#include <functional>
#include <limits>
#include <map>

#include "switchsim/call/sim_clock.h"
#include "switchsim/plane_sim/sim_links.h"

namespace
{
constexpr uint32_t TEXT_SIZE = 256;  // of any text here, its terminating zero included

sim_sensors_t built_in;
std::map<uint32_t, sim_transceiver_t> transceivers;  // by the port they are in

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

uint32_t fan_speed(const sim_fan_t& fan, uint32_t index)
{
  const bool moves = fans_move && fan.state == OPEN_ITEMSTATE_OPERATIONAL;
  return fan.speed + (moves ? sway(SPEED_SWAY, SPEED_PERIOD_S, index) : 0);
}

int32_t temperature(const sim_temp_sensor_t& sensor, uint32_t index)
{
  const uint32_t more = sway(TEMPERATURE_SWAY, TEMPERATURE_PERIOD_S, index);
  return sensor.temperature + (temp_sensors_move ? static_cast<int32_t>(more) : 0);
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
  sim_transceiver_t parsed;
  const auto take_port = [&port](const sim_json_t& value) {
    return sim_json_uint(value, 1, sim_links_port_count(), port) &&
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
  if (good)
    transceivers[port] = parsed;
  return good;
}

constexpr uint32_t SFPPLUS_RATE = 103;
constexpr uint32_t QSFP_RATE = 103;

const std::map<uint32_t, sim_transceiver_t> TRANSCEIVERS = {
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

void hardware_reset()
{
  built_in.fans = {
      {OPEN_ITEMSTATE_OPERATIONAL, OPEN_TYPE_REMOVABLE, 6200, 45},
      {OPEN_ITEMSTATE_OPERATIONAL, OPEN_TYPE_REMOVABLE, 6150, 45},
      {OPEN_ITEMSTATE_FAILED,      OPEN_TYPE_REMOVABLE, 0,    45},
      {OPEN_ITEMSTATE_OPERATIONAL, OPEN_TYPE_FIXED,     6300, 45},
  };
  built_in.power_supplies = {
      {OPEN_ITEMSTATE_OPERATIONAL, OPEN_TYPE_REMOVABLE},
      {OPEN_ITEMSTATE_NOPOWER,     OPEN_TYPE_REMOVABLE},
  };
  built_in.temp_sensors = {
      {OPEN_TEMPSENSOR_STATE_NORMAL, 48, "Switch chip"},
      {OPEN_TEMPSENSOR_STATE_NORMAL, 39, "CPU"        },
      {OPEN_TEMPSENSOR_STATE_NORMAL, 27, "Air inlet"  },
  };
  transceivers = TRANSCEIVERS;
  fans_move = temp_sensors_move = true;
}

bool fans_parse(const sim_json_t& json)
{
  fans_move = false;
  return items_parse<sim_fan_t>(json, built_in.fans, [](const sim_json_t& record, sim_fan_t& fan) {
    return sim_json_record(record, {
                                       {"state",      false, take(fan.state)     },
                                       {"type",       false, take(fan.type)      },
                                       {"speed",      false, take(fan.speed)     },
                                       {"duty_cycle", false, take(fan.duty_cycle)},
    });
  });
}

bool power_supplies_parse(const sim_json_t& json)
{
  const auto parse = [](const sim_json_t& record, sim_power_supply_t& supply) {
    return sim_json_record(record, {
                                       {"state", false, take(supply.state)},
                                       {"type",  false, take(supply.type) },
    });
  };
  return items_parse<sim_power_supply_t>(json, built_in.power_supplies, parse);
}

bool temp_sensors_parse(const sim_json_t& json)
{
  temp_sensors_move = false;
  const auto parse = [](const sim_json_t& record, sim_temp_sensor_t& sensor) {
    return sim_json_record(record, {
                                       {"state",       false, take(sensor.state)      },
                                       {"temperature", false, take(sensor.temperature)},
                                       {"description", false, take(sensor.description)},
    });
  };
  return items_parse<sim_temp_sensor_t>(json, built_in.temp_sensors, parse);
}

bool transceivers_parse(const sim_json_t& json)
{
  transceivers.clear();
  return sim_json_list(json, transceiver_parse);
}
}  // namespace

constexpr sim_key_t KEYS[] = {
    {"fans",           fans_parse          },
    {"power_supplies", power_supplies_parse},
    {"temp_sensors",   temp_sensors_parse  },
    {"transceivers",   transceivers_parse  },
};

const sim_area_t sim_hardware_area = sim_area(hardware_reset, KEYS);

void sim_hardware_sensors(sim_sensors_t& sensors)
{
  sensors = built_in;
  for (uint32_t i = 0; i < sensors.fans.size(); i++)
    sensors.fans[i].speed = fan_speed(sensors.fans[i], i);
  for (uint32_t i = 0; i < sensors.temp_sensors.size(); i++)
    sensors.temp_sensors[i].temperature = temperature(sensors.temp_sensors[i], i);
}

bool sim_hardware_transceiver(uint32_t port, sim_transceiver_t& transceiver)
{
  const auto found = transceivers.find(port);
  if (found == transceivers.end())
    return false;
  transceiver = found->second;
  return true;
}
