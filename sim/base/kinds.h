#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>

#include "devmgr/device_type.h"

namespace sim {

/// Position of a kind in `kDeviceKinds`; everything inside the library counts kinds this way.
using KindIndex = int;

/// The kind of a device type; `unknown` has none.
consteval KindIndex kindOf(DeviceType type) {
  const auto found = std::ranges::find(kDeviceKinds, type, &DeviceKind::type);
  if (found == kDeviceKinds.end()) throw "no kind has this type";
  return static_cast<KindIndex>(found - kDeviceKinds.begin());
}

inline constexpr KindIndex kGpu = kindOf(DeviceType::gpu);
inline constexpr KindIndex kKorswitch = kindOf(DeviceType::korswitch);
inline constexpr KindIndex kFpga = kindOf(DeviceType::fpga);

/// The kind of a word, exact and case-sensitive.
std::optional<KindIndex> kindOfWord(std::string_view word);

/// The kind of a device type code.
std::optional<KindIndex> kindOfCode(int code);

inline DeviceType typeOf(KindIndex kind) {
  return kDeviceKinds[static_cast<std::size_t>(kind)].type;
}

inline std::string_view wordOf(KindIndex kind) {
  return kDeviceKinds[static_cast<std::size_t>(kind)].word;
}

/// The words of all kinds, in the order of `kDeviceKinds`.
std::array<std::string_view, kDeviceKinds.size()> kindWords();

/// One device of the board.
struct Device {
  KindIndex kind = 0;
  int id = 0;
  friend bool operator==(const Device&, const Device&) = default;
};

/// The device's name, the kind's word followed by the number: "gpu3".
std::string nameOf(Device device);

/// Reads such a name. Numbers have no leading zero and lie in 0..254.
std::optional<Device> parseDevice(std::string_view name);

}  // namespace sim
