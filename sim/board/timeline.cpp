#include "sim/board/timeline.h"

#include <utility>

namespace sim {

std::optional<Time> Timeline::next() const {
  if (events_.empty()) return {};
  return events_.begin()->first;
}

Event Timeline::take() { return std::move(events_.extract(events_.begin()).mapped()); }

}  // namespace sim
