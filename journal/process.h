#pragma once

#include <string>
#include <vector>

#include "journal/line.h"

namespace journal {

/// The build id, in hexadecimal, of the loaded object that contains an address, or of the program;
/// empty when it has none.
std::string buildIdOf(const void* address);
std::string buildIdOfProgram();

/// The arguments of this process as the system has them; empty when it does not say.
std::vector<std::string> processArguments();

/// Adds to a header what is known of this process: `arguments`, `tool`, and the `library` that
/// contains an address.
void addProcess(Line& header, const void* inLibrary);

}  // namespace journal
