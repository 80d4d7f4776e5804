#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>

#include "catalogue/sorted_set.h"

/// The constant tables of the device library's names and codes: `ApiPropertyMap`, which has a
/// header of its own, and these groups. All are constant-initialised, immutable and usable from any
/// thread.
namespace PropertyCatalogue {

/// Paged and multi-valued properties, in the library's order; a list, so names may repeat.
inline constexpr std::string_view PagedPropertyList[] = {
    "gpu.device.KorDECPerInstanceUtilization.page0",
    "gpu.device.KorDECPerInstanceUtilization.page1",
    "gpu.device.KorDECPerInstanceUtilization.page2",
    "gpu.device.KorDECPerInstanceUtilization.page3",
    "gpu.device.KorDECPerInstanceUtilization.page4",
    "gpu.device.KorDECPerInstanceUtilization.page5",
    "gpu.device.KorDECPerInstanceUtilization.page6",
    "gpu.device.KorDECPerInstanceUtilization.page7",
    "gpu.device.KorJPGPerInstanceUtilization.page0",
    "gpu.device.KorJPGPerInstanceUtilization.page1",
    "gpu.device.KorJPGPerInstanceUtilization.page2",
    "gpu.device.KorJPGPerInstanceUtilization.page3",
    "gpu.device.KorJPGPerInstanceUtilization.page4",
    "gpu.device.KorJPGPerInstanceUtilization.page5",
    "gpu.device.KorJPGPerInstanceUtilization.page6",
    "gpu.device.KorJPGPerInstanceUtilization.page7",
    "gpu.driver.version.page0",
    "gpu.driver.version.page1",
    "korswitch.driver.version.page0",
    "korswitch.driver.version.page1",
    "gpu.memory.MemoryDRAMCapacityMiB",
    "gpu.device.totalMemoryCapacityUtilization",
    "gpu.power.consumption",
    "gpu.device.PresenceAndPowerStatus",
    "gpu.korlink.KORLinkStateV1",
    "gpu.korlink.KORLinkStateV2.page0",
    "gpu.korlink.KORLinkStateV2.page1",
    "gpu.korlink.KORLinkStateV2.page2",
    "gpu.korlink.KORLinkStateV2.page4",
    "korswitch.korlink.KORLinkStateV1",
    "korswitch.korlink.KORLinkStateV2.page0",
    "korswitch.korlink.KORLinkStateV2.page1",
    "korswitch.korlink.KORLinkStateV2.page2",
    "korswitch.korlink.KORLinkStateV2.page4",
    "korswitch.driver.version.page0",
    "korswitch.driver.version.page1",
    "gpu.clock.memory.maxFreq",
    "gpu.clock.memory.minFreq",
    "fpga.firmware.writeProtectModePage1",
    "gpu.firmware.writeProtectMode",
    "korswitch.firmware.writeProtectMode",
    "gpu.power.limit.arbitrated",
    "gpu.power.limit.policy.info",
    "korswitch.korlink.KORLinkBandwidth.page0",
    "korswitch.korlink.KORLinkBandwidth.page1",
    "korswitch.korlink.KORLinkBandwidth.page2",
    "korswitch.korlink.KORLinkBandwidth.page3",
    "korswitch.korlink.KORLinkBandwidth.page4",
    "korswitch.korlink.KORLinkBandwidth.page5",
    "korswitch.korlink.KORLinkBandwidth.page6",
    "korswitch.korlink.KORLinkBandwidth.page7",
    "korswitch.korlink.KORLinkBandwidth.page8",
    "korswitch.korlink.KORLinkBandwidth.page9",
    "korswitch.korlink.KORLinkBandwidth.page10",
    "korswitch.korlink.KORLinkBandwidth.page11",
    "korswitch.korlink.KORLinkBandwidth.page12",
    "korswitch.korlink.KORLinkBandwidth.page13",
    "korswitch.korlink.KORLinkBandwidth.page14",
    "korswitch.korlink.KORLinkBandwidth.page15",
    "korswitch.korlink.KORLinkBandwidth.page16",
    "korswitch.korlink.KORLinkBandwidth.page17",
    "korswitch.korlink.KORLinkBandwidth.page18",
    "korswitch.korlink.KORLinkBandwidth.page19",
    "korswitch.korlink.KORLinkBandwidth.page20",
    "korswitch.korlink.KORLinkBandwidth.page21",
    "korswitch.korlink.KORLinkBandwidth.page22",
    "korswitch.korlink.KORLinkBandwidth.page23",
    "korswitch.korlink.KORLinkBandwidth.page24",
    "korswitch.korlink.KORLinkBandwidth.page25",
    "korswitch.korlink.KORLinkBandwidth.page26",
    "korswitch.korlink.KORLinkBandwidth.page27",
    "korswitch.korlink.KORLinkBandwidth.page28",
    "korswitch.korlink.KORLinkBandwidth.page29",
    "korswitch.korlink.KORLinkBandwidth.page30",
    "korswitch.korlink.KORLinkBandwidth.page31",
};
static_assert(std::size(PagedPropertyList) == 75);

inline constexpr auto kLinkLogic1 = sortedSet<std::string_view>({
    "GPUGetKORLinksRxThroughputV2",
    "KORSwitchGetKORLinksRxThroughputV2",
    "GPUGetKORLinksTxThroughputV2",
    "KORSwitchGetKORLinksTxThroughputV2",
    "KORSwitchGetKORLinksRxThroughputWithProtocolV2",
    "GPUGetKORLinksTxThroughputWithProtocolV2",
    "KORSwitchGetKORLinksTxThroughputWithProtocolV2",
    "GPUGetKORLinksRxThroughputWithProtocolV2",
    "GPUGetKORLinkDataCRCErrorCountV2",
    "KORSwitchGetKORLinkDataCRCErrorCountV2",
    "GPUGetKORLinkFlitCRCErrorCountV2",
    "KORSwitchGetKORLinkFlitCRCErrorCountV2",
    "GPUGetKORLinkRecoveryErrorCountV2",
    "KORSwitchGetKORLinkRecoveryErrorCountV2",
    "GPUGetKORLinkReplayCountV2",
    "KORSwitchGetKORLinkReplayCountV2",
    "GPUGetKORLinkRawTxPerLinkBandwidthGbpsV2",
    "GPUGetKORLinkRawRxPerLinkBandwidthGbpsV2",
    "GPUGetKORLinkDataTxPerLinkBandwidthGbpsV2",
    "GPUGetKORLinkDataRxPerLinkBandwidthGbpsV2",
});
static_assert(kLinkLogic1.size() == 20);

inline constexpr auto kLinkLogic2 = sortedSet<std::string_view>({
    "GPUGetKORLinkBWGbpsV2",
    "KORSwitchGetKORLinkBandwidthV2",
});
static_assert(kLinkLogic2.size() == 2);

inline constexpr auto kLinkLogic3 = sortedSet<std::string_view>({
    "KORSwitchGetKORLinkRxWidthV2",
    "KORSwitchGetKORLinkTxWidthV2",
    "GPUGetKORLinkRxWidthV2",
    "GPUGetKORLinkTxWidthV2",
});
static_assert(kLinkLogic3.size() == 4);

inline constexpr auto kLinkLogic4 = sortedSet<std::string_view>({
    "KORSwitchGetKORLinkStateV3",
    "GPUGetKORLinkStateV3",
    "GPUGetKorlinkStatusV2",
    "KORSwitchGetKorlinkStatusV2",
});
static_assert(kLinkLogic4.size() == 4);

/// A named group of link-related API names.
struct LinkLogicGroup {
  std::string_view name;
  std::span<const std::string_view> members;  ///< in byte order

