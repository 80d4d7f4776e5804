#include "catalogue/api_property_map.h"
#include "cli/handlers.h"
#include "devmgr/callbacks.h"
#include "logging/log.h"
#include "tools/boardctl/manager.h"
#include "tools/boardctl/output.h"

namespace boardctl {
namespace {

/// Called on the library's threads. The update comes by value, as a copy that ends with the call.
void callbackAPI(std::uint16_t /*code*/, data_info::DataInfo /*update*/, std::uint64_t /*stamp*/) {
  BOARDCTL_LOG(kLogDebug, "[%s:%d][%s]: callbackAPI called\n", __FILE__, __LINE__, "callbackAPI");
}

}  // namespace

std::int32_t registerCallbackApi(std::vector<std::string> words) {
  constexpr const char* kName = "registerCallbackApi";
  BOARDCTL_LOG(kLogDebug, "[%s:%d][%s]: Entry().\n", __FILE__, __LINE__, kName);
  if (words.size() < 2) {
    printMissingWords(" <devId> <apiName>");
    return -1;
  }
  const int deviceId = std::stoi(words[0]);
  const std::string& apiName = words[1];
  BOARDCTL_LOG(kLogDebug, "[%s:%d][%s]: gpuId : %d, propName : %s.\n", __FILE__, __LINE__, kName,
               deviceId, apiName.c_str());

  const ManagerSession manager;
  manager.start(kStartForCallback);
  if (!PropertyCatalogue::ApiPropertyMap.contains(apiName)) {
    print("API Name not found.\n");
    return -1;
  }
  const auto callback = [](std::uint16_t code, const data_info::DataInfo& update,
                           std::uint64_t stamp) { callbackAPI(code, update, stamp); };
  const std::int32_t result = DeviceSetCallbackUpdateData(deviceId, apiName, callback, -1,
                                                          std::string(), std::string(), -1);
  if (result != 0) {
    printHexCode("Register Callback API failed, rc = 0x", result);
  } else {
    print("Callback API Registered.\n");
  }
  manager.stop();
  return 0;
}

}  // namespace boardctl
