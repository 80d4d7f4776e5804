#pragma once

#include <array>
#include <cstdint>
#include <string_view>

/// The library's code of a device kind. 22 is no kind's code.
enum class DeviceType : std::int32_t {
  unknown = -1,  ///< what a word that names no kind stands for
  gpu = 0,
  korswitch = 1,
  fpga = 2,
  hsc = 3,
  pcieretimer = 4,
  pcieswitch = 5,
  pciegen4sw = 6,
  pcbTemp = 7,
  inletTemp = 8,
  outputhsc = 9,
  standbyhsc = 10,
  baseboard = 11,
  altPressureSensor = 12,
  korlinkBridgeConn = 13,
  sysvr5v = 14,
  sysvr3v3 = 15,
  sysvr1v8 = 16,
  sysvr0v9 = 17,
  llcAbMps = 18,
  llcCdMps = 19,
  hmc = 20,
  hostBmc = 21,
  moduleTemp = 23,
  cpu = 24,
};

struct DeviceKind {
  std::string_view word;
  DeviceType type;
};

/// The word for each device kind, which operators type and property names begin with, in the order
/// of the codes.
inline constexpr auto kDeviceKinds = std::to_array<DeviceKind>({
    {"gpu", DeviceType::gpu},
    {"korswitch", DeviceType::korswitch},
    {"fpga", DeviceType::fpga},
    {"hsc", DeviceType::hsc},
    {"pcieretimer", DeviceType::pcieretimer},
    {"pcieswitch", DeviceType::pcieswitch},
    {"pciegen4sw", DeviceType::pciegen4sw},
    {"pcbTemp", DeviceType::pcbTemp},
    {"inletTemp", DeviceType::inletTemp},
    {"outputhsc", DeviceType::outputhsc},
    {"standbyhsc", DeviceType::standbyhsc},
    {"baseboard", DeviceType::baseboard},
    {"altPressureSensor", DeviceType::altPressureSensor},
    {"korlinkBridgeConn", DeviceType::korlinkBridgeConn},
    {"sysvr5v", DeviceType::sysvr5v},
    {"sysvr3v3", DeviceType::sysvr3v3},
    {"sysvr1v8", DeviceType::sysvr1v8},
    {"sysvr0v9", DeviceType::sysvr0v9},
    {"llc_ab_mps", DeviceType::llcAbMps},
    {"llc_cd_mps", DeviceType::llcCdMps},
    {"hmc", DeviceType::hmc},
    {"hostBmc", DeviceType::hostBmc},
    {"moduleTemp", DeviceType::moduleTemp},
    {"cpu", DeviceType::cpu},
});