  constexpr bool contains(std::string_view apiName) const {
    return std::binary_search(members.begin(), members.end(), apiName);
  }
};

/// The groups in byte order of their names.
inline constexpr LinkLogicGroup LinkLogicGroups[] = {
    {"korlinkLogic_1", kLinkLogic1},
    {"korlinkLogic_2", kLinkLogic2},
    {"korlinkLogic_3", kLinkLogic3},
    {"korlinkLogic_4", kLinkLogic4},
};

/// The group of exactly that name, or null.
constexpr const LinkLogicGroup* findLinkLogicGroup(std::string_view name) {
  for (const LinkLogicGroup& group : LinkLogicGroups) {
    if (group.name == name) return &group;
  }
  return nullptr;
}

/// Sets of the library's 16-bit codes.
inline constexpr auto CodeSetA = sortedSet<std::uint16_t>({
    0x0101, 0x0102, 0x0106, 0x0109, 0x010A, 0x010B, 0x010C, 0x010D, 0x010E,
    0x010F, 0x0110, 0x0111, 0x0112, 0x0113, 0x0114, 0x03FD, 0x0402, 0x0403,
    0x0404, 0x0B08, 0x0D03, 0x0D04, 0x0D06, 0x0D0A, 0x0D08,
});
static_assert(CodeSetA.size() == 25);

inline constexpr auto CodeSetB = sortedSet<std::uint16_t>({
    0x0103,
    0x0104,
    0x0115,
    0x0116,
    0x030D,
    0x030E,
    0x03FC,
    0x050D,
});
static_assert(CodeSetB.size() == 8);

inline constexpr auto CodeSetC = sortedSet<std::uint16_t>({
    0x0B01,
    0x0B02,
    0x0F01,
    0x0F02,
});
static_assert(CodeSetC.size() == 4);

}  // namespace PropertyCatalogue
