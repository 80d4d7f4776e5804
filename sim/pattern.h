#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "sim/json_file.h"
#include "sim/kinds.h"
#include "sim/topology.h"

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

/// Reads such a pattern. Refused with `FileError` when the board has no such device.
DevicePattern readDevicePattern(const Node& node, const Topology& topology);

/// Reads the name of one device that the board has room for.
Device readDevice(const Node& node, const Topology& topology);

}  // namespace sim
