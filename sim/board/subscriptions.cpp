#include "sim/board/subscriptions.h"

#include <algorithm>
#include <utility>

#include "sim/board/pattern.h"

namespace sim {
namespace {

/// Beyond so many waiting calls, further ones are dropped.
constexpr std::size_t kMaxPending = 100'000;

}  // namespace

void Subscriptions::add(Device device, const std::string& apiName, PropertyIndex property,
                        const UpdateCallback& callback, std::optional<std::string> text) {
  auto shared = std::make_shared<const UpdateCallback>(callback);
  const auto known = std::ranges::find_if(subscriptions_, [&](const Subscription& subscription) {
    return subscription.device == device && subscription.apiName == apiName;
  });
  if (known != subscriptions_.end()) {
    known->callback = std::move(shared);
    known->text = std::move(text);
    return;
  }
  subscriptions_.push_back({device, apiName, property, std::move(shared), std::move(text)});
}

void Subscriptions::pollChanges(const BoardState& state, Time time) {
  for (Subscription& subscription : subscriptions_) pollChanges(state, time, subscription);
}

void Subscriptions::pollChanges(const BoardState& state, Time time, PropertyIndex property,
                                int deviceId) {
  for (Subscription& subscription : subscriptions_) {
    if (subscription.property == property && subscription.device.id == deviceId) {
      pollChanges(state, time, subscription);
    }
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
                          std::string_view pattern, int count) {
  if (!state.presentAt(device, time)) return;
  for (Subscription& subscription : subscriptions_) {
    const std::string& name = state.properties().at(subscription.property).name;
    if (subscription.device != device || !globMatches(pattern, name)) continue;
    const std::string text = state.textAt(subscription.property, device.id, time);
    for (int i = 0; i < count; ++i) call(subscription, text, time);
  }
}

void Subscriptions::lose(PropertyIndex property, int deviceId, int count) {
  for (Subscription& subscription : subscriptions_) {
    if (subscription.property == property && subscription.device.id == deviceId) {
      subscription.losing += count;
    }
  }
}

void Subscriptions::call(Subscription& subscription, const std::string& text, Time time) {
  const std::uint64_t sequence = ++subscription.sequence;
  if (subscription.losing > 0) {
    --subscription.losing;
    return;
  }
  if (queue_.size() == kMaxPending) {
    ++overflow_;
    return;
  }
  queue_.push_back({subscription.callback, subscription.device, subscription.apiName,
                    subscription.property, text, sequence, time});
}

std::optional<Update> Subscriptions::take() {
  if (queue_.empty()) return {};
  Update update = std::move(queue_.front());
  queue_.pop_front();
  return update;
}

std::int64_t Subscriptions::takeOverflow() { return std::exchange(overflow_, 0); }

}  // namespace sim
