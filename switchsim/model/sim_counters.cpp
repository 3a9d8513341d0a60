#include "switchsim/model/sim_counters.h"

#include <array>
#include <map>
#include <vector>

#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_area.h"
#include "switchsim/model/sim_plane.h"
#include "switchsim/model/sim_ports.h"

namespace
{
constexpr size_t COUNTERS = OPEN_CTR_ETHER_STATS_HOLD + 1;

// What each interface had counted when its counters were last cleared.
std::map<uint32_t, std::array<uint64_t, COUNTERS>> cleared;

// The interfaces that count what passes one: that of a group passes its members.
std::vector<uint32_t> counting(const sim_if_t& intf)
{
  return intf.type == OPEN_INTF_TYPE_LAG ? sim_if_members(intf.number)
                                         : std::vector<uint32_t>{intf.number};
}

bool keeps(const sim_if_t& intf, OPEN_COUNTER_ID_t id)
{
  uint64_t raw = 0;
  return intf.type == OPEN_INTF_TYPE_LAG ? sim_counter_is_total(id)
                                         : sim_plane().counter(intf.number, id, raw);
}

uint64_t raw_of(uint32_t number, OPEN_COUNTER_ID_t id)
{
  uint64_t raw = 0;
  sim_plane().counter(number, id, raw);
  return raw;
}

// Finds the interface of a call about one of its counters.
open_error_t counter_find(OPEN_COUNTER_ID_t id, uint32_t number, const sim_if_t*& intf)
{
  intf = sim_if_find(number);
  if (intf == nullptr || id < 0 || static_cast<size_t>(id) >= COUNTERS)
    return OPEN_E_PARAM;
  return keeps(*intf, id) ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
}

open_error_t counter_get(OPEN_COUNTER_ID_t id, uint32_t number, uint64_t& value)
{
  const sim_if_t* intf = nullptr;
  const open_error_t result = counter_find(id, number, intf);
  if (result != OPEN_E_NONE)
    return result;
  value = 0;
  for (const uint32_t member : counting(*intf))
    value += raw_of(member, id) - (sim_counter_is_rate(id) ? 0 : cleared[member][id]);
  return OPEN_E_NONE;
}

void counter_clear(OPEN_COUNTER_ID_t id, const sim_if_t& intf)
{
  for (const uint32_t member : counting(intf))
    cleared[member][id] = raw_of(member, id);
}

open_error_t counter_reset(OPEN_COUNTER_ID_t id, uint32_t number)
{
  const sim_if_t* intf = nullptr;
  const open_error_t result = counter_find(id, number, intf);
  if (result == OPEN_E_NONE)
    counter_clear(id, *intf);
  return result;
}

open_error_t counters_reset(uint32_t number)
{
  const sim_if_t* intf = sim_if_find(number);
  if (intf == nullptr)
    return OPEN_E_PARAM;
  for (size_t id = 0; id < COUNTERS; id++) {
    const auto counter = static_cast<OPEN_COUNTER_ID_t>(id);
    if (keeps(*intf, counter))
      counter_clear(counter, *intf);
  }
  return OPEN_E_NONE;
}

void counters_restart()
{
  cleared.clear();
}
}  // namespace

const sim_area_t sim_counters_area = [] {
  sim_area_t area = sim_area(counters_restart);
  area.restarted = counters_restart;
  return area;
}();

bool sim_counter_is_rate(OPEN_COUNTER_ID_t id)
{
  return id >= OPEN_CTR_RX_RATE_BITS && id <= OPEN_CTR_TX_RATE_FRAMES;
}

bool sim_counter_is_total(OPEN_COUNTER_ID_t id)
{
  return sim_counter_is_rate(id) ||
         sim_among(id, {OPEN_CTR_RX_TOTAL_BYTES, OPEN_CTR_RX_UCAST_FRAMES, OPEN_CTR_RX_MCAST_FRAMES,
                        OPEN_CTR_RX_BCAST_FRAMES, OPEN_CTR_TX_TOTAL_BYTES, OPEN_CTR_TX_UCAST_FRAMES,
                        OPEN_CTR_TX_MCAST_FRAMES, OPEN_CTR_TX_BCAST_FRAMES,
                        OPEN_CTR_RX_TOTAL_FRAMES, OPEN_CTR_RX_TOTAL_ERROR_FRAMES,
                        OPEN_CTR_TX_TOTAL_FRAMES, OPEN_CTR_TX_TOTAL_ERROR_FRAMES});
}

open_error_t rpcclt_openapiStatGet(openapiClientHandle_t* client_handle,
                                   OPEN_COUNTER_ID_t counterId, uint32_t ifNum, uint64_t* value)
{
  const auto work = [&] { return counter_get(counterId, ifNum, *value); };
  return sim_call(__func__, client_handle, work, counterId, ifNum, sim_out(value));
}

open_error_t rpcclt_openapiStatReset(openapiClientHandle_t* client_handle,
                                     OPEN_COUNTER_ID_t counterId, uint32_t ifNum)
{
  const auto work = [&] { return counter_reset(counterId, ifNum); };
  return sim_call(__func__, client_handle, work, counterId, ifNum);
}

open_error_t rpcclt_openapiInterfaceStatsReset(openapiClientHandle_t* client_handle, uint32_t ifNum)
{
  const auto work = [&] { return counters_reset(ifNum); };
  return sim_call(__func__, client_handle, work, ifNum);
}
