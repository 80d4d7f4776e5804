#include "cli/registry.h"

#include <string>
#include <utility>

#include "cli/handlers.h"

namespace boardctl {
namespace {

struct Row {
  const char* name;
  const char* longName;
  ArgKind argKind;
  const char* hint;
  Presence presence;
  const char* help;
  std::int32_t (*handler)(std::vector<std::string>);
};

constexpr const char* kRawHint =
    "<deviceType> <gpuId> <opcode> <arg1> <arg2> <data0> <data1> <data2> <data3> <data4> <data5> "
    "<data6> <data7>";

// Scripts compare the usage text byte for byte: odd blanks and examples that do not match their
// hints are part of it.
constexpr Row kRows[] = {
    {"-h", "--help", ArgKind::none, "", Presence::exclusive, "This help.", printUsage},
    {"-m", "", ArgKind::replace, "<file>", Presence::required,
     "OOB manifest filename. Must work with 'cmd'.", setManifestFile},
    {"-p", "", ArgKind::replace, "<file>", Presence::optional,
     "GPU profile filename. Must work with 'cmd'.", setProfileFile},
    {"-t", "", ArgKind::replace, "<file>", Presence::optional,
     "GPU properties filename. Must work with 'cmd'.", setPropertiesFile},
    {"-l", "", ArgKind::replace, "<level>", Presence::optional, "Debug Log Level [0-5].",
     setLogLevel},
    {"-L", "", ArgKind::replace, "<file>", Presence::optional,
     "Debug Log file. Use stdout if omitted.", setLogFile},
    {"list", "", ArgKind::accumulate, "<DeviceType>", Presence::required,
     "List all OOB properties that supported for given device.\n"
     "DeviceType [gpu, korswitch, fpga, baseboard, hsc, pcieswitch,\n"
     "pciegen4sw, pcbTemp, inletTemp, outputhsc, standbyhsc, pcieretimer,\n"
     "altPressureSensor, korlinkBridgeConn, sysvr5v, sysvr3v3, sysvr1v8,\n"
     "sysvr0v9, llc_ab_mps, llc_cd_mps, moduleTemp, cpu]\n"
     "DeviceType = [all] lists all the device properties",
     listGpuProperties},
    {"get", "", ArgKind::accumulate, "<deviceType> <devId> <propName> <accMode>",
     Presence::required,
     "Get a Device property, e.g. get gpu 0 inventory.partnumber 0.\n"
     " devId: Device Index, 0-based.\n"
     "  propName: Device property name, please use 'list' cmd \n"
     "DeviceType [gpu, korswitch, fpga, baseboard, hsc, pcieswitch,\n"
     " pciegen4sw, pcbTemp, inletTemp, outputhsc, standbyhsc, pcieretimer, \n"
     "altPressureSensor, korlinkBridgeConn, sysvr5v, sysvr3v3, sysvr1v8,\n"
     "sysvr0v9, llc_ab_mps, llc_cd_mps, moduleTemp, cpu]\n"
     "for all supported properties.\n"
     "  accMode: 0 - Snapshot, 1 - Pass-through.",
     getGpuData},
    {"set", "", ArgKind::accumulate, "<devId> <propName> <propValue>", Presence::required,
     "Set a Device property, e.g. set 0 gpu.firmware.writeProtectMode 1.\n"
     " devId: Device Index, 0-based.\n"
     "  propName: Device property name, please use 'list <deviceType> or\n"
     "list all' cmd for all supported properties.",
     setGpuData},
    {"clear", "", ArgKind::accumulate, "<devId> <propName>", Presence::required,
     "Clear a Device property, e.g. clear 0 gpu.power.limit.total.\n"
     "  devId: Device Index, 0-based.\n"
     "  propName: Device property name, please use 'list <deviceType> or list all' cmd for all "
     "supported properties.",
     clearGpuData},
    {"set_callback", "", ArgKind::accumulate, "<devId> <propName>", Presence::required,
     "Register a callback function to Device property data.\n"
     "e.g.set_callback 0 GPUGetPrimaryGPUTemperatureSP.\n"
     "  devId: Device Index, 0-based.\n"
     "  apiName: property API name.",
     registerCallbackApi},
    {"raw", "", ArgKind::accumulate, kRawHint, Presence::required,
     "Send a raw TESSEL command, e.g. raw 0 0x01 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 "
     "0x00.\n"
     "  gpuId: GPU Index, 0-based.\n"
     "  opcode/arg1/arg2: all defined in TESSEL spec.",
     rawData},
    {"rawSyncCmd", "", ArgKind::accumulate, kRawHint, Presence::required,
     "Send a raw TESSEL command, e.g. rawSyncCmd 0 0x01 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 "
     "0x00 0x00.\n"
     "  gpuId: GPU Index, 0-based.\n"
     "  opcode/arg1/arg2: all defined in TESSEL spec.",
     rawSyncCmdData},
    {"rawAsyncCmd", "", ArgKind::accumulate,
     "<deviceType> <gpuId> <opcode> <arg1> <arg2> <data0> <data1> <data2> <data3> <data4> <data5> "
     "<data6> <data7> <data8> <data9> <data10> <data11>",
     Presence::required,
     "Send a raw TESSEL command, e.g. rawAsyncCmd 0 0x10 0x00 0x00 0x00 0x00 0x00 0x00 0x00 0x00 "
     "0x00 0x00 0x00 0x00 0x00 0x00.\n"
     "  gpuId: GPU Index, 0-based.\n"
     "  opcode/arg1/arg2: all defined in TESSEL spec.",
     rawAsyncCmdData},
    {"shell", "", ArgKind::none, "", Presence::required,
     "Enter a shell for Device information access.", runShell},
};

std::vector<OptionSpec> buildRegistry() {
  std::vector<OptionSpec> entries;
  entries.reserve(std::size(kRows));
  for (const Row& row : kRows) {
    entries.emplace_back(row.name, row.longName, row.argKind, row.hint, row.presence, row.help,
                         [handler = row.handler](std::vector<std::string> words) {
                           return handler(std::move(words));
                         });
  }
  return entries;
}

}  // namespace

const std::vector<OptionSpec> optionRegistry = buildRegistry();

}  // namespace boardctl
