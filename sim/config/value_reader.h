#pragma once

#include "sim/board/property_db.h"
#include "sim/config/names.h"

namespace sim {

/// The second step of reading properties: what a name stands for.

/// Reads one entry of a record, or one device's own value: a constant, or an object that says how
/// the value behaves and is printed. Throws `FileError`.
Definition readValue(const DefinedNames& names, const Node& node);

/// As `readValue`, for a property: its name, access, range and unit as well, but not its kind.
Property readProperty(const DefinedNames& names, const Node& node);

/// Rejects a number that the format has no word for.
void requireWord(const Node& node, const Format& format, Fixed number);

}  // namespace sim
