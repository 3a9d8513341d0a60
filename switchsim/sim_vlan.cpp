#include "switchsim/sim_vlan.h"

#include "platform/openapi_vlan.h"
#include "switchsim/sim_areas.h"
#include "switchsim/sim_call.h"
#include "switchsim/sim_state.h"

namespace
{
constexpr uint32_t VLAN_HIGHEST = 4094;

uint32_t vlan_max;
}  // namespace

void sim_vlan_reset()
{
  vlan_max = VLAN_HIGHEST;
}

bool sim_vlan_vlan_max_parse(const sim_json_t& json)
{
  return sim_json_uint(json, 1, VLAN_HIGHEST, vlan_max);
}

uint32_t sim_vlan_max()
{
  return vlan_max;
}

open_error_t rpcclt_openapiDot1VlanMaxGet(openapiClientHandle_t* client_handle, uint32_t* vlanMax)
{
  const auto work = [&] { return sim_give(*vlanMax, vlan_max); };
  return sim_call(__func__, client_handle, work, sim_out(vlanMax));
}
