#pragma once

#include "sim/json_file.h"
#include "sim/property_db.h"

namespace sim {

/// Answers for the names that a definition may mention.
class NameTable {
 public:
  virtual ~NameTable() = default;
  /// Both throw `FileError` for an unknown name.
  [[nodiscard]] virtual PropertyIndex propertyNamed(const Node& name) const = 0;
  [[nodiscard]] virtual std::size_t recordNamed(const Node& name) const = 0;
  [[nodiscard]] virtual std::size_t pagesOf(std::size_t record) const = 0;
};

/// Reads one entry of a record, or one device's own value: a constant, or an object that says how
/// the value behaves and is printed. Throws `FileError`.
Definition readEntry(const NameTable& names, const Node& node);

/// As `readEntry`, for a property: its access, range and unit as well.
void readProperty(const NameTable& names, Property& property, const Node& node);

}  // namespace sim
