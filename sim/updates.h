#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "devmgr/callbacks.h"
#include "sim/timeline.h"
#include "sim/world.h"

namespace sim {

/// One call of a callback that is to be made.
struct Update {
  std::shared_ptr<const UpdateCallback> callback;
  Device device;
  std::string apiName;
  PropertyIndex property = 0;
  std::string text;
  std::uint64_t sequence = 0;
  Time time = 0;
};

/// The registered callbacks, and which of them is to be called when.
///
/// A registration is looked at when the first snapshot is complete, then once every callback
/// period, and at once after a change of its own property. It is called when its text differs from
/// the one at the last look. What was registered before the first snapshot has no such text and is
/// called at its completion; what is registered later takes the text of that moment. Registrations
/// are looked at in the order in which they were made. Nothing is called while the device is
/// absent.
///
/// Threads: not locked; the caller holds the board's lock.
class Updates {
 public:
  /// Adds a registration. Another one for the same device and API name replaces the callback of the
  /// first and keeps its place and its numbering.
  void add(Device device, const std::string& apiName, PropertyIndex property,
           const UpdateCallback& callback, std::optional<std::string> text);

  [[nodiscard]] bool empty() const { return registrations_.empty(); }

  /// Looks at all registrations, or at those of one property of one device.
  void look(const World& world, Time time);
  void look(const World& world, Time time, PropertyIndex property, int deviceId);

  /// Updates without a change: `count` for every registration of the device whose property's name
  /// matches.
  void burst(const World& world, Time time, Device device, std::string_view pattern, int count);

  /// Lets the next `count` updates of one property of one device go missing. Their numbers are
  /// missing too.
  void lose(PropertyIndex property, int deviceId, int count);

  /// Takes the next call to make.
  std::optional<Update> take();
  [[nodiscard]] bool pending() const { return !queue_.empty(); }

  /// How many updates were dropped because the receiver was too slow, since the last question.
  std::int64_t takeOverflow();

 private:
  struct Registration {
    Device device;
    std::string apiName;
    PropertyIndex property = 0;
    std::shared_ptr<const UpdateCallback> callback;
    std::optional<std::string> text;
    std::uint64_t sequence = 0;
    int losing = 0;
  };

  void look(const World& world, Time time, Registration& registration);
  void call(Registration& registration, const std::string& text, Time time);

  std::vector<Registration> registrations_;
  std::deque<Update> queue_;
  std::int64_t overflow_ = 0;
};

}  // namespace sim
