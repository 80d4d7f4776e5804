#pragma once

#include <string>
#include <vector>

#include "journal/line.h"

namespace journal {

/// The build id, in hexadecimal, of the loaded object that contains the address, or of the program
/// for a null pointer; empty when there is none.
std::string buildIdOf(const void* address);

/// The arguments of this process as the system has them; empty when it does not say.
std::vector<std::string> processArguments();

/// Adds to a header what is known of this process: `arguments`, `tool`, and the `library` that
/// contains the address.
void addProcess(Line& header, const void* inLibrary);

}  // namespace journal
