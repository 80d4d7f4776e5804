#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "sim/decimal.h"
#include "sim/json_file.h"
#include "sim/kinds.h"
#include "sim/topology.h"

namespace sim {

/// Position of a property in the database.
using PropertyIndex = int;

/// How a value is printed.
enum class Shape { text, integer, real, hex, enumeration };

struct Format {
  Shape shape = Shape::integer;
  int precision = 0;               ///< For `real`: digits after the point, 0..6.
  int digits = 0;                  ///< For `hex`: digits at least, 1..8.
  std::vector<std::string> names;  ///< For `enumeration`: the words for 0, 1, 2...
};

/// How a value behaves. Times are in microseconds of the simulated clock.
struct Constant {
  Micro number = 0;
  std::string text;  ///< Instead of the number when the shape is `text`.
};
struct Serial {
  std::string before;
  std::size_t width = 0;  ///< Of the number, zero-padded.
  std::string after;
  std::int64_t first = 0;  ///< The number of device 0; the others count on.
};
struct Counter {
  Micro start = 0;
  Micro perSecond = 0;
};
struct Walk {
  Micro low = 0;
  Micro high = 0;
  std::int64_t periodUs = 0;  ///< Time from one turning point to the next.
};
struct Combine {
  enum class Rule { sum, average, highest };
  Rule rule = Rule::sum;
  std::vector<PropertyIndex> sources;
  Micro scale = kUnit;
  Micro offset = 0;
};
struct Integral {
  PropertyIndex source = 0;
  Micro scale = kUnit;
};
struct Page {
  std::size_t record = 0;
  int page = 0;
};
using Model = std::variant<Constant, Serial, Counter, Walk, Combine, Integral, Page>;

/// A value's behaviour and print form.
struct Definition {
  Format format;
  Model model;
  std::uint64_t salt = 0;  ///< Tells the random values of one definition from those of another.
};

/// A table of values that properties print page by page.
struct Record {
  std::string name;
  std::size_t entriesPerPage = 0;
  std::vector<Definition> entries;
};

struct Property {
  std::string name;
  KindIndex kind = 0;
  Definition definition;
  std::map<int, Definition> overrides;  ///< By device number, instead of `definition`.
  bool readable = true;
  bool writable = false;
  bool clearable = false;
  Micro low = 0;  ///< Smallest and largest value that a write may bring.
  Micro high = 0;
  std::string unit;

  [[nodiscard]] const Definition& definitionFor(int deviceId) const {
    const auto found = overrides.find(deviceId);
    return found == overrides.end() ? definition : found->second;
  }
};

/// All properties that the board knows, in the order of the file, and the records that they page.
class PropertyDb {
 public:
  [[nodiscard]] const Property& at(PropertyIndex index) const {
    return properties_[static_cast<std::size_t>(index)];
  }
  [[nodiscard]] const Record& record(std::size_t index) const { return records_[index]; }
  [[nodiscard]] std::optional<PropertyIndex> find(std::string_view name) const;
  /// Throws `FileError` for a node that names no property, with a suggestion.
  [[noreturn]] void refuseName(const Node& name) const;
  /// The properties of one kind, in the order of the file.
  [[nodiscard]] std::span<const PropertyIndex> ofKind(KindIndex kind) const {
    return byKind_[static_cast<std::size_t>(kind)];
  }
  [[nodiscard]] std::size_t size() const { return properties_.size(); }

 private:
  friend class PropertyReader;
  std::vector<Property> properties_;
  std::vector<Record> records_;
  std::vector<PropertyIndex> byName_;  ///< In the order of the names.
  std::array<std::vector<PropertyIndex>, kDeviceKinds.size()> byKind_;
};

/// Reads a properties file and applies the manifest's overrides. `builtin` is the
/// database that the file extends, when it says so. Throws `FileError`.
PropertyDb readProperties(const Node& document, const Topology& topology, const Node& builtin);

}  // namespace sim
