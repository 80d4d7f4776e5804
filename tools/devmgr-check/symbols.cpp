#include <array>

#include "devmgr/logger.h"
#include "tools/devmgr-check/checks.h"

namespace {

constexpr std::array kCFunctions = {
    "GPUSetLogger",
    "GPUSetLogLevel",
    "GPUManagerInit",
    "GPUManagerRun",
    "GPUManagerStop",
    "DeviceGetData",
    "DeviceSetData",
    "DeviceClearData",
    "DeviceGetSupportedProperties",
    "DeviceGetAllSupportedProperties",
    "SnapShotRefreshStatus",
    "DeviceSetCallbackUpdateData",
    "TesselCmd",
    "TesselCmdKorswitch",
    "TesselCmdFpga",
    "TesselSyncCmdGpu",
    "TesselSyncCmdKorswitch",
    "TesselSyncCmdFpga",
    "TesselAsyncCmdGpu",
    "TesselAsyncCmdKorswitch",
};

struct CxxFunction {
  const char* what;
  const char* symbol;
};

constexpr std::array kCxxFunctions = {
    CxxFunction{"DeviceGetSupportedProperties (vectors)", kVectorForm},
    CxxFunction{"DataInfo copy constructor", "_ZN9data_info8DataInfoC1ERKS0_"},
};

}  // namespace

void checkSymbols(const Library& library, Report& report) {
  const std::string soname = library.soname();
  report.check(soname == "libdevmgr.so.0", "soname",
               soname.empty() ? "the library has none" : "it is " + soname);

  for (const std::string name : kCFunctions) {
    const std::string cxxName = library.cxxNameOf(name);
    report.check(
        library.find(name) != nullptr, name,
        cxxName.empty() ? "missing" : "has C++ linkage where C linkage is due: " + cxxName);
  }
  for (const CxxFunction& function : kCxxFunctions) {
    report.check(library.find(function.symbol) != nullptr, function.what,
                 std::string("missing: ") + function.symbol);
  }

  const auto size = library.sizeOf("logger");
  if (!size) {
    report.bad("logger", "missing");
  } else if (*size == 0) {
    report.unknown("logger", "its symbol carries no size");
  } else {
    const std::string sizes =
        std::to_string(*size) + " bytes, the tool reads " + std::to_string(sizeof(Logger));
    if (*size < sizeof(Logger)) {
      report.bad("logger", sizes);
    } else {
      report.good("logger", sizes);
    }
  }
}
