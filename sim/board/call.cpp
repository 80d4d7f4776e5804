#include "sim/board/call.h"

#include <unordered_set>

#include "catalogue/api_property_map.h"

namespace sim {

bool isPossible(Operation operation, std::string_view property) {
  static const auto registrable = [] {
    std::unordered_set<std::string_view> names;
    for (std::size_t i = 0; i < PropertyCatalogue::ApiPropertyMap.size(); ++i) {
      names.insert(PropertyCatalogue::ApiPropertyMap.entry(i).propertyName);
    }
    return names;
  }();
  if (operation == Operation::setCallback) return registrable.contains(property);
  return involvesProperty(operation);
}

bool isPossible(Operation operation, KindIndex kind) {
  if (!usesPostbox(operation)) return involvesProperty(operation);
  return kind == kGpu || kind == kKorswitch ||
         (kind == kFpga && operation != Operation::rawAsyncCmd);
}

}  // namespace sim
