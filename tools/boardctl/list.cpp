#include "cli/handlers.h"
#include "devmgr/properties.h"
#include "tools/boardctl/device_type.h"
#include "tools/boardctl/manager.h"
#include "tools/boardctl/output.h"

namespace boardctl {
namespace {

constexpr std::string_view kListUsage =
    "list <DeviceType> gpu, baseboard, korswitch, fpga, hsc, pcieretimer, pcieswitch, pciegen4sw, "
    "pcbTemp, inletTemp, outputhsc, standbyhsc, altPressureSensor, sysvr5v, sysvr3v3, sysvr1v8, "
    "sysvr0v9, llc_ab_mps, llc_cd_mps, korlinkBridgeConn, hmc, moduleTemp, cpu, all";
constexpr std::string_view kRule =
    "-------------------------------------------------------------\n";

}  // namespace

std::int32_t listGpuProperties(std::vector<std::string> words) {
  const ManagerSession manager;
  manager.start(kStartForList);
  if (words.empty()) {
    printMissingWords(kListUsage);
    return -1;
  }

  char listing[kPropertyListSize] = {};
  const std::int32_t result =
      words[0] == "all"
          ? DeviceGetAllSupportedProperties(listing, sizeof listing)
          : DeviceGetSupportedProperties(getDeviceType(words[0]), listing, sizeof listing);
  manager.stop();
  if (result != 0) {
    printDecimalCode("Get property list failed, rc = ", result, "\n");
    return result;
  }
  print({"Device Property List: \n", kRule, bufferText(listing, sizeof listing), "\n", kRule});
  return 0;
}

}  // namespace boardctl
