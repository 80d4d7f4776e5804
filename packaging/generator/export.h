#pragma once

#include <string>

namespace generator {

/// The options of boardctl-export: as items of a list of mdoc(7), as words, and as branches of a
/// shell's `case` on the option before the word, which set `candidates` or `file`.
std::string exportManual();
std::string exportOptions();
std::string exportBranches();

}  // namespace generator
