#include "sim/updates.h"

#include <algorithm>
#include <utility>

namespace sim {
namespace {

/// More calls than this wait for no receiver.
constexpr std::size_t kMaxPending = 100'000;

}  // namespace

void Updates::add(Device device, const std::string& apiName, PropertyIndex property,
                  const UpdateCallback& callback, std::optional<std::string> text) {
  auto shared = std::make_shared<const UpdateCallback>(callback);
  const auto known = std::ranges::find_if(registrations_, [&](const Registration& registration) {
    return registration.device == device && registration.apiName == apiName;
  });
  if (known != registrations_.end()) {
    known->callback = std::move(shared);
    known->text = std::move(text);
    return;
  }
  registrations_.push_back({device, apiName, property, std::move(shared), std::move(text)});
}

void Updates::look(const World& world, Time time) {
  for (Registration& registration : registrations_) look(world, time, registration);
}

void Updates::look(const World& world, Time time, PropertyIndex property, int deviceId) {
  for (Registration& registration : registrations_) {
    if (registration.property == property && registration.device.id == deviceId) {
      look(world, time, registration);
    }
  }
}

void Updates::look(const World& world, Time time, Registration& registration) {
  if (!world.presentAt(registration.device, time)) return;
  std::string text = world.textAt(registration.property, registration.device.id, time);
  if (registration.text == text) return;
  call(registration, text, time);
  registration.text = std::move(text);
}

void Updates::burst(const World& world, Time time, Device device, std::string_view pattern,
                    int count) {
  if (!world.presentAt(device, time)) return;
  for (Registration& registration : registrations_) {
    const std::string& name = world.properties().at(registration.property).name;
    if (registration.device != device || !globMatches(pattern, name)) continue;
    const std::string text = world.textAt(registration.property, device.id, time);
    for (int i = 0; i < count; ++i) call(registration, text, time);
  }
}

void Updates::lose(PropertyIndex property, int deviceId, int count) {
  for (Registration& registration : registrations_) {
    if (registration.property == property && registration.device.id == deviceId) {
      registration.losing += count;
    }
  }
}

void Updates::call(Registration& registration, const std::string& text, Time time) {
  const std::uint64_t sequence = ++registration.sequence;
  if (registration.losing > 0) {
    --registration.losing;
    return;
  }
  if (queue_.size() == kMaxPending) {
    ++overflow_;
    return;
  }
  queue_.push_back({registration.callback, registration.device, registration.apiName,
                    registration.property, text, sequence, time});
}

std::optional<Update> Updates::take() {
  if (queue_.empty()) return {};
  Update update = std::move(queue_.front());
  queue_.pop_front();
  return update;
}

std::int64_t Updates::takeOverflow() { return std::exchange(overflow_, 0); }

}  // namespace sim
