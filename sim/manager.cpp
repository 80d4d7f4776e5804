#include "sim/manager.h"

#include <chrono>

#include "sim/builtin.h"
#include "sim/log.h"

namespace sim {
namespace {

std::int64_t steadyNow() {
  const auto since = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::microseconds>(since).count();
}

Node manifestOf(const std::string& file) {
  return file.empty() ? parseJson(kBuiltinManifest, "(built-in manifest)") : readJsonFile(file);
}

}  // namespace

int Manager::init(const std::string& manifest, const std::string& profile,
                  const std::string& properties) {
  if (world_) return kAlreadyRunning;
  try {
    const Node builtin = parseJson(kBuiltinProperties, "(built-in properties)");
    Topology topology = readTopology(manifestOf(manifest));
    if (!profile.empty()) readJsonFile(profile);
    PropertyDb db = properties.empty()
                        ? readProperties(builtin, topology, builtin)
                        : readProperties(readJsonFile(properties), topology, builtin);
    world_.emplace(std::move(db), std::move(topology), 1);
  } catch (const FileError& error) {
    logLine(Level::error, error.what());
    return kFileRefused;
  }
  return kOk;
}

int Manager::run() {
  if (!world_) return kNotInitialised;
  if (running_) return kAlreadyRunning;
  startedAt_ = steadyNow();
  running_ = true;
  return kOk;
}

int Manager::stop() {
  if (!world_) return kNotInitialised;
  world_.reset();
  running_ = false;
  flushLog();
  return kOk;
}

Time Manager::now() const { return steadyNow() - startedAt_; }

int Manager::find(int deviceId, const std::string& name, PropertyIndex& index) const {
  if (!world_) return kNotInitialised;
  if (!running_) return kNotRunning;
  const auto found = world_->properties().find(name);
  if (!found) return kNoSuchProperty;
  const Device device{world_->properties().at(*found).kind, deviceId};
  if (!world_->topology().has(device)) return kNoSuchDevice;
  if (!world_->presentAt(device, now())) return kDeviceAbsent;
  index = *found;
  return kOk;
}

int Manager::get(int deviceId, const std::string& name, int accessMode, std::string& text) {
  PropertyIndex index = 0;
  if (const int code = find(deviceId, name, index); code != kOk) return code;
  if (accessMode != 0 && accessMode != 1) return kBadArgument;
  if (!world_->properties().at(index).readable) return kNotReadable;
  text = world_->textAt(index, deviceId, now());
  return kOk;
}

int Manager::set(int deviceId, const std::string& name, std::int32_t value) {
  PropertyIndex index = 0;
  if (const int code = find(deviceId, name, index); code != kOk) return code;
  const Property& property = world_->properties().at(index);
  const Micro number = value * kUnit;
  if (!property.writable) return kNotWritable;
  if (number < property.low || number > property.high) return kOutOfRange;
  world_->set(index, deviceId, now(), number);
  return kOk;
}

int Manager::clear(int deviceId, const std::string& name) {
  PropertyIndex index = 0;
  if (const int code = find(deviceId, name, index); code != kOk) return code;
  if (!world_->properties().at(index).clearable) return kNotClearable;
  world_->clear(index, deviceId, now());
  return kOk;
}

int Manager::list(std::optional<KindIndex> kind, std::vector<std::string>& names,
                  std::vector<std::string>& details) {
  if (!world_) return kNotInitialised;
  if (!running_) return kNotRunning;
  const auto last = static_cast<KindIndex>(kKinds.size());
  for (KindIndex k = kind.value_or(0); k < (kind ? *kind + 1 : last); ++k) {
    for (const PropertyIndex index : world_->properties().ofKind(k)) {
      names.push_back(world_->properties().at(index).name);
      details.push_back(world_->properties().at(index).unit);
    }
  }
  return kOk;
}

}  // namespace sim
