#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cli/option_spec.h"

namespace boardctl {

/// Columns of the usage table: where help texts start, and where they are wrapped.
inline constexpr std::uint32_t kUsageIndent = 14;
inline constexpr std::uint32_t kUsageWidth = 80;

/// The table of all entries, in registry order, each followed by an empty line. `indent` is the
/// column at which help texts start, `width` the column at which they are cut, in the middle of a
/// word if need be; with `width` not above `indent` they are never cut.
std::string formatOptionTable(const std::vector<OptionSpec>& registry, std::uint32_t indent,
                              std::uint32_t width);

}  // namespace boardctl
