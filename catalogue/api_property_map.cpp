#include "catalogue/api_property_map.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace PropertyCatalogue {
namespace {

constexpr std::size_t kRowCount = std::size(kApiPropertyRows);
constexpr std::size_t kKeyCount = 491;
static_assert(kRowCount == 492);

/// Row numbers by API name; of a repeated name only the first row.
constexpr auto kOrder = [] {
  std::array<std::uint16_t, kRowCount> order = {};
  for (std::size_t i = 0; i < kRowCount; ++i) order[i] = static_cast<std::uint16_t>(i);
  std::sort(order.begin(), order.end(), [](std::uint16_t a, std::uint16_t b) {
    const int compared = kApiPropertyRows[a].apiName.compare(kApiPropertyRows[b].apiName);
    return compared != 0 ? compared < 0 : a < b;
  });
  const auto last = std::unique(order.begin(), order.end(), [](std::uint16_t a, std::uint16_t b) {
    return kApiPropertyRows[a].apiName == kApiPropertyRows[b].apiName;
  });
  if (last != order.begin() + kKeyCount) throw "the number of distinct API names has changed";
  std::array<std::uint16_t, kKeyCount> keys = {};
  std::copy(order.begin(), last, keys.begin());
  return keys;
}();

constexpr std::size_t kTextSize = [] {
  std::size_t size = 0;
  for (const std::uint16_t row : kOrder) {
    size += kApiPropertyRows[row].apiName.size() + kApiPropertyRows[row].propertyName.size();
  }
  return size;
}();
static_assert(kTextSize <= UINT16_MAX);

/// All names end to end, each key before its value, and where each starts. Pointers would have to
/// be relocated one by one when the program starts; offsets keep the table in pages that are never
/// written.
struct Table {
  std::array<std::uint16_t, 2 * kKeyCount + 1> offsets = {};
  std::array<char, kTextSize> text = {};

  constexpr std::string_view name(std::size_t number) const {
    return {text.data() + offsets[number],
            static_cast<std::size_t>(offsets[number + 1] - offsets[number])};
  }
  constexpr std::string_view key(std::size_t index) const { return name(2 * index); }
  constexpr std::string_view value(std::size_t index) const { return name(2 * index + 1); }
};

constexpr Table kTable = [] {
  Table table;
  std::size_t end = 0;
  std::size_t number = 0;
  for (const std::uint16_t row : kOrder) {
    const auto& [apiName, propertyName] = kApiPropertyRows[row];
    for (const std::string_view name : {apiName, propertyName}) {
      for (const char character : name) table.text[end++] = character;
      table.offsets[++number] = static_cast<std::uint16_t>(end);
    }
  }
  return table;
}();
static_assert(kTable.offsets.back() == kTextSize);

}  // namespace

std::optional<std::string_view> ApiPropertyMapView::find(std::string_view apiName) const {
  std::size_t low = 0;
  std::size_t high = kKeyCount;
  while (low < high) {
    const std::size_t middle = (low + high) / 2;
    const int compared = kTable.key(middle).compare(apiName);
    if (compared == 0) return kTable.value(middle);
    if (compared < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return std::nullopt;
}

std::size_t ApiPropertyMapView::size() const { return kKeyCount; }

ApiPropertyRow ApiPropertyMapView::entry(std::size_t index) const {
  return {kTable.key(index), kTable.value(index)};
}

}  // namespace PropertyCatalogue
