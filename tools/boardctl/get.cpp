#include <span>

#include "cli/handlers.h"
#include "devmgr/properties.h"
#include "logging/log.h"
#include "tools/boardctl/device_type.h"
#include "tools/boardctl/log_lines.h"
#include "tools/boardctl/manager.h"
#include "tools/boardctl/output.h"

namespace boardctl {
namespace {

constexpr std::string_view kGetUsage =
    "get <deviceType> <deviceId> <propName> [accMode=0]\n"
    " deviceType: gpu, korswitch, fpga, hsc, pcieretimer, pcieswitch, pciegen4sw, pcbTemp, "
    "inletTemp, outputhsc, standbyhsc, baseboard, altPressureSensor, korlinkBridgeConn, sysvr5v, "
    "sysvr3v3, sysvr1v8, sysvr0v9, llc_ab_mps, llc_cd_mps, moduleTemp, cpu";

/// Reads one property and prints its line; returns the library's result.
std::int32_t readProperty(const std::string& deviceWord, int deviceId, const std::string& name,
                          int accessMode) {
  // One more for the newline, and in all a length that is cleared quickly.
  alignas(16) char value[kPropertyValueSize + 16] = {};
  print({"Device[", deviceWord, std::to_string(deviceId), "](", name, ") "});
  const std::int32_t result =
      DeviceGetData(deviceId, name.c_str(), 0, 0, value, kPropertyValueSize, accessMode, 0);
  if (result != 0) {
    printHexCode("Get Failed, rc = 0x", result);
  } else {
    const std::size_t length = bufferText(value, kPropertyValueSize).size();
    value[length] = '\n';
    print(std::string_view(value, length + 1));
  }
  return result;
}

}  // namespace

std::int32_t getGpuData(std::vector<std::string> words) {
  constexpr const char* kName = "getGpuData";
  BOARDCTL_LOG(kLogDebug, "[%s:%d][%s]: Entry().\n", __FILE__, kGetEntryLine, kName);
  if (words.size() < 3) {
    printMissingWords(kGetUsage);
    return -1;
  }
  const int deviceType = getDeviceType(words[0]);
  const int deviceId = std::stoi(words[1]);
  const std::string& property = words[2];
  const int accessMode = words.size() > 3 ? std::stoi(words[3]) : 0;
  BOARDCTL_LOG(kLogDebug, "[%s:%d][%s]: devId : %d, propName : %s, accMode : %d, devType : %d.\n",
               __FILE__, kGetRequestLine, kName, deviceId, property.c_str(), accessMode,
               deviceType);

  const ManagerSession manager;
  if (const std::int32_t result = manager.start(kStartForGet); result != 0) return result;

  std::vector<std::string> supported;
  std::span<const std::string> names(&property, 1);
  if (property == "all") {
    std::vector<std::string> details;
    const std::int32_t result = DeviceGetSupportedProperties(deviceType, supported, details);
    if (result != 0) {
      printDecimalCode("Get Properties list failed, rc = ", result, ".\n");
      return result;
    }
    names = supported;
  }

  std::int32_t result = 0;
  int failures = 0;
  for (const std::string& name : names) {
    result = readProperty(words[0], deviceId, name, accessMode);
    if (result != 0) ++failures;
  }
  manager.stop();
  if (failures != 0) {
    BOARDCTL_LOG(kLogError, "[%s:%d][%s]: Failure count : %d.\n", __FILE__, kGetFailuresLine, kName,
                 failures);
  }
  return result;
}

}  // namespace boardctl
