#include "sim/board/property_db.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace sim {

PropertyDb::PropertyDb(std::vector<Property> properties, std::vector<Record> records)
    : properties_(std::move(properties)),
      records_(std::move(records)),
      byName_(properties_.size()) {
  std::iota(byName_.begin(), byName_.end(), 0);
  for (const PropertyIndex index : byName_) {
    byKind_[static_cast<std::size_t>(at(index).kind)].push_back(index);
  }
  std::ranges::sort(byName_, {},
                    [this](PropertyIndex index) -> const std::string& { return at(index).name; });
}

std::optional<PropertyIndex> PropertyDb::find(std::string_view name) const {
  const auto nameAt = [this](PropertyIndex index) -> std::string_view { return at(index).name; };
  const auto found = std::ranges::lower_bound(byName_, name, {}, nameAt);
  if (found == byName_.end() || nameAt(*found) != name) return {};
  return *found;
}

}  // namespace sim
