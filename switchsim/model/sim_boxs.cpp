// Fans, power supplies, temperature sensors and transceivers.
#include <cstdint>
#include <type_traits>
#include <vector>

#include "platform/openapi_boxs.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_plane.h"

namespace
{
constexpr uint32_t TEXT_SIZE = 256;  // of any text here, its terminating zero included

// ---- calls about one item of a list, or the transceiver of a port ----

template <class Item, class T, class Read>
open_error_t item_call(const char* name, const openapiClientHandle_t* handle,
                       std::vector<Item> sim_sensors_t::*items, uint32_t index, T* out, Read read)
{
  const auto work = [&] {
    sim_sensors_t sensors;
    sim_plane().sensors(sensors);
    if (index >= (sensors.*items).size())
      return OPEN_E_FAIL;
    if constexpr (std::is_same_v<T, open_buffdesc>)
      return sim_text_put(out, read((sensors.*items)[index]));
    else
      return sim_give(*out, read((sensors.*items)[index]));
  };
  return sim_call(name, handle, work, index, sim_out(out));
}

template <class Item>
open_error_t count_call(const char* name, const openapiClientHandle_t* handle,
                        std::vector<Item> sim_sensors_t::*items, uint32_t* count)
{
  const auto work = [&] {
    sim_sensors_t sensors;
    sim_plane().sensors(sensors);
    return sim_give(*count, static_cast<uint32_t>((sensors.*items).size()));
  };
  return sim_call(name, handle, work, sim_out(count));
}

template <class T, class Member>
open_error_t sfp_call(const char* name, const openapiClientHandle_t* handle, uint32_t port, T* out,
                      Member sim_transceiver_t::*member)
{
  const auto work = [&] {
    sim_transceiver_t found;
    if (!sim_plane().transceiver(port, found))
      return OPEN_E_FAIL;
    if constexpr (std::is_same_v<T, open_buffdesc>)
      return sim_text_put(out, found.*member);
    else
      return sim_give(*out, found.*member);
  };
  return sim_call(name, handle, work, port, sim_out(out));
}
}  // namespace

open_error_t rpcclt_openapiBoxsNumOfTempSensorsGet(openapiClientHandle_t* client_handle,
                                                   uint32_t* count)
{
  return count_call(__func__, client_handle, &sim_sensors_t::temp_sensors, count);
}

open_error_t rpcclt_openapiBoxsNumOfFansGet(openapiClientHandle_t* client_handle, uint32_t* count)
{
  return count_call(__func__, client_handle, &sim_sensors_t::fans, count);
}

open_error_t rpcclt_openapiBoxsNumOfPowSuppliesGet(openapiClientHandle_t* client_handle,
                                                   uint32_t* count)
{
  return count_call(__func__, client_handle, &sim_sensors_t::power_supplies, count);
}

open_error_t rpcclt_openapiBoxsFanStateGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                           OPEN_BOXS_ITEM_STATE_t* state)
{
  const auto read = [](const sim_fan_t& item) { return item.state; };
  return item_call(__func__, client_handle, &sim_sensors_t::fans, fan, state, read);
}

open_error_t rpcclt_openapiBoxsFanTypeGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                          OPEN_BOXS_ITEM_TYPE_t* type)
{
  const auto read = [](const sim_fan_t& item) { return item.type; };
  return item_call(__func__, client_handle, &sim_sensors_t::fans, fan, type, read);
}

open_error_t rpcclt_openapiBoxsFanSpeedGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                           uint32_t* speed)
{
  const auto read = [](const sim_fan_t& item) { return item.speed; };
  return item_call(__func__, client_handle, &sim_sensors_t::fans, fan, speed, read);
}

open_error_t rpcclt_openapiBoxsFanDutyCycleGet(openapiClientHandle_t* client_handle, uint32_t fan,
                                               uint32_t* dutyCycle)
{
  const auto read = [](const sim_fan_t& item) { return item.duty_cycle; };
  return item_call(__func__, client_handle, &sim_sensors_t::fans, fan, dutyCycle, read);
}

open_error_t rpcclt_openapiBoxsPowSupplyStateGet(openapiClientHandle_t* client_handle,
                                                 uint32_t powSupply, OPEN_BOXS_ITEM_STATE_t* state)
{
  const auto read = [](const sim_power_supply_t& item) { return item.state; };
  return item_call(__func__, client_handle, &sim_sensors_t::power_supplies, powSupply, state, read);
}

