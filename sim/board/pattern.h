#pragma once

#include <optional>
#include <string_view>

#include "sim/base/kinds.h"

namespace sim {

/// Whether `text` matches `pattern`, in which '*' stands for any run of characters, even none.
bool globMatches(std::string_view pattern, std::string_view text);

/// Some of the devices: one ("gpu3"), all of a kind ("gpu*"), or all ("*").
struct DevicePattern {
  std::optional<KindIndex> kind;
  std::optional<int> id;

  [[nodiscard]] bool matches(Device device) const {
    return (!kind || *kind == device.kind) && (!id || *id == device.id);
  }
};

}  // namespace sim
