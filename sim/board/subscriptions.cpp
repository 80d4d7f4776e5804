#include "sim/board/subscriptions.h"

#include <algorithm>
#include <utility>

namespace sim {
namespace {

/// Beyond so many waiting calls, or such texts, further ones are dropped.
constexpr std::size_t kMaxPending = 100'000;
constexpr std::size_t kMaxPendingBytes = 64U << 20U;

}  // namespace

void Subscriptions::add(Device device, const std::string& apiName, PropertyIndex property,
                        const UpdateCallback& callback, std::optional<std::string> text,
                        std::int64_t registration) {
  auto shared = std::make_shared<const UpdateCallback>(callback);
  std::vector<std::size_t>& places = places_[{property, device.id}];
  const auto known = std::ranges::find_if(
      places, [&](std::size_t place) { return subscriptions_[place].apiName == apiName; });
  if (known != places.end()) {
    subscriptions_[*known].callback = std::move(shared);
    subscriptions_[*known].text = std::move(text);
    subscriptions_[*known].registration = registration;
    return;
  }
  places.reserve(places.size() + 1);
  subscriptions_.push_back(
      {device, apiName, property, std::move(shared), std::move(text), registration});
  places.push_back(subscriptions_.size() - 1);
}

std::span<const std::size_t> Subscriptions::placesOf(PropertyIndex property, int deviceId) const {
  const auto found = places_.find({property, deviceId});
  return found == places_.end() ? std::span<const std::size_t>() : found->second;
}

void Subscriptions::pollChanges(const BoardState& state, Time time) {
  for (Subscription& subscription : subscriptions_) pollChanges(state, time, subscription);
}

void Subscriptions::pollChanges(const BoardState& state, Time time, PropertyIndex property,
                                int deviceId) {
  for (const std::size_t place : placesOf(property, deviceId)) {
    pollChanges(state, time, subscriptions_[place]);
  }
}

void Subscriptions::pollChanges(const BoardState& state, Time time, Subscription& subscription) {
  if (!state.presentAt(subscription.device, time)) return;
  std::string text = state.textAt(subscription.property, subscription.device.id, time);
  if (subscription.text == text) return;
  call(subscription, text, time);
  subscription.text = std::move(text);
}

void Subscriptions::burst(const BoardState& state, Time time, Device device,
                          std::optional<PropertyIndex> property, int count) {
  if (!state.presentAt(device, time)) return;
  const auto callOften = [&](Subscription& subscription) {
    const std::string text = state.textAt(subscription.property, device.id, time);
    for (int i = 0; i < count; ++i) call(subscription, text, time);
  };
  if (property) {
    for (const std::size_t place : placesOf(*property, device.id)) callOften(subscriptions_[place]);
    return;
  }
  for (Subscription& subscription : subscriptions_) {
    if (subscription.device == device) callOften(subscription);
  }
}

void Subscriptions::lose(PropertyIndex property, int deviceId, int count) {
  for (const std::size_t place : placesOf(property, deviceId)) {
    subscriptions_[place].losing += count;
  }
}

void Subscriptions::call(Subscription& subscription, const std::string& text, Time time) {
  const std::uint64_t sequence = ++subscription.sequence;
  if (subscription.losing > 0) {
    --subscription.losing;
    return;
  }
  if (queue_.size() == kMaxPending || queuedBytes_ + text.size() > kMaxPendingBytes) {
    ++overflow_;
    return;
  }
  queue_.push_back({subscription.callback, subscription.device, subscription.apiName,
                    subscription.property, text, sequence, time, subscription.registration});
  queuedBytes_ += text.size();
}

std::optional<Update> Subscriptions::take() {
  if (queue_.empty()) return {};
  Update update = std::move(queue_.front());
  queue_.pop_front();
  queuedBytes_ -= update.text.size();
  return update;
}

std::int64_t Subscriptions::takeOverflow() { return std::exchange(overflow_, 0); }

}  // namespace sim