open_error_t rpcclt_openapiBoxsPowSupplyTypeGet(openapiClientHandle_t* client_handle,
                                                uint32_t powSupply, OPEN_BOXS_ITEM_TYPE_t* type)
{
  const auto read = [](const sim_power_supply_t& item) { return item.type; };
  return item_call(__func__, client_handle, &sim_sensors_t::power_supplies, powSupply, type, read);
}

open_error_t rpcclt_openapiBoxsTempSensorStatusGet(openapiClientHandle_t* client_handle,
                                                   uint32_t sensor,
                                                   OPEN_BOXS_TEMPSENSOR_STATE_t* state)
{
  const auto read = [](const sim_temp_sensor_t& item) { return item.state; };
  return item_call(__func__, client_handle, &sim_sensors_t::temp_sensors, sensor, state, read);
}

open_error_t rpcclt_openapiBoxsTempGet(openapiClientHandle_t* client_handle, uint32_t sensor,
                                       int32_t* degrees)
{
  const auto read = [](const sim_temp_sensor_t& item) { return item.temperature; };
  return item_call(__func__, client_handle, &sim_sensors_t::temp_sensors, sensor, degrees, read);
}

open_error_t rpcclt_openapiBoxsTempSensorDescripSizeGet(openapiClientHandle_t* client_handle,
                                                        uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsTempSensorDescripGet(openapiClientHandle_t* client_handle,
                                                    uint32_t sensor, open_buffdesc* descrip)
{
  const auto read = [](const sim_temp_sensor_t& item) { return item.description; };
  return item_call(__func__, client_handle, &sim_sensors_t::temp_sensors, sensor, descrip, read);
}

open_error_t rpcclt_openapiBoxsSfpTypeGet(openapiClientHandle_t* client_handle, uint32_t ifNum,
                                          OPEN_SFP_MODULE_TYPE_t* type)
{
  return sfp_call(__func__, client_handle, ifNum, type, &sim_transceiver_t::module_type);
}

open_error_t rpcclt_openapiBoxsSfpVendorNameSizeGet(openapiClientHandle_t* client_handle,
                                                    uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsSfpVendorNameGet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, open_buffdesc* vendorName)
{
  return sfp_call(__func__, client_handle, ifNum, vendorName, &sim_transceiver_t::vendor_name);
}

open_error_t rpcclt_openapiBoxsSfpVendorRevSizeGet(openapiClientHandle_t* client_handle,
                                                   uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsSfpVendorRevisionGet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum, open_buffdesc* vendorRevision)
{
  return sfp_call(__func__, client_handle, ifNum, vendorRevision,
                  &sim_transceiver_t::vendor_revision);
}

open_error_t rpcclt_openapiBoxsSfpLinkLength50umGet(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum, uint32_t* length)
{
  return sfp_call(__func__, client_handle, ifNum, length, &sim_transceiver_t::link_length_50um);
}

open_error_t rpcclt_openapiBoxsSfpLinkLength62_5umGet(openapiClientHandle_t* client_handle,
                                                      uint32_t ifNum, uint32_t* length)
{
  return sfp_call(__func__, client_handle, ifNum, length, &sim_transceiver_t::link_length_62_5um);
}

open_error_t rpcclt_openapiBoxsSfpSerialNumberSizeGet(openapiClientHandle_t* client_handle,
                                                      uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsSfpSerialNumberGet(openapiClientHandle_t* client_handle,
                                                  uint32_t ifNum, open_buffdesc* serialNumber)
{
  return sfp_call(__func__, client_handle, ifNum, serialNumber, &sim_transceiver_t::serial_number);
}

open_error_t rpcclt_openapiBoxsSfpPartNumberSizeGet(openapiClientHandle_t* client_handle,
                                                    uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsSfpPartNumberGet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, open_buffdesc* partNumber)
{
  return sfp_call(__func__, client_handle, ifNum, partNumber, &sim_transceiver_t::part_number);
}

open_error_t rpcclt_openapiBoxsSfpNominalSignalRate(openapiClientHandle_t* client_handle,
                                                    uint32_t ifNum, uint32_t* rate)
{
  return sfp_call(__func__, client_handle, ifNum, rate, &sim_transceiver_t::nominal_signal_rate);
}

open_error_t rpcclt_openapiBoxsSfpComplianceSizeGet(openapiClientHandle_t* client_handle,
                                                    uint32_t* size)
{
  return sim_read(__func__, client_handle, size, TEXT_SIZE);
}

open_error_t rpcclt_openapiBoxsSfpComplianceGet(openapiClientHandle_t* client_handle,
                                                uint32_t ifNum, open_buffdesc* compliance)
{
  return sfp_call(__func__, client_handle, ifNum, compliance, &sim_transceiver_t::compliance);
}
