#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sim/pattern.h"
#include "sim/property_db.h"
#include "sim/time.h"

namespace sim {

enum class EventKind { set, clear, drop, restore, burst, lose };

/// Something that happens to the board at a moment of the simulated clock.
struct Event {
  EventKind kind = EventKind::set;
  DevicePattern device;
  PropertyIndex property = 0;  ///< Not for `drop` and `restore`.
  Micro number = 0;            ///< For `set`.
  std::string text;            ///< For `set` of a text.
  int count = 0;               ///< For `burst` and `lose`.
};

/// The events still to come, in the order of time; those of one moment in the order of the file.
class Timeline {
 public:
  void add(Time time, Event event) { events_.emplace(time, std::move(event)); }

  /// The moment of the next event.
  [[nodiscard]] std::optional<Time> next() const;

  /// Takes the next event out.
  Event take();

 private:
  std::multimap<Time, Event> events_;
};

/// Reads the "timeline" array of a profile. Throws `FileError`.
Timeline readTimeline(const Node& node, const Topology& topology, const PropertyDb& properties);

}  // namespace sim
