#pragma once

#include <string_view>

namespace boardctl {

/// The `DeviceType` code of the kind that a word names, compared exactly; -1 for any other word,
/// "all" included.
int getDeviceType(std::string_view word);

}  // namespace boardctl
