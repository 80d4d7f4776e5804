#include "sim/base/kinds.h"

#include <algorithm>
#include <charconv>

namespace sim {

std::optional<KindIndex> kindOfWord(std::string_view word) {
  const auto found = std::ranges::find(kDeviceKinds, word, &DeviceKind::word);
  if (found == kDeviceKinds.end()) return {};
  return static_cast<KindIndex>(found - kDeviceKinds.begin());
}

std::optional<KindIndex> kindOfCode(int code) {
  const auto found =
      std::ranges::find(kDeviceKinds, static_cast<DeviceType>(code), &DeviceKind::type);
  if (found == kDeviceKinds.end()) return {};
  return static_cast<KindIndex>(found - kDeviceKinds.begin());
}

std::array<std::string_view, kDeviceKinds.size()> kindWords() {
  std::array<std::string_view, kDeviceKinds.size()> words;
  std::ranges::transform(kDeviceKinds, words.begin(), &DeviceKind::word);
  return words;
}

std::string nameOf(Device device) {
  return std::string(wordOf(device.kind)) + std::to_string(device.id);
}

std::optional<Device> parseDevice(std::string_view name) {
  for (std::size_t i = 0; i < kDeviceKinds.size(); ++i) {
    if (!name.starts_with(kDeviceKinds[i].word)) continue;
    const std::string_view digits = name.substr(kDeviceKinds[i].word.size());
    if (digits.empty() || digits.size() > 3 || (digits.size() > 1 && digits[0] == '0')) continue;
    int id = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), id);
    if (error != std::errc() || end != digits.data() + digits.size()) continue;
    if (id >= 0 && id <= 254) return Device{static_cast<KindIndex>(i), id};
  }
  return {};
}

}  // namespace sim
