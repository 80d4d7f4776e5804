#pragma once

#include <array>
#include <span>
#include <string>
#include <vector>

#include "sim/json_file.h"
#include "sim/kinds.h"

namespace sim {

/// What the manifest says: which devices the board has.
struct Topology {
  std::array<int, kDeviceKinds.size()> count{};  ///< Places for devices of each kind, 0..255.

  /// What one place differs in.
  struct Override {
    Device device;
    bool absent = false;
    /// Property names and the constant values that this device answers instead.
    std::span<const Node> properties;
  };
  std::vector<Override> overrides;

  /// Keeps the nodes alive that the overrides refer to.
  Document document;

  [[nodiscard]] int countOf(KindIndex kind) const { return count[static_cast<std::size_t>(kind)]; }
  [[nodiscard]] bool has(Device device) const {
    return device.id >= 0 && device.id < countOf(device.kind);
  }
};

/// Reads a manifest. Throws `FileError`.
Topology readTopology(Document document);

}  // namespace sim
