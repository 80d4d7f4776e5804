#pragma once

#include "devmgr/device_type.h"
#include "devmgr/postbox.h"

namespace boardctl {

/// The library's postbox functions for one device kind; null where there is none.
struct Postbox {
  DeviceType type;
  decltype(&TesselCmd) list;
  decltype(&TesselSyncCmdGpu) sync;
  decltype(&TesselAsyncCmdGpu) async;
};

/// The device kinds that have a postbox.
inline constexpr Postbox kPostboxes[] = {
    {DeviceType::gpu, TesselCmd, TesselSyncCmdGpu, TesselAsyncCmdGpu},
    {DeviceType::korswitch, TesselCmdKorswitch, TesselSyncCmdKorswitch, TesselAsyncCmdKorswitch},
    {DeviceType::fpga, TesselCmdFpga, TesselSyncCmdFpga, nullptr},
};

}  // namespace boardctl
