#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "sim/faults.h"
#include "sim/mailbox.h"
#include "sim/profile.h"
#include "sim/updates.h"
#include "sim/world.h"

namespace sim {

/// One request, from the words of the caller to the device and property that they mean.
struct Call {
  std::string_view entry;  ///< The entry point's name.
  Operation operation = Operation::list;
  std::optional<Device> device;
  std::string name;  ///< Of a property or, for a registration, of an API function.
  std::optional<PropertyIndex> property;
  std::optional<int> accessMode;
};

/// The simulated baseboard: the state of the devices and everything that happens to them in the
/// course of time. Knows nothing of threads, files and the outside clock.
///
/// Threads: not locked; the caller holds the lock.
class Board {
 public:
  Board(Topology topology, PropertyDb properties, Profile profile);

  /// Fills in what a request means. Returns a code when it means nothing on this board.
  int resolve(Call& call, int deviceId) const;

  /// The simulated time that the transfer to the device takes.
  [[nodiscard]] Time latencyOf(const Call& call) const;

  /// How long the caller waits for the device before it gives up.
  [[nodiscard]] std::optional<Time> timeLimitOf(const Call& call) const;

  /// Lets everything happen that is due, in the order of time.
  void advance(Time now);

  /// The next moment at which something happens by itself.
  [[nodiscard]] std::optional<Time> nextDue() const;

  /// Whether the device that a request needs can answer at `now`; `when` becomes the moment whose
  /// values the request sees.
  int reach(const Call& call, Time now, Time& when) const;

  int read(const Call& call, Time when, std::string& text) const;
  int write(const Call& call, Time now, std::int32_t value);
  int clear(const Call& call, Time now);
  int listen(const Call& call, Time now, const UpdateCallback& callback);
  int request(const MailboxRequest& request, Time now, MailboxReply& reply);
  int asyncRequest(const MailboxRequest& request, Time now, MailboxReply& reply);
  void list(std::optional<KindIndex> kind, std::vector<std::string>& names,
            std::vector<std::string>& details) const;
  [[nodiscard]] bool refreshing(Time now) const { return snapshot_.refreshing(now); }

  /// The parts of a fault that concern the devices: falling off the bus, and storms.
  void suffer(const FaultEffect& effect, const Call& call, Time now);

  [[nodiscard]] const World& world() const { return world_; }
  Updates& updates() { return updates_; }
  Faults& faults() { return faults_; }

 private:
  void apply(const Event& event, Time time);
  void applyTo(const Event& event, Device device, Time time);
  void look(Time time);
  void changed(PropertyIndex property, int deviceId, Time time);
  void setPresent(Device device, Time time, bool present);

  World world_;
  std::uint64_t seed_;
  SnapshotSchedule snapshot_;
  std::array<Time, kDeviceKinds.size()> latency_;
  Faults faults_;
  Timeline timeline_;
  Updates updates_;
  Mailbox mailbox_;
  Time callbackPeriod_;
  Time nextLook_;
  Time settled_ = 0;
};

}  // namespace sim
