#pragma once

#include <array>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "sim/base/time.h"
#include "sim/board/pattern.h"
#include "sim/board/property_db.h"

namespace sim {

enum class EventKind { set, clear, drop, restore, burst, lose };

/// The words for the kinds, in their order.
inline constexpr auto kEventWords =
    std::to_array<std::string_view>({"set", "clear", "drop", "restore", "burst", "lose"});

/// Something that happens to the board at a moment of the simulated clock.
struct Event {
  EventKind kind = EventKind::set;
  DevicePattern device;
  PropertyIndex property = 0;  ///< Not for `drop` and `restore`.
  Fixed number = 0;            ///< For `set`.
  std::string text;            ///< For `set` of a text.
  int count = 0;               ///< For `burst` and `lose`.
  bool endsDrop = false;       ///< For `restore`: only if no drop lasts longer.

  /// Whether it concerns whole devices, not a property of theirs.
  [[nodiscard]] bool ofDevice() const {
    return kind == EventKind::drop || kind == EventKind::restore;
  }
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

}  // namespace sim
