// Traffic counters: while an interface has link, the same mix of frames passes it round after
// round, each interface at its own pace. So all counters agree with each other at any time.
#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <vector>

#include "platform/openapi_if.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_lag.h"
#include "switchsim/model/sim_ports.h"
#include "switchsim/model/sim_state.h"
#include "switchsim/plane_sim/sim_links.h"
#include "switchsim/sim_areas.h"

namespace
{
// What one round adds to each counter: 1000 frames come in and 800 go out.
constexpr uint32_t ROUND[] = {
    0,       // RESERVED
    507096,  // RX_TOTAL_BYTES
    300,     // RX_64
    200,     // RX_65_127
    100,     // RX_128_255
    80,      // RX_256_511
    70,      // RX_512_1023
    240,     // RX_1024_1518
    4,       // RX_1519_1530
    6,       // RX_GOOD_OVERSIZE
    1,       // RX_ERROR_OVERSIZE
    1,       // RX_GOOD_UNDERSIZE
    1,       // RX_ERROR_UNDERSIZE
    900,     // RX_UCAST_FRAMES
    60,      // RX_MCAST_FRAMES
    40,      // RX_BCAST_FRAMES
    1,       // RX_ALIGN_ERRORS
    1,       // RX_FCS_ERRORS
    1,       // RX_OVERRUNS
    1,       // RX_FRAME_TOO_LONG
    399876,  // TX_TOTAL_BYTES
    200,     // TX_64
    180,     // TX_65_127
    90,      // TX_128_255
    70,      // TX_256_511
    60,      // TX_512_1023
    196,     // TX_1024_1518
    4,       // TX_1519_1530
    720,     // TX_UCAST_FRAMES
    50,      // TX_MCAST_FRAMES
    30,      // TX_BCAST_FRAMES
    1,       // TX_FCS_ERRORS
    1,       // TX_OVERSIZED
    1,       // TX_UNDERRUN_ERRORS
    2,       // TX_ONE_COLLISION
    1,       // TX_MULTIPLE_COLLISION
    1,       // TX_EXCESSIVE_COLLISION
    1,       // TX_LATE_COLLISION
    500,     // TX_RX_64
    380,     // TX_RX_65_127
    190,     // TX_RX_128_255
    150,     // TX_RX_256_511
    130,     // TX_RX_512_1023
    436,     // TX_RX_1024_1518
    8,       // TX_RX_1519_1522
    2,       // TX_RX_1523_2047
    2,       // TX_RX_2048_4095
    2,       // TX_RX_4096_9216
    1,       // ETHER_STATS_DROP_EVENTS
    1,       // SNMPIFOUTDISCARD_FRAMES
    2,       // SNMPIFINDISCARD_FRAMES
    1000,    // RX_TOTAL_FRAMES
    6,       // RX_TOTAL_ERROR_FRAMES
    800,     // TX_TOTAL_FRAMES
    3,       // TX_TOTAL_ERROR_FRAMES
    5,       // TX_TOTAL_COLLISION_FRAMES
    2,       // RX_CRC_ERRORS
    5,       // RX_TOTAL_MAC_ERROR_FRAMES
    0,       // RX_RATE_BITS: from here on rates, a reading and not a sum
    0,       // TX_RATE_BITS
    0,       // RX_RATE_FRAMES
    0,       // TX_RATE_FRAMES
    1,       // ETHER_STATS_HOLD
};
constexpr size_t COUNTERS = std::size(ROUND);
static_assert(COUNTERS == OPEN_CTR_ETHER_STATS_HOLD + 1, "one row a counter");

// What each interface had counted when its counters were last cleared.
std::map<uint32_t, std::array<uint64_t, COUNTERS>> cleared;

bool needs_shared_copper(OPEN_COUNTER_ID_t id)
{
  return (id >= OPEN_CTR_TX_ONE_COLLISION && id <= OPEN_CTR_TX_LATE_COLLISION) ||
         sim_among(id, {OPEN_CTR_TX_TOTAL_COLLISION_FRAMES, OPEN_CTR_RX_ALIGN_ERRORS});
}

bool is_rate(OPEN_COUNTER_ID_t id)
{
  return id >= OPEN_CTR_RX_RATE_BITS && id <= OPEN_CTR_TX_RATE_FRAMES;
}

bool is_total(OPEN_COUNTER_ID_t id)
{
  return is_rate(id) ||
         sim_among(id, {OPEN_CTR_RX_TOTAL_BYTES, OPEN_CTR_RX_UCAST_FRAMES, OPEN_CTR_RX_MCAST_FRAMES,
                        OPEN_CTR_RX_BCAST_FRAMES, OPEN_CTR_TX_TOTAL_BYTES, OPEN_CTR_TX_UCAST_FRAMES,
                        OPEN_CTR_TX_MCAST_FRAMES, OPEN_CTR_TX_BCAST_FRAMES,
                        OPEN_CTR_RX_TOTAL_FRAMES, OPEN_CTR_RX_TOTAL_ERROR_FRAMES,
                        OPEN_CTR_TX_TOTAL_FRAMES, OPEN_CTR_TX_TOTAL_ERROR_FRAMES});
}

bool keeps(const sim_if_t& intf, OPEN_COUNTER_ID_t id)
{
  if (id == OPEN_CTR_RESERVED) {
    return false;
  }
  switch (intf.type) {
    case OPEN_INTF_TYPE_PHY:
      return intf.connector == OPEN_RJ45 || !needs_shared_copper(id);
    case OPEN_INTF_TYPE_LAG:
    case OPEN_INTF_TYPE_CPU:
      return is_total(id);
    default:
      return false;
  }
}

uint64_t round_ms(const sim_if_t& intf)
{
  return 20 + intf.number % 16;
}

uint64_t rate_of(const sim_if_t& intf, OPEN_COUNTER_ID_t id)
{
  if (!sim_link_up(intf.number)) {
    return 0;
  }
  const auto per_second = [&](uint64_t round) { return round * 1000 / round_ms(intf); };
  switch (id) {
    case OPEN_CTR_RX_RATE_BITS:
      return per_second(ROUND[OPEN_CTR_RX_TOTAL_BYTES] * 8);
    case OPEN_CTR_TX_RATE_BITS:
      return per_second(ROUND[OPEN_CTR_TX_TOTAL_BYTES] * 8);
    case OPEN_CTR_RX_RATE_FRAMES:
      return per_second(ROUND[OPEN_CTR_RX_TOTAL_FRAMES]);
    default:
      return per_second(ROUND[OPEN_CTR_TX_TOTAL_FRAMES]);
  }
}

// Since the interface exists, whatever was cleared.
uint64_t counted(const sim_if_t& intf, OPEN_COUNTER_ID_t id)
{
  return sim_link_up_ms(intf.number) / round_ms(intf) * ROUND[id];
}

// Finds the interface of a call about one of its counters.
open_error_t counter_find(OPEN_COUNTER_ID_t id, uint32_t number, const sim_if_t*& intf)
{
  intf = sim_if_find(number);
  if (intf == nullptr || id < 0 || static_cast<size_t>(id) >= COUNTERS) {
    return OPEN_E_PARAM;
  }
  return keeps(*intf, id) ? OPEN_E_NONE : OPEN_E_NOT_FOUND;
}

uint64_t value_of(const sim_if_t& intf, OPEN_COUNTER_ID_t id)
{
  return is_rate(id) ? rate_of(intf, id) : counted(intf, id) - cleared[intf.number][id];
}

// What passes a group passes its members, which do the counting.
std::vector<uint32_t> counting(const sim_if_t& intf)
{
  return intf.type == OPEN_INTF_TYPE_LAG ? sim_lag_members(intf.number)
                                         : std::vector<uint32_t>{intf.number};
}

open_error_t counter_get(OPEN_COUNTER_ID_t id, uint32_t number, uint64_t& value)
{
  const sim_if_t* intf = nullptr;
  const open_error_t result = counter_find(id, number, intf);
  if (result != OPEN_E_NONE) {
    return result;
  }
  value = 0;
  for (const uint32_t member : counting(*intf)) {
    value += value_of(*sim_if_find(member), id);
  }
  return OPEN_E_NONE;
}

void counter_clear(OPEN_COUNTER_ID_t id, const sim_if_t& intf)
{
  for (const uint32_t member : counting(intf)) {
    cleared[member][id] = counted(*sim_if_find(member), id);
  }
}

open_error_t counter_reset(OPEN_COUNTER_ID_t id, uint32_t number)
{
  const sim_if_t* intf = nullptr;
  const open_error_t result = counter_find(id, number, intf);
  if (result == OPEN_E_NONE) {
    counter_clear(id, *intf);
  }
  return result;
}

open_error_t counters_reset(uint32_t number)
{
  const sim_if_t* intf = sim_if_find(number);
  if (intf == nullptr) {
    return OPEN_E_PARAM;
  }
  for (size_t id = 0; id < COUNTERS; id++) {
    const auto counter = static_cast<OPEN_COUNTER_ID_t>(id);
    if (keeps(*intf, counter)) {
      counter_clear(counter, *intf);
    }
  }
  return OPEN_E_NONE;
}
}  // namespace

void sim_counters_reset()
{
  cleared.clear();
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
