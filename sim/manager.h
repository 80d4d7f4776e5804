#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/codes.h"
#include "sim/kinds.h"
#include "sim/world.h"

namespace sim {

/// The device manager: what the entry points do once their arguments are checked.
class Manager {
 public:
  int init(const std::string& manifest, const std::string& profile, const std::string& properties);
  int run();
  int stop();

  /// Reads a property into `text`. `accessMode`: 0 for the last snapshot, 1 for the device itself.
  int get(int deviceId, const std::string& name, int accessMode, std::string& text);
  int set(int deviceId, const std::string& name, std::int32_t value);
  int clear(int deviceId, const std::string& name);

  /// The names, in the order of the database, with "unit" details beside each.
  int list(std::optional<KindIndex> kind, std::vector<std::string>& names,
           std::vector<std::string>& details);

  [[nodiscard]] bool refreshing() const { return false; }

 private:
  int find(int deviceId, const std::string& name, PropertyIndex& index) const;
  [[nodiscard]] Time now() const;

  std::optional<World> world_;
  bool running_ = false;
  std::int64_t startedAt_ = 0;
};

}  // namespace sim
