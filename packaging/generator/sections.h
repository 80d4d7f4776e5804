#pragma once

#include <map>
#include <string>

namespace generator {

/// The texts that templates may ask for by name, made from the tool's tables.
std::map<std::string, std::string> makeSections();

/// A help text for mdoc(7): sentences and what a break in the text separates begin on new lines,
/// lists in brackets are filled.
std::string manualText(const std::string& help);

}  // namespace generator
