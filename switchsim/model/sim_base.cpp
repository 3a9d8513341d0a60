#include "switchsim/model/sim_base.h"

#include <cctype>
#include <cstdio>

#include "platform/openapi_base.h"
#include "switchsim/call/sim_call.h"
#include "switchsim/model/sim_state.h"

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
                       const std::string& text)
{
  return sim_call(
      name, handle, [&] { return sim_text_put(desc, text); }, sim_out(desc));
}
}  // namespace

std::string sim_mac_text(uint64_t mac)
{
  char text[sizeof "00:00:00:00:00:00"];
  const auto byte = [&](unsigned shift) { return static_cast<unsigned>(mac >> shift & 0xff); };
  snprintf(text, sizeof text, "%02X:%02X:%02X:%02X:%02X:%02X", byte(40), byte(32), byte(24),
           byte(16), byte(8), byte(0));
  return text;
}

bool sim_mac_parse(const std::string& text, uint64_t& mac)
{
  constexpr struct {
    char separator;
    size_t groups;
    size_t digits_min;
    size_t digits_max;
  } NOTATIONS[] = {
      {':',  6, 1,  2 },
      {'-',  6, 1,  2 },
      {'.',  3, 4,  4 },
      {'\0', 1, 12, 12}
  };
  for (const auto& notation : NOTATIONS) {
    uint64_t value = 0;
    size_t groups = 0;
    size_t at = 0;
    for (; groups < notation.groups; groups++) {
      if (groups > 0 && (at >= text.size() || text[at++] != notation.separator)) {
        break;
      }
      const size_t start = at;
      uint64_t group = 0;
      while (at < text.size() && at - start < notation.digits_max &&
             isxdigit(static_cast<unsigned char>(text[at])) != 0) {
        group = group << 4 | std::stoul(text.substr(at++, 1), nullptr, 16);
      }
      if (at - start < notation.digits_min) {
        break;
      }
      value = value << (48 / notation.groups) | group;
    }
    if (groups == notation.groups && at == text.size()) {
      mac = value;
      return true;
    }
  }
  return false;
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
  return text_call(__func__, client_handle, macAddr, sim_mac_text(SIM_BURNED_IN_MAC));
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
