#pragma once

#include <optional>
#include <string>
#include <vector>

#include "sim/board/faults.h"
#include "sim/board/profile.h"
#include "sim/board/property_db.h"
#include "sim/board/timeline.h"
#include "sim/board/topology.h"
#include "sim/config/json_file.h"

namespace sim {

/// One reader for each thing that is read. They return plain data, which outlives the document, and
/// throw `FileError`.

/// Reads a manifest, but for the values that it overrides: those need the properties.
Topology readTopology(const Node& manifest);

/// Reads a properties file and applies the manifest's overrides. `builtin` is the database that the
/// file extends, when it says so.
PropertyDb readProperties(const Node& document, const Node& builtin, const Node& manifest,
                          const Topology& topology);

/// What a profile says that has the key "replay", and hardly any other.
struct ReplaySettings {
  enum class Match { inOrder, byRequest };
  std::string journal;  ///< A file name.
  Match match = Match::inOrder;
  bool paced = false;  ///< Calls take as long as they did.
};

/// The recording that a profile replays; nothing for a profile that describes a board.
std::optional<ReplaySettings> readReplay(const Node& document);

/// Reads a profile that describes a board.
Profile readProfile(const Node& document, const Topology& topology, const PropertyDb& properties);

/// Reads the "faults" array of a profile. Rejects rules that no call can ever match.
std::vector<FaultRule> readFaults(const Node& node, const Topology& topology,
                                  const PropertyDb& properties);

/// Reads the "timeline" array of a profile.
Timeline readTimeline(const Node& node, const Topology& topology, const PropertyDb& properties);

/// Finds the property that a profile names.
PropertyIndex readPropertyName(const Node& node, const PropertyDb& properties);

/// Finds the device of that name, which stands at `place`, among those of the board.
Device deviceNamed(const Node& place, std::string_view name, const Topology& topology);

/// Reads a name of devices. Rejected when the board has no such device.
DevicePattern readDevicePattern(const Node& node, const Topology& topology);

}  // namespace sim
