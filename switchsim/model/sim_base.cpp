// Versions and identity of the switch.
#include "platform/openapi_base.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/call/sim_clock.h"
#include "switchsim/model/sim_plane.h"
#include "switchsim/text/sim_mac.h"

namespace
{
constexpr char OS_VERSION[] = "7.4.2.18";
constexpr char STORAGE[] = "1 GiB flash, 2 GiB memory";
constexpr char SERIAL_NUMBER[] = "TVX2117A00426";
constexpr char MODEL[] = "TX5454";
constexpr char DESCRIPTION[] = "Tarvexia TX5454 Ethernet switch, software 7.4.2.18, Linux 5.10";
constexpr open_revision_data_t API_VERSION = {1, 19, 0, 3};
constexpr uint32_t EQUAL_COST_ROUTES = 16;

open_error_t text_call(const char* name, const openapiClientHandle_t* handle, open_buffdesc* desc,
                       std::string_view text)
{
  return sim_call(
      name, handle, [&] { return sim_text_put(desc, text); }, sim_out(desc));
}
}  // namespace

// Found by the type of its argument, so not in the namespace above.
static void sim_put(std::string& line, const open_revision_data_t& revision)
{
  line += "{" + std::to_string(revision.release) + "," + std::to_string(revision.version) + "," +
          std::to_string(revision.maint_level) + "," + std::to_string(revision.build_num) + "}";
}

open_error_t rpcclt_openapiNetworkOSVersionGet(openapiClientHandle_t* client_handle,
                                               open_buffdesc* switchOSRevision)
{
  return text_call(__func__, client_handle, switchOSRevision, OS_VERSION);
}

open_error_t rpcclt_openapiSwStorageGet(openapiClientHandle_t* client_handle,
                                        open_buffdesc* swStorage)
{
  return text_call(__func__, client_handle, swStorage, STORAGE);
}

open_error_t rpcclt_openapiSwDevInfoSerialNumGet(openapiClientHandle_t* client_handle,
                                                 open_buffdesc* serialNumber)
{
  return text_call(__func__, client_handle, serialNumber, SERIAL_NUMBER);
}

open_error_t rpcclt_openapiBurnedInMacAddrGet(openapiClientHandle_t* client_handle,
                                              open_buffdesc* macAddr)
{
  const auto work = [&] { return sim_text_put(macAddr, sim_mac_text(sim_plane().mac(0))); };
  return sim_call(__func__, client_handle, work, sim_out(macAddr));
}

open_error_t rpcclt_openapiMachineModelNameGet(openapiClientHandle_t* client_handle,
                                               open_buffdesc* modelName)
{
  return text_call(__func__, client_handle, modelName, MODEL);
}

open_error_t rpcclt_openapiSystemDescrGet(openapiClientHandle_t* client_handle,
                                          open_buffdesc* description)
{
  return text_call(__func__, client_handle, description, DESCRIPTION);
}

open_error_t rpcclt_openapiApiVersionGet(openapiClientHandle_t* client_handle,
                                         open_revision_data_t* version)
{
  const auto work = [&] { return sim_give(*version, API_VERSION); };
  return sim_call(__func__, client_handle, work, sim_out(version));
}

open_error_t rpcclt_openapiOspfEqualCostRoutesMax(openapiClientHandle_t* client_handle,
                                                  uint32_t* count)
{
  const auto work = [&] { return sim_give(*count, EQUAL_COST_ROUTES); };
  return sim_call(__func__, client_handle, work, sim_out(count));
}

// The one call that a switch answers while it starts again.
open_error_t openapiSystemReadyStateGet(openapiClientHandle_t* client_handle,
                                        uint32_t* isSystemReady)
{
  const auto work = [&] {
    return sim_registered(client_handle) ? sim_give(*isSystemReady, sim_ready() ? 1u : 0u)
                                         : OPEN_E_RPC;
  };
  return sim_run(__func__, work, sim_out(isSystemReady));
}
