#include <map>
#include <string>

#include "bench/row.h"
#include "catalogue/api_property_map.h"

/// Finding an API name in the catalogue's constant table, beside the ordered map of strings that
/// the table takes the place of.

namespace {

volatile std::size_t found = 0;

}  // namespace

int main() {
  constexpr const auto& table = PropertyCatalogue::ApiPropertyMap;
  constexpr int kTurns = 200;
  std::map<std::string, std::string, std::less<>> map;
  for (std::size_t i = 0; i < table.size(); ++i) {
    map.emplace(table.entry(i).apiName, table.entry(i).propertyName);
  }
  const auto all = [&](auto contains) {
    std::size_t count = 0;
    for (int turn = 0; turn < kTurns; ++turn) {
      for (std::size_t i = 0; i < table.size(); ++i) count += contains(table.entry(i).apiName);
    }
    found = count;
  };
  const bench::Pair cost = bench::compare(
      9, [&] { all([](auto name) { return table.contains(name); }); },
      [&] { all([&](auto name) { return map.contains(name); }); });
  const double lookups = static_cast<double>(kTurns) * static_cast<double>(table.size());
  bench::row("catalogue look-up, vs. an ordered map", cost.measured / lookups,
             cost.baseline / lookups, "ns");
  return 0;
}
