#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

#include "catalogue/api_property_rows.h"

namespace PropertyCatalogue {

/// The property name of each API name: 491 unique keys, compared exactly as byte strings. Immutable
/// and constant-initialised; it owns no memory and costs nothing at start-up. Any thread may use
/// it.
class ApiPropertyMapView {
 public:
  /// The property under which the datum of an API function is published; nothing for an unknown
  /// name.
  std::optional<std::string_view> find(std::string_view apiName) const;

  bool contains(std::string_view apiName) const { return find(apiName).has_value(); }

  /// Number of keys.
  std::size_t size() const;

  /// The entry at `index`, below `size()`, in key order.
  ApiPropertyRow entry(std::size_t index) const;
};

inline constexpr ApiPropertyMapView ApiPropertyMap;

}  // namespace PropertyCatalogue
