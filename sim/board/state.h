#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "sim/base/time.h"
#include "sim/board/property_db.h"
#include "sim/board/topology.h"

namespace sim {

/// The state of the board as a function of time. Nothing here is ticked: a value is computed when
/// somebody asks for it, from the seed, the moment, and the changes made up to that moment, so a
/// question about the recent past (the last snapshot) has an answer as well.
///
/// Threads: not locked; the caller holds the board's lock.
class BoardState {
 public:
  BoardState(PropertyDb properties, Topology topology, std::uint64_t seed);

  [[nodiscard]] const PropertyDb& properties() const { return properties_; }
  [[nodiscard]] const Topology& topology() const { return topology_; }

  /// Whether the device was fitted and on the bus at that moment.
  [[nodiscard]] bool presentAt(Device device, Time time) const;

  /// The text that a read gives.
  [[nodiscard]] std::string textAt(PropertyIndex property, int deviceId, Time time) const;

  /// The number behind it; 0 for texts.
  [[nodiscard]] Fixed numberAt(PropertyIndex property, int deviceId, Time time) const;

  /// Changes, in the order of time. A value that was set stays, and a counter counts on from it; a
  /// clear brings the value of the file back and restarts a counter at 0.
  void set(PropertyIndex property, int deviceId, Time time, Fixed number, std::string text = {});
  void clear(PropertyIndex property, int deviceId, Time time);
  void setPresent(Device device, Time time, bool present);

  /// Forgets, once a minute, what only questions about moments before `time` need; none may follow.
  /// That takes several calls when there is much to be computed first: each does a share of it.
  void compactHistory(Time time);

  /// How many values have been computed so far, with those that they were computed from.
  [[nodiscard]] std::uint64_t evaluations() const { return evaluations_; }

 private:
  struct Change {
    Time time;
    bool cleared;
    Fixed number;
    std::string text;
  };
  struct Sum {
    std::int64_t seconds = 0;  ///< Samples that the sum holds.
    Fixed total = 0;
  };
  /// One property of one device.
  struct PropertyKey {
    PropertyIndex property;
    int deviceId;
    friend bool operator<(const PropertyKey& a, const PropertyKey& b) {
      return std::pair(a.property, a.deviceId) < std::pair(b.property, b.deviceId);
    }
  };

  [[nodiscard]] const Change* lastChange(PropertyKey key, Time time) const;
  [[nodiscard]] Fixed evaluate(const Definition& definition, PropertyKey key, Time time) const;
  [[nodiscard]] Fixed aggregate(const Aggregate& model, PropertyKey key, Time time) const;
  [[nodiscard]] Fixed integrate(const Integral& model, PropertyKey key, Time time) const;
  void addSample(const Integral& model, PropertyKey key, Sum& sum) const;
  bool carrySums(Time time);
  void forgetChanges(Time time);
  [[nodiscard]] std::string print(const Definition& definition, PropertyKey key, Time time) const;
  [[nodiscard]] std::string printPage(const Page& page, PropertyKey key, Time time) const;
  [[nodiscard]] Fixed randomWalk(const RandomWalk& model, const Definition& definition,
                                 int deviceId, Time time) const;

  PropertyDb properties_;
  Topology topology_;
  std::uint64_t seed_;
  std::map<PropertyKey, std::vector<Change>> changes_;
  std::array<std::map<int, std::vector<std::pair<Time, bool>>>, kDeviceKinds.size()> presence_;
  std::vector<PropertyIndex> integrals_;  ///< What is an integral on any device.
  mutable std::map<PropertyKey, Sum> sums_;
  mutable std::uint64_t evaluations_ = 0;
  Time settled_ = 0;           ///< Nobody will ask for an earlier moment.
  std::optional<Time> begun_;  ///< What comes before this moment is being forgotten.
  Time forgotten_ = 0;         ///< What came before this moment has been.
  std::size_t carried_ = 0;    ///< The places among the integrals that have been carried on to it.
};

}  // namespace sim
