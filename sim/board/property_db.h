#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "sim/base/decimal.h"
#include "sim/base/kinds.h"

namespace sim {

/// Position of a property in the database.
using PropertyIndex = int;

/// How a value is printed.
struct Format {
  enum class Kind { text, integer, real, hex, enumeration };
  Kind kind = Kind::integer;
  int precision = 0;               ///< For `real`: digits after the point, 0..6.
  int digits = 0;                  ///< For `hex`: digits at least, 1..8.
  std::vector<std::string> names;  ///< For `enumeration`: the words for 0, 1, 2...

  [[nodiscard]] bool isText() const { return kind == Kind::text; }
  /// False for a number that an enumeration has no word for.
  [[nodiscard]] bool covers(Fixed number) const {
    const std::int64_t whole = roundToWhole(number);
    return kind != Kind::enumeration || (whole >= 0 && whole < std::ssize(names));
  }
};

/// How a value behaves. Times are in microseconds of the simulated clock.
struct Constant {
  Fixed number = 0;
  std::string text;  ///< Instead of the number when the format is `text`.
};
struct Serial {
  std::string pattern;     ///< With a run of '#' in the place of the number.
  std::size_t begin = 0;   ///< Of the run.
  std::size_t width = 0;   ///< Of the run; a shorter number is padded with zeros.
  std::int64_t first = 0;  ///< The number of device 0; the others count on.
};
struct Counter {
  Fixed start = 0;
  Fixed perSecond = 0;
};
struct RandomWalk {
  Fixed low = 0;
  Fixed high = 0;
  std::int64_t periodUs = 0;  ///< Time from one turning point to the next.
};
struct Aggregate {
  enum class Rule { sum, average, highest };
  Rule rule = Rule::sum;
  std::vector<PropertyIndex> sources;
  Fixed scale = kOne;
  Fixed offset = 0;
};
struct Integral {
  PropertyIndex source = 0;
  Fixed scale = kOne;
};
struct Page {
  std::size_t record;
  int page;
};
using Model = std::variant<Constant, Serial, Counter, RandomWalk, Aggregate, Integral, Page>;

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

  /// The entries of one page, the last of which may have fewer.
  [[nodiscard]] std::span<const Definition> onPage(int page) const {
    const std::size_t begin =
        std::min(static_cast<std::size_t>(page) * entriesPerPage, entries.size());
    return std::span(entries).subspan(begin, std::min(entriesPerPage, entries.size() - begin));
  }
};

struct Property {
  std::string name;
  KindIndex kind = 0;
  Definition definition;
  std::map<int, Definition> overrides;  ///< By device number, instead of `definition`.
  bool readable = true;
  bool writable = false;
  bool clearable = false;
  Fixed low = 0;  ///< Smallest and largest value that a write may bring.
  Fixed high = 0;
  std::string unit;

  [[nodiscard]] const Definition& definitionFor(int deviceId) const {
    const auto found = overrides.find(deviceId);
    return found == overrides.end() ? definition : found->second;
  }
};

/// All properties that the board knows, in the order of the file, and the records that they page.
class PropertyDb {
 public:
  PropertyDb() = default;
  /// No two properties have one name.
  PropertyDb(std::vector<Property> properties, std::vector<Record> records);

  [[nodiscard]] const Property& at(PropertyIndex index) const {
    return properties_[static_cast<std::size_t>(index)];
  }
  [[nodiscard]] const Record& record(std::size_t index) const { return records_[index]; }
  [[nodiscard]] std::optional<PropertyIndex> find(std::string_view name) const;
  /// The properties of one kind, in the order of the file.
  [[nodiscard]] std::span<const PropertyIndex> ofKind(KindIndex kind) const {
    return byKind_[static_cast<std::size_t>(kind)];
  }
  /// All properties, in the order of the file.
  [[nodiscard]] std::span<const Property> all() const { return properties_; }

 private:
  std::vector<Property> properties_;
  std::vector<Record> records_;
  std::vector<PropertyIndex> byName_;  ///< In the order of the names.
  std::array<std::vector<PropertyIndex>, kDeviceKinds.size()> byKind_;
};

}  // namespace sim
