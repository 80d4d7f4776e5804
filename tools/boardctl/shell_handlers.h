#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace boardctl {

/// The handler of `snapshot`, which only the shell offers: it relies on the shell's running manager
/// and starts nothing. Returns -1 when no word is given, else 0.
std::int32_t snapshotData(std::vector<std::string> words);

}  // namespace boardctl
