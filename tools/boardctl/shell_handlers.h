#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace boardctl {

/// The handler of `snapshot`, which only the shell offers: it relies on the shell's running manager
/// and starts nothing. Returns -1 when no word is given, else 0.
std::int32_t snapshotData(std::vector<std::string> words);

/// Every word that a line of the shell may begin with; for completion.
std::vector<std::string_view> shellWords();

}  // namespace boardctl
