#pragma once

#include <map>
#include <string>

namespace generator {

/// The texts that templates may ask for by name, made from the tool's tables.
std::map<std::string, std::string> makeSections();

}  // namespace generator
