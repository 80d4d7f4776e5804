#pragma once

#include <array>
#include <vector>

#include "sim/base/kinds.h"

namespace sim {

/// Which devices the board has.
struct Topology {
  std::array<int, kDeviceKinds.size()> count{};  ///< Places for devices of each kind, 0..255.
  std::vector<Device> absent;                    ///< The places that are empty.

  [[nodiscard]] int countOf(KindIndex kind) const { return count[static_cast<std::size_t>(kind)]; }
  [[nodiscard]] bool has(Device device) const {
    return device.id >= 0 && device.id < countOf(device.kind);
  }
};

}  // namespace sim
