#pragma once

#include <vector>

#include "cli/option_spec.h"

namespace boardctl {

/// Everything that may appear on the command line, in the order of the usage text. Built during
/// static initialisation and never changed; not to be read before `main`.
extern const std::vector<OptionSpec> optionRegistry;

}  // namespace boardctl
