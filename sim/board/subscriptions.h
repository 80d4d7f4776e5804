#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "devmgr/callbacks.h"
#include "sim/board/state.h"

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
  std::int64_t registration = 0;
};

/// The registered callbacks, and which of them is to be called when.
///
/// A subscription is polled when the first snapshot is complete, then once every callback period,
/// and at once after a change of its own property. Its callback is called when the text differs
/// from the one of the last poll. A subscription made before the first snapshot has no such text
/// and is called when that snapshot is complete; a later one starts with the text of that moment.
/// Subscriptions are polled in the order in which they were made. None is called while its device
/// is absent.
///
/// Threads: not locked; the caller holds the board's lock.
class Subscriptions {
 public:
  /// Adds a subscription. Another one for the same device and API name replaces the callback of the
  /// first and keeps its place and its numbering. `registration`: what
  /// its updates carry.
  void add(Device device, const std::string& apiName, PropertyIndex property,
           const UpdateCallback& callback, std::optional<std::string> text,
           std::int64_t registration = 0);

  [[nodiscard]] bool empty() const { return subscriptions_.empty(); }

  /// Polls all subscriptions, or those of one property of one device.
  void pollChanges(const BoardState& state, Time time);
  void pollChanges(const BoardState& state, Time time, PropertyIndex property, int deviceId);

  /// Updates without a change: `count` for every subscription of the device, or of one property of
  /// it.
  void burst(const BoardState& state, Time time, Device device,
             std::optional<PropertyIndex> property, int count);

  /// Lets the next `count` updates of one property of one device go missing. Their numbers are
  /// missing too.
  void lose(PropertyIndex property, int deviceId, int count);

  /// Takes the next call to make.
  std::optional<Update> take();
  [[nodiscard]] bool pending() const { return !queue_.empty(); }

  /// How many updates were dropped because the receiver was too slow, since the last time it was
  /// asked.
  std::int64_t takeOverflow();

 private:
  struct Subscription {
    Device device;
    std::string apiName;
    PropertyIndex property = 0;
    std::shared_ptr<const UpdateCallback> callback;
    std::optional<std::string> text;
    std::int64_t registration = 0;
    std::uint64_t sequence = 0;
    int losing = 0;
  };

  /// The positions of those of one property of one device, in the order in which they were made.
  [[nodiscard]] std::span<const std::size_t> placesOf(PropertyIndex property, int deviceId) const;
  void pollChanges(const BoardState& state, Time time, Subscription& subscription);
  void call(Subscription& subscription, const std::string& text, Time time);

  std::vector<Subscription> subscriptions_;
  std::map<std::pair<PropertyIndex, int>, std::vector<std::size_t>> places_;
  std::deque<Update> queue_;
  std::size_t queuedBytes_ = 0;  ///< Of their texts.
  std::int64_t overflow_ = 0;
};

}  // namespace sim
