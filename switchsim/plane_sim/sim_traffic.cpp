// While an interface has link, the same mix of frames passes it round after round, each interface
// at its own pace. So all counters agree with each other at any time.
#include "switchsim/plane_sim/sim_traffic.h"

#include <iterator>

#include "switchsim/call/sim_value.h"
#include "switchsim/model/sim_counters.h"
#include "switchsim/model/sim_ports.h"
#include "switchsim/plane_sim/sim_links.h"

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
static_assert(std::size(ROUND) == OPEN_CTR_ETHER_STATS_HOLD + 1, "one row a counter");

bool needs_shared_copper(OPEN_COUNTER_ID_t id)
{
  return (id >= OPEN_CTR_TX_ONE_COLLISION && id <= OPEN_CTR_TX_LATE_COLLISION) ||
         sim_among(id, {OPEN_CTR_TX_TOTAL_COLLISION_FRAMES, OPEN_CTR_RX_ALIGN_ERRORS});
}

bool keeps(const sim_if_t& intf, OPEN_COUNTER_ID_t id)
{
  if (id == OPEN_CTR_RESERVED)
    return false;
  switch (intf.type) {
    case OPEN_INTF_TYPE_PHY:
      return intf.connector == OPEN_RJ45 || !needs_shared_copper(id);
    case OPEN_INTF_TYPE_CPU:
      return sim_counter_is_total(id);
    default:
      return false;
  }
}

uint64_t round_ms(uint32_t number)
{
  return 20 + number % 16;
}

uint64_t rate_of(uint32_t number, OPEN_COUNTER_ID_t id)
{
  if (!sim_link_up(number))
    return 0;
  const auto per_second = [&](uint64_t round) { return round * 1000 / round_ms(number); };
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
}  // namespace

bool sim_traffic_counter(uint32_t number, OPEN_COUNTER_ID_t id, uint64_t& raw)
{
  const sim_if_t* intf = sim_if_find(number);
  if (intf == nullptr || !keeps(*intf, id))
    return false;
  raw = sim_counter_is_rate(id) ? rate_of(number, id)
                                : sim_link_up_ms(number) / round_ms(number) * ROUND[id];
  return true;
}
