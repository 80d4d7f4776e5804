#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace boardctl {

/// The library's code of a device kind; -1 for none. 22 is never used.
using DeviceType = std::int32_t;

inline constexpr DeviceType kDeviceGpu = 0;
inline constexpr DeviceType kDeviceKorswitch = 1;
inline constexpr DeviceType kDeviceFpga = 2;

/// The code that a word names, compared exactly; -1 for any other word, "all" included.
DeviceType getDeviceType(std::string_view word);

/// Every word that names a kind, in the order of the codes; for completion.
std::vector<std::string_view> deviceWords();

}  // namespace boardctl
