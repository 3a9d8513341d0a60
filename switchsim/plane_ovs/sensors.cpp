#include "switchsim/plane_ovs/sensors.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <vector>

#include "switchsim/host/sim_folder.h"

namespace
{
constexpr size_t SENSORS_MAX = 64;
constexpr size_t TEXT_MAX = 255;
constexpr int32_t MILLI = 1000;
constexpr uint32_t PWM_MAX = 255;

using path_t = std::filesystem::path;

std::string line_of(const path_t& file)
{
  std::string line;
  std::ifstream stream(file);
  std::getline(stream, line);
  line.resize(std::min(line.size(), TEXT_MAX));
  return line;
}

bool number_of(const path_t& file, int32_t& number)
{
  std::ifstream stream(file);
  return static_cast<bool>(stream >> number);
}

// "temp1" of "temp1_input"; empty for any other name.
std::string stem_of(const path_t& file, const std::string& kind)
{
  const std::string name = file.filename();
  const std::string end = "_input";
  const bool fits = name.compare(0, kind.size(), kind) == 0 && name.size() > end.size() &&
                    name.compare(name.size() - end.size(), end.size(), end) == 0;
  return fits ? name.substr(0, name.size() - end.size()) : "";
}

void temperature_read(const path_t& folder, const std::string& stem, int32_t reading,
                      sim_sensors_t& sensors)
{
  const std::string label = line_of(folder / (stem + "_label"));
  int32_t critical = 0;
  const bool hot = number_of(folder / (stem + "_crit"), critical) && reading >= critical;
  sensors.temp_sensors.push_back(
      {hot ? OPEN_TEMPSENSOR_STATE_CRITICAL : OPEN_TEMPSENSOR_STATE_NORMAL, reading / MILLI,
       line_of(folder / "name") + " " + (label.empty() ? stem : label)});
}

void fan_read(const path_t& folder, const std::string& stem, int32_t reading,
              sim_sensors_t& sensors)
{
  int32_t pwm = 0;
  number_of(folder / ("pwm" + stem.substr(sizeof "fan" - 1)), pwm);
  sensors.fans.push_back({reading > 0 ? OPEN_ITEMSTATE_OPERATIONAL : OPEN_ITEMSTATE_FAILED,
                          OPEN_TYPE_FIXED, static_cast<uint32_t>(std::max(reading, 0)),
                          static_cast<uint32_t>(std::max(pwm, 0)) * 100 / PWM_MAX});
}

std::vector<path_t> entries_of(const path_t& folder)
{
  std::vector<path_t> entries;
  for (const std::string& name : sim_folder_names(folder.string()))
    entries.push_back(folder / name);
  std::sort(entries.begin(), entries.end());
  return entries;
}
}  // namespace

sim_sensors_t sensors_read(const std::string& folder)
{
  sim_sensors_t sensors;
  for (const path_t& monitor : entries_of(folder)) {
    for (const path_t& file : entries_of(monitor)) {
      int32_t reading = 0;
      const std::string temperature = stem_of(file, "temp");
      const std::string fan = stem_of(file, "fan");
      if ((temperature.empty() && fan.empty()) || !number_of(file, reading))
        continue;
      if (!temperature.empty() && sensors.temp_sensors.size() < SENSORS_MAX)
        temperature_read(monitor, temperature, reading, sensors);
      else if (!fan.empty() && sensors.fans.size() < SENSORS_MAX)
        fan_read(monitor, fan, reading, sensors);
    }
  }
  if (sensors.temp_sensors.empty())
    sensors.temp_sensors.push_back({OPEN_TEMPSENSOR_STATE_NOTPRESENT, 0, ""});
  if (sensors.fans.empty())
    sensors.fans.push_back({OPEN_ITEMSTATE_NOT_PRESENT, OPEN_TYPE_NONE, 0, 0});
  sensors.power_supplies.push_back({OPEN_ITEMSTATE_NOT_PRESENT, OPEN_TYPE_NONE});
  return sensors;
}
