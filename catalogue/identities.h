#pragma once

#include <string_view>

namespace PropertyCatalogue {

/// Whether the value of that property tells one board from all others: a serial number, a global
/// identifier, or what a part was made as and when. Decided by what its name contains, in any case.
bool isIdentity(std::string_view propertyName);

}  // namespace PropertyCatalogue
